// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DateTimeDirectory.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace
{

/// The time that `time` returns, a second later at each call; 0 for the real time.
std::time_t s_now = 0;

/// The length below which `strftime` fails.
std::size_t s_uiNeeds = 0;

/// The lengths that were passed to `strftime`.
std::vector<std::size_t> s_lengths;

} // namespace

// These replace the functions of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] std::time_t time(std::time_t* out_pNow) noexcept
{
    const std::time_t now = s_now != 0 ? s_now++ : syscall(SYS_time, nullptr);
    if (out_pNow != nullptr)
        *out_pNow = now;
    return now;
}

extern "C" [[gnu::visibility("default")]] std::size_t strftime(char* out_szText,
                                                               std::size_t in_uiSize,
                                                               const char* in_szFormat,
                                                               const std::tm* in_pTime) noexcept
{
    static const auto s_pReal = reinterpret_cast<decltype(&strftime)>(dlsym(RTLD_NEXT, "strftime"));
    s_lengths.push_back(in_uiSize);
    if (in_uiSize < s_uiNeeds)
        return 0;
    return s_pReal(out_szText, in_uiSize, in_szFormat, in_pTime);
}

using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.DateTimeDirectory";

/// 2026-03-07 09:59:59 in UTC.
constexpr std::time_t s_moment = 1772877599;

class DateTimeDirectory : public testing::Test
{
  protected:
    DateTimeDirectory()
    {
        setTimeZone("UTC0");
        s_now = s_moment;
    }
    ~DateTimeDirectory() override
    {
        s_now = 0;
        s_uiNeeds = 0;
    }

    static void setTimeZone(const char* in_szZone)
    {
        setenv("TZ", in_szZone, 1);
        tzset();
    }

    CapturedLog m_log;
};

/// Returns the name at the current time.
std::string formName(std::string in_strBefore = "")
{
    s_lengths.clear();
    if (s_now != 0)
        s_now = s_moment;
    Velmora::DateTimeDirectory::formName(in_strBefore);
    return in_strBefore;
}

} // namespace

TEST_F(DateTimeDirectory, TheNameIsYearMonthDayAndHour)
{
    EXPECT_EQ("2026/03March/07/09", formName());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DateTimeDirectory, TheTimeIsLocal)
{
    setTimeZone("FAR-20");
    EXPECT_EQ("2026/03March/08/05", formName());
    setTimeZone("WEST+10");
    EXPECT_EQ("2026/03March/06/23", formName());
}

TEST_F(DateTimeDirectory, TheTimeIsThatOfNow)
{
    s_now = 0;
    EXPECT_THAT(formName(),
                MatchesRegex("20[0-9][0-9]/[01][0-9][A-Z][a-z]+/[0-3][0-9]/[0-2][0-9]"));
}

TEST_F(DateTimeDirectory, WhatTheOutputHeldBeforeIsGone)
{
    EXPECT_EQ("2026/03March/07/09", formName("what was there"));
    EXPECT_EQ("2026/03March/07/09", formName(std::string(1000, 'x')));
}

TEST_F(DateTimeDirectory, TheOutputIsAtLeast256CharactersLongAtFirst)
{
    formName();
    EXPECT_THAT(s_lengths, ElementsAre(256));
}

TEST_F(DateTimeDirectory, AnOutputThatHasRoomForMoreIsUsedWhole)
{
    std::string strName;
    strName.reserve(777);
    const std::size_t uiCapacity = strName.capacity();
    s_lengths.clear();
    Velmora::DateTimeDirectory::formName(strName);
    EXPECT_THAT(s_lengths, ElementsAre(uiCapacity));
    EXPECT_EQ("2026/03March/07/09", strName);
}

TEST_F(DateTimeDirectory, ANameThatDoesNotFitIsTriedAgainWithTwiceTheLength)
{
    s_uiNeeds = 1024;
    formName();
    EXPECT_THAT(s_lengths, ElementsAre(256, 512, 1024));
}

TEST_F(DateTimeDirectory, TheTimeIsReadAfreshAtEachTry)
{
    s_uiNeeds = 512;
    EXPECT_EQ("2026/03March/07/10", formName());
}

TEST_F(DateTimeDirectory, TheFifthTryMayStillSucceed)
{
    s_uiNeeds = 4096;
    EXPECT_EQ("2026/03March/07/10", formName());
    EXPECT_THAT(s_lengths, ElementsAre(256, 512, 1024, 2048, 4096));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DateTimeDirectory, AfterFiveTriesAnAssertionFailsAndTheNameIsEmpty)
{
    s_uiNeeds = 4097;
    EXPECT_EQ("", formName("what was there"));
    EXPECT_THAT(s_lengths, ElementsAre(256, 512, 1024, 2048, 4096));
    EXPECT_THAT(
        failedAssertions(m_log),
        ElementsAre(failedAssertion("uiNumTries < uiMaxTries", "DateTimeDirectory", s_szLogger)));
    EXPECT_EQ(1U, m_log.lines().size());
}
