// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/ChunkStack.h"

#include "velmora/Sanitizers.h"
#include "velmora/memory/test/MallocWatch.h"

#include "tests/support/CountedAllocations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

constexpr std::uint64_t s_uiLargest = ChunkStack::s_uiLargestBatch;
constexpr std::uint64_t s_uiNoLimit = std::numeric_limits<std::uint64_t>::max();

/// Chunks of which each batch takes the next ones, in rising order.
class Chunks
{
  public:
    explicit Chunks(std::size_t in_uiNumber) : m_chunks(in_uiNumber), m_pNext(m_chunks.data()) {}

    /// Returns a batch of the next chunks.
    ChunkBatch batch(std::size_t in_uiNumber)
    {
        FreeChunk* const pFirst = m_pNext;
        m_pNext += in_uiNumber;
        for (FreeChunk* pChunk = pFirst; pChunk != m_pNext; ++pChunk)
            pChunk->pNext = pChunk + 1 != m_pNext ? pChunk + 1 : nullptr;
        return {pFirst, m_pNext - 1, in_uiNumber};
    }

    FreeChunk* operator[](std::size_t in_uiIndex) { return &m_chunks[in_uiIndex]; }

    std::size_t indexOf(const FreeChunk* in_pChunk) const
    {
        return static_cast<std::size_t>(in_pChunk - m_chunks.data());
    }

    std::vector<std::size_t> indexesOf(const ChunkBatch& in_batch) const
    {
        std::vector<std::size_t> result;
        for (const FreeChunk* pChunk = in_batch.pFirst; pChunk != nullptr; pChunk = pChunk->pNext)
            result.push_back(indexOf(pChunk));
        EXPECT_EQ(in_batch.uiNumChunks, result.size());
        EXPECT_EQ(indexOf(in_batch.pLast), result.back());
        return result;
    }

  private:
    std::vector<FreeChunk> m_chunks;
    FreeChunk* m_pNext;
};

/// Overwrites the links of chunks, so that a walk over them crashes.
void breakLinks(Chunks& out_chunks, std::size_t in_uiBegin, std::size_t in_uiEnd)
{
    for (std::size_t uiIndex = in_uiBegin; uiIndex < in_uiEnd; ++uiIndex)
        out_chunks[uiIndex]->pNext = reinterpret_cast<FreeChunk*>(std::uintptr_t{8});
}

} // namespace

TEST(ChunkStack, IsEmptyAtFirst)
{
    const ChunkStack stack;
    EXPECT_TRUE(stack.isEmpty());
    EXPECT_EQ(0U, stack.getNumBatches());
}

TEST(ChunkStack, GivesTheChunkFirstThatCameLast)
{
    Chunks chunks(3);
    ChunkStack stack;
    for (std::size_t uiIndex = 0; uiIndex < 3; ++uiIndex)
        stack.push(chunks[uiIndex]);
    EXPECT_EQ(chunks[2], stack.pop());
    EXPECT_EQ(chunks[1], stack.pop());
    EXPECT_FALSE(stack.isEmpty());
    EXPECT_EQ(chunks[0], stack.pop());
    EXPECT_TRUE(stack.isEmpty());
}

TEST(ChunkStack, PushingNoChunksChangesNothing)
{
    Chunks chunks(1);
    ChunkStack stack;
    stack.push(ChunkBatch{});
    EXPECT_TRUE(stack.isEmpty());
    stack.push(chunks[0]);
    stack.push(ChunkBatch{});
    EXPECT_EQ(chunks[0], stack.pop());
    EXPECT_TRUE(stack.isEmpty());
}

TEST(ChunkStack, TheFirstChunkOfABatchIsOnTop)
{
    Chunks chunks(4);
    ChunkStack stack;
    stack.push(chunks.batch(2));
    stack.push(chunks.batch(2));
    EXPECT_THAT(chunks.indexesOf(stack.popBatch(s_uiNoLimit)), ElementsAre(2, 3, 0, 1));
    EXPECT_TRUE(stack.isEmpty());
}

