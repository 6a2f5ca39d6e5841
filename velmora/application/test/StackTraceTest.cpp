// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/StackTrace.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TextOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* s_szLogger = "keswardin.infra.StackTrace";

/// Returns a trace that was made after this many nested calls. The assembly statement prevents a
/// tail call.
[[gnu::noinline]] std::unique_ptr<StackTrace> traceOfDepth(int in_iDepth)
{
    std::unique_ptr<StackTrace> pTrace =
        in_iDepth == 0 ? std::make_unique<StackTrace>() : traceOfDepth(in_iDepth - 1);
    asm volatile("" ::: "memory");
    return pTrace;
}

std::string beginOfLines() { return textOf('[', pthread_self(), "] "); }

/// Removes the first line if it is a function of a sanitizer, which is called between the
/// constructor and the C library.
std::vector<LogLine> withoutSanitizer(std::vector<LogLine> in_lines)
{
    if (!in_lines.empty() && in_lines[0].strText.find("StackTraceC") == std::string::npos &&
        in_lines[0].strText.find("libkeswardin-infra") == std::string::npos)
        in_lines.erase(in_lines.begin());
    return in_lines;
}

std::vector<LogLine> linesOfLogging(const StackTrace& in_trace, LogLevel in_logLevel)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    in_trace.log(in_logLevel);
    return log.lines();
}

void expectLevelOfLines(LogLevel in_given, LogLevel in_expected)
{
    const std::vector<LogLine> lines = linesOfLogging(StackTrace(), in_given);
    EXPECT_FALSE(lines.empty());
    for (const LogLine& line : lines)
    {
        EXPECT_EQ(s_szLogger, line.strLogger);
        EXPECT_EQ(in_expected, line.level);
        EXPECT_THAT(line.strText, StartsWith(beginOfLines()));
    }
}

} // namespace

TEST(StackTrace, IsAnObjectThatIsNotCopied)
{
    EXPECT_TRUE((std::is_base_of_v<Object, StackTrace>));
    EXPECT_TRUE(std::has_virtual_destructor_v<StackTrace>);
    EXPECT_FALSE(std::is_copy_constructible_v<StackTrace>);
    EXPECT_FALSE(std::is_copy_assignable_v<StackTrace>);
}

TEST(StackTrace, HasAVirtualBase)
{
    const StackTrace trace;
    const Object& object = trace;
    EXPECT_EQ(&trace, dynamic_cast<const StackTrace*>(&object));
}

TEST(StackTrace, LogsAtTheLevelsFromDebugToFatal)
{
    for (const LogLevel level :
         {DEBUG_LOG_LEVEL, INFO_LOG_LEVEL, WARN_LOG_LEVEL, ERROR_LOG_LEVEL, FATAL_LOG_LEVEL})
        expectLevelOfLines(level, level);
}

TEST(StackTrace, LogsAtErrorForTrace) { expectLevelOfLines(TRACE_LOG_LEVEL, ERROR_LOG_LEVEL); }

TEST(StackTrace, LogsAtErrorForAnyOtherValue)
{
    for (const int iLevel : {-1, 1, 15000, 20001, 60000})
        expectLevelOfLines(static_cast<LogLevel>(iLevel), ERROR_LOG_LEVEL);
}

TEST(StackTrace, BeginsWithItsConstructor)
{
    const std::vector<LogLine> lines =
        withoutSanitizer(linesOfLogging(StackTrace(), INFO_LOG_LEVEL));
    ASSERT_LE(2U, lines.size());
    EXPECT_THAT(lines[0].strText, HasSubstr("StackTraceC"));
    EXPECT_THAT(lines[0].strText, HasSubstr("libkeswardin-infra.so"));
    EXPECT_THAT(lines[1].strText, HasSubstr("StackTraceTest"));
}

TEST(StackTrace, HasALineForEachFunction)
{
    const std::size_t uiFlat = linesOfLogging(*traceOfDepth(0), INFO_LOG_LEVEL).size();
    EXPECT_EQ(uiFlat + 7, linesOfLogging(*traceOfDepth(7), INFO_LOG_LEVEL).size());
}

TEST(StackTrace, KeepsTheFiftyInnermost)
{
    const std::vector<LogLine> lines = linesOfLogging(*traceOfDepth(100), INFO_LOG_LEVEL);
    EXPECT_EQ(50U, lines.size());
    EXPECT_THAT(withoutSanitizer(lines).at(0).strText, HasSubstr("StackTraceC"));
}

TEST(StackTrace, IsTakenWhenItIsMade)
{
    const std::unique_ptr<StackTrace> pTrace = traceOfDepth(10);
    const std::vector<LogLine> lines = linesOfLogging(*pTrace, INFO_LOG_LEVEL);
    const std::vector<LogLine> later = [&pTrace]
    { return linesOfLogging(*pTrace, INFO_LOG_LEVEL); }();
    EXPECT_EQ(lines, later);
    EXPECT_LE(12U, lines.size());
}

TEST(StackTrace, IsLoggedWithTheNumberOfTheThreadThatLogs)
{
    const StackTrace trace;
    std::string strBegin;
    std::vector<LogLine> lines;
    std::thread(
        [&]
        {
            strBegin = beginOfLines();
            lines = linesOfLogging(trace, INFO_LOG_LEVEL);
        })
        .join();
    EXPECT_NE(beginOfLines(), strBegin);
    ASSERT_FALSE(lines.empty());
    for (const LogLine& line : lines)
        EXPECT_THAT(line.strText, StartsWith(strBegin));
}

TEST(StackTrace, IsReadByTwoThreadsAtOnce)
{
    const StackTrace trace;
    const CapturedLog log(TRACE_LOG_LEVEL);
    trace.log(INFO_LOG_LEVEL);
    const std::size_t uiLines = log.lines().size();
    std::thread other([&trace] { trace.log(INFO_LOG_LEVEL); });
    trace.log(INFO_LOG_LEVEL);
    other.join();
    EXPECT_EQ(3 * uiLines, log.lines().size());
}

TEST(StackTrace, DoesNotLogBelowTheLevelOfItsLogger)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    StackTrace().log(INFO_LOG_LEVEL);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StackTrace, PrintsWhatItLogs)
{
    const HelperResult result = runHelper(VELMORA_HELPER_CRASH_PRINTS_STACK_TRACE);
    ASSERT_EQ(0, result.iExitCode);
    const std::vector<std::string> printed = linesOf(result.strErrors);
    const std::vector<std::string> output = linesOf(result.strOutput);
    ASSERT_LE(2U, printed.size());
    ASSERT_EQ(printed.size() + 1, output.size());
    const std::string strThread = output[0].substr(output[0].find(' ') + 1);
    for (std::size_t uiLine = 0; uiLine < printed.size(); ++uiLine)
    {
        EXPECT_THAT(printed[uiLine], StartsWith("[" + strThread + "] "));
        EXPECT_EQ("INFO keswardin.infra.StackTrace: " + printed[uiLine], output[uiLine + 1]);
    }
}

TEST(StackTrace, SaysThatThereAreNoTexts)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_CRASH_PRINTS_STACK_TRACE, {"without texts"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("Failed to get backtrace symbols\n", result.strErrors);
    EXPECT_THAT(linesOf(result.strOutput),
                ElementsAre(StartsWith("thread "), "ERROR keswardin.infra.StackTrace: "
                                                   "Failed to get backtrace symbols"));
}

} // namespace Velmora::Test
