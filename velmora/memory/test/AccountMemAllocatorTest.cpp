// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/AccountMemAllocator.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TextOf.h"
#include "tests/support/Threads.h"
#include "velmora/Sanitizers.h"
#include "velmora/memory/AceCleanupMemAllocator.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* s_szLogger = "keswardin.infra.MemAllocator";
constexpr std::uint64_t s_uiReleasedWord = 0xFFFFFFFFFFFFFFFF;
constexpr std::uint64_t s_uiReleasedMagic = 0xFFFFFFFFFFFFA583;

std::uint64_t& accountIdOf(void* in_pMemory) { return static_cast<std::uint64_t*>(in_pMemory)[-2]; }

std::uint64_t& magicOf(void* in_pMemory) { return static_cast<std::uint64_t*>(in_pMemory)[-1]; }

/// Returns the class of the chunk for a block of `in_uiSize` bytes and its header.
std::size_t classFor(std::size_t in_uiSize) { return (in_uiSize + 16 + 7) / 8 - 1; }

LogLine invalidIdLine(const void* in_pMemory, const std::string& in_strId)
{
    return errorLine(s_szLogger, "deallocating memory at " + textOf(in_pMemory) +
                                     " that has an invalid memory account id : " + in_strId);
}

LogLine inconsistentLine(const void* in_pMemory, const std::string& in_strOwner,
                         const std::string& in_strPassed)
{
    return errorLine(s_szLogger, "inconsistent account : memory at " + textOf(in_pMemory) +
                                     " is from account " + in_strOwner +
                                     " while the call to deallocate was passed " + in_strPassed);
}

LogLine maximumLine(const std::string& in_strAccount, const std::string& in_strBytes)
{
    return debugLine(s_szLogger,
                     "Memory Account " + in_strAccount + " : max_bytes = " + in_strBytes);
}

LogLine balanceLine(const std::string& in_strAccount, const std::string& in_strBytes)
{
    return warnLine(s_szLogger,
                    "Memory Account " + in_strAccount + " : balance = " + in_strBytes + " byte(s)");
}

FailedAssertion failedCheck(const char* in_szCondition)
{
    return failedAssertion(in_szCondition, "AccountMemAllocator", s_szLogger);
}

constexpr const char* s_szIdCondition = "uiMemAccountId < m_memAccountVector.size()";
constexpr const char* s_szMagicCondition = "*(pSizeT+1) == getMagicToken()";
constexpr const char* s_szNameCondition = "in_szAccountName != 0";

MemAccountInfo info(std::uint64_t in_uiAccountId, std::int32_t in_iBalance,
                    std::int32_t in_iMaximum)
{
    MemAccountInfo result;
    result.uiAccountId = in_uiAccountId;
    result.iBalance = in_iBalance;
    result.iMaximum = in_iMaximum;
    return result;
}

/// Tests one allocator. Captures the log from its construction on.
class AccountMemAllocatorTest : public testing::Test
{
  protected:
    MemAccountInfo accountOf(const char* in_szName) const
    {
        MemAccountInfo result;
        EXPECT_TRUE(m_allocator->getMemAccountInfo(in_szName, result)) << in_szName;
        return result;
    }

    void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        return m_allocator->allocate(in_uiSize, in_szAccountName);
    }

    void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        m_allocator->deallocate(in_pMemory, in_uiSize, in_szAccountName);
    }

    CapturedLog m_log;
    std::optional<AccountMemAllocator> m_allocator{std::in_place, Logger(s_szLogger), true};
};

/// The same with an appender that allocates and releases for each line, and thereby makes an
/// account.
class AccountMemAllocatorWithAllocatingAppender : public AccountMemAllocatorTest
{
  protected:
    CallbackAppender m_appender{
        [this](const std::string&)
        {
            if (!m_allocator || m_bInAppender)
                return;
            m_bInAppender = true;
            const std::string strAccount = "appender" + std::to_string(m_uiNumLines++);
            deallocate(allocate(24, strAccount.c_str()), 24, strAccount.c_str());
            deallocate(allocate(500, "appender"), 500, "appender");
            m_bInAppender = false;
        }};
    unsigned m_uiNumLines = 0;
    bool m_bInAppender = false;
};

} // namespace