TEST(ChunkStack, JoinsBatchesUpToTheLargest)
{
    Chunks chunks(s_uiLargest + 1);
    ChunkStack stack;
    stack.push(chunks.batch(s_uiLargest - 1));
    stack.push(chunks.batch(1));
    EXPECT_EQ(1U, stack.getNumBatches());
    stack.push(chunks.batch(1));
    EXPECT_EQ(2U, stack.getNumBatches());
    EXPECT_EQ(1U, stack.popBatch(s_uiNoLimit).uiNumChunks);
    EXPECT_EQ(s_uiLargest, stack.popBatch(s_uiNoLimit).uiNumChunks);
}

TEST(ChunkStack, ManySingleChunksNeedFewBatches)
{
    Chunks chunks(4 * s_uiLargest);
    ChunkStack stack;
    for (std::size_t uiIndex = 0; uiIndex < 4 * s_uiLargest; ++uiIndex)
        stack.push(chunks[uiIndex]);
    EXPECT_EQ(4U, stack.getNumBatches());
}

TEST(ChunkStack, MovesAWholeBatchWithoutReadingItsChunks)
{
    Chunks chunks(2 * s_uiLargest);
    ChunkStack stack;
    const ChunkBatch lower = chunks.batch(s_uiLargest);
    const ChunkBatch upper = chunks.batch(s_uiLargest);
    breakLinks(chunks, 0, 2 * s_uiLargest);
    stack.push(lower);
    stack.push(upper);
    for (const ChunkBatch& expected : {upper, lower})
    {
        const ChunkBatch batch = stack.popBatch(s_uiLargest);
        EXPECT_EQ(expected.pFirst, batch.pFirst);
        EXPECT_EQ(expected.pLast, batch.pLast);
        EXPECT_EQ(s_uiLargest, batch.uiNumChunks);
    }
    EXPECT_TRUE(stack.isEmpty());
}

