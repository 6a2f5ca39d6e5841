#pragma once

#include "velmora/logging/AceCleanupLogger.h"
#include "velmora/logging/TraceScope.h"
#include "velmora/python/InterpreterLock.h"

#include <optional>

namespace Velmora::Python
{

/// A trace scope whose lines are logged without the interpreter lock, also where the caller holds
/// it, which an appender may wait for on another thread. Without tracing it leaves the lock alone.
///
/// Thread-safety: belongs to the thread that declares it.
class UnlockedTraceScope
{
  public:
    /// For the logger of a source file: null once that has gone, and the scope is then not active.
    UnlockedTraceScope(const AceCleanupLogger* in_pLogger, const char* in_szName)
    {
        if (in_pLogger == nullptr || !in_pLogger->isEnabledFor(TRACE_LOG_LEVEL)) [[likely]]
            return;
        const InterpreterUnlock unlock;
        m_scope.emplace(in_pLogger, in_szName);
    }
    ~UnlockedTraceScope()
    {
        if (!m_scope.has_value()) [[likely]]
            return;
        const InterpreterUnlock unlock;
        m_scope.reset();
    }
    UnlockedTraceScope(const UnlockedTraceScope&) = delete;
    UnlockedTraceScope& operator=(const UnlockedTraceScope&) = delete;

  private:
    std::optional<TraceScope> m_scope;
};

} // namespace Velmora::Python

/// Traces the scope that it stands in, through the logger of the source file.
#define VELMORA_UNLOCKED_TRACE_SCOPE(name)                                              \
    const ::Velmora::Python::UnlockedTraceScope VELMORA_UNIQUE_NAME(velmoraTraceScope)( \
        ::liveFileScopeLogger(), #name)
