// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/AceCleanupLogger.h"
#include "velmora/logging/TraceScope.h"
#include "velmora/python/InterpreterLock.h"

#include <optional>

namespace Velmora::Python
{

/// A trace scope that releases the interpreter lock while it logs, if the caller holds it: an
/// appender on another thread may wait for that lock. If tracing is off, the lock is not touched.
///
/// Thread-safety: belongs to the thread that declares it.
class UnlockedTraceScope
{
  public:
    /// `in_pLogger` is the logger of a source file, or null after it has been deleted. The scope
    /// then does nothing.
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

/// Traces the enclosing scope, through the logger of the source file.
#define VELMORA_UNLOCKED_TRACE_SCOPE(name)                                              \
    const ::Velmora::Python::UnlockedTraceScope VELMORA_UNIQUE_NAME(velmoraTraceScope)( \
        ::liveFileScopeLogger(), #name)
