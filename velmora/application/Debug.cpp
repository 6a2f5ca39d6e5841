#include "velmora/application/Debug.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <log4cplus/logger.h>
#include <log4cplus/streams.h>

#include <cstdio>
#include <cstdlib>
#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Debug)

namespace Velmora
{

void abort() noexcept
{
    ProcessGate::stopDeferring();
    constexpr const char* szWhat = "exception while the process aborts";
    withoutThrowing(::liveFileScopeLogger(), szWhat,
                    []
                    {
                        // By its name, as the exit list may have deleted the file's logger.
                        if (Logger::configurationOK())
                            VELMORA_LOG(Logger(fileScopeLoggerName()), FATAL_LOG_LEVEL, "aborting");
                    });
    // Appenders write what they have kept back.
    withoutThrowing(nullptr, szWhat, [] { log4cplus::Logger::shutdown(); });
    // An appender of the console leaves its lines to the streams, which the system's abort drops.
    std::fflush(stdout);
    log4cplus::tcout.flush();
    std::abort();
}

} // namespace Velmora