TEST(AccountMemAllocatorString, CopiesItsText)
{
    std::string strText = "Trie";
    const AccountMemAllocator::String name(strText.c_str());
    strText = "xxxx";
    EXPECT_STREQ("Trie", name.getText());
    EXPECT_EQ(AccountMemAllocator::String::hashOf("Trie"), name.getHash());
}

TEST(AccountMemAllocatorString, HashStartsAtZeroAndTakesFiveTimesItselfPlusTheCharacter)
{
    EXPECT_EQ(0U, AccountMemAllocator::String::hashOf(""));
    EXPECT_EQ(97U, AccountMemAllocator::String::hashOf("a"));
    EXPECT_EQ(5U * (5U * 97U + 98U) + 99U, AccountMemAllocator::String::hashOf("abc"));
}

TEST(AccountMemAllocatorString, HashExtendsTheSignOfCharacters)
{
    EXPECT_EQ(static_cast<std::size_t>(-1), AccountMemAllocator::String::hashOf("\xFF"));
    EXPECT_EQ(static_cast<std::size_t>(5 * -128 + 1),
              AccountMemAllocator::String::hashOf("\x80\x01"));
}

TEST_F(AccountMemAllocatorTest, GivesNullForASizeOfZeroAndMakesNoAccount)
{
    EXPECT_EQ(nullptr, allocate(0, "test"));
    EXPECT_EQ(nullptr, allocate(0, nullptr));
    MemAccountInfoHash hash;
    m_allocator->getMemAccountInfo(hash);
    EXPECT_THAT(hash, IsEmpty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, GivesNullForASizeThatLeavesNoRoomForTheHeaderAndChargesNobody)
{
    for (const std::size_t uiMissing : {0, 1, 14, 15})
        EXPECT_EQ(nullptr, allocate(SIZE_MAX - uiMissing, "test")) << uiMissing;
    MemAccountInfoHash hash;
    m_allocator->getMemAccountInfo(hash);
    EXPECT_THAT(hash, IsEmpty());
    EXPECT_EQ(0U, m_allocator->getStats(0).uiNumChunkAlloc);
    EXPECT_EQ(0U, m_allocator->getStats(1).uiNumChunkAlloc);
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

TEST_F(AccountMemAllocatorTest, ChargesNothingWhenThereIsNoMemory)
{
    deallocate(allocate(10, "test"), 10, "test");
    {
        const MallocFailure failure;
        EXPECT_EQ(nullptr, allocate(1000, "test"));
    }
    EXPECT_EQ(info(0, 0, 10), accountOf("test"));
}

TEST_F(AccountMemAllocatorTest, GivesNullWhereverTheMemoryForANewAccountEnds)
{
    std::size_t uiNumServed = 0;
    for (void* pMemory = nullptr; pMemory == nullptr; ++uiNumServed)
    {
        {
            const MallocFailure failure(uiNumServed);
            pMemory = allocate(1000, "test");
        }
        deallocate(pMemory, 1000, "test");
    }
    EXPECT_GT(uiNumServed, 3U) << "requests that failed";
    EXPECT_EQ(info(0, 0, 1000), accountOf("test"));
    MemAccountInfoHash hash;
    m_allocator->getMemAccountInfo(hash);
    EXPECT_THAT(hash, SizeIs(1));
}

#endif

TEST_F(AccountMemAllocatorTest, PutsTheAccountIdAndTheMagicInFrontOfTheMemory)
{
    void* const pFirst = allocate(100, "first");
    void* const pSecond = allocate(300, "second");
    EXPECT_EQ(0x5A7CU, AccountMemAllocator::getMagicToken());
    EXPECT_EQ(0U, accountIdOf(pFirst));
    EXPECT_EQ(0x5A7CU, magicOf(pFirst));
    EXPECT_EQ(1U, accountIdOf(pSecond));
    EXPECT_EQ(0x5A7CU, magicOf(pSecond));
    deallocate(pFirst, 100, "first");
    deallocate(pSecond, 300, "second");
}

TEST_F(AccountMemAllocatorTest, AHeaderDoesNotReachIntoTheMemory)
{
    std::vector<char*> blocks;
    for (std::size_t uiSize = 1; uiSize < 400; ++uiSize)
    {
        blocks.push_back(static_cast<char*>(allocate(uiSize, "test")));
        std::memset(blocks.back(), 'x', uiSize);
    }
    for (std::size_t uiSize = 1; uiSize < 400; ++uiSize)
        deallocate(blocks[uiSize - 1], uiSize, "test");
    EXPECT_EQ(0, accountOf("test").iBalance);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, OverwritesTheHeaderBeforeTheBlockGoesBack)
{
    void* const pMemory = allocate(100, "test");
    std::vector<std::uint64_t> header;
    // The free list soon overwrites the first word; this line is logged before that.
    const CallbackAppender appender(
        [&](const std::string& in_strText)
        {
            if (in_strText.rfind("inconsistent account", 0) == 0)
                header = {accountIdOf(pMemory), magicOf(pMemory)};
        });
    deallocate(pMemory, 100, "other");
    EXPECT_THAT(header, ElementsAre(s_uiReleasedWord, s_uiReleasedMagic));
}

TEST_F(AccountMemAllocatorTest, TheComplementOfTheMagicStaysInAReleasedChunk)
{
    void* const pMemory = allocate(100, "test");
    deallocate(pMemory, 100, "test");
    EXPECT_EQ(s_uiReleasedMagic, magicOf(pMemory));
}

TEST_F(AccountMemAllocatorTest, Takes256BytesOfTheChunkClassesFor240)
{
    void* const pMemory = allocate(240, "test");
    EXPECT_EQ(1U, m_allocator->getStats(31).uiNumChunkAlloc);
    deallocate(pMemory, 240, "test");
    EXPECT_EQ(1U, m_allocator->getStats(31).uiNumChunkDealloc);
}

TEST_F(AccountMemAllocatorTest, Takes257BytesFromMallocFor241)
{
    deallocate(allocate(1, "test"), 1, "test");
    std::vector<std::size_t> sizes;
    std::vector<const void*> freed;
    {
        const MallocWatch watch;
        void* const pMemory = allocate(241, "test");
        deallocate(pMemory, 241, "test");
        sizes = watch.sizes();
        freed = watch.freedAmong({static_cast<char*>(pMemory) - 16});
    }
    EXPECT_THAT(sizes, ElementsAre(257U));
    EXPECT_THAT(freed, SizeIs(1));
}

TEST_F(AccountMemAllocatorTest, ANullNameTripsAnAssertionAndChargesDefault)
{
    void* const pMemory = allocate(100, nullptr);
    ASSERT_NE(nullptr, pMemory);
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szNameCondition)));
    EXPECT_THAT(m_log.lines(), SizeIs(1));
    EXPECT_EQ(info(0, 100, 100), accountOf("DEFAULT"));
    m_log.clear();
    deallocate(pMemory, 100, "DEFAULT");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, After100BytesWereReleasedTheBalanceIs0AndTheMaximum100)
{
    deallocate(allocate(100, "test"), 100, "test");
    EXPECT_EQ(info(0, 0, 100), accountOf("test"));
}

