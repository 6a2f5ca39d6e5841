// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/URL.h"

#include <gtest/gtest.h>

#include <string>

using namespace Velmora;

namespace
{

std::string decoded(const std::string& in_strEncoded)
{
    std::string strDecoded = "what was there";
    URL::decode(in_strEncoded, strDecoded);
    return strDecoded;
}

} // namespace

TEST(URL, DecodesAPlusToABlank) { EXPECT_EQ("a b", decoded("a+b")); }

TEST(URL, DecodesAPercentWithTwoDigitsToAByte)
{
    EXPECT_EQ("aA", decoded("a%41"));
    EXPECT_EQ("/\xFF/", decoded("%2f%Ff%2F"));
    EXPECT_EQ(std::string("a\0b", 3), decoded("a%00b"));
}

TEST(URL, KeepsAPercentWithLessThanTwoDigits)
{
    EXPECT_EQ("a%2", decoded("a%2"));
    EXPECT_EQ("a%", decoded("a%"));
    EXPECT_EQ("%g1", decoded("%g1"));
    EXPECT_EQ("%1g", decoded("%1g"));
    EXPECT_EQ("% 1", decoded("%+1"));
    EXPECT_EQ("%-1", decoded("%-1"));
    EXPECT_EQ("%0x", decoded("%0x"));
}

TEST(URL, GoesOnRightBehindAPercentThatItKeeps)
{
    EXPECT_EQ("%A", decoded("%%41"));
    EXPECT_EQ("%2A", decoded("%2%41"));
}

TEST(URL, DoesNotDecodeWhatItDecoded) { EXPECT_EQ("%41+", decoded("%2541%2B")); }

TEST(URL, CopiesAllElse)
{
    EXPECT_EQ("a/b?c=d&e#f", decoded("a/b?c=d&e#f"));
    EXPECT_EQ("", decoded(""));
}

TEST(URL, DecodesAStringInPlace)
{
    std::string strText = "a%41+";
    URL::decode(strText, strText);
    EXPECT_EQ("aA ", strText);
}
