#include "velmora/logging/TraceScope.h"

#include <string>

namespace Velmora
{

bool TraceScope::isActiveBelow1(const Logger& in_logger, LogLevel in_logLevel)
{
    return (in_logLevel != NOT_SET_LOG_LEVEL || in_logger.isEnabledFor(TRACE_LOG_LEVEL)) &&
           in_logger.getChainedNumAppender() != 0;
}

void TraceScope::ctorLog() const
{
    m_pLogger->forcedTrace((std::string("entering ") + m_szName).c_str());
}

void TraceScope::dtorLog() const
{
    m_pLogger->forcedTrace((std::string("exiting ") + m_szName).c_str());
}

} // namespace Velmora
