// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/TemporaryDirectory.h"
#include "velmora/alarm/AggregateSystemOverloadAlarm.h"
#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/alarm/CountedStateAlarmImpl.h"
#include "velmora/alarm/LinuxProfileTimer.h"
#include "velmora/alarm/MaskableAlarmImpl.h"
#include "velmora/alarm/SystemConfigurationErrorAlarm.h"
#include "velmora/alarm/SystemOutOfServiceAlarm.h"
#include "velmora/alarm/SystemOverloadAlarmImpl.h"
#include "velmora/application/AceCleanupNoT.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/application/BuildInfo.h"
#include "velmora/application/Error.h"
#include "velmora/application/Exception.h"
#include "velmora/application/ProductApplicationImpl.h"
#include "velmora/application/SingletonRegistry.h"
#include "velmora/application/StackTrace.h"
#include "velmora/application/StateMachine.h"
#include "velmora/application/UnitTest.h"
#include "velmora/config/AceCleanupGlobalConfigHandle.h"
#include "velmora/config/ConfigCache.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/InvalidParamValueTypeException.h"
#include "velmora/config/ParamDefs.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/TrieConfiguration.h"
#include "velmora/logging/ACEBackend.h"
#include "velmora/logging/AceCleanupLogger.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallData.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/FileCallAppender.h"
#include "velmora/logging/Log4cplusBackend.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/RemoteSyslogAppender.h"
#include "velmora/memory/AceCleanupMemAllocator.h"
#include "velmora/memory/ObjectAllocator.h"
#include "velmora/memory/StaticPerThreadMemAllocator.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PyOutputStreamableImpl.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/VfsStream.h"
#include "velmora/vfs/VirtualFileSystemTestApplication.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ios>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// Programs call virtual operations by their index in a table. These tests read the tables of real
// objects, as a compiled program does, so they detect an operation that moves. Add a new virtual
// operation after all others of its class and of the classes that derive from it.

