// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/StringHelpers.h"

#include "velmora/system/StringVector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace Velmora;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::string withoutChars(std::string in_strText, const std::string& in_strChars)
{
    return strRemoveChar(in_strText, in_strChars);
}

std::string replaced(const std::string& in_strFrom, const std::string& in_strTo,
                     std::string in_strText)
{
    return strFindAndReplace(in_strFrom, in_strTo, in_strText);
}

StringVector tokensOf(const char* in_szText)
{
    StringVector tokens("what was there");
    strTokenize(in_szText, tokens, ',');
    return tokens;
}

} // namespace

TEST(StringHelpers, LowerCaseOfACharacter)
{
    EXPECT_EQ('a', toLower('A'));
    EXPECT_EQ('z', toLower('Z'));
    EXPECT_EQ('a', toLower('a'));
    EXPECT_EQ('@', toLower('@'));
    EXPECT_EQ('[', toLower('['));
}

TEST(StringHelpers, UpperCaseOfACharacter)
{
    EXPECT_EQ('A', toUpper('a'));
    EXPECT_EQ('Z', toUpper('z'));
    EXPECT_EQ('A', toUpper('A'));
    EXPECT_EQ('`', toUpper('`'));
    EXPECT_EQ('{', toUpper('{'));
}

TEST(StringHelpers, LettersAreThoseOfAscii)
{
    EXPECT_EQ('\xC4', toLower('\xC4'));
    EXPECT_EQ('\xE4', toUpper('\xE4'));
}

TEST(StringHelpers, LowerCaseOfAStringInPlace)
{
    std::string strText = "AbC-1Z";
    EXPECT_EQ(&strText, &strToLower(strText));
    EXPECT_EQ("abc-1z", strText);
}

TEST(StringHelpers, UpperCaseOfAStringInPlace)
{
    std::string strText = "AbC-1z";
    EXPECT_EQ(&strText, &strToUpper(strText));
    EXPECT_EQ("ABC-1Z", strText);
}

TEST(StringHelpers, RemovingACharacterLeavesTheSecondOfTwoSideBySide)
{
    EXPECT_EQ("ab", withoutChars("aab", "a"));
    EXPECT_EQ("a", withoutChars("aaa", "a"));
    EXPECT_EQ("aa", withoutChars("aaaa", "a"));
}

TEST(StringHelpers, RemovingACharacterTwiceClearsTwoSideBySide)
{
    std::string strText = "aab";
    EXPECT_EQ(&strText, &strRemoveChar(strText, "a"));
    strRemoveChar(strText, "a");
    EXPECT_EQ("b", strText);
}

TEST(StringHelpers, RemovingCharactersTakesEachInTurn)
{
    EXPECT_EQ("cd", withoutChars("acbd", "ab"));
    // Without the first character, two of the second are adjacent.
    EXPECT_EQ("b", withoutChars("bab", "ab"));
    EXPECT_EQ("", withoutChars("bab", "bab"));
    EXPECT_EQ("abc", withoutChars("abc", ""));
    EXPECT_EQ("", withoutChars("", "a"));
}

TEST(StringHelpers, TokensStandBetweenDelimiters)
{
    EXPECT_THAT(tokensOf("a,bc,d"), ElementsAre("a", "bc", "d"));
    EXPECT_THAT(tokensOf("a"), ElementsAre("a"));
}

TEST(StringHelpers, TokensMayBeEmpty)
{
    EXPECT_THAT(tokensOf("a,,b"), ElementsAre("a", "", "b"));
    EXPECT_THAT(tokensOf("a,"), ElementsAre("a", ""));
    EXPECT_THAT(tokensOf(",a"), ElementsAre("", "a"));
    EXPECT_THAT(tokensOf(","), ElementsAre("", ""));
}

TEST(StringHelpers, AnEmptyTextHasNoTokens)
{
    EXPECT_THAT(tokensOf(""), IsEmpty());
    EXPECT_THAT(tokensOf(nullptr), IsEmpty());
}

