#pragma once

#include <cstddef>

namespace Velmora
{

/// Memory for static destructors that run after the exit list has destroyed the allocators. It is
/// kept apart, since what they release may as well be memory from before.
///
/// Memory of the size of a chunk is never released: it may lie where a chunk lay that went with its
/// block, so its address does not tell which of the two is meant.
///
/// Thread-safety: all operations may be called on any thread.
class MemoryAfterTheEnd
{
  public:
    /// Memory of `in_uiSize` bytes; null for a size of 0.
    static void* allocate(std::size_t in_uiSize);

    /// Releases memory, larger than any chunk, that comes from here; false for any other.
    static bool deallocate(void* in_pMemory);
};

} // namespace Velmora