TEST_F(AccountMemAllocatorTest, TheMaximumIsTheHighestBalanceEverReached)
{
    void* const pFirst = allocate(60, "test");
    void* const pSecond = allocate(50, "test");
    EXPECT_EQ(info(0, 110, 110), accountOf("test"));
    deallocate(pFirst, 60, "test");
    EXPECT_EQ(info(0, 50, 110), accountOf("test"));
    void* const pThird = allocate(20, "test");
    EXPECT_EQ(info(0, 70, 110), accountOf("test"));
    void* const pFourth = allocate(41, "test");
    EXPECT_EQ(info(0, 111, 111), accountOf("test"));
    deallocate(pSecond, 50, "test");
    deallocate(pThird, 20, "test");
    deallocate(pFourth, 41, "test");
}

TEST_F(AccountMemAllocatorTest, AccountsArePassedIdsInTheOrderOfTheirFirstAllocation)
{
    static_cast<void>(allocate(1, "one"));
    static_cast<void>(allocate(2, "two"));
    static_cast<void>(allocate(3, "one"));
    static_cast<void>(allocate(4, "three"));
    EXPECT_EQ(info(0, 4, 4), accountOf("one"));
    EXPECT_EQ(info(1, 2, 2), accountOf("two"));
    EXPECT_EQ(info(2, 4, 4), accountOf("three"));
}