namespace Velmora::Test
{

// These classes are exported, so that dladdr finds the names of their functions.

class VELMORA_API Program : public ApplicationImpl
{
  public:
    Program();
    ~Program() override;
    void run() override;
};

Program::Program() : ApplicationImpl("VirtualTablesTest") {}
Program::~Program() = default;
void Program::run() {}

class VELMORA_API Product : public ProductApplicationImpl
{
  public:
    Product();
    ~Product() override;
    void run() override;
};

Product::Product() : ProductApplicationImpl("VirtualTablesTest") {}
Product::~Product() = default;
void Product::run() {}

class VELMORA_API TestProgram : public UnitTestApplication
{
  public:
    TestProgram();
    ~TestProgram() override;
    void run() override;
};

TestProgram::TestProgram() : UnitTestApplication(Logger("test"), "VirtualTablesTest") {}
TestProgram::~TestProgram() = default;
void TestProgram::run() {}

class VELMORA_API ObjectAllocator : public ObjectAllocatorBase
{
  public:
    ~ObjectAllocator() override;
    void* allocate(std::size_t in_uiSize, const char* in_szAccountName) override;
};

ObjectAllocator::~ObjectAllocator() = default;
void* ObjectAllocator::allocate(std::size_t, const char*) { return nullptr; }

class VELMORA_API Note : public PyOutputStreamableImpl
{
  public:
    ~Note() override;
    std::ostream& write(std::ostream& out_stream) const override;
};

Note::~Note() = default;
std::ostream& Note::write(std::ostream& out_stream) const { return out_stream; }

class VELMORA_API OnExitList : public AceCleanupNoT
{
  public:
    ~OnExitList() override;
};

OnExitList::~OnExitList() = default;

/// An alarm that overrides only the id and the description of its base class.
template <class Base>
class VELMORA_API Named : public Base
{
  public:
    ~Named() override;
    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
};

template <class Base>
Named<Base>::~Named() = default;

template <class Base>
std::ostream& Named<Base>::writeAlarmId(std::ostream& out_stream) const
{
    return out_stream;
}

template <class Base>
std::ostream& Named<Base>::writeDescription(std::ostream& out_stream) const
{
    return out_stream;
}

template class Named<AlarmImpl>;
template class Named<CountedStateAlarmImpl>;
template class Named<AlarmStateHashAlarmImpl>;
template class Named<MaskableAlarmImpl>;
template class Named<AggregateAlarmImpl>;

class VELMORA_API Watcher : public Named<AlarmStateHashAlarmImpl>
{
  public:
    ~Watcher() override;
    void onNewAlarmState() override;
};

Watcher::~Watcher() = default;
void Watcher::onNewAlarmState() {}

class VELMORA_API AlarmObserver : public Alarm::Observer
{
  public:
    ~AlarmObserver() override;
    void newAlarmState(const Alarm& in_alarm, Alarm::State in_state) override;
};

AlarmObserver::~AlarmObserver() = default;
void AlarmObserver::newAlarmState(const Alarm&, Alarm::State) {}

class VELMORA_API RegistryObserver : public AlarmRegistry::Observer
{
  public:
    ~RegistryObserver() override;
    void newAlarmState(const Alarm& in_alarm) override;
};

RegistryObserver::~RegistryObserver() = default;
void RegistryObserver::newAlarmState(const Alarm&) {}

class VELMORA_API Allocator : public AceCleanupMemAllocator<ACE_Thread_Mutex, 32>
{
  public:
    using AceCleanupMemAllocator<ACE_Thread_Mutex, 32>::AceCleanupMemAllocator;
    ~Allocator() override;
};

Allocator::~Allocator() = default;

namespace
{

using Functions = std::vector<std::string>;

void replaceAll(std::string& inout_strText, std::string_view in_what, std::string_view in_by)
{
    for (std::size_t uiFound = inout_strText.find(in_what); uiFound != std::string::npos;
         uiFound = inout_strText.find(in_what, uiFound + in_by.size()))
        inout_strText.replace(uiFound, in_what.size(), in_by);
}

/// Returns the name of the function at an address, as it is written in source code.
std::string functionAt(const void* in_pAddress)
{
    Dl_info info{};
    if (dladdr(in_pAddress, &info) == 0 || info.dli_saddr != in_pAddress)
        return "a function that no symbol names";
    int iStatus = 0;
    const std::unique_ptr<char, decltype(&std::free)> szName(
        abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &iStatus), &std::free);
    std::string strName = iStatus == 0 ? szName.get() : info.dli_sname;
    for (const char* const szThunk : {"virtual thunk to ", "non-virtual thunk to "})
        if (strName.starts_with(szThunk))
            strName.erase(0, std::string_view(szThunk).size());
    replaceAll(strName,
               "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
               "std::string");
    replaceAll(strName, "Velmora::", "");
    replaceAll(strName, ", std::allocator<std::string > >", ">");
    replaceAll(strName, ", std::allocator<ParameterInfoWithName> >", ">");
    replaceAll(strName, "[abi:cxx11]", "");
    return strName;
}

/// Returns the functions in the first slots of the table through which a program calls the
/// operations of `T`.
template <class T>
Functions tableOf(const T& in_object, std::size_t in_uiNumSlots)
{
    const void* const* const pTable = *reinterpret_cast<const void* const* const*>(&in_object);
    Functions functions;
    for (std::size_t uiSlot = 0; uiSlot != in_uiNumSlots; ++uiSlot)
        functions.push_back(functionAt(pTable[uiSlot]));
    return functions;
}

/// Expects the given functions in the first slots of `T`.
template <class T>
void expectTable(const T& in_object, const Functions& in_expected)
{
    EXPECT_EQ(tableOf(in_object, in_expected.size()), in_expected);
}

/// Returns the slot of a virtual operation. In the ABI of x86-64, a pointer to a virtual member
/// function contains the offset of the slot plus 1.
template <class Signature, class T>
std::size_t slotOf(Signature T::*in_operation)
{
    std::uintptr_t uiFirstWord = 0;
    static_assert(sizeof in_operation == 2 * sizeof uiFirstWord);
    std::memcpy(&uiFirstWord, &in_operation, sizeof uiFirstWord);
    EXPECT_EQ(uiFirstWord % sizeof(void*), 1U) << "not virtual";
    return (uiFirstWord - 1) / sizeof(void*);
}

Functions operator+(Functions in_first, const Functions& in_second)
{
    in_first.insert(in_first.end(), in_second.begin(), in_second.end());
    return in_first;
}

/// Returns the two slots of a destructor: the first destroys, the second also deletes.
Functions destructorOf(const std::string& in_strClass)
{
    const std::string strName = in_strClass.substr(in_strClass.rfind(':') + 1);
    return Functions(2, in_strClass + "::~" + strName.substr(0, strName.find('<')) + "()");
}

/// Returns the operations of a read-only configuration that overrides only `getParameter`.
Functions readStore(const std::string& in_strClass)
{
    return destructorOf(in_strClass) +
           Functions{in_strClass + "::getParameter(char const*, ParameterValue&) const",
                     "ROConfiguration::parameterDefined(char const*) const",
                     "ROConfiguration::getIntParameter(char const*, int&) const",
                     "ROConfiguration::getBoolParameter(char const*, bool&) const",
                     "ROConfiguration::getStringParameter(char const*, std::string&) const",
                     "ROConfiguration::getFloatParameter(char const*, float&) const"};
}

/// Returns the operations of a configuration that also overrides only `setParameter`.
Functions store(const std::string& in_strClass)
{
    return readStore(in_strClass) +
           Functions{in_strClass + "::setParameter(char const*, ParameterValue const&)",
                     "Configuration::setIntParameter(char const*, int)",
                     "Configuration::setBoolParameter(char const*, bool)",
                     "Configuration::setStringParameter(char const*, char const*)",
                     "Configuration::setFloatParameter(char const*, float)"};
}

/// The classes that override the operations of a logger.
struct LoggerOverrides
{
    std::string strClass;
    std::string strOutput = "Logger";
    std::string strForcedTrace = "Logger";
    std::string strReset = "Logger";
};

Functions logger(const LoggerOverrides& in_overrides)
{
    const std::string strAppender = "log4cplus::helpers::SharedObjectPtr<log4cplus::Appender>";
    return Functions{"log4cplus::Logger::addAppender(" + strAppender + ")",
                     "log4cplus::Logger::getAllAppenders()",
                     "log4cplus::Logger::getAppender(std::string const&)",
                     "log4cplus::Logger::removeAllAppenders()",
                     "log4cplus::Logger::removeAppender(" + strAppender + ")",
                     "log4cplus::Logger::removeAppender(std::string const&)"} +
           destructorOf(in_overrides.strClass) +
           Functions{"Logger::log(int, std::string const&, char const*, int) const",
                     "Logger::forcedLog(int, std::string const&, char const*, int) const",
                     in_overrides.strOutput +
                         "::callAppenders(log4cplus::spi::InternalLoggingEvent const&) const",
                     in_overrides.strOutput + "::getChainedNumAppender() const",
                     in_overrides.strForcedTrace + "::forcedTrace(char const*) const",
                     in_overrides.strReset + "::reset()"};
}

Functions cachedLogger(const LoggerOverrides& in_overrides)
{
    return logger(in_overrides) +
           Functions{"CachedLLLogger::log(LogLevel, std::string const&, char const*, int) const"};
}

Functions idLogger(const LoggerOverrides& in_overrides, const std::string& in_strCall)
{
    return cachedLogger(in_overrides) +
           Functions{
               "LoggingIdLogger::forcedLog(LogLevel, std::string const&, char const*, int) const",
               in_strCall + "::logCallId(char const*)", in_strCall + "::isInCall() const"};
}

Functions appender(const std::string& in_strClass, const std::string& in_strClose)
{
    return destructorOf(in_strClass) +
           Functions{in_strClose + "::close()",
                     "log4cplus::Appender::getName()",
                     "log4cplus::Appender::setName(std::string const&)",
                     "log4cplus::Appender::setErrorHandler(std::unique_ptr<log4cplus::ErrorHandler,"
                     " std::default_delete<log4cplus::ErrorHandler> >)",
                     "log4cplus::Appender::getErrorHandler()",
                     "log4cplus::Appender::setLayout(std::unique_ptr<log4cplus::Layout,"
                     " std::default_delete<log4cplus::Layout> >)",
                     "log4cplus::Appender::getLayout()",
                     in_strClass + "::append(log4cplus::spi::InternalLoggingEvent const&)"};
}

Functions onExitList(const std::string& in_strClass,
                     const std::string& in_strCleanup = "ACE_Cleanup")
{
    return destructorOf(in_strClass) + Functions{in_strCleanup + "::cleanup(void*)"};
}

/// Returns the operations of an application.
Functions application(const std::string& in_strClass)
{
    return destructorOf(in_strClass) + Functions{"ApplicationImpl::getConfig() const",
                                                 "ApplicationImpl::initialize(int, char**)",
                                                 in_strClass + "::run()",
                                                 "ApplicationImpl::getAppLogger() const"};
}

/// Returns the operations of the framework, which follow those.
Functions frame(const std::string& in_strClass, const std::string& in_strLogging)
{
    return application(in_strClass) +
           Functions{"ApplicationImpl::writeUsage(std::ostream&) const",
                     "ApplicationImpl::initializeGlobalConfigAndLogger("
                     "std::vector<std::string> const&)",
                     "ApplicationImpl::configureLoggerDefault(int, char**)",
                     in_strLogging + "::configureLoggerDefault()",
                     "ApplicationImpl::processCmdLineArgs(int, char**)",
                     "ApplicationImpl::processCmdlineVarsMap("
                     "boost::program_options::variables_map const&)",
                     "ApplicationImpl::configure(ROConfiguration const&)"};
}

/// The classes that override the operations of an alarm.
struct AlarmOverrides
{
    std::string strClass;
    std::string strId = strClass;
    std::string strSetState = "AlarmImpl";
};

/// Returns the operations of an alarm, in their order.
Functions alarm(const AlarmOverrides& in_overrides)
{
    return destructorOf(in_overrides.strClass) +
           Functions{"Alarm::reset()",
                     "AlarmImpl::getSeverity() const",
                     "Alarm::getAlarmId(std::string&) const",
                     in_overrides.strId + "::writeAlarmId(std::ostream&) const",
                     in_overrides.strId + "::writeDescription(std::ostream&) const",
                     "Alarm::write(std::ostream&) const",
                     "AlarmImpl::getState() const",
                     in_overrides.strSetState + "::setState(Alarm::State)",
                     "Alarm::set()",
                     "AlarmImpl::addObserver(LimitedObjPtr<Alarm::Observer>)",
                     "AlarmImpl::removeObserver(LimitedObjPtr<Alarm::Observer>)"};
}

/// Returns the operations of an alarm that watches others, after those of an observer.
Functions watcher(const std::string& in_strClass, const std::string& in_strOverrides)
{
    return destructorOf(in_strClass) +
           Functions{"AlarmStateHashAlarmImpl::newAlarmState(Alarm const&, Alarm::State)",
                     in_strOverrides + "::onNewAlarmState()"};
}

/// Returns the properties of an appender that writes to a file of the test.
log4cplus::helpers::Properties propertiesOf(const TemporaryDirectory& in_directory)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("File", (in_directory.path() / "call.log").string());
    return properties;
}

} // namespace

