// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

// Sanitizers make each line several times slower.
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
constexpr int s_iRounds = 1;
constexpr int s_iLines = 20;
#else
constexpr int s_iRounds = 10;
constexpr int s_iLines = 50;
#endif
constexpr int s_iCalls = 1000;

/// Expects that the program has found all lines of the given number of rounds. `in_iLines` is the
/// number of lines that each of its two threads logs in a call.
void expectAllLines(const HelperResult& in_result, int in_iRounds, int in_iLines,
                    const std::vector<std::string>& in_more = {})
{
    const std::string strLines = std::to_string(2L * in_iRounds * s_iCalls * in_iLines);
    std::vector<std::string> expected{"main log: " + strLines + " lines, whole",
                                      "calls: " + strLines + " lines, whole", "held: as before",
                                      "highest number of calls: 1000, now 0"};
    expected.insert(expected.end(), in_more.begin(), in_more.end());
    EXPECT_EQ(expected, linesOf(in_result.strOutput));
    EXPECT_EQ("", in_result.strErrors);
    EXPECT_EQ(0, in_result.iExitCode);
}

HelperResult logCalls(const TemporaryDirectory& in_directory, int in_iRounds, int in_iLines,
                      const std::vector<std::string>& in_more = {},
                      const std::vector<std::pair<std::string, std::string>>& in_environment = {})
{
    std::vector<std::string> arguments{in_directory.path().string(), std::to_string(s_iCalls),
                                       std::to_string(in_iRounds), std::to_string(in_iLines)};
    arguments.insert(arguments.end(), in_more.begin(), in_more.end());
    return runHelper(VELMORA_HELPER_CALLS_LOGS, arguments, in_environment,
                     std::chrono::seconds(200));
}

} // namespace

TEST(Calls, EachLineOfAThousandConcurrentCallsIsOnceInTheMainLogAndOnceInItsCallsFile)
{
    const TemporaryDirectory directory;

    expectAllLines(logCalls(directory, s_iRounds, s_iLines), s_iRounds, s_iLines);
}

TEST(Calls, DescriptorsAndMemoryAreAsBeforeOnceCallsHaveEnded)
{
    const TemporaryDirectory directory;

    const HelperResult result = logCalls(directory, 2, 2, {}, {{"VELMORA_MEM_ACCOUNTING", "1"}});

    EXPECT_THAT(result.strOutput, HasSubstr("held: as before\n"));
    EXPECT_THAT(result.strErrors, Not(HasSubstr("Memory Account FileCallAppender : balance")));
}

TEST(Calls, NoLineIsLostWhileLoggingIsConfiguredRepeatedly)
{
    const TemporaryDirectory directory;

    expectAllLines(logCalls(directory, 1, 10, {"reconfigure"}), 1, 10, {"reconfigured: yes"});
}

TEST(Calls, AChildOfAForkLeavesTheFilesOfItsParentsCallsAlone)
{
    const TemporaryDirectory directory;

    const HelperResult result =
        runHelper(VELMORA_HELPER_CALLS_FORKS, {directory.path().string(), "50"});

    EXPECT_EQ("last child ended with status 0\n", result.strOutput);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(linesOf(directory.read("calls/parent")),
                ElementsAre(HasSubstr("INFO - Call start : "), "INFO - before", "INFO - behind",
                            HasSubstr("INFO - Call end : ")));
    EXPECT_THAT(linesOf(directory.read("calls/child")),
                ElementsAre(HasSubstr("INFO - Call start : "), "INFO - of its own",
                            HasSubstr("INFO - Call end : ")));
    EXPECT_THAT(directory.read("main.log"), HasSubstr("INFO - call-id=parent in the child\n"));
}

TEST(Calls, ThoseThatAreLeftWhenTheProgramEndsHaveTheirLastLine)
{
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{}, std::vector<std::string>{"close"}})
    {
        const TemporaryDirectory directory;
        std::vector<std::string> arguments{directory.path().string()};
        arguments.insert(arguments.end(), more.begin(), more.end());

        const HelperResult result = runHelper(VELMORA_HELPER_CALLS_LEAVES, arguments);

        EXPECT_EQ(0, result.iExitCode);
        EXPECT_EQ(0, result.iSignal);
        EXPECT_EQ("", result.strErrors);
        for (const char* const szCall : {"static", "never"})
            EXPECT_THAT(linesOf(directory.read(szCall)),
                        ElementsAre(HasSubstr("Call start : "), "INFO test.call: line",
                                    HasSubstr("Call end : ")));
    }
}

} // namespace Velmora::Test
