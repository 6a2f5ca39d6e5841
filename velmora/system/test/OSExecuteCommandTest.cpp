// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/OS.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "tests/support/WaitUntil.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

/// Whether the number of descriptors is unlimited.
bool s_bUnlimited = false;

/// The exit code of a command that closes all possible descriptors one by one.
constexpr int s_iGoesThroughAll = 99;

} // namespace

// Replaces the system's function for the whole process. Closing two thousand million descriptors
// would take minutes.
extern "C" [[gnu::visibility("default")]] int getdtablesize() noexcept
{
    if (s_bUnlimited)
        _exit(s_iGoesThroughAll);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(limit.rlim_cur);
}

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::Not;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.os";

int execute(std::string in_strCommand) { return OS::executeCommand(in_strCommand); }

/// Returns the number behind the given text in the first such line of the log; -1 without one.
long numberIn(const CapturedLog& in_log, const std::string& in_strBefore)
{
    for (const LogLine& line : in_log.linesOf(s_szLogger))
        if (line.strText.rfind(in_strBefore, 0) == 0)
            return std::strtol(line.strText.c_str() + in_strBefore.size(), nullptr, 10);
    return -1;
}

/// Returns how often the log has a line.
std::size_t countOf(const CapturedLog& in_log, const std::string& in_strText)
{
    std::size_t uiCount = 0;
    for (const LogLine& line : in_log.linesOf(s_szLogger))
        uiCount += line.strText == in_strText ? 1 : 0;
    return uiCount;
}

bool isWaiting(const CapturedLog& in_log, const std::string& in_strCommand)
{
    for (const LogLine& line : in_log.linesOf(s_szLogger))
        if (line.strText.rfind("waiting on pid ", 0) == 0 &&
            line.strText.ends_with(" for cmd: " + in_strCommand))
            return true;
    return false;
}

void waitUntilWaiting(const CapturedLog& in_log, const std::string& in_strCommand)
{
    EXPECT_TRUE(waitUntil([&] { return isWaiting(in_log, in_strCommand); })) << in_strCommand;
}

/// Sets the action for a signal while it exists.
class Disposition
{
  public:
    Disposition(int in_iSignal, const struct sigaction& in_action) : m_iSignal(in_iSignal)
    {
        sigaction(m_iSignal, &in_action, &m_former);
    }
    Disposition(int in_iSignal, void (*in_handler)(int)) : m_iSignal(in_iSignal)
    {
        struct sigaction action = {};
        action.sa_handler = in_handler;
        sigaction(m_iSignal, &action, &m_former);
    }
    ~Disposition() { sigaction(m_iSignal, &m_former, nullptr); }
    Disposition(const Disposition&) = delete;
    Disposition& operator=(const Disposition&) = delete;

    static struct sigaction of(int in_iSignal)
    {
        struct sigaction action = {};
        sigaction(in_iSignal, nullptr, &action);
        return action;
    }

  private:
    int m_iSignal;
    struct sigaction m_former = {};
};

/// A named pipe. A command that reads from it ends when the pipe is opened.
class Gate
{
  public:
    Gate() { EXPECT_EQ(0, mkfifo(m_directory.file("gate").c_str(), 0600)); }

    /// Returns a command that ends with this code when the gate is opened.
    [[nodiscard]] std::string command(int in_iExitCode) const
    {
        return "read line < " + m_directory.file("gate") + "; exit " + std::to_string(in_iExitCode);
    }
    void open() const { m_directory.write("gate", "go\n"); }

  private:
    TemporaryDirectory m_directory;
};

/// Descriptors of this process that a command must not get.
class OpenDescriptors
{
  public:
    explicit OpenDescriptors(const std::vector<int>& in_descriptors) : m_descriptors(in_descriptors)
    {
        for (const int iDescriptor : m_descriptors)
            EXPECT_EQ(iDescriptor, dup2(0, iDescriptor)) << errno;
    }
    ~OpenDescriptors()
    {
        for (const int iDescriptor : m_descriptors)
            close(iDescriptor);
    }
    OpenDescriptors(const OpenDescriptors&) = delete;
    OpenDescriptors& operator=(const OpenDescriptors&) = delete;

