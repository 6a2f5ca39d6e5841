// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemAllocatorT.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <algorithm>
#include <new>
#include <ostream>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(MemAllocator)

namespace Velmora
{

ChunkAllocatorNoT::Stats& ChunkAllocatorNoT::Stats::operator+=(const Stats& in_stats)
{
    uiNumMalloc += in_stats.uiNumMalloc;
    uiNumChunkAlloc += in_stats.uiNumChunkAlloc;
    uiNumChunkDealloc += in_stats.uiNumChunkDealloc;
    return *this;
}

std::ostream& ChunkAllocatorNoT::Stats::write(std::ostream& out_stream) const
{
    // Numbers are written as text, so that no locale groups their digits.
    return out_stream << "Num malloc        = " << std::to_string(uiNumMalloc)
                      << "\nNum chunk alloc   = " << std::to_string(uiNumChunkAlloc)
                      << "\nNum chunk dealloc = " << std::to_string(uiNumChunkDealloc);
}

std::ostream& operator<<(std::ostream& out_stream, const ChunkAllocatorNoT::Stats& in_stats)
{
    return in_stats.write(out_stream);
}

ChunkAllocatorNoT::ChunkAllocatorNoT(const Logger& in_logger, unsigned long in_ulUnits,
                                     unsigned long in_ulGranule, bool in_bReportLeaks)
    : ObjectWithLogger<Logger>(in_logger), m_uiChunkSize(in_ulUnits * in_ulGranule),
      // As many chunks as fit into 1024 bytes, but at least four.
      m_uiBlockSize(std::max<std::size_t>(1024 / m_uiChunkSize, 4) * m_uiChunkSize),
      m_bReportLeaks(in_bReportLeaks)
{
    // The macros for this level trace scopes only; none logs a single line.
    VELMORA_LOG(getLogger(), TRACE_LOG_LEVEL,
                "ChunkAllocator::ChunkAllocator : " << m_uiChunkSize << " bytes");
}

ChunkAllocatorNoT::~ChunkAllocatorNoT()
{
    VELMORA_TRACE_SCOPE(ChunkAllocatorNoT::~ChunkAllocatorNoT);
    // An appender may throw; the blocks are freed all the same.
    const auto attempt = [this](auto in_report)
    { withoutThrowing(&getLogger(), "exception while a ChunkAllocator ends", in_report); };
    if (m_bReportLeaks)
        attempt([this] { reportLeaks(); });
    attempt(
        [this]
        {
            VELMORA_LOG_DEBUG("Allocation stats for " << m_uiChunkSize << " bytes ChunkAllocator\n"
                                                      << m_stats);
        });
    while (!m_blocks.empty())
    {
        std::free(m_blocks.back());
        m_blocks.pop_back();
    }
}

void ChunkAllocatorNoT::reportLeaks() const
{
    if (m_stats.uiNumChunkAlloc > m_stats.uiNumChunkDealloc)
        VELMORA_LOG_WARN("Memory leak in " << m_uiChunkSize << " bytes ChunkAllocator");
    else if (m_stats.uiNumChunkAlloc < m_stats.uiNumChunkDealloc)
        VELMORA_LOG_ERROR("Deallocated too much in " << m_uiChunkSize << " bytes ChunkAllocator");
}

bool ChunkAllocatorNoT::allocateBlock()
{
    char* const pBlock = static_cast<char*>(std::malloc(m_uiBlockSize));
    if (pBlock == nullptr)
        return false;
    try
    {
        m_blocks.push_back(pBlock);
    }
    catch (const std::bad_alloc&)
    {
        std::free(pBlock);
        return false;
    }
    ++m_stats.uiNumMalloc;

    m_pFreeList = new (pBlock) FreeChunk{nullptr};
    for (char* pBytes = pBlock + m_uiChunkSize; pBytes < pBlock + m_uiBlockSize;
         pBytes += m_uiChunkSize)
        m_pFreeList = new (pBytes) FreeChunk{m_pFreeList};
    return true;
}

void* ChunkAllocatorNoT::popChunk()
{
    // Single chunks come from the free list, and the full magazines are on top of it.
    spreadMagazines();
    if (m_pFreeList == nullptr && !allocateBlock())
        return nullptr;
    FreeChunk* const pChunk = m_pFreeList;
    m_pFreeList = pChunk->pNext;
    ++m_stats.uiNumChunkAlloc;
    return pChunk;
}

void ChunkAllocatorNoT::pushChunk(void* in_pMemory)
{
    spreadMagazines();
    m_pFreeList = new (in_pMemory) FreeChunk{m_pFreeList};
    ++m_stats.uiNumChunkDealloc;
}

void ChunkAllocatorNoT::popInto(Magazine& out_magazine)
{
    if (!m_fullMagazines.empty())
    {
        // The topmost batch moves as a whole, so its chunks are not touched.
        const Magazine::Batch batch = m_fullMagazines.back();
        m_fullMagazines.pop_back();
        out_magazine.load(batch.pFirst, batch.pLast, Magazine::s_uiCapacity);
        return;
    }

    if (m_pFreeList == nullptr && !allocateBlock())
        return;
    FreeChunk* const pFirst = m_pFreeList;
    FreeChunk* pLast = pFirst;
    std::uint64_t uiNumChunks = 1;
    while (uiNumChunks < Magazine::s_uiCapacity && pLast->pNext != nullptr)
    {
        pLast = pLast->pNext;
        ++uiNumChunks;
    }
    m_pFreeList = pLast->pNext;
    pLast->pNext = nullptr;
    out_magazine.load(pFirst, pLast, uiNumChunks);
}

void ChunkAllocatorNoT::pushFull(const Magazine::Batch& in_batch)
{
    try
    {
        m_fullMagazines.push_back(in_batch);
    }
    catch (const std::bad_alloc&)
    {
        // Memory must be released even when there is none left. The free list needs no memory of
        // its own.
        pushBatch(in_batch);
    }
}

void ChunkAllocatorNoT::pushBatch(const Magazine::Batch& in_batch)
{
    if (in_batch.pFirst == nullptr)
        return;
    spreadMagazines();
    in_batch.pLast->pNext = m_pFreeList;
    m_pFreeList = in_batch.pFirst;
}

/// Moves the chunks of the full magazines to the free list, in their order.
void ChunkAllocatorNoT::spreadMagazines()
{
    for (const Magazine::Batch& batch : m_fullMagazines)
    {
        batch.pLast->pNext = m_pFreeList;
        m_pFreeList = batch.pFirst;
    }
    m_fullMagazines.clear();
}

void ChunkAllocatorNoT::addCounts(std::uint64_t in_uiAllocated, std::uint64_t in_uiDeallocated)
{
    m_stats.uiNumChunkAlloc += in_uiAllocated;
    m_stats.uiNumChunkDealloc += in_uiDeallocated;
}

template class MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>;

} // namespace Velmora
