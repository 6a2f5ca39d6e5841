// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/ChunkStack.h"
#include "velmora/memory/SizeClasses.h"
#include "velmora/memory/ThreadCacheSlots.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace Velmora
{

class MemAllocatorNoT;

/// The chunks of one size class that one thread keeps for itself: the top of the class's stack of
/// free chunks, as this thread sees it. The thread takes and returns chunks here without a lock.
/// Whole batches move between the magazine and the class.
///
/// The stack consists of the loaded chunks, then the spare ones, then the free list of the class.
/// Chunks move between them only in that order, so that a single thread sees one stack: it gets the
/// chunk first that it returned last.
///
/// Two counters record the chunks taken and put. They also give the number of loaded chunks: the
/// change of their difference since the last batch moved. Before the first batch, a magazine is
/// both empty and full.
///
/// Thread-safety: belongs to its thread; the counters may be read on any thread.
class alignas(64) Magazine
{
  public:
    /// The capacity in chunks. Large enough that the lock of a class is rarely taken, and that a
    /// thread mostly gets back the chunks that are in its own processor's cache.
    static constexpr std::uint64_t s_uiCapacity = ChunkStack::s_uiLargestBatch;

    /// The largest number of chunks that the class fills a new magazine with, so that a thread that
    /// needs few chunks keeps few from the others. It grows with each fill up to the capacity. It
    /// grows fast, because the class walks over the chunks of each smaller fill.
    static constexpr std::uint64_t s_uiFirstFill = 8;
    static constexpr std::uint64_t s_uiFillGrowth = 8;

    [[nodiscard]] bool isEmpty() const { return m_pLoaded == nullptr; }
    [[nodiscard]] bool isFull() const { return balance() == m_uiFullAt; }

    /// Takes the topmost chunk. The magazine must not be empty.
    [[nodiscard]] void* take()
    {
        FreeChunk* const pChunk = m_pLoaded;
        m_pLoaded = pChunk->pNext;
        increment(m_uiTaken);
        return pChunk;
    }

    /// Puts a chunk on top. The magazine must not be full.
    void put(void* in_pMemory)
    {
        FreeChunk* const pChunk = static_cast<FreeChunk*>(in_pMemory);
        if (m_pLoaded == nullptr)
            m_pLoadedLast = pChunk;
        pChunk->pNext = m_pLoaded;
        m_pLoaded = pChunk;
        increment(m_uiPut);
    }

    /// Fills an empty magazine with a batch, of at most as many chunks as it holds.
    void load(const ChunkBatch& in_batch)
    {
        m_pLoaded = in_batch.pFirst;
        m_pLoadedLast = in_batch.pLast;
        m_uiFullAt = balance() + (s_uiCapacity - in_batch.uiNumChunks);
    }

    /// Returns how many chunks the class may fill the magazine with this time.
    [[nodiscard]] std::uint64_t nextFill()
    {
        const std::uint64_t uiFill = m_uiNextFill;
        m_uiNextFill = std::min(s_uiFillGrowth * uiFill, s_uiCapacity);
        return uiFill;
    }

    /// Makes the spare chunks the loaded ones; there must be no loaded chunks. Returns false if
    /// there are no spare ones.
    bool loadSpare()
    {
        if (m_pSpare == nullptr)
            return false;
        load(removeSpare());
        return true;
    }

    /// Makes the loaded chunks the spare ones. The magazine must be full and have no spare chunks.
    void makeLoadedSpare()
    {
        m_pSpare = m_pLoaded;
        m_pSpareLast = m_pLoadedLast;
        load({});
    }

    [[nodiscard]] bool hasSpare() const { return m_pSpare != nullptr; }

    /// Removes and returns the spare chunks.
    [[nodiscard]] ChunkBatch removeSpare()
    {
        return {std::exchange(m_pSpare, nullptr), m_pSpareLast, s_uiCapacity};
    }

    /// Removes and returns the loaded chunks.
    [[nodiscard]] ChunkBatch removeLoaded()
    {
        const ChunkBatch batch{m_pLoaded, m_pLoadedLast, s_uiCapacity - (m_uiFullAt - balance())};
        load({});
        return batch;
    }

    /// Returns whether the magazine never had a chunk.
    [[nodiscard]] bool isUnused() const
    {
        return isEmpty() && !hasSpare() && getNumTaken() == 0 && getNumPut() == 0;
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

    /// Only the owning thread writes the counters, so no atomic addition is needed.
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
    /// The chunks of a full magazine below the loaded ones, or null.
    FreeChunk* m_pSpare = nullptr;
    FreeChunk* m_pSpareLast = nullptr;
    std::uint64_t m_uiNextFill = s_uiFirstFill;
};

/// The magazines of one thread for one allocator.
///
/// Thread-safety: belongs to its thread, except for the operations of `ThreadCaches` under its
/// lock.
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

/// The caches of all threads. An allocator has a slot while it exists. A thread has a table with
/// one cache for each slot that it has used.
///
/// When a thread ends, the chunks and counts in its caches go back to the size classes. When an
/// allocator is destroyed, its caches are deleted.
///
/// Thread-safety: one lock guards all slots and the list of all tables. It is taken before that of
/// a size class. The entries of a table are written by its thread, and by the thread that destroys
/// an allocator. No other thread may use that allocator then.
class VELMORA_API ThreadCaches
{
  public:
    static constexpr std::size_t s_uiNumSlots = ThreadCacheSlots::s_uiNumber;
    static constexpr std::size_t s_uiNoSlot = ThreadCacheSlots::s_uiNone;

    /// Returns the calling thread's magazine of a size class of the default allocator. If there is
    /// none, returns a magazine that is always empty and full.
    static Magazine& defaultMagazine(std::size_t in_uiClass)
    {
        return s_pDefaultMagazines.load(std::memory_order_relaxed)[in_uiClass];
    }

    /// Makes an allocator the default, whose magazines threads find by one thread-local pointer. It
    /// must have the classes of `SizeClasses`. Caches that threads created before are still found
    /// the slower way.
    static void setDefault(const MemAllocatorNoT& in_allocator);

    /// The allocator that a thread prefers, and the thread's magazines for it. Without one, the
    /// magazines are always empty and full.
    struct Preferred
    {
        std::atomic<MemAllocatorNoT*> pAllocator;
        std::atomic<Magazine*> pMagazines;
    };

    /// Returns what the calling thread prefers: its own among several allocators that share the
    /// work.
    static const Preferred& preferred() { return s_preferred; }

    /// Makes an allocator the preferred one of the calling thread. Does nothing if the thread has
    /// no cache for it. It must have the classes of `SizeClasses`.
    static void prefer(MemAllocatorNoT& in_allocator);
    /// Leaves the calling thread without a preferred allocator.
    static void preferNone();

    /// Returns the calling thread's cache for a slot; null until it has one.
    static ThreadCache* find(std::size_t in_uiSlot)
    {
        return s_pTable->entries[in_uiSlot].load(std::memory_order_relaxed);
    }

    /// Creates the calling thread's cache for an allocator. Returns null for an allocator without a
    /// slot, while the thread is ending, and when there is no memory.
    static ThreadCache* make(MemAllocatorNoT& in_owner, std::size_t in_uiNumClasses);

    /// Assigns a free slot to an allocator, if there is one.
    static void takeSlot(MemAllocatorNoT& out_owner);

    /// Takes back everything that threads keep for an allocator, and releases its slot. Does
    /// nothing for an allocator without a slot.
    static void releaseSlot(MemAllocatorNoT& out_owner);

    /// Adds the counts of all caches of an allocator for one size class.
    static void addCounts(const MemAllocatorNoT& in_allocator, std::size_t in_uiClass,
                          std::uint64_t& out_uiAllocated, std::uint64_t& out_uiDeallocated);

    /// Forgets the tables of the threads that do not exist in the child of a fork, since new
    /// threads may get their stacks. The chunks of those threads stay unused, because an operation
    /// may have been in progress. Their counts stay. Called in the child, where no other thread
    /// runs; takes no lock.
    static void forgetOtherThreads();

  private:
    struct Table
    {
        /// The last one, of `s_uiNoSlot`, stays null.
        std::array<std::atomic<ThreadCache*>, s_uiNumSlots + 1> entries{};
        /// The thread's `s_pDefaultMagazines`.
        std::atomic<Magazine*>* ppDefaultMagazines = nullptr;
        /// The thread's `s_preferred`.
        Preferred* pPreferred = nullptr;
        Table* pNext = nullptr;
    };
    class TableOfThread;

    /// Returns everything in a cache to the size classes and deletes it.
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
