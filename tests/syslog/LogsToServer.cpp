// SPDX-License-Identifier: BSD-2-Clause

// Logs a short and a long line at each level to the console and to a remote syslog server, and
// ends.
//
// syslog-logs <host> <port>

#include "velmora/logging/LogMacros.h"

#include <log4cplus/configurator.h>
#include <log4cplus/helpers/property.h>

#include <string>

using namespace Velmora;

namespace
{

log4cplus::helpers::Properties configurationFor(const std::string& in_strHost,
                                                const std::string& in_strPort)
{
    log4cplus::helpers::Properties result;
    result.setProperty("log4cplus.rootLogger", "WARN, SYSLOG, CONSOLE");
    result.setProperty("log4cplus.logger.keswardin.test", "TRACE");
    result.setProperty("log4cplus.appender.SYSLOG", "velmora::RemoteSyslogAppender");
    result.setProperty("log4cplus.appender.SYSLOG.Hostname", in_strHost);
    result.setProperty("log4cplus.appender.SYSLOG.Port", in_strPort);
    result.setProperty("log4cplus.appender.CONSOLE", "log4cplus::ConsoleAppender");
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    log4cplus::PropertyConfigurator(configurationFor(argv[1], argv[2])).configure();
    const Logger logger("keswardin.test");
    for (const LogLevel level : {FATAL_LOG_LEVEL, ERROR_LOG_LEVEL, WARN_LOG_LEVEL, INFO_LOG_LEVEL,
                                 DEBUG_LOG_LEVEL, TRACE_LOG_LEVEL})
    {
        VELMORA_LOG(logger, level, "short");
        VELMORA_LOG(logger, level, std::string(5000, 'x'));
    }
}
