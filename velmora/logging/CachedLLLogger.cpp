// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CachedLLLogger.h"

namespace Velmora
{

CachedLLLogger::CachedLLLogger(const std::string& in_strName) : Logger(in_strName) {}

CachedLLLogger::CachedLLLogger(const Logger& in_logger) : Logger(in_logger) {}

CachedLLLogger::CachedLLLogger(const CachedLLLogger& in_logger)
    : Logger(in_logger), m_cachedLogLevel(in_logger.getCachedLogLevel())
{
}

CachedLLLogger::~CachedLLLogger() = default;

CachedLLLogger& CachedLLLogger::operator=(const Logger& in_logger)
{
    Logger::operator=(in_logger);
    setCachedLogLevel(NOT_SET_LOG_LEVEL);
    return *this;
}

CachedLLLogger& CachedLLLogger::operator=(const CachedLLLogger& in_logger)
{
    if (this != &in_logger)
    {
        Logger::operator=(in_logger);
        setCachedLogLevel(in_logger.getCachedLogLevel());
    }
    return *this;
}

bool CachedLLLogger::reset()
{
    setCachedLogLevel(NOT_SET_LOG_LEVEL);
    return true;
}

void CachedLLLogger::log(LogLevel in_logLevel, const std::string& in_strMessage,
                         const char* in_szFile, int in_iLine) const
{
    if (isEnabledFor(in_logLevel))
        forcedLog(static_cast<int>(in_logLevel), in_strMessage, in_szFile, in_iLine);
}

void CachedLLLogger::setLogLevel(LogLevel in_logLevel)
{
    Logger::setLogLevel(in_logLevel);
    setCachedLogLevel(in_logLevel);
}

void CachedLLLogger::cacheLogLevel() { setCachedLogLevel(getChainedLogLevel()); }

} // namespace Velmora
