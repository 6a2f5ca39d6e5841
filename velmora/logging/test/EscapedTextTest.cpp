// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/EscapedText.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace Velmora::Test
{

namespace
{

std::string escaped(std::string_view in_text)
{
    std::string strEscaped;
    EscapedText::append(strEscaped, in_text);
    return strEscaped;
}

/// Returns the text of an escaped one; "(refused)" if there is none.
std::string readBack(std::string_view in_escaped)
{
    std::string strText;
    return EscapedText::read(strText, in_escaped) ? strText : "(refused)";
}

/// Returns a code point in the form of UTF-8 for its size, surrogates included.
std::string encoded(unsigned int in_uiCodePoint)
{
    const auto byte = [](unsigned int in_uiByte) { return static_cast<char>(in_uiByte); };
    if (in_uiCodePoint < 0x80)
        return {byte(in_uiCodePoint)};
    if (in_uiCodePoint < 0x800)
        return {byte(0xc0 | in_uiCodePoint >> 6), byte(0x80 | (in_uiCodePoint & 0x3f))};
    if (in_uiCodePoint < 0x10000)
        return {byte(0xe0 | in_uiCodePoint >> 12), byte(0x80 | (in_uiCodePoint >> 6 & 0x3f)),
                byte(0x80 | (in_uiCodePoint & 0x3f))};
    return {byte(0xf0 | in_uiCodePoint >> 18), byte(0x80 | (in_uiCodePoint >> 12 & 0x3f)),
            byte(0x80 | (in_uiCodePoint >> 6 & 0x3f)), byte(0x80 | (in_uiCodePoint & 0x3f))};
}

} // namespace

TEST(EscapedText, PlainTextStaysAsItIs)
{
    EXPECT_EQ("", escaped(""));
    EXPECT_EQ("INVITE sip:bob@192.0.2.1 \"Bob\" {%d}\t'x'~",
              escaped("INVITE sip:bob@192.0.2.1 \"Bob\" {%d}\t'x'~"));
    EXPECT_EQ("Gr\xc3\xbc\xc3\x9f\x65, \xe4\xbd\xa0\xe5\xa5\xbd \xf0\x9f\x93\x9e",
              escaped("Gr\xc3\xbc\xc3\x9f\x65, \xe4\xbd\xa0\xe5\xa5\xbd \xf0\x9f\x93\x9e"));
}

TEST(EscapedText, EndsOfLinesAndBackslashesHaveShortForms)
{
    EXPECT_EQ("a\\nb\\r\\nc\\\\n", escaped("a\nb\r\nc\\n"));
}

TEST(EscapedText, EachOtherControlByteIsHexadecimalButTheTab)
{
    EXPECT_EQ("\\x00\\x01\t\\x0b\\x0c\\x1b[31m\\x1f\\x7f",
              escaped(std::string_view("\0\1\t\v\f\x1b[31m\x1f\x7f", 12)));
}

TEST(EscapedText, AByteThatIsNoUtf8IsHexadecimal)
{
    EXPECT_EQ("\\x80", escaped("\x80")) << "a continuation alone";
    EXPECT_EQ("\\xc3", escaped("\xc3")) << "cut at the end";
    EXPECT_EQ("\\xc3(", escaped("\xc3("));
    EXPECT_EQ("\\xc0\\x8a", escaped("\xc0\x8a")) << "a line feed in two bytes";
    EXPECT_EQ("\\xe0\\x80\\x8a", escaped("\xe0\x80\x8a")) << "and in three";
    EXPECT_EQ("\\xf0\\x80\\x80\\x8a", escaped("\xf0\x80\x80\x8a")) << "and in four";
    EXPECT_EQ("\\xed\\xa0\\x80", escaped("\xed\xa0\x80")) << "a surrogate";
    EXPECT_EQ("\\xf4\\x90\\x80\\x80", escaped("\xf4\x90\x80\x80")) << "above U+10FFFF";
    EXPECT_EQ("\\xf8\\x88\\x80\\x80\\x80", escaped("\xf8\x88\x80\x80\x80")) << "five bytes";
    EXPECT_EQ("\\xff\\xfe", escaped("\xff\xfe"));
}

TEST(EscapedText, WhatEndsALineOrTurnsItsDirectionIsWrittenByItsCodePoint)
{
    EXPECT_EQ("\\u0085", escaped("\xc2\x85")) << "next line";
    EXPECT_EQ("\\u009b", escaped("\xc2\x9b")) << "control sequence introducer";
    EXPECT_EQ("\xc2\xa0", escaped("\xc2\xa0")) << "a blank is none";
    EXPECT_EQ("\\u2028\\u2029", escaped("\xe2\x80\xa8\xe2\x80\xa9"));
    for (const unsigned int uiMark : {0x61c, 0x200e, 0x200f, 0x202a, 0x202b, 0x202c, 0x202d, 0x202e,
                                      0x2066, 0x2067, 0x2068, 0x2069})
    {
        const std::string strEscaped = escaped(encoded(uiMark));
        EXPECT_EQ('\\', strEscaped.front()) << uiMark;
        EXPECT_EQ(uiMark, std::stoul(strEscaped.substr(2), nullptr, 16));
    }
    EXPECT_EQ("\xe2\x80\x8d", escaped("\xe2\x80\x8d")) << "a joiner, as in a family";
    EXPECT_EQ("\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5\xe2\x81\xaa",
              escaped("\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5\xe2\x81\xaa"))
        << "the neighbours of those";
}

TEST(EscapedText, ASpecialByteIsFoundAtEachPlace)
{
    for (std::size_t uiLength = 1; uiLength != 40; ++uiLength)
        for (std::size_t uiPlace = 0; uiPlace != uiLength; ++uiPlace)
            for (const char cSpecial : {'\n', '\x1f', '\x7f', '\x80', '\xff', '\\', '\0'})
            {
                std::string strText(uiLength, 'a');
                strText[uiPlace] = cSpecial;
                const std::string strEscaped = escaped(strText);
                EXPECT_EQ(uiPlace, strEscaped.find('\\'));
                EXPECT_EQ(strText, readBack(strEscaped));
            }
}

TEST(EscapedText, EveryCodePointIsReadBack)
{
    for (unsigned int uiCodePoint = 0; uiCodePoint <= 0x110000; ++uiCodePoint)
    {
        const std::string strText = encoded(uiCodePoint) + '.';
        const std::string strEscaped = escaped(strText);
        ASSERT_EQ(strText, readBack(strEscaped)) << uiCodePoint;
        ASSERT_EQ(std::string::npos, strEscaped.find('\n')) << uiCodePoint;
    }
}

TEST(EscapedText, AnyBytesAreReadBackAndAreOneLineOfUtf8)
{
    std::mt19937 random(7);
    // Bytes that begin or continue characters and escaped forms come often.
    constexpr std::string_view often = "\\nrxu09afg\n\r\t\x1b\x7f\x80\xa8\xc2\xe2\x80\xf0\xff";
    for (int i = 0; i != 20000; ++i)
    {
        std::string strText(random() % 40, '\0');
        for (char& cByte : strText)
            cByte = random() % 4 != 0 ? often[random() % often.size()]
                                      : static_cast<char>(random() & 0xff);
        const std::string strEscaped = escaped(strText);
        ASSERT_EQ(strText, readBack(strEscaped));
        std::size_t uiCharacters = 0;
        for (std::string_view rest = strEscaped; !rest.empty(); ++uiCharacters)
        {
            const std::size_t uiLength = EscapedText::lengthOfFirst(rest);
            // Nothing is escaped again but backslashes: what is left is one line of UTF-8.
            const std::string_view first = rest.substr(0, uiLength);
            ASSERT_TRUE(first.front() == '\\' || escaped(first) == first) << strEscaped;
            rest.remove_prefix(uiLength);
        }
        ASSERT_LE(uiCharacters, strText.size());
    }
}

TEST(EscapedText, ReadsDigitsOfEitherCaseAndWhatWasNeverEscaped)
{
    EXPECT_EQ("\x1b\x1b", readBack("\\x1b\\x1B"));
    EXPECT_EQ("\xe2\x80\xae", readBack("\\u202E"));
    EXPECT_EQ("A", readBack("\\u0041"));
    EXPECT_EQ("line\nline", readBack("line\nline"));
}

TEST(EscapedText, RefusesABackslashThatBeginsNoFormAndChangesNothing)
{
    for (const char* const szText : {"\\", "a\\", "\\t", "\\x", "\\x1", "\\x1g", "\\u", "\\u202",
                                     "\\u202g", "\\\\\\", "fine \\n \\q"})
    {
        std::string strText = "before";
        EXPECT_FALSE(EscapedText::read(strText, szText)) << szText;
        EXPECT_EQ("before", strText) << szText;
    }
}

TEST(EscapedText, TheFirstCharacterIsAFormACharacterOrAByte)
{
    EXPECT_EQ(0U, EscapedText::lengthOfFirst(""));
    EXPECT_EQ(1U, EscapedText::lengthOfFirst("ab"));
    EXPECT_EQ(2U, EscapedText::lengthOfFirst("\\n2"));
    EXPECT_EQ(2U, EscapedText::lengthOfFirst("\\\\n"));
    EXPECT_EQ(4U, EscapedText::lengthOfFirst("\\x1b2"));
    EXPECT_EQ(6U, EscapedText::lengthOfFirst("\\u202e2"));
    EXPECT_EQ(1U, EscapedText::lengthOfFirst("\\q"));
    EXPECT_EQ(3U, EscapedText::lengthOfFirst("\xe2\x82\xac\xe2"));
    EXPECT_EQ(1U, EscapedText::lengthOfFirst("\xe2\x82"));
}

TEST(EscapedText, ACutLeavesCharactersWhole)
{
    const std::string strEuros = "\xe2\x82\xac\xe2\x82\xac";
    EXPECT_EQ(6U, EscapedText::lengthOfWholeCharacters(strEuros, 6));
    EXPECT_EQ(6U, EscapedText::lengthOfWholeCharacters(strEuros, 100));
    EXPECT_EQ(3U, EscapedText::lengthOfWholeCharacters(strEuros, 5));
    EXPECT_EQ(3U, EscapedText::lengthOfWholeCharacters(strEuros, 4));
    EXPECT_EQ(3U, EscapedText::lengthOfWholeCharacters(strEuros, 3));
    EXPECT_EQ(0U, EscapedText::lengthOfWholeCharacters(strEuros, 2));
    EXPECT_EQ(0U, EscapedText::lengthOfWholeCharacters(strEuros, 0));
    EXPECT_EQ(4U, EscapedText::lengthOfWholeCharacters("aaa\xf0\x9f\x93\x9e", 4) + 1U);
    EXPECT_EQ(4U, EscapedText::lengthOfWholeCharacters("\x80\x80\x80\x80\x80\x80", 4))
        << "no characters, so any cut";
    EXPECT_EQ(2U, EscapedText::lengthOfWholeCharacters("\xe2\x82zzz", 2));
}

} // namespace Velmora::Test