TEST_F(AccountMemAllocatorTest, AnAccountIsThereFromItsFirstAllocationAndForGood)
{
    MemAccountInfo found = info(7, 8, 9);
    EXPECT_FALSE(m_allocator->getMemAccountInfo("test", found));
    EXPECT_EQ(info(7, 8, 9), found);
    void* const pMemory = allocate(1, "test");
    EXPECT_TRUE(m_allocator->getMemAccountInfo("test", found));
    deallocate(pMemory, 1, "test");
    EXPECT_TRUE(m_allocator->getMemAccountInfo("test", found));
    EXPECT_EQ(info(0, 0, 1), found);
}

TEST_F(AccountMemAllocatorTest, NeitherAskingNorReleasingMakesAnAccount)
{
    MemAccountInfo found;
    EXPECT_FALSE(m_allocator->getMemAccountInfo("asked", found));
    deallocate(allocate(1, "test"), 1, "passed");
    MemAccountInfoHash hash;
    m_allocator->getMemAccountInfo(hash);
    EXPECT_THAT(hash, SizeIs(1));
}

TEST_F(AccountMemAllocatorTest, AnAccountKeepsACopyOfItsName)
{
    std::array<char, 6> szName{"first"};
    static_cast<void>(allocate(10, szName.data()));
    szName = {"other"};
    static_cast<void>(allocate(1, szName.data()));
    EXPECT_EQ(info(0, 10, 10), accountOf("first"));
    EXPECT_EQ(info(1, 1, 1), accountOf("other"));
}

TEST_F(AccountMemAllocatorTest, NamesOfOneHashAreDifferentAccounts)
{
    ASSERT_EQ(AccountMemAllocator::String::hashOf("af"), AccountMemAllocator::String::hashOf("ba"));
    static_cast<void>(allocate(1, "af"));
    static_cast<void>(allocate(2, "ba"));
    EXPECT_EQ(info(0, 1, 1), accountOf("af"));
    EXPECT_EQ(info(1, 2, 2), accountOf("ba"));
}

TEST_F(AccountMemAllocatorTest, EqualNamesAtDifferentPlacesAreOneAccount)
{
    const std::string strFirst = "test";
    const std::string strSecond = "test";
    void* const pMemory = allocate(10, strFirst.c_str());
    deallocate(pMemory, 10, strSecond.c_str());
    EXPECT_EQ(info(0, 0, 10), accountOf("test"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, AnEmptyNameIsAnAccountToo)
{
    deallocate(allocate(10, ""), 10, "");
    EXPECT_EQ(info(0, 0, 10), accountOf(""));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, KeepsManyAccountsApart)
{
    MemAccountInfoHash expected;
    for (std::uint64_t uiAccount = 0; uiAccount < 1000; ++uiAccount)
    {
        const std::string strName = "account" + std::to_string(uiAccount);
        const std::int32_t iSize = 1 + static_cast<std::int32_t>(uiAccount % 240);
        expected[strName] = info(uiAccount, iSize, iSize);
        static_cast<void>(allocate(static_cast<std::size_t>(iSize), strName.c_str()));
    }
    for (const auto& [strName, account] : expected)
        EXPECT_EQ(account, accountOf(strName.c_str()));
    MemAccountInfoHash hash;
    m_allocator->getMemAccountInfo(hash);
    EXPECT_EQ(expected, hash);
}

TEST_F(AccountMemAllocatorTest, AskingForANullNameTripsAnAssertionAndGivesFalse)
{
    MemAccountInfo found = info(7, 8, 9);
    EXPECT_FALSE(m_allocator->getMemAccountInfo(nullptr, found));
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szNameCondition)));
    EXPECT_THAT(m_log.lines(), SizeIs(1));
    EXPECT_EQ(info(7, 8, 9), found);
}

TEST_F(AccountMemAllocatorTest, GivesAllAccountsByName)
{
    void* const pFirst = allocate(10, "first");
    void* const pSecond = allocate(20, "second");
    MemAccountInfoHash hash;
    m_allocator->getMemAccountInfo(hash);
    EXPECT_THAT(hash, testing::UnorderedElementsAre(testing::Pair("first", info(0, 10, 10)),
                                                    testing::Pair("second", info(1, 20, 20))));
    deallocate(pFirst, 10, "first");
    deallocate(pSecond, 20, "second");
    m_allocator->getMemAccountInfo(hash);
    EXPECT_THAT(hash, testing::UnorderedElementsAre(testing::Pair("first", info(0, 0, 10)),
                                                    testing::Pair("second", info(1, 0, 20))));
}

