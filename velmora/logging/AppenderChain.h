// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Sanitizers.h"
#include "velmora/application/ProcessGate.h"
#include "velmora/logging/Log4cplusAccess.h"

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggerimpl.h>
#include <log4cplus/spi/loggingevent.h>
#include <log4cplus/thread/syncprims.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

/// The appenders that the lines of a logger go to: its own and, following additivity, those of its
/// parents.
namespace Velmora::AppenderChain
{

/// Calls the function for the logger and its parents, as far as additivity leads, until it returns
/// false.
template <class Function>
void forEach(const log4cplus::spi::LoggerImpl& in_logger, Function in_function)
{
    for (const log4cplus::spi::LoggerImpl* pLogger = &in_logger; pLogger != nullptr;
         pLogger = Log4cplusAccess::LoggerMembers::isAdditive(*pLogger)
                       ? Log4cplusAccess::LoggerMembers::parentOf(*pLogger)
                       : nullptr)
        if (!in_function(*pLogger))
            return;
}

/// Holds a mutex of log4cplus for a line that has passed the gate. While the line waits for the
/// mutex, its thread counts as outside for forks, because an appender that forks may hold it.
///
/// With ThreadSanitizer, log4cplus's own operations are used, which ThreadSanitizer sees, and the
/// mutex is always waited for: it learns the order of locks from waiting only.
class MutexOfLine
{
  public:
    explicit MutexOfLine(const log4cplus::thread::Mutex& in_mutex) : m_mutex(in_mutex)
    {
        if (VELMORA_THREAD_SANITIZER ||
            !(Log4cplusAccess::TimedMutex(in_mutex).tryLock() || spin())) [[unlikely]]
            wait();
    }
    ~MutexOfLine()
    {
        if (VELMORA_THREAD_SANITIZER)
            m_mutex.unlock();
        else
            Log4cplusAccess::TimedMutex(m_mutex).unlock();
    }
    MutexOfLine(const MutexOfLine&) = delete;
    MutexOfLine& operator=(const MutexOfLine&) = delete;

  private:
    /// Tries for some microseconds to lock the mutex, which another thread holds for about as long:
    /// less than falling asleep and being woken takes. Returns whether it did.
    [[gnu::noinline]] bool spin()
    {
        constexpr int iMostPauses = 256;
        constexpr int iLongestPause = 16;
        int iPause = 1;
        for (int iPauses = 0; iPauses < iMostPauses; iPauses += iPause)
        {
            for (int i = 0; i != iPause; ++i)
                __builtin_ia32_pause();
            if (Log4cplusAccess::TimedMutex(m_mutex).tryLock())
                return true;
            iPause = std::min(2 * iPause, iLongestPause);
        }
        return false;
    }

    [[gnu::noinline]] void wait()
    {
        ProcessGate::waitForLock(
            ProcessGate::Awaited::foreign,
            [this]
            {
                m_mutex.lock();
                return 0;
            },
            [this] { m_mutex.unlock(); });
    }

    const log4cplus::thread::Mutex& m_mutex;
};

/// Passes an event to an appender, for a line that has passed the gate.
inline void append(log4cplus::Appender& inout_appender,
                   const log4cplus::spi::InternalLoggingEvent& in_event)
{
    const MutexOfLine mutex(inout_appender.access_mutex);
    Log4cplusAccess::AppenderMembers::appendUnderLock(inout_appender, in_event);
}

/// Passes an event to the appenders of a logger and of its parents, as `LoggerImpl::callAppenders`
/// does, for a line that has passed the gate. Locks no empty list.
inline void callAppenders(log4cplus::spi::LoggerImpl& in_logger,
                          const log4cplus::spi::InternalLoggingEvent& in_event)
{
    bool bAny = false;
    forEach(in_logger,
            [&in_event, &bAny](const log4cplus::spi::LoggerImpl& in_link)
            {
                const auto& appenders = Log4cplusAccess::LoggerMembers::appendersOf(in_link);
                if (appenders.empty())
                    return true;
                const MutexOfLine mutex(in_link.appender_list_mutex);
                for (const log4cplus::SharedAppenderPtr& pAppender : appenders)
                    append(*pAppender, in_event);
                bAny = true;
                return true;
            });
    // log4cplus reports, once, that there is no appender.
    if (!bAny) [[unlikely]]
        in_logger.callAppenders(in_event);
}

/// Gives a reader access to a logger's list of appenders, under its lock if that is free soon
/// enough. A line in progress keeps the list locked, perhaps for long, but does not change it. So a
/// reader that has waited for 20 ms continues without the lock: the line may be waiting for a lock
/// that the reader's thread holds. The configuration does not change concurrently either, because
/// the reader has passed the gate.
class ListReader
{
  public:
    explicit ListReader(const log4cplus::spi::LoggerImpl& in_logger)
        : m_lock(in_logger.appender_list_mutex,
                 Log4cplusAccess::TimedMutex::Clock::now() + s_patience),
          m_list(Log4cplusAccess::LoggerMembers::appendersOf(in_logger))
    {
    }
    [[nodiscard]] const log4cplus::SharedAppenderPtrList& list() const { return m_list; }

  private:
    static constexpr std::chrono::milliseconds s_patience{20};

    ProcessGate::Pass m_pass;
    Log4cplusAccess::TimedLock m_lock;
    const log4cplus::SharedAppenderPtrList& m_list;
};

/// Returns whether an appender of that name is in the chain. Takes no reference on an appender.
inline bool contains(const log4cplus::spi::LoggerImpl& in_logger,
                     const log4cplus::tstring& in_strName)
{
    bool bFound = false;
    forEach(in_logger,
            [&in_strName, &bFound](const log4cplus::spi::LoggerImpl& in_link)
            {
                const ListReader reader(in_link);
                for (const log4cplus::SharedAppenderPtr& pAppender : reader.list())
                    bFound = bFound || pAppender->getName() == in_strName;
                return !bFound;
            });
    return bFound;
}

/// Returns the appender of that name in the chain; null if there is none.
inline log4cplus::SharedAppenderPtr find(const log4cplus::spi::LoggerImpl& in_logger,
                                         const log4cplus::tstring& in_strName)
{
    log4cplus::SharedAppenderPtr found;
    forEach(in_logger,
            [&in_strName, &found](const log4cplus::spi::LoggerImpl& in_link)
            {
                const ListReader reader(in_link);
                for (const log4cplus::SharedAppenderPtr& pAppender : reader.list())
                    if (!found && pAppender->getName() == in_strName)
                        found = pAppender;
                return !found;
            });
    return found;
}

/// Returns the number of appenders in the chain, read without the locks of the lists. Each list is
/// a vector, of which two words are read, so a list that is growing does not look empty.
inline std::size_t countUnlocked(const log4cplus::spi::LoggerImpl& in_logger)
{
    std::size_t uiCount = 0;
    forEach(in_logger,
            [&uiCount](const log4cplus::spi::LoggerImpl& in_link)
            {
                uiCount += Log4cplusAccess::LoggerMembers::appendersOf(in_link).size();
                return true;
            });
    return uiCount;
}

/// Returns the number of appenders in the chain. Reads each list under its lock.
inline std::size_t countLocked(const log4cplus::spi::LoggerImpl& in_logger)
{
    std::size_t uiCount = 0;
    forEach(in_logger,
            [&uiCount](const log4cplus::spi::LoggerImpl& in_link)
            {
                uiCount += ListReader(in_link).list().size();
                return true;
            });
    return uiCount;
}

} // namespace Velmora::AppenderChain