TEST(VirtualTables, OfROConfigurationAndConfigurationBeginThoseOfAStore)
{
    const TrieConfiguration configuration;
    expectTable<ROConfiguration>(configuration, readStore("TrieConfiguration"));
    expectTable<Configuration>(configuration, store("TrieConfiguration"));
    expectTable(configuration, store("TrieConfiguration"));
}

TEST(VirtualTables, OfConfigurationsAreWhereCallsThroughThemGo)
{
    EXPECT_EQ(slotOf(&ROConfiguration::getParameter), 2U);
    EXPECT_EQ(slotOf(&ROConfiguration::getFloatParameter), 7U);
    EXPECT_EQ(slotOf(&Configuration::setParameter), 8U);
    EXPECT_EQ(slotOf(&Configuration::setFloatParameter), 12U);
}

TEST(VirtualTables, OfParameterHashMapEndsWithWrite)
{
    expectTable(ParameterHashMap(), store("ParameterHashMap") +
                                        Functions{"ParameterHashMap::write(std::ostream&) const"});
}

TEST(VirtualTables, OfParameterTrieEndsWithBothFormsOfWrite)
{
    expectTable(ParameterTrie(), store("ParameterTrie") +
                                     Functions{"ParameterTrie::write(std::ostream&) const",
                                               "ParameterTrie::write(std::ostream&, char) const"});
}

