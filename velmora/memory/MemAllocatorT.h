// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/OutputStreamable.h"
#include "velmora/logging/ObjectWithLogger.h"
#include "velmora/memory/ChunkStack.h"
#include "velmora/memory/MemAllocatorNoT.h"
#include "velmora/memory/SizeClasses.h"
#include "velmora/memory/ThreadCache.h"

#include <ace/Thread_Mutex.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <iosfwd>
#include <vector>

namespace Velmora
{

/// The part of a chunk allocator that does not depend on its lock and its granule. It holds the
/// blocks that it got from `malloc`, which are cut into chunks of one size, and the free chunks.
///
/// Thread-safety: none; the derived class has the lock.
/// Ownership: owns its blocks. The destructor frees them, even if chunks are still in use.
/// Failure: an operation that finds no memory changes nothing.
class VELMORA_API ChunkAllocatorNoT : public ObjectWithLogger<Logger>
{
  public:
    /// The counters of an allocator since its construction.
    class VELMORA_API Stats
    {
      public:
        /// Blocks obtained from `malloc`.
        std::uint64_t uiNumMalloc = 0;
        std::uint64_t uiNumChunkAlloc = 0;
        std::uint64_t uiNumChunkDealloc = 0;

        Stats& operator+=(const Stats& in_stats);

        /// Writes one line for each counter, without a line end after the last.
        std::ostream& write(std::ostream& out_stream) const;
    };

    /// The chunk size is `in_ulUnits`, the number of the size class, times the granule in bytes.
    ChunkAllocatorNoT(const Logger& in_logger, unsigned long in_ulUnits, unsigned long in_ulGranule,
                      bool in_bReportLeaks);

    /// If leaks are reported, logs a WARN if chunks were not released, and an ERROR if more were
    /// released than allocated. Logs the counters at DEBUG. Frees all blocks, from the last to the
    /// first.
    ~ChunkAllocatorNoT();

    ChunkAllocatorNoT(const ChunkAllocatorNoT&) = delete;
    ChunkAllocatorNoT& operator=(const ChunkAllocatorNoT&) = delete;

    [[nodiscard]] std::size_t getChunkSize() const { return m_uiChunkSize; }
    [[nodiscard]] std::size_t getBlockSize() const { return m_uiBlockSize; }

  protected:
    /// Gets a block from `malloc` and makes its chunks the free ones, the highest address first.
    /// There must be no free chunks.
    /// Failure: returns false when there is no memory.
    [[nodiscard]] bool allocateBlock();

    /// Takes the topmost free chunk; returns null when there is no memory.
    void* popChunk();
    void pushChunk(void* in_pMemory);

    /// Loads an empty magazine with the topmost free chunks. It stays empty when there is no
    /// memory.
    void popInto(Magazine& out_magazine);

    /// Puts a batch of any length, possibly empty, on top of the free chunks.
    void pushBatch(const ChunkBatch& in_batch) { m_freeChunks.push(in_batch); }

    void addCounts(std::uint64_t in_uiAllocated, std::uint64_t in_uiDeallocated);

    [[nodiscard]] const Stats& stats() const { return m_stats; }

  private:
    void reportLeaks() const;

    std::size_t m_uiChunkSize;
    std::size_t m_uiBlockSize;
    ChunkStack m_freeChunks;
    std::deque<char*> m_blocks;
    Stats m_stats;
    bool m_bReportLeaks;
};

VELMORA_API std::ostream& operator<<(std::ostream& out_stream,
                                     const ChunkAllocatorNoT::Stats& in_stats);

/// Hands out chunks of one size. Each operation holds the allocator's own lock.
///
/// Thread-safety: all operations may be called on any thread, if `Mutex` locks.
template <class Mutex, unsigned long Granule>
class ChunkAllocator : public ChunkAllocatorNoT
{
  public:
    ChunkAllocator(const Logger& in_logger, unsigned long in_ulUnits, bool in_bReportLeaks)
        : ChunkAllocatorNoT(in_logger, in_ulUnits, Granule, in_bReportLeaks)
    {
    }

    /// Returns a chunk; null when there is no memory.
    [[nodiscard]] void* allocate()
    {
        const GatedGuard<Mutex> guard(m_mutex);
        return popChunk();
    }

    void deallocate(void* in_pMemory)
    {
        const GatedGuard<Mutex> guard(m_mutex);
        pushChunk(in_pMemory);
    }

    /// Returns the counters, without the counts that are still in the caches of threads.
    [[nodiscard]] Stats getStats() const
    {
        const GatedGuard<Mutex> guard(m_mutex);
        return stats();
    }

