// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/PerThreadMemAllocator.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/Threads.h"
#include "tests/support/WaitUntil.h"
#include "velmora/memory/test/MallocWatch.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <limits>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

/// How often this thread has called `gettid`.
thread_local int s_iTimesAsked = 0;

} // namespace

/// Replaces the function of the C library and counts the calls.
extern "C" __attribute__((visibility("default"))) pid_t gettid() noexcept
{
    using Function = pid_t (*)();
    static const auto s_pReal = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "gettid"));
    ++s_iTimesAsked;
    return s_pReal();
}

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szAccount = "test";
constexpr std::size_t s_uiNumber = 16;

constexpr const char* s_szNoOwner = "*ppAllocator != 0";
constexpr const char* s_szNoMagic =
    "*(ppAllocator + 1) == reinterpret_cast<AllocatorPtr> (getMagicToken())";

using Chunks = MemAllocator<ACE_Thread_Mutex, 32>;

FailedAssertion brokenHeader(const char* in_szCondition)
{
    return failedAssertion(in_szCondition, "PerThreadMemAllocator", "keswardin.infra.Assertion");
}

/// Gives a test access to the allocators.
class Allocators : public PerThreadMemAllocator<Chunks>
{
  public:
    explicit Allocators(std::size_t in_uiNumber = s_uiNumber)
        : PerThreadMemAllocator(in_uiNumber, Logger("test"), false)
    {
    }

    [[nodiscard]] Chunks* at(std::size_t in_uiIndex) const
    {
        return m_allocators[in_uiIndex].get();
    }

    /// Returns the allocator that the calling thread allocates from.
    [[nodiscard]] Chunks* ofThisThread() const
    {
        return at(static_cast<std::size_t>(::gettid()) % m_allocators.size());
    }

    /// Return, for each allocator, the number of chunks handed out or taken back in the class of
    /// this size with its header.
    [[nodiscard]] std::vector<std::uint64_t> given(std::size_t in_uiSize) const
    {
        return counts(in_uiSize, &ChunkAllocatorNoT::Stats::uiNumChunkAlloc);
    }
    [[nodiscard]] std::vector<std::uint64_t> taken(std::size_t in_uiSize) const
    {
        return counts(in_uiSize, &ChunkAllocatorNoT::Stats::uiNumChunkDealloc);
    }

  private:
    [[nodiscard]] std::vector<std::uint64_t>
    counts(std::size_t in_uiSize, std::uint64_t ChunkAllocatorNoT::Stats::*in_pCount) const
    {
        std::vector<std::uint64_t> result;
        for (const auto& pAllocator : m_allocators)
            result.push_back(pAllocator->getStats((in_uiSize + 16 - 1) / 8).*in_pCount);
        return result;
    }
};

struct Header
{
    const void* pAllocator;
    std::size_t uiMagic;
};

Header& headerOf(void* in_pMemory) { return static_cast<Header*>(in_pMemory)[-1]; }

/// Records its destruction.
class Noted
{
  public:
    Noted(std::vector<int>& out_died, int& inout_iNext) : m_died(out_died), m_iNumber(inout_iNext++)
    {
    }
    Noted(const Noted&) = delete;
    Noted& operator=(const Noted&) = delete;
    ~Noted() { m_died.push_back(m_iNumber); }
    static void* allocate(std::size_t, const char*) { return nullptr; }
    static void deallocate(void*, std::size_t, const char*) {}

  private:
    std::vector<int>& m_died;
    int m_iNumber;
};

/// A block that one thread passes to another.
struct Handed
{
    char* pMemory;
    std::size_t uiSize;
    char cContent;
};

/// Passes blocks between threads.
class Exchange
{
  public:
    void put(const Handed& in_block)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_blocks.push_back(in_block);
    }
    std::optional<Handed> get()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (m_blocks.empty())
            return std::nullopt;
        const Handed block = m_blocks.front();
        m_blocks.pop_front();
        return block;
    }

  private:
    /// Guards `m_blocks`.
    std::mutex m_mutex;
    std::deque<Handed> m_blocks;
};

} // namespace

// Blocks

TEST(PerThreadMemAllocator, AThreadAllocatesFromTheAllocatorOfItsIdentifier)
{
    Allocators allocators;
    EXPECT_EQ(allocators.ofThisThread(), headerOf(allocators.allocate(8, s_szAccount)).pAllocator);
    for (int iThread = 0; iThread < 40; ++iThread)
        onAnotherThread(
            [&allocators]
            {
                EXPECT_EQ(allocators.ofThisThread(),
                          headerOf(allocators.allocate(8, s_szAccount)).pAllocator);
            });
}

