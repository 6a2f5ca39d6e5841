// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/ACE_Date_Time_Helpers.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.ACE_Date_Time_Helpers";

ACE_Date_Time dateOf(long in_lYear, long in_lMonth, long in_lDay)
{
    return ACE_Date_Time(in_lDay, in_lMonth, in_lYear);
}

/// Returns the fields of the date that is read from a number.
std::string readFrom(int in_iDate)
{
    ACE_Date_Time date = dateOf(1, 2, 3);
    std::ostringstream stream;
    stream << std::boolalpha << ACE_Date_Time_Helpers::intToDate_Time(in_iDate, date) << ' ';
    stream << date.year() << ' ' << date.month() << ' ' << date.day();
    return stream.str();
}

} // namespace

TEST(ACE_Date_Time_Helpers, ReadsADateFromANumber)
{
    const CapturedLog log;
    EXPECT_EQ("true 2026 3 7", readFrom(20260307));
    EXPECT_EQ("true 2026 12 31", readFrom(20261231));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ACE_Date_Time_Helpers, ReadsALongerNumberByItsFirstEightDigits)
{
    EXPECT_EQ("true 2026 3 7", readFrom(202603079));
    EXPECT_EQ("true 2026 3 7", readFrom(2026030799));
}

TEST(ACE_Date_Time_Helpers, DoesNotLookWhetherThereIsSuchADay)
{
    EXPECT_EQ("true 2026 99 0", readFrom(20269900));
    EXPECT_EQ("true -123 45 67", readFrom(-1234567));
}

TEST(ACE_Date_Time_Helpers, RefusesANumberOfSevenDigits)
{
    const CapturedLog log;
    EXPECT_EQ("false 1 2 3", readFrom(2026307));
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, "Malformed date: 2026307")));
}

TEST(ACE_Date_Time_Helpers, RefusesZeroAndSmallNegativeNumbers)
{
    const CapturedLog log;
    EXPECT_EQ("false 1 2 3", readFrom(0));
    EXPECT_EQ("false 1 2 3", readFrom(-123456));
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, "Malformed date: 0"),
                                         debugLine(s_szLogger, "Malformed date: -123456")));
}

TEST(ACE_Date_Time_Helpers, TheLaterDateIsGreater)
{
    EXPECT_TRUE(dateOf(2026, 1, 1) > dateOf(2025, 12, 31));
    EXPECT_FALSE(dateOf(2025, 12, 31) > dateOf(2026, 1, 1));
    EXPECT_TRUE(dateOf(2026, 4, 1) > dateOf(2026, 3, 31));
    EXPECT_FALSE(dateOf(2026, 3, 31) > dateOf(2026, 4, 1));
    EXPECT_TRUE(dateOf(2026, 3, 8) > dateOf(2026, 3, 7));
    EXPECT_FALSE(dateOf(2026, 3, 7) > dateOf(2026, 3, 8));
}

TEST(ACE_Date_Time_Helpers, EqualDatesAreNotGreater)
{
    EXPECT_FALSE(dateOf(2026, 3, 7) > dateOf(2026, 3, 7));
}

TEST(ACE_Date_Time_Helpers, OnlyTheDateCounts)
{
    ACE_Date_Time later = dateOf(2026, 3, 7);
    later.hour(23);
    later.minute(59);
    later.second(59);
    later.microsec(1);
    EXPECT_FALSE(later > dateOf(2026, 3, 7));
}

TEST(ACE_Date_Time_Helpers, WritesWithWidthsThatLagOneFieldBehind)
{
    std::ostringstream stream;
    stream << std::setfill('0') << dateOf(2026, 3, 7);
    EXPECT_EQ("2026000307", stream.str());
    EXPECT_EQ(2, stream.width());
    stream << 5;
    EXPECT_EQ("202600030705", stream.str());
}

TEST(ACE_Date_Time_Helpers, WritesWithTheFillOfTheStream)
{
    std::ostringstream stream;
    stream << dateOf(26, 12, 31);
    EXPECT_EQ("26  1231", stream.str());
}

TEST(ACE_Date_Time_Helpers, WritesTheYearWithTheWidthThatTheStreamHas)
{
    std::ostringstream stream;
    stream << std::setw(6) << dateOf(2026, 3, 7);
    EXPECT_EQ("  2026   3 7", stream.str());
}

TEST(ACE_Date_Time_Helpers, WritesTheSameInEachLocale)
{
    std::ostringstream stream;
    stream.imbue(groupingLocale());
    stream << dateOf(2026, 3, 7);
    EXPECT_EQ("2026   3 7", stream.str());
}
