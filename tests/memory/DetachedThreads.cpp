// SPDX-License-Identifier: BSD-2-Clause

// Ends while detached threads are asleep that have allocated memory before.
//
// detachedthreads return|exit

#include "velmora/memory/StaticMemAllocator.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <latch>
#include <thread>

namespace
{

using Velmora::StaticMemAllocator;

constexpr int s_iThreads = 3;
std::latch s_allocated{s_iThreads};

/// Leaves one block in use; the others go to the thread's own free chunks.
void allocateAndSleep()
{
    for (int iBlock = 0; iBlock < 10; ++iBlock)
        StaticMemAllocator::deallocate(StaticMemAllocator::allocate(40, "test"), 40, "test");
    static_cast<void>(StaticMemAllocator::allocate(24, "test"));
    s_allocated.count_down();
    while (true)
        pause();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        std::thread(&allocateAndSleep).detach();
    s_allocated.wait();
    if (std::strcmp(argv[1], "exit") == 0)
        std::exit(5);
    return 6;
}
