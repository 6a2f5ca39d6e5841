// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/LinuxProfileTimer.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/alarm/ProfileTimer.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

LogLine error(const std::string& in_strText)
{
    return errorLine("keswardin.infra.ProfileTimer", in_strText);
}

const LogLine s_failed = error("Failed to retrieve Linux CPU statistics");

/// Returns the descriptors of this process that are open on the statistics of the kernel.
std::vector<int> statisticsFiles() { return descriptorsOpenOn("/proc/stat"); }

/// Performs the operations of a test once before the test runs out of descriptors. A sanitizer
/// needs descriptors when it checks a class for the first time.
void meetClasses()
{
    const CapturedLog log;
    VELMORA_LOG(Logger("test"), ERROR_LOG_LEVEL, "text");
    double dPercent = 0;
    LinuxProfileTimer timer;
    ProfileTimerInterface& interface = timer;
    interface.getSystemIdleTime(dPercent);
    ProfileTimer().getSystemIdleTime(dPercent);
}

/// Has a timer that reads a file which the test writes, instead of the kernel's statistics.
class ProfileTimerOverAFile : public testing::Test
{
  protected:
    ProfileTimerOverAFile() : m_strPath(m_directory.file("stat"))
    {
        std::uint64_t counters[8];
        EXPECT_TRUE(read(counters));
        replaceFile("/dev/null", O_RDONLY);
        write("");
        replaceFile(m_strPath.c_str(), O_RDONLY);
    }

    /// Makes the timer's descriptor refer to another file.
    static void replaceFile(const char* in_szPath, int in_iFlags)
    {
        static const int iFile = statisticsFiles().at(0);
        const int iOther = open(in_szPath, in_iFlags);
        ASSERT_NE(-1, iOther);
        ASSERT_NE(-1, dup2(iOther, iFile));
        close(iOther);
    }

    void write(const std::string& in_strText) const { m_directory.write("stat", in_strText); }

    bool read(std::uint64_t (&out_counters)[8])
    {
        return m_timer.readCpuStats(out_counters[0], out_counters[1], out_counters[2],
                                    out_counters[3], out_counters[4], out_counters[5],
                                    out_counters[6], out_counters[7]);
    }

    /// Returns the idle time that results from a line of statistics, -1 if the timer fails.
    double idle(const std::string& in_strCounters)
    {
        write("cpu  " + in_strCounters + "\ncpu0 1 2 3 4 5 6 7 8 9 10\nintr 1\n");
        double dPercent = -1;
        const bool bGiven = m_timer.getSystemIdleTime(dPercent);
        EXPECT_EQ(bGiven, dPercent != -1);
        return dPercent;
    }

    TemporaryDirectory m_directory;
    std::string m_strPath;
    LinuxProfileTimer m_timer;
};

} // namespace

TEST(LinuxProfileTimer, GivesAHundredAtFirst)
{
    LinuxProfileTimer timer;
    double dPercent = 0;
    EXPECT_TRUE(timer.getSystemIdleTime(dPercent));
    EXPECT_EQ(100, dPercent);
}

TEST(LinuxProfileTimer, GivesWholePercents)
{
    LinuxProfileTimer timer;
    for (int iCall = 0; iCall < 5; ++iCall)
    {
        double dPercent = -1;
        EXPECT_TRUE(timer.getSystemIdleTime(dPercent));
        EXPECT_GE(dPercent, 0);
        EXPECT_LE(dPercent, 100);
        EXPECT_EQ(std::round(dPercent), dPercent);
        usleep(15000);
    }
}

TEST(LinuxProfileTimer, ReadsTheCountersOfTheKernel)
{
    LinuxProfileTimer timer;
    std::uint64_t counters[8] = {};
    EXPECT_TRUE(timer.readCpuStats(counters[0], counters[1], counters[2], counters[3], counters[4],
                                   counters[5], counters[6], counters[7]));
    std::string strName;
    std::ifstream statistics("/proc/stat");
    statistics >> strName;
    EXPECT_EQ("cpu", strName);
    for (const std::uint64_t uiBefore : counters)
    {
        std::uint64_t uiNow = 0;
        EXPECT_TRUE(statistics >> uiNow);
        EXPECT_LE(uiBefore, uiNow);
        EXPECT_LE(uiNow - uiBefore, 10000u);
    }
}