    /// Returns a command that ends with 0 if it has the standard descriptors and none of these,
    /// else with 1.
    [[nodiscard]] std::string command() const
    {
        std::string strCommand =
            "for i in 0 1 2; do [ -e /proc/$$/fd/$i ] || exit 1; done; for i in";
        for (const int iDescriptor : m_descriptors)
            strCommand += ' ' + std::to_string(iDescriptor);
        return strCommand + "; do [ -e /proc/$$/fd/$i ] && exit 1; done; exit 0";
    }

  private:
    std::vector<int> m_descriptors;
};

/// While it exists, the number of descriptors is unlimited.
class Unlimited
{
  public:
    Unlimited() { s_bUnlimited = true; }
    ~Unlimited() { s_bUnlimited = false; }
    Unlimited(const Unlimited&) = delete;
    Unlimited& operator=(const Unlimited&) = delete;
};

/// Replaces a descriptor by another file.
class Redirected
{
  public:
    Redirected(int in_iDescriptor, int in_iInstead)
        : m_iDescriptor(in_iDescriptor), m_iFormer(dup(in_iDescriptor))
    {
        dup2(in_iInstead, m_iDescriptor);
        close(in_iInstead);
    }
    ~Redirected()
    {
        dup2(m_iFormer, m_iDescriptor);
        close(m_iFormer);
    }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

  private:
    int m_iDescriptor;
    int m_iFormer;
};

/// Returns a signal mask from the status of the command's shell, for example "SigIgn". The shell
/// itself reads it, because the programs that it starts get another mask.
unsigned long long signalsOfCommand(const std::string& in_strField)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(0, execute("while read name value; do [ $name = " + in_strField +
                         ": ] && echo $value; done < /proc/self/status > " + directory.file("out") +
                         "; true"));
    return std::stoull(directory.read("out"), nullptr, 16);
}

constexpr unsigned long long bitOf(int in_iSignal) { return 1ULL << (in_iSignal - 1); }

void doNothing(int) {}

std::atomic<pid_t> s_handlingProcess{0};
std::atomic<bool> s_bHandled{false};
std::atomic<bool> s_bHandledElsewhere{false};

void checkProcess(int)
{
    s_bHandled = true;
    if (getpid() != s_handlingProcess)
        s_bHandledElsewhere = true;
}

void doNothingWithInformation(int, siginfo_t*, void*) {}

} // namespace

TEST(OSExecuteCommand, GivesTheExitCode)
{
    EXPECT_EQ(0, execute("true"));
    EXPECT_EQ(3, execute("exit 3"));
    EXPECT_EQ(255, execute("exit 255"));
}

TEST(OSExecuteCommand, LogsEachStep)
{
    const CapturedLog log;
    EXPECT_EQ(3, execute("exit 3"));
    const std::string strPid = std::to_string(numberIn(log, "waiting on pid "));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(debugLine(s_szLogger, "waiting on pid " + strPid + " for cmd: exit 3"),
                    debugLine(s_szLogger, "done waiting, res=" + strPid + " for cmd: exit 3"),
                    debugLine(s_szLogger, "velmora_system returned 3 for cmd: exit 3")));
    EXPECT_GT(numberIn(log, "waiting on pid "), 0);
}

