// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/ClassicText.h"

#include <gtest/gtest.h>

#include <limits>
#include <locale>
#include <string>

namespace Velmora::Test
{

namespace
{

/// All values of a byte.
std::string allCharacters()
{
    std::string strCharacters;
    for (int i = std::numeric_limits<char>::min(); i <= std::numeric_limits<char>::max(); ++i)
        strCharacters += static_cast<char>(i);
    return strCharacters;
}

const std::locale& classic() { return std::locale::classic(); }

} // namespace

TEST(ClassicText, HasTheCharactersOfTheClassicLocale)
{
    for (const char character : allCharacters())
    {
        EXPECT_EQ(std::isspace(character, classic()), ClassicText::isBlank(character)) << character;
        EXPECT_EQ(std::isdigit(character, classic()), ClassicText::isDigit(character)) << character;
        EXPECT_EQ(std::isupper(character, classic()), ClassicText::isUpperCase(character))
            << character;
        EXPECT_EQ(std::islower(character, classic()), ClassicText::isLowerCase(character))
            << character;
        EXPECT_EQ(std::isalpha(character, classic()), ClassicText::isLetter(character))
            << character;
    }
}

TEST(ClassicText, ChangesTheCaseAsTheClassicLocaleDoes)
{
    for (const char character : allCharacters())
    {
        EXPECT_EQ(std::tolower(character, classic()), ClassicText::toLower(character)) << character;
        EXPECT_EQ(std::toupper(character, classic()), ClassicText::toUpper(character)) << character;
    }
}

TEST(ClassicText, GivesEachHexadecimalDigitItsValue)
{
    const std::string strDigits = "0123456789abcdef";
    for (const char character : allCharacters())
    {
        const std::size_t uiDigit = strDigits.find(std::tolower(character, classic()));
        EXPECT_EQ(uiDigit == std::string::npos ? ClassicText::s_uiNoDigit : uiDigit,
                  ClassicText::valueOfHexDigit(character))
            << character;
    }
}

TEST(ClassicText, SkipsTheBlanksAtTheBeginning)
{
    EXPECT_STREQ("a ", ClassicText::skipBlanks(" \t\n\v\f\ra "));
    EXPECT_STREQ("a", ClassicText::skipBlanks("a"));
    EXPECT_STREQ("", ClassicText::skipBlanks("  "));
    EXPECT_STREQ("", ClassicText::skipBlanks(""));
}

TEST(ClassicText, TrimsTheBlanksAtTheEndAndNothingBeforeTheBeginning)
{
    const auto trimmed = [](const std::string& in_strText, std::size_t in_uiBegin)
    {
        const char* const pBegin = in_strText.data() + in_uiBegin;
        return std::string(pBegin,
                           ClassicText::trimEnd(pBegin, in_strText.data() + in_strText.size()));
    };
    EXPECT_EQ(" a b", trimmed(" a b \t\n\v\f\r", 0));
    EXPECT_EQ("a", trimmed("a", 0));
    EXPECT_EQ("", trimmed("   ", 1));
    EXPECT_EQ("", trimmed("", 0));
}

TEST(ClassicText, ComparesWithALowerCaseWordInAnyCase)
{
    for (const char* const szText : {"true", "TRUE", "tRuE"})
        EXPECT_TRUE(ClassicText::equalsIgnoringCase(szText, "true")) << szText;
    for (const char* const szText : {"", "tru", "truer", "trve", "t\xD2ue", "\x14rue"})
        EXPECT_FALSE(ClassicText::equalsIgnoringCase(szText, "true")) << szText;
}

TEST(ClassicText, NamesABool)
{
    EXPECT_STREQ("true", ClassicText::ofBool(true));
    EXPECT_STREQ("false", ClassicText::ofBool(false));
}

} // namespace Velmora::Test
