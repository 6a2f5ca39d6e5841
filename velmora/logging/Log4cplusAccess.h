#pragma once

// Everything that this library needs from log4cplus beyond its published interface, for the
// versions that it is built with. Nothing else in the tree depends on the version.

#include "velmora/Sanitizers.h"
#include "velmora/application/ProcessGate.h"

#include <log4cplus/appender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/spi/loggerimpl.h>
#include <log4cplus/version.h>

#include <dlfcn.h>
#include <pthread.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <map>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#if LOG4CPLUS_VERSION < LOG4CPLUS_MAKE_VERSION(2, 0, 0) || \
    LOG4CPLUS_VERSION >= LOG4CPLUS_MAKE_VERSION(2, 1, 0)
#error "This version of log4cplus has not been looked at; check each item of this header for it."
#endif

namespace log4cplus
{

// Exported by the library, but declared in none of its headers.
LOG4CPLUS_EXPORT void shutdownThreadPool();

} // namespace log4cplus

namespace Velmora::Log4cplusAccess
{

/// Gives access to the protected members of `LoggerImpl`, which a derived class may name.
class LoggerMembers : public log4cplus::spi::LoggerImpl
{
  public:
    static const LoggerImpl* parentOf(const LoggerImpl& in_logger)
    {
        return (in_logger.*(&LoggerMembers::parent)).get();
    }
    static bool isAdditive(const LoggerImpl& in_logger)
    {
        return in_logger.*(&LoggerMembers::additive);
    }
    static const ListType& appendersOf(const LoggerImpl& in_logger)
    {
        return in_logger.*(&LoggerMembers::appenderList);
    }
    static ListType& appendersOf(LoggerImpl& in_logger)
    {
        return in_logger.*(&LoggerMembers::appenderList);
    }

    LoggerMembers() = delete;
};

/// Gives access to the protected member of a logger handle.
class HandleMembers : public log4cplus::Logger
{
  public:
    static log4cplus::spi::LoggerImpl& implOf(const log4cplus::Logger& in_logger)
    {
        return *(in_logger.*(&HandleMembers::value));
    }
};

/// Gives access to the protected members of an appender that writes to a file.
class FileAppenderMembers : public log4cplus::FileAppenderBase
{
  public:
    /// Returns the path of the file.
    static const log4cplus::tstring& fileOf(const FileAppenderBase& in_appender)
    {
        return in_appender.*(&FileAppenderMembers::filename);
    }

    /// Destroys all members of `FileAppenderBase`, `Appender` and `SharedObject`, in place of their
    /// destructors.
    static void destroyAllOf(FileAppenderBase& in_appender) noexcept
    {
        const auto destroy = [&in_appender](auto in_pMember)
        { std::destroy_at(&(in_appender.*in_pMember)); };
        destroy(&FileAppenderMembers::out);
        destroy(&FileAppenderMembers::buffer);
        destroy(&FileAppenderMembers::filename);
        destroy(&FileAppenderMembers::localeName);
        destroy(&FileAppenderMembers::lockFileName);
        destroy(&FileAppenderMembers::layout);
        destroy(&FileAppenderMembers::name);
        destroy(&FileAppenderMembers::filter);
        destroy(&FileAppenderMembers::errorHandler);
        destroy(&FileAppenderMembers::lockFile);
        destroy(&FileAppenderMembers::in_flight_condition);
        destroy(&FileAppenderMembers::in_flight_mutex);
        destroy(&FileAppenderMembers::access_mutex);
    }

