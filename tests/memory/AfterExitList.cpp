// SPDX-License-Identifier: BSD-2-Clause

// Closes the ACE object manager at the end of main. Static destructors then release memory that was
// allocated before, and allocate and release more. Prints the results.

#include "velmora/logging/Logger.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"
#include "velmora/memory/StaticPerThreadMemAllocator.h"

#include <ace/Object_Manager.h>

#include <cstring>
#include <iostream>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace Velmora;

constexpr const char* s_szAccount = "test";

// Sizes around the largest chunk, without a header and with one or two of 16 bytes.
const std::vector<std::size_t> s_sizes{1,   8,   24,  224, 225, 239, 240,
                                       241, 255, 256, 257, 272, 273, 5000};

/// Blocks of each size from each static allocator.
class Blocks
{
  public:
    void allocate()
    {
        for (const std::size_t uiSize : s_sizes)
        {
            m_default.push_back(
                filled(DefaultStaticMemAllocator::allocate(uiSize, s_szAccount), uiSize));
            m_plain.push_back(filled(StaticMemAllocator::allocate(uiSize, s_szAccount), uiSize));
            m_accounted.push_back(
                filled(StaticAccountMemAllocator::allocate(uiSize, s_szAccount), uiSize));
            m_noSize.push_back(filled(NoSizeMemAllocator::allocate(uiSize, s_szAccount), uiSize));
            m_perThread.push_back(
                filled(StaticPerThreadMemAllocator::allocate(uiSize, s_szAccount), uiSize));
        }
    }

    void releaseSized()
    {
        for (std::size_t uiIndex = 0; uiIndex < s_sizes.size(); ++uiIndex)
        {
            const std::size_t uiSize = s_sizes[uiIndex];
            DefaultStaticMemAllocator::deallocate(m_default[uiIndex], uiSize, s_szAccount);
            StaticMemAllocator::deallocate(m_plain[uiIndex], uiSize, s_szAccount);
            StaticAccountMemAllocator::deallocate(m_accounted[uiIndex], uiSize, s_szAccount);
            StaticPerThreadMemAllocator::deallocate(m_perThread[uiIndex], uiSize, s_szAccount);
        }
    }

    /// Releases the blocks when the exit list has destroyed the allocators.
    void releaseAfterExitList()
    {
        releaseSized();
        releaseUnsized(DefaultStaticMemAllocator::isAccountingMemory() ? 225 : 241);
    }

    /// Skips smaller blocks, whose headers may have been freed with their allocator.
    void releaseUnsized(std::size_t in_uiFromSize)
    {
        for (std::size_t uiIndex = 0; uiIndex < s_sizes.size(); ++uiIndex)
            if (s_sizes[uiIndex] >= in_uiFromSize)
                NoSizeMemAllocator::deallocate(m_noSize[uiIndex], s_szAccount);
    }

  private:
    static void* filled(void* in_pMemory, std::size_t in_uiSize)
    {
        return std::memset(in_pMemory, 'x', in_uiSize);
    }

    std::vector<void*> m_default, m_plain, m_accounted, m_noSize, m_perThread;
};

void printStateOfAllocators()
{
    MemAccountInfo info;
    MemAccountInfoHash hash;
    hash["old"] = info;
    StaticAccountMemAllocator::getMemAccountInfo(hash);
    StaticAccountMemAllocator::logMemAccountingStats();
    std::cout << "allocators " << (StaticMemAllocator::getAllocator() != nullptr) << ' '
              << (StaticAccountMemAllocator::getAllocator() != nullptr) << ' '
              << (StaticPerThreadMemAllocatorImpl::getInstance() != nullptr) << ", account "
              << StaticAccountMemAllocator::getMemAccountInfo(s_szAccount, info)
              << ", among all accounts " << hash.count(s_szAccount) << ' ' << hash.count("old")
              << '\n';
}

struct InStatics
{
    InStatics()
    {
        m_old.allocate();
        for (void*& pChunk : m_oldChunks)
            pChunk = DefaultStaticMemAllocator::allocate(24, s_szAccount);
    }

