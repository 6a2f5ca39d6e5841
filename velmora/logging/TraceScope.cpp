// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/TraceScope.h"

#include "velmora/logging/WithoutThrowing.h"

#include <string>

namespace Velmora
{

namespace
{

/// Logs one line, and throws nothing, so an exception of an appender does not reach the traced
/// code.
void log(const Logger& in_logger, const char* in_szEvent, const char* in_szName)
{
    withoutThrowing(&in_logger, "exception while a scope is traced",
                    [&] { in_logger.forcedTrace((std::string(in_szEvent) + in_szName).c_str()); });
}

} // namespace

bool TraceScope::isActiveBelow1(const Logger& in_logger, LogLevel in_logLevel)
{
    return (in_logLevel != NOT_SET_LOG_LEVEL || in_logger.isEnabledFor(TRACE_LOG_LEVEL)) &&
           in_logger.getChainedNumAppender() != 0;
}

void TraceScope::ctorLog() const { log(*m_pLogger, "entering ", m_szName); }

void TraceScope::dtorLog() const { log(*m_pLogger, "exiting ", m_szName); }

} // namespace Velmora
