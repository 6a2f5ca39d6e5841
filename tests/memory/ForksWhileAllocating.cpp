// Forks again and again while other threads allocate heavily and come and go. Each child allocates
// and ends at once through exit().
//
// forks <number of forks> main|thread|threads
//
// With "thread", it forks on another thread than the main one. With "threads", a child has threads
// of its own that allocate.

#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <thread>
#include <vector>

// A child has copies of what the threads of its parent held, but not the threads: to it, all of
// that looks leaked.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options()
{
    return "detect_leaks=0";
}

namespace
{

using Velmora::DefaultStaticMemAllocator;
using Velmora::NoSizeMemAllocator;

/// Enough to fill and empty several magazines; false when a block is handed out twice.
bool useMemory(unsigned in_uiSeed)
{
    std::mt19937 random(in_uiSeed);
    std::set<void*> distinct;
    std::vector<std::pair<void*, std::size_t>> sized;
    std::vector<void*> unsizedBlocks;
    for (int iBlock = 0; iBlock < 300; ++iBlock)
    {
        const std::size_t uiSize = 1 + random() % (iBlock % 4 == 0 ? 300 : 16);
        sized.emplace_back(DefaultStaticMemAllocator::allocate(uiSize, "test"), uiSize);
        unsizedBlocks.push_back(NoSizeMemAllocator::allocate(uiSize, "test"));
        std::memset(sized.back().first, 'x', uiSize);
        distinct.insert(sized.back().first);
        distinct.insert(unsizedBlocks.back());
    }
    for (const auto& [pMemory, uiSize] : sized)
        DefaultStaticMemAllocator::deallocate(pMemory, uiSize, "test");
    for (void* const pMemory : unsizedBlocks)
        NoSizeMemAllocator::deallocate(pMemory, "test");
    return distinct.size() == 600;
}

/// What a child does; gives its exit code.
int live(bool in_bWithThreads)
{
    bool bDistinct = useMemory(1);
    if (in_bWithThreads)
        for (int iRound = 0; iRound < 2; ++iRound)
        {
            std::vector<std::thread> threads;
            for (unsigned uiThread = 0; uiThread < 6; ++uiThread)
                threads.emplace_back([uiThread] { useMemory(uiThread); });
            for (std::thread& thread : threads)
                thread.join();
            bDistinct = useMemory(2) && bDistinct;
        }
    return bDistinct ? 0 : 3;
}

/// The status of the last child; the first that does not end well is the last.
int forkAgainAndAgain(int in_iForks, bool in_bWithThreads)
{
    int iStatus = 0;
    int iForks = 0;
    for (; iForks < in_iForks && iStatus == 0; ++iForks)
    {
        const pid_t pid = fork();
        if (pid == 0)
        {
            alarm(20);
            std::exit(live(in_bWithThreads));
        }
        waitpid(pid, &iStatus, 0);
    }
    std::printf("%d forks, last child ended with status %d\n", iForks, iStatus);
    return iStatus;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Velmora::Logger().setLogLevel(Velmora::FATAL_LOG_LEVEL);

    std::atomic<bool> bStop{false};
    std::vector<std::thread> threads;
    for (unsigned uiThread = 0; uiThread < 3; ++uiThread)
        threads.emplace_back(
            [&bStop, uiThread]
            {
                while (!bStop)
                    useMemory(uiThread);
            });
    threads.emplace_back(
        [&bStop]
        {
            while (!bStop)
                std::thread([] { useMemory(7); }).join();
        });

    const int iForks = std::atoi(argv[1]);
    int iStatus = 0;
    if (std::strcmp(argv[2], "thread") == 0)
        std::thread([&] { iStatus = forkAgainAndAgain(iForks, false); }).join();
    else
        iStatus = forkAgainAndAgain(iForks, std::strcmp(argv[2], "threads") == 0);

    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
    return iStatus == 0 ? 0 : 1;
}
