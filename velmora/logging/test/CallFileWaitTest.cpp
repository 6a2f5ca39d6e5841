// SPDX-License-Identifier: BSD-2-Clause

// What waits while the file of a call is opened or closed, and what does not.

#include "velmora/logging/CallDataRegistryImpl.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/Lines.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/layout.h>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// Counts a reference on a call as a handle does.
class CallDataRegistryPeer
{
  public:
    static void increment(const char* in_szId)
    {
        CallDataRegistryImpl::getInstance()->incrementRefCount(in_szId);
    }
};

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr const char* s_szLogger = "keswardin.test";
constexpr const char* s_szRegistry = "keswardin.infra.CallData";

/// Returns lines "text", and calls a function before the last line of a file. The function runs
/// while the file is closed.
class LayoutAtEnd : public log4cplus::Layout
{
  public:
    explicit LayoutAtEnd(std::function<void()> in_atEnd) : m_atEnd(std::move(in_atEnd)) {}

    void formatAndAppend(log4cplus::tostream& out_stream,
                         const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        if (in_event.getMessage().starts_with("Call end"))
            m_atEnd();
        out_stream << in_event.getMessage() << '\n';
    }

  private:
    std::function<void()> m_atEnd;
};

/// A thread whose system calls can be observed.
class ObservedThread
{
  public:
    explicit ObservedThread(std::function<void()> in_function)
        : m_thread(
              [this, function = std::move(in_function)]
              {
                  m_id = gettid();
                  function();
              })
    {
    }
    ~ObservedThread() { join(); }
    ObservedThread(const ObservedThread&) = delete;
    ObservedThread& operator=(const ObservedThread&) = delete;

    /// Waits until the thread waits in a system call. Returns false if it does not.
    [[nodiscard]] bool waitsIn(long in_iCall) const
    {
        return waitUntil(
            [this, in_iCall]
            {
                std::ifstream file("/proc/self/task/" + std::to_string(m_id.load()) + "/syscall");
                long iCall = -1;
                return file >> iCall && iCall == in_iCall;
            },
            std::chrono::seconds(20));
    }
    void join()
    {
        if (m_thread.joinable())
            m_thread.join();
    }

  private:
    std::atomic<pid_t> m_id{0};
    std::thread m_thread;
};

class CallFileWait : public testing::Test
{
  protected:
    CallFileWait()
    {
        makeParticipant(s_szLogger);
        EXPECT_TRUE(configureCalls(m_directory.path()));
        m_log.clear();
    }

    /// Has a whole call with a line.
    static void haveCall(const std::string& in_strId, const std::string& in_strLine = "line")
    {
        CallLogger logger(s_szLogger);
        logger.callStart(in_strId.c_str());
        VELMORA_LOG(logger, INFO_LOG_LEVEL, in_strLine);
    }

    /// Has a whole call, and calls a function while its file is closed.
    static void endCall(const std::string& in_strId, std::function<void()> in_atEnd)
    {
        CallDataRegistry::CallDataHandle hCall =
            CallDataRegistry::getInstance()->getCallData(in_strId.c_str());
        hCall->getAppender()->setLayout(std::make_unique<LayoutAtEnd>(std::move(in_atEnd)));
        hCall.releaseObject();
    }

    /// Returns the texts of the registry's lines about a call.
    [[nodiscard]] std::vector<std::string> linesAbout(const std::string& in_strId) const
    {
        std::vector<std::string> texts;
        for (const LogLine& line : m_log.linesOf(s_szRegistry))
            if (line.strText.find(" : " + in_strId + " (") != std::string::npos)
                texts.push_back(line.strText);
        return texts;
    }

    [[nodiscard]] std::vector<std::string> linesOfFile(const std::string& in_strId) const
    {
        return linesOf(m_directory.read(in_strId));
    }

    static testing::Matcher<std::vector<std::string>> isWhole(const std::string& in_strLine)
    {
        return ElementsAre(HasSubstr("Call start : "), HasSubstr(in_strLine),
                           HasSubstr("Call end : "));
    }

