// SPDX-License-Identifier: BSD-2-Clause

// Uses everything that the library offers, at small scale, while the harness makes system calls or
// allocations fail. Each step ends with one line: "done STEP" on standard output, or "FAILED STEP:
// why" on standard error, which makes the exit code 1.
//
// Each step checks its own results. A line "LOST ..." on standard output means that an operation
// reported success and had no effect. If nothing else reports the failure, the harness counts it as
// lost silently. The harness checks the contents of the files of the run.
//
// faults-exerciser <directory> library|python

#include "tests/support/NamedAlarm.h"
#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/AlarmJournal.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/ProfileTimer.h"
#include "velmora/alarm/ResourceMonitor.h"
#include "velmora/config/ConfigurationCheck.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/memory/AccountMemAllocator.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticPerThreadMemAllocator.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/TSPyObjPtr.h"
#include "velmora/system/DynlibObjectFactory.h"
#include "velmora/system/OS.h"
#include "velmora/system/StringVector.h"
#include "velmora/system/UUID.h"
#include "velmora/vfs/Directory.h"
#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/File.h"
#include "velmora/vfs/VfsStream.h"

#include <log4cplus/helpers/property.h>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.Exerciser")

using namespace Velmora;

namespace
{

std::string s_strHome; // NOLINT(cert-err58-cpp)
int s_iFailed = 0;
const pid_t s_parent = getpid();

template <class Function>
void step(const char* in_szName, Function in_function)
{
    const char* szWhy = "it says so";
    std::array<char, 200> text{};
    try
    {
        if (in_function())
        {
            std::printf("done %s\n", in_szName);
            return;
        }
    }
    catch (const std::exception& error)
    {
        std::strncpy(text.data(), error.what(), text.size() - 1);
        szWhy = text.data();
    }
    s_iFailed = 1;
    std::fprintf(stderr, "FAILED %s: %s\n", in_szName, szWhy);
    // A child must not continue as a second parent after an exception.
    if (getpid() != s_parent)
        _exit(1);
}

/// Runs a function on a new thread and rethrows its exception to the caller.
template <class Function>
void onThread(Function in_function)
{
    std::exception_ptr pError;
    std::thread(
        [&]
        {
            try
            {
                in_function();
            }
            catch (...)
            {
                pError = std::current_exception();
            }
        })
        .join();
    if (pError)
        std::rethrow_exception(pError);
}

void lost(const char* in_szWhat) { std::printf("LOST %s\n", in_szWhat); }

void expect(bool in_bHolds, const char* in_szWhat)
{
    if (!in_bHolds)
        lost(in_szWhat);
}

// --- Configuration ---

bool load()
{
    const TSHandle<RWGlobalConfig>& hConfig = RWGlobalConfig::getInstance();
    const std::string strFile = s_strHome + "/exerciser.cfg";
    if (!hConfig->load(strFile.c_str()) || !hConfig->addDefaults(false))
        return false;
    std::printf("parameters: %zu\n", hConfig->getLoadSummary().m_uiParameters);
    return true;
}

bool readParameters()
{
    const TSHandle<RWGlobalConfig>& hConfig = RWGlobalConfig::getInstance();
    int iPort = 0;
    int iTimer = 0;
    std::string strEncodings;
    const bool bRead = hConfig->getIntParameter("keswardin.oam.webServicePort", iPort) &&
                       hConfig->getIntParameter("keswardin.sip.TimerT1", iTimer) &&
                       hConfig->getStringParameter("keswardin.rtp.encodingList", strEncodings);
    std::printf("port %d, T1 %d, encodings %s\n", iPort, iTimer, strEncodings.c_str());
    return bRead;
}

bool setParameter()
{
    const TSHandle<RWGlobalConfig>& hConfig = RWGlobalConfig::getInstance();
    if (!hConfig->setIntParameter("keswardin.sip.TimerT1", 300))
        return false;
    int iTimer = 0;
    if (!hConfig->getIntParameter("keswardin.sip.TimerT1", iTimer))
        return false;
    expect(iTimer == 300, "the value of a parameter that was set");
    return true;
}

bool convert()
{
    ParameterTrie trie;
    RWGlobalConfig::getInstance()->convertTo(trie, "keswardin");
    // The properties contain the values as texts, so this tests the conversion of each value.
    log4cplus::helpers::Properties properties;
    trie.convertTo(properties);
    std::vector<std::string> names = properties.propertyNames();
    std::sort(names.begin(), names.end());
    for (const std::string& strName : names)
        std::printf("%s=%s\n", strName.c_str(), properties.getProperty(strName).c_str());
    return true;
}

bool checkConfiguration()
{
    const ConfigurationCheck check({s_strHome + "/exerciser.cfg"});
    for (const ConfigurationProblem& problem : check.problems())
    {
        std::ostringstream text;
        text << problem;
        std::printf("%s\n", text.str().c_str());
    }
    return !check.hasErrors();
}

bool configureLogging()
{
    return RWGlobalConfig::getInstance()->configureLogger(RunMode::production);
}

// --- Logging ---

void logLines(const char* in_szWhen)
{
    for (int iLine = 0; iLine < 20; ++iLine)
        VELMORA_FILE_LOG_INFO("line " << iLine << ' ' << in_szWhen);
}

bool logOnThreads()
{
    logLines("of the main thread");
    onThread([] { logLines("of another thread"); });
    return true;
}

/// Logs enough to make the rolling log roll over.
bool logMuch()
{
    const std::string strText(20000, 'x');
    for (int iLine = 0; iLine < 15; ++iLine)
        VELMORA_FILE_LOG_INFO("long line " << iLine << ' ' << strText);
    return true;
}

/// Renames the main log, as a program does that rotates logs.
bool rotateLog()
{
    const std::string strLog = s_strHome + "/logs/main.log";
    if (std::rename(strLog.c_str(), (strLog + ".old").c_str()) != 0)
        return false;
    const bool bReopened = Logger::reopenFiles();
    VELMORA_FILE_LOG_INFO("after the rotation");
    return bReopened;
}

bool haveCalls()
{
    for (int iCall = 0; iCall < 3; ++iCall)
    {
        // The last call has the id of the first, whose file is kept.
        const std::string strId = "call-" + std::to_string(iCall % 2);
        CallLogger first("keswardin.test.Call");
        first.addLoggingId("leg=1");
        first.callStart(strId.c_str());
        const CallLogger second(first); // NOLINT(performance-unnecessary-copy-initialization)
        for (int iLine = 0; iLine < 5; ++iLine)
        {
            VELMORA_LOG(first, INFO_LOG_LEVEL, "line " << iLine << " of the first leg");
            VELMORA_LOG(second, INFO_LOG_LEVEL, "line " << iLine << " of the second leg");
        }
        first.callEnd();
    }
    return true;
}

// --- Alarms ---

class Counter : public AlarmRegistry::Observer
{
  public:
    void newAlarmState(const Alarm& in_alarm) override
    {
        ++m_iChanges;
        VELMORA_FILE_LOG_INFO("observed " << in_alarm);
    }

