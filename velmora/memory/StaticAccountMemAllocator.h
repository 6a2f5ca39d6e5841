#pragma once

#include "velmora/Export.h"
#include "velmora/memory/AccountMemAllocator.h"

#include <cstddef>

namespace Velmora
{

/// The accounting allocator of the process. Code calls `DefaultStaticMemAllocator`, which uses this
/// one when `VELMORA_MEM_ACCOUNTING` asks for it.
///
/// Works at any time in the life of the process. Once the exit list has destroyed the allocator,
/// all of its chunks are gone; new memory then comes from `malloc`, uncharged, and what is released
/// is left alone.
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API StaticAccountMemAllocator
{
  public:
    /// As `AccountMemAllocator::allocate`; null for a size of 0.
    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName);

    /// As `AccountMemAllocator::deallocate`; does nothing for a null pointer.
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// The allocator itself; null once the exit list has destroyed it.
    static AccountMemAllocator* getAllocator();

    /// Brings it into being. Gives true.
    static bool initializeClass();

    /// As the operations of `AccountMemAllocator`. Once the exit list has destroyed the allocator,
    /// there is no account.
    static void getMemAccountInfo(MemAccountInfoHash& out_hash);
    [[nodiscard]] static bool getMemAccountInfo(const char* in_szAccountName,
                                                MemAccountInfo& out_info);
    static void logMemAccountingStats();
};

} // namespace Velmora
