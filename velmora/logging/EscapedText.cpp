// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/EscapedText.h"

#include "velmora/system/ClassicText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

namespace Velmora::EscapedText
{

namespace
{

/// A character of UTF-8.
struct Character
{
    std::size_t uiLength = 0;
    char32_t uiCodePoint = 0;
};

unsigned char byteAt(std::string_view in_text, std::size_t in_uiIndex)
{
    return static_cast<unsigned char>(in_text[in_uiIndex]);
}

/// Returns the character at the beginning of a text, which is not empty. Returns nothing if the
/// first byte begins no well-formed character.
std::optional<Character> firstCharacter(std::string_view in_text)
{
    const unsigned char uiLead = byteAt(in_text, 0);
    if (uiLead < 0x80)
        return Character{1, uiLead};
    // The lead bytes of two, three and four bytes, and the smallest code point of that length.
    std::size_t uiLength = 0;
    char32_t uiCodePoint = 0;
    char32_t uiSmallest = 0;
    if ((uiLead & 0xe0) == 0xc0)
    {
        uiLength = 2;
        uiCodePoint = uiLead & 0x1f;
        uiSmallest = 0x80;
    }
    else if ((uiLead & 0xf0) == 0xe0)
    {
        uiLength = 3;
        uiCodePoint = uiLead & 0x0f;
        uiSmallest = 0x800;
    }
    else if ((uiLead & 0xf8) == 0xf0)
    {
        uiLength = 4;
        uiCodePoint = uiLead & 0x07;
        uiSmallest = 0x10000;
    }
    if (uiLength == 0 || in_text.size() < uiLength)
        return std::nullopt;
    for (std::size_t i = 1; i != uiLength; ++i)
    {
        const unsigned char uiByte = byteAt(in_text, i);
        if ((uiByte & 0xc0) != 0x80)
            return std::nullopt;
        uiCodePoint = uiCodePoint << 6 | (uiByte & 0x3f);
    }
    const bool bIsSurrogate = uiCodePoint >= 0xd800 && uiCodePoint <= 0xdfff;
    if (uiCodePoint < uiSmallest || uiCodePoint > 0x10ffff || bIsSurrogate)
        return std::nullopt;
    return Character{uiLength, uiCodePoint};
}

/// Returns whether a character above U+007F is written by its code point: a control character, a
/// line or paragraph separator, or one that changes the direction of text.
bool isEscapedCodePoint(char32_t in_uiCodePoint)
{
    return in_uiCodePoint <= 0x9f || in_uiCodePoint == 0x61c || in_uiCodePoint == 0x200e ||
           in_uiCodePoint == 0x200f || (in_uiCodePoint >= 0x2028 && in_uiCodePoint <= 0x202e) ||
           (in_uiCodePoint >= 0x2066 && in_uiCodePoint <= 0x2069);
}

void appendHex(std::string& inout_strText, char in_cForm, unsigned int in_uiValue, int in_iDigits)
{
    inout_strText += '\\';
    inout_strText += in_cForm;
    for (int iShift = 4 * (in_iDigits - 1); iShift >= 0; iShift -= 4)
        inout_strText += "0123456789abcdef"[in_uiValue >> iShift & 0xf];
}

/// Returns whether a byte stays as it is and is a character of its own.
constexpr bool isPlain(unsigned char in_uiByte)
{
    return (in_uiByte >= ' ' && in_uiByte < 0x7f && in_uiByte != '\\') || in_uiByte == '\t';
}

/// Returns the number of plain bytes at the beginning of a text. Looks at eight bytes at a time;
/// TABs, which are rare, are found by the loop over single bytes.
std::size_t countPlain(std::string_view in_text)
{
    constexpr std::uint64_t uiOnes = 0x0101010101010101;
    constexpr std::uint64_t uiHighBits = 0x80 * uiOnes;
    // Sets the high bit of each byte that is zero, and maybe of those above it.
    const auto zeros = [](std::uint64_t in_uiWord)
    { return (in_uiWord - uiOnes) & ~in_uiWord & uiHighBits; };
    std::size_t uiPlain = 0;
    for (; uiPlain + sizeof(std::uint64_t) <= in_text.size(); uiPlain += sizeof(std::uint64_t))
    {
        std::uint64_t uiWord = 0;
        std::memcpy(&uiWord, in_text.data() + uiPlain, sizeof uiWord);
        const std::uint64_t uiBelowBlank = (uiWord - uiOnes * ' ') & ~uiWord & uiHighBits;
        if (((uiWord & uiHighBits) | uiBelowBlank | zeros(uiWord ^ uiOnes * '\\') |
             zeros(uiWord ^ uiOnes * 0x7f)) != 0)
            break;
    }
    while (uiPlain != in_text.size() && isPlain(byteAt(in_text, uiPlain)))
        ++uiPlain;
    return uiPlain;
}

/// Appends the first character of a text, which is not plain. Returns its length.
std::size_t appendFirst(std::string& inout_strEscaped, std::string_view in_text)
{
    switch (in_text.front())
    {
    case '\\':
        inout_strEscaped += "\\\\";
        return 1;
    case '\n':
        inout_strEscaped += "\\n";
        return 1;
    case '\r':
        inout_strEscaped += "\\r";
        return 1;
    default:
        break;
    }
    const std::optional<Character> character = firstCharacter(in_text);
    if (!character || character->uiLength == 1)
    {
        appendHex(inout_strEscaped, 'x', byteAt(in_text, 0), 2);
        return 1;
    }
    if (isEscapedCodePoint(character->uiCodePoint))
        appendHex(inout_strEscaped, 'u', character->uiCodePoint, 4);
    else
        inout_strEscaped.append(in_text.substr(0, character->uiLength));
    return character->uiLength;
}

/// Returns the value of the hexadecimal digits in a text; nothing if it has others or is too short.
std::optional<unsigned int> readHex(std::string_view in_text, std::size_t in_uiDigits)
{
    if (in_text.size() < in_uiDigits)
        return std::nullopt;
    unsigned int uiValue = 0;
    for (const char cDigit : in_text.substr(0, in_uiDigits))
    {
        const unsigned int uiDigit = ClassicText::valueOfHexDigit(cDigit);
        if (uiDigit == ClassicText::s_uiNoDigit)
            return std::nullopt;
        uiValue = uiValue << 4 | uiDigit;
    }
    return uiValue;
}

/// Returns the length of the form that a backslash begins; 0 if it begins none.
std::size_t lengthOfForm(std::string_view in_escaped)
{
    if (in_escaped.size() < 2)
        return 0;
    switch (in_escaped[1])
    {
    case '\\':
    case 'n':
    case 'r':
        return 2;
    case 'x':
        return readHex(in_escaped.substr(2), 2) ? 4 : 0;
    case 'u':
        return readHex(in_escaped.substr(2), 4) ? 6 : 0;
    default:
        return 0;
    }
}

void appendCodePoint(std::string& inout_strText, unsigned int in_uiCodePoint)
{
    const auto trailing = [in_uiCodePoint](int in_iShift)
    { return static_cast<char>(0x80 | (in_uiCodePoint >> in_iShift & 0x3f)); };
    if (in_uiCodePoint < 0x80)
        inout_strText += static_cast<char>(in_uiCodePoint);
    else if (in_uiCodePoint < 0x800)
        inout_strText += {static_cast<char>(0xc0 | in_uiCodePoint >> 6), trailing(0)};
    else
        inout_strText += {static_cast<char>(0xe0 | in_uiCodePoint >> 12), trailing(6), trailing(0)};
}

void appendForm(std::string& inout_strText, std::string_view in_form)
{
    switch (in_form[1])
    {
    case 'n':
        inout_strText += '\n';
        return;
    case 'r':
        inout_strText += '\r';
        return;
    case 'x':
        inout_strText += static_cast<char>(*readHex(in_form.substr(2), 2));
        return;
    case 'u':
        appendCodePoint(inout_strText, *readHex(in_form.substr(2), 4));
        return;
    default:
        inout_strText += '\\';
    }
}

} // namespace

void append(std::string& inout_strEscaped, std::string_view in_text)
{
    while (!in_text.empty())
    {
        const std::size_t uiPlain = countPlain(in_text);
        inout_strEscaped.append(in_text.substr(0, uiPlain));
        in_text.remove_prefix(uiPlain);
        if (!in_text.empty())
            in_text.remove_prefix(appendFirst(inout_strEscaped, in_text));
    }
}

bool read(std::string& inout_strText, std::string_view in_escaped)
{
    const std::size_t uiBefore = inout_strText.size();
    for (std::size_t uiForm = 0; !in_escaped.empty(); in_escaped.remove_prefix(uiForm))
    {
        const std::size_t uiRaw = std::min(in_escaped.find('\\'), in_escaped.size());
        inout_strText.append(in_escaped.substr(0, uiRaw));
        in_escaped.remove_prefix(uiRaw);
        uiForm = lengthOfForm(in_escaped);
        if (uiForm == 0 && !in_escaped.empty())
        {
            inout_strText.resize(uiBefore);
            return false;
        }
        if (uiForm != 0)
            appendForm(inout_strText, in_escaped);
    }
    return true;
}

std::size_t lengthOfFirst(std::string_view in_escaped)
{
    if (in_escaped.empty())
        return 0;
    if (in_escaped.front() == '\\')
        return std::max(lengthOfForm(in_escaped), std::size_t{1});
    const std::optional<Character> character = firstCharacter(in_escaped);
    return character ? character->uiLength : 1;
}

std::size_t lengthOfWholeCharacters(std::string_view in_text, std::size_t in_uiMost)
{
    if (in_text.size() <= in_uiMost)
        return in_text.size();
    // The character that holds the byte behind the cut begins at most three bytes before it.
    for (std::size_t uiBack = 1; uiBack <= std::min<std::size_t>(in_uiMost, 3); ++uiBack)
    {
        const std::optional<Character> character =
            firstCharacter(in_text.substr(in_uiMost - uiBack));
        if (character && character->uiLength > uiBack)
            return in_uiMost - uiBack;
    }
    return in_uiMost;
}

} // namespace Velmora::EscapedText
