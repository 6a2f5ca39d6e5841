#pragma once

#include "velmora/Export.h"
#include "velmora/memory/MemAllocatorT.h"

#include <cstddef>

namespace Velmora
{

/// The allocator of the process that keeps no accounts. Code calls `DefaultStaticMemAllocator`.
///
/// Works at any time in the life of the process. Once the exit list has destroyed the allocator,
/// all of its chunks are gone; new memory then comes from `malloc`, and what is released is left
/// alone.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API StaticMemAllocator
{
  public:
    using Allocator = MemAllocator<ACE_Thread_Mutex, 32>;

    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName);
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// The allocator itself; null once the exit list has destroyed it.
    static Allocator* getAllocator();

    /// Brings it into being, and the accounting one as well if accounting is forced. Gives true.
    static bool initializeClass();

  private:
    static const bool __forced_init_allocator__;
};

} // namespace Velmora
