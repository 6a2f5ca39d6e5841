// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/Sanitizers.h"

#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

/// Sanitizers make a fork slow.
constexpr int s_iForks = VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER ? 100 : 1000;
constexpr std::chrono::seconds s_limit(600);

} // namespace

TEST(GateProcess, EachChildOfAForkBesideThreadsThatDoEverythingDoesEverythingAndExits)
{
#if VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "its allocator does not survive a fork beside threads that call it";
#endif
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory.file("calls"));
    const HelperResult result = runHelper(
        VELMORA_HELPER_GATE_FORKS,
        {directory.file("log"), directory.file("calls"), std::to_string(s_iForks)}, {}, s_limit);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    const std::vector<std::string> lines = linesOf(result.strOutput);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("0 of " + std::to_string(s_iForks) + " children failed", lines.back());
}

TEST(GateProcess, AbortWritesTheLinesThatWaitForALock)
{
    const HelperResult result = runHelper(VELMORA_HELPER_GATE_ABORTS);
    EXPECT_EQ(SIGABRT, result.iSignal);
    std::vector<std::string> lines = linesOf(result.strOutput);
    // The library logs lines of its own at DEBUG.
    std::erase_if(lines,
                  [](const std::string& in_strLine) { return in_strLine.starts_with("DEBUG"); });
    ASSERT_EQ(4U, lines.size()) << result.strOutput;
    // The lines waited for the lock that the process aborted under, and are in order.
    EXPECT_EQ("ERROR - Alarm [observed] : ALARM_ON", lines[0]);
    EXPECT_EQ("WARN - line under the lock", lines[1]);
    EXPECT_TRUE(lines[2].starts_with("FATAL - Assertion failed (of the observer)")) << lines[2];
    EXPECT_EQ("FATAL - aborting", lines[3]);
}

} // namespace Velmora::Test
