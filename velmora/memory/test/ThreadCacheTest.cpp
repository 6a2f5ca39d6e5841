// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/ThreadCache.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/TextOf.h"
#include "tests/support/Threads.h"
#include "velmora/Sanitizers.h"
#include "velmora/memory/MemAllocatorT.h"
#include "velmora/memory/test/Locks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <iterator>
#include <latch>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;

constexpr const char* s_szLogger = "keswardin.infra.MemAllocator";
constexpr const char* s_szAccount = "test";

using Allocator = MemAllocator<ACE_Thread_Mutex, 32>;
using SmallAllocator = MemAllocator<ACE_Thread_Mutex, 1>;
using CountedAllocator = MemAllocator<CountingMutex, 1>;

Logger logger() { return Logger(s_szLogger); }

template <class TheAllocator>
std::vector<void*> allocateMany(TheAllocator& out_allocator, std::size_t in_uiCount)
{
    std::vector<void*> result(in_uiCount);
    for (void*& pMemory : result)
        pMemory = out_allocator.allocate(8, s_szAccount);
    return result;
}

template <class TheAllocator>
void deallocateAll(TheAllocator& out_allocator, const std::vector<void*>& in_memory)
{
    for (void* const pMemory : in_memory)
        out_allocator.deallocate(pMemory, 8, s_szAccount);
}

void allocateAHundredAndReleaseSeventy(SmallAllocator& out_allocator)
{
    std::vector<void*> chunks = allocateMany(out_allocator, 100);
    chunks.resize(70);
    deallocateAll(out_allocator, chunks);
}

/// A thread that runs a function and stays, until it is made to run another one and to end.
class ThreadThatStays
{
  public:
    explicit ThreadThatStays(std::function<void()> in_function)
        : m_thread(
              [this, function = std::move(in_function)]
              {
                  function();
                  m_done.count_down();
                  m_released.wait();
                  if (m_last)
                      m_last();
              })
    {
        m_done.wait();
    }
    ~ThreadThatStays() { end(nullptr); }

    void end(std::function<void()> in_last)
    {
        if (!m_thread.joinable())
            return;
        m_last = std::move(in_last);
        m_released.count_down();
        m_thread.join();
    }

  private:
    std::function<void()> m_last;
    std::latch m_done{1};
    std::latch m_released{1};
    std::thread m_thread;
};

std::string statsText(const ChunkAllocatorNoT::Stats& in_stats) { return textOf(in_stats); }

LogLine statsLine(const ChunkAllocatorNoT::Stats& in_stats)
{
    return debugLine(s_szLogger,
                     "Allocation stats for 8 bytes ChunkAllocator\n" + statsText(in_stats));
}

/// An allocator whose caches a test can close, so that it hands out the chunks of its classes.
template <class Mutex, unsigned long NumClasses>
class ClosableAllocator : public MemAllocator<Mutex, NumClasses>
{
  public:
    using MemAllocator<Mutex, NumClasses>::MemAllocator;
    using MemAllocatorNoT::closeCaches;
};

/// Forks, and returns whether the function is true in the child.
bool isTrueInChild(const std::function<bool()>& in_function)
{
    return exitCodeOfChild([&in_function] { return in_function() ? 0 : 1; }) == 0;
}

/// The memory that all threads of a test hold at one moment. Checks that none is handed out twice.
class MemoryInUse
{
  public:
    void add(const void* in_pMemory, std::size_t in_uiSize)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        const auto uiBegin = reinterpret_cast<std::uintptr_t>(in_pMemory);
        const auto [inserted, bNew] = m_sizes.emplace(uiBegin, in_uiSize);
        ASSERT_TRUE(bNew) << "handed out twice";
        const auto next = std::next(inserted);
        ASSERT_TRUE(next == m_sizes.end() || uiBegin + in_uiSize <= next->first)
            << "reaches into other memory";
        ASSERT_TRUE(inserted == m_sizes.begin() ||
                    std::prev(inserted)->first + std::prev(inserted)->second <= uiBegin)
            << "lies in other memory";
    }

    void remove(const void* in_pMemory)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        ASSERT_EQ(1U, m_sizes.erase(reinterpret_cast<std::uintptr_t>(in_pMemory)));
    }

  private:
    /// Guards `m_sizes`.
    std::mutex m_mutex;
    std::map<std::uintptr_t, std::size_t> m_sizes;
};

/// Memory that is filled with one character.
struct Filled
{
    char* pMemory;
    std::size_t uiSize;
    char cFill;
};

/// One thread with random operations: allocates, checks and releases its own memory, and memory
/// that other threads left at a meeting place.
class RandomWorker
{
  public:
    RandomWorker(Allocator& out_allocator, MemoryInUse& out_inUse,
                 std::array<std::atomic<Filled*>, 32>& out_meetingPlace, unsigned in_uiSeed)
        : m_allocator(out_allocator), m_inUse(out_inUse), m_meetingPlace(out_meetingPlace),
          m_random(in_uiSeed)
    {
    }

