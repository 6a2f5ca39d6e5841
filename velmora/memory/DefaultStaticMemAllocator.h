// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/SizeClasses.h"
#include "velmora/memory/ThreadCache.h"

#include <cstddef>

namespace Velmora
{

/// The allocator that the library and its programs call. Each allocation names an account. If the
/// environment variable `VELMORA_MEM_ACCOUNTING` is set, it is charged to that account.
///
/// Thread-safety: all operations may be called on any thread; memory may be released on a thread
/// other than the one that allocated it.
class VELMORA_API DefaultStaticMemAllocator
{
  public:
    /// Allocates `in_uiSize` bytes, aligned to 8. Returns null for a size of 0 and when there is no
    /// memory.
    /// Ownership: the caller's, which passes the same size and account to `deallocate`.
    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        // While memory is accounted, this magazine is always empty. A size of 0 wraps and takes the
        // slow path.
        if (const std::size_t uiClass = SizeClasses::classOf(in_uiSize);
            uiClass < SizeClasses::s_ulNumber) [[likely]]
            if (Magazine& magazine = ThreadCaches::defaultMagazine(uiClass); !magazine.isEmpty())
                [[likely]]
                return magazine.take();
        return allocateSlowly(in_uiSize, in_szAccountName);
    }

    /// Releases memory. Does nothing for a null pointer or a size of 0.
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        // While memory is accounted, this magazine is always full.
        if (const std::size_t uiClass = SizeClasses::classOf(in_uiSize);
            uiClass < SizeClasses::s_ulNumber) [[likely]]
            if (Magazine& magazine = ThreadCaches::defaultMagazine(uiClass);
                !magazine.isFull() && in_pMemory != nullptr) [[likely]]
                return magazine.put(in_pMemory);
        deallocateSlowly(in_pMemory, in_uiSize, in_szAccountName);
    }

    /// Creates the allocator that this process uses. Returns true.
    static bool initializeClass();

    /// Returns whether memory is accounted in this process. The result never changes.
    static bool isAccountingMemory();

  private:
    static void* allocateSlowly(std::size_t in_uiSize, const char* in_szAccountName);
    static void deallocateSlowly(void* in_pMemory, std::size_t in_uiSize,
                                 const char* in_szAccountName);
};

} // namespace Velmora
