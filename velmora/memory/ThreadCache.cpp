// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/ThreadCache.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/memory/MemAllocatorNoT.h"

#include <memory>
#include <new>

namespace Velmora
{

namespace
{

/// The state that all threads share. Never destroyed, because threads may end after static
/// destructors have run.
struct Shared
{
    /// Also guards the links between tables, and the lists of caches that allocators have. A size
    /// class's lock may be taken while it is held; no foreign code runs.
    GatedMutex mutex;
    std::array<bool, ThreadCaches::s_uiNumSlots> slotsInUse VELMORA_GUARDED_BY(mutex){};
    /// The list of all threads' tables. `ThreadCaches::Table` is private, hence the type.
    void* pFirstTable VELMORA_GUARDED_BY(mutex) = nullptr;
    const MemAllocatorNoT* pDefault VELMORA_GUARDED_BY(mutex) = nullptr;

    static Shared& getInstance()
    {
        static Shared* const s_pShared = new Shared;
        return *s_pShared;
    }
};

using SharedGuard = GatedGuard<GatedMutex>;

/// Set once the calling thread has returned its caches. It gets no new ones from then on.
constinit thread_local bool s_bThreadIsEnding = false;

} // namespace

constinit ThreadCaches::Table ThreadCaches::s_noEntries;
constinit Magazine ThreadCaches::s_noMagazines[SizeClasses::s_ulNumber];
constinit thread_local ThreadCaches::Table* ThreadCaches::s_pTable = &ThreadCaches::s_noEntries;
constinit thread_local std::atomic<Magazine*> ThreadCaches::s_pDefaultMagazines{
    ThreadCaches::s_noMagazines};
constinit thread_local ThreadCaches::Preferred ThreadCaches::s_preferred{nullptr, s_noMagazines};

ThreadCache::ThreadCache(MemAllocatorNoT& in_owner, std::size_t in_uiNumClasses)
    : m_owner(in_owner), m_uiNumClasses(in_uiNumClasses),
      m_magazines(std::make_unique<Magazine[]>(in_uiNumClasses))
{
}

/// Owns the table of the calling thread. When the thread ends, it returns all caches. The table is
/// on the heap, because a library that is opened late gets little static thread-local memory.
class ThreadCaches::TableOfThread
{
  public:
    TableOfThread()
    {
        Shared& shared = Shared::getInstance();
        const SharedGuard guard(shared.mutex);
        m_pTable->ppDefaultMagazines = &s_pDefaultMagazines;
        m_pTable->pPreferred = &s_preferred;
        m_pTable->pNext = static_cast<Table*>(shared.pFirstTable);
        shared.pFirstTable = m_pTable.get();
        s_pTable = m_pTable.get();
    }

    ~TableOfThread()
    {
        // Comes first: destructors that run later on this thread may still allocate, and must not
        // find the caches.
        s_bThreadIsEnding = true;
        s_pTable = &s_noEntries;
        s_pDefaultMagazines.store(s_noMagazines, std::memory_order_relaxed);
        forget(s_preferred);
        Shared& shared = Shared::getInstance();
        const SharedGuard guard(shared.mutex);
        for (const std::atomic<ThreadCache*>& entry : m_pTable->entries)
            if (ThreadCache* const pCache = entry.load(std::memory_order_relaxed))
            {
                unlinkFromOwner(*pCache);
                giveBack(pCache);
            }
        unlinkFrom(shared);
    }

    TableOfThread(const TableOfThread&) = delete;
    TableOfThread& operator=(const TableOfThread&) = delete;

  private:
    void unlinkFrom(Shared& out_shared) VELMORA_REQUIRES(out_shared.mutex)
    {
        if (out_shared.pFirstTable == m_pTable.get())
        {
            out_shared.pFirstTable = m_pTable->pNext;
            return;
        }
        Table* pBefore = static_cast<Table*>(out_shared.pFirstTable);
        while (pBefore->pNext != m_pTable.get())
            pBefore = pBefore->pNext;
        pBefore->pNext = m_pTable->pNext;
    }

