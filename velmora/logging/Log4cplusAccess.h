// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Everything that this library needs from log4cplus beyond its published interface, for the
// versions that it is built with. Nothing else in the tree depends on the version. What is built on
// these parts alone is in AppenderChain.h and HierarchyLocks.h.

#include "velmora/Sanitizers.h"

#include <log4cplus/appender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/spi/loggerimpl.h>
#include <log4cplus/spi/loggingevent.h>
#include <log4cplus/version.h>

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <map>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

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

    /// Makes the second a handle to the logger of the first. Most often it is one, and the count of
    /// handles stays as it is.
    static void assign(const log4cplus::Logger& in_logger, log4cplus::Logger& out_logger)
    {
        if (in_logger.*(&HandleMembers::value) != out_logger.*(&HandleMembers::value))
            out_logger = in_logger;
    }
};

/// Gives access to the protected members of an event.
class EventMembers : public log4cplus::spi::InternalLoggingEvent
{
  public:
    /// Turns an event into that of another line, as `setLoggingEvent` does, except its message. A
    /// null file means that the place is not known. Reuses the memory of the texts: most lines have
    /// the logger and the file of the line before, and are not copied.
    static void fill(InternalLoggingEvent& out_event, const log4cplus::tstring& in_strLogger,
                     int in_logLevel, const char* in_szFile, int in_iLine)
    {
        assign(out_event.*(&EventMembers::loggerName), in_strLogger);
        out_event.*(&EventMembers::ll) = in_logLevel;
        out_event.*(&EventMembers::timestamp) = log4cplus::helpers::now();
        assign(out_event.*(&EventMembers::file), in_szFile != nullptr ? in_szFile : "");
        out_event.*(&EventMembers::line) = in_iLine;
        (out_event.*(&EventMembers::function)).clear();
        out_event.*(&EventMembers::threadCached) = false;
        out_event.*(&EventMembers::thread2Cached) = false;
        out_event.*(&EventMembers::ndcCached) = false;
        out_event.*(&EventMembers::mdcCached) = false;
    }

    EventMembers() = delete;

  private:
    [[gnu::always_inline]] static void assign(log4cplus::tstring& out_strText,
                                              std::string_view in_strText)
    {
        if (out_strText != in_strText)
            out_strText = in_strText;
    }
};

/// Gives access to the protected members of an appender.
class AppenderMembers : public log4cplus::Appender
{
  public:
    /// Passes an event to an appender whose mutex the thread holds, as `doAppend` does. Does not
    /// lock the mutex once more if there is nothing to do but the appender's own work.
    static void appendUnderLock(Appender& inout_appender,
                                const log4cplus::spi::InternalLoggingEvent& in_event)
    {
        if (inout_appender.*(&AppenderMembers::async) ||
            inout_appender.*(&AppenderMembers::closed) ||
            inout_appender.*(&AppenderMembers::useLockFile) ||
            (inout_appender.*(&AppenderMembers::filter)).get() != nullptr ||
            !inout_appender.isAsSevereAsThreshold(in_event.getLogLevel())) [[unlikely]]
            inout_appender.doAppend(in_event);
        else
            (inout_appender.*(&AppenderMembers::append))(in_event);
    }

    AppenderMembers() = delete;
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

    /// Returns the stream of the file.
    static log4cplus::tofstream& streamOf(FileAppenderBase& inout_appender)
    {
        return inout_appender.*(&FileAppenderMembers::out);
    }

    /// Returns the descriptor of a file stream, which is open. The C++ library keeps it in a
    /// protected member.
    static int descriptorOf(log4cplus::tofstream& in_stream)
    {
        struct Members : std::basic_filebuf<log4cplus::tchar>
        {
            static int descriptorOf(std::basic_filebuf<log4cplus::tchar>& in_buffer)
            {
                return (in_buffer.*(&Members::_M_file)).fd();
            }
        };
        return Members::descriptorOf(*in_stream.rdbuf());
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

/// Defines `referencesOf`, which returns a private member in the same way: the number of references
/// on an object.
template <std::atomic<unsigned int> log4cplus::helpers::SharedObject::*Member>
struct SharedObjectMembers
{
    friend std::atomic<unsigned int>&
    referencesOf(const log4cplus::helpers::SharedObject& in_object)
    {
        return const_cast<log4cplus::helpers::SharedObject&>(in_object).*Member;
    }
};
template struct SharedObjectMembers<&log4cplus::helpers::SharedObject::count__>;
std::atomic<unsigned int>& referencesOf(const log4cplus::helpers::SharedObject& in_object);

/// Returns a pointer to an object that another thread may be releasing. Returns null if there is no
/// reference on it: it is being made, or destroyed. The caller prevents its memory from being
/// freed.
template <class T>
log4cplus::helpers::SharedObjectPtr<T> shareIfReferenced(T& inout_object)
{
    std::atomic<unsigned int>& uiReferences = referencesOf(inout_object);
    unsigned int uiCount = uiReferences.load();
    while (uiCount != 0)
        if (uiReferences.compare_exchange_weak(uiCount, uiCount + 1))
        {
            log4cplus::helpers::SharedObjectPtr<T> pObject(&inout_object);
            inout_object.removeReference();
            return pObject;
        }
    return log4cplus::helpers::SharedObjectPtr<T>();
}

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

/// Holds a mutex of log4cplus, if it could be locked in time.
class TimedLock
{
  public:
    /// Locks the mutex, and waits until `in_end` at most. The lock is not held if another thread
    /// holds it until then.
    TimedLock(const log4cplus::thread::Mutex& in_mutex, TimedMutex::Clock::time_point in_end)
        : m_mutex(in_mutex), m_bHeld(m_mutex.lock(in_end))
    {
    }
    TimedLock(TimedLock&& inout_other) noexcept
        : m_mutex(inout_other.m_mutex), m_bHeld(std::exchange(inout_other.m_bHeld, false))
    {
    }
    ~TimedLock()
    {
        if (m_bHeld)
            m_mutex.unlock();
    }
    TimedLock(const TimedLock&) = delete;
    TimedLock& operator=(const TimedLock&) = delete;
    TimedLock& operator=(TimedLock&&) = delete;

    explicit operator bool() const { return m_bHeld; }

  private:
    TimedMutex m_mutex;
    bool m_bHeld;
};

/// Reinitializes, in the child of a fork, a recursive mutex that the forking thread holds.
/// Unlocking it there would fail, since its owner is a thread number that the child does not have.
inline void renewAfterFork(log4cplus::thread::Mutex& out_mutex)
{
    new (&out_mutex) log4cplus::thread::Mutex;
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

} // namespace Velmora::Log4cplusAccess
