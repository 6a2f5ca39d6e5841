#pragma once

#include "velmora/Export.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

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
/// The stack is the loaded chunks, then the spare ones, then the free list of the class, and chunks
/// move between them in that order only, so that a single thread sees one stack: the last chunk
/// that it returned is the first that it gets.
///
/// Two counts tell both what was done and how many chunks are loaded: the difference of the two,
/// against what it was when a batch moved last. Until the first has moved, it is empty and full.
///
/// Thread-safety: belongs to its thread; the counts may be read on any thread.
class alignas(64) Magazine
{
  public:
    /// The most chunks in a magazine. Large enough that the lock of a class is rarely taken and
    /// that a thread mostly gets back the chunks which it has in its processor's cache.
    static constexpr std::uint64_t s_uiCapacity = 512;

    [[nodiscard]] bool isEmpty() const { return m_pLoaded == nullptr; }
    [[nodiscard]] bool isFull() const { return balance() == m_uiFullAt; }

    /// Takes the topmost chunk; there must be one.
    [[nodiscard]] void* take()
    {
        FreeChunk* const pChunk = m_pLoaded;
        m_pLoaded = pChunk->pNext;
        increment(m_uiTaken);
        return pChunk;
    }

    /// Puts a chunk on top; there must be room.
    void put(void* in_pMemory)
    {
        FreeChunk* const pChunk = static_cast<FreeChunk*>(in_pMemory);
        if (m_pLoaded == nullptr)
            m_pLoadedLast = pChunk;
        pChunk->pNext = m_pLoaded;
        m_pLoaded = pChunk;
        increment(m_uiPut);
    }

    /// Fills an empty magazine with a batch.
    void load(FreeChunk* in_pFirst, FreeChunk* in_pLast, std::uint64_t in_uiNumChunks)
    {
        m_pLoaded = in_pFirst;
        m_pLoadedLast = in_pLast;
        m_uiFullAt = balance() + (s_uiCapacity - in_uiNumChunks);
    }

    /// Moves the spare chunks into the empty place above them; false when there are none.
    bool loadSpare()
    {
        if (m_pSpare == nullptr)
            return false;
        load(m_pSpare, m_pSpareLast, s_uiCapacity);
        m_pSpare = nullptr;
        return true;
    }

    /// Moves the loaded chunks, as many as there can be, into the empty place below them.
    void makeLoadedSpare()
    {
        m_pSpare = m_pLoaded;
        m_pSpareLast = m_pLoadedLast;
        load(nullptr, nullptr, 0);
    }

    /// A list of chunks, from the first to the last; null when there are none.
    struct Batch
    {
        FreeChunk* pFirst;
        FreeChunk* pLast;
    };

    [[nodiscard]] bool hasSpare() const { return m_pSpare != nullptr; }

    /// Gives up the spare chunks.
    [[nodiscard]] Batch removeSpare() { return {std::exchange(m_pSpare, nullptr), m_pSpareLast}; }

    /// Gives up the loaded chunks.
    [[nodiscard]] Batch removeLoaded()
    {
        const Batch batch{m_pLoaded, m_pLoadedLast};
        load(nullptr, nullptr, 0);
        return batch;
    }

    /// Forgets all chunks; they stay unused.
    void abandon()
    {
        m_pLoaded = nullptr;
        m_pSpare = nullptr;
    }

    [[nodiscard]] std::uint64_t getNumTaken() const { return m_uiTaken.load(relaxed); }
    [[nodiscard]] std::uint64_t getNumPut() const { return m_uiPut.load(relaxed); }

  private:
    static constexpr std::memory_order relaxed = std::memory_order_relaxed;

    /// Only the thread that owns the magazine writes, so that no atomic addition is needed.
    static void increment(std::atomic<std::uint64_t>& out_uiCount)
    {
        out_uiCount.store(out_uiCount.load(relaxed) + 1, relaxed);
    }

    [[nodiscard]] std::uint64_t balance() const
    {
        return m_uiPut.load(relaxed) - m_uiTaken.load(relaxed);
    }

