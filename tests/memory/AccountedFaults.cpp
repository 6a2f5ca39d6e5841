// SPDX-License-Identifier: BSD-2-Clause

// Releases memory wrongly in a process whose memory is accounted. Its appender allocates and
// releases accounted memory for each line, and writes the lines to standard output.

#include "tests/support/CallbackAppender.h"
#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include <log4cplus/hierarchy.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace
{

using namespace Velmora;

void printLine(const std::string& in_strText)
{
    void* const pMemory = DefaultStaticMemAllocator::allocate(24, "appender");
    char* const szCopy = NoSizeMemAllocator::strdup(in_strText.c_str(), "appender");
    std::cout << szCopy << '\n';
    NoSizeMemAllocator::deallocate(szCopy, "appender");
    DefaultStaticMemAllocator::deallocate(pMemory, 24, "appender");
}

} // namespace

int main()
{
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::Logger::getRoot().setLogLevel(WARN_LOG_LEVEL);
    const Test::CallbackAppender appender(&printLine);

    void* pMemory = DefaultStaticMemAllocator::allocate(24, "owner");
    std::cout << "released twice: " << pMemory << '\n';
    DefaultStaticMemAllocator::deallocate(pMemory, 24, "owner");
    DefaultStaticMemAllocator::deallocate(pMemory, 24, "owner");

    pMemory = DefaultStaticMemAllocator::allocate(24, "owner");
    std::cout << "wrong name: " << pMemory << '\n';
    DefaultStaticMemAllocator::deallocate(pMemory, 24, "other");

    pMemory = DefaultStaticMemAllocator::allocate(24, "owner");
    std::cout << "broken header\n";
    static_cast<std::uint64_t*>(pMemory)[-1] = 0;
    DefaultStaticMemAllocator::deallocate(pMemory, 24, "owner");

    pMemory = NoSizeMemAllocator::allocate(24, "owner");
    std::cout << "released twice without size\n";
    NoSizeMemAllocator::deallocate(pMemory, "owner");
    NoSizeMemAllocator::deallocate(pMemory, "owner");

    std::cout << "balances\n";
    StaticAccountMemAllocator::logMemAccountingStats();
    std::cout << "end\n";
    return 0;
}
