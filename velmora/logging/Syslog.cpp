// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Syslog.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/OS.h"

#include <array>
#include <cstdarg>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Syslog)

namespace Velmora
{

namespace
{

LogLevel levelOfLine(int in_iSyslogLevel)
{
    const Fallible<LogLevel> level = syslogLevelToLoglevel(static_cast<unsigned>(in_iSyslogLevel));
    if (level.isValid())
        return level;
    VELMORA_FILE_LOG_ERROR("failed to convert syslog level " << in_iSyslogLevel
                                                             << " to a velmora log level");
    return ERROR_LOG_LEVEL;
}

} // namespace

Fallible<unsigned> loglevelToSyslogLevel(LogLevel in_logLevel)
{
    switch (in_logLevel)
    {
    case FATAL_LOG_LEVEL:
        return 2u;
    case ERROR_LOG_LEVEL:
        return 3u;
    case WARN_LOG_LEVEL:
        return 4u;
    case INFO_LOG_LEVEL:
        return 5u;
    case DEBUG_LOG_LEVEL:
        return 6u;
    case TRACE_LOG_LEVEL:
        return 7u;
    default:
        return {};
    }
}

Fallible<LogLevel> syslogLevelToLoglevel(unsigned in_uiSyslogLevel)
{
    // The index is the severity.
    static constexpr std::array s_levels{FATAL_LOG_LEVEL, ERROR_LOG_LEVEL, ERROR_LOG_LEVEL,
                                         ERROR_LOG_LEVEL, WARN_LOG_LEVEL,  INFO_LOG_LEVEL,
                                         INFO_LOG_LEVEL,  DEBUG_LOG_LEVEL};
    if (in_uiSyslogLevel >= s_levels.size())
        return {};
    return s_levels[in_uiSyslogLevel];
}

void syslogToLogger(int in_iSyslogLevel, const char* in_szFormat, ...)
{
    std::array<char, 1024> text;
    std::va_list args;
    va_start(args, in_szFormat);
    const int iLength = OS::vsnprintf(text.data(), text.size(), in_szFormat, args);
    va_end(args);
    // If OS::vsnprintf() fails, it returns a length that does not fit either.
    if (iLength >= static_cast<int>(text.size()))
    {
        VELMORA_FILE_LOG_ERROR("Velmora::syslogToLogger failed");
        return;
    }
    VELMORA_FILE_LOG(levelOfLine(in_iSyslogLevel), text.data());
}

} // namespace Velmora
