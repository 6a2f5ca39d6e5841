// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Velmora
{

/// The hash and the comparison of parameter names, for tables that are searched on hot paths.
namespace NameHash
{

inline std::uint64_t wordAt(const char* in_pText)
{
    std::uint64_t uiWord = 0;
    std::memcpy(&uiWord, in_pText, sizeof(uiWord));
    return uiWord;
}

/// Multiplies two words and folds the 128 bits of the product into 64: each bit of the result
/// depends on all bits of both.
inline std::uint64_t fold(std::uint64_t in_uiLeft, std::uint64_t in_uiRight)
{
    __extension__ using Product = unsigned __int128;
    const Product product = static_cast<Product>(in_uiLeft) * in_uiRight;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Returns whether two names are equal, without a call of `memcmp`.
inline bool isEqual(std::string_view in_left, std::string_view in_right)
{
    const std::size_t uiLength = in_left.size();
    if (uiLength != in_right.size())
        return false;
    const char* const pLeft = in_left.data();
    const char* const pRight = in_right.data();
    constexpr std::size_t uiWord = sizeof(std::uint64_t);
    if (uiLength < uiWord)
        return std::equal(pLeft, pLeft + uiLength, pRight);
    for (std::size_t i = 0; i + uiWord < uiLength; i += uiWord)
        if (wordAt(pLeft + i) != wordAt(pRight + i))
            return false;
    // The last word may overlap the one before.
    return wordAt(pLeft + uiLength - uiWord) == wordAt(pRight + uiLength - uiWord);
}

/// Returns the hash of a name.
///
/// Takes four words at a time, in two chains of multiplications that the processor computes in
/// parallel. The last two words may overlap those before, or be made of a short text's bytes. Names
/// are not chosen to collide, so the constants are no secret: they are fractions of irrational
/// numbers.
[[gnu::always_inline]] inline std::uint32_t hashOf(std::string_view in_key)
{
    constexpr std::uint64_t uiFirst = 0x9e3779b97f4a7c15;
    constexpr std::uint64_t uiSecond = 0xb7e151628aed2a6b;
    const char* pText = in_key.data();
    std::size_t uiLeft = in_key.size();
    std::uint64_t uiHash = uiFirst ^ uiLeft;
    std::uint64_t uiOther = uiSecond;
    std::uint64_t uiLow = 0;
    std::uint64_t uiHigh = 0;
    if (uiLeft > 16)
    {
        for (; uiLeft > 32; uiLeft -= 32, pText += 32)
        {
            uiHash = fold(wordAt(pText) ^ uiSecond, wordAt(pText + 8) ^ uiHash);
            uiOther = fold(wordAt(pText + 16) ^ uiFirst, wordAt(pText + 24) ^ uiOther);
        }
        if (uiLeft > 16)
            uiOther = fold(wordAt(pText) ^ uiFirst, wordAt(pText + 8) ^ uiOther);
        uiLow = wordAt(pText + uiLeft - 16);
        uiHigh = wordAt(pText + uiLeft - 8);
    }
    else if (uiLeft >= 8)
    {
        uiLow = wordAt(pText);
        uiHigh = wordAt(pText + uiLeft - 8);
    }
    else
        for (std::size_t i = 0; i != uiLeft; ++i)
            uiLow = uiLow << 8 | static_cast<unsigned char>(pText[i]);
    uiHash = fold(uiLow ^ uiSecond, uiHigh ^ uiHash) ^ uiOther;
    return static_cast<std::uint32_t>(uiHash ^ uiHash >> 32);
}

} // namespace NameHash

} // namespace Velmora