TEST(LinuxProfileTimer, KeepsItsFileOpenUntilItsEnd)
{
    {
        LinuxProfileTimer timer;
        EXPECT_TRUE(statisticsFiles().empty());
        double dPercent = 0;
        for (int iCall = 0; iCall < 3; ++iCall)
            EXPECT_TRUE(timer.getSystemIdleTime(dPercent));
        EXPECT_EQ(1u, statisticsFiles().size());
        EXPECT_NE(0, fcntl(statisticsFiles().at(0), F_GETFD) & FD_CLOEXEC);
    }
    EXPECT_TRUE(statisticsFiles().empty());
}

TEST(LinuxProfileTimer, AllocatesNothing)
{
    LinuxProfileTimer timer;
    double dPercent = 0;
    EXPECT_EQ(0, allocationsOfLaterCalls([&] { timer.getSystemIdleTime(dPercent); }));
}

TEST(LinuxProfileTimer, SaysWhyItCannotOpenItsFile)
{
    meetClasses();
    const CapturedLog log;
    LinuxProfileTimer timer;
    double dPercent = 7;
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        EXPECT_FALSE(timer.getSystemIdleTime(dPercent));
    }
    EXPECT_EQ(7, dPercent);
    EXPECT_EQ(
        (std::vector{error("Failed to open CPU statistics file /proc/stat: Too many open files"),
                     s_failed}),
        log.lines());
    EXPECT_TRUE(timer.getSystemIdleTime(dPercent));
    EXPECT_EQ(100, dPercent);
}

TEST_F(ProfileTimerOverAFile, TakesTheCountersInTheOrderOfTheKernel)
{
    write("cpu  1 2 3 4 5 6 7 8 9 10\n");
    std::uint64_t counters[8] = {};
    EXPECT_TRUE(read(counters));
    for (std::uint64_t uiCounter = 0; uiCounter < 8; ++uiCounter)
        EXPECT_EQ(uiCounter + 1, counters[uiCounter]);
}

TEST_F(ProfileTimerOverAFile, TakesTheLineOfAllProcessors)
{
    write("cpu0 9 9 9 9 9 9 9 9\ncpu 1 2 3 4 5 6 7 18446744073709551615\n");
    std::uint64_t counters[8] = {};
    EXPECT_TRUE(read(counters));
    EXPECT_EQ(1u, counters[0]);
    EXPECT_EQ(18446744073709551615u, counters[7]);
}

TEST_F(ProfileTimerOverAFile, GivesTheShareOfTheTimeSinceTheLastCall)
{
    EXPECT_EQ(100, idle("100 100 100 100 100 100 100 100"));
    EXPECT_EQ(50, idle("101 101 101 107 101 101 101 101"));
    EXPECT_EQ(0, idle("111 101 101 107 101 101 101 101"));
    EXPECT_EQ(100, idle("111 101 101 108 101 101 101 101"));
}

TEST_F(ProfileTimerOverAFile, RoundsToTheNearestPercent)
{
    idle("0 0 0 0 0 0 0 0");
    EXPECT_EQ(33, idle("2 0 0 1 0 0 0 0"));
    EXPECT_EQ(67, idle("3 0 0 3 0 0 0 0"));
    EXPECT_EQ(1, idle("202 0 0 4 0 0 0 0")); // 0.5
    EXPECT_EQ(0, idle("403 0 0 5 0 0 0 0")); // 0.495
}

TEST_F(ProfileTimerOverAFile, DoesNotTakeWaitingForDisksAsIdle)
{
    idle("0 0 0 0 0 0 0 0");
    EXPECT_EQ(25, idle("0 0 0 1 3 0 0 0"));
}

TEST_F(ProfileTimerOverAFile, GivesTheLastResultWithoutATick)
{
    idle("0 0 0 0 0 0 0 0");
    EXPECT_EQ(40, idle("3 0 0 2 0 0 0 0"));
    EXPECT_EQ(40, idle("3 0 0 2 0 0 0 0"));
    EXPECT_EQ(40, idle("3 0 0 2 0 0 0 0"));
}

TEST_F(ProfileTimerOverAFile, GivesAHundredWithoutATickSinceTheFirstCall)
{
    EXPECT_EQ(100, idle("3 0 0 2 0 0 0 0"));
    EXPECT_EQ(100, idle("3 0 0 2 0 0 0 0"));
}

