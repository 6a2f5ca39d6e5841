// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/AccountMemAllocator.h"

#include <cstddef>

namespace Velmora
{

/// The accounting allocator of the process. Code calls `DefaultStaticMemAllocator`, which uses this
/// one if `VELMORA_MEM_ACCOUNTING` turns accounting on.
///
/// Works at any time in the life of the process. When the exit list has destroyed the allocator,
/// all of its chunks are freed. New memory then comes from `malloc` and is not charged. A release
/// of at most 240 bytes, which fit in a chunk with their header, is ignored then; larger blocks go
/// back to `malloc`.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API StaticAccountMemAllocator
{
  public:
    /// As `AccountMemAllocator::allocate`; returns null for a size of 0.
    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName);

    /// As `AccountMemAllocator::deallocate`; does nothing for a null pointer.
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// Returns the allocator; null once the exit list has destroyed it.
    static AccountMemAllocator* getAllocator();

    /// Creates the allocator. Returns true.
    static bool initializeClass();

    /// As the operations of `AccountMemAllocator`. Once the exit list has destroyed the allocator,
    /// there are no accounts.
    static void getMemAccountInfo(MemAccountInfoHash& out_hash);
    [[nodiscard]] static bool getMemAccountInfo(const char* in_szAccountName,
                                                MemAccountInfo& out_info);
    static void logMemAccountingStats();
};

} // namespace Velmora