    FreeChunk* m_pLoaded = nullptr;
    std::atomic<std::uint64_t> m_uiTaken{0};
    std::atomic<std::uint64_t> m_uiPut{0};
    /// The balance at which the magazine is full.
    std::uint64_t m_uiFullAt = 0;
    /// The bottom of the loaded chunks, valid while there are any.
    FreeChunk* m_pLoadedLast = nullptr;
    /// A full magazine below the loaded chunks, or null.
    FreeChunk* m_pSpare = nullptr;
    FreeChunk* m_pSpareLast = nullptr;
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

    /// The calling thread's magazine of one of the size classes of the allocator that was named the
    /// default; always one that is empty and full where there is none.
    static Magazine& defaultMagazine(std::size_t in_uiClass)
    {
        return s_pDefaultMagazines.load(std::memory_order_relaxed)[in_uiClass];
    }

    /// Names the allocator whose magazines threads find the fastest way. It has 32 size classes.
    static void setDefault(const MemAllocatorNoT& in_allocator);

    /// An allocator that one thread prefers, and its magazines there. Without one, these are always
    /// empty and full.
    struct Preferred
    {
        std::atomic<MemAllocatorNoT*> pAllocator;
        std::atomic<Magazine*> pMagazines;
    };

    /// What the calling thread prefers: among several allocators that share the work, its own.
    static const Preferred& preferred() { return s_preferred; }

    /// Names the allocator that the calling thread prefers, unless it has no cache there. It has 32
    /// size classes.
    static void prefer(MemAllocatorNoT& in_allocator);
    static void preferNone();

    /// The calling thread's cache of a slot; null until it has one.
    static ThreadCache* find(std::size_t in_uiSlot)
    {
        return s_pTable->entries[in_uiSlot].load(std::memory_order_relaxed);
    }

    /// Makes the calling thread's cache. Null where there is to be none, for an allocator without a
    /// slot and when the thread is ending, and when there is no memory for it.
    static ThreadCache* make(MemAllocatorNoT& in_owner, std::size_t in_uiNumClasses);

    /// Gives an allocator a slot, if there is one.
    static void takeSlot(MemAllocatorNoT& out_owner);

    /// Takes everything back that threads keep for an allocator, and its slot, if it has one.
    static void releaseSlot(MemAllocatorNoT& out_owner);

    /// Adds what all caches of an allocator have counted for one size class.
    static void addCounts(const MemAllocatorNoT& in_allocator, std::size_t in_uiClass,
                          std::uint64_t& out_uiAllocated, std::uint64_t& out_uiDeallocated);

    /// In the child of a fork: forgets the tables of threads that it does not have, since new ones
    /// may get their stacks. What those threads kept, perhaps in the middle of an operation, stays
    /// unused; what they counted, counts.
    static void forgetOtherThreads();

  private:
    struct Table
    {
        std::array<std::atomic<ThreadCache*>, s_uiNumSlots + 1> entries{};
        /// The thread's own `s_pDefaultMagazines`.
        std::atomic<Magazine*>* ppDefaultMagazines = nullptr;
        /// The thread's own `s_preferred`.
        Preferred* pPreferred = nullptr;
        Table* pNext = nullptr;
    };
    class TableOfThread;

    /// Gives everything in a cache back to the size classes, and deletes it.
    static void giveBack(ThreadCache* in_pCache);
    static void unlinkFromOwner(const ThreadCache& in_cache);
    static void abandonChunks(const Table& in_table);
    static void forget(Preferred& out_preferred);

    static constinit Table s_noEntries;
    static constinit Magazine s_noMagazines[];
    [[gnu::tls_model(
        "initial-exec")]] VELMORA_API_THREAD_LOCAL static constinit thread_local Table* s_pTable;
    [[gnu::tls_model("initial-exec")]] VELMORA_API_THREAD_LOCAL static constinit thread_local std::
        atomic<Magazine*>
            s_pDefaultMagazines;
    [[gnu::tls_model(
        "initial-exec")]] VELMORA_API_THREAD_LOCAL static constinit thread_local Preferred
        s_preferred;
};

} // namespace Velmora