TEST(ChunkStack, ReadsNoMoreChunksOfALongerBatchThanTheLimit)
{
    Chunks chunks(s_uiLargest);
    ChunkStack stack;
    const ChunkBatch all = chunks.batch(s_uiLargest);
    breakLinks(chunks, 8, s_uiLargest);
    stack.push(all);
    EXPECT_THAT(chunks.indexesOf(stack.popBatch(8)), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
    const ChunkBatch rest = stack.popBatch(s_uiNoLimit);
    EXPECT_EQ(chunks[8], rest.pFirst);
    EXPECT_EQ(all.pLast, rest.pLast);
    EXPECT_EQ(s_uiLargest - 8, rest.uiNumChunks);
}

TEST(ChunkStack, ABatchIsNotExtendedFromTheOneBelow)
{
    Chunks chunks(s_uiLargest + 3);
    ChunkStack stack;
    stack.push(chunks.batch(s_uiLargest));
    stack.push(chunks.batch(3));
    EXPECT_EQ(3U, stack.popBatch(8).uiNumChunks);
}

TEST(ChunkStack, SingleChunksComeFromTheBatchBelowWhenTheTopIsUsedUp)
{
    Chunks chunks(s_uiLargest + 1);
    ChunkStack stack;
    stack.push(chunks.batch(s_uiLargest));
    stack.push(chunks.batch(1));
    EXPECT_EQ(chunks[s_uiLargest], stack.pop());
    EXPECT_EQ(1U, stack.getNumBatches());
    EXPECT_EQ(chunks[0], stack.pop());
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER
TEST(ChunkStack, WithoutMemoryJoinsBatchesToALargerOne)
{
    Chunks chunks(3 * s_uiLargest);
    ChunkStack stack;
    {
        const MallocFailure failure;
        for (int iBatch = 0; iBatch < 3; ++iBatch)
            stack.push(chunks.batch(s_uiLargest));
    }
    EXPECT_EQ(1U, stack.getNumBatches());
    for (const std::size_t uiFirst : {2 * s_uiLargest, s_uiLargest, std::uint64_t{0}})
    {
        const ChunkBatch batch = stack.popBatch(s_uiLargest);
        EXPECT_EQ(uiFirst, chunks.indexOf(batch.pFirst));
        EXPECT_EQ(s_uiLargest, chunks.indexesOf(batch).size());
    }
    EXPECT_TRUE(stack.isEmpty());
}
#endif

TEST(ChunkStack, DoesNotUseOperatorNew)
{
    Chunks chunks(20 * s_uiLargest);
    ChunkStack stack;
    const int iBefore = s_iAllocations;
    for (int iBatch = 0; iBatch < 20; ++iBatch)
        stack.push(chunks.batch(s_uiLargest));
    EXPECT_EQ(iBefore, s_iAllocations);
    EXPECT_EQ(20U, stack.getNumBatches());
}

// Compares random operations with a plain stack.
TEST(ChunkStack, KeepsTheOrderOfOneStack)
{
    constexpr std::size_t s_uiNumber = 5000;
    std::mt19937 random(1);
    Chunks chunks(s_uiNumber);
    ChunkStack stack;
    std::vector<std::size_t> expected;
    std::vector<ChunkBatch> outside{chunks.batch(s_uiNumber)};
    std::uint64_t uiOutside = s_uiNumber;
    const auto take = [&](const ChunkBatch& in_batch)
    {
        for (const std::size_t uiIndex : chunks.indexesOf(in_batch))
        {
            ASSERT_EQ(expected.back(), uiIndex);
            expected.pop_back();
        }
        outside.push_back(in_batch);
        uiOutside += in_batch.uiNumChunks;
    };
    for (int iOperation = 0; iOperation < 20000; ++iOperation)
    {
        const std::uint64_t uiLimit = 1 + random() % (random() % 2 == 0 ? 8 : 600);
        if (!stack.isEmpty() && random() % 2 == 0)
        {
            if (FreeChunk* const pChunk = uiLimit == 1 ? stack.pop() : nullptr)
            {
                pChunk->pNext = nullptr;
                ASSERT_NO_FATAL_FAILURE(take({pChunk, pChunk, 1}));
            }
            else
                ASSERT_NO_FATAL_FAILURE(take(stack.popBatch(uiLimit)));
        }
        else if (!outside.empty())
        {
            // Push at most `uiLimit` chunks, and keep the rest of the batch outside.
            ChunkStack other;
            other.push(outside.back());
            outside.pop_back();
            const ChunkBatch batch = other.popBatch(uiLimit);
            if (!other.isEmpty())
                outside.push_back(other.popBatch(s_uiNoLimit));
            const std::vector<std::size_t> indexes = chunks.indexesOf(batch);
            expected.insert(expected.end(), indexes.rbegin(), indexes.rend());
            uiOutside -= batch.uiNumChunks;
            stack.push(batch);
        }
        ASSERT_EQ(s_uiNumber, uiOutside + expected.size());
        ASSERT_EQ(expected.empty(), stack.isEmpty());
    }
}

TEST(ChunkStack, TheRestOfABatchIsJoinedWithTheOneBelow)
{
    constexpr std::size_t s_uiRounds = 100;
    Chunks chunks(s_uiRounds * s_uiLargest);
    ChunkStack stack;
    for (std::size_t uiRound = 0; uiRound < s_uiRounds; ++uiRound)
    {
        stack.push(chunks.batch(s_uiLargest));
        EXPECT_EQ(s_uiLargest - 1, stack.popBatch(s_uiLargest - 1).uiNumChunks);
    }
    EXPECT_EQ(2U, stack.getNumBatches());
    EXPECT_EQ(chunks[s_uiRounds * s_uiLargest - 1], stack.pop());
    const ChunkBatch rests = stack.popBatch(s_uiNoLimit);
    EXPECT_EQ(s_uiRounds - 1, chunks.indexesOf(rests).size());
    EXPECT_EQ(chunks[(s_uiRounds - 1) * s_uiLargest - 1], rests.pFirst);
}

TEST(ChunkStack, TwoNeighbouringBatchesAreLongerThanTheLargest)
{
    std::mt19937 random(1);
    Chunks chunks(100000);
    ChunkStack stack;
    std::size_t uiPushed = 0;
    while (uiPushed < 90000)
    {
        const std::size_t uiNumber = 1 + random() % s_uiLargest;
        stack.push(chunks.batch(uiNumber));
        uiPushed += uiNumber;
        ASSERT_LE(stack.getNumBatches(), 2 * uiPushed / s_uiLargest + 1);
    }
}

} // namespace Velmora::Test