    void run(int in_iOperations)
    {
        for (int iOperation = 0; iOperation < in_iOperations; ++iOperation)
            switch (m_random() % 8)
            {
            case 0:
                burst();
                break;
            case 1:
                meet();
                break;
            case 2:
            case 3:
            case 4:
                m_own.push_back(allocate());
                break;
            default:
                if (!m_own.empty())
                    releaseOwn(m_random() % m_own.size());
            }
        while (!m_own.empty())
            releaseOwn(m_own.size() - 1);
    }

    void release(const Filled& in_filled)
    {
        EXPECT_EQ(std::string(in_filled.uiSize, in_filled.cFill),
                  std::string(in_filled.pMemory, in_filled.uiSize));
        m_inUse.remove(in_filled.pMemory);
        m_allocator.deallocate(in_filled.pMemory, in_filled.uiSize, s_szAccount);
    }

  private:
    Filled allocate()
    {
        Filled result{};
        // Mostly the smallest class, so that its magazines fill and empty.
        result.uiSize = 1 + m_random() % (m_random() % 4 == 0 ? 280 : 8);
        result.cFill = static_cast<char>(m_random());
        result.pMemory = static_cast<char*>(m_allocator.allocate(result.uiSize, s_szAccount));
        m_inUse.add(result.pMemory, result.uiSize);
        std::fill_n(result.pMemory, result.uiSize, result.cFill);
        return result;
    }

    void releaseOwn(std::size_t in_uiIndex)
    {
        release(m_own[in_uiIndex]);
        m_own[in_uiIndex] = m_own.back();
        m_own.pop_back();
    }

    /// Does many operations of one kind in succession, so that whole magazines move.
    void burst()
    {
        const unsigned uiCount = m_random() % 1500;
        if (m_random() % 2 == 0)
            for (unsigned uiLeft = uiCount; uiLeft > 0; --uiLeft)
                m_own.push_back(allocate());
        else
            for (unsigned uiLeft = uiCount; uiLeft > 0 && !m_own.empty(); --uiLeft)
                releaseOwn(m_own.size() - 1);
    }

    void meet()
    {
        auto& place = m_meetingPlace[m_random() % m_meetingPlace.size()];
        const std::unique_ptr<Filled> pTaken(place.exchange(new Filled(allocate())));
        if (pTaken)
            release(*pTaken);
    }

    Allocator& m_allocator;
    MemoryInUse& m_inUse;
    std::array<std::atomic<Filled*>, 32>& m_meetingPlace;
    std::mt19937 m_random;
    std::vector<Filled> m_own;
};

/// Runs the operations on the given number of threads concurrently, and releases all memory.
void runRandomWorkers(Allocator& out_allocator, unsigned in_uiThreads, int in_iOperations)
{
    MemoryInUse inUse;
    std::array<std::atomic<Filled*>, 32> meetingPlace{};
    onThreads(
        static_cast<int>(in_uiThreads), [&](unsigned in_uiThread)
        { RandomWorker(out_allocator, inUse, meetingPlace, in_uiThread + 1).run(in_iOperations); });
    RandomWorker last(out_allocator, inUse, meetingPlace, 0);
    for (auto& place : meetingPlace)
        if (const std::unique_ptr<Filled> pTaken(place.exchange(nullptr)); pTaken)
            last.release(*pTaken);
}

/// Allocates and releases memory in its destructor.
struct AllocatesWhenItDies
{
    ~AllocatesWhenItDies()
    {
        if (pAllocator != nullptr)
        {
            pAllocator->deallocate(pHeld, 8, s_szAccount);
            pAllocator->deallocate(pAllocator->allocate(8, s_szAccount), 8, s_szAccount);
        }
    }

    SmallAllocator* pAllocator = nullptr;
    void* pHeld = nullptr;
};

/// Runs a function on a thread that has already returned its caches.
void onAnEndingThread(const std::function<void()>& in_function)
{
    struct RunsWhenItDies
    {
        ~RunsWhenItDies()
        {
            if (function)
                function();
        }
        std::function<void()> function;
    };
    SmallAllocator allocator(logger(), false);
    onAnotherThread(
        [&]
        {
            // Constructed before the thread's first allocation, so it is destroyed after the
            // caches.
            thread_local RunsWhenItDies s_diesLate;
            s_diesLate.function = in_function;
            deallocateAll(allocator, allocateMany(allocator, 1));
        });
}

std::size_t countTaken(Magazine& out_magazine)
{
    std::size_t uiCount = 0;
    for (; !out_magazine.isEmpty(); ++uiCount)
        static_cast<void>(out_magazine.take());
    return uiCount;
}

} // namespace

