// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

/// Runs the program, expects the exit code and returns the lines of the output.
std::vector<std::string> linesOfTest(const std::vector<std::string>& in_deeds, int in_iExitCode)
{
    const HelperResult result = runHelper(VELMORA_HELPER_APPLICATION_UNIT_TEST, in_deeds);
    EXPECT_EQ(in_iExitCode, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    std::vector<std::string> lines = linesOf(result.strOutput);
    // Without the lines of the start and those of the alarms in the test itself.
    std::erase_if(lines,
                  [](const std::string& in_strLine)
                  {
                      return std::regex_search(
                          in_strLine, std::regex("RLIMIT_CORE|core dumps|Start-up complete|Alarm "
                                                 "\\[(counted|source|aggregate)\\] :"));
                  });
    return lines;
}

testing::Matcher<std::string> assertionLine(const std::string& in_strCondition)
{
    return HasSubstr("ERROR - Assertion failed (" + in_strCondition + ") file=");
}

} // namespace

TEST(UnitTestProgram, EndsWellWhenAllChecksPass)
{
    EXPECT_THAT(linesOfTest({}, 0), ElementsAre("INFO - UNIT TEST RESULTS : PASSED : numCheck=6"));
}

TEST(UnitTestProgram, EndsWellAndWarnsWhenItChecksNothing)
{
    EXPECT_THAT(linesOfTest({"nothing"}, 0),
                ElementsAre("WARN - UNIT TEST RESULTS : no checks performed !"));
}

TEST(UnitTestProgram, ItsExitCodeSaysThatACheckHasFailed)
{
    EXPECT_THAT(linesOfTest({"check"}, 1),
                ElementsAre(MatchesRegex("ERROR - Unit Test Check Failed : the alarm is on, "
                                         "file=TestsAlarms.cpp, line=[0-9]+"),
                            "ERROR - UNIT TEST RESULTS : FAILED : numFailedCheck=1/7 (14.29%)"));
}

TEST(UnitTestProgram, ARequirementThatFailsEndsTheChecks)
{
    EXPECT_THAT(linesOfTest({"require"}, 1),
                ElementsAre("INFO - ends after UnitTestException",
                            "ERROR - Unit Test Check Failed : the source is off, "
                            "file=TestsAlarms.cpp, line=2",
                            "ERROR - UNIT TEST RESULTS : FAILED : numFailedCheck=1/4 (25.00%)"));
}

TEST(UnitTestProgram, AnAssertionOfTheLibraryThatFailsIsAFailedCheck)
{
    EXPECT_THAT(linesOfTest({"assert"}, 1),
                ElementsAre(assertionLine("! pAlarm.isNull()"),
                            MatchesRegex("ERROR - Unit Test Check Failed : Assertion failed \\(! "
                                         "pAlarm.isNull\\(\\)\\), "
                                         "file=velmora/alarm/AlarmRegistry.cpp, line=[0-9]+"),
                            "ERROR - UNIT TEST RESULTS : FAILED : numFailedCheck=1/8 (12.50%)"));
}

TEST(UnitTestProgram, AnAlarmThatGoesOnIsAFailedCheck)
{
    EXPECT_THAT(linesOfTest({"raise"}, 1),
                ElementsAre("ERROR - Alarm [trunk.1] : ALARM_ON",
                            "ERROR - Unit Test Check Failed : Alarm raised : Alarm [trunk.1] : "
                            "ALARM_ON, file=, line=?",
                            "ERROR - UNIT TEST RESULTS : FAILED : numFailedCheck=1/8 (12.50%)"));
}

TEST(UnitTestProgram, DoesNotStartWithABadCommandLine)
{
    const std::vector<std::string> lines = linesOfTest({"--", "--colour"}, 2);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("ERROR - unrecognised option '--colour'", lines.front());
}

TEST(UnitTestProgram, AnAssertionThatFailsInTheExitListGoesOnWithoutTheRecord)
{
    EXPECT_THAT(linesOfTest({"in-list"}, 0),
                ElementsAre("INFO - UNIT TEST RESULTS : PASSED : numCheck=6",
                            assertionLine("in the list"), "in the list: a unit test runs: 0"));
}

TEST(UnitTestProgram, AnAssertionThatFailsAfterTheEndGoesOnWithoutTheRecord)
{
    EXPECT_THAT(linesOfTest({"after-end"}, 0),
                ElementsAre("INFO - UNIT TEST RESULTS : PASSED : numCheck=6",
                            assertionLine("after the end"), "after the end: a unit test runs: 0"));
}

} // namespace Velmora::Test
