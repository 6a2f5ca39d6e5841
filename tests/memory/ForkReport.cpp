// SPDX-License-Identifier: BSD-2-Clause

// Forks once while another thread is asleep that has allocated memory and has free chunks of its
// own. The child and then the parent exit, each with its report.

#include "tests/support/ForkedChild.h"
#include "velmora/memory/StaticMemAllocator.h"

#include <unistd.h>

#include <cstdlib>
#include <latch>
#include <thread>

// The child has a copy of the memory of its parent's thread, but not the thread. The sanitizer
// would report that memory as leaked.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options()
{
    return "detect_leaks=0";
}

namespace
{

using Velmora::StaticMemAllocator;

std::latch s_allocated{1};

void allocateAndSleep()
{
    static_cast<void>(StaticMemAllocator::allocate(24, "test"));
    StaticMemAllocator::deallocate(StaticMemAllocator::allocate(24, "test"), 24, "test");
    s_allocated.count_down();
    while (true)
        pause();
}

} // namespace

int main()
{
    std::thread(&allocateAndSleep).detach();
    s_allocated.wait();
    return Velmora::Test::exitCodeOfChild(
        []
        {
            StaticMemAllocator::deallocate(StaticMemAllocator::allocate(24, "test"), 24, "test");
            std::exit(0);
        });
}
