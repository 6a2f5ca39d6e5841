// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/HexValue.h"

#include "tests/support/Locales.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

using namespace Velmora;
using namespace Velmora::Test;

namespace
{

template <class... Part>
std::string written(const Part&... in_parts)
{
    std::ostringstream stream;
    (stream << ... << in_parts);
    return stream.str();
}

} // namespace

TEST(HexValue, IsWrittenWithZerosInFront)
{
    EXPECT_EQ("000a", written(HexValue(10, 4)));
    EXPECT_EQ("ffffffffffffffff", written(HexValue(~0UL, 2)));
    EXPECT_EQ("0", written(HexValue(0, 0)));
}

TEST(HexValue, LeavesTheBaseOfTheStream)
{
    EXPECT_EQ("10 0a 10", written(10, ' ', HexValue(10, 2), ' ', 10));
    EXPECT_EQ("0a 12", written(std::oct, HexValue(10, 2), ' ', 10));
}

TEST(HexValue, LeavesTheFillOfTheStream)
{
    EXPECT_EQ("0a**1", written(std::setfill('*'), HexValue(10, 2), std::setw(3), 1));
}

TEST(HexValue, LeavesTheOtherFlagsToTheStream)
{
    EXPECT_EQ("000A", written(std::uppercase, HexValue(10, 4)));
}

TEST(HexValue, KnowsItsValueAndWidth)
{
    const HexValue value(255, 4);
    EXPECT_EQ(255U, value.getValue());
    EXPECT_EQ(4, value.getWidth());
}

TEST(HexValue, ShowsTheBaseWhereTheStreamDoes)
{
    EXPECT_EQ("00xa", written(std::showbase, HexValue(10, 4)));
    EXPECT_EQ("00XA", written(std::showbase, std::uppercase, HexValue(10, 4)));
    EXPECT_EQ("0x0a", written(std::showbase, std::internal, HexValue(10, 4)));
    EXPECT_EQ("0000", written(std::showbase, HexValue(0, 4)));
}

TEST(HexValue, IsWrittenTheSameInEachLocale)
{
    std::ostringstream stream;
    stream.imbue(groupingLocale());
    stream << HexValue(0x12345678, 10);
    EXPECT_EQ("0012345678", stream.str());

    const GlobalLocale locale;
    EXPECT_EQ("12345678", written(HexValue(0x12345678, 0)));
}
