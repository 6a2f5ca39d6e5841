// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/CachedLLLogger.h"

#include <atomic>

namespace Velmora
{

/// A logger that the exit list of the ACE object manager deletes. The logger of a source file is
/// one (see "velmora/logging/FileScopeLogger.h").
///
/// Ownership: owned by the exit list; must be made with `new`.
class VELMORA_API AceCleanupLogger : public Logger
{
  public:
    explicit AceCleanupLogger(const char* in_szName);
    AceCleanupLogger(const AceCleanupLogger&) = delete;
    AceCleanupLogger& operator=(const AceCleanupLogger&) = delete;
    ~AceCleanupLogger() override;

    /// Deletes the object if the pointer is not null. The second argument is not used.
    static void cleanupFunc(void* in_pObject, void* in_pParam);

    /// Returns the logger, or null once the exit list has deleted it. The pointer may dangle, since
    /// it is only compared. Costs one test of a bool until the first logger of this class is
    /// deleted.
    static const AceCleanupLogger* ifAlive(const AceCleanupLogger* in_pLogger)
    {
        if (!hasExitListDeletedLoggers()) [[likely]]
            return in_pLogger;
        return isAmongLiving(in_pLogger) ? in_pLogger : nullptr;
    }

    /// Returns whether a logger of this class has been deleted in this process.
    static bool hasExitListDeletedLoggers()
    {
        return s_bHasDeleted.load(std::memory_order_relaxed);
    }

  private:
    static bool isAmongLiving(const AceCleanupLogger* in_pLogger);

    static std::atomic<bool> s_bHasDeleted;
};

/// A logger with a cached level that the exit list of the ACE object manager deletes.
///
/// Ownership: owned by the exit list; must be made with `new`.
class VELMORA_API AceCleanupCachedLLLogger : public CachedLLLogger
{
  public:
    explicit AceCleanupCachedLLLogger(const char* in_szName);
    AceCleanupCachedLLLogger(const AceCleanupCachedLLLogger&) = delete;
    AceCleanupCachedLLLogger& operator=(const AceCleanupCachedLLLogger&) = delete;
    ~AceCleanupCachedLLLogger() override;

    /// Deletes the object if the pointer is not null. The second argument is not used.
    static void cleanupFunc(void* in_pObject, void* in_pParam);
};

} // namespace Velmora
