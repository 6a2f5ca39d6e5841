#include "velmora/application/Lifetime.h"

#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/application/BuildInfo.h"
#include "velmora/application/RegistrationSingleton.h"
#include "velmora/application/SingletonRegistry.h"
#include "velmora/application/UnitTest.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/ACEBackend.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallDataRegistryImpl.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/logging/RemoteSyslogAppender.h"
#include "velmora/memory/ForkGate.h"
#include "velmora/memory/PerThreadMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"
#include "velmora/memory/ThreadCache.h"
#include "velmora/python/ConfigPropertiesModel.h"
#include "velmora/python/InterpreterFork.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <ace/Object_Manager.h>

#include <pthread.h>

#include <utility>

namespace Velmora
{

namespace
{

/// Closes the ACE object manager when the library's static destructors run, unless somebody has
/// done so before. ACE itself would run the exit list in its own static destructor, which is after
/// that of log4cplus for one order of linking, and never when another thread than the main one
/// exits. Of several copies of the library, the first closes, which is destroyed last: those that
/// were opened later would run the list before the program's static destructors.
class ExitListCloser
{
  public:
    ExitListCloser() { m_place.fill(this); }
    ~ExitListCloser()
    {
        s_bHasRun = true;
        if (m_place.get() == this && ACE_Object_Manager::shutting_down() == 0)
            ACE_Object_Manager::instance()->fini();
    }
    ExitListCloser(const ExitListCloser&) = delete;
    ExitListCloser& operator=(const ExitListCloser&) = delete;

    static inline bool s_bHasRun = false;

  private:
    OncePerProcess<ExitListCloser> m_place{"ExitListCloser"};
};

/// What the configuration of the process sets up for calls. Static, so without a destructor to run.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class CallLoggingOfProcess final : public GlobalConfigSeam::CallLogging
{
  public:
    bool configure(const ParameterTrie& in_trie) override
    {
        CallDataRegistryImpl* const pRegistry = CallDataRegistryImpl::ifAlive();
        return pRegistry == nullptr || pRegistry->configure(in_trie);
    }
};

/// Lets a child of `fork` use alarms, log, allocate and exit although threads that did so in the
/// parent do not exist in it: the forking thread holds all locks of these over the fork.
class ForkHandlers
{
  public:
    static void install()
    {
        // Observers of alarms may enter Python, so its lock is held for none of these.
        Python::InterpreterFork::setLocks({&AlarmRegistryImpl::beforeFork,
                                           &AlarmRegistryImpl::afterForkInParent,
                                           &AlarmRegistryImpl::afterForkInChild});
        pthread_atfork(&prepare, &parent, &child);
    }

  private:
    static void prepare()
    {
        // The alarms come first: they log, and their observers do anything. The registry of calls
        // logs, and appenders may allocate.
        Python::InterpreterFork::prepare();
        CallDataRegistryImpl::beforeFork();
        if (!ExitListCloser::s_bHasRun)
            s_pLocker =
                new Log4cplusAccess::WholeHierarchyLocker(log4cplus::Logger::getDefaultHierarchy());
        UnitTestSingleton::beforeFork();
        ForkGate::close();
    }

    static void parent()
    {
        ForkGate::open();
        UnitTestSingleton::afterFork();
        // Cleared while the hierarchy is still locked: the next thread to fork sets it right after.
        delete std::exchange(s_pLocker, nullptr);
        CallDataRegistryImpl::afterForkInParent();
        Python::InterpreterFork::parent();
    }

    static void child()
    {
        ForkGate::open();
        ThreadCaches::forgetOtherThreads();
        PerThreadMemAllocatorNoT::forgetThreadId();
        UnitTestSingleton::afterFork();
        CallDataRegistryImpl::afterForkInChild();
        if (s_pLocker != nullptr)
        {
            // Its unlocking fails here, which is what the renewal is for.
            delete s_pLocker;
            s_pLocker = nullptr;
            Log4cplusAccess::renewHierarchyAfterFork(log4cplus::Logger::getDefaultHierarchy());
        }
        // Last, as an observer that forks goes on to hold what comes before all others.
        Python::InterpreterFork::child();
    }

    /// Guarded by what it locks.
    static inline Log4cplusAccess::WholeHierarchyLocker* s_pLocker = nullptr;
};

void bringUpFileScopeLoggers()
{
#define VELMORA_BRING_UP(source, name) LibraryLoggers::source();
    VELMORA_LIBRARY_LOGGERS(VELMORA_BRING_UP)
#undef VELMORA_BRING_UP
}

bool bringUpInOrder()
{
    getACEBackend();
    RemoteSyslogAppender::registerFactory();
    Logger::sGetConfigMutex();
    // The parent of all others, so that it need not be linked in between them later.
    Logger().getName();
    bringUpFileScopeLoggers();
    StaticMemAllocator::initializeClass();
    StaticAccountMemAllocator::initializeClass();
    SingletonRegistry::getInstance();
    CallAppenderFactory::getInstance();
    CallDataRegistryImpl::getInstance();
    Python::EmbeddedInterpreter::getInstance();
    AlarmRegistryImpl::getInstance();
    BuildInfo::getInstance();
    ParameterInfoDB::getInstance();
    GlobalConfig::getInstance();
    static constinit CallLoggingOfProcess s_callLogging;
    GlobalConfigSeam::setCallLogging(&s_callLogging);
    static constinit Python::ConfigPropertiesModel s_configPropertiesModel;
    GlobalConfigSeam::setDatabaseSource(&s_configPropertiesModel);
    RegistrationSingleton::cleanUpAtExit();
    ForkHandlers::install();
    // Last, so that its destructor runs before those of the statics made above.
    static ExitListCloser s_closer;
    return true;
}

} // namespace

void bringUpLibrary()
{
    static const bool s_bUp = bringUpInOrder();
    static_cast<void>(s_bUp);
}

} // namespace Velmora