TEST_F(ProfileTimerOverAFile, TakesACounterThatStepsBackAsOneThatStandsStill)
{
    idle("0 0 0 100 100 0 0 0");
    EXPECT_EQ(0, idle("10 0 0 90 100 0 0 0"));
    EXPECT_EQ(100, idle("10 0 0 95 50 0 0 0"));
}

TEST_F(ProfileTimerOverAFile, GoesOnFromCountersThatHaveAllSteppedBack)
{
    idle("1000 0 0 1000 0 0 0 0");
    EXPECT_EQ(100, idle("10 0 0 10 0 0 0 0"));
    EXPECT_EQ(75, idle("11 0 0 13 0 0 0 0"));
}

TEST_F(ProfileTimerOverAFile, ComparesWithTheLastSuccessAfterAFailure)
{
    idle("0 0 0 0 0 0 0 0");
    EXPECT_EQ(-1, idle("50 0"));
    EXPECT_EQ(20, idle("80 0 0 20 0 0 0 0"));
}

TEST_F(ProfileTimerOverAFile, NamesTheNumberOfCountersThatItFinds)
{
    const CapturedLog log;
    EXPECT_EQ(-1, idle("1 2 3 4 5 6 7"));
    EXPECT_EQ(-1, idle("1 2 three 4 5 6 7 8"));
    EXPECT_EQ(-1, idle(""));
    const auto found = [](const char* in_szNumber)
    {
        return error(
            "wrong format for Linux proc cpu statistics: expected 8 elements, just found " +
            std::string(in_szNumber));
    };
    // Reading stops at "cpu0", which begins the next line and is not a number.
    EXPECT_EQ((std::vector{found("7"), s_failed, found("2"), s_failed, found("0"), s_failed}),
              log.lines());
}

TEST_F(ProfileTimerOverAFile, MissesTheLineOfAllProcessors)
{
    const CapturedLog log;
    write("cpu0 1 2 3 4 5 6 7 8\n");
    double dPercent = 7;
    EXPECT_FALSE(m_timer.getSystemIdleTime(dPercent));
    EXPECT_EQ(7, dPercent);
    EXPECT_EQ((std::vector{error("wrong format for Linux proc cpu statistics: missing cpu string"),
                           s_failed}),
              log.lines());
}

TEST_F(ProfileTimerOverAFile, LooksAtTheFirstKilobyteAlone)
{
    const CapturedLog log;
    write(std::string(1020, '#') + "cpu 1 2 3 4 5 6 7 8\n");
    double dPercent = 7;
    EXPECT_FALSE(m_timer.getSystemIdleTime(dPercent));
    EXPECT_EQ((std::vector{error("wrong format for Linux proc cpu statistics: missing cpu string"),
                           s_failed}),
              log.lines());
}

TEST_F(ProfileTimerOverAFile, SaysWhyItCannotReadItsFile)
{
    const CapturedLog log;
    write("");
    double dPercent = 7;
    EXPECT_FALSE(m_timer.getSystemIdleTime(dPercent));
    replaceFile(m_directory.path().c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_FALSE(m_timer.getSystemIdleTime(dPercent));
    EXPECT_EQ(7, dPercent);
    EXPECT_EQ(
        (std::vector{
            error("Failed to read CPU statistics file /proc/stat: No data available"), s_failed,
            error("Failed to read CPU statistics file /proc/stat: Is a directory"), s_failed}),
        log.lines());
}

TEST(ProfileTimer, GivesTheIdleTimeOfThePlatform)
{
    ProfileTimer timer;
    double dPercent = 0;
    EXPECT_TRUE(timer.getSystemIdleTime(dPercent));
    EXPECT_EQ(100, dPercent);
}

TEST(ProfileTimer, PassesAFailureOn)
{
    meetClasses();
    const CapturedLog log;
    ProfileTimer timer;
    double dPercent = 7;
    const DescriptorLimit limit = DescriptorLimit::noneLeft();
    EXPECT_FALSE(timer.getSystemIdleTime(dPercent));
    EXPECT_EQ(7, dPercent);
}

TEST(ProfileTimer, IsATimerOfACE)
{
    ProfileTimer timer;
    EXPECT_EQ(0, timer.start());
    EXPECT_EQ(0, timer.stop());
    ACE_Profile_Timer::ACE_Elapsed_Time elapsed;
    EXPECT_EQ(0, timer.elapsed_time(elapsed));
    EXPECT_GE(elapsed.real_time, 0);
}

} // namespace Velmora::Test
