// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace Velmora
{

/// A free chunk. Its first word points to the next free chunk.
struct FreeChunk
{
    FreeChunk* pNext;
};

/// A list of free chunks of known length, from the first to the last. `pFirst` is null if there are
/// none.
struct ChunkBatch
{
    FreeChunk* pFirst = nullptr;
    FreeChunk* pLast = nullptr;
    std::uint64_t uiNumChunks = 0;
};

/// A stack of free chunks that consists of batches. A batch moves as a whole, so that the cost of
/// its move does not grow with its length, and its chunks stay out of the processor's cache.
///
/// Below the top, two neighbouring batches have more than `s_uiLargestBatch` chunks together,
/// because smaller ones are joined. So the memory for the batches grows with the number of chunks,
/// and not with the number of pushes.
///
/// Thread-safety: none.
/// Ownership: none; the chunks belong to the blocks that they were cut from.
/// Failure: no operation fails. If there is no memory for another batch, batches are joined to a
/// larger one.
class VELMORA_API ChunkStack
{
  public:
    /// In chunks.
    static constexpr std::uint64_t s_uiLargestBatch = 512;

    [[nodiscard]] bool isEmpty() const { return m_top.pFirst == nullptr; }

    void push(FreeChunk* in_pChunk) { push(ChunkBatch{in_pChunk, in_pChunk, 1}); }

    /// Pushes the chunks of a batch, possibly none; its first chunk becomes the topmost one. Reads
    /// no chunk, and writes to the last one of a batch at most.
    void push(const ChunkBatch& in_batch);

    /// Removes the topmost chunk. The stack must not be empty.
    [[nodiscard]] FreeChunk* pop();

    /// Removes the topmost batch. The stack must not be empty. If the batch is longer than the
    /// limit, which is at least 1, only its first chunks are removed; only they are read then.
    [[nodiscard]] ChunkBatch popBatch(std::uint64_t in_uiLimit);

    /// The number of batches.
    [[nodiscard]] std::size_t getNumBatches() const { return m_below.size() + (isEmpty() ? 0 : 1); }

  private:
    /// Takes the memory for the batches from `malloc`. A program may replace `operator new` by one
    /// that uses the allocators, whose lock is held while a batch is pushed.
    template <class T>
    struct FromMalloc
    {
        using value_type = T;
        FromMalloc() = default;
        template <class Other>
        FromMalloc(
            const FromMalloc<Other>&) // NOLINT(google-explicit-constructor): as the standard asks.
        {
        }
        static T* allocate(std::size_t in_uiNumber)
        {
            if (void* const pMemory = std::malloc(in_uiNumber * sizeof(T)))
                return static_cast<T*>(pMemory);
            throw std::bad_alloc();
        }
        static void deallocate(T* in_pMemory, std::size_t) { std::free(in_pMemory); }
        friend bool operator==(const FromMalloc&, const FromMalloc&) { return true; }
    };

    void removeTop();

    /// Has no chunks only if there are no batches below it.
    ChunkBatch m_top;
    /// The last one is next to the top.
    std::vector<ChunkBatch, FromMalloc<ChunkBatch>> m_below;
};

} // namespace Velmora
