// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>

namespace Velmora
{

/// Allocates memory for static destructors that run after the exit list has destroyed the
/// allocators. It keeps a record of this memory, because those destructors also release memory that
/// was allocated before.
///
/// Memory of at most the size of a chunk is never released. `malloc` may return an address inside a
/// block that was freed with its allocator. A release of such an address can then mean the old
/// chunk or the new memory, and the two cannot be distinguished.
///
/// Thread-safety: all operations may be called on any thread.
class MemoryAfterTheEnd
{
  public:
    /// Allocates `in_uiSize` bytes. Returns null for a size of 0 and when there is no memory.
    static void* allocate(std::size_t in_uiSize);

    /// Releases memory that was allocated here; returns false for any other. Must be called only
    /// for memory that is larger than any chunk.
    static bool deallocate(void* in_pMemory);
};

} // namespace Velmora
