#pragma once

#include "velmora/logging/Logger.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>

#include <initializer_list>
#include <memory>

namespace Velmora::Test
{

/// For a helper program: from now on what is logged goes to standard output as lines
/// "LEVEL logger: text", from WARN on, and of the given loggers and those below them from TRACE on.
/// A line is out before the next one begins, so that none is lost when the process ends at once.
inline void logToOutput(std::initializer_list<const char*> in_loggers)
{
    constexpr bool bLogToStdErr = false;
    constexpr bool bImmediateFlush = true;
    const log4cplus::SharedAppenderPtr pAppender(
        new log4cplus::ConsoleAppender(bLogToStdErr, bImmediateFlush));
    pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>("%p %c: %m%n"));
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(pAppender);
    root.setLogLevel(WARN_LOG_LEVEL);
    for (const char* const szLogger : in_loggers)
        Logger(szLogger).setLogLevel(TRACE_LOG_LEVEL);
}

} // namespace Velmora::Test
