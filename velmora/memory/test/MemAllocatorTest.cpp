// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/Sanitizers.h"
#include "velmora/memory/MemAllocatorT.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"
#include "velmora/memory/AceCleanupMemAllocator.h"
#include "velmora/memory/test/Locks.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.infra.MemAllocator";
constexpr const char* s_szAccount = "test";

using Stats = ChunkAllocatorNoT::Stats;
using Allocator = MemAllocator<ACE_Thread_Mutex, 32>;
using Chunks = ChunkAllocator<ACE_Thread_Mutex, 8>;

Logger logger() { return Logger(s_szLogger); }

/// Returns the address as a number, so that addresses in different blocks can be compared.
std::uintptr_t address(const void* in_pMemory)
{
    return reinterpret_cast<std::uintptr_t>(in_pMemory);
}

std::string statsText(unsigned in_uiMalloc, unsigned in_uiAlloc, unsigned in_uiDealloc)
{
    return written(Stats{in_uiMalloc, in_uiAlloc, in_uiDealloc});
}

/// Returns the line that a chunk allocator logs when it is destroyed.
LogLine statsLine(unsigned in_uiChunkSize, unsigned in_uiMalloc, unsigned in_uiAlloc,
                  unsigned in_uiDealloc)
{
    return debugLine(s_szLogger, "Allocation stats for " + std::to_string(in_uiChunkSize) +
                                     " bytes ChunkAllocator\n" +
                                     statsText(in_uiMalloc, in_uiAlloc, in_uiDealloc));
}

LogLine leakLine(unsigned in_uiChunkSize)
{
    return warnLine(s_szLogger,
                    "Memory leak in " + std::to_string(in_uiChunkSize) + " bytes ChunkAllocator");
}

LogLine tooMuchLine(unsigned in_uiChunkSize)
{
    return errorLine(s_szLogger, "Deallocated too much in " + std::to_string(in_uiChunkSize) +
                                     " bytes ChunkAllocator");
}

/// A chunk that no allocator handed out.
struct alignas(8) ForeignChunk
{
    char bytes[256];
};

template <class TheAllocator>
std::vector<void*> allocateMany(TheAllocator& out_allocator, std::size_t in_uiSize,
                                std::size_t in_uiCount)
{
    std::vector<void*> result(in_uiCount);
    for (void*& pMemory : result)
        pMemory = out_allocator.allocate(in_uiSize, s_szAccount);
    return result;
}

template <class TheAllocator>
void deallocateAll(TheAllocator& out_allocator, std::size_t in_uiSize,
                   const std::vector<void*>& in_memory)
{
    for (void* const pMemory : in_memory)
        out_allocator.deallocate(pMemory, in_uiSize, s_szAccount);
}

/// An allocator that gives a test access to its chunk allocators.
class OpenAllocator : public MemAllocator<ACE_Thread_Mutex, 4>
{
  public:
    using MemAllocator::initChunkAllocator;
    using MemAllocator::m_chunkAllocVector;
    using MemAllocator::MemAllocator;

    void removeElement(std::size_t in_uiClass)
    {
        delete m_chunkAllocVector[in_uiClass];
        m_chunkAllocVector[in_uiClass] = nullptr;
    }
};

} // namespace

TEST(ChunkAllocatorStats, StartAtZero)
{
    EXPECT_EQ(0U, Stats().uiNumMalloc);
    EXPECT_EQ(0U, Stats().uiNumChunkAlloc);
    EXPECT_EQ(0U, Stats().uiNumChunkDealloc);
}

TEST(ChunkAllocatorStats, AreWrittenTheSameInEachLocale)
{
    const GlobalLocale locale;
    EXPECT_EQ("Num malloc        = 1234567\n"
              "Num chunk alloc   = 2345678\n"
              "Num chunk dealloc = 3456789",
              statsText(1234567, 2345678, 3456789));
}

TEST(ChunkAllocatorStats, AddEachCounter)
{
    Stats stats{1, 20, 300};
    Stats& result = stats += Stats{4000, 50000, 600000};
    EXPECT_EQ(&stats, &result);
    EXPECT_EQ(4001U, stats.uiNumMalloc);
    EXPECT_EQ(50020U, stats.uiNumChunkAlloc);
    EXPECT_EQ(600300U, stats.uiNumChunkDealloc);
}

TEST(ChunkAllocatorStats, CountInSixtyFourBits)
{
    Stats stats{0, 0xFFFFFFFFU, 0};
    stats += Stats{0, 1, 0};
    EXPECT_EQ(0x100000000U, stats.uiNumChunkAlloc);
}

TEST(ChunkAllocatorStats, WriteThreeLinesWithoutALineEndAfterTheLast)
{
    EXPECT_EQ("Num malloc        = 1\n"
              "Num chunk alloc   = 22\n"
              "Num chunk dealloc = 333",
              written(Stats{1, 22, 333}));
}