    FileAppenderMembers() = delete;
};

/// Defines `hashtableMutexOf`, which returns a private member: an explicit instantiation may name
/// it.
template <log4cplus::thread::Mutex log4cplus::Hierarchy::*Member>
struct HierarchyMembers
{
    friend log4cplus::thread::Mutex& hashtableMutexOf(log4cplus::Hierarchy& in_hierarchy)
    {
        return in_hierarchy.*Member;
    }
};
template struct HierarchyMembers<&log4cplus::Hierarchy::hashtable_mutex>;
log4cplus::thread::Mutex& hashtableMutexOf(log4cplus::Hierarchy& in_hierarchy);

/// Defines `loggersOf`, which returns another private member in the same way.
template <std::map<log4cplus::tstring, log4cplus::Logger> log4cplus::Hierarchy::*Member>
struct HierarchyLoggers
{
    friend std::map<log4cplus::tstring, log4cplus::Logger>&
    loggersOf(log4cplus::Hierarchy& in_hierarchy)
    {
        return in_hierarchy.*Member;
    }
};
template struct HierarchyLoggers<&log4cplus::Hierarchy::loggerPtrs>;
std::map<log4cplus::tstring, log4cplus::Logger>& loggersOf(log4cplus::Hierarchy& in_hierarchy);

/// Calls the function for the root logger and every other logger. Allocates nothing. The caller
/// holds the hierarchy's own mutex.
template <class Function>
void forEachLogger(log4cplus::Hierarchy& in_hierarchy, Function in_function)
{
    in_function(HandleMembers::implOf(in_hierarchy.getRoot()));
    for (const auto& [strName, logger] : loggersOf(in_hierarchy))
        in_function(HandleMembers::implOf(logger));
}

/// Locks a mutex of log4cplus with a time limit, which log4cplus does not offer.
class TimedMutex
{
  public:
    using Clock = std::chrono::steady_clock;

    explicit TimedMutex(const log4cplus::thread::Mutex& in_mutex)
        : m_pMutex(
              reinterpret_cast<pthread_mutex_t*>(const_cast<log4cplus::thread::Mutex*>(&in_mutex)))
    {
        // log4cplus's mutex is a `pthread_mutex_t` and nothing else.
        static_assert(sizeof(log4cplus::thread::Mutex) == sizeof(pthread_mutex_t));
    }

    /// Locks the mutex, and waits until `in_end` at most.
    /// Failure: returns false if another thread holds it until then.
    [[nodiscard]] bool lock(Clock::time_point in_end) const
    {
        const auto sinceStart = in_end.time_since_epoch();
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceStart);
        const std::chrono::nanoseconds rest = sinceStart - seconds;
        const timespec end{seconds.count(), rest.count()};
        return lockUntil(m_pMutex, end) == 0;
    }
    /// Locks the mutex if no other thread holds it. Returns whether it did.
    [[nodiscard]] bool tryLock() const { return pthread_mutex_trylock(m_pMutex) == 0; }
    void unlock() const { unlockOfSystem(m_pMutex); }

  private:
#if VELMORA_THREAD_SANITIZER
    // ThreadSanitizer tracks at most 64 locks of one thread, and ends the process at the next one.
    // So these locks are taken by functions of the C library that it does not intercept. It still
    // sees each of them where a list is used: the mutexes are recursive, and are locked there once
    // more.
    template <class Operation>
    static Operation* ofSystem(Operation*, const char* in_szName)
    {
        return reinterpret_cast<Operation*>(
            dlsym(dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD), in_szName));
    }
    static int lockUntil(pthread_mutex_t* in_pMutex, const timespec& in_end)
    {
        static auto* const s_pLock = ofSystem(&pthread_mutex_clocklock, "pthread_mutex_clocklock");
        return s_pLock(in_pMutex, CLOCK_MONOTONIC, &in_end);
    }
    static void unlockOfSystem(pthread_mutex_t* in_pMutex)
    {
        static auto* const s_pUnlock = ofSystem(&pthread_mutex_unlock, "pthread_mutex_unlock");
        s_pUnlock(in_pMutex);
    }
#else
    static int lockUntil(pthread_mutex_t* in_pMutex, const timespec& in_end)
    {
        return pthread_mutex_clocklock(in_pMutex, CLOCK_MONOTONIC, &in_end);
    }
    static void unlockOfSystem(pthread_mutex_t* in_pMutex) { pthread_mutex_unlock(in_pMutex); }
