// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/NoSizeMemAllocator.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/memory/StaticMemAllocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szAccount = "test";
constexpr const char* s_szMagicCondition = "*pMem == s_uiMagicToken";
constexpr const char* s_szSizeCondition = "uiAugmentedSize >= (2 * sizeof(size_t))";

FailedAssertion failedCheck(const char* in_szCondition)
{
    return failedAssertion(in_szCondition, "NoSizeMemAllocatorT", "keswardin.infra.Assertion");
}

std::uint64_t& magicOf(void* in_pMemory) { return static_cast<std::uint64_t*>(in_pMemory)[-2]; }

std::uint64_t& augmentedSizeOf(void* in_pMemory)
{
    return static_cast<std::uint64_t*>(in_pMemory)[-1];
}

/// Returns the counters of the size class that serves `in_uiSize` bytes in the allocator of the
/// process.
ChunkAllocatorNoT::Stats statsFor(std::size_t in_uiSize)
{
    return StaticMemAllocator::getAllocator()->getStats((in_uiSize + 7) / 8 - 1);
}

/// An underlying allocator that records its calls, and the header of a released block.
struct RecordingAllocator
{
    static void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        s_uiSize = in_uiSize;
        s_strAccount = in_szAccountName;
        return s_bOutOfMemory ? nullptr : std::malloc(in_uiSize);
    }

    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        s_uiReleasedSize = in_uiSize;
        s_strReleasedAccount = in_szAccountName;
        s_releasedHeader.assign(static_cast<std::int64_t*>(in_pMemory),
                                static_cast<std::int64_t*>(in_pMemory) + 2);
        std::free(in_pMemory);
    }

    static bool initializeClass() { return s_bInitialized; }

    static inline bool s_bOutOfMemory = false;
    static inline bool s_bInitialized = true;
    static inline std::size_t s_uiSize = 0;
    static inline std::string s_strAccount;
    static inline std::size_t s_uiReleasedSize = 0;
    static inline std::string s_strReleasedAccount;
    static inline std::vector<std::int64_t> s_releasedHeader;
};

using Recorded = NoSizeMemAllocatorT<RecordingAllocator>;

/// Captures the log. The destructor restores the header of the block and releases it.
class NoSizeMemAllocatorCheck : public testing::Test
{
  protected:
    ~NoSizeMemAllocatorCheck() override
    {
        magicOf(m_pMemory) = NoSizeMemAllocator::s_uiMagicToken;
        augmentedSizeOf(m_pMemory) = 100 + 16;
        NoSizeMemAllocator::deallocate(m_pMemory, s_szAccount);
    }

    const CapturedLog m_log;
    void* const m_pMemory = NoSizeMemAllocator::allocate(100, s_szAccount);
};

} // namespace

TEST(NoSizeMemAllocator, PutsTheMagicAndTheAugmentedSizeInFrontOfTheMemory)
{
    void* const pMemory = NoSizeMemAllocator::allocate(100, s_szAccount);
    EXPECT_EQ(0xA5C7U, magicOf(pMemory));
    EXPECT_EQ(116U, augmentedSizeOf(pMemory));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, TakesSixteenBytesMoreThanItIsAskedFor)
{
    const std::uint64_t uiBefore = statsFor(104 + 16).uiNumChunkAlloc;
    void* const pMemory = NoSizeMemAllocator::allocate(104, s_szAccount);
    EXPECT_EQ(uiBefore + 1, statsFor(104 + 16).uiNumChunkAlloc);
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
    EXPECT_EQ(statsFor(104 + 16).uiNumChunkAlloc, statsFor(104 + 16).uiNumChunkDealloc);
}

TEST(NoSizeMemAllocator, PassesAugmentedSizeAndAccountOn)
{
    Recorded::deallocate(Recorded::allocate(7, "one"), "two");
    EXPECT_EQ(23U, RecordingAllocator::s_uiSize);
    EXPECT_EQ("one", RecordingAllocator::s_strAccount);
    EXPECT_EQ(23U, RecordingAllocator::s_uiReleasedSize);
    EXPECT_EQ("two", RecordingAllocator::s_strReleasedAccount);
}

TEST(NoSizeMemAllocator, ComplementsBothWordsOfAReleasedBlock)
{
    Recorded::deallocate(Recorded::allocate(100, s_szAccount), s_szAccount);
    EXPECT_THAT(RecordingAllocator::s_releasedHeader, ElementsAre(-42440, ~std::int64_t{116}));
}