TEST(ChunkAllocatorStats, AreStreamedAsTheyAreWritten)
{
    EXPECT_EQ(statsText(1, 22, 333), textOf(Stats{1, 22, 333}));
}

TEST(ChunkAllocator, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic_v<Chunks>);
    EXPECT_FALSE(std::is_polymorphic_v<Allocator>);
}

TEST(ChunkAllocator, HasChunksOfItsUnitsTimesTheGranule)
{
    EXPECT_EQ(24U, Chunks(logger(), 3, false).getChunkSize());
    EXPECT_EQ(48U, (ChunkAllocator<ACE_Thread_Mutex, 16>(logger(), 3, false).getChunkSize()));
}

TEST(ChunkAllocator, CutsAKilobyteIntoChunksButHasAtLeastFour)
{
    const CapturedLog log;
    struct
    {
        unsigned uiChunkSize, uiChunksInABlock, uiBlockSize;
    } const table[] = {{8, 128, 1024}, {64, 16, 1024}, {200, 5, 1000},
                       {248, 4, 992},  {256, 4, 1024}, {264, 4, 1056}};
    for (const auto& row : table)
    {
        SCOPED_TRACE(row.uiChunkSize);
        Chunks chunks(logger(), row.uiChunkSize / 8, false);
        EXPECT_EQ(row.uiBlockSize, chunks.getBlockSize());
        for (unsigned uiChunk = 0; uiChunk < row.uiChunksInABlock; ++uiChunk)
            EXPECT_NE(nullptr, chunks.allocate());
        EXPECT_EQ(1U, chunks.getStats().uiNumMalloc);
        EXPECT_NE(nullptr, chunks.allocate());
        EXPECT_EQ(2U, chunks.getStats().uiNumMalloc);
    }
}

TEST(ChunkAllocator, ChunksOf200BytesLeave24BytesOfAKilobyteUnasked)
{
    Chunks chunks(logger(), 25, false);
    const MallocWatch watch;
    EXPECT_NE(nullptr, chunks.allocate());
    EXPECT_THAT(watch.sizes(), testing::Contains(1024U - 24U));
}

TEST(ChunkAllocator, TracesItsChunkSize)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const Chunks chunks(logger(), 3, true);
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "ChunkAllocator::ChunkAllocator : 24 bytes")));
}

TEST(ChunkAllocator, AsksForNoBlockBeforeTheFirstChunk)
{
    const Chunks chunks(logger(), 1, false);
    EXPECT_EQ(statsText(0, 0, 0), textOf(chunks.getStats()));
}

TEST(ChunkAllocator, HandsOutAFreshBlockFromTheHighestAddressDown)
{
    Chunks chunks(logger(), 5, false);
    const std::uintptr_t uiFirst = address(chunks.allocate());
    for (unsigned uiChunk = 1; uiChunk < 25; ++uiChunk)
        EXPECT_EQ(uiFirst - 40 * uiChunk, address(chunks.allocate()));
}

TEST(ChunkAllocator, HandsOutTheLastReturnedChunkFirst)
{
    Chunks chunks(logger(), 1, false);
    void* const pFirst = chunks.allocate();
    void* const pSecond = chunks.allocate();
    chunks.deallocate(pSecond);
    chunks.deallocate(pFirst);
    EXPECT_EQ(pFirst, chunks.allocate());
    EXPECT_EQ(pSecond, chunks.allocate());
}

TEST(ChunkAllocator, KeepsTheNextFreeChunkInTheFirstWordOfAFreeOne)
{
    Chunks chunks(logger(), 2, false);
    void* const pFirst = chunks.allocate();
    void* const pSecond = chunks.allocate();
    std::memset(pFirst, 'x', 16);
    chunks.deallocate(pSecond);
    chunks.deallocate(pFirst);
    void* pNext = nullptr;
    std::memcpy(&pNext, pFirst, sizeof(pNext));
    EXPECT_EQ(pSecond, pNext);
    EXPECT_EQ(0, std::memcmp("xxxxxxxx", static_cast<char*>(pFirst) + 8, 8));
}

TEST(ChunkAllocator, ReportsALeakAndItsStatisticsWhenItDies)
{
    const CapturedLog log;
    static_cast<void>(Chunks(logger(), 3, true).allocate());
    EXPECT_THAT(log.lines(), ElementsAre(leakLine(24), statsLine(24, 1, 1, 0)));
}

TEST(ChunkAllocator, ReportsWhenMoreWasReturnedThanHandedOut)
{
    const CapturedLog log;
    ForeignChunk chunk{};
    Chunks(logger(), 3, true).deallocate(&chunk);
    EXPECT_THAT(log.lines(), ElementsAre(tooMuchLine(24), statsLine(24, 0, 0, 1)));
}