TEST(ThreadCache, TheFreeChunksOfAnEndedThreadGoToOthersWithoutNewBlocks)
{
    SmallAllocator allocator(logger(), false);
    onAnotherThread([&] { deallocateAll(allocator, allocateMany(allocator, 4096)); });
    ASSERT_EQ(32U, allocator.getStats(0).uiNumMalloc);
    const std::vector<void*> chunks = allocateMany(allocator, 4096);
    EXPECT_EQ(32U, allocator.getStats(0).uiNumMalloc);
    EXPECT_EQ(4096U, std::set<void*>(chunks.begin(), chunks.end()).size());
}

TEST(ThreadCache, TheRestOfABlockGoesToOthersWhenItsThreadEnds)
{
    SmallAllocator allocator(logger(), false);
    void* pFirst = nullptr;
    onAnotherThread([&] { pFirst = allocator.allocate(8, s_szAccount); });
    const std::vector<void*> chunks = allocateMany(allocator, 127);
    EXPECT_EQ(1U, allocator.getStats(0).uiNumMalloc);
    EXPECT_THAT(chunks, testing::Not(Contains(pFirst)));
}

TEST(ThreadCache, ManyShortThreadsNeedNoMoreBlocksThanOne)
{
    SmallAllocator allocator(logger(), false);
    for (int iThread = 0; iThread < 300; ++iThread)
        onAnotherThread([&] { deallocateAll(allocator, allocateMany(allocator, 100)); });
    EXPECT_EQ(statsText({1, 30000, 30000}), statsText(allocator.getStats(0)));
}

TEST(ThreadCache, AnEndedThreadGivesBackInTheOrderOfOneStack)
{
    SmallAllocator allocator(logger(), false);
    std::vector<void*> chunks;
    onAnotherThread(
        [&]
        {
            chunks = allocateMany(allocator, 3000);
            deallocateAll(allocator, chunks);
        });
    std::reverse(chunks.begin(), chunks.end());
    EXPECT_EQ(chunks, allocateMany(allocator, 3000));
}

TEST(ThreadCache, MemoryOfAnEndedThreadStaysAndCanBeReleasedByAnother)
{
    SmallAllocator allocator(logger(), false);
    std::vector<void*> chunks;
    onAnotherThread(
        [&]
        {
            chunks = allocateMany(allocator, 300);
            for (void* const pChunk : chunks)
                *static_cast<void**>(pChunk) = pChunk;
        });
    allocateMany(allocator, 300);
    for (void* const pChunk : chunks)
        ASSERT_EQ(pChunk, *static_cast<void**>(pChunk));
    deallocateAll(allocator, chunks);
    EXPECT_EQ(statsText({5, 600, 300}), statsText(allocator.getStats(0)));
}

TEST(ThreadCache, StatisticsCountWhatLivingThreadsDid)
{
    SmallAllocator allocator(logger(), false);
    const ThreadThatStays thread([&] { allocateAHundredAndReleaseSeventy(allocator); });
    EXPECT_EQ(100U, allocator.getStats(0).uiNumChunkAlloc);
    EXPECT_EQ(70U, allocator.getStats(0).uiNumChunkDealloc);
}

TEST(ThreadCache, StatisticsNeverGoBackWhileThreadsWork)
{
    SmallAllocator allocator(logger(), false);
    RepeatingThreads worker(1, [&] { deallocateAll(allocator, allocateMany(allocator, 100)); });
    ChunkAllocatorNoT::Stats before;
    for (int iRound = 0; iRound < 10000; ++iRound)
    {
        const ChunkAllocatorNoT::Stats now = allocator.getStats(0);
        ASSERT_LE(before.uiNumChunkAlloc, now.uiNumChunkAlloc);
        ASSERT_LE(before.uiNumChunkDealloc, now.uiNumChunkDealloc);
        before = now;
    }
    worker.stop();
    EXPECT_EQ(allocator.getStats(0).uiNumChunkAlloc, allocator.getStats(0).uiNumChunkDealloc);
}

TEST(ThreadCache, AnAllocatorDiesWhileThreadsThatUsedItLive)
{
    const CapturedLog log;
    std::optional<SmallAllocator> allocator(std::in_place, logger(), true);
    const ThreadThatStays first([&] { deallocateAll(*allocator, allocateMany(*allocator, 5000)); });
    const ThreadThatStays second([&] { deallocateAll(*allocator, allocateMany(*allocator, 10)); });
    const std::uint64_t uiBlocks = allocator->getStats(0).uiNumMalloc;
    allocator.reset();
    EXPECT_THAT(log.lines(), ElementsAre(statsLine({uiBlocks, 5010, 5010})));
}