#endif

    pthread_mutex_t* m_pMutex;
};

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
        if (VELMORA_THREAD_SANITIZER || !TimedMutex(in_mutex).tryLock()) [[unlikely]]
            wait();
    }
    ~MutexOfLine()
    {
        if (VELMORA_THREAD_SANITIZER)
            m_mutex.unlock();
        else
            TimedMutex(m_mutex).unlock();
    }
    MutexOfLine(const MutexOfLine&) = delete;
    MutexOfLine& operator=(const MutexOfLine&) = delete;

  private:
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

/// Holds the locks of a hierarchy for a thread that has closed the gate. Threads that log through
/// log4cplus itself do not pass the gate; these locks make them wait. While one of the locks is
/// held, the others are waited for only up to a time limit.
class HierarchyLocks
{
  public:
    using Clock = TimedMutex::Clock;

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
        m_bHierarchy = TimedMutex(hashtableMutexOf(m_hierarchy)).lock(in_end);
        if (!m_bHierarchy)
            return false;
        // Locked a second time, so that ThreadSanitizer sees it while the loggers are read, but not
        // while lists are used later.
        const log4cplus::thread::MutexGuard guard(hashtableMutexOf(m_hierarchy));
        m_locked.reserve(loggersOf(m_hierarchy).size() + 1);
        bool bAll = true;
        forEachLogger(m_hierarchy,
                      [this, in_end, &bAll](log4cplus::spi::LoggerImpl& in_logger)
                      {
                          if (TimedMutex(in_logger.appender_list_mutex).lock(in_end))
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
            TimedMutex(pLogger->appender_list_mutex).unlock();
        m_locked.clear();
        if (std::exchange(m_bHierarchy, false))
            TimedMutex(hashtableMutexOf(m_hierarchy)).unlock();
    }

    /// Forgets the locks without unlocking them, in the child of a fork: the mutexes are
    /// reinitialized there.
    void forget() noexcept
    {
        m_locked.clear();
        m_bHierarchy = false;
    }

  private:
    log4cplus::Hierarchy& m_hierarchy;
    /// Whether the hierarchy's own mutex is held.
    bool m_bHierarchy = false;
    /// The loggers whose lists are locked.
    std::vector<log4cplus::spi::LoggerImpl*> m_locked;
};

/// Reinitializes, in the child of a fork, a recursive mutex that the forking thread holds.
/// Unlocking it there would fail, since its owner is a thread number that the child does not have.
inline void renewAfterFork(log4cplus::thread::Mutex& out_mutex)
{
    new (&out_mutex) log4cplus::thread::Mutex;
}

/// Reinitializes, in the child of a fork, all mutexes that logging takes.
inline void renewHierarchyAfterFork(log4cplus::Hierarchy& in_hierarchy)
{
    renewAfterFork(hashtableMutexOf(in_hierarchy));
    forEachLogger(in_hierarchy,
                  [](log4cplus::spi::LoggerImpl& in_logger)
                  {
                      renewAfterFork(in_logger.appender_list_mutex);
                      for (const log4cplus::SharedAppenderPtr& pAppender :
                           LoggerMembers::appendersOf(in_logger))
                          renewAfterFork(pAppender->access_mutex);
                  });
}

/// Returns the effective level of a logger; NOT_SET_LOG_LEVEL if not even the root has one. In that
/// case, log4cplus's own walk reports an error and throws, and its root passes every line.
inline int chainedLogLevel(const log4cplus::spi::LoggerImpl& in_logger)
{
    for (const log4cplus::spi::LoggerImpl* pLogger = &in_logger; pLogger != nullptr;
         pLogger = LoggerMembers::parentOf(*pLogger))
        if (const int level = pLogger->getLogLevel(); level != log4cplus::NOT_SET_LOG_LEVEL)
            return level;
    return log4cplus::NOT_SET_LOG_LEVEL;
}

/// Returns whether the hierarchy as a whole drops lines of a level.
inline bool isDisabled(const log4cplus::spi::LoggerImpl& in_logger, int in_level)
{
    return in_logger.getHierarchy().isDisabled(in_level);
}

/// Calls the function for the logger and its parents, as far as additivity leads, until it returns
/// false.
template <class Function>
void forEachInAppenderChain(const log4cplus::spi::LoggerImpl& in_logger, Function in_function)
{
    for (const log4cplus::spi::LoggerImpl* pLogger = &in_logger; pLogger != nullptr;
         pLogger = LoggerMembers::isAdditive(*pLogger) ? LoggerMembers::parentOf(*pLogger)
                                                       : nullptr)
        if (!in_function(*pLogger))
            return;
}

/// Passes an event to an appender, for a line that has passed the gate.
inline void append(log4cplus::Appender& inout_appender,
                   const log4cplus::spi::InternalLoggingEvent& in_event)
{
    const MutexOfLine mutex(inout_appender.access_mutex);
    // Locks the same mutex again; it is recursive.
    inout_appender.doAppend(in_event);
}

/// Passes an event to the appenders of a logger and of its parents, as `LoggerImpl::callAppenders`
/// does, for a line that has passed the gate. Locks no empty list.
inline void callAppenders(log4cplus::spi::LoggerImpl& in_logger,
                          const log4cplus::spi::InternalLoggingEvent& in_event)
{
    bool bAny = false;
    forEachInAppenderChain(in_logger,
                           [&in_event, &bAny](const log4cplus::spi::LoggerImpl& in_link)
                           {
                               const auto& appenders = LoggerMembers::appendersOf(in_link);
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
        : m_mutex(in_logger.appender_list_mutex),
          m_bLocked(m_mutex.lock(TimedMutex::Clock::now() + s_patience)),
          m_list(LoggerMembers::appendersOf(in_logger))
    {
    }
    ~ListReader()
    {
        if (m_bLocked)
            m_mutex.unlock();
    }
    ListReader(const ListReader&) = delete;
    ListReader& operator=(const ListReader&) = delete;

    [[nodiscard]] const log4cplus::SharedAppenderPtrList& list() const { return m_list; }

  private:
    static constexpr std::chrono::milliseconds s_patience{20};

    ProcessGate::Pass m_pass;
    TimedMutex m_mutex;
    bool m_bLocked;
    const log4cplus::SharedAppenderPtrList& m_list;
};

/// Returns whether an appender of that name is in the chain. Takes no reference on an appender.
inline bool isAppenderInChain(const log4cplus::spi::LoggerImpl& in_logger,
                              const log4cplus::tstring& in_strName)
{
    bool bFound = false;
    forEachInAppenderChain(in_logger,
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
inline log4cplus::SharedAppenderPtr findAppenderInChain(const log4cplus::spi::LoggerImpl& in_logger,
                                                        const log4cplus::tstring& in_strName)
{
    log4cplus::SharedAppenderPtr found;
    forEachInAppenderChain(in_logger,
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
inline std::size_t countAppendersUnlocked(const log4cplus::spi::LoggerImpl& in_logger)
{
    std::size_t uiCount = 0;
    forEachInAppenderChain(in_logger,
                           [&uiCount](const log4cplus::spi::LoggerImpl& in_link)
                           {
                               uiCount += LoggerMembers::appendersOf(in_link).size();
                               return true;
                           });
    return uiCount;
}

/// Returns the number of appenders in the chain. Reads each list under its lock.
inline std::size_t countAppendersLocked(const log4cplus::spi::LoggerImpl& in_logger)
{
    std::size_t uiCount = 0;
    forEachInAppenderChain(in_logger,
                           [&uiCount](const log4cplus::spi::LoggerImpl& in_link)
                           {
                               uiCount += ListReader(in_link).list().size();
                               return true;
                           });
    return uiCount;
}

} // namespace Velmora::Log4cplusAccess