TEST(VirtualTables, OfParameterInfoDBKeepTheTwoFormsOfRetrieveTogether)
{
    const Functions operations =
        destructorOf("ParamDefs") +
        Functions{"ParamDefs::retrieve(char const*, ParameterInfo&) const",
                  "ParamDefs::retrieve(char const*, std::vector<ParameterInfoWithName>&) const",
                  "ParamDefs::addDefaultsToConfig(Configuration&, bool) const",
                  "ParamDefs::warnOnDeprecated(ROConfiguration const&) const",
                  "ParamDefs::validateParamName(char const*, std::string&) const",
                  "ParamDefs::validateParamValue(char const*, ParameterValue&) const",
                  "ParamDefs::retrieveType(char const*) const"};
    const ParamDefs table;
    expectTable<ParameterInfoDB>(table, operations);
    expectTable(table, operations);
}

TEST(VirtualTables, OfGlobalConfigGoesOnWithTheWritingSideAndThatWithTheImplementation)
{
    const Functions readingSide =
        readStore("GlobalConfigImpl") +
        Functions{"GlobalConfigImpl::load(std::vector<std::string> const&)",
                  "GlobalConfigImpl::load(char const*)",
                  "GlobalConfigImpl::load(std::istream&)",
                  "GlobalConfigImpl::initialize(int, char**, char const*)",
                  "GlobalConfigImpl::addDefaults(bool)",
                  "GlobalConfigImpl::writeProtect()",
                  "GlobalConfigImpl::warnOnUnknownParameterNames() const",
                  "GlobalConfigImpl::declareRunTime()",
                  "GlobalConfigImpl::configureLogger(RunMode) const",
                  "GlobalConfigImpl::configureLogger(std::ostream&, RunMode) const",
                  "GlobalConfigImpl::convertTo(ParameterTrie&, char const*) const",
                  "GlobalConfigImpl::addObserver(char const*,"
                  " LimitedObjPtr<ConfigurationObserver>)",
                  "GlobalConfigImpl::removeObserver(LimitedObjPtr<ConfigurationObserver>)"};
    const Functions writingSide =
        readingSide +
        Functions{"GlobalConfigImpl::setParameter(char const*, ParameterValue const&)"};
    const Functions implementation =
        writingSide +
        Functions{"GlobalConfigImpl::configureLogger(ParameterTrie const&, std::ostream&) const",
                  "GlobalConfigImpl::write(std::ostream&) const"};
    const GlobalConfigImpl config;
    expectTable<GlobalConfig>(config, readingSide);
    expectTable<RWGlobalConfig>(config, writingSide);
    expectTable(config, implementation);
    EXPECT_EQ(slotOf(&RWGlobalConfig::setParameter), readingSide.size());
    EXPECT_EQ(slotOf(&GlobalConfigImpl::write), implementation.size() - 1);
}

TEST(VirtualTables, OfAceCleanupGlobalConfigHandleIsThatOfACECleanup)
{
    expectTable<ACE_Cleanup>(*new AceCleanupGlobalConfigHandle(new GlobalConfigImpl),
                             onExitList("AceCleanupGlobalConfigHandle"));
}

TEST(VirtualTables, OfConfigCacheIsThatOfAConfigurationThatIsRead)
{
    expectTable(ConfigCache(), readStore("ConfigCache"));
    expectTable<ROConfiguration>(ConfigCache(), readStore("ConfigCache"));
}

TEST(VirtualTables, OfResettableHasReset)
{
    EXPECT_EQ(slotOf(&Resettable::reset), 2U);
    expectTable<Resettable>(Logger("test"), destructorOf("Logger") + Functions{"Logger::reset()"});
}

TEST(VirtualTables, OfLoggersBeginWithThatOfTheLoggerBefore)
{
    expectTable(Logger("test"), logger({.strClass = "Logger"}));
    expectTable(*new AceCleanupLogger("test"), logger({.strClass = "AceCleanupLogger"}));
    expectTable(CachedLLLogger("test"),
                cachedLogger({.strClass = "CachedLLLogger", .strReset = "CachedLLLogger"}));
    expectTable(
        *new AceCleanupCachedLLLogger("test"),
        cachedLogger({.strClass = "AceCleanupCachedLLLogger", .strReset = "CachedLLLogger"}));
    expectTable(LoggingIdLogger("test"), idLogger({.strClass = "LoggingIdLogger",
                                                   .strForcedTrace = "LoggingIdLogger",
                                                   .strReset = "LoggingIdLogger"},
                                                  "LoggingIdLogger"));
    expectTable(CallLogger("test"), idLogger({.strClass = "CallLogger",
                                              .strOutput = "CallLogger",
                                              .strForcedTrace = "LoggingIdLogger",
                                              .strReset = "LoggingIdLogger"},
                                             "CallLogger"));
}