TEST(ChunkAllocator, ReportsNoLeakWhenAllWasReturned)
{
    const CapturedLog log;
    {
        Chunks chunks(logger(), 3, true);
        chunks.deallocate(chunks.allocate());
    }
    EXPECT_THAT(log.lines(), ElementsAre(statsLine(24, 1, 1, 1)));
}

TEST(ChunkAllocator, ReportsNoLeakWithoutTheFlag)
{
    const CapturedLog log;
    ForeignChunk chunk{};
    static_cast<void>(Chunks(logger(), 3, false).allocate());
    Chunks(logger(), 4, false).deallocate(&chunk);
    EXPECT_THAT(log.lines(), ElementsAre(statsLine(24, 1, 1, 0), statsLine(32, 0, 0, 1)));
}

TEST(ChunkAllocator, TracesTheScopeOfItsEndAroundTheReport)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    static_cast<void>(Chunks(logger(), 1, true).allocate());
    EXPECT_THAT(
        log.lines(),
        ElementsAre(traceLine(s_szLogger, "ChunkAllocator::ChunkAllocator : 8 bytes"),
                    traceLine(s_szLogger, "entering ChunkAllocatorNoT::~ChunkAllocatorNoT"),
                    leakLine(8), statsLine(8, 1, 1, 0),
                    traceLine(s_szLogger, "exiting ChunkAllocatorNoT::~ChunkAllocatorNoT")));
}

TEST(ChunkAllocator, LogsWithTheLoggerThatItWasGiven)
{
    const CapturedLog log;
    static_cast<void>(Chunks(Logger("keswardin.test.Other"), 1, true).allocate());
    EXPECT_THAT(log.linesOf("keswardin.test.Other"), testing::SizeIs(2));
}

TEST(ChunkAllocator, FreesItsBlocksFromTheLastToTheFirstWhateverIsInUse)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    std::optional<Chunks> chunks(std::in_place, logger(), 32UL, true);
    std::vector<const void*> blocks;
    for (int iBlock = 0; iBlock < 3; ++iBlock)
    {
        for (int iChunk = 0; iChunk < 3; ++iChunk)
            static_cast<void>(chunks->allocate());
        blocks.push_back(chunks->allocate());
    }
    const MallocWatch watch;
    chunks.reset();
    EXPECT_THAT(watch.freedAmong(blocks), ElementsAre(blocks[2], blocks[1], blocks[0]));
}

TEST(ChunkAllocator, GoesOnWhenALockFails)
{
    const CapturedLog log;
    {
        ChunkAllocator<FailingMutex, 8> chunks(logger(), 1, true);
        errno = 0;
        void* const pMemory = chunks.allocate();
        EXPECT_EQ(EDEADLK, errno);
        EXPECT_NE(nullptr, pMemory);
        chunks.deallocate(pMemory);
        EXPECT_EQ(pMemory, chunks.allocate());
    }
    EXPECT_THAT(log.lines(), ElementsAre(leakLine(8), statsLine(8, 1, 2, 1)));
}

TEST(MemAllocator, GivesNullForASizeOfZero)
{
    Allocator allocator(logger(), false);
    EXPECT_EQ(nullptr, allocator.allocate(0, s_szAccount));
}

