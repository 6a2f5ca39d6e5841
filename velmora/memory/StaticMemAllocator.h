// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/MemAllocatorT.h"

#include <cstddef>

namespace Velmora
{

/// The allocator of the process that keeps no accounts. Code calls `DefaultStaticMemAllocator`.
///
/// Works at any time in the life of the process. When the exit list has destroyed the allocator,
/// all of its chunks are freed. New memory then comes from `malloc`. A release of at most the size
/// of the largest chunk is ignored then; larger blocks go back to `malloc`.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API StaticMemAllocator
{
  public:
    using Allocator = MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>;

    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName);
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// Returns the allocator; null once the exit list has destroyed it.
    static Allocator* getAllocator();

    /// Creates the allocator. If accounting is forced, also creates the accounting one. Returns
    /// true.
    static bool initializeClass();

  private:
    /// Creates the allocator when the library is loaded.
    static const bool __forced_init_allocator__;
};

} // namespace Velmora
