// A module that uses the library which it is linked with. Two modules are made of this one file,
// each with a copy of the library of its own.

#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <log4cplus/nullappender.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.CopyUser")

namespace
{

constexpr const char* s_szCallLogger = "keswardin.test.CopyUser.call";

/// Never let go of: the exit list ends the call.
Velmora::CallDataRegistry::CallDataHandle* s_phCall = nullptr;

void wantFilesOfCallsIn(const char* in_szDirectory)
{
    Velmora::ParameterTrie configuration;
    configuration.setStringParameter("log4cplus.appender.CALL_LOG_APPENDER.Directory",
                                     in_szDirectory);
    Velmora::CallDataRegistry::getInstance()->configure(configuration);
    log4cplus::SharedAppenderPtr pMark(new log4cplus::NullAppender);
    pMark->setName("CALL_LOG_APPENDER");
    Velmora::Logger(s_szCallLogger).addAppender(pMark);
}

} // namespace

/// Logs, allocates, and leaves a call with a file open.
extern "C" [[gnu::visibility("default")]] void useLibrary(const char* in_szDirectory,
                                                          const char* in_szCallId)
{
    VELMORA_FILE_LOG_WARN("used");
    void* const pMemory = Velmora::DefaultStaticMemAllocator::allocate(40, "test");
    Velmora::DefaultStaticMemAllocator::deallocate(pMemory, 40, "test");
    wantFilesOfCallsIn(in_szDirectory);
    s_phCall = new Velmora::CallDataRegistry::CallDataHandle(
        Velmora::CallDataRegistry::getInstance()->getCallData(in_szCallId));
    Velmora::CallLogger logger(s_szCallLogger);
    logger.callStart(in_szCallId);
    VELMORA_LOG(logger, Velmora::WARN_LOG_LEVEL, "in a call");
    logger.callStart("ending");
}
