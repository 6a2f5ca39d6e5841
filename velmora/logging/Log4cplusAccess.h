#pragma once

// What this library needs of log4cplus and the published interface does not give, for the versions
// that it is built with. Nothing else in the tree depends on the version.

#include "velmora/Sanitizers.h"

#include <log4cplus/appender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/hierarchylocker.h>
#include <log4cplus/spi/loggerimpl.h>
#include <log4cplus/version.h>

#include <cstddef>
#include <new>

#if VELMORA_THREAD_SANITIZER
#include <dlfcn.h>
#include <pthread.h>

#include <vector>
#endif

#if LOG4CPLUS_VERSION < LOG4CPLUS_MAKE_VERSION(2, 0, 0) || \
    LOG4CPLUS_VERSION >= LOG4CPLUS_MAKE_VERSION(2, 1, 0)
#error "This version of log4cplus has not been looked at; check each item of this header for it."
#endif

namespace log4cplus
{

// Exported by the library, but in none of its headers.
LOG4CPLUS_EXPORT void shutdownThreadPool();

} // namespace log4cplus

namespace Velmora::Log4cplusAccess
{

/// Names the protected members of `LoggerImpl` from a class derived from it, which is what may.
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

    LoggerMembers() = delete;
};

/// Names the protected member of a logger handle.
class HandleMembers : public log4cplus::Logger
{
  public:
    static log4cplus::spi::LoggerImpl& implOf(const log4cplus::Logger& in_logger)
    {
        return *(in_logger.*(&HandleMembers::value));
    }
};

/// Gives `hashtableMutexOf`, for a member that is private: an explicit instantiation may name it.
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

#if VELMORA_THREAD_SANITIZER
/// ThreadSanitizer looks at no more than 64 locks that a thread holds, and ends the process at the
/// next one. This holds the same locks as log4cplus's locker, in the same order, but takes those of
/// the loggers behind its back. It sees each of them all the same whenever a list is used: they are
/// recursive, and log4cplus takes them there once more.
class AllLoggersLocker
{
  public:
    explicit AllLoggersLocker(log4cplus::Hierarchy& in_hierarchy)
        : m_guard(hashtableMutexOf(in_hierarchy)), m_loggers(in_hierarchy.getCurrentLoggers())
    {
        for (const log4cplus::Logger& logger : m_loggers)
            lock(logger);
    }
    ~AllLoggersLocker()
    {
        for (auto logger = m_loggers.rbegin(); logger != m_loggers.rend(); ++logger)
            unlock(*logger);
    }
    AllLoggersLocker(const AllLoggersLocker&) = delete;
    AllLoggersLocker& operator=(const AllLoggersLocker&) = delete;

  private:
    using Operation = int (*)(pthread_mutex_t*);

    static pthread_mutex_t* mutexOf(const log4cplus::Logger& in_logger)
    {
        static_assert(sizeof(log4cplus::thread::Mutex) == sizeof(pthread_mutex_t));
        return reinterpret_cast<pthread_mutex_t*>(const_cast<log4cplus::thread::Mutex*>(
            &HandleMembers::implOf(in_logger).appender_list_mutex));
    }
    static Operation operationOfSystem(const char* in_szName)
    {
        return reinterpret_cast<Operation>(
            dlsym(dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD), in_szName));
    }
    static void lock(const log4cplus::Logger& in_logger)
    {
        static const Operation s_pLock = operationOfSystem("pthread_mutex_lock");
        s_pLock(mutexOf(in_logger));
    }
    static void unlock(const log4cplus::Logger& in_logger)
    {
        static const Operation s_pUnlock = operationOfSystem("pthread_mutex_unlock");
        s_pUnlock(mutexOf(in_logger));
    }

    log4cplus::thread::MutexGuard m_guard;
    std::vector<log4cplus::Logger> m_loggers;
};
#else
using AllLoggersLocker = log4cplus::HierarchyLocker;
#endif

