// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"

#include <atomic>

namespace Velmora
{

/// A logger that can cache its effective level in a field, so that a disabled line costs one
/// integer comparison, without a walk of the hierarchy or a function call.
///
/// The cache is a deliberate snapshot. Only the operations of this object change it: a new
/// configuration or a new level of a parent takes effect after `reset`, `cacheLogLevel` or
/// `setLogLevel`.
///
/// Thread-safety: as for `Logger`. The cached level is not synchronised; another thread may see a
/// change late.
class VELMORA_API CachedLLLogger : public Logger
{
  public:
    explicit CachedLLLogger(const std::string& in_strName);
    CachedLLLogger(const Logger& in_logger);
    CachedLLLogger(const CachedLLLogger& in_logger);
    ~CachedLLLogger() override;

    /// Makes this a handle on the other logger's entry, and drops the cached level.
    CachedLLLogger& operator=(const Logger& in_logger);

    /// Makes this a handle on the other logger's entry, and copies its cached level.
    CachedLLLogger& operator=(const CachedLLLogger& in_logger);

    /// Drops the cached level. Returns true.
    bool reset() override;

    using Logger::log;

    /// Logs a line if its level is enabled.
    virtual void log(LogLevel in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                     int in_iLine) const;

    /// Returns whether a line of this level is enabled, by the cached level if there is one.
    [[nodiscard]] bool isEnabledFor(LogLevel in_logLevel) const
    {
        // NOT_SET_LOG_LEVEL is below all levels, so a disabled line needs no second test.
        const LogLevel cached = getCachedLogLevel();
        if (cached > in_logLevel) [[likely]]
            return false;
        return cached != NOT_SET_LOG_LEVEL || Logger::isEnabledFor(in_logLevel);
    }

    /// Returns the cached level if there is one, else the effective level, without caching it.
    [[nodiscard]] LogLevel getLogLevel() const
    {
        // A disabled trace scope needs only the first comparison.
        const LogLevel cached = getCachedLogLevel();
        if (cached >= 1) [[likely]]
            return cached;
        return cached != NOT_SET_LOG_LEVEL ? cached : getChainedLogLevel();
    }

    /// Sets the level of the entry in the hierarchy, and caches it.
    void setLogLevel(LogLevel in_logLevel);

    /// Caches the effective level.
    void cacheLogLevel();

  private:
    [[nodiscard]] LogLevel getCachedLogLevel() const
    {
        return m_cachedLogLevel.load(std::memory_order_relaxed);
    }
    void setCachedLogLevel(LogLevel in_logLevel)
    {
        m_cachedLogLevel.store(in_logLevel, std::memory_order_relaxed);
    }

    /// Accessed in relaxed order, so that it costs no more than a plain integer.
    std::atomic<LogLevel> m_cachedLogLevel{NOT_SET_LOG_LEVEL};
};

} // namespace Velmora