    int m_iChanges = 0;
};

bool useAlarms()
{
    static Counter s_counter;
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    registry.addObserver(&s_counter);
    const LimitedObjPtr<Alarm> pLink =
        registry.addAlarm(new Test::NamedAlarm<>("exerciser.link"), false);
    auto* const pAggregate = new Test::NamedAlarm<AggregateAlarmImpl>("exerciser.all");
    const LimitedObjPtr<Alarm> pAll = registry.addAlarm(pAggregate, false);
    if (pLink.isNull() || pAll.isNull())
        return false;
    pAggregate->addAlarm(*pLink);
    pLink->set();
    expect(pLink->getState() == Alarm::ALARM_ON, "the state of an alarm");
    expect(pAll->getState() == Alarm::ALARM_ON, "the state of an aggregate");
    registry.resetAlarm("exerciser.link");
    expect(pAll->getState() == Alarm::ALARM_OFF, "the end of an aggregate's state");
    std::printf("changes that an observer of the registry hears: %d\n", s_counter.m_iChanges);
    return true;
}

bool keepJournal()
{
    AlarmJournal journal;
    const LimitedObjPtr<Alarm> pTrunk =
        AlarmRegistry::getInstance().addAlarm(new Test::NamedAlarm<>("exerciser.trunk"), false);
    if (pTrunk.isNull())
        return false;
    pTrunk->set();
    journal.poll();
    expect(journal.activeAlarms().size() == 1, "the alarm of a journal");
    std::ostringstream text;
    journal.writeText(text);
    journal.writeJson(text);
    expect(text.str().find("exerciser.trunk : on since ") != std::string::npos,
           "the text of a journal");
    return true;
}

bool monitor()
{
    static Test::NamedAlarm<> s_alarm("exerciser.cpu");
    AverageResourceUsageMonitor resource;
    if (!resource.configure(&s_alarm, "keswardin.system.cpu.monitor",
                            *RWGlobalConfig::getInstance()))
        return false;
    for (int iObservation = 0; iObservation < 4; ++iObservation)
        resource.pushObservation(99);
    expect(s_alarm.getState() == Alarm::ALARM_ON, "the alarm of a monitor");
    ProfileTimer timer;
    double dIdle = 0;
    return timer.getSystemIdleTime(dIdle);
}

// --- Memory ---

template <class Allocator>
void useAllocator()
{
    constexpr const char* szAccount = "exerciser";
    std::vector<std::pair<void*, std::size_t>> pieces;
    pieces.reserve(600);
    bool bShort = false;
    for (std::size_t uiSize = 1; uiSize < 600; ++uiSize)
    {
        void* const pMemory = Allocator::allocate(uiSize, szAccount);
        if (pMemory == nullptr)
            bShort = true;
        else
            pieces.emplace_back(std::memset(pMemory, 1, uiSize), uiSize);
    }
    for (const auto& [pMemory, uiSize] : pieces)
        Allocator::deallocate(pMemory, uiSize, szAccount);
    if (bShort)
        throw std::bad_alloc();
}

bool useMemory()
{
    useAllocator<DefaultStaticMemAllocator>();
    useAllocator<StaticPerThreadMemAllocator>();
    useAllocator<StaticAccountMemAllocator>();
    onThread(useAllocator<DefaultStaticMemAllocator>);
    MemAccountInfoHash accounts;
    StaticAccountMemAllocator::getMemAccountInfo(accounts);
    expect(accounts["exerciser"].iBalance == 0, "the balance of an account");
    return true;
}

// --- Files ---

bool makeTree()
{
    return Directory::make((s_strHome + "/tree/of/directories").c_str(), 0755, true) &&
           Directory::makeFromFullFilePath(s_strHome + "/tree/other/file", 0755);
}

bool writeFiles()
{
    const TSHandle<VirtualFileSystem> hDisk(new DiskFileSystem);
    for (const char* const szName : {"/tree/one", "/tree/of/two", "/tree/of/directories/three"})
    {
        const std::string strFile = s_strHome + szName;
        basic_vfsostream<char> out(hDisk, strFile.c_str(), std::ios_base::out);
        for (int iLine = 0; iLine < 2000; ++iLine)
            out << "line " << iLine << " of " << szName << '\n';
        out.close();
        if (!out)
            return false;
        basic_vfsistream<char> in(hDisk, strFile.c_str(), std::ios_base::in);
        if (!in.is_open())
            return false;
        int iLines = 0;
        for (std::string strLine; std::getline(in, strLine); ++iLines)
            ;
        // A failed read looks like the end of the file, but leaves the buffer in error mode.
        if (in.bad() || in.rdbuf()->pubsync() != 0)
            return false;
        expect(iLines == 2000, "lines of a file");
    }
    return true;
}

/// Returns the number of entries below a directory, or -1 if one cannot be opened or read.
int count(VirtualFileSystem& inout_disk, const std::string& in_strPath)
{
    const VirtualFileSystem::DirectoryHandle hDirectory = inout_disk.opendir(in_strPath.c_str());
    if (hDirectory.isNull())
        return -1;
    int iEntries = 0;
    while (true)
    {
        errno = 0;
        const VirtualFileSystem::EntryHandle hEntry = hDirectory->read();
        if (hEntry.isNull())
            return errno == 0 ? iEntries : -1;
        ++iEntries;
        const std::string strPath = hEntry->getPath();
        const std::string strName = strPath.substr(strPath.rfind('/') + 1);
        if (!hEntry->isDirectory() || strName == "." || strName == "..")
            continue;
        const int iBelow = count(inout_disk, strPath);
        if (iBelow < 0)
            return -1;
        iEntries += iBelow;
    }
}

bool walk()
{
    DiskFileSystem disk;
    const int iEntries = count(disk, s_strHome + "/tree");
    if (iEntries < 0)
        return false;
    std::printf("entries of the tree: %d\n", iEntries);
    return true;
}

bool keepOldCopies()
{
    const std::string strFile = s_strHome + "/tree/one";
    const std::string strOld = s_strHome + "/old";
    if (File::renameWithTimestamp(strFile.c_str(), 2, strOld.c_str()) != 0)
        return false;
    expect(access(strFile.c_str(), F_OK) != 0, "the renaming of a file");
    return true;
}

bool deleteTree()
{
    const std::string strTree = s_strHome + "/tree";
    if (!File::deleteFileDir(strTree.c_str(), true, false, true))
        return false;
    expect(access(strTree.c_str(), F_OK) != 0, "the deletion of a directory");
    return true;
}

// --- System ---

bool useUUIDs()
{
    const std::string strOne = UUID();
    const std::string strOther = UUID();
    expect(strOne != strOther, "the difference of two UUIDs");
    return !strOne.empty();
}

bool executeCommands()
{
    std::string strCommand = "echo a command >> '" + s_strHome + "/command' && exit 7";
    const int iStatus = OS::executeCommand(strCommand);
    std::printf("status of the command: %d\n", iStatus);
    // Any other status means that the command has not run or has not ended.
    return iStatus == 7;
}

bool lookAtSystem()
{
    StringVector addresses;
    // A machine may have no adapter.
    const bool bAdapters = OS::GetNetworkAdaptersPhysicalAddresses(addresses);
    std::printf("%zu network adapters, %s\n", addresses.size(), bAdapters ? "found" : "not found");
    return true;
}

bool openLibrary()
{
    // The factory is never destroyed, so the library stays open until the process ends.
    static auto& s_factory = *new DynlibObjectFactoryNoT;
    if (!s_factory.openDynlib("faults-plugin"))
        return false;
    const auto pAnswer = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, "answerOfPlugin"));
    expect(pAnswer != nullptr && pAnswer() == 42, "the function of a library");
    return true;
}