TEST(MemAllocator, IgnoresTheAccountName)
{
    const CapturedLog log;
    Allocator allocator(logger(), false);
    void* const pMemory = allocator.allocate(8, nullptr);
    EXPECT_NE(nullptr, pMemory);
    allocator.deallocate(pMemory, 8, "another name");
    EXPECT_EQ(1U, allocator.getStats(0).uiNumChunkDealloc);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(MemAllocator, OneByteAndEightBytesShareTheFirstClass)
{
    Allocator allocator(logger(), false);
    EXPECT_NE(nullptr, allocator.allocate(1, s_szAccount));
    EXPECT_NE(nullptr, allocator.allocate(8, s_szAccount));
    EXPECT_EQ(2U, allocator.getStats(0).uiNumChunkAlloc);
}

TEST(MemAllocator, NineBytesAreOfTheSecondClass)
{
    Allocator allocator(logger(), false);
    EXPECT_NE(nullptr, allocator.allocate(9, s_szAccount));
    EXPECT_EQ(0U, allocator.getStats(0).uiNumChunkAlloc);
    EXPECT_EQ(1U, allocator.getStats(1).uiNumChunkAlloc);
}

TEST(MemAllocator, EachSizeUpTo256IsOfTheClassOfItsSizeRoundedUpToEight)
{
    Allocator allocator(logger(), false);
    for (std::size_t uiSize = 1; uiSize <= 256; ++uiSize)
    {
        SCOPED_TRACE(uiSize);
        const std::size_t uiClass = (uiSize + 7) / 8 - 1;
        const std::uint64_t uiBefore = allocator.getStats(uiClass).uiNumChunkAlloc;
        void* const pMemory = allocator.allocate(uiSize, s_szAccount);
        EXPECT_EQ(uiBefore + 1, allocator.getStats(uiClass).uiNumChunkAlloc);
        allocator.deallocate(pMemory, uiSize, s_szAccount);
        EXPECT_EQ(uiBefore + 1, allocator.getStats(uiClass).uiNumChunkDealloc);
    }
}

TEST(MemAllocator, TheClassesRunFrom8To256BytesInStepsOf8)
{
    const CapturedLog log;
    std::vector<LogLine> expected;
    for (unsigned uiChunkSize = 8; uiChunkSize <= 256; uiChunkSize += 8)
        expected.push_back(statsLine(uiChunkSize, 0, 0, 0));
    {
        const Allocator allocator(logger(), true);
    }
    EXPECT_THAT(log.lines(), ElementsAreArray(expected));
}

TEST(MemAllocator, TakesNothingFromMallocFor256BytesOfAnOpenBlock)
{
    Allocator allocator(logger(), false);
    static_cast<void>(allocator.allocate(256, s_szAccount));
    const MallocWatch watch;
    EXPECT_NE(nullptr, allocator.allocate(256, s_szAccount));
    EXPECT_EQ(0U, watch.countMallocs());
}

TEST(MemAllocator, Takes257BytesFromMallocAndGivesThemBackToIt)
{
    Allocator allocator(logger(), false);
    const MallocWatch watch;
    void* const pMemory = allocator.allocate(257, s_szAccount);
    EXPECT_THAT(watch.sizes(), ElementsAre(257U));
    allocator.deallocate(pMemory, 257, s_szAccount);
    EXPECT_THAT(watch.freedAmong({pMemory}), ElementsAre(pMemory));
}

TEST(MemAllocator, OfFourClassesTakes33BytesFromMalloc)
{
    MemAllocator<ACE_Thread_Mutex, 4> allocator(logger(), false);
    static_cast<void>(allocator.allocate(32, s_szAccount));
    const MallocWatch watch;
    static_cast<void>(allocator.allocate(32, s_szAccount));
    allocator.deallocate(allocator.allocate(33, s_szAccount), 33, s_szAccount);
    EXPECT_THAT(watch.sizes(), ElementsAre(33U));
}

TEST(MemAllocator, GivesNullWhenMallocHasNoMemory)
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "sanitizers end the process on a request of this size";
#else
    Allocator allocator(logger(), false);
    EXPECT_EQ(nullptr, allocator.allocate(SIZE_MAX / 2, s_szAccount));
#endif
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

TEST(ChunkAllocator, GivesNullWhenThereIsNoMemoryForABlock)
{
    Chunks allocator(logger(), 1, true);
    for (const std::size_t uiNumServed : {0, 1})
    {
        void* pMemory = &allocator;
        {
            // The second request is for the list of blocks.
            const MallocFailure failure(uiNumServed);
            while (pMemory != nullptr)
                pMemory = allocator.allocate();
        }
        EXPECT_EQ(allocator.getStats().uiNumMalloc * 128, allocator.getStats().uiNumChunkAlloc);
    }
}

TEST(MemAllocator, GivesNullWhenThereIsNoMemoryForAChunk)
{
    Allocator allocator(logger(), false);
    const std::vector<void*> block = allocateMany(allocator, 256, 4);
    {
        const MallocFailure failure;
        EXPECT_EQ(nullptr, allocator.allocate(256, s_szAccount));
    }
    void* const pMemory = allocator.allocate(256, s_szAccount);
    EXPECT_NE(nullptr, pMemory);
    EXPECT_EQ(5U, allocator.getStats(31).uiNumChunkAlloc);
    allocator.deallocate(pMemory, 256, s_szAccount);
    deallocateAll(allocator, 256, block);
}

TEST(MemAllocator, WorksWithoutACacheWhenThereIsNoMemoryForOne)
{
    Allocator allocator(logger(), false);
    std::thread([&allocator]
                { allocator.deallocate(allocator.allocate(8, s_szAccount), 8, s_szAccount); })
        .join();
    std::thread(
        [&allocator]
        {
            const MallocFailure failure;
            void* const pMemory = allocator.allocate(8, s_szAccount);
            EXPECT_NE(nullptr, pMemory);
            allocator.deallocate(pMemory, 8, s_szAccount);
        })
        .join();
    EXPECT_EQ(2U, allocator.getStats(0).uiNumChunkDealloc);
}

TEST(MemAllocator, TakesAllChunksBackWhileThereIsNoMemory)
{
    constexpr std::size_t uiCount = 10 * Magazine::s_uiCapacity;
    Allocator allocator(logger(), false);
    const std::vector<void*> chunks = allocateMany(allocator, 8, uiCount);
    {
        const MallocFailure failure;
        deallocateAll(allocator, 8, chunks);
    }
    std::vector<void*> again = allocateMany(allocator, 8, uiCount);
    EXPECT_EQ(chunks.back(), again.front());
    EXPECT_EQ(chunks.front(), again.back());
    EXPECT_EQ(uiCount / 128, allocator.getStats(0).uiNumMalloc);
    deallocateAll(allocator, 8, again);
}

#endif

TEST(MemAllocator, MemoryIsAlignedToEightAndCanBeFilled)
{
    Allocator allocator(logger(), false);
    std::vector<std::pair<char*, std::size_t>> memory;
    for (std::size_t uiSize = 1; uiSize <= 300; ++uiSize)
    {
        auto* const pMemory = static_cast<char*>(allocator.allocate(uiSize, s_szAccount));
        EXPECT_EQ(0U, address(pMemory) % 8);
        std::memset(pMemory, static_cast<int>(uiSize % 256), uiSize);
        memory.emplace_back(pMemory, uiSize);
    }
    for (const auto& [pMemory, uiSize] : memory)
    {
        EXPECT_EQ(std::string(uiSize, static_cast<char>(uiSize % 256)),
                  std::string(pMemory, uiSize));
        allocator.deallocate(pMemory, uiSize, s_szAccount);
    }
}

TEST(MemAllocator, ReleasingNullDoesNothing)
{
    const CapturedLog log;
    Allocator allocator(logger(), true);
    for (const std::size_t uiSize : {0U, 8U, 256U, 257U})
        allocator.deallocate(nullptr, uiSize, s_szAccount);
    EXPECT_EQ(0U, allocator.getStats(0).uiNumChunkDealloc);
    EXPECT_EQ(0U, allocator.getStats(31).uiNumChunkDealloc);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(MemAllocator, ReleasingWithASizeOfZeroLeaksSilently)
{
    const CapturedLog log;
    {
        Allocator allocator(logger(), true);
        void* const pMemory = allocator.allocate(24, s_szAccount);
        allocator.deallocate(pMemory, 0, s_szAccount);
        EXPECT_THAT(log.lines(), IsEmpty());
        EXPECT_EQ(0U, allocator.getStats(2).uiNumChunkDealloc);
        EXPECT_NE(pMemory, allocator.allocate(24, s_szAccount));
    }
    EXPECT_THAT(log.lines(), testing::Contains(leakLine(24)));
}

TEST(MemAllocator, ReleasingWithAWrongSizePutsTheChunkIntoTheWrongClassSilently)
{
    const CapturedLog log;
    Allocator allocator(logger(), true);
    void* const pMemory = allocator.allocate(16, s_szAccount);
    allocator.deallocate(pMemory, 8, s_szAccount);
    EXPECT_EQ(0U, allocator.getStats(1).uiNumChunkDealloc);
    EXPECT_EQ(1U, allocator.getStats(0).uiNumChunkDealloc);
    EXPECT_EQ(pMemory, allocator.allocate(8, s_szAccount));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(MemAllocator, HandsOutFreshBlocksFromTheHighestAddressDown)
{
    Allocator allocator(logger(), false);
    for (int iBlock = 0; iBlock < 4; ++iBlock)
    {
        const std::uintptr_t uiFirst = address(allocator.allocate(8, s_szAccount));
        for (unsigned uiChunk = 1; uiChunk < 128; ++uiChunk)
            ASSERT_EQ(uiFirst - 8 * uiChunk, address(allocator.allocate(8, s_szAccount)));
    }
}

TEST(MemAllocator, HandsOutTheLastReturnedChunkFirst)
{
    Allocator allocator(logger(), false);
    void* const pFirst = allocator.allocate(8, s_szAccount);
    void* const pSecond = allocator.allocate(8, s_szAccount);
    allocator.deallocate(pFirst, 8, s_szAccount);
    allocator.deallocate(pSecond, 8, s_szAccount);
    EXPECT_EQ(pSecond, allocator.allocate(8, s_szAccount));
    EXPECT_EQ(pFirst, allocator.allocate(8, s_szAccount));
}

TEST(MemAllocator, AReturnedChunkComesBeforeTheRestOfItsBlock)
{
    Allocator allocator(logger(), false);
    void* const pFirst = allocator.allocate(64, s_szAccount);
    allocator.deallocate(pFirst, 64, s_szAccount);
    EXPECT_EQ(pFirst, allocator.allocate(64, s_szAccount));
    EXPECT_EQ(address(pFirst) - 64, address(allocator.allocate(64, s_szAccount)));
}

TEST(MemAllocator, ManyChunksComeBackInTheReverseOfTheirReturn)
{
    Allocator allocator(logger(), false);
    for (const std::size_t uiCount :
         {63U, 64U, 65U, 127U, 128U, 129U, 511U, 512U, 513U, 1023U, 1024U, 1025U, 5000U})
    {
        SCOPED_TRACE(uiCount);
        std::vector<void*> chunks = allocateMany(allocator, 24, uiCount);
        deallocateAll(allocator, 24, chunks);
        std::reverse(chunks.begin(), chunks.end());
        EXPECT_EQ(chunks, allocateMany(allocator, 24, uiCount));
        deallocateAll(allocator, 24, chunks);
    }
}

TEST(MemAllocator, ObtainsASecondBlockOfEightByteChunksForThe129th)
{
    Allocator allocator(logger(), false);
    allocateMany(allocator, 8, 128);
    EXPECT_EQ(1U, allocator.getStats(0).uiNumMalloc);
    allocateMany(allocator, 8, 1);
    EXPECT_EQ(2U, allocator.getStats(0).uiNumMalloc);
}

TEST(MemAllocator, ObtainsABlockOnlyWhenNoChunkIsFree)
{
    Allocator allocator(logger(), false);
    for (std::size_t uiClass = 0; uiClass < 32; ++uiClass)
    {
        SCOPED_TRACE(uiClass);
        const std::size_t uiChunkSize = 8 * (uiClass + 1);
        const std::size_t uiChunksInABlock = std::max<std::size_t>(1024 / uiChunkSize, 4);
        std::vector<void*> chunks;
        for (unsigned uiBlocks = 1; uiBlocks <= 5; ++uiBlocks)
            for (std::size_t uiChunk = 0; uiChunk < uiChunksInABlock; ++uiChunk)
            {
                chunks.push_back(allocator.allocate(uiChunkSize, s_szAccount));
                ASSERT_EQ(uiBlocks, allocator.getStats(uiClass).uiNumMalloc);
            }
        deallocateAll(allocator, uiChunkSize, chunks);
        allocateMany(allocator, uiChunkSize, chunks.size());
        EXPECT_EQ(5U, allocator.getStats(uiClass).uiNumMalloc);
    }
}

TEST(MemAllocator, CountsEachChunkAtOnce)
{
    Allocator allocator(logger(), false);
    for (unsigned uiChunk = 1; uiChunk <= 300; ++uiChunk)
    {
        static_cast<void>(allocator.allocate(8, s_szAccount));
        ASSERT_EQ(uiChunk, allocator.getStats(0).uiNumChunkAlloc);
    }
}

TEST(MemAllocator, CountsEachReturnedChunkAtOnce)
{
    Allocator allocator(logger(), false);
    const std::vector<void*> chunks = allocateMany(allocator, 8, 300);
    unsigned uiReturned = 0;
    for (void* const pChunk : chunks)
    {
        allocator.deallocate(pChunk, 8, s_szAccount);
        ASSERT_EQ(++uiReturned, allocator.getStats(0).uiNumChunkDealloc);
    }
}

// Compares random allocations and releases in a class with a plain stack of free chunks.
TEST(MemAllocator, TheFreeChunksOfAClassAreOneStack)
{
    for (const std::size_t uiChunkSize : {8U, 16U, 64U, 200U, 256U})
    {
        SCOPED_TRACE(uiChunkSize);
        std::mt19937 random(static_cast<unsigned>(uiChunkSize));
        Allocator allocator(logger(), false);
        const std::size_t uiChunksInABlock = std::max<std::size_t>(1024 / uiChunkSize, 4);
        std::vector<std::uintptr_t> freeChunks;
        std::vector<void*> used;
        unsigned uiBlocks = 0;

        const auto allocateAndCompare = [&]
        {
            void* const pChunk = allocator.allocate(uiChunkSize, s_szAccount);
            if (freeChunks.empty())
            {
                ++uiBlocks;
                const std::uintptr_t uiLowest =
                    address(pChunk) - (uiChunksInABlock - 1) * uiChunkSize;
                for (std::size_t uiChunk = 0; uiChunk < uiChunksInABlock; ++uiChunk)
                    freeChunks.push_back(uiLowest + uiChunk * uiChunkSize);
            }
            ASSERT_EQ(freeChunks.back(), address(pChunk));
            freeChunks.pop_back();
            used.push_back(pChunk);
        };

        for (int iRun = 0; iRun < 400; ++iRun)
        {
            const bool bAllocate = random() % 2 == 0;
            for (unsigned uiLeft = random() % 700; uiLeft > 0 && (bAllocate || !used.empty());
                 --uiLeft)
                if (bAllocate)
                    ASSERT_NO_FATAL_FAILURE(allocateAndCompare());
                else
                {
                    std::swap(used[random() % used.size()], used.back());
                    allocator.deallocate(used.back(), uiChunkSize, s_szAccount);
                    freeChunks.push_back(address(used.back()));
                    used.pop_back();
                }
            ASSERT_EQ(uiBlocks, allocator.getStats(uiChunkSize / 8 - 1).uiNumMalloc);
        }
    }
}

TEST(MemAllocator, TracesItsBirthBeforeThoseOfItsElements)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const MemAllocator<ACE_Thread_Mutex, 2> allocator(logger(), false);
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "entering MemAllocatorNoT::MemAllocatorNoT"),
                            traceLine(s_szLogger, "exiting MemAllocatorNoT::MemAllocatorNoT"),
                            traceLine(s_szLogger, "ChunkAllocator::ChunkAllocator : 8 bytes"),
                            traceLine(s_szLogger, "ChunkAllocator::ChunkAllocator : 16 bytes")));
}

