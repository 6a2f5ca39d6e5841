// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/LMHashFcn.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

using namespace Velmora;

namespace
{

std::size_t stepByStep(const std::string& in_strKey)
{
    std::uint64_t uiHash = 0;
    for (const char c : in_strKey)
        uiHash = 5 * uiHash + static_cast<std::uint64_t>(static_cast<std::int64_t>(c));
    return uiHash;
}

} // namespace

TEST(LMHashFcn, ACharacterIsItsOwnHash)
{
    EXPECT_EQ(LMHashFcn<char>()('a'), 97U);
    EXPECT_EQ(LMHashFcn<char>()('\0'), 0U);
}

TEST(LMHashFcn, ANegativeCharacterIsAVeryLargeNumber)
{
    EXPECT_EQ(LMHashFcn<char>()('\xFF'), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(LMHashFcn<char>()('\x80'), 0xFFFFFFFFFFFFFF80U);
}

TEST(LMHashFcn, AStringAddsEachCharacterToFiveTimesWhatWasBefore)
{
    EXPECT_EQ(LMHashFcn<std::string>()(""), 0U);
    EXPECT_EQ(LMHashFcn<std::string>()("a"), 97U);
    EXPECT_EQ(LMHashFcn<std::string>()("ab"), 5U * 97 + 98);
    EXPECT_EQ(LMHashFcn<std::string>()("abcde"), 625U * 97 + 125 * 98 + 25 * 99 + 5 * 100 + 101);
}

TEST(LMHashFcn, AStringTakesNegativeCharactersAsNegative)
{
    EXPECT_EQ(LMHashFcn<std::string>()("\xFF"), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(LMHashFcn<std::string>()("b\xFF"), 5U * 98 - 1);
}

TEST(LMHashFcn, AStringIsHashedToItsLengthNotToATerminator)
{
    EXPECT_EQ(LMHashFcn<std::string>()(std::string("a\0b", 3)), 25U * 97 + 98);
}

TEST(LMHashFcn, StringsOfAnyLengthAreHashedStepByStep)
{
    std::mt19937 random(1);
    for (std::size_t uiLength = 0; uiLength != 200; ++uiLength)
    {
        std::string strKey(uiLength, '\0');
        for (char& c : strKey)
            c = static_cast<char>(random());
        EXPECT_EQ(LMHashFcn<std::string>()(strKey), stepByStep(strKey));
    }
}