TEST(VirtualTables, OfACEBackendIsThatOfACECleanup)
{
    expectTable<ACE_Cleanup>(*getACEBackend(), onExitList("ACEBackend"));
}

TEST(VirtualTables, OfLog4cplusBackendIsThatOfTheBackendOfACE)
{
    expectTable<ACE_Log_Msg_Backend>(
        Log4cplusBackend(),
        destructorOf("Log4cplusBackend") +
            Functions{"Log4cplusBackend::open(char const*)", "Log4cplusBackend::reset()",
                      "Log4cplusBackend::close()", "Log4cplusBackend::log(ACE_Log_Record&)"});
}

TEST(VirtualTables, OfLoggingIdEventReplacesTheDestructorOnly)
{
    expectTable(LoggingIdEvent("test", INFO_LOG_LEVEL, "", nullptr, -1, nullptr, nullptr),
                destructorOf("LoggingIdEvent") +
                    Functions{"log4cplus::spi::InternalLoggingEvent::getMessage() const",
                              "log4cplus::spi::InternalLoggingEvent::getType() const",
                              "log4cplus::spi::InternalLoggingEvent::clone() const"});
}

TEST(VirtualTables, OfRemoteSyslogAppenderIsThatOfAnAppender)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("Hostname", "127.0.0.1");
    expectTable<log4cplus::Appender>(RemoteSyslogAppender(properties),
                                     appender("RemoteSyslogAppender", "RemoteSyslogAppender"));
}

TEST(VirtualTables, OfFileCallAppenderIsThatOfAFileAppender)
{
    const TemporaryDirectory directory;
    expectTable<log4cplus::FileAppender>(
        FileCallAppender(propertiesOf(directory), std::ios_base::trunc),
        appender("FileCallAppender", "FileCallAppender") +
            Functions{"log4cplus::FileAppenderBase::imbue(std::locale const&)",
                      "log4cplus::FileAppenderBase::getloc() const",
                      "FileCallAppender::open(std::_Ios_Openmode)"});
}

TEST(VirtualTables, OfCallAppenderFactoryHasTheDestructor)
{
    expectTable(*CallAppenderFactory::getInstance(), destructorOf("CallAppenderFactory"));
}

TEST(VirtualTables, OfCallDataHasTheIdBeforeTheAppender)
{
    EXPECT_EQ(slotOf(&CallData::getCallId), 2U);
    EXPECT_EQ(slotOf(&CallData::getAppender), 3U);
    expectTable(*CallDataRegistry::getInstance()->getCallData("call").operator->(),
                destructorOf("CallDataRegistry::CallDataImpl"));
}

TEST(VirtualTables, OfCallDataRegistryBeginsWithConfigure)
{
    expectTable(*CallDataRegistry::getInstance(),
                destructorOf("CallDataRegistryImpl") +
                    Functions{"CallDataRegistryImpl::configure(ParameterTrie const&)",
                              "CallDataRegistryImpl::getCallData(char const*)",
                              "CallDataRegistryImpl::getCurrentNumCall() const",
                              "CallDataRegistryImpl::getMaxNumCall() const"});
}

TEST(VirtualTables, OfAllocatorsOnTheExitListAreThatOfACECleanup)
{
    expectTable<ACE_Cleanup>(Allocator(Logger("test"), false), onExitList("Test::Allocator"));
    expectTable<ACE_Cleanup>(AceCleanupAccountMemAllocator(Logger("test"), false),
                             onExitList("AceCleanupAccountMemAllocator"));
    expectTable(*StaticPerThreadMemAllocatorImpl::getInstance(),
                onExitList("StaticPerThreadMemAllocatorImpl", "AceCleanupNoT"));
}

TEST(VirtualTables, OfObjectAllocatorBaseHasItsAllocationBehindTheDestructor)
{
    const ObjectAllocator allocator;
    EXPECT_EQ(slotOf(&ObjectAllocatorBase::allocate), 2U);
    expectTable<ObjectAllocatorBase>(
        allocator, destructorOf("Test::ObjectAllocator") +
                       Functions{"Test::ObjectAllocator::allocate(unsigned long, char const*)"});
}

TEST(VirtualTables, OfPyClassNameHasTheDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<PyClassName>);
    expectTable(PyClassName("a.B"), destructorOf("PyClassName"));
}

TEST(VirtualTables, OfPyOutputStreamableImplIsThatOfOutputStreamable)
{
    const Functions operations =
        destructorOf("Test::Note") + Functions{"Test::Note::write(std::ostream&) const"};
    const Note note;
    EXPECT_EQ(slotOf(&PyOutputStreamableImpl::write), 2U);
    expectTable<OutputStreamable>(note, operations);
    expectTable<PyOutputStreamableImpl>(note, operations);
}

TEST(VirtualTables, OfApplicationImplGoesOnWhereApplicationEnds)
{
    const Program program;
    expectTable<Application>(program, application("Test::Program"));
    expectTable<ApplicationImpl>(program, frame("Test::Program", "ApplicationImpl"));
}

