// SPDX-License-Identifier: BSD-2-Clause

// Small blocks on threads that come and go, on the library's allocator and on malloc and free: see
// ComparedAllocator.h.

#include "bench/ComparedAllocator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <random>
#include <semaphore>
#include <thread>
#include <vector>

using Velmora::Bench::giveBack;
using Velmora::Bench::take;

namespace
{

constexpr std::size_t s_uiLargest = 256;
constexpr std::size_t s_uiGranule = 8;

/// A fast generator, since the allocators are to take most of the time.
class Random
{
  public:
    explicit Random(std::uint64_t in_uiSeed) : m_uiState(in_uiSeed * 2 + 1) {}

    /// Returns a number below the limit.
    std::size_t below(std::size_t in_uiLimit)
    {
        m_uiState = m_uiState * 6364136223846793005u + 1442695040888963407u;
        return ((m_uiState >> 32) * in_uiLimit) >> 32;
    }

  private:
    std::uint64_t m_uiState;
};

/// A block that holds its size.
class Block
{
  public:
    Block() = default;

    static Block ofRandomSize(Random& out_random)
    {
        const std::size_t uiSize = s_uiGranule + out_random.below(s_uiLargest - s_uiGranule + 1);
        Block result;
        result.m_pSize = static_cast<std::size_t*>(take(uiSize));
        *result.m_pSize = uiSize;
        return result;
    }

    /// Exchanges the block with one that any thread may have put into the place.
    void exchange(std::atomic<std::size_t*>& out_place) { m_pSize = out_place.exchange(m_pSize); }

    void release()
    {
        if (m_pSize != nullptr)
            giveBack(m_pSize, *m_pSize);
        m_pSize = nullptr;
    }

  private:
    std::size_t* m_pSize = nullptr;
};

/// A server whose threads do some work each and hand their blocks over to a successor, as Larson
/// and Krishnan describe it. A thread replaces random blocks of its array by blocks of a random
/// size, one for each block that there is. Then it starts the next thread with the same array, and
/// ends.
class Successions
{
  public:
    Successions(std::size_t in_uiNumBlocks, std::size_t in_uiNumThreads, std::uint64_t in_uiSeed)
        : m_random(in_uiSeed), m_blocks(in_uiNumBlocks), m_threads(in_uiNumThreads)
    {
    }
    Successions(const Successions&) = delete;
    Successions& operator=(const Successions&) = delete;

    ~Successions()
    {
        for (Block& block : m_blocks)
            block.release();
    }

    void start()
    {
        start(0);
        m_firstStored.release();
    }

    /// Waits until the last thread has ended.
    void join()
    {
        m_lastStarted.acquire();
        m_threads.back().join();
    }

  private:
    void start(std::size_t in_uiThread)
    {
        m_threads[in_uiThread] = std::thread(
            [this, in_uiThread]
            {
                replaceBlocks();
                // A thread that has ended has stored its successor.
                if (in_uiThread > 0)
                    m_threads[in_uiThread - 1].join();
                else
                    m_firstStored.acquire();
                if (in_uiThread + 1 < m_threads.size())
                    start(in_uiThread + 1);
                else
                    m_lastStarted.release();
            });
    }

    void replaceBlocks()
    {
        for (std::size_t uiLeft = m_blocks.size(); uiLeft > 0; --uiLeft)
        {
            Block& block = m_blocks[m_random.below(m_blocks.size())];
            block.release();
            block = Block::ofRandomSize(m_random);
        }
    }

