// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/RollSchedule.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

namespace Velmora::Test
{

namespace
{

using Every = RollSchedule::Every;
using log4cplus::helpers::Time;

/// Sets the time zone of the process.
void setZone(const char* in_szZone)
{
    setenv("TZ", in_szZone, 1);
    tzset();
}

Time utc(int in_iYear, int in_iMonth, int in_iDay, int in_iHour, int in_iMinute = 0,
         int in_iSecond = 0)
{
    std::tm time = {};
    time.tm_year = in_iYear - 1900;
    time.tm_mon = in_iMonth - 1;
    time.tm_mday = in_iDay;
    time.tm_hour = in_iHour;
    time.tm_min = in_iMinute;
    time.tm_sec = in_iSecond;
    return log4cplus::helpers::from_time_t(timegm(&time));
}

/// Expects that the period of a time is the one from `in_begin` to `in_end`, with that name.
void expectPeriod(Every in_every, Time in_time, Time in_begin, Time in_end,
                  const std::string& in_strName)
{
    constexpr std::chrono::microseconds moment(1);
    RollSchedule schedule(in_every);
    schedule.moveTo(in_time);
    EXPECT_FALSE(schedule.isLaterThan(in_begin));
    EXPECT_TRUE(schedule.isLaterThan(in_begin - moment));
    EXPECT_FALSE(schedule.isOverAt(in_end - moment));
    EXPECT_TRUE(schedule.isOverAt(in_end));
    EXPECT_EQ(in_strName, schedule.getName());
}

} // namespace

TEST(RollSchedule, ReadsTheNamesOfLog4cplus)
{
    EXPECT_EQ(Every::month, RollSchedule::parse("MONTHLY"));
    EXPECT_EQ(Every::week, RollSchedule::parse("WEEKLY"));
    EXPECT_EQ(Every::day, RollSchedule::parse("daily"));
    EXPECT_EQ(Every::halfDay, RollSchedule::parse("Twice_Daily"));
    EXPECT_EQ(Every::hour, RollSchedule::parse("HOURLY"));
    EXPECT_EQ(Every::minute, RollSchedule::parse("MINUTELY"));
    EXPECT_FALSE(RollSchedule::parse(""));
    EXPECT_FALSE(RollSchedule::parse("DAILY "));
}

TEST(RollSchedule, DividesTheCalendar)
{
    setZone("UTC");
    const Time time = utc(2026, 11, 23, 16, 37, 12) + std::chrono::microseconds(3456);
    expectPeriod(Every::month, time, utc(2026, 11, 1, 0), utc(2026, 12, 1, 0), "2026-11");
    // A Monday.
    expectPeriod(Every::week, time, utc(2026, 11, 23, 0), utc(2026, 11, 30, 0), "2026-47");
    expectPeriod(Every::day, time, utc(2026, 11, 23, 0), utc(2026, 11, 24, 0), "2026-11-23");
    expectPeriod(Every::halfDay, time, utc(2026, 11, 23, 12), utc(2026, 11, 24, 0),
                 "2026-11-23-PM");
    expectPeriod(Every::halfDay, utc(2026, 11, 23, 11, 59), utc(2026, 11, 23, 0),
                 utc(2026, 11, 23, 12), "2026-11-23-AM");
    expectPeriod(Every::hour, time, utc(2026, 11, 23, 16), utc(2026, 11, 23, 17), "2026-11-23-16");
    expectPeriod(Every::minute, time, utc(2026, 11, 23, 16, 37), utc(2026, 11, 23, 16, 38),
                 "2026-11-23-16-37");
}

TEST(RollSchedule, CrossesTheEndsOfMonthsAndYears)
{
    setZone("UTC");
    const Time time = utc(2026, 12, 31, 23, 59, 59);
    expectPeriod(Every::month, time, utc(2026, 12, 1, 0), utc(2027, 1, 1, 0), "2026-12");
    expectPeriod(Every::week, time, utc(2026, 12, 28, 0), utc(2027, 1, 4, 0), "2026-52");
    // A Sunday.
    expectPeriod(Every::week, utc(2026, 3, 1, 8), utc(2026, 2, 23, 0), utc(2026, 3, 2, 0),
                 "2026-08");
    expectPeriod(Every::day, time, utc(2026, 12, 31, 0), utc(2027, 1, 1, 0), "2026-12-31");
    expectPeriod(Every::day, utc(2028, 2, 29, 1), utc(2028, 2, 29, 0), utc(2028, 3, 1, 0),
                 "2028-02-29");
}

TEST(RollSchedule, ADayHasTheHoursThatTheZoneGivesIt)
{
    setZone("Europe/Zurich");
    // Clocks are set forward at 2 o'clock, and back at 3 o'clock.
    expectPeriod(Every::day, utc(2026, 3, 29, 12), utc(2026, 3, 28, 23), utc(2026, 3, 29, 22),
                 "2026-03-29");
    expectPeriod(Every::day, utc(2026, 10, 25, 12), utc(2026, 10, 24, 22), utc(2026, 10, 25, 23),
                 "2026-10-25");
    expectPeriod(Every::halfDay, utc(2026, 10, 25, 3), utc(2026, 10, 24, 22), utc(2026, 10, 25, 11),
                 "2026-10-25-AM");
}

TEST(RollSchedule, AnHourThatComesTwiceIsTwoPeriods)
{
    setZone("Europe/Zurich");
    expectPeriod(Every::hour, utc(2026, 10, 25, 0, 30), utc(2026, 10, 25, 0), utc(2026, 10, 25, 1),
                 "2026-10-25-02");
    expectPeriod(Every::hour, utc(2026, 10, 25, 1, 30), utc(2026, 10, 25, 1), utc(2026, 10, 25, 2),
                 "2026-10-25-02");
}

TEST(RollSchedule, AnHourBeginsAtAFullHourOfTheZone)
{
    setZone("Asia/Kolkata");
    expectPeriod(Every::hour, utc(2026, 11, 23, 4, 45), utc(2026, 11, 23, 4, 30),
                 utc(2026, 11, 23, 5, 30), "2026-11-23-10");
}

} // namespace Velmora::Test