TEST(VirtualTables, OfVirtualFileSystemsOpenBeforeTheyLook)
{
    const Functions functions =
        destructorOf("DiskFileSystem") +
        Functions{"DiskFileSystem::open(char const*, int)",
                  "DiskFileSystem::open(char const*, int, unsigned int)",
                  "DiskFileSystem::opendir(char const*)", "DiskFileSystem::exists(char const*)"};
    const DiskFileSystem fileSystem;
    expectTable<VirtualFileSystem>(fileSystem, functions);
    expectTable(fileSystem, functions);
}

TEST(VirtualTables, OfFilesAndDirectoriesGoOnWhereThatOfAnEntryEnds)
{
    const auto entry = [](const std::string& in_strClass)
    {
        return destructorOf(in_strClass) + Functions{"DiskFileSystem::Entry::getPath() const",
                                                     in_strClass + "::isFile() const",
                                                     in_strClass + "::isDirectory() const"};
    };
    const DiskFileSystem fileSystem;
    const DiskFileSystem::File file(fileSystem);
    expectTable<VirtualFileSystem::Entry>(file, entry("DiskFileSystem::File"));
    expectTable<VirtualFileSystem::File>(
        file, entry("DiskFileSystem::File") +
                  Functions{"DiskFileSystem::File::open(char const*, int)",
                            "DiskFileSystem::File::open(char const*, int, unsigned int)",
                            "DiskFileSystem::File::close()",
                            "DiskFileSystem::File::write(void const*, unsigned long)",
                            "DiskFileSystem::File::read(void*, unsigned long)",
                            "DiskFileSystem::File::lseek(long, int)"});
    const DiskFileSystem::Directory directory(fileSystem);
    expectTable<VirtualFileSystem::Directory>(
        directory,
        entry("DiskFileSystem::Directory") +
            Functions{"DiskFileSystem::Directory::open(char const*)",
                      "DiskFileSystem::Directory::close()", "DiskFileSystem::Directory::read()",
                      "DiskFileSystem::Directory::rewind()",
                      "DiskFileSystem::Directory::seek(long)"});
}

TEST(VirtualTables, OfVirtualFileSystemTestApplicationGoesOnWhereApplicationImplEnds)
{
    const std::string strClass = "VirtualFileSystemTestApplication";
    expectTable(VirtualFileSystemTestApplication("test"),
                destructorOf(strClass) +
                    Functions{"ApplicationImpl::getConfig() const",
                              "ApplicationImpl::initialize(int, char**)", strClass + "::run()",
                              "ApplicationImpl::getAppLogger() const",
                              strClass + "::writeUsage(std::ostream&) const",
                              "ApplicationImpl::initializeGlobalConfigAndLogger("
                              "std::vector<std::string> const&)",
                              "ApplicationImpl::configureLoggerDefault(int, char**)",
                              "ApplicationImpl::configureLoggerDefault()",
                              "ApplicationImpl::processCmdLineArgs(int, char**)",
                              strClass + "::processCmdlineVarsMap("
                                         "boost::program_options::variables_map const&)",
                              "ApplicationImpl::configure(ROConfiguration const&)",
                              strClass + "::runMultiThreadsTest()"});
}

TEST(VirtualTables, OfProductApplicationGoesOnWhereApplicationEnds)
{
    const std::string strClass = "ProductApplicationImpl";
    const Functions productApplication =
        application("Test::Product") +
        Functions{strClass + "::getProductName() const",
                  strClass + "::getProductMajorVersion() const",
                  strClass + "::getProductMinorVersion() const",
                  strClass + "::setProductNameWithBrand(char const*)",
                  strClass + "::setDottedRevision(char const*)"};
    const Product product;
    EXPECT_EQ(slotOf(&ProductApplication::getProductName), 6U);
    EXPECT_EQ(slotOf(&ProductApplication::setDottedRevision), 10U);
    expectTable<Application>(product, application("Test::Product"));
    expectTable<ProductApplication>(product, productApplication);
    expectTable<ProductApplicationImpl>(product, productApplication);
}

TEST(VirtualTables, OfUnitTestApplicationReplacesTheDefaultLogging)
{
    expectTable<UnitTestApplication>(TestProgram(),
                                     frame("Test::TestProgram", "UnitTestApplication"));
}

TEST(VirtualTables, OfUnitTestSingletonIsThatOfAnObserverOfTheRegistry)
{
    const Functions operations = destructorOf("UnitTestSingleton") +
                                 Functions{"UnitTestSingleton::newAlarmState(Alarm const&)"};
    expectTable(*UnitTestSingleton::getInstance(), operations);
    expectTable<AlarmRegistry::Observer>(*UnitTestSingleton::getInstance(), operations);
}

TEST(VirtualTables, OfUnitTestExceptionIsThatOfOutputStreamable)
{
    const std::string strClass = "UnitTestSingleton::UnitTestException";
    const Functions operations =
        destructorOf(strClass) + Functions{strClass + "::write(std::ostream&) const"};
    const UnitTestSingleton::UnitTestException exception;
    expectTable(exception, operations);
    expectTable<OutputStreamable>(exception, operations);
}

