// Ends in the middle of two calls: that of a logger which is never destroyed, and that of one with
// static storage. With "close", the program runs the exit list itself, before its static
// destructors; the second call is then that of a handle, as a logger must not outlive the list.
//
// leaves-calls <directory> [close]

#include "tests/support/CallLogging.h"

#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Object_Manager.h>

using namespace Velmora;

namespace
{

CallLogger* g_pNeverDestroyed = nullptr;

/// Enters and leaves a call, and gives a handle on it that keeps it active.
CallDataRegistry::CallDataHandle handleOf(const char* in_szId)
{
    CallDataRegistry::CallDataHandle hCall = CallDataRegistry::getInstance()->getCallData(in_szId);
    CallLogger logger("test.call");
    logger.callStart(in_szId);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    return hCall;
}

void haveCall(CallLogger& out_logger, const char* in_szId)
{
    out_logger.callStart(in_szId);
    VELMORA_LOG(out_logger, INFO_LOG_LEVEL, "line");
}

} // namespace

/// LeakSanitizer asks this. What the logger holds that is never destroyed went with the allocators.
extern "C" [[gnu::visibility("default")]] int __lsan_is_turned_off() { return 1; }

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    Logger().setLogLevel(WARN_LOG_LEVEL);
    Test::makeParticipant("test.call");
    log4cplus::Logger::getInstance("test.call").setAdditivity(false);
    if (!Test::configureCalls(argv[1]))
        return 3;
    g_pNeverDestroyed = new CallLogger("test.call");
    haveCall(*g_pNeverDestroyed, "never");
    if (argc > 2)
    {
        static const CallDataRegistry::CallDataHandle s_hCall = handleOf("static");
        ACE_Object_Manager::instance()->fini();
    }
    else
    {
        static CallLogger s_logger("test.call");
        haveCall(s_logger, "static");
    }
    return 0;
}