TEST(StringHelpers, TrimOnTheLeft)
{
    EXPECT_EQ("a b ", ltrim(" \ta b ", " \t"));
    EXPECT_EQ("a", ltrim("a", " "));
    EXPECT_EQ(" a", ltrim(" a", ""));
    EXPECT_EQ("", ltrim("", " "));
}

TEST(StringHelpers, TrimOnTheRight)
{
    EXPECT_EQ(" a b", rtrim(" a b \t", " \t"));
    EXPECT_EQ("a", rtrim("a", " "));
    EXPECT_EQ("a ", rtrim("a ", ""));
    EXPECT_EQ("", rtrim("", " "));
}

TEST(StringHelpers, ABlankStringBecomesEmptyOnTheLeftAndStaysOnTheRight)
{
    EXPECT_EQ("", ltrim("   ", " "));
    EXPECT_EQ("   ", rtrim("   ", " "));
}

TEST(StringHelpers, ReplacesAllOccurrences)
{
    EXPECT_EQ("x.x.b", replaced("a", "x", "a.a.b"));
    EXPECT_EQ("b", replaced("aa", "", "aab"));
    EXPECT_EQ("abc", replaced("x", "y", "abc"));
    EXPECT_EQ("xa", replaced("aa", "x", "aaa"));
    EXPECT_EQ("", replaced("a", "b", ""));
}

TEST(StringHelpers, DoesNotSearchWhatItPutIn)
{
    EXPECT_EQ("aabaab", replaced("a", "aab", "aa"));
    // A match that results at the border of a replacement is not found either.
    EXPECT_EQ("ab", replaced("aab", "a", "aabb"));
}

TEST(StringHelpers, ReplacesInPlace)
{
    std::string strText = "a";
    EXPECT_EQ(&strText, &strFindAndReplace("a", "b", strText));
    EXPECT_EQ("b", strText);
}

TEST(StringHelpers, ReplacesNothingForAnEmptyText)
{
    EXPECT_EQ("abc", replaced("", "x", "abc"));
    EXPECT_EQ("abc", replaced("", "", "abc"));
    EXPECT_EQ("", replaced("", "x", ""));
}

TEST(StringHelpers, HexadecimalDigitOfANibble)
{
    EXPECT_EQ('0', bin2Hex(0));
    EXPECT_EQ('9', bin2Hex(9));
    EXPECT_EQ('A', bin2Hex(10));
    EXPECT_EQ('F', bin2Hex(15));
}

TEST(StringHelpers, ThereIsNoDigitAbove15)
{
    EXPECT_EQ('?', bin2Hex(16));
    EXPECT_EQ('?', bin2Hex(0xFFFFFFFF));
}

TEST(StringHelpers, HexadecimalTextOfABufferIsAppended)
{
    const unsigned char bytes[] = {0x00, 0x0A, 0xF0, 0xFF};
    std::string strText = "0x";
    EXPECT_TRUE(bin2Hex(bytes, sizeof bytes, strText));
    EXPECT_EQ("0x000AF0FF", strText);
    EXPECT_TRUE(bin2Hex(bytes, 2, strText));
    EXPECT_EQ("0x000AF0FF000A", strText);
}

TEST(StringHelpers, HexadecimalTextOfNothingIsEmpty)
{
    const unsigned char byte = 1;
    std::string strText = "x";
    EXPECT_TRUE(bin2Hex(&byte, 0, strText));
    EXPECT_TRUE(bin2Hex(nullptr, 0, strText));
    EXPECT_EQ("x", strText);
}

TEST(StringHelpers, ANullBufferWithALengthHasNoHexadecimalText)
{
    std::string strText = "x";
    EXPECT_FALSE(bin2Hex(nullptr, 1, strText));
    EXPECT_EQ("x", strText);
}