    std::unique_ptr<Table> m_pTable = std::make_unique<Table>();
};

ThreadCache* ThreadCaches::make(MemAllocatorNoT& in_owner, std::size_t in_uiNumClasses)
{
    if (in_owner.getCacheSlot() == s_uiNoSlot || s_bThreadIsEnding)
        return nullptr;
    ThreadCache* pCache = nullptr;
    try
    {
        // `s_pTable` has a constant initialiser and is redirected by this object, so `find` never
        // checks whether the table is constructed.
        static thread_local TableOfThread s_table;
        pCache = new ThreadCache(in_owner, in_uiNumClasses);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
    Shared& shared = Shared::getInstance();
    const SharedGuard guard(shared.mutex);
    if (shared.pDefault == &in_owner)
        s_pDefaultMagazines.store(pCache->m_magazines.get(), std::memory_order_relaxed);
    pCache->m_pNextOfOwner = in_owner.m_pFirstCache;
    in_owner.m_pFirstCache = pCache;
    s_pTable->entries[in_owner.getCacheSlot()].store(pCache, std::memory_order_relaxed);
    return pCache;
}

void ThreadCaches::giveBack(ThreadCache* in_pCache)
{
    MemAllocatorNoT& owner = in_pCache->m_owner;
    for (std::size_t uiClass = 0; uiClass < in_pCache->m_uiNumClasses; ++uiClass)
        if (Magazine& magazine = (*in_pCache)[uiClass]; !magazine.isUnused())
            owner.m_takeBack(owner, uiClass, magazine);
    delete in_pCache;
}

void ThreadCaches::unlinkFromOwner(const ThreadCache& in_cache)
{
    ThreadCache** ppLink = &in_cache.m_owner.m_pFirstCache;
    while (*ppLink != &in_cache)
        ppLink = &(*ppLink)->m_pNextOfOwner;
    *ppLink = in_cache.m_pNextOfOwner;
}

void MemAllocatorNoT::openCaches(TakeBack in_takeBack)
{
    m_takeBack = in_takeBack;
    ThreadCaches::takeSlot(*this);
}

void MemAllocatorNoT::closeCaches() { ThreadCaches::releaseSlot(*this); }

void ThreadCaches::takeSlot(MemAllocatorNoT& out_owner)
{
    Shared& shared = Shared::getInstance();
    const SharedGuard guard(shared.mutex);
    auto& slotsInUse = shared.slotsInUse;
    for (std::size_t uiSlot = 0; uiSlot < s_uiNumSlots; ++uiSlot)
        if (!slotsInUse[uiSlot])
        {
            slotsInUse[uiSlot] = true;
            out_owner.m_uiCacheSlot = uiSlot;
            return;
        }
}

void ThreadCaches::releaseSlot(MemAllocatorNoT& out_owner)
{
    const std::size_t uiSlot = out_owner.m_uiCacheSlot;
    if (uiSlot == s_uiNoSlot)
        return;
    Shared& shared = Shared::getInstance();
    const SharedGuard guard(shared.mutex);
    for (auto* pTable = static_cast<Table*>(shared.pFirstTable); pTable != nullptr;
         pTable = pTable->pNext)
    {
        pTable->entries[uiSlot].store(nullptr, std::memory_order_relaxed);
        if (shared.pDefault == &out_owner)
            pTable->ppDefaultMagazines->store(s_noMagazines, std::memory_order_relaxed);
        if (pTable->pPreferred->pAllocator.load(std::memory_order_relaxed) == &out_owner)
            forget(*pTable->pPreferred);
    }
    if (shared.pDefault == &out_owner)
        shared.pDefault = nullptr;
    // No thread finds the caches any more, so they can be deleted.
    while (ThreadCache* const pCache = out_owner.m_pFirstCache)
    {
        out_owner.m_pFirstCache = pCache->m_pNextOfOwner;
        giveBack(pCache);
    }
    shared.slotsInUse[uiSlot] = false;
    out_owner.m_uiCacheSlot = s_uiNoSlot;
}

void ThreadCaches::setDefault(const MemAllocatorNoT& in_allocator)
{
    Shared& shared = Shared::getInstance();
    const SharedGuard guard(shared.mutex);
    shared.pDefault = &in_allocator;
}

void ThreadCaches::prefer(MemAllocatorNoT& in_allocator)
{
    ThreadCache* const pCache = find(in_allocator.getCacheSlot());
    if (pCache == nullptr ||
        s_preferred.pAllocator.load(std::memory_order_relaxed) == &in_allocator)
        return;
    const SharedGuard guard(Shared::getInstance().mutex);
    // Under the lock, so that the pair stays consistent if another thread destroys the allocator
    // that was preferred before.
    s_preferred.pAllocator.store(&in_allocator, std::memory_order_relaxed);
    s_preferred.pMagazines.store(pCache->m_magazines.get(), std::memory_order_relaxed);
}

void ThreadCaches::preferNone() { forget(s_preferred); }

void ThreadCaches::forget(Preferred& out_preferred)
{
    out_preferred.pAllocator.store(nullptr, std::memory_order_relaxed);
    out_preferred.pMagazines.store(s_noMagazines, std::memory_order_relaxed);
}

void ThreadCaches::addCounts(const MemAllocatorNoT& in_allocator, std::size_t in_uiClass,
                             std::uint64_t& out_uiAllocated, std::uint64_t& out_uiDeallocated)
{
    const SharedGuard guard(Shared::getInstance().mutex);
    for (ThreadCache* pCache = in_allocator.m_pFirstCache; pCache != nullptr;
         pCache = pCache->m_pNextOfOwner)
    {
        const Magazine& magazine = (*pCache)[in_uiClass];
        out_uiAllocated += magazine.getNumTaken();
        out_uiDeallocated += magazine.getNumPut();
    }
}

void ThreadCaches::forgetOtherThreads() VELMORA_NO_THREAD_SAFETY_ANALYSIS
{
    Shared& shared = Shared::getInstance();
    Table* const pOwn = s_pTable != &s_noEntries ? s_pTable : nullptr;
    for (auto* pTable = static_cast<Table*>(shared.pFirstTable); pTable != nullptr;
         pTable = pTable->pNext)
        if (pTable != pOwn)
            abandonChunks(*pTable);
    // The child has no other thread, so only its own table is left.
    if (pOwn != nullptr)
        pOwn->pNext = nullptr;
    shared.pFirstTable = pOwn;
}

void ThreadCaches::abandonChunks(const Table& in_table)
{
    for (const std::atomic<ThreadCache*>& entry : in_table.entries)
        if (ThreadCache* const pCache = entry.load(std::memory_order_relaxed))
            for (std::size_t uiClass = 0; uiClass < pCache->m_uiNumClasses; ++uiClass)
                (*pCache)[uiClass].abandon();
}

} // namespace Velmora
