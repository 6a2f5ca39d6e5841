// SPDX-License-Identifier: BSD-2-Clause

// Allocates up to the limit of its address space, in each size class and beyond, and prints how the
// allocators and the containers fail.

#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/LMVector.h"
#include "velmora/memory/MemAccounting.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <new>
#include <string>

namespace
{

using namespace Velmora;

constexpr const char* s_szAccount = "exhausted";

/// A block begins with the address of the previous block, so that the list of blocks takes no
/// memory.
struct Block
{
    Block* pBefore;
};

MemAccountInfo account()
{
    MemAccountInfo info;
    const bool bFound = StaticAccountMemAllocator::getMemAccountInfo(s_szAccount, info);
    return bFound ? info : MemAccountInfo();
}

/// Allocates blocks until there is no memory, and releases them. Returns their number.
long exhaust(std::size_t in_uiSize)
{
    const std::int32_t iBefore = isMemAccountingForced() ? account().iBalance : 0;
    Block* pLast = nullptr;
    long lBlocks = 0;
    while (void* const pMemory = DefaultStaticMemAllocator::allocate(in_uiSize, s_szAccount))
    {
        pLast = new (pMemory) Block{pLast};
        ++lBlocks;
    }
    const MemAccountInfo full = account();
    while (pLast != nullptr)
    {
        Block* const pBefore = pLast->pBefore;
        DefaultStaticMemAllocator::deallocate(pLast, in_uiSize, s_szAccount);
        pLast = pBefore;
    }
    if (isMemAccountingForced() &&
        (full.iBalance != iBefore + lBlocks * static_cast<long>(in_uiSize) ||
         full.iMaximum < full.iBalance || account().iBalance != iBefore))
        std::cout << "wrong balance of " << in_uiSize << '\n';
    return lBlocks;
}

template <class Function>
void printOutcome(const char* in_szWhat, Function in_function)
{
    try
    {
        in_function();
        std::cout << in_szWhat << " : no failure\n";
    }
    catch (const std::bad_alloc&)
    {
        std::cout << in_szWhat << " : std::bad_alloc\n";
    }
}

void limitAddressSpace()
{
    long lPages = 0;
    std::FILE* const pFile = std::fopen("/proc/self/statm", "r");
    if (pFile == nullptr || std::fscanf(pFile, "%ld", &lPages) != 1)
        std::exit(2);
    std::fclose(pFile);
    const rlim_t uiLimit = static_cast<rlim_t>(lPages) * 4096 + 32 * 1024 * 1024;
    const rlimit limit{uiLimit, uiLimit};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        std::exit(2);
}

void exhaustContainers()
{
    printOutcome("vector",
                 []
                 {
                     LMVector<std::array<char, 1000>> vector;
                     for (std::size_t uiCapacity = 1; uiCapacity < 1000000; uiCapacity *= 2)
                         vector.reserve(uiCapacity);
                 });
    printOutcome("trie",
                 []
                 {
                     ParameterTrie trie;
                     ParameterValue value;
                     value = std::string(10000, 'x').c_str();
                     std::string strName = "name.";
                     for (int i = 0; i < 10000; ++i)
                         trie.setParameter((strName + std::to_string(i)).c_str(), value);
                 });
    printOutcome("value",
                 []
                 {
                     const std::string strLong(10 * 1024 * 1024, 'x');
                     std::array<ParameterValue, 10> values;
                     for (ParameterValue& value : values)
                         value = strLong.c_str();
                 });
}

} // namespace

// With a size in bytes, exhausts memory with such blocks twice; without one, fills containers.
int main(int argc, char** argv)
{
    Logger().setLogLevel(WARN_LOG_LEVEL);
    DefaultStaticMemAllocator::deallocate(DefaultStaticMemAllocator::allocate(8, s_szAccount), 8,
                                          s_szAccount);
    limitAddressSpace();
    if (argc < 2)
    {
        exhaustContainers();
        return 0;
    }
    const std::size_t uiSize = std::stoul(argv[1]);
    const long lBlocks = exhaust(uiSize);
    std::cout << (lBlocks > 100 ? "null" : "too early") << '\n';
    constexpr std::size_t uiHuge = 64 * 1024 * 1024;
    std::cout << (NoSizeMemAllocator::allocate(uiHuge, s_szAccount) == nullptr ? "null" : "memory")
              << '\n';
    // The released memory is available again.
    std::cout << (exhaust(uiSize) >= lBlocks / 2 ? "null" : "too early") << '\n';
}
