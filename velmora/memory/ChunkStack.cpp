// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/ChunkStack.h"

namespace Velmora
{

namespace
{

ChunkBatch join(const ChunkBatch& in_upper, const ChunkBatch& in_lower)
{
    in_upper.pLast->pNext = in_lower.pFirst;
    return {in_upper.pFirst, in_lower.pLast, in_upper.uiNumChunks + in_lower.uiNumChunks};
}

bool fitTogether(const ChunkBatch& in_one, const ChunkBatch& in_other)
{
    return in_one.uiNumChunks + in_other.uiNumChunks <= ChunkStack::s_uiLargestBatch;
}

} // namespace

void ChunkStack::push(const ChunkBatch& in_batch)
{
    if (in_batch.pFirst == nullptr)
        return;
    if (!isEmpty() && !fitTogether(in_batch, m_top))
    {
        // The top may be the small rest of a batch.
        if (!m_below.empty() && fitTogether(m_top, m_below.back()))
        {
            m_below.back() = join(m_top, m_below.back());
            m_top = ChunkBatch{};
        }
        else
            try
            {
                m_below.push_back(m_top);
                m_top = ChunkBatch{};
            }
            catch (const std::bad_alloc&)
            {
                // Memory must be released even when there is none left. Joined batches need none.
            }
    }
    m_top = isEmpty() ? in_batch : join(in_batch, m_top);
}

FreeChunk* ChunkStack::pop()
{
    FreeChunk* const pChunk = m_top.pFirst;
    m_top.pFirst = pChunk->pNext;
    --m_top.uiNumChunks;
    if (m_top.pFirst == nullptr)
        removeTop();
    return pChunk;
}

ChunkBatch ChunkStack::popBatch(std::uint64_t in_uiLimit)
{
    ChunkBatch result = m_top;
    if (m_top.uiNumChunks <= in_uiLimit)
    {
        removeTop();
        return result;
    }
    result.pLast = result.pFirst;
    result.uiNumChunks = 1;
    while (result.uiNumChunks < in_uiLimit && result.pLast->pNext != nullptr)
    {
        result.pLast = result.pLast->pNext;
        ++result.uiNumChunks;
    }
    m_top.pFirst = result.pLast->pNext;
    m_top.uiNumChunks -= result.uiNumChunks;
    result.pLast->pNext = nullptr;
    if (m_top.pFirst == nullptr)
        removeTop();
    return result;
}

void ChunkStack::removeTop()
{
    m_top = ChunkBatch{};
    if (m_below.empty())
        return;
    m_top = m_below.back();
    m_below.pop_back();
}

} // namespace Velmora
