// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/TextFormat.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

using namespace Velmora;

namespace
{

[[gnu::format(printf, 3, 4)]] bool callVformat(std::string& out_strText, unsigned long in_uiMaxSize,
                                               const char* in_szFormat, ...)
{
    std::va_list args;
    va_start(args, in_szFormat);
    const bool bFits = vformat(out_strText, in_uiMaxSize, in_szFormat, args);
    va_end(args);
    return bFits;
}

/// Returns whether a text of this length fits a string of this capacity with this limit.
bool fits(int in_iLength, unsigned long in_uiMaxSize, unsigned long in_uiCapacity = 0)
{
    std::string strText;
    strText.reserve(in_uiCapacity);
    const bool bFits = format(strText, in_uiMaxSize, "%*s", in_iLength, "");
    EXPECT_EQ(bFits ? std::string(static_cast<std::size_t>(in_iLength), ' ') : "???", strText);
    return bFits;
}

} // namespace

TEST(TextFormat, FormatsAsPrintf)
{
    std::string strText = "what was there";
    EXPECT_TRUE(format(strText, "%s has %d of %.1f %%", "it", 42, 0.5));
    EXPECT_EQ("it has 42 of 0.5 %", strText);
    EXPECT_TRUE(format(strText, 200, "%c", 'a'));
    EXPECT_EQ("a", strText);
}

TEST(TextFormat, MayBeEmpty)
{
    std::string strText = "what was there";
    EXPECT_TRUE(format(strText, "%s", ""));
    EXPECT_EQ("", strText);
}

TEST(TextFormat, OfFiveThousandCharactersPassesTheDefaultLimit)
{
    std::string strText;
    EXPECT_FALSE(format(strText, "%5000d", 1));
    EXPECT_EQ("???", strText);
}

TEST(TextFormat, OfFiveThousandCharactersIsMadeWithALimitOf8192)
{
    std::string strText;
    EXPECT_TRUE(format(strText, 8192, "%5000d", 1));
    EXPECT_EQ(std::string(4999, ' ') + '1', strText);
}

TEST(TextFormat, TakesTheDefaultLimitItself)
{
    std::string strText;
    EXPECT_TRUE(format(strText, "%4095d", 1));
    EXPECT_EQ(4095U, strText.size());
    std::string strLonger;
    EXPECT_FALSE(format(strLonger, "%4096d", 1));
    EXPECT_EQ("???", strLonger);
}

TEST(TextFormat, ReadsItsArgumentsAgainWithEachSize)
{
    std::string strText;
    const std::string strLong(1000, 'x');
    EXPECT_TRUE(callVformat(strText, 4096, "%d %s %d", 1, strLong.c_str(), 2));
    EXPECT_EQ("1 " + strLong + " 2", strText);
}

TEST(TextFormat, SizesOnlyDouble)
{
    EXPECT_TRUE(fits(127, 200));
    EXPECT_FALSE(fits(128, 200));
    EXPECT_FALSE(fits(150, 200));
    EXPECT_FALSE(fits(150, 255));
    EXPECT_TRUE(fits(150, 256));
}

TEST(TextFormat, TriesTheFirstSizeWhateverTheLimit)
{
    EXPECT_TRUE(fits(127, 0));
    EXPECT_TRUE(fits(127, 10));
    EXPECT_FALSE(fits(128, 10));
}

TEST(TextFormat, BeginsWithTheCapacityAbove128)
{
    EXPECT_TRUE(fits(299, 10, 300));
    EXPECT_FALSE(fits(300, 10, 300));
    EXPECT_TRUE(fits(300, 600, 300));
    EXPECT_FALSE(fits(300, 599, 300));
    EXPECT_TRUE(fits(127, 0, 100));
}

TEST(TextFormat, HoldsATerminatorThatIsPartOfTheText)
{
    std::string strText;
    EXPECT_TRUE(format(strText, "a%cb", '\0'));
    EXPECT_EQ(std::string("a\0b", 3), strText);
}

TEST(TextFormat, FailsForWhatCannotBeFormatted)
{
    // Not a character of the C locale.
    const wchar_t szWide[] = {0x20AC, 0};
    std::string strText = "what was there";
    EXPECT_FALSE(format(strText, 1000, "%ls", szWide));
    EXPECT_EQ("???", strText);
}
