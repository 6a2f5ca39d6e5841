// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemAccountInfo.h"

#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

namespace Velmora::Test
{

namespace
{

MemAccountInfo info(std::uint64_t in_uiAccountId, std::int32_t in_iBalance,
                    std::int32_t in_iMaximum)
{
    MemAccountInfo result;
    result.uiAccountId = in_uiAccountId;
    result.iBalance = in_iBalance;
    result.iMaximum = in_iMaximum;
    return result;
}

} // namespace

TEST(MemAccountInfo, StartsAtZero) { EXPECT_EQ(info(0, 0, 0), MemAccountInfo()); }

TEST(MemAccountInfo, IsEqualInAllThreeFields)
{
    EXPECT_TRUE(info(1, 2, 3) == info(1, 2, 3));
    EXPECT_FALSE(info(1, 2, 3) == info(9, 2, 3));
    EXPECT_FALSE(info(1, 2, 3) == info(1, 9, 3));
    EXPECT_FALSE(info(1, 2, 3) == info(1, 2, 9));
}

TEST(MemAccountInfo, WritesIdBalanceAndMaximum)
{
    EXPECT_EQ("account-id=1 bytes-allocated=22 max-bytes-allocated=333", written(info(1, 22, 333)));
}

TEST(MemAccountInfo, WritesTheWholeRangeOfItsFields)
{
    EXPECT_EQ("account-id=18446744073709551615 bytes-allocated=-2147483648 "
              "max-bytes-allocated=2147483647",
              written(info(std::numeric_limits<std::uint64_t>::max(),
                           std::numeric_limits<std::int32_t>::min(),
                           std::numeric_limits<std::int32_t>::max())));
}

TEST(MemAccountInfo, IsStreamedAsItIsWritten)
{
    EXPECT_EQ(written(info(1, 22, 333)), textOf(info(1, 22, 333)));
}

TEST(MemAccountInfo, LargerMaxBytesReturnsWhetherTheFirstHasTheLargerMaximum)
{
    const MemAccountInfo::LargerMaxBytes larger;
    EXPECT_TRUE(larger(info(1, 0, 3), info(2, 9, 2)));
    EXPECT_FALSE(larger(info(2, 9, 2), info(1, 0, 3)));
    EXPECT_FALSE(larger(info(9, 9, 3), info(1, 1, 3)));
}

TEST(MemAccountInfo, LargerMaxBytesComparesWithSign)
{
    EXPECT_TRUE(MemAccountInfo::LargerMaxBytes()(info(0, 0, 0), info(0, 0, -1)));
}

TEST(MemAccountInfoWithName, WritesItsNameBeforeTheInfo)
{
    const MemAccountInfoWithName account("Trie", info(4, 5, 6));
    EXPECT_EQ("Trie : account-id=4 bytes-allocated=5 max-bytes-allocated=6", written(account));
    EXPECT_EQ(written(account), textOf(account));
}

TEST(MemAccountInfoWithName, IsTheInfoWithAName)
{
    const MemAccountInfoWithName account("Trie", info(4, 5, 6));
    EXPECT_EQ("Trie", account.strName);
    EXPECT_EQ(info(4, 5, 6), static_cast<const MemAccountInfo&>(account));
}

TEST(MemAccountInfoHash, WritesNothingWhenItIsEmpty)
{
    EXPECT_EQ("", written(MemAccountInfoHash()));
}

TEST(MemAccountInfoHash, WritesASingleEntryWithoutALineEnd)
{
    MemAccountInfoHash hash;
    hash["Trie"] = info(4, 5, 6);
    EXPECT_EQ("Trie : account-id=4 bytes-allocated=5 max-bytes-allocated=6", written(hash));
}

TEST(MemAccountInfoHash, WritesTheEntryWithTheLargestMaximumFirst)
{
    MemAccountInfoHash hash;
    hash["small"] = info(0, 9, 10);
    hash["large"] = info(1, 7, 1000);
    hash["medium"] = info(2, 8, 100);
    hash["wrapped"] = info(3, 6, -1);
    EXPECT_EQ("large : account-id=1 bytes-allocated=7 max-bytes-allocated=1000\n"
              "medium : account-id=2 bytes-allocated=8 max-bytes-allocated=100\n"
              "small : account-id=0 bytes-allocated=9 max-bytes-allocated=10\n"
              "wrapped : account-id=3 bytes-allocated=6 max-bytes-allocated=-1",
              written(hash));
    EXPECT_EQ(written(hash), textOf(hash));
}

TEST(MemAccountInfoHash, WritesTwoAccountsWithTheSameMaximumInEitherOrder)
{
    MemAccountInfoHash hash;
    hash["one"] = info(1, 0, 10);
    hash["two"] = info(2, 0, 10);
    const std::string strOne = "one : account-id=1 bytes-allocated=0 max-bytes-allocated=10";
    const std::string strTwo = "two : account-id=2 bytes-allocated=0 max-bytes-allocated=10";
    EXPECT_THAT(written(hash), testing::AnyOf(strOne + "\n" + strTwo, strTwo + "\n" + strOne));
}

TEST(MemAccountInfoHash, WritesManyEntriesInFallingOrder)
{
    MemAccountInfoHash hash;
    std::string strExpected;
    for (int iAccount = 0; iAccount < 100; ++iAccount)
    {
        hash["account" + std::to_string(iAccount)] = info(0, 0, iAccount);
        strExpected =
            "account" + std::to_string(iAccount) +
            " : account-id=0 bytes-allocated=0 max-bytes-allocated=" + std::to_string(iAccount) +
            (iAccount == 0 ? "" : "\n") + strExpected;
    }
    EXPECT_EQ(strExpected, written(hash));
}

TEST(MemAccountInfo, IsWrittenTheSameInEachLocale)
{
    const std::string strExpected =
        "account-id=1234567 bytes-allocated=-2345678 max-bytes-allocated=3456789";
    std::ostringstream text;
    text.imbue(groupingLocale());
    text << info(1234567, -2345678, 3456789);
    EXPECT_EQ(strExpected, text.str());

    const GlobalLocale locale;
    EXPECT_EQ(strExpected, written(info(1234567, -2345678, 3456789)));
}

} // namespace Velmora::Test
