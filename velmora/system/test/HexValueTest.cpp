// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/HexValue.h"

#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

using namespace Velmora;
using namespace Velmora::Test;

TEST(HexValue, IsWrittenWithZerosInFront)
{
    EXPECT_EQ("000a", textOf(HexValue(10, 4)));
    EXPECT_EQ("ffffffffffffffff", textOf(HexValue(~0UL, 2)));
    EXPECT_EQ("0", textOf(HexValue(0, 0)));
}

TEST(HexValue, LeavesTheBaseOfTheStream)
{
    EXPECT_EQ("10 0a 10", textOf(10, ' ', HexValue(10, 2), ' ', 10));
    EXPECT_EQ("0a 12", textOf(std::oct, HexValue(10, 2), ' ', 10));
}

TEST(HexValue, LeavesTheFillOfTheStream)
{
    EXPECT_EQ("0a**1", textOf(std::setfill('*'), HexValue(10, 2), std::setw(3), 1));
}

TEST(HexValue, LeavesTheOtherFlagsToTheStream)
{
    EXPECT_EQ("000A", textOf(std::uppercase, HexValue(10, 4)));
}

TEST(HexValue, KnowsItsValueAndWidth)
{
    const HexValue value(255, 4);
    EXPECT_EQ(255U, value.getValue());
    EXPECT_EQ(4, value.getWidth());
}

TEST(HexValue, ShowsTheBaseWhereTheStreamDoes)
{
    EXPECT_EQ("00xa", textOf(std::showbase, HexValue(10, 4)));
    EXPECT_EQ("00XA", textOf(std::showbase, std::uppercase, HexValue(10, 4)));
    EXPECT_EQ("0x0a", textOf(std::showbase, std::internal, HexValue(10, 4)));
    EXPECT_EQ("0000", textOf(std::showbase, HexValue(0, 4)));
}

TEST(HexValue, IsWrittenTheSameInEachLocale)
{
    std::ostringstream stream;
    stream.imbue(groupingLocale());
    stream << HexValue(0x12345678, 10);
    EXPECT_EQ("0012345678", stream.str());

    const GlobalLocale locale;
    EXPECT_EQ("12345678", textOf(HexValue(0x12345678, 0)));
}
