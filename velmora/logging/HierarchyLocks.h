// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Log4cplusAccess.h"

#include <log4cplus/appender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/spi/loggerimpl.h>
#include <log4cplus/thread/syncprims.h>

#include <new>
#include <utility>
#include <vector>

namespace Velmora
{

/// Holds the locks of a hierarchy for a thread that has closed the gate. Threads that log through
/// log4cplus itself do not pass the gate; these locks make them wait. While one of the locks is
/// held, the others are waited for only up to a time limit.
class HierarchyLocks
{
  public:
    using Clock = Log4cplusAccess::TimedMutex::Clock;

    explicit HierarchyLocks(log4cplus::Hierarchy& in_hierarchy) : m_hierarchy(in_hierarchy) {}
    ~HierarchyLocks() { unlock(); }
    HierarchyLocks(const HierarchyLocks&) = delete;
    HierarchyLocks& operator=(const HierarchyLocks&) = delete;

    /// Locks the hierarchy's own mutex and the list of each logger.
    /// Failure: returns false, with none of them held, if one cannot be locked until `in_end`, or
    /// if there is no memory to record them.
    [[nodiscard]] bool lockAll(Clock::time_point in_end)
    {
        if (lockWhatCanBeHad(in_end))
            return true;
        unlock();
        return false;
    }

    /// Same, but keeps the locks that it could take. Returns whether it could take all of them.
    bool lockWhatCanBeHad(Clock::time_point in_end) noexcept
    try
    {
        m_bHierarchy = Log4cplusAccess::TimedMutex(Log4cplusAccess::hashtableMutexOf(m_hierarchy))
                           .lock(in_end);
        if (!m_bHierarchy)
            return false;
        // Locked a second time, so that ThreadSanitizer sees it while the loggers are read, but not
        // while lists are used later.
        const log4cplus::thread::MutexGuard guard(Log4cplusAccess::hashtableMutexOf(m_hierarchy));
        m_locked.reserve(Log4cplusAccess::loggersOf(m_hierarchy).size() + 1);
        bool bAll = true;
        Log4cplusAccess::forEachLogger(
            m_hierarchy,
            [this, in_end, &bAll](log4cplus::spi::LoggerImpl& in_logger)
            {
                if (Log4cplusAccess::TimedMutex(in_logger.appender_list_mutex).lock(in_end))
                    m_locked.push_back(&in_logger);
                else
                    bAll = false;
            });
        return bAll;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }

    void unlock() noexcept
    {
        for (const log4cplus::spi::LoggerImpl* const pLogger : m_locked)
            Log4cplusAccess::TimedMutex(pLogger->appender_list_mutex).unlock();
        m_locked.clear();
        if (std::exchange(m_bHierarchy, false))
            Log4cplusAccess::TimedMutex(Log4cplusAccess::hashtableMutexOf(m_hierarchy)).unlock();
    }

    /// Forgets the locks without unlocking them, in the child of a fork: the mutexes are
    /// reinitialized there.
    void forget() noexcept
    {
        m_locked.clear();
        m_bHierarchy = false;
    }

    /// Reinitializes, in the child of a fork, all mutexes that logging takes.
    static void renewAfterFork(log4cplus::Hierarchy& in_hierarchy)
    {
        Log4cplusAccess::renewAfterFork(Log4cplusAccess::hashtableMutexOf(in_hierarchy));
        Log4cplusAccess::forEachLogger(
            in_hierarchy,
            [](log4cplus::spi::LoggerImpl& in_logger)
            {
                Log4cplusAccess::renewAfterFork(in_logger.appender_list_mutex);
                for (const log4cplus::SharedAppenderPtr& pAppender :
                     Log4cplusAccess::LoggerMembers::appendersOf(in_logger))
                    Log4cplusAccess::renewAfterFork(pAppender->access_mutex);
            });
    }

  private:
    log4cplus::Hierarchy& m_hierarchy;
    /// Whether the hierarchy's own mutex is held.
    bool m_bHierarchy = false;
    /// The loggers whose lists are locked.
    std::vector<log4cplus::spi::LoggerImpl*> m_locked;
};

} // namespace Velmora
