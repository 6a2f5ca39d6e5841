// SPDX-License-Identifier: BSD-2-Clause

// Leaves memory allocated in both allocators of the process, for the report at exit.
//
// exitreport nothing|console|appender|per-thread
//
// With "nothing", only the memory of the library itself is reported.
// With "per-thread", it leaves memory in one of the allocators that threads share instead.
// With "appender", an appender that itself allocates and releases gets the report.

#include "tests/support/CallbackAppender.h"
#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"
#include "velmora/memory/StaticPerThreadMemAllocator.h"

#include <log4cplus/hierarchy.h>

#include <array>
#include <cstring>
#include <iostream>
#include <thread>
#include <vector>

namespace
{

using namespace Velmora;

void* s_pOldMemory = nullptr;

void printLine(const std::string& in_strText)
{
    void* const pMemory = DefaultStaticMemAllocator::allocate(in_strText.size(), "appender");
    std::memcpy(pMemory, in_strText.data(), in_strText.size());
    std::cout << std::string_view(static_cast<char*>(pMemory), in_strText.size()) << std::endl;
    DefaultStaticMemAllocator::deallocate(pMemory, in_strText.size(), "appender");
    DefaultStaticMemAllocator::deallocate(s_pOldMemory, 16, "appender");
    s_pOldMemory = nullptr;
}

void leaveMemory()
{
    static_cast<void>(StaticMemAllocator::allocate(24, "ignored"));
    alignas(8) static std::array<char, 32> s_chunk{};
    StaticMemAllocator::deallocate(s_chunk.data(), 32, "ignored");

    static_cast<void>(StaticAccountMemAllocator::allocate(8, "kept"));
    StaticAccountMemAllocator::deallocate(StaticAccountMemAllocator::allocate(100, "returned"), 100,
                                          "returned");
}

/// Runs threads that end before the process does.
void allocateAndReleaseOnThreads()
{
    std::vector<void*> memory(100);
    std::thread(
        [&memory]
        {
            for (void*& pMemory : memory)
                pMemory = StaticMemAllocator::allocate(48, "ignored");
        })
        .join();
    std::thread(
        [&memory]
        {
            for (void* const pMemory : memory)
                StaticMemAllocator::deallocate(pMemory, 48, "ignored");
            static_cast<void>(StaticMemAllocator::allocate(56, "ignored"));
        })
        .join();
}

void leaveMemoryPerThread()
{
    static_cast<void>(StaticPerThreadMemAllocator::allocate(24, "ignored"));
    // The thread that releases it may have another allocator.
    void* const pMemory = StaticPerThreadMemAllocator::allocate(100, "ignored");
    std::thread([pMemory] { StaticPerThreadMemAllocator::deallocate(pMemory, 100, "ignored"); })
        .join();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    if (std::strcmp(argv[1], "nothing") == 0)
        return 0;
    if (std::strcmp(argv[1], "console") == 0)
    {
        leaveMemory();
        allocateAndReleaseOnThreads();
        return 0;
    }
    if (std::strcmp(argv[1], "per-thread") == 0)
    {
        leaveMemoryPerThread();
        return 0;
    }
    s_pOldMemory = DefaultStaticMemAllocator::allocate(16, "appender");
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::Logger::getRoot().setLogLevel(WARN_LOG_LEVEL);
    static const Test::CallbackAppender* const s_pAppender = new Test::CallbackAppender(&printLine);
    leaveMemory();
    return s_pAppender != nullptr ? 0 : 1;
}