TEST(OSExecuteCommand, LogsNothingAboveDebug)
{
    const CapturedLog log(INFO_LOG_LEVEL);
    execute("exit 3");
    EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(OSExecuteCommand, WaitsForAChildOfItsOwn)
{
    const CapturedLog log;
    EXPECT_EQ(0, execute("true"));
    EXPECT_NE(getpid(), numberIn(log, "waiting on pid "));
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

TEST(OSExecuteCommand, GivesMinusOneForACommandThatASignalEnded)
{
    const CapturedLog log;
    EXPECT_EQ(-1, execute("kill -9 $$"));
    EXPECT_EQ(-1, execute("kill -TERM $$"));
    EXPECT_EQ(1U, countOf(log, "velmora_system returned -1 for cmd: kill -9 $$"));
    const std::string strPid = std::to_string(numberIn(log, "waiting on pid "));
    EXPECT_EQ(1U, countOf(log, "done waiting, res=" + strPid + " for cmd: kill -9 $$"));
}

TEST(OSExecuteCommand, Gives127ForACommandThatDoesNotExist)
{
    EXPECT_EQ(127, execute("/nonexistent/command 2>/dev/null"));
}

TEST(OSExecuteCommand, Gives1WhereNoShellStarts)
{
    // Longer than an argument may be.
    const CapturedLog log;
    const std::string strCommand = "exit 3; " + std::string(200000, ' ');
    EXPECT_EQ(1, execute(strCommand));
    EXPECT_EQ(1U, countOf(log, "velmora_system returned 1 for cmd: " + strCommand));
}

TEST(OSExecuteCommand, PassesTheCommandToAShell)
{
    EXPECT_EQ(7, execute("a=3; b=4; exit $((a + b))"));
    EXPECT_EQ(0, execute(""));
}

TEST(OSExecuteCommand, LetsTheCommandWriteToStandardErrorAndOutput)
{
    const TemporaryDirectory directory;
    {
        const Redirected errors(2, creat(directory.file("errors").c_str(), 0600));
        const Redirected output(1, creat(directory.file("output").c_str(), 0600));
        EXPECT_EQ(0, execute("echo out; echo error >&2"));
    }
    EXPECT_EQ("error\n", directory.read("errors"));
    EXPECT_EQ("out\n", directory.read("output"));
}

TEST(OSExecuteCommand, LetsTheCommandReadStandardInput)
{
    const TemporaryDirectory directory;
    const Redirected input(0, open(directory.write("input", "hello\n").c_str(), O_RDONLY));
    EXPECT_EQ(4, execute("read line; [ \"$line\" = hello ] && exit 4"));
}

TEST(OSExecuteCommand, ClosesAllOtherDescriptorsInTheCommand)
{
    const OpenDescriptors open({20, 21, 22, 50, 51, 127, 128, 900});
    EXPECT_EQ(0, execute(open.command()));
}

TEST(OSExecuteCommand, ClosesNoDescriptorInTheParent)
{
    const OpenDescriptors open({20, 900});
    execute("true");
    EXPECT_NE(-1, fcntl(20, F_GETFD));
    EXPECT_NE(-1, fcntl(900, F_GETFD));
}

TEST(OSExecuteCommand, ClosesThemWhereTheirLimitIsAsHighAsItGets)
{
    // Only a privileged user may exceed the hard limit, up to that of the kernel.
    unsigned long uiLargest = 0;
    std::ifstream("/proc/sys/fs/nr_open") >> uiLargest;
    rlimit present{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &present));
    const DescriptorLimit privileged(uiLargest);
    const DescriptorLimit highest(privileged.isSet() ? uiLargest : present.rlim_max);
    ASSERT_TRUE(highest.isSet());
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &present));
    const OpenDescriptors open({20, static_cast<int>(present.rlim_cur) - 1});
    EXPECT_EQ(0, execute(open.command()));
}

TEST(OSExecuteCommand, DoesNotGoThroughThemOneByOneWhereTheirNumberIsUnlimited)
{
    const Unlimited unlimited;
    const OpenDescriptors open({20, 900});
    EXPECT_EQ(0, execute(open.command()));
    if (!doWhileCallsFail({{SYS_close_range, ENOSYS}},
                          [&open] { EXPECT_EQ(0, execute(open.command())); }))
        GTEST_SKIP() << "the kernel does not filter calls";
}

TEST(OSExecuteCommand, ClosesThemOnAKernelThatClosesNoRange)
{
    const OpenDescriptors open({20, 21, 22, 50, 51, 127, 128, 900});
    if (!doWhileCallsFail({{SYS_close_range, ENOSYS}},
                          [&open] { EXPECT_EQ(0, execute(open.command())); }))
        GTEST_SKIP() << "the kernel does not filter calls";
}

TEST(OSExecuteCommand, ClosesThemOnAKernelThatClosesNoRangeWhereAllAreInUse)
{
    const DescriptorLimit limit(64);
    const Unlimited unlimited;
    const std::string strCommand = "for i in 0 1 2; do [ -e /proc/$$/fd/$i ] || exit 1; done; i=3; "
                                   "while [ $i -lt 64 ]; do [ -e /proc/$$/fd/$i ] && exit 2; "
                                   "i=$((i + 1)); done; exit 0";
    int iResult = -1;
    const auto executeOnOldKernel = [&iResult, &strCommand]
    {
        return doWhileCallsFail({{SYS_close_range, ENOSYS}},
                                [&iResult, &strCommand] { iResult = execute(strCommand); });
    };
    // The first run is for sanitizers: they need descriptors when they see this code for the first
    // time.
    if (!executeOnOldKernel())
        GTEST_SKIP() << "the kernel does not filter calls";
    EXPECT_EQ(0, iResult);
    std::vector<int> opened;
    for (int i = dup(0); i != -1; i = dup(0))
        opened.push_back(i);
    iResult = -1;
    executeOnOldKernel();
    for (const int i : opened)
        close(i);
    EXPECT_EQ(0, iResult);
    ASSERT_FALSE(opened.empty());
    EXPECT_EQ(63, opened.back());
}

