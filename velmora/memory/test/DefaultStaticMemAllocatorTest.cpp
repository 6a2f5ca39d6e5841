// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/DefaultStaticMemAllocator.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/memory/MemAccounting.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

// Tests run without VELMORA_MEM_ACCOUNTING. Processes with it are tested in tests/memory.

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.infra.MemAllocator";

/// Returns whether the inline path finds a free chunk of 8 bytes on the calling thread.
bool hasFreeChunk()
{
    DefaultStaticMemAllocator::deallocate(DefaultStaticMemAllocator::allocate(8, "test"), 8,
                                          "test");
    return !ThreadCaches::defaultMagazine(0).isEmpty();
}

MemAccountInfo accountOf(const char* in_szName)
{
    MemAccountInfo result;
    EXPECT_TRUE(StaticAccountMemAllocator::getMemAccountInfo(in_szName, result));
    return result;
}

} // namespace

TEST(StaticMemAllocator, IsOneAllocatorForTheProcess)
{
    StaticMemAllocator::Allocator* const pAllocator = StaticMemAllocator::getAllocator();
    ASSERT_NE(nullptr, pAllocator);
    EXPECT_EQ(pAllocator, StaticMemAllocator::getAllocator());
    std::thread([pAllocator] { EXPECT_EQ(pAllocator, StaticMemAllocator::getAllocator()); }).join();
}

TEST(StaticMemAllocator, AllocatesAndReleasesThroughIt)
{
    const auto before = StaticMemAllocator::getAllocator()->getStats(12);
    void* const pMemory = StaticMemAllocator::allocate(100, "test");
    EXPECT_NE(nullptr, pMemory);
    EXPECT_EQ(before.uiNumChunkAlloc + 1,
              StaticMemAllocator::getAllocator()->getStats(12).uiNumChunkAlloc);
    StaticMemAllocator::deallocate(pMemory, 100, "test");
    EXPECT_EQ(before.uiNumChunkDealloc + 1,
              StaticMemAllocator::getAllocator()->getStats(12).uiNumChunkDealloc);
}

TEST(StaticMemAllocator, IgnoresTheAccountName)
{
    const CapturedLog log;
    StaticMemAllocator::deallocate(StaticMemAllocator::allocate(100, nullptr), 100, "other");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StaticMemAllocator, GivesNullForASizeOfZero)
{
    EXPECT_EQ(nullptr, StaticMemAllocator::allocate(0, "test"));
}

TEST(StaticMemAllocator, InitializesAgainWithoutHarm)
{
    StaticMemAllocator::Allocator* const pAllocator = StaticMemAllocator::getAllocator();
    EXPECT_TRUE(StaticMemAllocator::initializeClass());
    EXPECT_EQ(pAllocator, StaticMemAllocator::getAllocator());
}

TEST(StaticAccountMemAllocator, IsOneAllocatorForTheProcess)
{
    AccountMemAllocator* const pAllocator = StaticAccountMemAllocator::getAllocator();
    ASSERT_NE(nullptr, pAllocator);
    EXPECT_EQ(pAllocator, StaticAccountMemAllocator::getAllocator());
}

TEST(StaticAccountMemAllocator, ChargesAndCreditsItsAccounts)
{
    void* const pMemory = StaticAccountMemAllocator::allocate(100, "test");
    EXPECT_EQ(100, accountOf("test").iBalance);
    StaticAccountMemAllocator::deallocate(pMemory, 100, "test");
    EXPECT_EQ(0, accountOf("test").iBalance);
    EXPECT_EQ(100, accountOf("test").iMaximum);
}

TEST(StaticAccountMemAllocator, GivesNullForASizeOfZeroAndMakesNoAccount)
{
    const CapturedLog log;
    EXPECT_EQ(nullptr, StaticAccountMemAllocator::allocate(0, "never"));
    EXPECT_EQ(nullptr, StaticAccountMemAllocator::allocate(0, nullptr));
    MemAccountInfo info;
    EXPECT_FALSE(StaticAccountMemAllocator::getMemAccountInfo("never", info));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StaticAccountMemAllocator, ReleasingNullDoesNothing)
{
    const CapturedLog log;
    StaticAccountMemAllocator::deallocate(nullptr, 100, "test");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StaticAccountMemAllocator, InitializesAgainWithoutHarm)
{
    AccountMemAllocator* const pAllocator = StaticAccountMemAllocator::getAllocator();
    EXPECT_TRUE(StaticAccountMemAllocator::initializeClass());
    EXPECT_EQ(pAllocator, StaticAccountMemAllocator::getAllocator());
}

