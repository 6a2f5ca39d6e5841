// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>

#include <initializer_list>
#include <memory>

namespace Velmora::Test
{

/// Sends the log of a helper program to standard output as lines "LEVEL logger: text": from WARN
/// on, and for the given loggers and their descendants from TRACE on. Each line is flushed, so none
/// is lost if the process ends abruptly.
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
