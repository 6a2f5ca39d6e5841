#pragma once

#include "velmora/Export.h"
#include "velmora/application/AceCleanupNoT.h"
#include "velmora/memory/PerThreadMemAllocator.h"

#include <atomic>
#include <cstddef>

namespace Velmora
{

/// The per-thread allocator of the process, of 16 allocators. Code calls
/// `StaticPerThreadMemAllocator`, which also works once this one has gone.
///
/// What is not released when the exit list destroys it is reported by the logger "keswardin".
///
/// Ownership: the exit list's.
/// Thread-safety, failure: as `PerThreadMemAllocator`.
class VELMORA_API StaticPerThreadMemAllocatorImpl
    : public PerThreadMemAllocator<MemAllocator<ACE_Thread_Mutex, 32>>,
      public AceCleanupNoT
{
  public:
    /// The one object, made when it is first asked for; null once the exit list has destroyed it.
    static StaticPerThreadMemAllocatorImpl* getInstance();

    ~StaticPerThreadMemAllocatorImpl() override;

  private:
    friend class StaticPerThreadMemAllocator;

    StaticPerThreadMemAllocatorImpl();
};

/// Memory for code that allocates on many threads at once. Blocks are 16 bytes larger than those of
/// `DefaultStaticMemAllocator`, and are not charged to accounts.
///
/// Works at any time in the life of the process. Once the exit list has destroyed the allocators,
/// all of their chunks are gone; new memory then comes from `malloc`, and what is released is left
/// alone.
///
/// Thread-safety: all operations may be called on any thread; memory may be released on another
/// thread than the one that asked for it. A program that forks while others of its threads allocate
/// here for the first time calls `initializeClass` before it starts them.
/// Failure: as `PerThreadMemAllocator`.
class VELMORA_API StaticPerThreadMemAllocator
{
  public:
    /// Memory of `in_uiSize` bytes, which may be 0, aligned to 8. The account is not used.
    /// Ownership: the caller's, who passes the same size to `deallocate`.
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

    /// Takes memory back. Does nothing for a null pointer.
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        if (in_uiSize <= s_uiLargestInChunk && in_pMemory != nullptr) [[likely]]
        {
            // Once the allocators have gone, the magazine is full; the header may be gone too.
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

    /// Brings the allocators into being. Gives true.
    static bool initializeClass();

  private:
    using Impl = StaticPerThreadMemAllocatorImpl;
    using Allocator = MemAllocator<ACE_Thread_Mutex, 32>;

    static constexpr std::size_t s_uiLargestInChunk = 256 - sizeof(Impl::Header);

    static Magazine& magazineFor(const ThreadCaches::Preferred& in_own, std::size_t in_uiSize)
    {
        const std::size_t uiClass = (in_uiSize + sizeof(Impl::Header) - 1) / 8;
        return in_own.pMagazines.load(std::memory_order_relaxed)[uiClass];
    }

    /// What a thread prefers is named here only, so it is one of the sixteen.
    static Allocator* allocatorOf(const ThreadCaches::Preferred& in_own)
    {
        return static_cast<Allocator*>(in_own.pAllocator.load(std::memory_order_relaxed));
    }

    static void* allocateSlowly(std::size_t in_uiSize, const char* in_szAccountName);
    static void deallocateSlowly(void* in_pMemory, std::size_t in_uiSize,
                                 const char* in_szAccountName);
};

} // namespace Velmora
