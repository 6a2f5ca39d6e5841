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

    auto* const pLowest = new (pBlock) FreeChunk{nullptr};
    ChunkBatch chunks{pLowest, pLowest, 1};
    for (char* pBytes = pBlock + m_uiChunkSize; pBytes < pBlock + m_uiBlockSize;
         pBytes += m_uiChunkSize)
    {
        chunks.pFirst = new (pBytes) FreeChunk{chunks.pFirst};
        ++chunks.uiNumChunks;
    }
    m_freeChunks.push(chunks);
    return true;
}

void* ChunkAllocatorNoT::popChunk()
{
    if (m_freeChunks.isEmpty() && !allocateBlock())
        return nullptr;
    ++m_stats.uiNumChunkAlloc;
    return m_freeChunks.pop();
}

void ChunkAllocatorNoT::pushChunk(void* in_pMemory)
{
    m_freeChunks.push(new (in_pMemory) FreeChunk{nullptr});
    ++m_stats.uiNumChunkDealloc;
}

void ChunkAllocatorNoT::popInto(Magazine& out_magazine)
{
    if (!m_freeChunks.isEmpty() || allocateBlock())
        out_magazine.load(m_freeChunks.popBatch(out_magazine.nextFill()));
}

void ChunkAllocatorNoT::addCounts(std::uint64_t in_uiAllocated, std::uint64_t in_uiDeallocated)
{
    m_stats.uiNumChunkAlloc += in_uiAllocated;
    m_stats.uiNumChunkDealloc += in_uiDeallocated;
}

template class MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>;

} // namespace Velmora