TEST(NoSizeMemAllocator, GivesAValidBlockOfTheHeaderAloneForASizeOfZero)
{
    const CapturedLog log;
    void* const pMemory = NoSizeMemAllocator::allocate(0, s_szAccount);
    ASSERT_NE(nullptr, pMemory);
    EXPECT_EQ(16U, augmentedSizeOf(pMemory));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NoSizeMemAllocator, GivesBlocksOfAllSizes)
{
    std::vector<char*> blocks;
    for (std::size_t uiSize = 0; uiSize < 600; ++uiSize)
    {
        blocks.push_back(static_cast<char*>(NoSizeMemAllocator::allocate(uiSize, s_szAccount)));
        std::memset(blocks.back(), static_cast<int>(uiSize % 251), uiSize);
    }
    for (std::size_t uiSize = 0; uiSize < 600; ++uiSize)
    {
        EXPECT_EQ(std::string(uiSize, static_cast<char>(uiSize % 251)),
                  std::string(blocks[uiSize], uiSize));
        EXPECT_EQ(uiSize + 16, augmentedSizeOf(blocks[uiSize]));
        NoSizeMemAllocator::deallocate(blocks[uiSize], s_szAccount);
    }
}

TEST(NoSizeMemAllocator, CallocateFillsTheProductWithZeros)
{
    void* const pDirty = NoSizeMemAllocator::allocate(60, s_szAccount);
    std::memset(pDirty, 'x', 60);
    NoSizeMemAllocator::deallocate(pDirty, s_szAccount);

    void* const pMemory = NoSizeMemAllocator::callocate(5, 12, s_szAccount);
    EXPECT_EQ(pDirty, pMemory);
    EXPECT_EQ(76U, augmentedSizeOf(pMemory));
    EXPECT_EQ(std::string(60, '\0'), std::string(static_cast<char*>(pMemory), 60));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, CallocateDoesNotCheckTheProduct)
{
    void* const pMemory = NoSizeMemAllocator::callocate(std::size_t{1} << 63, 2, s_szAccount);
    ASSERT_NE(nullptr, pMemory);
    EXPECT_EQ(16U, augmentedSizeOf(pMemory));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, ReallocateOfNullIsAPlainAllocation)
{
    void* const pMemory = NoSizeMemAllocator::reallocate(nullptr, 10, s_szAccount);
    ASSERT_NE(nullptr, pMemory);
    EXPECT_EQ(26U, augmentedSizeOf(pMemory));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, ReallocateOfNullToZeroGivesAValidBlock)
{
    void* const pMemory = NoSizeMemAllocator::reallocate(nullptr, 0, s_szAccount);
    ASSERT_NE(nullptr, pMemory);
    EXPECT_EQ(16U, augmentedSizeOf(pMemory));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, ReallocateToZeroReleasesAndGivesNull)
{
    void* const pMemory = NoSizeMemAllocator::allocate(100, s_szAccount);
    const std::uint64_t uiBefore = statsFor(116).uiNumChunkDealloc;
    EXPECT_EQ(nullptr, NoSizeMemAllocator::reallocate(pMemory, 0, s_szAccount));
    EXPECT_EQ(uiBefore + 1, statsFor(116).uiNumChunkDealloc);
}

TEST(NoSizeMemAllocator, ReallocateToASmallerSizeGivesTheSameBlockAndKeepsTheStoredSize)
{
    void* const pMemory = NoSizeMemAllocator::allocate(100, s_szAccount);
    EXPECT_EQ(pMemory, NoSizeMemAllocator::reallocate(pMemory, 1, s_szAccount));
    EXPECT_EQ(116U, augmentedSizeOf(pMemory));
    EXPECT_EQ(pMemory, NoSizeMemAllocator::reallocate(pMemory, 100, s_szAccount));
    EXPECT_EQ(116U, augmentedSizeOf(pMemory));
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, ReallocateToALargerSizeMovesTheContents)
{
    char* const pOld = NoSizeMemAllocator::strdup("some text", s_szAccount);
    char* const pNew = static_cast<char*>(NoSizeMemAllocator::reallocate(pOld, 11, s_szAccount));
    EXPECT_NE(pOld, pNew);
    EXPECT_STREQ("some text", pNew);
    EXPECT_EQ(27U, augmentedSizeOf(pNew));
    NoSizeMemAllocator::deallocate(pNew, s_szAccount);
}