TEST(ThreadCache, ALeakOnALivingThreadIsReported)
{
    const CapturedLog log;
    std::optional<SmallAllocator> allocator(std::in_place, logger(), true);
    const ThreadThatStays thread([&] { allocateMany(*allocator, 3); });
    allocator.reset();
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "Memory leak in 8 bytes ChunkAllocator"),
                            statsLine({1, 3, 0})));
}

TEST(ThreadCache, TooManyReleasesOnALivingThreadAreReported)
{
    const CapturedLog log;
    alignas(8) std::array<char, 8> chunk{};
    std::optional<SmallAllocator> allocator(std::in_place, logger(), true);
    const ThreadThatStays thread([&] { allocator->deallocate(chunk.data(), 8, s_szAccount); });
    allocator.reset();
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "Deallocated too much in 8 bytes ChunkAllocator"),
                            statsLine({0, 0, 1})));
}

TEST(ThreadCache, WhatOneThreadAllocatedAndAnotherReleasedIsNoLeak)
{
    const CapturedLog log;
    std::optional<SmallAllocator> allocator(std::in_place, logger(), true);
    std::vector<void*> chunks;
    const ThreadThatStays first([&] { chunks = allocateMany(*allocator, 200); });
    const ThreadThatStays second([&] { deallocateAll(*allocator, chunks); });
    allocator.reset();
    EXPECT_THAT(log.lines(), ElementsAre(statsLine({2, 200, 200})));
}

TEST(ThreadCache, AThreadOutlivesTheAllocatorsThatItUsedAndUsesALaterOne)
{
    std::optional<SmallAllocator> allocator(std::in_place, logger(), false);
    ThreadThatStays thread([&] { deallocateAll(*allocator, allocateMany(*allocator, 100)); });
    allocator.reset();
    allocator.emplace(logger(), false);
    thread.end(
        [&]
        {
            deallocateAll(*allocator, allocateMany(*allocator, 100));
            EXPECT_EQ(statsText({1, 100, 100}), statsText(allocator->getStats(0)))
                << "the chunks must be those of the later allocator";
        });
}

TEST(ThreadCache, AllocatorsOfOneThreadDoNotMixTheirChunks)
{
    std::deque<SmallAllocator> allocators;
    for (int iAllocator = 0; iAllocator < 10; ++iAllocator)
        allocators.emplace_back(logger(), false);
    for (int iRound = 0; iRound < 100; ++iRound)
        for (SmallAllocator& allocator : allocators)
            deallocateAll(allocator, allocateMany(allocator, 128));
    for (SmallAllocator& allocator : allocators)
        EXPECT_EQ(statsText({1, 12800, 12800}), statsText(allocator.getStats(0)));
}

TEST(ThreadCache, MoreAllocatorsThanThereAreSlotsWork)
{
    std::deque<CountedAllocator> allocators;
    for (std::size_t uiAllocator = 0; uiAllocator < ThreadCaches::s_uiNumSlots + 10; ++uiAllocator)
        allocators.emplace_back(logger(), false);
    for (CountedAllocator& allocator : allocators)
    {
        std::vector<void*> chunks = allocateMany(allocator, 200);
        EXPECT_EQ(200U, std::set<void*>(chunks.begin(), chunks.end()).size());
        deallocateAll(allocator, chunks);
        std::reverse(chunks.begin(), chunks.end());
        EXPECT_EQ(chunks, allocateMany(allocator, 200));
        onAnotherThread([&] { deallocateAll(allocator, chunks); });
        EXPECT_EQ(statsText({2, 400, 400}), statsText(allocator.getStats(0)));
    }
}

TEST(ThreadCache, AnAllocatorWithoutASlotTakesTheLockOfTheClassForEachOperation)
{
    std::deque<CountedAllocator> allocators;
    for (std::size_t uiAllocator = 0; uiAllocator < ThreadCaches::s_uiNumSlots; ++uiAllocator)
        allocators.emplace_back(logger(), false);
    CountedAllocator without(logger(), false);
    const unsigned uiLocksBefore = CountingMutex::numAcquired();
    deallocateAll(without, allocateMany(without, 100));
    EXPECT_EQ(200U, CountingMutex::numAcquired() - uiLocksBefore);
}

TEST(ThreadCache, ALaterAllocatorGetsTheSlotOfADeadOne)
{
    std::deque<CountedAllocator> allocators;
    for (std::size_t uiAllocator = 0; uiAllocator < ThreadCaches::s_uiNumSlots; ++uiAllocator)
    {
        allocators.emplace_back(logger(), false);
        deallocateAll(allocators.back(), allocateMany(allocators.back(), 1));
    }
    allocators.pop_front();
    CountedAllocator later(logger(), false);
    deallocateAll(later, allocateMany(later, 1));
    const unsigned uiLocksBefore = CountingMutex::numAcquired();
    for (int iRound = 0; iRound < 100; ++iRound)
        deallocateAll(later, allocateMany(later, 1));
    EXPECT_EQ(uiLocksBefore, CountingMutex::numAcquired());
    EXPECT_EQ(statsText({1, 101, 101}), statsText(later.getStats(0)));
}

