// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/ObjectAllocator.h"

#include "velmora/memory/StaticMemAllocator.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

constexpr const char* s_szAccount = "test";

FailedAssertion brokenBlock(const char* in_szCondition)
{
    return failedAssertion(in_szCondition, "ObjectAllocator", "keswardin.infra.Assertion");
}

constexpr const char* s_szHasOwner = "*in_pBlock == 0";
constexpr const char* s_szNoMagic = "*(in_pBlock+1) == ObjectAllocatorBase::getMagicToken()";

ObjectAllocatorBase** blockOf(void* in_pObject)
{
    return static_cast<ObjectAllocatorBase**>(in_pObject) - 2;
}

ChunkAllocatorNoT::Stats statsOf(std::size_t in_uiBlockSize)
{
    return StaticMemAllocator::getAllocator()->getStats((in_uiBlockSize - 1) / 8);
}

/// Records the request.
class Noting : public ObjectAllocatorBase
{
  public:
    void* allocate(std::size_t in_uiSize, const char* in_szAccountName) override
    {
        m_uiSize = in_uiSize;
        m_strAccount = in_szAccountName;
        return this;
    }

    std::size_t m_uiSize = 0;
    std::string m_strAccount;
};

} // namespace

TEST(ObjectAllocator, AnAllocatorThatTheCallerChoosesGivesTheMemory)
{
    Noting allocator;
    EXPECT_EQ(&allocator, ObjectAllocatorBase::getObjectStore(40, "account", &allocator));
    EXPECT_EQ(40U, allocator.m_uiSize);
    EXPECT_EQ("account", allocator.m_strAccount);
}

TEST(ObjectAllocator, WithoutOneTheFallbackGivesTheMemory)
{
    const std::uint64_t uiBefore = statsOf(216).uiNumChunkAlloc;
    void* const pObject = ObjectAllocatorBase::getObjectStore(200, s_szAccount, nullptr);
    EXPECT_EQ(uiBefore + 1, statsOf(216).uiNumChunkAlloc);
    EXPECT_EQ(nullptr, blockOf(pObject)[0]);
    EXPECT_EQ(ObjectAllocatorBase::getMagicToken(), blockOf(pObject)[1]);
    std::memset(pObject, 'x', 200);
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), 216, s_szAccount);
    EXPECT_EQ(uiBefore + 1, statsOf(216).uiNumChunkDealloc);
}

TEST(ObjectAllocator, TheMagicOfTheFallbackIsANumber)
{
    EXPECT_EQ(0x1234U, reinterpret_cast<std::uintptr_t>(ObjectAllocatorBase::getMagicToken()));
}

TEST(ObjectAllocator, ABlockOfTheFallbackMayHaveNoBytesOrMany)
{
    for (const std::size_t uiSize : {0U, 1U, 240U, 241U, 10000U})
    {
        void* const pObject =
            ObjectAllocatorBase::getObjectStoreFallbackAllocator(uiSize, s_szAccount);
        ASSERT_NE(nullptr, pObject);
        std::memset(pObject, 'x', uiSize);
        EXPECT_EQ(ObjectAllocatorBase::getMagicToken(), blockOf(pObject)[1]);
        ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), uiSize + 16,
                                                              s_szAccount);
    }
}

TEST(ObjectAllocator, ASizeThatLeavesNoRoomForTheHeaderGivesNothing)
{
    EXPECT_EQ(nullptr, ObjectAllocatorBase::getObjectStore(
                           std::numeric_limits<std::size_t>::max() - 15, s_szAccount, nullptr));
}

TEST(ObjectAllocator, ABlockOfAnotherAllocatorFailsAnAssertionAndIsNotReleased)
{
    Noting allocator;
    ObjectAllocatorBase* block[] = {&allocator, ObjectAllocatorBase::getMagicToken(), nullptr};
    const std::uint64_t uiBefore = statsOf(24).uiNumChunkDealloc;
    const CapturedLog log;
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(block, sizeof block, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenBlock(s_szHasOwner)));
    EXPECT_EQ(uiBefore, statsOf(24).uiNumChunkDealloc);
    EXPECT_EQ(ObjectAllocatorBase::getMagicToken(), block[1]);
}

TEST(ObjectAllocator, ABlockWithoutMagicFailsAnAssertionAndIsNotReleased)
{
    ObjectAllocatorBase* block[] = {nullptr, nullptr, nullptr};
    const std::uint64_t uiBefore = statsOf(24).uiNumChunkDealloc;
    const CapturedLog log;
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(block, sizeof block, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenBlock(s_szNoMagic)));
    EXPECT_EQ(uiBefore, statsOf(24).uiNumChunkDealloc);
}

TEST(ObjectAllocator, ABlockReleasedTwiceFailsAnAssertionAndIsLeftAlone)
{
    static_cast<void>(ObjectAllocatorBase::getObjectStoreFallbackAllocator(200, s_szAccount));
    void* const pObject = ObjectAllocatorBase::getObjectStoreFallbackAllocator(200, s_szAccount);
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), 216, s_szAccount);
    const std::uint64_t uiBefore = statsOf(216).uiNumChunkDealloc;
    const CapturedLog log;
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), 216, s_szAccount);
    EXPECT_EQ(1U, failedAssertions(log).size());
    EXPECT_EQ(uiBefore, statsOf(216).uiNumChunkDealloc);
    EXPECT_EQ(pObject, ObjectAllocatorBase::getObjectStoreFallbackAllocator(200, s_szAccount));
}

TEST(ObjectAllocator, TheLastFreeBlockReleasedTwiceFailsAnAssertionAndIsLeftAlone)
{
    // A block has four chunks of this size. The last free chunk of a block has no next one, so its
    // first word is null.
    const std::uint64_t uiBlocks = statsOf(216).uiNumMalloc;
    while (statsOf(216).uiNumMalloc == uiBlocks)
        static_cast<void>(ObjectAllocatorBase::getObjectStoreFallbackAllocator(200, s_szAccount));
    void* pObject = nullptr;
    for (int iChunk = 1; iChunk < 4; ++iChunk)
        pObject = ObjectAllocatorBase::getObjectStoreFallbackAllocator(200, s_szAccount);
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), 216, s_szAccount);
    const CapturedLog log;
    ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), 216, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenBlock(s_szNoMagic)));
    EXPECT_EQ(pObject, ObjectAllocatorBase::getObjectStoreFallbackAllocator(200, s_szAccount));
}

TEST(ObjectAllocator, TheFallbackChargesTheWholeBlockToTheAccount)
{
    inAccountingProcess(
        []
        {
            void* const pObject = ObjectAllocatorBase::getObjectStore(40, "objects", nullptr);
            EXPECT_EQ(56, bytesHeld("objects"));
            ObjectAllocatorBase::deallocateBlockFallbackAllocator(blockOf(pObject), 56, "objects");
            EXPECT_EQ(0, bytesHeld("objects"));
        });
}

} // namespace Velmora::Test
