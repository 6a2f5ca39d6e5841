// SPDX-License-Identifier: BSD-2-Clause

// Forks repeatedly while other threads allocate heavily, start and end. Each child allocates and
// exits at once.
//
// forks <number of forks> main|thread|threads|chunks
//
// With "thread", it forks on a thread other than the main one.
// With "threads", each child has threads of its own that allocate.
// With "chunks", the threads stay, and do not call malloc once all of them have warmed up.

#include "tests/support/ForkedChild.h"
#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/memory/StaticPerThreadMemAllocator.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <latch>
#include <random>
#include <string>
#include <thread>
#include <vector>

// The child has a copy of the memory of its parent's threads, but not the threads. The sanitizer
// would report that memory as leaked.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options()
{
    return "detect_leaks=0";
}

namespace
{

using Velmora::DefaultStaticMemAllocator;
using Velmora::NoSizeMemAllocator;
using Velmora::StaticPerThreadMemAllocator;

constexpr std::size_t s_uiLargestInChunk = 200;
constexpr std::size_t s_uiLargest = 400;

/// Allocates and releases blocks of up to the given size, enough to fill and empty magazines. Does
/// not call malloc itself. Returns false if a block is handed out twice.
bool useMemory(unsigned in_uiSeed, std::size_t in_uiLargest)
{
    std::minstd_rand random(in_uiSeed);
    std::array<std::size_t, 1000> sizes;
    std::array<void*, 3000> blocks;
    for (std::size_t uiIndex = 0; uiIndex < sizes.size(); ++uiIndex)
    {
        sizes[uiIndex] = 1 + random() % (uiIndex % 8 == 0 ? in_uiLargest : 8);
        blocks[3 * uiIndex] = DefaultStaticMemAllocator::allocate(sizes[uiIndex], "test");
        blocks[3 * uiIndex + 1] = NoSizeMemAllocator::allocate(sizes[uiIndex], "test");
        blocks[3 * uiIndex + 2] = StaticPerThreadMemAllocator::allocate(sizes[uiIndex], "test");
        std::memset(blocks[3 * uiIndex], 'x', sizes[uiIndex]);
    }
    std::array<void*, 3000> sorted = blocks;
    std::sort(sorted.begin(), sorted.end());
    const bool bDistinct = std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
    for (std::size_t uiIndex = 0; uiIndex < sizes.size(); ++uiIndex)
    {
        DefaultStaticMemAllocator::deallocate(blocks[3 * uiIndex], sizes[uiIndex], "test");
        NoSizeMemAllocator::deallocate(blocks[3 * uiIndex + 1], "test");
        StaticPerThreadMemAllocator::deallocate(blocks[3 * uiIndex + 2], sizes[uiIndex], "test");
    }
    return bDistinct;
}

/// Does the work of a child. Returns its exit code.
int live(const std::string& in_strHow)
{
    const std::size_t uiLargest = in_strHow == "chunks" ? s_uiLargestInChunk : s_uiLargest;
    bool bDistinct = useMemory(1, uiLargest);
    for (int iRound = 0; in_strHow == "threads" && iRound < 2; ++iRound)
    {
        std::vector<std::thread> threads;
        for (unsigned uiThread = 1; uiThread <= 6; ++uiThread)
            threads.emplace_back([uiThread] { useMemory(uiThread, s_uiLargest); });
        for (std::thread& thread : threads)
            thread.join();
        bDistinct = useMemory(2, uiLargest) && bDistinct;
    }
    return bDistinct ? 0 : 3;
}

/// Forks until a child fails, at most `in_iForks` times. Returns the exit code of the last child.
int forkRepeatedly(int in_iForks, const std::string& in_strHow)
{
    int iCode = 0;
    int iForks = 0;
    for (; iForks < in_iForks && iCode == 0; ++iForks)
        iCode = Velmora::Test::exitCodeOfChild([&] { std::exit(live(in_strHow)); });
    std::printf("%d forks, last child ended with status %d\n", iForks, iCode);
    return iCode;
}

/// Threads that allocate while the process forks.
class Workers
{
  public:
    explicit Workers(const std::string& in_strHow)
    {
        const std::size_t uiLargest = in_strHow == "chunks" ? s_uiLargestInChunk : s_uiLargest;
        for (unsigned uiThread = 1; uiThread <= s_iThreads; ++uiThread)
            m_threads.emplace_back([this, uiThread, uiLargest] { work(uiThread, uiLargest); });
        m_warm.wait();
        if (in_strHow != "chunks")
            m_threads.emplace_back(
                [this]
                {
                    while (!m_bStop)
                        std::thread([] { useMemory(7, s_uiLargest); }).join();
                });
    }

    ~Workers()
    {
        m_bStop = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }

  private:
    static constexpr int s_iThreads = 3;

    void work(unsigned in_uiSeed, std::size_t in_uiLargest)
    {
        useMemory(in_uiSeed, in_uiLargest);
        m_warm.count_down();
        while (!m_bStop)
            useMemory(in_uiSeed, in_uiLargest);
    }

    std::latch m_warm{s_iThreads};
    std::atomic<bool> m_bStop{false};
    std::vector<std::thread> m_threads;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Velmora::Logger().setLogLevel(Velmora::FATAL_LOG_LEVEL);
    const int iForks = std::atoi(argv[1]);
    const std::string strHow = argv[2];
    const Workers workers(strHow);

    int iCode = 0;
    if (strHow == "thread")
        std::thread([&] { iCode = forkRepeatedly(iForks, strHow); }).join();
    else
        iCode = forkRepeatedly(iForks, strHow);
    return iCode == 0 ? 0 : 1;
}