TEST(PerThreadMemAllocator, ThreadsThatFollowEachOtherAreSpreadOverTheAllocators)
{
    Allocators allocators;
    for (std::size_t uiThread = 0; uiThread < 10 * s_uiNumber; ++uiThread)
        onAnotherThread([&allocators] { static_cast<void>(allocators.allocate(8, s_szAccount)); });
    const std::vector<std::uint64_t> given = allocators.given(8);
    // Other processes also get thread ids.
    EXPECT_LT(8, std::count_if(given.begin(), given.end(),
                               [](std::uint64_t in_uiGiven) { return in_uiGiven != 0; }));
}

TEST(PerThreadMemAllocator, AnyNumberOfAllocatorsWillDo)
{
    for (const std::size_t uiNumber : {1U, 3U, 7U, 100U})
    {
        Allocators allocators(uiNumber);
        void* const pMemory = allocators.allocate(8, s_szAccount);
        EXPECT_EQ(allocators.ofThisThread(), headerOf(pMemory).pAllocator);
        allocators.deallocate(pMemory, 8, s_szAccount);
    }
}

TEST(PerThreadMemAllocator, AThreadAsksForItsIdentifierOnce)
{
    Allocators allocators;
    onAnotherThread(
        [&allocators]
        {
            for (int iTime = 0; iTime < 100; ++iTime)
                static_cast<void>(allocators.allocate(8, s_szAccount));
            EXPECT_EQ(1, s_iTimesAsked);
        });
}

TEST(PerThreadMemAllocator, ABlockHasAHeaderOfOwnerAndMagic)
{
    EXPECT_EQ(0x5A7DU, Allocators::getMagicToken());
    Allocators allocators;
    void* const pMemory = allocators.allocate(8, s_szAccount);
    EXPECT_EQ(allocators.ofThisThread(), headerOf(pMemory).pAllocator);
    EXPECT_EQ(0x5A7DU, headerOf(pMemory).uiMagic);
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(pMemory) % 8);
}

TEST(PerThreadMemAllocator, ABlockTakesSixteenBytesMoreThanItsSize)
{
    Allocators allocators;
    const Chunks* const pAllocator = allocators.ofThisThread();
    for (const auto& [uiSize, uiClass] : {std::pair(1, 2), {8, 2}, {9, 3}, {240, 31}})
    {
        const std::uint64_t uiBefore =
            pAllocator->getStats(static_cast<std::size_t>(uiClass)).uiNumChunkAlloc;
        static_cast<void>(allocators.allocate(static_cast<std::size_t>(uiSize), s_szAccount));
        EXPECT_EQ(uiBefore + 1,
                  pAllocator->getStats(static_cast<std::size_t>(uiClass)).uiNumChunkAlloc)
            << uiSize;
    }
}

TEST(PerThreadMemAllocator, ASizeOfZeroGivesABlock)
{
    Allocators allocators;
    void* const pMemory = allocators.allocate(0, s_szAccount);
    ASSERT_NE(nullptr, pMemory);
    EXPECT_EQ(1U, allocators.ofThisThread()->getStats(1).uiNumChunkAlloc);
    allocators.deallocate(pMemory, 0, s_szAccount);
    EXPECT_EQ(1U, allocators.ofThisThread()->getStats(1).uiNumChunkDealloc);
}

TEST(PerThreadMemAllocator, TheLargestChunkIsForTwoHundredAndFortyBytes)
{
    Allocators allocators;
    allocators.deallocate(allocators.allocate(240, s_szAccount), 240, s_szAccount);
    const MallocWatch watch;
    allocators.deallocate(allocators.allocate(240, s_szAccount), 240, s_szAccount);
    EXPECT_EQ(0U, watch.countMallocs());
}

