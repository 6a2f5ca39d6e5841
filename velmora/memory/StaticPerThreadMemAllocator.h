// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/AceCleanupNoT.h"
#include "velmora/memory/PerThreadMemAllocator.h"

#include <atomic>
#include <cstddef>

namespace Velmora
{

/// The per-thread allocator of the process, with 16 allocators. Code calls
/// `StaticPerThreadMemAllocator`, which also works once this object is destroyed.
///
/// The logger "keswardin" reports memory that is not released when the exit list destroys it.
///
/// Ownership: the exit list's.
/// Thread-safety, failure: as `PerThreadMemAllocator`.
class VELMORA_API StaticPerThreadMemAllocatorImpl
    : public PerThreadMemAllocator<MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>>,
      public AceCleanupNoT
{
  public:
    /// Returns the only object, and creates it on the first call. Returns null once the exit list
    /// has destroyed it.
    static StaticPerThreadMemAllocatorImpl* getInstance();

    ~StaticPerThreadMemAllocatorImpl() override;

  private:
    friend class StaticPerThreadMemAllocator;

    StaticPerThreadMemAllocatorImpl();
};

/// Allocates memory for code that allocates on many threads concurrently. Blocks are 16 bytes
/// larger than those of `DefaultStaticMemAllocator` and are not charged to accounts.
///
/// Works at any time in the life of the process. When the exit list has destroyed the allocators,
/// all of their chunks are freed. New memory then comes from `malloc`. A release of at most 240
/// bytes, which fit in a chunk, is ignored then; larger blocks go back to `malloc`.
///
/// Thread-safety: all operations may be called on any thread; memory may be released on a thread
/// other than the one that allocated it. A program that forks while other threads may allocate here
/// for the first time calls `initializeClass` before it starts those threads.
/// Failure: as `PerThreadMemAllocator`.
class VELMORA_API StaticPerThreadMemAllocator
{
  public:
    /// Allocates `in_uiSize` bytes, possibly 0, aligned to 8. The account is not used.
    /// Ownership: the caller's, which passes the same size to `deallocate`.
    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        if (in_uiSize <= s_uiLargestInChunk) [[likely]]
        {
            const ThreadCaches::Preferred& own = ThreadCaches::preferred();
            if (Magazine& magazine = magazineFor(own, in_uiSize); !magazine.isEmpty()) [[likely]]
                return Impl::putHeader(magazine.take(), *allocatorOf(own));
        }
        return allocateSlowly(in_uiSize, in_szAccountName);
    }

    /// Releases memory. Does nothing for a null pointer.
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        if (in_uiSize <= s_uiLargestInChunk && in_pMemory != nullptr) [[likely]]
        {
            // Once the allocators are destroyed, the magazine is full. It is tested first, because
            // the header may be freed too.
            const ThreadCaches::Preferred& own = ThreadCaches::preferred();
            auto* const pHeader = static_cast<Impl::Header*>(in_pMemory) - 1;
            if (Magazine& magazine = magazineFor(own, in_uiSize);
                !magazine.isFull() && pHeader->pAllocator == allocatorOf(own) &&
                pHeader->uiMagic == Impl::getMagicToken()) [[likely]]
            {
                pHeader->uiMagic = ~Impl::getMagicToken();
                return magazine.put(pHeader);
            }
        }
        deallocateSlowly(in_pMemory, in_uiSize, in_szAccountName);
    }

    /// Creates the allocators. Returns true.
    static bool initializeClass();

  private:
    using Impl = StaticPerThreadMemAllocatorImpl;
    using Allocator = MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>;

    static constexpr std::size_t s_uiLargestInChunk =
        SizeClasses::s_uiLargestChunk - sizeof(Impl::Header);

    static Magazine& magazineFor(const ThreadCaches::Preferred& in_own, std::size_t in_uiSize)
    {
        const std::size_t uiClass = SizeClasses::classOf(in_uiSize + sizeof(Impl::Header));
        return in_own.pMagazines.load(std::memory_order_relaxed)[uiClass];
    }

    /// Only this class calls `ThreadCaches::prefer`, so the preferred allocator is one of the
    /// sixteen.
    static Allocator* allocatorOf(const ThreadCaches::Preferred& in_own)
    {
        return static_cast<Allocator*>(in_own.pAllocator.load(std::memory_order_relaxed));
    }

    static void* allocateSlowly(std::size_t in_uiSize, const char* in_szAccountName);
    static void deallocateSlowly(void* in_pMemory, std::size_t in_uiSize,
                                 const char* in_szAccountName);
};

} // namespace Velmora
