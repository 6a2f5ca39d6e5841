// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogLevel.h"

#include <strings.h>

namespace Velmora
{

LogLevel parseLogLevelString(const char* in_szLogLevel)
{
    struct NamedLevel
    {
        const char* szName;
        LogLevel level;
    };
    static constexpr NamedLevel s_namedLevels[] = {
        {"FATAL_LOG_LEVEL", FATAL_LOG_LEVEL}, {"ERROR_LOG_LEVEL", ERROR_LOG_LEVEL},
        {"WARN_LOG_LEVEL", WARN_LOG_LEVEL},   {"INFO_LOG_LEVEL", INFO_LOG_LEVEL},
        {"DEBUG_LOG_LEVEL", DEBUG_LOG_LEVEL}, {"TRACE_LOG_LEVEL", TRACE_LOG_LEVEL}};

    if (in_szLogLevel != nullptr)
        for (const NamedLevel& namedLevel : s_namedLevels)
            if (strcasecmp(in_szLogLevel, namedLevel.szName) == 0)
                return namedLevel.level;
    return NOT_SET_LOG_LEVEL;
}

} // namespace Velmora
