// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <emmintrin.h>

#include <bit>
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

/// Returns a bit for each of 16 bytes that is not plain: no visible character of ASCII and no
/// blank, or one of the signs.
template <char... Signs>
unsigned int notPlain(__m128i in_bytes)
{
    // The comparison is signed, so that bytes above 0x7f are below the blank as well.
    __m128i found = _mm_or_si128(_mm_cmplt_epi8(in_bytes, _mm_set1_epi8(' ')),
                                 _mm_cmpeq_epi8(in_bytes, _mm_set1_epi8(0x7f)));
    ((found = _mm_or_si128(found, _mm_cmpeq_epi8(in_bytes, _mm_set1_epi8(Signs)))), ...);
    return static_cast<unsigned int>(_mm_movemask_epi8(found));
}

/// Returns the first bytes of a text and the last ones, which may overlap.
template <class Word>
__m128i firstAndLast(std::string_view in_text)
{
    Word first = 0;
    Word last = 0;
    std::memcpy(&first, in_text.data(), sizeof first);
    std::memcpy(&last, in_text.data() + in_text.size() - sizeof last, sizeof last);
    if constexpr (sizeof(Word) == 8)
        return _mm_set_epi64x(static_cast<long long>(last), static_cast<long long>(first));
    else
        return _mm_set_epi32(0, 0, static_cast<int>(last), static_cast<int>(first));
}

/// Returns the number of bytes at the beginning of a text that are visible characters of ASCII or
/// blanks, and none of the signs. Looks at up to 16 bytes at a time.
template <char... Signs>
std::size_t countPlain(std::string_view in_text)
{
    const std::size_t uiSize = in_text.size();
    // Returns the index of the first byte found; the bits begin at an index.
    const auto indexOf = [uiSize](std::size_t in_uiBegin, unsigned int in_uiFound)
    {
        return in_uiFound == 0
                   ? uiSize
                   : in_uiBegin + static_cast<std::size_t>(std::countr_zero(in_uiFound));
    };
    // The same for two words, of which the second ends with the text.
    const auto indexInWords = [&indexOf, uiSize](unsigned int in_uiFound, std::size_t in_uiWord)
    {
        const unsigned int uiFirst = in_uiFound & ((1U << in_uiWord) - 1);
        return uiFirst != 0 ? indexOf(0, uiFirst)
                            : indexOf(uiSize - in_uiWord, in_uiFound >> in_uiWord);
    };
    const auto bytesAt = [in_text](std::size_t in_uiIndex)
    {
        return _mm_loadu_si128(
            reinterpret_cast<const __m128i*>(in_text.data() + in_uiIndex)); // NOLINT: unaligned
    };
    constexpr std::size_t uiStep = sizeof(__m128i);
    if (uiSize >= uiStep)
    {
        for (std::size_t i = 0; i + uiStep <= uiSize; i += uiStep)
            if (const unsigned int uiFound = notPlain<Signs...>(bytesAt(i)); uiFound != 0)
                return indexOf(i, uiFound);
        // Those before have been looked at already.
        return indexOf(uiSize - uiStep, notPlain<Signs...>(bytesAt(uiSize - uiStep)));
    }
    if (uiSize >= sizeof(std::uint64_t))
        return indexInWords(notPlain<Signs...>(firstAndLast<std::uint64_t>(in_text)),
                            sizeof(std::uint64_t));
    if (uiSize >= sizeof(std::uint32_t))
        // The bytes behind the two words are zero.
        return indexInWords(notPlain<Signs...>(firstAndLast<std::uint32_t>(in_text)) & 0xff,
                            sizeof(std::uint32_t));
    for (std::size_t i = 0; i != uiSize; ++i)
        if (const char c = in_text[i]; c < ' ' || c == 0x7f || ((c == Signs) || ...))
            return i;
    return uiSize;
}

} // namespace Velmora::Utf8