TEST(PerThreadMemAllocator, ALargerBlockComesFromMallocAndGoesBackToFree)
{
    Allocators allocators;
    const MallocWatch watch;
    void* const pMemory = allocators.allocate(241, s_szAccount);
    EXPECT_THAT(watch.sizes(), ElementsAre(257));
    EXPECT_EQ(0x5A7DU, headerOf(pMemory).uiMagic);
    allocators.deallocate(pMemory, 241, s_szAccount);
    EXPECT_THAT(watch.freedAmong({&headerOf(pMemory)}), ElementsAre(&headerOf(pMemory)));
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER
TEST(PerThreadMemAllocator, WithoutMemoryThereIsNoBlock)
{
    Allocators allocators;
    const MallocFailure failure;
    EXPECT_EQ(nullptr, allocators.allocate(241, s_szAccount));
}
#endif

TEST(PerThreadMemAllocator, ASizeThatLeavesNoRoomForTheHeaderGivesNothing)
{
    Allocators allocators;
    for (std::size_t uiSize = 0; uiSize < 16; ++uiSize)
        EXPECT_EQ(nullptr, allocators.allocate(std::numeric_limits<std::size_t>::max() - uiSize,
                                               s_szAccount));
}

// Release

TEST(PerThreadMemAllocator, ABlockReleasedByAnotherThreadGoesBackToItsOwnAllocator)
{
    Allocators allocators;
    void* const pMemory = allocators.allocate(24, s_szAccount);
    const std::vector<std::uint64_t> given = allocators.given(24);
    for (bool bOther = false; !bOther;)
        onAnotherThread(
            [&]
            {
                bOther = allocators.ofThisThread() != headerOf(pMemory).pAllocator;
                if (bOther)
                    allocators.deallocate(pMemory, 24, s_szAccount);
            });
    EXPECT_EQ(given, allocators.taken(24));
    // The thread has ended, so its chunks are back in the class.
    EXPECT_EQ(1U, allocators.ofThisThread()->getStats(4).uiNumMalloc);
    std::vector<void*> again;
    for (int iBlock = 0; iBlock < 25; ++iBlock)
        again.push_back(allocators.allocate(24, s_szAccount));
    EXPECT_THAT(again, testing::Contains(pMemory));
    EXPECT_EQ(1U, allocators.ofThisThread()->getStats(4).uiNumMalloc);
}

TEST(PerThreadMemAllocator, BlocksOfAThreadThatHasEndedStay)
{
    Allocators allocators;
    char* pMemory = nullptr;
    onAnotherThread(
        [&]
        {
            pMemory = static_cast<char*>(allocators.allocate(24, s_szAccount));
            std::memset(pMemory, 'x', 24);
        });
    EXPECT_EQ(std::string(24, 'x'), std::string(pMemory, 24));
    allocators.deallocate(pMemory, 24, s_szAccount);
    EXPECT_EQ(allocators.given(24), allocators.taken(24));
}

TEST(PerThreadMemAllocator, ReleasingNothingDoesNothing)
{
    Allocators allocators;
    const CapturedLog log;
    allocators.deallocate(nullptr, 8, s_szAccount);
    EXPECT_EQ(std::vector<std::uint64_t>(s_uiNumber), allocators.taken(8));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(PerThreadMemAllocator, ABlockWithoutOwnerFailsAnAssertionAndIsNotReleased)
{
    Allocators allocators;
    void* const pMemory = allocators.allocate(8, s_szAccount);
    headerOf(pMemory).pAllocator = nullptr;
    const CapturedLog log;
    allocators.deallocate(pMemory, 8, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenHeader(s_szNoOwner)));
    EXPECT_EQ(std::vector<std::uint64_t>(s_uiNumber), allocators.taken(8));
}

TEST(PerThreadMemAllocator, ABlockWithoutMagicFailsAnAssertionAndIsNotReleased)
{
    Allocators allocators;
    void* const pMemory = allocators.allocate(8, s_szAccount);
    headerOf(pMemory).uiMagic = 0x5A7C;
    const CapturedLog log;
    allocators.deallocate(pMemory, 8, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenHeader(s_szNoMagic)));
    EXPECT_EQ(std::vector<std::uint64_t>(s_uiNumber), allocators.taken(8));
    EXPECT_EQ(0x5A7CU, headerOf(pMemory).uiMagic);
}

TEST(PerThreadMemAllocator, ABlockReleasedTwiceFailsAnAssertionAndIsLeftAlone)
{
    Allocators allocators;
    void* const pFirst = allocators.allocate(8, s_szAccount);
    void* const pSecond = allocators.allocate(8, s_szAccount);
    allocators.deallocate(pFirst, 8, s_szAccount);
    const CapturedLog log;
    allocators.deallocate(pFirst, 8, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenHeader(s_szNoMagic)));
    // The free chunks are still one stack.
    EXPECT_EQ(pFirst, allocators.allocate(8, s_szAccount));
    EXPECT_NE(pFirst, allocators.allocate(8, s_szAccount));
    allocators.deallocate(pSecond, 8, s_szAccount);
    EXPECT_EQ(1U, log.lines().size());
}

