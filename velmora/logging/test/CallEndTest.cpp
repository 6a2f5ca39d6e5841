// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/FileCallAppender.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/Lines.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* s_szLogger = "keswardin.test";

/// Provides a call with a file, and an appender that throws at lines of the library. The appender
/// is on the logger "keswardin.infra", so it gets them before the appenders of the root.
class CallEnd : public testing::Test
{
  protected:
    CallEnd()
    {
        makeParticipant(s_szLogger);
        EXPECT_TRUE(configureCalls(m_directory.path()));
        m_log.clear();
    }

    /// Makes the appender throw at each line that contains a text. An empty text is in every line.
    void throwAt(const std::string& in_strText)
    {
        m_thrower.emplace(
            [in_strText](const std::string& in_strLine)
            {
                if (in_strLine.find(in_strText) != std::string::npos)
                    throw std::runtime_error("disk gone");
            },
            "keswardin.infra");
    }

    /// Returns a logger that has begun a call and logged a line in it.
    static std::unique_ptr<CallLogger> startedCall(const std::string& in_strId = "one")
    {
        auto pLogger = std::make_unique<CallLogger>(s_szLogger);
        pLogger->callStart(in_strId.c_str());
        pLogger->forcedLog(INFO_LOG_LEVEL, "line", nullptr, -1);
        return pLogger;
    }

    /// Returns the captured lines at ERROR.
    [[nodiscard]] std::vector<LogLine> errors() const
    {
        std::vector<LogLine> lines = m_log.lines();
        std::erase_if(lines,
                      [](const LogLine& in_line) { return in_line.level != ERROR_LOG_LEVEL; });
        return lines;
    }

    /// Expects that no call is active and that the file of the call "one" is complete.
    void expectEnded() const
    {
        EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
        EXPECT_THAT(
            linesOf(m_directory.read("one")),
            ElementsAre(HasSubstr("Call start : "), HasSubstr("line"), HasSubstr("Call end : ")));
    }

    CapturedLog m_log;
    TemporaryDirectory m_directory;
    std::optional<CallbackAppender> m_thrower;
};

/// The text that `DeferredLine` logs: the line at which the appender throws was logged under the
/// locks of the registry and waited until they were free.
constexpr const char* s_szAppender = "exception of an appender : disk gone";

} // namespace

TEST_F(CallEnd, OutlivesAnAppenderThatThrowsInItsDestructor)
{
    auto pLogger = startedCall();
    throwAt("Call end : ");
    pLogger.reset();
    expectEnded();
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.infra.CallData", s_szAppender)));
}

TEST_F(CallEnd, OutlivesAnAppenderThatThrows)
{
    const auto pLogger = startedCall();
    throwAt("Call end : ");
    EXPECT_NO_THROW(pLogger->callEnd());
    EXPECT_FALSE(pLogger->isInCall());
    expectEnded();
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.infra.CallData", s_szAppender)));
}

TEST_F(CallEnd, OutlivesAnAppenderThatThrowsWhileTheFileIsClosed)
{
    auto pLogger = startedCall();
    throwAt("Appender dtor");
    pLogger.reset();
    expectEnded();
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.infra.CallAppender", s_szAppender)));
}

TEST_F(CallEnd, LogsAnAppenderThatThrowsAtEveryLineOnce)
{
    auto pLogger = startedCall();
    throwAt("");
    pLogger.reset();
    expectEnded();
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.infra.CallAppender", s_szAppender)));
}

TEST_F(CallEnd, LogsAnAppenderThatThrowsWhileTheEndIsTracedOnce)
{
    log4cplus::Logger::getRoot().setLogLevel(TRACE_LOG_LEVEL);
    auto pLogger = startedCall();
    throwAt("");
    pLogger.reset();
    expectEnded();
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.infra.CallData",
                                                "exception while a scope is traced : disk gone")));
}

