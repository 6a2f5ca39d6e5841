// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

/// The bytes and characters of a text that may be UTF-8.
///
/// Thread-safety: all operations may be called on any thread.
namespace Velmora::Utf8
{

/// A character of UTF-8.
struct Character
{
    std::size_t uiLength = 0;
    char32_t uiCodePoint = 0;
};

inline unsigned char byteAt(std::string_view in_text, std::size_t in_uiIndex)
{
    return static_cast<unsigned char>(in_text[in_uiIndex]);
}

/// Returns the character at the beginning of a text, which is not empty. Returns nothing if the
/// first byte begins no well-formed character.
inline std::optional<Character> first(std::string_view in_text)
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

/// Returns whether a character above U+007F ends a line, controls a terminal or changes the
/// direction of text: a control character, a line or paragraph separator, or one with the property
/// Bidi_Control.
constexpr bool isHidden(char32_t in_uiCodePoint)
{
    return in_uiCodePoint <= 0x9f || in_uiCodePoint == 0x61c || in_uiCodePoint == 0x200e ||
           in_uiCodePoint == 0x200f || (in_uiCodePoint >= 0x2028 && in_uiCodePoint <= 0x202e) ||
           (in_uiCodePoint >= 0x2066 && in_uiCodePoint <= 0x2069);
}

/// Returns whether a byte is a visible character of ASCII or a blank, and not a backslash.
constexpr bool isPlain(unsigned char in_uiByte)
{
    return in_uiByte >= ' ' && in_uiByte < 0x7f && in_uiByte != '\\';
}

/// Returns the number of plain bytes at the beginning of a text. Looks at eight bytes at a time.
inline std::size_t countPlain(std::string_view in_text)
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

} // namespace Velmora::Utf8