TEST(NoSizeMemAllocator, ReallocateReleasesTheOldBlockAsReleaseDoes)
{
    void* const pOld = Recorded::allocate(8, "old");
    void* const pNew = Recorded::reallocate(pOld, 9, "new");
    EXPECT_EQ(25U, RecordingAllocator::s_uiSize);
    EXPECT_EQ("new", RecordingAllocator::s_strAccount);
    EXPECT_EQ(24U, RecordingAllocator::s_uiReleasedSize);
    EXPECT_EQ("new", RecordingAllocator::s_strReleasedAccount);
    EXPECT_THAT(RecordingAllocator::s_releasedHeader, ElementsAre(-42440, ~std::int64_t{24}));
    Recorded::deallocate(pNew, s_szAccount);
}

TEST(NoSizeMemAllocator, ReallocateGrowsABlockStepByStep)
{
    std::string strExpected;
    void* pMemory = nullptr;
    for (std::size_t uiSize = 1; uiSize < 700; uiSize += 13)
    {
        pMemory = NoSizeMemAllocator::reallocate(pMemory, uiSize, s_szAccount);
        ASSERT_EQ(strExpected, std::string(static_cast<char*>(pMemory), strExpected.size()));
        strExpected.resize(uiSize, static_cast<char>('a' + uiSize % 26));
        std::memcpy(pMemory, strExpected.data(), uiSize);
    }
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, ReleasingNullDoesNothing)
{
    const CapturedLog log;
    NoSizeMemAllocator::deallocate(nullptr, s_szAccount);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NoSizeMemAllocator, StrdupOfNullIsNull)
{
    EXPECT_EQ(nullptr, NoSizeMemAllocator::strdup(nullptr, s_szAccount));
}

TEST(NoSizeMemAllocator, StrdupCopiesTheTextWithItsTerminator)
{
    for (const std::string& strText : {std::string(), std::string("a"), std::string(1000, 'b')})
    {
        char* const szCopy = NoSizeMemAllocator::strdup(strText.c_str(), s_szAccount);
        EXPECT_STREQ(strText.c_str(), szCopy);
        EXPECT_EQ(strText.size() + 1 + 16, augmentedSizeOf(szCopy));
        NoSizeMemAllocator::deallocate(szCopy, s_szAccount);
    }
}

TEST(NoSizeMemAllocator, InitializesTheAllocatorBelow)
{
    EXPECT_TRUE(NoSizeMemAllocator::initializeClass());
    RecordingAllocator::s_bInitialized = false;
    EXPECT_FALSE(Recorded::initializeClass());
    RecordingAllocator::s_bInitialized = true;
}

TEST(NoSizeMemAllocator, GivesNullWhenTheAllocatorBelowHasNoMemory)
{
    void* const pMemory = Recorded::allocate(8, s_szAccount);
    RecordingAllocator::s_bOutOfMemory = true;
    EXPECT_EQ(nullptr, Recorded::allocate(8, s_szAccount));
    EXPECT_EQ(nullptr, Recorded::callocate(8, 8, s_szAccount));
    EXPECT_EQ(nullptr, Recorded::strdup("text", s_szAccount));
    EXPECT_EQ(nullptr, Recorded::reallocate(pMemory, 9, s_szAccount));
    RecordingAllocator::s_bOutOfMemory = false;
    EXPECT_EQ(24U, augmentedSizeOf(pMemory)) << "the old block stays";
    Recorded::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, GivesNullForASizeThatLeavesNoRoomForTheHeader)
{
    for (const std::size_t uiMissing : {0, 1, 14, 15})
    {
        RecordingAllocator::s_uiSize = 0;
        EXPECT_EQ(nullptr, Recorded::allocate(SIZE_MAX - uiMissing, s_szAccount)) << uiMissing;
        EXPECT_EQ(0U, RecordingAllocator::s_uiSize) << "asked below, " << uiMissing;
    }
}

TEST(NoSizeMemAllocator, AsksForTheLargestSizeThatLeavesRoomForTheHeader)
{
    RecordingAllocator::s_bOutOfMemory = true;
    EXPECT_EQ(nullptr, Recorded::allocate(SIZE_MAX - 16, s_szAccount));
    RecordingAllocator::s_bOutOfMemory = false;
    EXPECT_EQ(SIZE_MAX, RecordingAllocator::s_uiSize);
}

TEST(NoSizeMemAllocator, ReallocateToASizeWithoutRoomForTheHeaderLeavesTheBlockAsItWas)
{
    void* const pMemory = Recorded::allocate(5, s_szAccount);
    std::memcpy(pMemory, "text", 5);
    for (const std::size_t uiMissing : {0, 1, 14, 15})
        EXPECT_EQ(nullptr, Recorded::reallocate(pMemory, SIZE_MAX - uiMissing, s_szAccount));
    EXPECT_STREQ("text", static_cast<char*>(pMemory));
    EXPECT_EQ(0xA5C7U, magicOf(pMemory));
    EXPECT_EQ(21U, augmentedSizeOf(pMemory));
    Recorded::deallocate(pMemory, s_szAccount);
}