/// Keeps the appenders and levels of a hierarchy as they are for everybody else: lines that are
/// logged meanwhile wait. log4cplus's own locker leaves the root logger out. The root comes first,
/// since appenders that log themselves mostly stand there.
class WholeHierarchyLocker
{
  public:
    explicit WholeHierarchyLocker(log4cplus::Hierarchy& in_hierarchy)
        : m_rootGuard(HandleMembers::implOf(in_hierarchy.getRoot()).appender_list_mutex),
          m_locker(in_hierarchy)
    {
    }

  private:
    log4cplus::thread::MutexGuard m_rootGuard;
    AllLoggersLocker m_locker;
};

/// Makes a recursive mutex that the forking thread holds usable in the child. Unlocking it there
/// would fail, since it belongs to a thread number that the child does not have.
inline void renewAfterFork(log4cplus::thread::Mutex& out_mutex)
{
    new (&out_mutex) log4cplus::thread::Mutex;
}

/// Renews, in a child of `fork`, all mutexes that logging takes. The caller has held the hierarchy
/// locked over the fork, so that nothing that they guard was being changed.
inline void renewHierarchyAfterFork(log4cplus::Hierarchy& in_hierarchy)
{
    renewAfterFork(hashtableMutexOf(in_hierarchy));
    const auto renewLogger = [](const log4cplus::Logger& in_logger)
    {
        log4cplus::spi::LoggerImpl& impl = HandleMembers::implOf(in_logger);
        renewAfterFork(impl.appender_list_mutex);
        for (const log4cplus::SharedAppenderPtr& pAppender : LoggerMembers::appendersOf(impl))
            renewAfterFork(pAppender->access_mutex);
    };
    renewLogger(in_hierarchy.getRoot());
    for (const log4cplus::Logger& logger : in_hierarchy.getCurrentLoggers())
        renewLogger(logger);
}

/// The level in force for a logger, NOT_SET_LOG_LEVEL if not even the root has one. log4cplus's own
/// walk complains and throws then, and its root passes every line.
inline int chainedLogLevel(const log4cplus::spi::LoggerImpl& in_logger)
{
    for (const log4cplus::spi::LoggerImpl* pLogger = &in_logger; pLogger != nullptr;
         pLogger = LoggerMembers::parentOf(*pLogger))
        if (const int level = pLogger->getLogLevel(); level != log4cplus::NOT_SET_LOG_LEVEL)
            return level;
    return log4cplus::NOT_SET_LOG_LEVEL;
}

/// Whether the hierarchy as a whole drops lines of a level.
inline bool isDisabled(const log4cplus::spi::LoggerImpl& in_logger, int in_level)
{
    return in_logger.getHierarchy().isDisabled(in_level);
}

/// Calls the function for the logger and its parents, as far as additivity leads, until it gives
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

/// Whether an appender of that name is in the chain. Looks at each list under its lock, and takes
/// no appender out of it.
inline bool isAppenderInChain(const log4cplus::spi::LoggerImpl& in_logger,
                              const log4cplus::tstring& in_strName)
{
    bool bFound = false;
    forEachInAppenderChain(in_logger,
                           [&in_strName, &bFound](const log4cplus::spi::LoggerImpl& in_link)
                           {
                               const log4cplus::thread::MutexGuard guard(
                                   in_link.appender_list_mutex);
                               for (const log4cplus::SharedAppenderPtr& pAppender :
                                    LoggerMembers::appendersOf(in_link))
                                   bFound = bFound || pAppender->getName() == in_strName;
                               return !bFound;
                           });
    return bFound;
}

/// The number of appenders in the chain, read without the lists' locks: each list is a vector, of
/// which two words are read, so that a list which grows meanwhile is seen as not empty.
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

/// The number of appenders in the chain, each list under its lock. Waits for a thread that changes
/// the configuration under a `HierarchyLocker`.
inline std::size_t countAppendersLocked(const log4cplus::spi::LoggerImpl& in_logger)
{
    std::size_t uiCount = 0;
    forEachInAppenderChain(in_logger,
                           [&uiCount](const log4cplus::spi::LoggerImpl& in_link)
                           {
                               const log4cplus::thread::MutexGuard guard(
                                   in_link.appender_list_mutex);
                               uiCount += LoggerMembers::appendersOf(in_link).size();
                               return true;
                           });
    return uiCount;
}

} // namespace Velmora::Log4cplusAccess