TEST(ThreadCache, ThreadLocalObjectsThatDieAfterTheCachesAllocateAndRelease)
{
    const CapturedLog log;
    std::optional<SmallAllocator> allocator(std::in_place, logger(), true);
    onAnotherThread(
        [&]
        {
            // Constructed before the thread's first allocation, so it is destroyed after the
            // caches.
            thread_local AllocatesWhenItDies s_diesLate;
            s_diesLate.pAllocator = &*allocator;
            s_diesLate.pHeld = allocator->allocate(8, s_szAccount);
        });
    allocator.reset();
    EXPECT_THAT(log.lines(), ElementsAre(statsLine({1, 2, 2})));
}

TEST(ThreadCache, ThreadLocalObjectsThatDieBeforeTheCachesAllocateAndRelease)
{
    const CapturedLog log;
    std::optional<SmallAllocator> allocator(std::in_place, logger(), true);
    onAnotherThread(
        [&]
        {
            void* const pHeld = allocator->allocate(8, s_szAccount);
            thread_local AllocatesWhenItDies s_diesEarly;
            s_diesEarly.pAllocator = &*allocator;
            s_diesEarly.pHeld = pHeld;
        });
    allocator.reset();
    EXPECT_THAT(log.lines(), ElementsAre(statsLine({1, 2, 2})));
}

TEST(ThreadCache, AThreadThatIsEndingUsesTheFullMagazinesOfOthers)
{
    SmallAllocator allocator(logger(), false);
    deallocateAll(allocator, allocateMany(allocator, 2048));
    ASSERT_EQ(16U, allocator.getStats(0).uiNumMalloc);
    onAnEndingThread([&] { allocateMany(allocator, 1024); });
    EXPECT_EQ(16U, allocator.getStats(0).uiNumMalloc);
}

TEST(ThreadCache, AThreadThatIsEndingGetsTheChunkThatItReturnedLast)
{
    SmallAllocator allocator(logger(), false);
    std::vector<void*> chunks = allocateMany(allocator, 2049);
    void* const pHeld = chunks.back();
    chunks.pop_back();
    deallocateAll(allocator, chunks);
    void* pGot = nullptr;
    onAnEndingThread(
        [&]
        {
            allocator.deallocate(pHeld, 8, s_szAccount);
            pGot = allocator.allocate(8, s_szAccount);
        });
    EXPECT_EQ(pHeld, pGot);
}

TEST(ThreadCache, AMagazineIsFilledWithEightChunksFirstThenWith64AndThenWithAllThatItHolds)
{
    ChunkAllocator<ACE_Thread_Mutex, 8> sizeClass(logger(), 1, false);
    std::vector<void*> chunks(4096);
    for (void*& pMemory : chunks)
        pMemory = sizeClass.allocate();
    for (void* const pMemory : chunks)
        sizeClass.deallocate(pMemory);
    Magazine magazine;
    // The third fill is what is left of the batch that the first two came from.
    for (const std::size_t uiExpected : {8U, 64U, 440U})
    {
        sizeClass.fill(magazine);
        EXPECT_FALSE(magazine.isFull());
        EXPECT_EQ(uiExpected, countTaken(magazine));
    }
    for (int iFill = 0; iFill < 7; ++iFill)
    {
        sizeClass.fill(magazine);
        EXPECT_TRUE(magazine.isFull());
        EXPECT_EQ(Magazine::s_uiCapacity, countTaken(magazine));
    }
}

TEST(ThreadCache, AMagazineHasRoomForWhatItWasNotFilledWith)
{
    ChunkAllocator<ACE_Thread_Mutex, 8> sizeClass(logger(), 1, false);
    Magazine magazine;
    sizeClass.fill(magazine);
    std::vector<FreeChunk> more(Magazine::s_uiCapacity - Magazine::s_uiFirstFill);
    for (FreeChunk& chunk : more)
    {
        ASSERT_FALSE(magazine.isFull());
        magazine.put(magazine.take());
        magazine.put(&chunk);
    }
    EXPECT_TRUE(magazine.isFull());
    EXPECT_EQ(Magazine::s_uiCapacity, countTaken(magazine));
}