    /// Loads an empty magazine with the topmost free chunks. It stays empty when there is no
    /// memory.
    void fill(Magazine& out_magazine)
    {
        const GatedGuard<Mutex> guard(m_mutex);
        popInto(out_magazine);
    }

    /// Takes the spare chunks out of a magazine.
    void takeSpare(Magazine& out_magazine)
    {
        const GatedGuard<Mutex> guard(m_mutex);
        pushBatch(out_magazine.removeSpare());
    }

    /// Takes all chunks out of a magazine and adds its counts.
    void takeAll(Magazine& out_magazine)
    {
        const GatedGuard<Mutex> guard(m_mutex);
        pushBatch(out_magazine.removeSpare());
        pushBatch(out_magazine.removeLoaded());
        addCounts(out_magazine.getNumTaken(), out_magazine.getNumPut());
    }

  private:
    /// Guards the members of the base class. `malloc` and `free` may run while it is held, but no
    /// foreign code.
    mutable Mutex m_mutex;
};

/// Allocates small objects in chunks, with one chunk allocator for each size class: element `i` has
/// chunks of `i + 1` granules (see `SizeClasses`). Larger requests go to `malloc`. The caller
/// passes the size again when it releases memory, so blocks have no header.
///
/// Each thread keeps some free chunks of each class in a cache, so that most operations take no
/// lock. To a single thread, the free chunks of a class behave as one stack.
///
/// Thread-safety: all operations may be called on any thread, if `Mutex` locks; memory may be
/// released on a thread other than the one that allocated it. During construction and destruction
/// no other thread may use the object.
/// Failure: `allocate` returns null when there is no memory. A wrong size in `deallocate` puts the
/// chunk into the wrong class; this is not detected.
template <class Mutex, unsigned long NumClasses>
class MemAllocator : public MemAllocatorNoT
{
  public:
    using ChunkAllocatorType = ChunkAllocator<Mutex, SizeClasses::s_ulGranule>;

    MemAllocator(const Logger& in_logger, bool in_bReportLeaks);
    ~MemAllocator();

    /// Allocates `in_uiSize` bytes, aligned to 8. Returns null for a size of 0. The account is not
    /// used.
    [[nodiscard]] void* allocate(std::size_t in_uiSize, const char* in_szAccountName);

    /// Releases memory. Does nothing for a null pointer or a size of 0. The account is not used.
    void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// Returns the counters of the class of chunks of `in_uiClass + 1` granules, summed over all
    /// threads.
    [[nodiscard]] ChunkAllocatorNoT::Stats getStats(std::size_t in_uiClass) const;

  protected:
    /// Creates the chunk allocator of one size class.
    void initChunkAllocator(ChunkAllocatorType** out_ppChunkAllocator, unsigned long in_ulIndex);

    static void takeBack(MemAllocatorNoT& in_allocator, std::size_t in_uiClass,
                         Magazine& in_magazine);

    std::vector<ChunkAllocatorType*> m_chunkAllocVector;

