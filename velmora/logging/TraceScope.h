// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"

namespace Velmora
{

/// Logs "entering " and "exiting " with a name at TRACE around a scope, if TRACE is enabled for the
/// logger at the beginning of the scope. A stack object, declared by VELMORA_TRACE_SCOPE.
///
/// While the logger has a level of its own above TRACE, it costs one comparison at entry and one
/// test of a bool at exit.
///
/// Failure: an exception of an appender is caught and logged, see `withoutThrowing`.
/// Ownership: keeps pointers to the logger and to the name, which must outlive it.
/// Thread-safety: belongs to the thread that declares it.
class VELMORA_API TraceScope
{
  public:
    /// Begins a scope. `in_logLevel` is the logger's own level, which saves the walk through the
    /// hierarchy, or `NOT_SET_LOG_LEVEL`.
    TraceScope(const Logger& in_logger, const char* in_szName, LogLevel in_logLevel)
        : m_pLogger(&in_logger), m_szName(in_szName), m_bActive(isActive(in_logger, in_logLevel))
    {
        if (m_bActive) [[unlikely]]
            ctorLog();
    }

    /// Begins a scope with the logger of a source file. The pointer is null once that logger has
    /// been deleted; the scope is then not traced.
    TraceScope(const Logger* in_pLogger, const char* in_szName)
        : m_pLogger(in_pLogger), m_szName(in_szName),
          m_bActive(in_pLogger != nullptr && isActive(*in_pLogger, in_pLogger->getLogLevel()))
    {
        if (m_bActive) [[unlikely]]
            ctorLog();
    }

    ~TraceScope()
    {
        if (m_bActive) [[unlikely]]
            dtorLog();
    }

    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

    void ctorLog() const;
    void dtorLog() const;

  private:
    static bool isActive(const Logger& in_logger, LogLevel in_logLevel)
    {
        // NOT_SET_LOG_LEVEL is below 1 too, so a disabled scope needs no second test.
        return in_logLevel < 1 && isActiveBelow1(in_logger, in_logLevel);
    }
    static bool isActiveBelow1(const Logger& in_logger, LogLevel in_logLevel);

    const Logger* m_pLogger;
    const char* m_szName;
    bool m_bActive;
};

} // namespace Velmora
