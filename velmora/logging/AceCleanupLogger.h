#pragma once

#include "velmora/logging/CachedLLLogger.h"

#include <atomic>

namespace Velmora
{

/// A logger that lives until the exit list of the ACE object manager deletes it. A source file's
/// own logger is one (see "velmora/logging/FileScopeLogger.h").
///
/// Ownership: the exit list's; must be made with `new`.
class VELMORA_API AceCleanupLogger : public Logger
{
  public:
    explicit AceCleanupLogger(const char* in_szName);
    AceCleanupLogger(const AceCleanupLogger&) = delete;
    AceCleanupLogger& operator=(const AceCleanupLogger&) = delete;
    ~AceCleanupLogger() override;

    /// Deletes the object, if there is one; the second argument is not used.
    static void cleanupFunc(void* in_pObject, void* in_pParam);

    /// The logger itself, or null once the exit list has deleted it: the pointer, which then leads
    /// nowhere, is only compared. Costs one test of a bool until the first such logger of the
    /// process has been deleted.
    static const AceCleanupLogger* ifAlive(const AceCleanupLogger* in_pLogger)
    {
        if (!hasExitListDeletedLoggers()) [[likely]]
            return in_pLogger;
        return isAmongLiving(in_pLogger) ? in_pLogger : nullptr;
    }

    /// Whether a logger of this class has been deleted in this process.
    static bool hasExitListDeletedLoggers()
    {
        return s_bHasDeleted.load(std::memory_order_relaxed);
    }

  private:
    static bool isAmongLiving(const AceCleanupLogger* in_pLogger);

    static std::atomic<bool> s_bHasDeleted;
};

/// A logger with a cached level that lives until the exit list of the ACE object manager deletes
/// it.
///
/// Ownership: the exit list's; must be made with `new`.
class VELMORA_API AceCleanupCachedLLLogger : public CachedLLLogger
{
  public:
    explicit AceCleanupCachedLLLogger(const char* in_szName);
    AceCleanupCachedLLLogger(const AceCleanupCachedLLLogger&) = delete;
    AceCleanupCachedLLLogger& operator=(const AceCleanupCachedLLLogger&) = delete;
    ~AceCleanupCachedLLLogger() override;

    /// Deletes the object, if there is one; the second argument is not used.
    static void cleanupFunc(void* in_pObject, void* in_pParam);
};

} // namespace Velmora