TEST(MemAllocator, DestroysItsElementsInOrderAndThenItsBase)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    {
        MemAllocator<ACE_Thread_Mutex, 2> allocator(logger(), true);
        static_cast<void>(allocator.allocate(8, s_szAccount));
        log.clear();
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "entering ChunkAllocatorNoT::~ChunkAllocatorNoT"),
                            leakLine(8), statsLine(8, 1, 1, 0),
                            traceLine(s_szLogger, "exiting ChunkAllocatorNoT::~ChunkAllocatorNoT"),
                            traceLine(s_szLogger, "entering ChunkAllocatorNoT::~ChunkAllocatorNoT"),
                            statsLine(16, 0, 0, 0),
                            traceLine(s_szLogger, "exiting ChunkAllocatorNoT::~ChunkAllocatorNoT"),
                            traceLine(s_szLogger, "entering MemAllocatorNoT::~MemAllocatorNoT"),
                            traceLine(s_szLogger, "exiting MemAllocatorNoT::~MemAllocatorNoT")));
}

TEST(MemAllocator, ReportsLeaksAndExcessOfEachClassWhenItDies)
{
    const CapturedLog log;
    ForeignChunk chunk{};
    {
        MemAllocator<ACE_Thread_Mutex, 4> allocator(logger(), true);
        allocateMany(allocator, 24, 200);
        allocator.deallocate(&chunk, 32, s_szAccount);
        allocator.deallocate(allocator.allocate(16, s_szAccount), 16, s_szAccount);
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(statsLine(8, 0, 0, 0), statsLine(16, 1, 1, 1), leakLine(24),
                            statsLine(24, 5, 200, 0), tooMuchLine(32), statsLine(32, 0, 0, 1)));
}