TEST_F(AccountMemAllocatorTest, ReleasingNullOrASizeOfZeroDoesNothing)
{
    void* const pMemory = allocate(10, "test");
    deallocate(nullptr, 10, "test");
    deallocate(pMemory, 0, "test");
    EXPECT_EQ(info(0, 10, 10), accountOf("test"));
    EXPECT_EQ(0x5A7CU, magicOf(pMemory));
    EXPECT_THAT(m_log.lines(), IsEmpty());
    deallocate(pMemory, 10, "test");
}

TEST_F(AccountMemAllocatorTest, ReleasingWithANullNameCreditsTheAccountSilently)
{
    deallocate(allocate(10, "test"), 10, nullptr);
    EXPECT_EQ(info(0, 0, 10), accountOf("test"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, ReleasingWithAnotherNameReportsItAndCreditsTheAccountOfOrigin)
{
    static_cast<void>(allocate(5, "passed"));
    void* const pMemory = allocate(10, "owner");
    deallocate(pMemory, 10, "passed");
    EXPECT_THAT(m_log.lines(), ElementsAre(inconsistentLine(pMemory, "owner", "passed")));
    EXPECT_EQ(info(1, 0, 10), accountOf("owner"));
    EXPECT_EQ(info(0, 5, 5), accountOf("passed"));
    EXPECT_EQ(1U, m_allocator->getStats(classFor(10)).uiNumChunkDealloc);
}

TEST_F(AccountMemAllocatorTest, ReleasingAChunkTwiceReportsAnInvalidIdAndTouchesNothing)
{
    void* const pMemory = allocate(10, "test");
    deallocate(pMemory, 10, "test");
    deallocate(pMemory, 10, "test");

    EXPECT_THAT(m_log.lines(),
                ElementsAre(invalidIdLine(pMemory, "18446744073709551615"), testing::_));
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szIdCondition)));
    EXPECT_EQ(info(0, 0, 10), accountOf("test"));
    EXPECT_EQ(1U, m_allocator->getStats(classFor(10)).uiNumChunkDealloc);
    EXPECT_EQ(pMemory, allocate(10, "test"));
    EXPECT_NE(pMemory, allocate(10, "test")) << "the free list must have it once";
}

TEST_F(AccountMemAllocatorTest, ReleasingAChunkTwiceIsReportedWhereverItIsAmongTheFreeOnes)
{
    std::vector<void*> chunks(200);
    for (void*& pChunk : chunks)
        pChunk = allocate(10, "test");
    for (void* const pChunk : chunks)
        deallocate(pChunk, 10, "test");
    for (void* const pChunk : chunks)
    {
        m_log.clear();
        deallocate(pChunk, 10, "test");
        EXPECT_THAT(m_log.lines(),
                    ElementsAre(invalidIdLine(pChunk, "18446744073709551615"), testing::_));
        EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szIdCondition)));
    }
    std::set<void*> again;
    for (std::size_t uiChunk = 0; uiChunk < chunks.size(); ++uiChunk)
        again.insert(allocate(10, "test"));
    EXPECT_EQ(std::set<void*>(chunks.begin(), chunks.end()), again);
}

TEST_F(AccountMemAllocatorTest, ReleasingMemoryWithAnInvalidIdReportsItAndDoesNotFreeTheBlock)
{
    void* const pMemory = allocate(10, "test");
    accountIdOf(pMemory) = 1;
    deallocate(pMemory, 10, "other");
    EXPECT_THAT(m_log.lines(), ElementsAre(invalidIdLine(pMemory, "1"), testing::_));
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szIdCondition)));
    EXPECT_EQ(info(0, 10, 10), accountOf("test"));
    EXPECT_EQ(0U, m_allocator->getStats(classFor(10)).uiNumChunkDealloc);
    EXPECT_EQ(1U, accountIdOf(pMemory));
    EXPECT_EQ(0x5A7CU, magicOf(pMemory));

    m_log.clear();
    accountIdOf(pMemory) = 0;
    deallocate(pMemory, 10, "test");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, AnInvalidIdIsReportedBeforeABrokenMagic)
{
    void* const pMemory = allocate(10, "test");
    accountIdOf(pMemory) = 12345678901234567890U;
    magicOf(pMemory) = 0;
    deallocate(pMemory, 10, "test");
    EXPECT_THAT(m_log.lines(),
                ElementsAre(invalidIdLine(pMemory, "12345678901234567890"), testing::_));
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szIdCondition)));
    EXPECT_EQ(0U, magicOf(pMemory));
}

