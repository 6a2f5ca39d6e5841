#pragma once

#include "velmora/Export.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace Velmora
{

class MemAllocatorNoT;

/// A free chunk keeps the pointer to the next free chunk in its first word.
struct FreeChunk
{
    FreeChunk* pNext;
};

/// Chunks of one size class that one thread keeps to itself: the top of the class's stack of free
/// chunks, as far as this thread sees it. The thread takes and returns chunks here without a lock;
/// whole batches move between here and the class.
///
/// The stack is `pLoaded`, then `pSpare`, then the free list of the class, and chunks move between
/// them in that order only, so that a single thread sees one stack: the last chunk that it returned
/// is the first that it gets.
struct Magazine
{
    /// Large enough that the lock of a class is rarely taken, small enough that a thread keeps at
    /// most some tens of kilobytes of a class to itself.
    static constexpr std::uint32_t s_uiCapacity = 64;

    FreeChunk* pLoaded = nullptr;
    /// Chunks that still fit into `pLoaded`.
    std::uint32_t uiRoom = 0;
    /// Chunks in a full magazine; 0 where there is no such class.
    std::uint32_t uiCapacity = 0;
    /// A full magazine below `pLoaded`, or null.
    FreeChunk* pSpare = nullptr;
    FreeChunk* pSpareLast = nullptr;
    /// The bottom chunk of `pLoaded`, valid while that is not empty.
    FreeChunk* pLoadedLast = nullptr;
    /// Written by the thread, read by others for statistics.
    std::atomic<std::uint64_t> uiAllocated{0};
    std::atomic<std::uint64_t> uiDeallocated{0};

    static void count(std::atomic<std::uint64_t>& out_uiCounter)
    {
        out_uiCounter.store(out_uiCounter.load(std::memory_order_relaxed) + 1,
                            std::memory_order_relaxed);
    }

    /// Makes the magazine ready for use, for a size class that exists.
    void open()
    {
        uiCapacity = s_uiCapacity;
        uiRoom = s_uiCapacity;
    }

    [[nodiscard]] void* take()
    {
        FreeChunk* const pChunk = pLoaded;
        pLoaded = pChunk->pNext;
        ++uiRoom;
        count(uiAllocated);
        return pChunk;
    }

    void put(void* in_pMemory)
    {
        FreeChunk* const pChunk = static_cast<FreeChunk*>(in_pMemory);
        if (uiRoom == uiCapacity) [[unlikely]]
            pLoadedLast = pChunk;
        pChunk->pNext = pLoaded;
        pLoaded = pChunk;
        --uiRoom;
        count(uiDeallocated);
    }

    /// Moves the spare chunks into the empty place above them; false when there are none.
    bool loadSpare()
    {
        if (pSpare == nullptr)
            return false;
        pLoaded = pSpare;
        pLoadedLast = pSpareLast;
        uiRoom = 0;
        pSpare = nullptr;
        return true;
    }

    /// Moves the loaded chunks into the empty place below them.
    void makeLoadedSpare()
    {
        pSpare = pLoaded;
        pSpareLast = pLoadedLast;
        pLoaded = nullptr;
        uiRoom = uiCapacity;
    }
};

/// The magazines that one thread has for one allocator.
///
/// Thread-safety: belongs to its thread, but for what `ThreadCaches` does under its lock.
class VELMORA_API ThreadCache
{
  public:
    ThreadCache(MemAllocatorNoT& in_owner, std::size_t in_uiNumClasses);

    Magazine& operator[](std::size_t in_uiClass) { return m_magazines[in_uiClass]; }

  private:
    friend class ThreadCaches;

    MemAllocatorNoT& m_owner;
    std::size_t m_uiNumClasses;
    std::unique_ptr<Magazine[]> m_magazines;
    ThreadCache* m_pNextOfOwner = nullptr;
};

/// Which caches each thread has. An allocator has a slot while it lives; a thread has a table with
/// a cache for each slot that it has used.
///
/// Memory in the caches of a thread goes back to the size classes when the thread ends; so does
/// what the caches counted. When an allocator dies, its caches go with it.
///
/// Thread-safety: one lock guards all slots and the list of all tables. It is taken before that of
/// a size class. The entries of a table are written by its thread, and by the thread that destroys
/// an allocator, which nobody may be using then.
class VELMORA_API ThreadCaches
{
  public:
    /// The most allocators that have caches at one time. Further ones work without.
    static constexpr std::size_t s_uiNumSlots = 64;
    /// The slot of an allocator without caches; its entry is null in each table.
    static constexpr std::size_t s_uiNoSlot = s_uiNumSlots;

    /// The calling thread's cache of a slot; null until it has one.
    static ThreadCache* find(std::size_t in_uiSlot)
    {
        return s_pTable->entries[in_uiSlot].load(std::memory_order_relaxed);
    }

    /// Makes the calling thread's cache. Null where there is to be none: for an allocator without a
    /// slot, and when the thread is ending.
    static ThreadCache* make(MemAllocatorNoT& in_owner, std::size_t in_uiNumClasses);

    /// Gives an allocator a slot, if there is one.
    static void takeSlot(MemAllocatorNoT& out_owner);

    /// Takes everything back that threads keep for an allocator, and its slot, if it has one.
    static void releaseSlot(MemAllocatorNoT& out_owner);

    /// Adds what all caches of an allocator have counted for one size class.
    static void addCounts(const MemAllocatorNoT& in_allocator, std::size_t in_uiClass,
                          std::uint64_t& out_uiAllocated, std::uint64_t& out_uiDeallocated);

  private:
    struct Table
    {
        std::array<std::atomic<ThreadCache*>, s_uiNumSlots + 1> entries{};
        Table* pNext = nullptr;
    };
    class TableOfThread;

    /// Gives everything in a cache back to the size classes, and deletes it.
    static void giveBack(ThreadCache* in_pCache);
    static void unlinkFromOwner(const ThreadCache& in_cache);

    static constinit Table s_noEntries;
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Table* s_pTable;
};

} // namespace Velmora