TEST(MemAllocator, ReportsNoLeaksWithoutTheFlag)
{
    const CapturedLog log;
    {
        MemAllocator<ACE_Thread_Mutex, 1> allocator(logger(), false);
        allocateMany(allocator, 8, 1);
    }
    EXPECT_THAT(log.lines(), ElementsAre(statsLine(8, 1, 1, 0)));
}

TEST(MemAllocator, FreesTheBlocksOfChunksInUse)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    std::optional<Allocator> allocator(std::in_place, logger(), true);
    std::vector<const void*> blocks;
    for (int iBlock = 0; iBlock < 40; ++iBlock)
        blocks.push_back(allocateMany(*allocator, 256, 4).back());
    const MallocWatch watch;
    allocator.reset();
    const std::vector<const void*> expected(blocks.rbegin(), blocks.rend());
    EXPECT_EQ(expected, watch.freedAmong(blocks));
}

TEST(MemAllocator, BuildsTheAllocatorOfAnElement)
{
    CapturedLog log;
    {
        OpenAllocator allocator(logger(), true);
        allocator.removeElement(2);
        log.clear();
        allocator.initChunkAllocator(&allocator.m_chunkAllocVector[2], 2);
        EXPECT_EQ(24U, allocator.m_chunkAllocVector[2]->getChunkSize());
        EXPECT_NE(nullptr, allocator.allocate(24, s_szAccount));
    }
    EXPECT_THAT(log.lines(), testing::Contains(leakLine(24)));
}

