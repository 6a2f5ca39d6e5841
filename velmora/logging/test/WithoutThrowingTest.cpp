// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/WithoutThrowing.h"

#include "velmora/logging/Logger.h"
#include "velmora/logging/TraceScope.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.test";

void throwText(const char* in_szText) { throw std::runtime_error(in_szText); }

} // namespace

TEST(WithoutThrowing, GivesTrueAndLogsNothingWhereNothingIsThrown)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    bool bRun = false;
    EXPECT_TRUE(withoutThrowing(&logger, "exception while a test ends", [&] { bRun = true; }));
    EXPECT_TRUE(bRun);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(WithoutThrowing, LogsWhatIsThrownOnce)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    EXPECT_FALSE(
        withoutThrowing(&logger, "exception while a test ends", [] { throwText("no more"); }));
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "exception while a test ends : no more")));
}

TEST(WithoutThrowing, NamesWhatItIsAbout)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    EXPECT_FALSE(withoutThrowingAbout(&logger, "exception at the end of test", "7@host",
                                      [] { throwText("no more"); }));
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(
                                 s_szLogger, "exception at the end of test 7@host : no more")));
    testing::internal::CaptureStderr();
    withoutThrowingAbout(&logger, "exception at the end of test", "7@host",
                         []
                         {
                             s_bNextAllocationFails = true;
                             throw std::bad_alloc();
                         });
    s_bNextAllocationFails = false;
    EXPECT_EQ("keswardin:ERROR exception at the end of test 7@host : std::bad_alloc\n",
              testing::internal::GetCapturedStderr());
}

TEST(WithoutThrowing, LogsWhatIsNoExceptionOfTheLibrary)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    EXPECT_FALSE(withoutThrowing(&logger, "exception while a test ends", [] { throw 1; }));
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(
                    s_szLogger, "exception while a test ends : an exception without a text")));
}

TEST(WithoutThrowing, LogsAtTheOtherAppendersWhereOneThrowsAgain)
{
    const CapturedLog log;
    log4cplus::Logger::getRoot().removeAllAppenders();
    // The root must have the throwing appender before the captured log's.
    const CallbackAppender thrower([](const std::string&) { throwText("disk gone"); });
    log4cplus::Logger::getRoot().addAppender(log.appender());
    const Logger logger(s_szLogger);
    EXPECT_FALSE(withoutThrowing(&logger, "exception while a test ends",
                                 [&] { logger.forcedLog(INFO_LOG_LEVEL, "line", nullptr, -1); }));
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "exception while a test ends : disk gone")));
}

TEST(WithoutThrowing, WritesToStandardErrorWhereNoAppenderTakesTheLine)
{
    const CapturedLog log;
    log4cplus::Logger::getRoot().removeAllAppenders();
    const CallbackAppender thrower([](const std::string&) { throwText("disk gone"); });
    const Logger logger(s_szLogger);
    testing::internal::CaptureStderr();
    withoutThrowing(&logger, "exception while a test ends", [] { throwText("no more"); });
    EXPECT_EQ("keswardin:ERROR exception while a test ends : no more\n",
              testing::internal::GetCapturedStderr());
}

TEST(WithoutThrowing, WritesToStandardErrorWithoutALogger)
{
    testing::internal::CaptureStderr();
    withoutThrowing(nullptr, "exception while a test ends", [] { throwText("no more"); });
    EXPECT_EQ("keswardin:ERROR exception while a test ends : no more\n",
              testing::internal::GetCapturedStderr());
}

TEST(WithoutThrowing, WritesToStandardErrorWithoutMemory)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    testing::internal::CaptureStderr();
    withoutThrowing(&logger, "exception while a test ends",
                    []
                    {
                        s_bNextAllocationFails = true;
                        throw std::bad_alloc();
                    });
    s_bNextAllocationFails = false;
    EXPECT_EQ("keswardin:ERROR exception while a test ends : std::bad_alloc\n",
              testing::internal::GetCapturedStderr());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(WithoutThrowing, WritesNothingWhereErrorsAreOff)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    const Logger logger(s_szLogger);
    testing::internal::CaptureStderr();
    withoutThrowing(&logger, "exception while a test ends", [] { throwText("no more"); });
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(WithoutThrowing, LogsATextOnceInUsesWithinOneAnother)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    const auto throwInside = [&]
    {
        withoutThrowing(&logger, "exception inside", [] { throwText("first"); });
        withoutThrowing(&logger, "exception inside", [] { throwText("first"); });
        throwText("first");
    };
    withoutThrowing(&logger, "exception outside", throwInside);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "exception inside : first")));
    withoutThrowing(&logger, "exception outside", throwInside);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "exception inside : first"),
                                         errorLine(s_szLogger, "exception inside : first")));
}

TEST(WithoutThrowing, LogsAnotherTextInUsesWithinOneAnother)
{
    const CapturedLog log;
    const Logger logger(s_szLogger);
    withoutThrowing(&logger, "exception outside",
                    [&]
                    {
                        withoutThrowing(&logger, "exception inside", [] { throwText("first"); });
                        throwText("second");
                    });
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "exception inside : first"),
                                         errorLine(s_szLogger, "exception outside : second")));
}

TEST(WithoutThrowing, KeepsATraceScopeFromThrowing)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const CallbackAppender thrower(
        [](const std::string& in_strText)
        {
            if (in_strText.ends_with("ing scope"))
                throwText("disk gone");
        });
    const Logger logger(s_szLogger);
    {
        const TraceScope scope(logger, "scope", TRACE_LOG_LEVEL);
    }
    constexpr const char* szText = "exception while a scope is traced : disk gone";
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "entering scope"), errorLine(s_szLogger, szText),
                            traceLine(s_szLogger, "exiting scope"), errorLine(s_szLogger, szText)));
}

} // namespace Velmora::Test
