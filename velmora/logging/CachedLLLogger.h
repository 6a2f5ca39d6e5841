#pragma once

#include "velmora/logging/Logger.h"

#include <atomic>

namespace Velmora
{

/// A logger that can keep the level in force in a field of its own, so that a line which is off
/// costs one comparison of an integer: no walk of the hierarchy, no call.
///
/// The cache is a deliberate snapshot. Nothing but the operations of this object changes it: a new
/// configuration or a new level of a parent reaches it only after `reset` or `setLogLevel`.
///
/// Thread-safety: as `Logger`. The field is not synchronised; another thread may see a change late.
class VELMORA_API CachedLLLogger : public Logger
{
  public:
    explicit CachedLLLogger(const std::string& in_strName);
    CachedLLLogger(const Logger& in_logger);
    CachedLLLogger(const CachedLLLogger& in_logger);
    ~CachedLLLogger() override;

    /// Becomes a handle on the other's entry and forgets the cached level.
    CachedLLLogger& operator=(const Logger& in_logger);

    /// Becomes a handle on the other's entry and takes its cached level.
    CachedLLLogger& operator=(const CachedLLLogger& in_logger);

    /// Forgets the cached level. Gives true.
    bool reset() override;

    using Logger::log;

    /// Logs a line if its level is enabled.
    virtual void log(LogLevel in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                     int in_iLine) const;

    /// Whether a line of this level passes, by the cached level if there is one.
    [[nodiscard]] bool isEnabledFor(LogLevel in_logLevel) const
    {
        // Since NOT_SET_LOG_LEVEL lies below all levels, a line that is off needs no second test.
        const LogLevel cached = getCachedLogLevel();
        if (cached > in_logLevel) [[likely]]
            return false;
        return cached != NOT_SET_LOG_LEVEL || Logger::isEnabledFor(in_logLevel);
    }

    /// The cached level if there is one, else the level in force, which is not kept.
    [[nodiscard]] LogLevel getLogLevel() const
    {
        // The first comparison is all that a trace scope needs when it is off.
        const LogLevel cached = getCachedLogLevel();
        if (cached >= 1) [[likely]]
            return cached;
        return cached != NOT_SET_LOG_LEVEL ? cached : getChainedLogLevel();
    }

    /// Sets the level of the entry in the hierarchy, and caches it.
    void setLogLevel(LogLevel in_logLevel);

    /// Caches the level in force.
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

    /// Read and written as a plain integer is.
    std::atomic<LogLevel> m_cachedLogLevel{NOT_SET_LOG_LEVEL};
};

} // namespace Velmora