TEST(MemAllocator, HasAnElementForEachClass)
{
    OpenAllocator allocator(logger(), false);
    ASSERT_EQ(4U, allocator.m_chunkAllocVector.size());
    for (std::size_t uiClass = 0; uiClass < 4; ++uiClass)
        EXPECT_EQ(8 * (uiClass + 1), allocator.m_chunkAllocVector[uiClass]->getChunkSize());
}

TEST(MemAllocator, AllocatingFromANullElementTripsAnAssertionAndGivesNull)
{
    CapturedLog log;
    OpenAllocator allocator(logger(), false);
    allocator.removeElement(2);
    log.clear();
    EXPECT_EQ(nullptr, allocator.allocate(24, s_szAccount));
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("*chunkAllocIter != 0", "MemAllocatorT", s_szLogger)));
    EXPECT_EQ(1U, log.lines().size());
    EXPECT_NE(nullptr, allocator.allocate(16, s_szAccount)) << "the other elements work";
}

TEST(MemAllocator, ReleasingToANullElementTripsAnAssertionAndLeavesTheMemoryAlone)
{
    CapturedLog log;
    OpenAllocator allocator(logger(), false);
    allocator.removeElement(2);
    log.clear();
    ForeignChunk chunk{};
    allocator.deallocate(&chunk, 24, s_szAccount);
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("*chunkAllocIter != 0", "MemAllocatorT", s_szLogger)));
    EXPECT_EQ(1U, log.lines().size());
    EXPECT_EQ(0, std::memcmp(&chunk, ForeignChunk{}.bytes, sizeof(chunk)));
    EXPECT_EQ(nullptr, allocator.allocate(24, s_szAccount)) << "the memory is not handed out";
}