TEST(VirtualTables, OfStateMachineNoTHasTheNameOfTheInitialStateBehindTheDestructor)
{
    expectTable(StateMachineNoT(),
                destructorOf("StateMachineNoT") +
                    Functions{"StateMachineNoT::setInitialStateName(char const*)"});
}

TEST(VirtualTables, OfRootClassesHaveTheirOperationBehindTheDestructor)
{
    const ErrorStringImpl error("text");
    expectTable<Object>(error, destructorOf("ErrorStringImpl"));
    expectTable<OutputStreamable>(error, destructorOf("ErrorStringImpl") +
                                             Functions{"ErrorStringImpl::write(std::ostream&)"
                                                       " const"});
    expectTable<Cloneable>(error, destructorOf("ErrorStringImpl") +
                                      Functions{"ErrorStringImpl::clone() const"});
}

TEST(VirtualTables, OfExceptionsHaveWriteBeforeWhat)
{
    const ExceptionWithMsg exception("message");
    const Functions functions = destructorOf("ExceptionWithMsg") +
                                Functions{"ExceptionWithMsg::write(std::ostream&) const"};
    expectTable<Exception>(exception, functions);
    expectTable(exception, functions + Functions{"ExceptionWithMsg::what() const"});

    const std::string strClass = "InvalidParamValueTypeException";
    expectTable(InvalidParamValueTypeException(ParameterValue::INT_TYPE, ParameterValue::BOOL_TYPE),
                destructorOf(strClass) + Functions{strClass + "::write(std::ostream&) const"});
}

TEST(VirtualTables, OfErrorsHaveWriteBeforeClone)
{
    const Functions functions =
        destructorOf("ErrorStringImpl") +
        Functions{"ErrorStringImpl::write(std::ostream&) const", "ErrorStringImpl::clone() const"};
    const ErrorStringImpl error("text");
    expectTable<Error>(error, functions);
    expectTable(error, functions);
    EXPECT_EQ(slotOf(&Error::clone), 3U);
}

TEST(VirtualTables, OfAceCleanupNoTReplacesCleanup)
{
    expectTable<ACE_Cleanup>(*new OnExitList, onExitList("Test::OnExitList", "AceCleanupNoT"));
}

TEST(VirtualTables, OfEmbeddedInterpreterHasTheDestructorAlone)
{
    expectTable(Python::EmbeddedInterpreter::getInstance(),
                destructorOf("Python::EmbeddedInterpreter"));
}

TEST(VirtualTables, OfVfsFileBufIsThatOfAStandardStreamBuffer)
{
    const std::string strClass = "VfsFileBuf<char, std::char_traits<char> >";
    const VfsFileBuf<char> buffer(TSHandle<VirtualFileSystem>(new DiskFileSystem));
    expectTable<std::streambuf>(
        buffer,
        Functions(2, strClass + "::~VfsFileBuf()") +
            Functions{strClass + "::imbue(std::locale const&)", strClass + "::setbuf(char*, long)",
                      strClass + "::seekoff(long, std::_Ios_Seekdir, std::_Ios_Openmode)",
                      strClass + "::seekpos(std::fpos<__mbstate_t>, std::_Ios_Openmode)",
                      strClass + "::sync()", strClass + "::showmanyc()",
                      strClass + "::xsgetn(char*, long)", strClass + "::underflow()",
                      "std::basic_streambuf<char, std::char_traits<char> >::uflow()",
                      strClass + "::pbackfail(int)", strClass + "::xsputn(char const*, long)",
                      strClass + "::overflow(int)"});
}

TEST(VirtualTables, OfSingletonRegistryHasTheOperationsOnAnyPointerBeforeThoseOnObjects)
{
    expectTable(*SingletonRegistry::getInstance(),
                destructorOf("SingletonRegistryImpl") +
                    Functions{"SingletonRegistryImpl::find(char const*) const",
                              "SingletonRegistryImpl::insert(char const*, void*,"
                              " void (*)(void*, void*), void*)",
                              "SingletonRegistryImpl::findObject(char const*) const",
                              "SingletonRegistryImpl::insertObject(char const*, Object*, bool)"});
}

TEST(VirtualTables, OfStackTraceHasPrintBeforeLog)
{
    expectTable(StackTrace(),
                destructorOf("StackTrace") +
                    Functions{"StackTrace::print() const", "StackTrace::log(LogLevel) const"});
}

TEST(VirtualTables, OfAlarmsHaveTheOperationsOfAlarmInTheirOrder)
{
    // A program calls each of them through the interface.
    const auto expectAlarm = [](const Alarm& in_alarm, const AlarmOverrides& in_overrides)
    { expectTable(in_alarm, alarm(in_overrides)); };
    expectAlarm(Named<AlarmImpl>(), {"Test::Named<AlarmImpl>"});
    expectAlarm(Named<CountedStateAlarmImpl>(),
                {"Test::Named<CountedStateAlarmImpl>", "Test::Named<CountedStateAlarmImpl>",
                 "CountedStateAlarmImpl"});
    expectAlarm(Watcher(), {"Test::Watcher", "Test::Named<AlarmStateHashAlarmImpl>"});
    expectAlarm(
        Named<MaskableAlarmImpl>(),
        {"Test::Named<MaskableAlarmImpl>", "Test::Named<MaskableAlarmImpl>", "MaskableAlarmImpl"});
    expectAlarm(Named<AggregateAlarmImpl>(),
                {"Test::Named<AggregateAlarmImpl>", "Test::Named<AggregateAlarmImpl>",
                 "AggregateAlarmImpl"});
    expectAlarm(SystemOutOfServiceAlarm(),
                {"SystemOutOfServiceAlarm", "SystemOutOfServiceAlarm", "SystemOutOfServiceAlarm"});
    expectAlarm(SystemConfigurationErrorAlarm(), {"SystemConfigurationErrorAlarm"});
    expectAlarm(SystemOverloadAlarmImpl(),
                {"SystemOverloadAlarmImpl", "SystemOverloadAlarm", "SystemOverloadAlarmImpl"});
    expectAlarm(AggregateSystemOverloadAlarm(),
                {"AggregateSystemOverloadAlarm", "SystemOverloadAlarm", "AggregateAlarmImpl"});
}