TEST(NoSizeMemAllocator, CallocateOfAProductThatWrapsFillsWhatIsLeftAndNoMore)
{
    RecordingAllocator::s_uiSize = 0;
    auto* const pMemory = static_cast<char*>(
        Recorded::callocate(SIZE_MAX / 4 + 1, 4 + 8, s_szAccount)); // 2^62 * 12 leaves 0
    EXPECT_EQ(16U, RecordingAllocator::s_uiSize);
    Recorded::deallocate(pMemory, s_szAccount);
    EXPECT_EQ(nullptr, Recorded::callocate(SIZE_MAX, 3, s_szAccount)) << "2^64 - 3 bytes are left";
}

TEST_F(NoSizeMemAllocatorCheck, ReleasingABlockWithABrokenMagicLeavesItAlone)
{
    const std::uint64_t uiBefore = statsFor(116).uiNumChunkDealloc;
    magicOf(m_pMemory) = 0x5A7C;
    NoSizeMemAllocator::deallocate(m_pMemory, s_szAccount);
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szMagicCondition)));
    EXPECT_EQ(1U, m_log.lines().size());
    EXPECT_EQ(uiBefore, statsFor(116).uiNumChunkDealloc);
    EXPECT_EQ(0x5A7CU, magicOf(m_pMemory));
    EXPECT_EQ(116U, augmentedSizeOf(m_pMemory));
}

TEST_F(NoSizeMemAllocatorCheck, ReleasingABlockWithABrokenSizeLeavesItAlone)
{
    const std::uint64_t uiBefore = statsFor(116).uiNumChunkDealloc;
    augmentedSizeOf(m_pMemory) = 15;
    NoSizeMemAllocator::deallocate(m_pMemory, s_szAccount);
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szSizeCondition)));
    EXPECT_EQ(1U, m_log.lines().size());
    EXPECT_EQ(uiBefore, statsFor(116).uiNumChunkDealloc);
    EXPECT_EQ(0xA5C7U, magicOf(m_pMemory));
    EXPECT_EQ(15U, augmentedSizeOf(m_pMemory));
}

TEST_F(NoSizeMemAllocatorCheck, AnAugmentedSizeOfTheHeaderAloneIsInOrder)
{
    const std::uint64_t uiBefore = statsFor(16).uiNumChunkDealloc;
    void* const pMemory = NoSizeMemAllocator::allocate(0, s_szAccount);
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
    EXPECT_EQ(uiBefore + 1, statsFor(16).uiNumChunkDealloc);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(NoSizeMemAllocatorCheck, ReallocatingABlockWithABrokenMagicGivesNullAndLeavesItAlone)
{
    magicOf(m_pMemory) = 0;
    EXPECT_EQ(nullptr, NoSizeMemAllocator::reallocate(m_pMemory, 50, s_szAccount));
    EXPECT_EQ(nullptr, NoSizeMemAllocator::reallocate(m_pMemory, 5000, s_szAccount));
    EXPECT_EQ(nullptr, NoSizeMemAllocator::reallocate(m_pMemory, 0, s_szAccount));
    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedCheck(s_szMagicCondition), failedCheck(s_szMagicCondition),
                            failedCheck(s_szMagicCondition)));
    EXPECT_EQ(0U, magicOf(m_pMemory));
}

TEST_F(NoSizeMemAllocatorCheck, ReallocatingABlockWithABrokenSizeGivesNull)
{
    augmentedSizeOf(m_pMemory) = 1;
    EXPECT_EQ(nullptr, NoSizeMemAllocator::reallocate(m_pMemory, 50, s_szAccount));
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szSizeCondition)));
}

TEST_F(NoSizeMemAllocatorCheck, ReleasingABlockTwiceTripsTheMagicAndReleasesItOnce)
{
    void* const pMemory = NoSizeMemAllocator::allocate(50, s_szAccount);
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
    const std::uint64_t uiReleased = statsFor(66).uiNumChunkDealloc;
    NoSizeMemAllocator::deallocate(pMemory, s_szAccount);
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failedCheck(s_szMagicCondition)));
    EXPECT_EQ(uiReleased, statsFor(66).uiNumChunkDealloc);
}

} // namespace Velmora::Test