TEST(MemAllocator, DestroysOnlyTheElementsThatAreThere)
{
    CapturedLog log;
    {
        OpenAllocator allocator(logger(), false);
        allocator.removeElement(1);
        static_cast<void>(allocator.allocate(8, s_szAccount));
        log.clear();
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(statsLine(8, 1, 1, 0), statsLine(24, 0, 0, 0), statsLine(32, 0, 0, 0)));
}

TEST(MemAllocator, PairsInSteadyStateCallNoMallocAndTakeNoLock)
{
    MemAllocator<CountingMutex, 4> allocator(logger(), false);
    for (std::size_t uiSize = 8; uiSize <= 32; uiSize += 8)
        allocator.deallocate(allocator.allocate(uiSize, s_szAccount), uiSize, s_szAccount);

    const unsigned uiLocksBefore = CountingMutex::numAcquired();
    const MallocWatch watch;
    for (int iRound = 0; iRound < 10000; ++iRound)
        for (std::size_t uiSize = 8; uiSize <= 32; uiSize += 8)
            allocator.deallocate(allocator.allocate(uiSize, s_szAccount), uiSize, s_szAccount);
    EXPECT_EQ(0U, watch.countMallocs());
    EXPECT_EQ(0U, watch.countFrees());
    EXPECT_EQ(uiLocksBefore, CountingMutex::numAcquired());
}

TEST(MemAllocator, ChangingNumbersOfChunksInUseSeldomTakeALock)
{
    MemAllocator<CountingMutex, 1> allocator(logger(), false);
    deallocateAll(allocator, 8, allocateMany(allocator, 8, 5000));
    std::mt19937 random(1);
    std::vector<void*> used;
    const unsigned uiLocksBefore = CountingMutex::numAcquired();
    for (int iOperation = 0; iOperation < 100000; ++iOperation)
        if (used.empty() || (used.size() < 5000 && random() % 2 == 0))
            used.push_back(allocator.allocate(8, s_szAccount));
        else
        {
            allocator.deallocate(used.back(), 8, s_szAccount);
            used.pop_back();
        }
    EXPECT_GT(100000U / 50, CountingMutex::numAcquired() - uiLocksBefore);
}

TEST(MemAllocator, GrowingAndShrinkingInSteadyStateCallsNoMalloc)
{
    Allocator allocator(logger(), false);
    std::vector<void*> chunks = allocateMany(allocator, 40, 1000);
    deallocateAll(allocator, 40, chunks);
    const MallocWatch watch;
    for (int iRound = 0; iRound < 10; ++iRound)
    {
        for (void*& pChunk : chunks)
            pChunk = allocator.allocate(40, s_szAccount);
        deallocateAll(allocator, 40, chunks);
    }
    EXPECT_EQ(0U, watch.countMallocs());
    EXPECT_EQ(40U, allocator.getStats(4).uiNumMalloc);
}

TEST(MemAllocator, GoesOnWhenALockFails)
{
    MemAllocator<FailingMutex, 1> allocator(logger(), false);
    std::vector<void*> chunks = allocateMany(allocator, 8, 300);
    EXPECT_EQ(300U, std::set<void*>(chunks.begin(), chunks.end()).size());
    deallocateAll(allocator, 8, chunks);
    EXPECT_EQ(statsText(3, 300, 300), textOf(allocator.getStats(0)));
}

TEST(AceCleanupMemAllocator, DiesThroughItsCleanup)
{
    const CapturedLog log;
    auto* const pAllocator = new AceCleanupMemAllocator<ACE_Thread_Mutex, 1>(logger(), true);
    static_cast<void>(pAllocator->allocate(8, s_szAccount));
    ACE_Cleanup* const pCleanup = pAllocator;
    pCleanup->cleanup();
    EXPECT_THAT(log.lines(), ElementsAre(leakLine(8), statsLine(8, 1, 1, 0)));
}

} // namespace Velmora::Test
