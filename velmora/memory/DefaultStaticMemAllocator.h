#pragma once

#include "velmora/Export.h"
#include "velmora/memory/ThreadCache.h"

#include <cstddef>

namespace Velmora
{

/// The front end that the code of the library and its programs allocates through. Each allocation
/// names its account; with the environment variable `VELMORA_MEM_ACCOUNTING` set, it is charged to
/// it.
///
/// Thread-safety: all operations may be called on any thread; memory may be released on another
/// thread than the one that asked for it.
class VELMORA_API DefaultStaticMemAllocator
{
  public:
    /// Memory of `in_uiSize` bytes, aligned to 8; null for a size of 0 and when there is no memory.
    /// Ownership: the caller's, who passes the same size and account to `deallocate`.
    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        // While memory is accounted, this magazine is always empty.
        if (const std::size_t uiClass = (in_uiSize - 1) / 8; uiClass < 32) [[likely]]
            if (Magazine& magazine = ThreadCaches::defaultMagazine(uiClass); !magazine.isEmpty())
                [[likely]]
                return magazine.take();
        return allocateSlowly(in_uiSize, in_szAccountName);
    }

    /// Takes memory back. Does nothing for a null pointer or a size of 0.
    static void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName)
    {
        // While memory is accounted, this magazine is always full.
        if (const std::size_t uiClass = (in_uiSize - 1) / 8; uiClass < 32) [[likely]]
            if (Magazine& magazine = ThreadCaches::defaultMagazine(uiClass);
                !magazine.isFull() && in_pMemory != nullptr) [[likely]]
                return magazine.put(in_pMemory);
        deallocateSlowly(in_pMemory, in_uiSize, in_szAccountName);
    }

    /// Brings the allocator in use into being. Gives true.
    static bool initializeClass();

    /// Whether memory is accounted in this process; never changes.
    static bool isAccountingMemory();

  private:
    static void* allocateSlowly(std::size_t in_uiSize, const char* in_szAccountName);
    static void deallocateSlowly(void* in_pMemory, std::size_t in_uiSize,
                                 const char* in_szAccountName);
};

} // namespace Velmora
