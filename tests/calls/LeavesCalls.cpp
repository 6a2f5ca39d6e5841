// SPDX-License-Identifier: BSD-2-Clause

// Ends during two calls: one of a logger that is never destroyed and one of a logger with static
// storage. With "close", the program runs the exit list itself, before its static destructors. The
// second call is then held by a handle, because a logger must leave its call before the list runs.
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

/// Logs a line in a call through a logger that leaves it, and returns a handle that keeps the call
/// active.
CallDataRegistry::CallDataHandle handleOf(const char* in_szId)
{
    CallDataRegistry::CallDataHandle hCall = CallDataRegistry::getInstance()->getCallData(in_szId);
    CallLogger logger("test.call");
    logger.callStart(in_szId);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    return hCall;
}

/// Enters a call and logs a line in it.
void haveCall(CallLogger& out_logger, const char* in_szId)
{
    out_logger.callStart(in_szId);
    VELMORA_LOG(out_logger, INFO_LOG_LEVEL, "line");
}

} // namespace

/// Called by LeakSanitizer. The logger that is never destroyed still points to memory of the
/// allocators, which the exit list has deleted by then.
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