TEST(ThreadCache, AMagazineCountsTheChunksThatItGivesBack)
{
    std::array<FreeChunk, 5> chunks{};
    Magazine magazine;
    EXPECT_TRUE(magazine.isUnused());
    magazine.makeLoadedSpare();
    for (FreeChunk& chunk : chunks)
        magazine.put(&chunk);
    EXPECT_FALSE(magazine.isUnused());
    static_cast<void>(magazine.take());
    EXPECT_EQ(4U, magazine.removeLoaded().uiNumChunks);
    EXPECT_EQ(nullptr, magazine.removeLoaded().pFirst);
    EXPECT_FALSE(magazine.isUnused()) << "its counts are not yet added";
}

TEST(ThreadCache, TheFirstBlockOfANewThreadReadsEightFreeChunksAtMost)
{
    SmallAllocator allocator(logger(), false);
    std::vector<void*> chunks;
    onAnotherThread(
        [&]
        {
            chunks = allocateMany(allocator, 4000);
            deallocateAll(allocator, chunks);
        });
    // A walk past the eighth chunk would crash.
    std::vector<FreeChunk*> links;
    for (std::size_t uiLeft = chunks.size() - Magazine::s_uiFirstFill; uiLeft > 0; --uiLeft)
    {
        auto* const pChunk = static_cast<FreeChunk*>(chunks[uiLeft - 1]);
        links.push_back(std::exchange(pChunk->pNext, reinterpret_cast<FreeChunk*>(8)));
    }
    onAnotherThread([&] { EXPECT_EQ(chunks.back(), allocator.allocate(8, s_szAccount)); });
    for (std::size_t uiLeft = chunks.size() - Magazine::s_uiFirstFill; uiLeft > 0; --uiLeft)
        static_cast<FreeChunk*>(chunks[uiLeft - 1])->pNext =
            links[chunks.size() - Magazine::s_uiFirstFill - uiLeft];
    const std::vector<void*> rest = allocateMany(allocator, 3999);
    EXPECT_EQ(3999U, std::set<void*>(rest.begin(), rest.end()).size());
}

TEST(ThreadCache, AnEndedThreadTakesTheLocksOfTheClassesThatItUsedOnly)
{
    MemAllocator<CountingMutex, 32> allocator(logger(), false);
    unsigned uiLocksBefore = 0;
    onAnotherThread(
        [&]
        {
            allocator.deallocate(allocator.allocate(8, s_szAccount), 8, s_szAccount);
            allocator.deallocate(allocator.allocate(256, s_szAccount), 256, s_szAccount);
            uiLocksBefore = CountingMutex::numAcquired();
        });
    EXPECT_EQ(2U, CountingMutex::numAcquired() - uiLocksBefore);
}

TEST(ThreadCache, ANewThreadKeepsFewChunksFromTheOthers)
{
    SmallAllocator allocator(logger(), false);
    onAnotherThread([&] { deallocateAll(allocator, allocateMany(allocator, 1024)); });
    const ThreadThatStays first([&] { allocateMany(allocator, 1); });
    const ThreadThatStays second([&] { allocateMany(allocator, 1); });
    allocateMany(allocator, 1024 - 2 * Magazine::s_uiFirstFill);
    EXPECT_EQ(8U, allocator.getStats(0).uiNumMalloc);
}

TEST(ThreadCache, AMagazineThatHasGivenItsChunksAwayHasRoomForAllOfThemAgain)
{
    std::vector<FreeChunk> chunks(2 * Magazine::s_uiCapacity);
    Magazine magazine;
    magazine.makeLoadedSpare();
    const auto fill = [&magazine](FreeChunk* in_pFirst)
    {
        for (FreeChunk* pChunk = in_pFirst; pChunk != in_pFirst + Magazine::s_uiCapacity; ++pChunk)
        {
            ASSERT_FALSE(magazine.isFull());
            magazine.put(pChunk);
        }
        EXPECT_TRUE(magazine.isFull());
    };
    fill(chunks.data());
    magazine.makeLoadedSpare();
    fill(chunks.data() + Magazine::s_uiCapacity);
    static_cast<void>(magazine.removeLoaded());
    EXPECT_TRUE(magazine.isEmpty());
    fill(chunks.data() + Magazine::s_uiCapacity);
}

TEST(ThreadCache, SixtyFourAllocatorsHaveCachesAtATime)
{
    std::deque<CountedAllocator> allocators;
    std::size_t uiWithCaches = 0;
    for (std::size_t uiAllocator = 0; uiAllocator < ThreadCaches::s_uiNumSlots + 10; ++uiAllocator)
    {
        CountedAllocator& allocator = allocators.emplace_back(logger(), false);
        deallocateAll(allocator, allocateMany(allocator, 1));
        const unsigned uiLocksBefore = CountingMutex::numAcquired();
        deallocateAll(allocator, allocateMany(allocator, 1));
        uiWithCaches += uiLocksBefore == CountingMutex::numAcquired() ? 1 : 0;
    }
    // The library has two allocators of its own.
    EXPECT_EQ(62U, uiWithCaches);
}