  private:
    void* allocateFromEmptyMagazine(std::size_t in_uiClass);
    void deallocateToFullMagazine(std::size_t in_uiClass, void* in_pMemory);
    Magazine* findOrMakeMagazine(std::size_t in_uiClass);
};

template <class Mutex, unsigned long NumClasses>
MemAllocator<Mutex, NumClasses>::MemAllocator(const Logger& in_logger, bool in_bReportLeaks)
    : MemAllocatorNoT(in_logger, in_bReportLeaks), m_chunkAllocVector(NumClasses, nullptr)
{
    for (unsigned long ulIndex = 0; ulIndex < NumClasses; ++ulIndex)
        initChunkAllocator(&m_chunkAllocVector[ulIndex], ulIndex);
    // Last: from here on other threads may fill their caches from the chunk allocators.
    openCaches(&MemAllocator::takeBack);
}

template <class Mutex, unsigned long NumClasses>
MemAllocator<Mutex, NumClasses>::~MemAllocator()
{
    // First: chunks in caches go back to the chunk allocators, whose leak reports count them.
    closeCaches();
    for (ChunkAllocatorType* const pChunkAllocator : m_chunkAllocVector)
        delete pChunkAllocator;
}

template <class Mutex, unsigned long NumClasses>
void MemAllocator<Mutex, NumClasses>::initChunkAllocator(ChunkAllocatorType** out_ppChunkAllocator,
                                                         unsigned long in_ulIndex)
{
    *out_ppChunkAllocator = new ChunkAllocatorType(getLogger(), in_ulIndex + 1, isReportingLeaks());
}

template <class Mutex, unsigned long NumClasses>
inline void* MemAllocator<Mutex, NumClasses>::allocate(std::size_t in_uiSize, const char*)
{
    const std::size_t uiClass = SizeClasses::classOf(in_uiSize);
    if (uiClass < NumClasses) [[likely]]
    {
        if (ThreadCache* const pCache = ThreadCaches::find(getCacheSlot())) [[likely]]
            if (Magazine& magazine = (*pCache)[uiClass]; !magazine.isEmpty()) [[likely]]
                return magazine.take();
        return allocateFromEmptyMagazine(uiClass);
    }
    return in_uiSize == 0 ? nullptr : std::malloc(in_uiSize);
}

template <class Mutex, unsigned long NumClasses>
inline void MemAllocator<Mutex, NumClasses>::deallocate(void* in_pMemory, std::size_t in_uiSize,
                                                        const char*)
{
    const std::size_t uiClass = SizeClasses::classOf(in_uiSize);
    if (in_pMemory == nullptr) [[unlikely]]
        return;
    if (uiClass < NumClasses) [[likely]]
    {
        if (ThreadCache* const pCache = ThreadCaches::find(getCacheSlot())) [[likely]]
            if (Magazine& magazine = (*pCache)[uiClass]; !magazine.isFull()) [[likely]]
                return magazine.put(in_pMemory);
        deallocateToFullMagazine(uiClass, in_pMemory);
    }
    else if (in_uiSize != 0)
        std::free(in_pMemory);
}

template <class Mutex, unsigned long NumClasses>
Magazine* MemAllocator<Mutex, NumClasses>::findOrMakeMagazine(std::size_t in_uiClass)
{
    ThreadCache* pCache = ThreadCaches::find(getCacheSlot());
    if (pCache == nullptr)
        pCache = ThreadCaches::make(*this, NumClasses);
    if (pCache == nullptr)
        return nullptr;
    return &(*pCache)[in_uiClass];
}

template <class Mutex, unsigned long NumClasses>
[[gnu::noinline]] void*
MemAllocator<Mutex, NumClasses>::allocateFromEmptyMagazine(std::size_t in_uiClass)
{
    const auto chunkAllocIter =
        m_chunkAllocVector.begin() + static_cast<std::ptrdiff_t>(in_uiClass);
    VELMORA_ASSERT_TEXT(*chunkAllocIter != nullptr, "*chunkAllocIter != 0");
    if (*chunkAllocIter == nullptr)
        return nullptr;

    Magazine* const pMagazine = findOrMakeMagazine(in_uiClass);
    if (pMagazine == nullptr)
        return (*chunkAllocIter)->allocate();
    if (pMagazine->isEmpty() && !pMagazine->loadSpare())
        (*chunkAllocIter)->fill(*pMagazine);
    return !pMagazine->isEmpty() ? pMagazine->take() : nullptr;
}

template <class Mutex, unsigned long NumClasses>
[[gnu::noinline]] void
MemAllocator<Mutex, NumClasses>::deallocateToFullMagazine(std::size_t in_uiClass, void* in_pMemory)
{
    const auto chunkAllocIter =
        m_chunkAllocVector.begin() + static_cast<std::ptrdiff_t>(in_uiClass);
    VELMORA_ASSERT(chunkAllocIter < m_chunkAllocVector.end());
    VELMORA_ASSERT_TEXT(*chunkAllocIter != nullptr, "*chunkAllocIter != 0");
    if (*chunkAllocIter == nullptr)
        return;

    Magazine* const pMagazine = findOrMakeMagazine(in_uiClass);
    if (pMagazine == nullptr)
        return (*chunkAllocIter)->deallocate(in_pMemory);
    if (pMagazine->isFull())
    {
        // The spare goes to the class, the loaded chunks become the spare.
        if (pMagazine->hasSpare())
            (*chunkAllocIter)->takeSpare(*pMagazine);
        pMagazine->makeLoadedSpare();
    }
    pMagazine->put(in_pMemory);
}

template <class Mutex, unsigned long NumClasses>
ChunkAllocatorNoT::Stats MemAllocator<Mutex, NumClasses>::getStats(std::size_t in_uiClass) const
{
    ChunkAllocatorNoT::Stats result = m_chunkAllocVector[in_uiClass]->getStats();
    ThreadCaches::addCounts(*this, in_uiClass, result.uiNumChunkAlloc, result.uiNumChunkDealloc);
    return result;
}

template <class Mutex, unsigned long NumClasses>
void MemAllocator<Mutex, NumClasses>::takeBack(MemAllocatorNoT& in_allocator,
                                               std::size_t in_uiClass, Magazine& in_magazine)
{
    auto& allocator = static_cast<MemAllocator&>(in_allocator);
    if (ChunkAllocatorType* const pChunkAllocator = allocator.m_chunkAllocVector[in_uiClass])
        pChunkAllocator->takeAll(in_magazine);
}

extern template class VELMORA_API MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>;

} // namespace Velmora