TEST_F(AccountMemAllocatorTest, ABrokenMagicTripsAnAssertionAndTheReleaseGoesOn)
{
    void* const pMemory = allocate(10, "test");
    magicOf(pMemory) = 0xA5C7;
    deallocate(pMemory, 10, "test");
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szMagicCondition)));
    EXPECT_THAT(m_log.lines(), SizeIs(1));
    EXPECT_EQ(info(0, 0, 10), accountOf("test"));
    EXPECT_EQ(s_uiReleasedMagic, magicOf(pMemory));
    EXPECT_EQ(pMemory, allocate(10, "test"));
}

TEST_F(AccountMemAllocatorTest, ABrokenMagicIsReportedBeforeAWrongName)
{
    void* const pMemory = allocate(10, "test");
    magicOf(pMemory) = 0;
    deallocate(pMemory, 10, "other");
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szMagicCondition)));
    EXPECT_THAT(m_log.lines(), ElementsAre(testing::_, inconsistentLine(pMemory, "test", "other")));
}

TEST_F(AccountMemAllocatorTest, AWrongSizeLeavesTheBalanceWrongUnnoticed)
{
    deallocate(allocate(100, "test"), 97, "test");
    EXPECT_EQ(info(0, 3, 100), accountOf("test"));
    deallocate(allocate(97, "test"), 104, "test");
    EXPECT_EQ(info(0, -4, 100), accountOf("test"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, ABalanceBeyondTwoToThe31Wraps)
{
    constexpr std::size_t uiGibibyte = std::size_t{1} << 30;
    void* const pFirst = allocate(uiGibibyte, "test");
    ASSERT_NE(nullptr, pFirst);
    EXPECT_EQ(info(0, 1073741824, 1073741824), accountOf("test"));
    void* const pSecond = allocate(uiGibibyte, "test");
    ASSERT_NE(nullptr, pSecond);
    EXPECT_EQ(info(0, std::numeric_limits<std::int32_t>::min(), 1073741824), accountOf("test"));
    m_allocator->logMemAccountingStats();
    EXPECT_THAT(m_log.lines(),
                ElementsAre(maximumLine("test", "1073741824"), balanceLine("test", "-2147483648")));
    deallocate(pFirst, uiGibibyte, "test");
    deallocate(pSecond, uiGibibyte, "test");
    EXPECT_EQ(info(0, 0, 1073741824), accountOf("test"));
}

TEST_F(AccountMemAllocatorTest, ASizeCountsWithItsLowest32Bits)
{
    constexpr std::size_t uiSize = (std::size_t{1} << 32) + 5;
    void* const pMemory = allocate(uiSize, "test");
    ASSERT_NE(nullptr, pMemory);
    EXPECT_EQ(info(0, 5, 5), accountOf("test"));
    deallocate(pMemory, uiSize, "test");
    EXPECT_EQ(info(0, 0, 5), accountOf("test"));
}

TEST_F(AccountMemAllocatorTest, ARequestThatMallocRefusesGivesNullAndIsNotCharged)
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "sanitizers end the process on a request of this size";
#else
    EXPECT_EQ(nullptr, allocate(std::numeric_limits<std::size_t>::max() / 2 + 100, "test"));
    EXPECT_EQ(0, accountOf("test").iBalance);
#endif
}

TEST_F(AccountMemAllocatorTest, LogsMaximaAtDebugAndBalancesAtWarnInIdOrder)
{
    static_cast<void>(allocate(30, "zebra"));
    deallocate(allocate(20, "middle"), 20, "middle");
    static_cast<void>(allocate(10, "ant"));
    m_allocator->logMemAccountingStats();
    EXPECT_THAT(m_log.lines(), ElementsAre(maximumLine("zebra", "30"), balanceLine("zebra", "30"),
                                           maximumLine("middle", "20"), maximumLine("ant", "10"),
                                           balanceLine("ant", "10")));
}

TEST_F(AccountMemAllocatorTest, LogsNothingWithoutAccounts)
{
    m_allocator->logMemAccountingStats();
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AccountMemAllocatorTest, LogsTheAccountsAndThenTheChunksWhenItDies)
{
    static_cast<void>(allocate(8, "test"));
    m_allocator.reset();
    std::vector<LogLine> expected{maximumLine("test", "8"), balanceLine("test", "8")};
    for (int iChunkSize = 8; iChunkSize <= 256; iChunkSize += 8)
    {
        const std::string strClass = std::to_string(iChunkSize) + " bytes ChunkAllocator";
        if (iChunkSize == 24)
            expected.push_back(warnLine(s_szLogger, "Memory leak in " + strClass));
        const std::string strCount = iChunkSize == 24 ? "1" : "0";
        expected.push_back(debugLine(
            s_szLogger, "Allocation stats for " + strClass + "\nNum malloc        = " + strCount +
                            "\nNum chunk alloc   = " + strCount + "\nNum chunk dealloc = 0"));
    }
    EXPECT_EQ(expected, m_log.lines());
}

TEST(AccountMemAllocator, TracesTheScopesOfItsBase)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        const AccountMemAllocator allocator(Logger(s_szLogger), false);
        EXPECT_EQ(2U + 32U, log.lines().size());
    }
    const std::vector<LogLine> lines = log.lines();
    EXPECT_EQ(traceLine(s_szLogger, "entering MemAllocatorNoT::MemAllocatorNoT"), lines.front());
    EXPECT_EQ(traceLine(s_szLogger, "exiting MemAllocatorNoT::~MemAllocatorNoT"), lines.back());
}

