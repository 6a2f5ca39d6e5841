// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Lifetime.h"

#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/application/BuildInfo.h"
#include "velmora/application/ProcessGate.h"
#include "velmora/application/RegistrationSingleton.h"
#include "velmora/application/SingletonRegistry.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/ACEBackend.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallDataRegistryImpl.h"
#include "velmora/logging/ConfigurationTurn.h"
#include "velmora/logging/FileAppender.h"
#include "velmora/logging/HierarchyLocks.h"
#include "velmora/logging/JsonLayout.h"
#include "velmora/logging/LevelChange.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LineInTime.h"
#include "velmora/logging/LivingFileAppenders.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/logging/PatternLayout.h"
#include "velmora/logging/RemoteSyslogAppender.h"
#include "velmora/memory/PerThreadMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"
#include "velmora/memory/ThreadCache.h"
#include "velmora/python/ConfigPropertiesModel.h"
#include "velmora/python/InterpreterFork.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <ace/Object_Manager.h>

#include <pthread.h>

#include <chrono>
#include <exception>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(OS)

namespace Velmora
{

namespace
{

/// Closes the ACE object manager when the library's static destructors run, unless the program has
/// closed it before. ACE itself would run the exit list in its own static destructor. Depending on
/// the order of linking, that destructor runs after the one of log4cplus. It does not run at all if
/// a thread other than the main one exits.
///
/// If the process has several copies of the library, the first copy closes the object manager. It
/// is destroyed last. The copies that were opened later would run the list before the static
/// destructors of the program.
class ExitListCloser
{
  public:
    ExitListCloser() { m_place.fill(this); }
    ~ExitListCloser()
    {
        s_bHasRun = true;
        ProcessGate::stopWaiting();
        if (m_place.get() == this && ACE_Object_Manager::shutting_down() == 0)
            ACE_Object_Manager::instance()->fini();
    }
    ExitListCloser(const ExitListCloser&) = delete;
    ExitListCloser& operator=(const ExitListCloser&) = delete;

    /// Whether the exit list has run, or was left to the first copy of the library.
    static inline bool s_bHasRun = false;

  private:
    OncePerProcess<ExitListCloser> m_place{"ExitListCloser"};
};

/// Configures the log files of calls from the configuration of the process. The object is static
/// and has no destructor to run.
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

/// Makes the library usable in a child of `fork`, and lets the child exit normally, although
/// threads that were inside the library in the parent do not exist in the child. For that, the
/// forking thread closes the gate during the fork.
class ForkHandlers
{
  public:
    static void install()
    {
        Python::InterpreterFork::setInterpreterOfGate();
        // Allocated here, as a fork may happen when there is no memory.
        s_pLocks = new HierarchyLocks(log4cplus::Logger::getDefaultHierarchy());
        pthread_atfork(&prepare, &parent, &child);
    }

  private:
    /// The time that a fork waits for threads that log through log4cplus itself.
    static constexpr std::chrono::milliseconds s_patience{10};

    static void prepare()
    {
        // The gate first: no lock of log4cplus may be held while other threads leave the library.
        s_bClosed = Python::InterpreterFork::prepare();
        if (!ExitListCloser::s_bHasRun)
            s_pLocks->lockWhatCanBeHad(std::chrono::steady_clock::now() + s_patience);
    }

    static void parent()
    {
        s_pLocks->unlock();
        // Copied, since another fork may change it as soon as the gate is open.
        const bool bClosed = s_bClosed;
        Python::InterpreterFork::parent();
        if (!bClosed)
            report();
    }

    static void child()
    {
        ProcessGate::openInChild();
        ThreadCaches::forgetOtherThreads();
        PerThreadMemAllocatorNoT::forgetThreadId();
        ConfigurationTurn::startAnewInChild();
        LevelChange::startAnewInChild();
        if (!ExitListCloser::s_bHasRun)
        {
            // Not unlocked but renewed: the mutexes know their owner by a thread id that differs in
            // the child.
            s_pLocks->forget();
            HierarchyLocks::renewAfterFork(log4cplus::Logger::getDefaultHierarchy());
        }
        CallDataRegistryImpl::afterForkInChild();
        LivingFileAppenders::forgetInChild();
        Python::InterpreterFork::child();
    }

    static void report() noexcept
    try
    {
        const Logger* const pLogger = ::liveFileScopeLogger();
        if (pLogger != nullptr)
            // The thread that hangs may hold the lock of an appender. `logInTime` does not wait
            // long for one.
            logInTime(*pLogger, ERROR_LOG_LEVEL,
                      "a fork went ahead although other threads did not come out of their log "
                      "lines, alarms or other operations within " +
                          std::to_string(ProcessGate::s_limit.count()) +
                          " s ; what they were about may be missing in the child. Look for an "
                          "appender or an observer that hangs",
                      __FILE__, __LINE__);
    }
    catch (const std::exception&)
    {
        // An exception must not leave a fork handler.
    }

    /// These two are guarded by the turn to close the gate, which the forking thread has.
    static inline HierarchyLocks* s_pLocks = nullptr;
    static inline bool s_bClosed = false;
};

void bringUpFileScopeLoggers()
{
#define VELMORA_BRING_UP(source, name) LibraryLoggers::source();
    VELMORA_LIBRARY_LOGGERS(VELMORA_BRING_UP)
#undef VELMORA_BRING_UP
}

bool bringUpInOrder()
{
    // The order of these lines is the order in docs/lifetime.md. Each object may use those above
    // it, in its destructor as well.
    ProcessGate::initialize();
    LevelChange::initialize();
    getACEBackend();
    RemoteSyslogAppender::registerFactory();
    FileAppender::registerFactory();
    PatternLayout::registerFactory();
    JsonLayout::registerFactory();
    Logger::sGetConfigMutex();
    // The parent of all other loggers is created first. Otherwise log4cplus would have to insert it
    // above them later.
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
    // Created last, so that its destructor runs before those of the statics above.
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