TEST_F(CallEnd, LeavesTheCallToItsOtherLoggersWhereAnAppenderThrows)
{
    auto pFirst = startedCall();
    auto pSecond = startedCall();
    log4cplus::Logger::getRoot().setLogLevel(TRACE_LOG_LEVEL);
    throwAt("CallDataRegistryImpl::decrementRefCount");
    pFirst.reset();
    EXPECT_EQ(1U, CallDataRegistry::getInstance()->getCurrentNumCall());
    pSecond.reset();
    EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
}

TEST_F(CallEnd, LetsALaterCallHaveTheId)
{
    throwAt("Call end : ");
    startedCall().reset();
    startedCall().reset();
    expectEnded();
    EXPECT_EQ(1U, CallDataRegistry::getInstance()->getMaxNumCall());
}

TEST_F(CallEnd, OutlivesAnAppenderThatThrowsWhereAHandleIsGivenAnotherCall)
{
    CallDataRegistry::CallDataHandle hCall = CallDataRegistry::getInstance()->getCallData("one");
    const CallDataRegistry::CallDataHandle hOther =
        CallDataRegistry::getInstance()->getCallData("two");
    throwAt("Call end : ");
    EXPECT_NO_THROW(hCall = hOther);
    EXPECT_STREQ("two", hCall->getCallId());
    EXPECT_EQ(1U, CallDataRegistry::getInstance()->getCurrentNumCall());
    hCall = CallDataRegistry::getInstance()->getCallData("three");
    hCall.releaseObject();
    EXPECT_EQ(1U, CallDataRegistry::getInstance()->getCurrentNumCall());
}

TEST_F(CallEnd, OutlivesEachAllocationThatFails)
{
    startedCall().reset();
    std::unique_ptr<CallLogger> pLogger = startedCall();
    testing::internal::CaptureStderr();
    EXPECT_LT(0, failAtEachAllocation(
                     [&] { pLogger.reset(); },
                     [&]
                     {
                         EXPECT_EQ(0U, CallDataRegistry::getInstance()->getCurrentNumCall());
                         pLogger = startedCall();
                     }));
    testing::internal::GetCapturedStderr();
}

TEST_F(CallEnd, ClosesTheFileAtEachAllocationThatFails)
{
    testing::internal::CaptureStderr();
    // The system gives out the lowest free descriptor: the same one as before if none has leaked.
    const int iDescriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(iDescriptor);
    std::unique_ptr<CallLogger> pLogger = startedCall();
    failAtEachAllocation([&] { pLogger.reset(); },
                         [&]
                         {
                             const int iNext = open("/dev/null", O_RDONLY | O_CLOEXEC);
                             close(iNext);
                             EXPECT_EQ(iDescriptor, iNext);
                             pLogger = startedCall();
                         });
    pLogger.reset();
    testing::internal::GetCapturedStderr();
}

TEST_F(CallEnd, NamesTheFileOfACallWhereMemoryRunsOut)
{
    constexpr int iMost = 40;
    for (int iServed = 0; iServed < iMost; ++iServed)
    {
        auto pLogger = startedCall();
        const AllocationFailure failure(iServed, AllocationFailure::Lasts::ONCE);
        pLogger.reset();
    }
    std::set<std::string> texts;
    for (const LogLine& line : errors())
        texts.insert(line.strLogger + ' ' + line.strText);
    EXPECT_THAT(texts, testing::Contains("keswardin.infra.CallAppender exception at the end of " +
                                         m_directory.file("one") + " : std::bad_alloc"));
}

TEST_F(CallEnd, LeavesNoMemoryWhereAnAppenderCannotBeMade)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("File", m_directory.file("two"));
    const auto make = [&properties]
    {
        try
        {
            const log4cplus::SharedAppenderPtr pAppender(
                new FileCallAppender(properties, std::ios_base::trunc));
            AllocationFailure::end();
        }
        catch (const std::bad_alloc&)
        {
            AllocationFailure::end();
        }
    };
    // One allocation fails at a time: log4cplus ends the process if all of them fail while it makes
    // an appender.
    EXPECT_LT(0, failAtEachAllocation(make, [] {}, {AllocationFailure::Lasts::ONCE}));
}

} // namespace Velmora::Test
