// SPDX-License-Identifier: BSD-2-Clause

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
    // Logs the lines that wait for a lock: no lock will be released any more.
    ProcessGate::stopDeferring();
    constexpr const char* szWhat = "exception while the process aborts";
    withoutThrowing(::liveFileScopeLogger(), szWhat,
                    []
                    {
                        // Uses the logger's name, as the exit list may have deleted the logger of
                        // this file.
                        if (Logger::configurationOK())
                            VELMORA_LOG(Logger(fileScopeLoggerName()), FATAL_LOG_LEVEL, "aborting");
                    });
    // Makes appenders write the lines that they have buffered.
    withoutThrowing(nullptr, szWhat, [] { log4cplus::Logger::shutdown(); });
    // A console appender leaves its lines in the buffers of the streams, which std::abort does not
    // flush.
    std::fflush(stdout);
    log4cplus::tcout.flush();
    std::abort();
}

} // namespace Velmora
