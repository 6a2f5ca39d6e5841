// SPDX-License-Identifier: BSD-2-Clause

// Prints whether the memory of this process is accounted, and checks it by allocations.

#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/MemAccounting.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"

#include <cstdlib>
#include <iostream>

namespace
{

using namespace Velmora;

void printAccount(const char* in_szWhen, const char* in_szName)
{
    MemAccountInfo info;
    if (StaticAccountMemAllocator::getMemAccountInfo(in_szName, info))
        std::cout << in_szWhen << ' ' << MemAccountInfoWithName(in_szName, info) << '\n';
    else
        std::cout << in_szWhen << " no account " << in_szName << '\n';
}

/// Returns the number of chunks of 104 bytes that were handed out without an account.
auto chunksWithoutAccount()
{
    return StaticMemAllocator::getAllocator()->getStats(12).uiNumChunkAlloc;
}

} // namespace

int main()
{
    Logger().setLogLevel(WARN_LOG_LEVEL);
    std::cout << "forced " << isMemAccountingForced() << ", accounting "
              << DefaultStaticMemAllocator::isAccountingMemory() << '\n';

    setenv("VELMORA_MEM_ACCOUNTING", isMemAccountingForced() ? "false" : "true", 1);
    std::cout << "forced " << isMemAccountingForced() << " after a change of the environment\n";

    const auto uiChunksBefore = chunksWithoutAccount();
    void* const pMemory = DefaultStaticMemAllocator::allocate(100, "sized");
    printAccount("allocated:", "sized");
    DefaultStaticMemAllocator::deallocate(pMemory, 100, "sized");
    printAccount("released:", "sized");

    void* const pNoSize = NoSizeMemAllocator::allocate(100, "unsized");
    printAccount("allocated:", "unsized");
    NoSizeMemAllocator::deallocate(pNoSize, "unsized");
    printAccount("released:", "unsized");

    std::cout << "chunks of 104 bytes without account: " << chunksWithoutAccount() - uiChunksBefore
              << '\n'
              << "initialized " << DefaultStaticMemAllocator::initializeClass() << '\n';
    return 0;
}