TEST(ThreadCache, WithoutItsCachesAnAllocatorTakesTheLockOfTheClassForEachOperation)
{
    ClosableAllocator<CountingMutex, 1> allocator(logger(), false);
    deallocateAll(allocator, allocateMany(allocator, 100));
    allocator.closeCaches();
    const unsigned uiLocksBefore = CountingMutex::numAcquired();
    deallocateAll(allocator, allocateMany(allocator, 100));
    EXPECT_EQ(200U, CountingMutex::numAcquired() - uiLocksBefore);
    EXPECT_EQ(statsText({1, 200, 200}), statsText(allocator.getStats(0)));
}

TEST(ThreadCache, AProducerAndAConsumerNeedFewBlocksAndFewLocks)
{
    constexpr int s_iMessages = 100000;
    CountedAllocator allocator(logger(), false);
    std::array<std::atomic<void*>, 16> ring{};
    const unsigned uiLocksBefore = CountingMutex::numAcquired();
    std::thread producer(
        [&]
        {
            for (int iMessage = 0; iMessage < s_iMessages; ++iMessage)
            {
                void* const pMessage = allocator.allocate(8, s_szAccount);
                *static_cast<int*>(pMessage) = iMessage;
                std::atomic<void*>& place = ring[static_cast<unsigned>(iMessage) % ring.size()];
                while (place.load() != nullptr)
                    std::this_thread::yield();
                place.store(pMessage);
            }
        });
    std::thread consumer(
        [&]
        {
            for (int iMessage = 0; iMessage < s_iMessages; ++iMessage)
            {
                std::atomic<void*>& place = ring[static_cast<unsigned>(iMessage) % ring.size()];
                void* pMessage = nullptr;
                while ((pMessage = place.exchange(nullptr)) == nullptr)
                    std::this_thread::yield();
                ASSERT_EQ(iMessage, *static_cast<int*>(pMessage));
                allocator.deallocate(pMessage, 8, s_szAccount);
            }
        });
    producer.join();
    consumer.join();
    EXPECT_GT(static_cast<unsigned>(s_iMessages) / 16,
              CountingMutex::numAcquired() - uiLocksBefore);
    const ChunkAllocatorNoT::Stats stats = allocator.getStats(0);
    // Each thread keeps at most two magazines, and one may be in transit; a block has 128 chunks.
    EXPECT_GE(5 * Magazine::s_uiCapacity / 128 + 1, stats.uiNumMalloc);
    EXPECT_EQ(100000U, stats.uiNumChunkAlloc);
    EXPECT_EQ(100000U, stats.uiNumChunkDealloc);
}

TEST(ThreadCache, NoChunkIsHandedOutTwiceToOneThread)
{
    const CapturedLog log;
    std::optional<Allocator> allocator(std::in_place, logger(), true);
    runRandomWorkers(*allocator, 1, 20000);
    allocator.reset();
    EXPECT_THAT(log.lines(), testing::Each(testing::Field(&LogLine::level, DEBUG_LOG_LEVEL)));
}

TEST(ThreadCache, NoChunkIsHandedOutTwiceToTwoThreads)
{
    const CapturedLog log;
    std::optional<Allocator> allocator(std::in_place, logger(), true);
    runRandomWorkers(*allocator, 2, 10000);
    allocator.reset();
    EXPECT_THAT(log.lines(), testing::Each(testing::Field(&LogLine::level, DEBUG_LOG_LEVEL)));
}

TEST(ThreadCache, NoChunkIsHandedOutTwiceToManyThreadsThatComeAndGo)
{
    const CapturedLog log;
    std::optional<Allocator> allocator(std::in_place, logger(), true);
    for (int iRound = 0; iRound < 10; ++iRound)
        runRandomWorkers(*allocator, 6, 500);
    allocator.reset();
    EXPECT_THAT(log.lines(), testing::Each(testing::Field(&LogLine::level, DEBUG_LOG_LEVEL)));
}

TEST(ThreadCache, AllocatorsComeAndGoWhileThreadsUseOthers)
{
    Allocator allocator(logger(), false);
    RepeatingThreads churn(1,
                           [&]
                           {
                               SmallAllocator shortLived(logger(), false);
                               deallocateAll(shortLived, allocateMany(shortLived, 10));
                           });
    runRandomWorkers(allocator, 2, 2000);
    churn.stop();
    for (std::size_t uiClass = 0; uiClass < 32; ++uiClass)
        EXPECT_EQ(allocator.getStats(uiClass).uiNumChunkAlloc,
                  allocator.getStats(uiClass).uiNumChunkDealloc);
}

// Forks