TEST(VirtualTables, OfAlarmImplAndSystemAlarmsBeginLikeThatOfAlarm)
{
    const Named<AlarmImpl> plain;
    expectTable<AlarmImpl>(plain, alarm({"Test::Named<AlarmImpl>"}));
    const SystemConfigurationErrorAlarm error;
    expectTable<SystemAlarm>(error, alarm({"SystemConfigurationErrorAlarm"}));
    const SystemOverloadAlarmImpl overload;
    expectTable<SystemOverloadAlarm>(
        overload,
        alarm({"SystemOverloadAlarmImpl", "SystemOverloadAlarm", "SystemOverloadAlarmImpl"}));
}

TEST(VirtualTables, OfAlarmsThatWatchOthersHaveOnNewAlarmStateBehindThoseOfAnObserver)
{
    expectTable<AlarmStateHashAlarmImpl>(Watcher(), watcher("Test::Watcher", "Test::Watcher"));
    expectTable<MaskableAlarmImpl>(Named<MaskableAlarmImpl>(),
                                   watcher("Test::Named<MaskableAlarmImpl>", "MaskableAlarmImpl") +
                                       Functions{"MaskableAlarmImpl::setState(Alarm::State)"});
    expectTable<AggregateAlarmImpl>(
        Named<AggregateAlarmImpl>(),
        watcher("Test::Named<AggregateAlarmImpl>", "AggregateAlarmImpl") +
            Functions{"AggregateAlarmImpl::setState(Alarm::State)"});
    expectTable<Alarm::Observer>(
        AggregateSystemOverloadAlarm(),
        Functions(watcher("AggregateSystemOverloadAlarm", "AggregateAlarmImpl")));
}

TEST(VirtualTables, OfObserversOfAlarmsHaveTheirOneOperation)
{
    expectTable<Alarm::Observer>(
        AlarmObserver(),
        destructorOf("Test::AlarmObserver") +
            Functions{"Test::AlarmObserver::newAlarmState(Alarm const&, Alarm::State)"});
    expectTable<AlarmRegistry::Observer>(
        RegistryObserver(), destructorOf("Test::RegistryObserver") +
                                Functions{"Test::RegistryObserver::newAlarmState(Alarm const&)"});
}

TEST(VirtualTables, OfAlarmRegistryHasClearLast)
{
    const std::string strClass = "AlarmRegistryImpl";
    const std::string strObserver = "(LimitedObjPtr<AlarmRegistry::Observer>)";
    expectTable(AlarmRegistry::getInstance(),
                destructorOf(strClass) +
                    Functions{strClass + "::addAlarm(Alarm*, bool)",
                              strClass + "::getAlarm(std::string const&) const",
                              strClass + "::getAllAlarms(std::vector<LimitedObjPtr<Alarm>,"
                                         " std::allocator<LimitedObjPtr<Alarm> > >&) const",
                              strClass + "::addObserver" + strObserver,
                              strClass + "::removeObserver" + strObserver, strClass + "::clear()"});
}

TEST(VirtualTables, OfProfileTimerHasTheIdleTimeBehindTheDestructor)
{
    const std::string strClass = "LinuxProfileTimer";
    expectTable(LinuxProfileTimer(),
                destructorOf(strClass) + Functions{strClass + "::getSystemIdleTime(double&)"});
}

TEST(VirtualTables, AreNotInClassesThatAreKeptByValueOrHaveNoVirtualOperation)
{
    EXPECT_FALSE(std::is_polymorphic_v<ParameterValue>);
    EXPECT_FALSE(std::is_polymorphic_v<Parameter>);
    EXPECT_FALSE(std::is_polymorphic_v<TSHandle<GlobalConfig>>);
    EXPECT_FALSE(std::is_polymorphic_v<ObjectWithLogger<Logger>>);
    EXPECT_FALSE(std::is_polymorphic_v<MemAllocatorNoT>);
    EXPECT_FALSE(std::is_polymorphic_v<BuildInfo>);
    EXPECT_FALSE(std::is_polymorphic_v<BasicEvent>);
    EXPECT_FALSE(
        (std::is_polymorphic_v<PerThreadMemAllocator<MemAllocator<ACE_Thread_Mutex, 32>>>));
    EXPECT_FALSE(std::is_polymorphic_v<CallDataRegistry::CallDataHandle>);
    EXPECT_FALSE(std::is_polymorphic_v<VfsFileBufImpl>);
}

} // namespace Velmora::Test
