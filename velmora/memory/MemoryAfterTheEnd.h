#pragma once

#include <cstddef>

namespace Velmora
{

/// Memory for static destructors that run after the exit list has destroyed the allocators. It is
/// kept apart, since what they release may as well be a chunk that has gone with its block.
///
/// Thread-safety: all operations may be called on any thread.
class MemoryAfterTheEnd
{
  public:
    /// Memory of `in_uiSize` bytes; null for a size of 0.
    static void* allocate(std::size_t in_uiSize);

    /// Releases memory that comes from here; false for any other.
    static bool deallocate(void* in_pMemory);
};

} // namespace Velmora