    ~InStatics()
    {
        printStateOfAllocators();
        printWhetherReleasingOldChunksTouchesNewMemory();
        m_old.releaseAfterExitList();
        useMemory();
        std::thread(&InStatics::useMemory).join();
        StaticMemAllocator::initializeClass();
        StaticAccountMemAllocator::initializeClass();
        StaticPerThreadMemAllocator::initializeClass();
        printStateOfAllocators();
        printNulls();
        std::cout << "end" << std::endl;
    }

    /// New memory may have the address of an old chunk that is released only now.
    void printWhetherReleasingOldChunksTouchesNewMemory()
    {
        std::vector<char*> fresh;
        for (std::size_t uiBlock = 0; uiBlock < 2 * m_oldChunks.size(); ++uiBlock)
        {
            if (uiBlock == m_oldChunks.size())
                releaseOldChunks();
            fresh.push_back(
                static_cast<char*>(DefaultStaticMemAllocator::allocate(24, s_szAccount)));
            std::memset(fresh.back(), static_cast<char>(uiBlock % 100), 24);
        }
        bool bIntact = true;
        for (std::size_t uiBlock = 0; uiBlock < fresh.size(); ++uiBlock)
        {
            const std::string strExpected(24, static_cast<char>(uiBlock % 100));
            bIntact = bIntact && strExpected == std::string(fresh[uiBlock], 24);
            DefaultStaticMemAllocator::deallocate(fresh[uiBlock], 24, s_szAccount);
        }
        std::cout << (bIntact ? "new memory is intact\n" : "new memory is broken\n");
    }

    void releaseOldChunks()
    {
        for (void* const pChunk : m_oldChunks)
            DefaultStaticMemAllocator::deallocate(pChunk, 24, s_szAccount);
    }

    static void useMemory()
    {
        Blocks fresh;
        fresh.allocate();
        fresh.releaseSized();
        fresh.releaseUnsized(0);
    }

    static void printNulls()
    {
        std::cout << "for no bytes " << DefaultStaticMemAllocator::allocate(0, s_szAccount) << ' '
                  << StaticMemAllocator::allocate(0, s_szAccount) << ' '
                  << StaticAccountMemAllocator::allocate(0, s_szAccount) << ", per thread "
                  << (StaticPerThreadMemAllocator::allocate(0, s_szAccount) != nullptr) << '\n';
        DefaultStaticMemAllocator::deallocate(nullptr, 8, s_szAccount);
        StaticMemAllocator::deallocate(nullptr, 300, s_szAccount);
        StaticAccountMemAllocator::deallocate(nullptr, 300, s_szAccount);
        NoSizeMemAllocator::deallocate(nullptr, s_szAccount);
        StaticPerThreadMemAllocator::deallocate(nullptr, 300, s_szAccount);
    }

    Blocks m_old;
    std::vector<void*> m_oldChunks = std::vector<void*>(1000);
};

/// A thread that has used the allocators before the exit list runs, and ends after it.
class LastingThread
{
  public:
    LastingThread() { m_used.wait(); }
    ~LastingThread()
    {
        m_listHasRun.count_down();
        m_thread.join();
    }
    LastingThread(const LastingThread&) = delete;
    LastingThread& operator=(const LastingThread&) = delete;

  private:
    void live()
    {
        InStatics::useMemory();
        Blocks old;
        old.allocate();
        m_used.count_down();
        m_listHasRun.wait();
        old.releaseAfterExitList();
        InStatics::useMemory();
    }

    std::latch m_used{1};
    std::latch m_listHasRun{1};
    std::thread m_thread{&LastingThread::live, this};
};

} // namespace

int main()
{
    Logger().setLogLevel(FATAL_LOG_LEVEL);
    const LastingThread thread;
    static InStatics s_inStatics;
    printStateOfAllocators();
    const int iResult = ACE_Object_Manager::instance()->fini();
    // An empty and full magazine never uses the chunks of the destroyed allocator.
    const Magazine& magazine = ThreadCaches::defaultMagazine(0);
    std::cout << "inline way empty " << magazine.isEmpty() << ", full " << magazine.isFull()
              << '\n';
    return iResult;
}