TEST(AccountMemAllocator, LogsWithTheLoggerThatItWasGiven)
{
    const CapturedLog log;
    AccountMemAllocator allocator(Logger("keswardin.test.Other"), false);
    MemAccountInfo found;
    EXPECT_FALSE(allocator.getMemAccountInfo(nullptr, found));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion(s_szNameCondition, "AccountMemAllocator",
                                            "keswardin.test.Other")));
}

TEST(AccountMemAllocator, DiesThroughItsCleanup)
{
    CapturedLog log;
    auto* const pAllocator = new AceCleanupAccountMemAllocator(Logger(s_szLogger), true);
    static_cast<void>(pAllocator->allocate(8, "test"));
    ACE_Cleanup* const pCleanup = pAllocator;
    pCleanup->cleanup();
    const std::vector<LogLine> lines = log.lines();
    EXPECT_THAT(lines, SizeIs(2 + 32 + 1));
    EXPECT_EQ(maximumLine("test", "8"), lines.front());
}

TEST_F(AccountMemAllocatorWithAllocatingAppender, ADoubleReleaseIsReported)
{
    void* const pMemory = allocate(24, "test");
    deallocate(pMemory, 24, "test");
    deallocate(pMemory, 24, "test");
    EXPECT_THAT(m_log.lines(),
                ElementsAre(invalidIdLine(pMemory, "18446744073709551615"), testing::_));
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szIdCondition)));
    EXPECT_EQ(2U, m_uiNumLines);
    EXPECT_EQ(0, accountOf("appender").iBalance);
}

TEST_F(AccountMemAllocatorWithAllocatingAppender, AWrongNameIsReported)
{
    void* const pMemory = allocate(24, "test");
    deallocate(pMemory, 24, "other");
    EXPECT_THAT(m_log.lines(), ElementsAre(inconsistentLine(pMemory, "test", "other")));
    EXPECT_EQ(1U, m_uiNumLines);
    EXPECT_EQ(0, accountOf("test").iBalance);
    EXPECT_EQ(0, accountOf("appender").iBalance);
}

TEST_F(AccountMemAllocatorWithAllocatingAppender, ABrokenHeaderIsReported)
{
    void* const pMemory = allocate(24, "test");
    magicOf(pMemory) = 1;
    deallocate(pMemory, 24, "test");
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szMagicCondition)));
    EXPECT_EQ(1U, m_uiNumLines);
    EXPECT_EQ(0, accountOf("appender").iBalance);
}

TEST_F(AccountMemAllocatorWithAllocatingAppender, NullNamesAreReported)
{
    MemAccountInfo found;
    void* const pMemory = allocate(24, nullptr);
    EXPECT_FALSE(m_allocator->getMemAccountInfo(nullptr, found));
    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedCheck(s_szNameCondition), failedCheck(s_szNameCondition)));
    EXPECT_EQ(2U, m_uiNumLines);
    deallocate(pMemory, 24, nullptr);
}