// --- Forks ---

bool forkChild()
{
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0)
    {
        VELMORA_FILE_LOG_INFO("a line of the child");
        std::exit(0);
    }
    int iStatus = 0;
    while (waitpid(pid, &iStatus, 0) < 0)
        if (errno != EINTR)
            return false;
    return iStatus == 0;
}

// --- Python ---

bool startPython() { return Python::EmbeddedInterpreter::getInstance().initialize(); }

/// Passes an object of the script to a function that returns whether it succeeded. An exception of
/// the script is logged, and the result is `in_bAfterException`.
template <class Function>
bool withScript(Function in_function, bool in_bAfterException)
{
    const TSPyObjPtr object = PyClassName("exerciser.Script").getNewInstance();
    if (object.is_none())
        return false;
    const Python::InterpreterLock lock;
    if (!lock)
        return false;
    try
    {
        return in_function(object);
    }
    catch (const boost::python::error_already_set&)
    {
        Python::EmbeddedInterpreter::getInstance().logLastPyException();
        return in_bAfterException;
    }
}

bool useScript()
{
    return withScript(
        [](const TSPyObjPtr& in_object)
        {
            const int iSum = boost::python::extract<int>(in_object.attr("add")(40, 2));
            expect(iSum == 42, "what a script computes");
            const std::string strLine =
                boost::python::extract<std::string>(in_object.attr("write")(s_strHome));
            std::printf("the script says %s\n", strLine.c_str());
            return true;
        },
        false);
}