    Random m_random;
    std::vector<Block> m_blocks;
    std::vector<std::thread> m_threads;
    std::binary_semaphore m_firstStored{0};
    std::binary_semaphore m_lastStarted{0};
};

/// Runs four such servers concurrently. The time is that of one replaced block.
void larson(benchmark::State& out_state)
{
    constexpr std::size_t uiNumServers = 4;
    const auto uiNumBlocks = static_cast<std::size_t>(out_state.range(0));
    const std::size_t uiNumThreads = 20'000 / uiNumBlocks;
    std::deque<Successions> servers;
    for (std::size_t uiServer = 0; uiServer < uiNumServers; ++uiServer)
        servers.emplace_back(uiNumBlocks, uiNumThreads, uiServer);
    while (out_state.KeepRunningBatch(
        static_cast<benchmark::IterationCount>(uiNumServers * uiNumThreads * uiNumBlocks)))
    {
        for (Successions& server : servers)
            server.start();
        for (Successions& server : servers)
            server.join();
    }
}

/// The work of one thread of `stress`: allocates and releases in an order without a pattern, and
/// exchanges blocks with other threads. Keeps some blocks to its end.
void stressOneThread(std::array<std::atomic<std::size_t*>, 1000>& out_exchange,
                     std::uint64_t in_uiSeed, std::size_t in_uiNumBlocks)
{
    Random random(in_uiSeed);
    std::vector<Block> own;
    std::vector<Block> kept;
    for (std::size_t uiLeft = in_uiNumBlocks; uiLeft > 0; --uiLeft)
    {
        own.push_back(Block::ofRandomSize(random));
        if (random.below(8) == 0)
            kept.push_back(Block::ofRandomSize(random));
        Block& chosen = own[random.below(own.size())];
        if (random.below(2) == 0)
            chosen.release();
        else if (random.below(2) == 0)
            chosen.exchange(out_exchange[random.below(out_exchange.size())]);
    }
    for (Block& block : own)
        block.release();
    for (Block& block : kept)
        block.release();
}

/// Four threads that begin and end together exchange small blocks. The time is that of one
/// allocation in the first array of a thread.
void stress(benchmark::State& out_state)
{
    constexpr std::size_t uiNumThreads = 4;
    constexpr std::size_t uiNumBlocks = 20'000;
    std::array<std::atomic<std::size_t*>, 1000> exchange{};
    std::uint64_t uiSeed = 0;
    while (out_state.KeepRunningBatch(uiNumThreads * uiNumBlocks))
    {
        std::vector<std::thread> threads;
        for (std::size_t uiThread = 0; uiThread < uiNumThreads; ++uiThread)
            threads.emplace_back(stressOneThread, std::ref(exchange), ++uiSeed, uiNumBlocks);
        for (std::thread& thread : threads)
            thread.join();
    }
    for (std::atomic<std::size_t*>& place : exchange)
    {
        Block block;
        block.exchange(place);
        block.release();
    }
}

/// Allocates blocks of each size class and releases them in an order without a pattern.
void leaveFreeBlocks(std::size_t in_uiNumBlocks)
{
    std::mt19937_64 random(1);
    std::vector<void*> blocks(in_uiNumBlocks);
    for (std::size_t uiSize = s_uiGranule; uiSize <= s_uiLargest; uiSize += s_uiGranule)
    {
        for (void*& pBlock : blocks)
            pBlock = take(uiSize);
        std::shuffle(blocks.begin(), blocks.end(), random);
        for (void* const pBlock : blocks)
            giveBack(pBlock, uiSize);
    }
}

/// Allocates one block of each size class on a new thread and returns how long that takes.
std::chrono::duration<double> firstBlocksOfAThread()
{
    std::array<void*, s_uiLargest / s_uiGranule> blocks{};
    std::chrono::duration<double> result{};
    std::thread(
        [&blocks, &result]
        {
            const auto begin = std::chrono::steady_clock::now();
            std::size_t uiSize = 0;
            for (void*& pBlock : blocks)
                pBlock = take(uiSize += s_uiGranule);
            result = std::chrono::steady_clock::now() - begin;
        })
        .join();
    std::size_t uiSize = 0;
    for (void* const pBlock : blocks)
        giveBack(pBlock, uiSize += s_uiGranule);
    return result;
}

/// Measures the first block of each size class on a new thread, in a process in which an ended
/// thread has left 100,000 free blocks of each. The time is that of all of them, on the thread in
/// the middle of 101.
void firstBlocks(benchmark::State& out_state)
{
    std::thread(leaveFreeBlocks, 100'000).join();
    for ([[maybe_unused]] auto turn : out_state)
    {
        std::array<std::chrono::duration<double>, 101> durations;
        std::generate(durations.begin(), durations.end(), firstBlocksOfAThread);
        const auto middle = durations.begin() + durations.size() / 2;
        std::nth_element(durations.begin(), middle, durations.end());
        out_state.SetIterationTime(middle->count());
    }
}

} // namespace

BENCHMARK(larson)->Arg(200)->Arg(5000)->UseRealTime();
// For the plots of "scripts/bench --growth".
BENCHMARK(larson)
    ->Name("growShortThreads/ours")
    ->RangeMultiplier(10)
    ->Range(20, 20'000)
    ->UseRealTime();
BENCHMARK(stress)->UseRealTime();
BENCHMARK(firstBlocks)->Iterations(1)->UseManualTime();