TEST_F(AccountMemAllocatorWithAllocatingAppender, TheAccountsAreLogged)
{
    static_cast<void>(allocate(24, "first"));
    static_cast<void>(allocate(24, "second"));
    m_allocator->logMemAccountingStats();
    EXPECT_THAT(m_log.lines(),
                ElementsAre(maximumLine("first", "24"), balanceLine("first", "24"),
                            maximumLine("second", "24"), balanceLine("second", "24")))
        << "accounts that are made while it logs are not among them";
    EXPECT_EQ(4U, m_uiNumLines);
}

TEST_F(AccountMemAllocatorTest, AccountsStayExactWhenThreadsReleaseWhatOthersAllocated)
{
    std::array<std::atomic<void*>, 64> places{};
    const auto exchange = [&](const char* in_szAccount, unsigned in_uiStep)
    {
        for (unsigned uiRound = 0; uiRound < 5000; ++uiRound)
        {
            const std::size_t uiPlace = uiRound * in_uiStep % places.size();
            void* const pMemory = allocate(1 + uiPlace, in_szAccount);
            std::memset(pMemory, 'x', 1 + uiPlace);
            deallocate(places[uiPlace].exchange(pMemory), 1 + uiPlace, nullptr);
        }
    };
    std::thread first(exchange, "first", 7U);
    std::thread second(exchange, "second", 13U);
    first.join();
    second.join();
    for (std::size_t uiPlace = 0; uiPlace < places.size(); ++uiPlace)
        deallocate(places[uiPlace], 1 + uiPlace, nullptr);
    EXPECT_EQ(0, accountOf("first").iBalance);
    EXPECT_EQ(0, accountOf("second").iBalance);
    EXPECT_THAT(m_log.lines(), IsEmpty());
    m_allocator.reset();
    EXPECT_THAT(m_log.lines(), testing::Each(testing::Field(&LogLine::level, DEBUG_LOG_LEVEL)));
}

TEST_F(AccountMemAllocatorTest, ThreadsThatUseOneAccountLoseNoByte)
{
    onThreads(4,
              [this]
              {
                  for (int iRound = 0; iRound < 1000; ++iRound)
                  {
                      deallocate(allocate(100, "shared"), 100, "shared");
                      static_cast<void>(allocate(3, "shared"));
                  }
              });
    EXPECT_EQ(4 * 1000 * 3, accountOf("shared").iBalance);
    EXPECT_EQ(4000U, m_allocator->getStats(classFor(3)).uiNumChunkAlloc);
    EXPECT_EQ(4000U, m_allocator->getStats(classFor(100)).uiNumChunkDealloc);
}

TEST_F(AccountMemAllocatorTest, ThreadsThatMakeTheSameAccountsAgreeOnThem)
{
    onThreads(4,
              [this]
              {
                  for (int iAccount = 0; iAccount < 200; ++iAccount)
                      static_cast<void>(allocate(1, std::to_string(iAccount).c_str()));
              });
    std::set<std::uint64_t> ids;
    for (int iAccount = 0; iAccount < 200; ++iAccount)
    {
        const MemAccountInfo found = accountOf(std::to_string(iAccount).c_str());
        EXPECT_EQ(4, found.iBalance);
        EXPECT_EQ(4, found.iMaximum);
        ids.insert(found.uiAccountId);
    }
    EXPECT_THAT(ids, SizeIs(200));
    EXPECT_EQ(199U, *ids.rbegin());
}

TEST_F(AccountMemAllocatorTest, ReportsWhileOtherThreadsWork)
{
    RepeatingThreads worker(
        1, [this, uiRound = 0U]() mutable
        { deallocate(allocate(100, std::to_string(uiRound++ % 50).c_str()), 100, nullptr); });
    for (int iRound = 0; iRound < 200; ++iRound)
    {
        m_allocator->logMemAccountingStats();
        MemAccountInfoHash hash;
        m_allocator->getMemAccountInfo(hash);
        for (const auto& [strName, account] : hash)
            EXPECT_THAT(account.iBalance, testing::AnyOf(0, 100));
    }
    worker.stop();
    EXPECT_THAT(m_log.lines(), testing::Each(testing::Field(
                                   &LogLine::strText, testing::StartsWith("Memory Account "))));
}

} // namespace Velmora::Test
