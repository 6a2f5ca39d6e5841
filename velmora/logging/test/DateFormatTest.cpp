// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/DateFormat.h"

#include <gtest/gtest.h>
#include <log4cplus/helpers/timehelper.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

namespace Velmora::Test
{

namespace
{

using log4cplus::helpers::Time;

/// Returns a time in microseconds since 1970.
Time timeOf(long long in_llMicroseconds)
{
    return Time(
        std::chrono::duration_cast<Time::duration>(std::chrono::microseconds(in_llMicroseconds)));
}

std::string dateOf(DateFormat& inout_format, const Time& in_time)
{
    std::string strText = "before ";
    inout_format.append(strText, in_time);
    EXPECT_EQ("before ", strText.substr(0, 7));
    return strText.substr(7);
}

constexpr long long s_llSecond = 1'000'000;

} // namespace

TEST(DateFormat, WritesThePartsOfASecondIntoEachLine)
{
    DateFormat format("%Y-%m-%d %H:%M:%S.%q|%Q|%s", DateFormat::Zone::utc);
    constexpr long long llBegin = 1'700'000'000 * s_llSecond;
    EXPECT_EQ("2023-11-14 22:13:20.000|000.000|1700000000", dateOf(format, timeOf(llBegin)));
    EXPECT_EQ("2023-11-14 22:13:20.007|007.042|1700000000", dateOf(format, timeOf(llBegin + 7042)));
    EXPECT_EQ("2023-11-14 22:13:20.999|999.999|1700000000",
              dateOf(format, timeOf(llBegin + 999999)));
    EXPECT_EQ("2023-11-14 22:13:21.000|000.001|1700000001",
              dateOf(format, timeOf(llBegin + 1000001)));
    EXPECT_EQ("2023-11-14 22:13:20.000|000.000|1700000000", dateOf(format, timeOf(llBegin)))
        << "also when the clock is set back";
}

TEST(DateFormat, WritesTheFirstSecondOfAll)
{
    DateFormat format("%H:%M:%S %s", DateFormat::Zone::utc);
    EXPECT_EQ("00:00:00 0", dateOf(format, timeOf(0)));
}

TEST(DateFormat, WritesWhatLog4cplusWritesForEachFormAndTime)
{
    std::mt19937_64 random(3);
    constexpr std::array<const char*, 16> forms{
        "%Y-%m-%d %H:%M:%S",  "%d.%m.%y",     "%q",    "%Q",          "%s", "%s.%q",
        "%H:%M:%S,%q %Q %q!", "%%q %%Q %%s",  "%",     "text",        "%c", "%x %X %p",
        "%a, %d %b %Y %T %z", "%Eq %Oq %k%%", "a%q%b", "%q%q%q%Q%s%Q"};
    for (const char* const szForm : forms)
        for (const DateFormat::Zone zone : {DateFormat::Zone::utc, DateFormat::Zone::local})
        {
            DateFormat format(szForm, zone);
            for (int i = 0; i != 50; ++i)
            {
                const Time time =
                    timeOf(static_cast<long long>(random() % (4'000'000'000 * s_llSecond)));
                // log4cplus throws for a form that gives no text.
                std::string strExpected;
                try
                {
                    strExpected = log4cplus::helpers::getFormattedTime(
                        szForm, time, zone == DateFormat::Zone::utc);
                }
                catch (const std::exception&)
                {
                }
                ASSERT_EQ(strExpected, dateOf(format, time)) << szForm;
            }
        }
}

TEST(DateFormat, FollowsTheZoneOfTheProcess)
{
    setenv("TZ", "America/New_York", 1);
    tzset();
    DateFormat format("%H %Z", DateFormat::Zone::local);
    const std::string strWinter = dateOf(format, timeOf(1'700'000'000 * s_llSecond));
    const std::string strSummer = dateOf(format, timeOf(1'690'000'000 * s_llSecond));
    EXPECT_EQ("17 EST", strWinter);
    EXPECT_EQ("00 EDT", strSummer);
}

TEST(DateFormat, AFormWithoutATextWritesNothing)
{
    DateFormat empty("", DateFormat::Zone::utc);
    EXPECT_EQ("", dateOf(empty, timeOf(0)));
    DateFormat percent("%", DateFormat::Zone::utc);
    EXPECT_EQ("", dateOf(percent, timeOf(0)));
}

TEST(DateFormat, ALongDateIsWhole)
{
    const std::string strLong(5000, 'x');
    DateFormat format(strLong + "%c%c%c", DateFormat::Zone::utc);
    EXPECT_EQ(strLong + "Thu Jan  1 00:00:00 1970Thu Jan  1 00:00:00 1970Thu Jan  1 00:00:00 1970",
              dateOf(format, timeOf(0)));
}

} // namespace Velmora::Test