TEST(OSExecuteCommand, ClosesThemOneByOneWhereTheKernelDoesNotListThem)
{
    const DescriptorLimit limit(1024);
    const OpenDescriptors open({20, 21, 22, 50, 51, 127, 128, 1023});
    if (!doWhileCallsFail({{SYS_close_range, ENOSYS}, {SYS_openat, ENOENT, 2, O_DIRECTORY}},
                          [&open] { EXPECT_EQ(0, execute(open.command())); }))
        GTEST_SKIP() << "the kernel does not filter calls";
}

TEST(OSExecuteCommand, ClosesThemOneByOneWhereTheListBreaksOff)
{
    const DescriptorLimit limit(1024);
    const OpenDescriptors open({20, 21, 22, 50, 51, 127, 128, 1023});
    if (!doWhileCallsFail({{SYS_close_range, ENOSYS}, {SYS_getdents64, EIO}},
                          [&open] { EXPECT_EQ(0, execute(open.command())); }))
        GTEST_SKIP() << "the kernel does not filter calls";
    const Unlimited unlimited;
    doWhileCallsFail({{SYS_close_range, ENOSYS}, {SYS_getdents64, EIO}},
                     [] { EXPECT_EQ(s_iGoesThroughAll, execute("true")); });
}

TEST(OSExecuteCommand, LogsWhenThereIsNoChild)
{
    const Disposition ignored(SIGCHLD, SIG_IGN);
    const CapturedLog log;
    int iResult = 0;
    if (!doWhileCallsFail(
            {{SYS_vfork, EAGAIN}, {SYS_fork, EAGAIN}, {SYS_clone, EAGAIN}, {SYS_clone3, EAGAIN}},
            [&iResult] { iResult = execute("exit 3"); }))
        GTEST_SKIP() << "the kernel does not filter calls";
    EXPECT_EQ(-1, iResult);
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "Fork failed for command exit 3"),
                            errorLine(s_szLogger, "cannot start a process for exit 3: "
                                                  "Resource temporarily unavailable"),
                            debugLine(s_szLogger, "velmora_system returned -1 for cmd: exit 3")));
    EXPECT_EQ(SIG_IGN, Disposition::of(SIGCHLD).sa_handler);
}

TEST(OSExecuteCommand, GivesTheExitCodeWhereChildrenAreIgnored)
{
    const Disposition ignored(SIGCHLD, SIG_IGN);
    EXPECT_EQ(3, execute("exit 3"));
    EXPECT_EQ(SIG_IGN, Disposition::of(SIGCHLD).sa_handler);
}

TEST(OSExecuteCommand, GivesTheExitCodeWhereChildrenLeaveNoStatus)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    action.sa_flags = SA_NOCLDWAIT;
    const Disposition unwaited(SIGCHLD, action);
    EXPECT_EQ(3, execute("exit 3"));
    EXPECT_NE(0, Disposition::of(SIGCHLD).sa_flags & SA_NOCLDWAIT);
}

TEST(OSExecuteCommand, RestoresTheHandlerOfTheProgram)
{
    struct sigaction action = {};
    action.sa_sigaction = &doNothingWithInformation;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_NOCLDSTOP;
    sigaddset(&action.sa_mask, SIGUSR1);
    const Disposition handled(SIGCHLD, action);
    execute("exit 3");
    const struct sigaction after = Disposition::of(SIGCHLD);
    EXPECT_EQ(&doNothingWithInformation, after.sa_sigaction);
    EXPECT_EQ(SA_SIGINFO | SA_NODEFER | SA_NOCLDSTOP,
              after.sa_flags & (SA_SIGINFO | SA_NODEFER | SA_NOCLDSTOP | SA_RESTART));
    EXPECT_EQ(1, sigismember(&after.sa_mask, SIGUSR1));
}

TEST(OSExecuteCommand, RestoresTheDefault)
{
    const Disposition standard(SIGCHLD, SIG_DFL);
    execute("kill -9 $$");
    EXPECT_EQ(SIG_DFL, Disposition::of(SIGCHLD).sa_handler);
}