TEST(StaticAccountMemAllocator, GivesItsAccounts)
{
    void* const pMemory = StaticAccountMemAllocator::allocate(10, "test");
    MemAccountInfoHash hash;
    StaticAccountMemAllocator::getMemAccountInfo(hash);
    EXPECT_EQ(accountOf("test"), hash["test"]);
    EXPECT_EQ(10, hash["test"].iBalance);
    StaticAccountMemAllocator::deallocate(pMemory, 10, "test");
}

TEST(StaticAccountMemAllocator, LogsItsAccounts)
{
    void* const pMemory = StaticAccountMemAllocator::allocate(10, "logged");
    const CapturedLog log;
    StaticAccountMemAllocator::logMemAccountingStats();
    EXPECT_THAT(log.lines(),
                testing::IsSupersetOf(
                    {debugLine(s_szLogger, "Memory Account logged : max_bytes = 10"),
                     warnLine(s_szLogger, "Memory Account logged : balance = 10 byte(s)")}));
    StaticAccountMemAllocator::deallocate(pMemory, 10, "logged");
}

TEST(StaticAccountMemAllocator, AskingForANullAccountTripsAnAssertion)
{
    const CapturedLog log;
    MemAccountInfo info;
    EXPECT_FALSE(StaticAccountMemAllocator::getMemAccountInfo(nullptr, info));
    EXPECT_THAT(
        failedAssertions(log),
        ElementsAre(failedAssertion("in_szAccountName != 0", "AccountMemAllocator", s_szLogger)));
}

TEST(DefaultStaticMemAllocator, DoesNotAccountUnlessItIsAskedTo)
{
    EXPECT_FALSE(isMemAccountingForced());
    EXPECT_FALSE(DefaultStaticMemAllocator::isAccountingMemory());
}

TEST(DefaultStaticMemAllocator, GoesToTheAllocatorWithoutAccounts)
{
    const auto before = StaticMemAllocator::getAllocator()->getStats(12);
    void* const pMemory = DefaultStaticMemAllocator::allocate(100, "unaccounted");
    EXPECT_NE(nullptr, pMemory);
    DefaultStaticMemAllocator::deallocate(pMemory, 100, "unaccounted");
    const auto after = StaticMemAllocator::getAllocator()->getStats(12);
    EXPECT_EQ(before.uiNumChunkAlloc + 1, after.uiNumChunkAlloc);
    EXPECT_EQ(before.uiNumChunkDealloc + 1, after.uiNumChunkDealloc);
    MemAccountInfo info;
    EXPECT_FALSE(StaticAccountMemAllocator::getMemAccountInfo("unaccounted", info));
}

TEST(DefaultStaticMemAllocator, GivesNullForASizeOfZero)
{
    EXPECT_EQ(nullptr, DefaultStaticMemAllocator::allocate(0, "unaccounted"));
}

TEST(DefaultStaticMemAllocator, InitializesTheAllocatorInUse)
{
    EXPECT_TRUE(DefaultStaticMemAllocator::initializeClass());
}

TEST(DefaultStaticMemAllocator, AThreadFindsItsChunksTheInlineWayFromItsFirstUseOn)
{
    std::thread(
        []
        {
            EXPECT_TRUE(ThreadCaches::defaultMagazine(0).isEmpty());
            EXPECT_TRUE(ThreadCaches::defaultMagazine(0).isFull());
            EXPECT_TRUE(hasFreeChunk());
        })
        .join();
}

TEST(DefaultStaticMemAllocator, TheInlineWayOutlivesOtherAllocators)
{
    EXPECT_TRUE(hasFreeChunk());
    {
        MemAllocator<ACE_Thread_Mutex, 32> other(Logger(s_szLogger), false);
        other.deallocate(other.allocate(8, "test"), 8, "test");
    }
    EXPECT_FALSE(ThreadCaches::defaultMagazine(0).isEmpty());
    std::thread([] { EXPECT_TRUE(hasFreeChunk()); }).join();
}

} // namespace Velmora::Test