    CapturedLog m_log;
    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(CallFileWait, OtherCallsGoOnWhileAFileIsOpened)
{
    // Opening a pipe for writing waits for a reader.
    const std::string strPipe = m_directory.file("slow");
    ASSERT_EQ(0, mkfifo(strPipe.c_str(), 0600));
    ObservedThread slow([] { haveCall("slow"); });
    ASSERT_TRUE(slow.waitsIn(SYS_openat));

    haveCall("quick");
    EXPECT_EQ(1U, CallDataRegistry::getInstance()->getCurrentNumCall());
    EXPECT_TRUE(configureCalls(m_directory.path()));

    EXPECT_THAT(linesOfFile("quick"), isWhole("line"));
    EXPECT_THAT(linesOf(readFile(strPipe)), isWhole("line"));
    slow.join();
    EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
}

TEST_F(CallFileWait, AnotherLineOfTheCallWaitsWhileItsFileIsOpened)
{
    const std::string strPipe = m_directory.file("slow");
    ASSERT_EQ(0, mkfifo(strPipe.c_str(), 0600));
    const CallDataRegistry::CallDataHandle hCall =
        CallDataRegistry::getInstance()->getCallData("slow");
    std::optional<ObservedThread> first([] { haveCall("slow", "first"); });
    ASSERT_TRUE(first->waitsIn(SYS_openat));
    std::optional<ObservedThread> second([] { haveCall("slow", "second"); });
    ASSERT_TRUE(second->waitsIn(SYS_futex));

    std::ifstream pipe(strPipe);
    first.reset();
    second.reset();
    const_cast<CallDataRegistry::CallDataHandle&>(hCall).releaseObject();

    const std::vector<std::string> lines =
        linesOf(std::string(std::istreambuf_iterator<char>(pipe), {}));
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_THAT(lines.front(), HasSubstr("Call start : "));
    EXPECT_THAT(lines, testing::Contains(HasSubstr("first")));
    EXPECT_THAT(lines, testing::Contains(HasSubstr("second")));
    EXPECT_THAT(lines.back(), HasSubstr("Call end : "));
}

TEST_F(CallFileWait, OtherCallsGoOnWhileAFileIsClosed)
{
    endCall("slow",
            []
            {
                onAnotherThread([] { haveCall("quick"); });
                EXPECT_EQ(1U, CallDataRegistry::getInstance()->getCurrentNumCall());
                EXPECT_EQ(2U, CallDataRegistry::getInstance()->getMaxNumCall());
            });

    EXPECT_THAT(linesOfFile("quick"), isWhole("line"));
    EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
}

TEST_F(CallFileWait, ACallBeginsWhenTheFileOfTheOneBeforeWithItsIdIsClosed)
{
    std::optional<ObservedThread> next;
    endCall("again",
            [&]
            {
                next.emplace([] { haveCall("again", "of the next call"); });
                EXPECT_TRUE(next->waitsIn(SYS_futex));
                // The end of another call does not let it begin.
                onAnotherThread([] { haveCall("quick"); });
                EXPECT_TRUE(next->waitsIn(SYS_futex));
                EXPECT_EQ(1U, CallDataRegistry::getInstance()->getCurrentNumCall());
            });
    next.reset();

    // The lines are logged without a lock, so the end of one call and the start of the next may
    // change places.
    EXPECT_THAT(linesAbout("again"),
                UnorderedElementsAre(
                    "CallDataRegistryImpl::getCallData : Call start : again (1 active "
                    "call(s))",
                    HasSubstr(" : Call end : again ("), HasSubstr(" : Call start : again ("),
                    "CallDataRegistryImpl::decrementRefCount : Call end : again (0 active "
                    "call(s))"));
    EXPECT_THAT(linesOfFile("again"), isWhole("of the next call"));
}

TEST_F(CallFileWait, AReferenceToACallThatEndsFailsAnAssertion)
{
    endCall("abc", [] { CallDataRegistryPeer::increment("abc"); });

    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedAssertion("found != m_callDataHash.end()", "CallDataRegistryImpl",
                                            s_szRegistry)));
    EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
}

TEST_F(CallFileWait, AForkWhileACallEndsDoesNotWaitForAThreadThatWaitsForTheEnd)
{
    // The other thread waits, so it is not inside an allocator that the child needs.
    std::optional<ObservedThread> next;
    int iCode = -1;
    endCall("forks",
            [&]
            {
                next.emplace([] { haveCall("forks", "of the next call"); });
                EXPECT_TRUE(next->waitsIn(SYS_futex));
                iCode = exitCodeOfChild(
                    []
                    {
                        // In the child, the call that was ending has ended.
                        CallDataRegistry& registry = *CallDataRegistry::getInstance();
                        const auto hCall = registry.getCallData("forks");
                        return registry.getCurrentNumCall() == 1U ? 0 : 1;
                    });
            });
    next.reset();

    EXPECT_EQ(0, iCode);
    EXPECT_THAT(linesOfFile("forks"), isWhole("of the next call"));
    // A fork that waits for a thread until its limit logs an ERROR.
    for (const LogLine& line : m_log.lines())
        EXPECT_GT(WARN_LOG_LEVEL, line.level) << line.strText;
}

TEST_F(CallFileWait, AnAppenderMayUseTheCallWhoseFileIsOpenedOrClosed)
{
    int iUses = 0;
    bool bInside = false;
    const CallbackAppender appender(
        [&](const std::string& in_strText)
        {
            if (bInside || (in_strText.find("Filename for new call") == std::string::npos &&
                            in_strText.find("file about to be closed") == std::string::npos))
                return;
            bInside = true;
            haveCall("abc", "of the appender");
            bInside = false;
            ++iUses;
        },
        "keswardin.infra");

    haveCall("abc");

    EXPECT_EQ(2, iUses);
    EXPECT_THAT(linesOfFile("abc"), isWhole("of the appender"));
    EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
}

TEST_F(CallFileWait, ThreadsHaveCallsWithTheSameIdAndWithOthers)
{
    std::atomic<int> iBroken{0};
    onThreads(3,
              [this, &iBroken](int in_iThread)
              {
                  for (int iRound = 0; iRound < 200; ++iRound)
                  {
                      haveCall("same");
                      const std::string strOwn = "own " + std::to_string(in_iThread);
                      haveCall(strOwn);
                      if (linesOfFile(strOwn).size() != 3)
                          ++iBroken;
                  }
              });

    EXPECT_EQ(0, iBroken);
    EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
    const std::vector<std::string> lines = linesOfFile("same");
    EXPECT_THAT(lines.front(), HasSubstr("Call start : "));
    EXPECT_THAT(lines.back(), HasSubstr("Call end : "));
    EXPECT_EQ(2, std::count_if(lines.begin(), lines.end(),
                               [](const std::string& in_strLine)
                               { return in_strLine.find(": Call ") != std::string::npos; }));
    for (const LogLine& line : m_log.lines())
        EXPECT_GT(WARN_LOG_LEVEL, line.level) << line.strText;
}

} // namespace Velmora::Test