TEST(OSExecuteCommand, CatchesTheSignalWhileItWaits)
{
    const Disposition ignored(SIGCHLD, SIG_IGN);
    const CapturedLog log;
    auto handler = SIG_ERR;
    const CallbackAppender appender(
        [&handler](const std::string& in_strText)
        {
            if (in_strText.rfind("waiting on pid ", 0) == 0)
                handler = Disposition::of(SIGCHLD).sa_handler;
        });
    execute("true");
    EXPECT_THAT(handler, testing::AllOf(Not(SIG_ERR), Not(SIG_IGN), Not(SIG_DFL)));
}

TEST(OSExecuteCommand, LeavesTheOtherSignalsOfTheProcess)
{
    const Disposition handled(SIGUSR1, &doNothing);
    const Disposition ignored(SIGUSR2, SIG_IGN);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    sigaddset(&before, SIGHUP);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    execute("true");
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int i = 1; i < NSIG; ++i)
        EXPECT_EQ(sigismember(&before, i), sigismember(&after, i)) << i;
    EXPECT_EQ(&doNothing, Disposition::of(SIGUSR1).sa_handler);
    EXPECT_EQ(SIG_IGN, Disposition::of(SIGUSR2).sa_handler);
}

TEST(OSExecuteCommand, GivesTheCommandTheSignalMaskOfTheThread)
{
    sigset_t blocked;
    sigset_t former;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &blocked, &former);
    const unsigned long long uiBlocked = signalsOfCommand("SigBlk");
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    EXPECT_EQ(bitOf(SIGUSR1), uiBlocked);
}

TEST(OSExecuteCommand, GivesTheCommandIgnoredSignalsButNoHandlers)
{
    const Disposition handled(SIGUSR1, &doNothing);
    const Disposition ignored(SIGUSR2, SIG_IGN);
    EXPECT_EQ(bitOf(SIGUSR2), signalsOfCommand("SigIgn") & (bitOf(SIGUSR1) | bitOf(SIGUSR2)));
    EXPECT_EQ(0U, signalsOfCommand("SigCgt") & bitOf(SIGUSR1));
}

TEST(OSExecuteCommand, RunsNoHandlerOfTheProgramInTheChild)
{
    // A process group of its own, so that the signals reach only this process and its children.
    ASSERT_EQ(0, setpgid(0, 0));
    s_handlingProcess = getpid();
    const Disposition handled(SIGUSR1, &checkProcess);
    RepeatingThreads sender(1, [] { kill(0, SIGUSR1); });
    for (int i = 0; i < 50; ++i)
        execute("true");
    sender.stop();
    EXPECT_TRUE(s_bHandled);
    EXPECT_FALSE(s_bHandledElsewhere);
}

TEST(OSExecuteCommand, GivesTheCommandChildrenThatItCanWaitFor)
{
    const Disposition ignored(SIGCHLD, SIG_IGN);
    EXPECT_EQ(0U, signalsOfCommand("SigIgn") & bitOf(SIGCHLD));
}

TEST(OSExecuteCommand, WaitsAgainAfterASignal)
{
    const Disposition handled(SIGUSR1, &doNothing);
    const CapturedLog log;
    const Gate gate;
    const std::string strCommand = gate.command(6);
    const pthread_t thread = pthread_self();
    std::thread sender(
        [&]
        {
            waitUntilWaiting(log, strCommand);
            const std::string strInterrupted = "done waiting, res=-1 for cmd: " + strCommand;
            EXPECT_TRUE(waitUntil(
                [&]
                {
                    if (countOf(log, strInterrupted) >= 2)
                        return true;
                    pthread_kill(thread, SIGUSR1);
                    return false;
                }));
            gate.open();
        });
    EXPECT_EQ(6, execute(strCommand));
    sender.join();

    const std::string strPid = std::to_string(numberIn(log, "waiting on pid "));
    const std::vector<LogLine> lines = log.linesOf(s_szLogger);
    ASSERT_LE(6U, lines.size());
    const LogLine waiting =
        debugLine(s_szLogger, "waiting on pid " + strPid + " for cmd: " + strCommand);
    EXPECT_EQ(waiting, lines[0]);
    EXPECT_EQ(debugLine(s_szLogger, "done waiting, res=-1 for cmd: " + strCommand), lines[1]);
    EXPECT_EQ(waiting, lines[2]);
    EXPECT_EQ(debugLine(s_szLogger, "velmora_system returned 6 for cmd: " + strCommand),
              lines.back());
}