bool raiseInScript()
{
    return withScript(
        [](const TSPyObjPtr& in_object)
        {
            in_object.attr("fail")();
            lost("the exception of a script");
            return true;
        },
        true);
}

bool useScriptAlarm()
{
    const LimitedObjPtr<Alarm> pAlarm = AlarmRegistry::getInstance().getAlarm("exerciser.script");
    if (pAlarm.isNull())
        return false;
    pAlarm->set();
    expect(pAlarm->getState() == Alarm::ALARM_ON, "the state of a script's alarm");
    return true;
}

void useLibrary()
{
    step("set", setParameter);
    step("convert", convert);
    step("calls", haveCalls);
    step("alarms", useAlarms);
    step("journal of alarms", keepJournal);
    step("monitor", monitor);
    step("memory", useMemory);
    step("make directories", makeTree);
    step("write files", writeFiles);
    step("walk", walk);
    step("keep old copies", keepOldCopies);
    step("delete", deleteTree);
    step("UUIDs", useUUIDs);
    step("command", executeCommands);
    step("system", lookAtSystem);
    step("open library", openLibrary);
    step("fork", forkChild);
    step("log much", logMuch);
    step("rotate the log", rotateLog);
}

void usePython()
{
    step("start Python", startPython);
    step("script", useScript);
    step("raise", raiseInScript);
    step("script's alarm", useScriptAlarm);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    step("begin", [argv] { return !(s_strHome = argv[1]).empty(); });
    step("load", load);
    step("read", readParameters);
    step("check", checkConfiguration);
    step("configure logging", configureLogging);
    step("log", logOnThreads);
    std::strcmp(argv[2], "python") == 0 ? usePython() : useLibrary();
    step("configure logging again", configureLogging);
    step("log again", logOnThreads);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    {
        std::fprintf(stderr, "FAILED standard output: %s\n", std::strerror(errno));
        return 3;
    }
    return s_iFailed;
}