TEST(PerThreadMemAllocator, TheLastFreeChunkReleasedTwiceFailsAnAssertionAndIsLeftAlone)
{
    // With its header, a block of 8 bytes takes a chunk of 24, of which a block has 42. The last
    // free chunk has no next one, so its first word is null.
    constexpr std::size_t uiChunksInBlock = 42;
    Allocators allocators;
    std::array<void*, uiChunksInBlock> blocks{};
    for (void*& pMemory : blocks)
        pMemory = allocators.allocate(8, s_szAccount);
    allocators.deallocate(blocks[0], 8, s_szAccount);
    const CapturedLog log;
    allocators.deallocate(blocks[0], 8, s_szAccount);
    EXPECT_THAT(failedAssertions(log), ElementsAre(brokenHeader(s_szNoOwner)));
    EXPECT_EQ(blocks[0], allocators.allocate(8, s_szAccount));
}

// Life

TEST(PerThreadMemAllocator, ItsAllocatorsDieInTheirOrder)
{
    std::vector<int> died;
    int iNext = 0;
    struct Made
    {
        std::vector<int>& died;
        int& iNext;
    };
    class Counted : public Noted
    {
      public:
        explicit Counted(const Made& in_made) : Noted(in_made.died, in_made.iNext) {}
    };
    {
        const PerThreadMemAllocator<Counted> allocators(4, Made{died, iNext});
    }
    EXPECT_THAT(died, ElementsAre(0, 1, 2, 3));
}

TEST(PerThreadMemAllocator, MayDieWhileThreadsThatUsedItLive)
{
    std::atomic<bool> bStop{false};
    std::atomic<bool> bUsed{false};
    std::optional<Allocators> allocators(std::in_place);
    std::thread thread(
        [&]
        {
            allocators->deallocate(allocators->allocate(8, s_szAccount), 8, s_szAccount);
            bUsed = true;
            while (!bStop)
                std::this_thread::yield();
        });
    EXPECT_TRUE(waitUntil([&bUsed] { return bUsed.load(); }));
    allocators.reset();
    bStop = true;
    thread.join();
}

TEST(PerThreadMemAllocator, AChildOfAForkAllocatesByItsOwnIdentifier)
{
    Allocators allocators;
    void* const pOfParent = allocators.allocate(8, s_szAccount);
    // Two children, because the id of one may have the same remainder as that of the parent.
    for (std::size_t uiChild = 0; uiChild < 2; ++uiChild)
    {
        const int iCode = exitCodeOfChild(
            [&]
            {
                void* const pMemory = allocators.allocate(8, s_szAccount);
                const bool bOwn = headerOf(pMemory).pAllocator == allocators.ofThisThread();
                allocators.deallocate(pMemory, 8, s_szAccount);
                allocators.deallocate(pOfParent, 8, s_szAccount);
                return bOwn ? 0 : 1;
            });
        EXPECT_EQ(0, iCode);
    }
}

// Threads

TEST(PerThreadMemAllocator, MoreThreadsThanAllocatorsMayReleaseEachOthersBlocks)
{
    constexpr unsigned int uiThreads = 2 * s_uiNumber + 3;
    constexpr int iBlocks = 2000;
    Allocators allocators;
    Exchange exchange;
    std::atomic<int> iBroken{0};
    const auto release = [&](const Handed& in_block)
    {
        if (std::string(in_block.uiSize, in_block.cContent) !=
            std::string(in_block.pMemory, in_block.uiSize))
            ++iBroken;
        allocators.deallocate(in_block.pMemory, in_block.uiSize, s_szAccount);
    };
    const auto work = [&](unsigned int in_uiSeed)
    {
        std::minstd_rand random(in_uiSeed);
        for (int iBlock = 0; iBlock < iBlocks; ++iBlock)
        {
            const std::size_t uiSize = 1 + random() % (iBlock % 10 == 0 ? 400 : 40);
            const Handed block{static_cast<char*>(allocators.allocate(uiSize, s_szAccount)), uiSize,
                               static_cast<char>(random() % 100)};
            std::memset(block.pMemory, block.cContent, uiSize);
            exchange.put(block);
            if (const std::optional<Handed> other = exchange.get(); iBlock % 3 != 0 && other)
                release(*other);
            else if (other)
                exchange.put(*other);
        }
    };
    onThreads(uiThreads, [&work](unsigned int in_uiThread) { work(in_uiThread + 1); });
    while (const std::optional<Handed> left = exchange.get())
        release(*left);
    EXPECT_EQ(0, iBroken);
    for (std::size_t uiSize = 1; uiSize <= 240; uiSize += 8)
        EXPECT_EQ(allocators.given(uiSize), allocators.taken(uiSize)) << uiSize;
}

} // namespace Velmora::Test