TEST(OSExecuteCommand, GivesMinusOneForAChildThatWasReapedElsewhere)
{
    const CapturedLog log;
    long lReaped = -1;
    const std::string strBegin = "waiting on pid ";
    const CallbackAppender appender(
        [&](const std::string& in_strText)
        {
            if (in_strText.rfind(strBegin, 0) == 0)
                lReaped = waitpid(-1, nullptr, 0);
        });
    EXPECT_EQ(-1, execute("exit 3"));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(debugLine(s_szLogger, strBegin + std::to_string(lReaped) + " for cmd: exit 3"),
                    debugLine(s_szLogger, "done waiting, res=-1 for cmd: exit 3"),
                    debugLine(s_szLogger, "cannot wait for pid " + std::to_string(lReaped) +
                                              " for cmd: exit 3: No child processes"),
                    debugLine(s_szLogger, "velmora_system returned -1 for cmd: exit 3")));
}

TEST(OSExecuteCommand, TakesNoNoticeOfTheErrorThatLoggingLeaves)
{
    const CapturedLog log;
    int iNumLines = 0;
    const CallbackAppender appender(
        [&iNumLines](const std::string& in_strText)
        {
            if (in_strText.rfind("waiting on pid ", 0) == 0)
                waitpid(-1, nullptr, 0);
            // Limited to ten lines: if the error were used, the command would wait without end.
            errno = ++iNumLines < 10 ? EINTR : ECHILD;
        });
    EXPECT_EQ(-1, execute("exit 3"));
    EXPECT_EQ(1U, countOf(log, "done waiting, res=-1 for cmd: exit 3"));
}

TEST(OSExecuteCommand, LeavesTheChildrenOfOtherThreadsAlone)
{
    std::atomic<int> iNumChildren{0};
    const RepeatingThreads forking(1,
                                   [&iNumChildren]
                                   {
                                       EXPECT_EQ(7, exitCodeOfChild([] { return 7; }));
                                       ++iNumChildren;
                                   });
    for (int i = 0; i < 20 || iNumChildren < 20; ++i)
        EXPECT_EQ(3, execute("exit 3"));
}

TEST(OSExecuteCommand, RunsOnSeveralThreads)
{
    onThreads(4,
              [](int in_iThread)
              {
                  for (int i = 0; i < 10; ++i)
                      EXPECT_EQ(in_iThread, execute("exit " + std::to_string(in_iThread)));
              });
}

TEST(OSExecuteCommand, RestoresTheHandlerAfterTheLastOfSeveralCommands)
{
    const Disposition ignored(SIGCHLD, SIG_IGN);
    const CapturedLog log;
    const Gate first;
    const Gate second;
    std::thread firstThread([&first] { EXPECT_EQ(1, execute(first.command(1))); });
    waitUntilWaiting(log, first.command(1));
    std::thread secondThread([&second] { EXPECT_EQ(2, execute(second.command(2))); });
    waitUntilWaiting(log, second.command(2));
    first.open();
    firstThread.join();
    EXPECT_NE(SIG_IGN, Disposition::of(SIGCHLD).sa_handler);
    second.open();
    secondThread.join();
    EXPECT_EQ(SIG_IGN, Disposition::of(SIGCHLD).sa_handler);
}

TEST(OSExecuteCommand, GivesAForkedTwinTheHandlerOfTheProgram)
{
    const Disposition ignored(SIGCHLD, SIG_IGN);
    const CapturedLog log;
    const Gate gate;
    std::thread thread([&gate] { EXPECT_EQ(1, execute(gate.command(1))); });
    waitUntilWaiting(log, gate.command(1));
    const int iCode = exitCodeOfChild(
        []
        {
            const bool bRestored = Disposition::of(SIGCHLD).sa_handler == SIG_IGN;
            const bool bWorks = execute("exit 5") == 5;
            const bool bRestoredAgain = Disposition::of(SIGCHLD).sa_handler == SIG_IGN;
            return bRestored && bWorks && bRestoredAgain ? 0 : 1;
        });
    EXPECT_EQ(0, iCode);
    gate.open();
    thread.join();
    EXPECT_EQ(SIG_IGN, Disposition::of(SIGCHLD).sa_handler);
}