TEST(ThreadCache, InAChildTheChunksOfOtherThreadsStayUnused)
{
    constexpr std::size_t s_uiCount = 700;
    ClosableAllocator<ACE_Thread_Mutex, 2> allocator(logger(), false);
    std::set<void*> kept;
    // More chunks than one magazine holds, so that there is a spare one in each class; none goes to
    // the class.
    const auto useBothClasses = [&]
    {
        for (const std::size_t uiSize : {8U, 16U})
        {
            std::vector<void*> chunks(s_uiCount);
            for (void*& pMemory : chunks)
                pMemory = allocator.allocate(uiSize, s_szAccount);
            for (void* const pMemory : chunks)
                allocator.deallocate(pMemory, uiSize, s_szAccount);
            kept.insert(chunks.begin(), chunks.end());
        }
    };
    const ThreadThatStays older(useBothClasses);
    void* const pOwn = allocator.allocate(8, s_szAccount);
    const ThreadThatStays younger(useBothClasses);

    EXPECT_TRUE(isTrueInChild(
        [&]
        {
            allocator.deallocate(pOwn, 8, s_szAccount);
            allocator.closeCaches();
            bool bUnused = kept.size() == 4 * s_uiCount;
            for (const std::size_t uiSize : {8U, 16U})
                for (std::size_t uiChunk = 0; uiChunk < 3 * s_uiCount; ++uiChunk)
                    bUnused = !kept.contains(allocator.allocate(uiSize, s_szAccount)) && bUnused;
            return bUnused;
        }));
}

TEST(ThreadCache, InAChildTheForkingThreadGoesOnWithItsChunks)
{
    SmallAllocator allocator(logger(), false);
    const ThreadThatStays older([&] { deallocateAll(allocator, allocateMany(allocator, 10)); });
    std::vector<void*> chunks = allocateMany(allocator, 5);
    const ThreadThatStays younger([&] { deallocateAll(allocator, allocateMany(allocator, 10)); });
    deallocateAll(allocator, chunks);
    std::reverse(chunks.begin(), chunks.end());

    EXPECT_TRUE(isTrueInChild([&] { return allocateMany(allocator, 5) == chunks; }));
}

TEST(ThreadCache, InAChildWhatOtherThreadsCountedCounts)
{
    SmallAllocator allocator(logger(), false);
    const ThreadThatStays thread([&] { allocateAHundredAndReleaseSeventy(allocator); });
    allocateMany(allocator, 1);

    EXPECT_TRUE(isTrueInChild(
        [&] {
            return statsText(allocator.getStats(0)) == statsText({2, 101, 70});
        }));
}

TEST(ThreadCache, InAChildTheForkingThreadNeedsNoCachesOfItsOwn)
{
    std::optional<SmallAllocator> allocator(std::in_place, logger(), false);
    std::optional<SmallAllocator> unused(std::in_place, logger(), false);
    const ThreadThatStays thread([&] { deallocateAll(*allocator, allocateMany(*allocator, 10)); });
    bool bWell = false;
    onAnotherThread(
        [&]
        {
            bWell = isTrueInChild(
                [&]
                {
                    unused.reset();
                    const std::vector<void*> chunks = allocateMany(*allocator, 10);
                    deallocateAll(*allocator, chunks);
                    allocator.reset();
                    return true;
                });
        });
    EXPECT_TRUE(bWell);
}

/// What a child does with a thread whose stack is where one of its parent was. Returns true.
bool usesAThreadOfItsOwn(SmallAllocator& out_allocator)
{
    const ThreadThatStays thread(
        [&] { deallocateAll(out_allocator, allocateMany(out_allocator, 10)); });
    // Iterates over the tables of all threads.
    std::optional<SmallAllocator> shortLived(std::in_place, logger(), false);
    deallocateAll(*shortLived, allocateMany(*shortLived, 10));
    shortLived.reset();
    return true;
}

TEST(ThreadCache, InAChildANewThreadTakesThePlaceOfAnOlderOneThatIsNotThere)
{
#if VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer ends a child that begins a thread";
#endif
    SmallAllocator allocator(logger(), false);
    const ThreadThatStays older([&] { deallocateAll(allocator, allocateMany(allocator, 10)); });
    onAnotherThread(
        [&]
        {
            deallocateAll(allocator, allocateMany(allocator, 10));
            EXPECT_TRUE(isTrueInChild([&] { return usesAThreadOfItsOwn(allocator); }));
        });
}

TEST(ThreadCache, InAChildANewThreadTakesThePlaceOfAYoungerOneThatIsNotThere)
{
#if VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer ends a child that begins a thread";
#endif
    SmallAllocator allocator(logger(), false);
    deallocateAll(allocator, allocateMany(allocator, 10));
    const ThreadThatStays younger([&] { deallocateAll(allocator, allocateMany(allocator, 10)); });
    EXPECT_TRUE(isTrueInChild([&] { return usesAThreadOfItsOwn(allocator); }));
}

} // namespace Velmora::Test
