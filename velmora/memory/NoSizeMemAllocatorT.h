// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Assertion.h"

#include <cstddef>
#include <cstring>
#include <limits>

namespace Velmora
{

/// Wraps an allocator with static functions for callers that do not know the size when they release
/// memory. A header of 16 bytes in front of the caller's bytes holds the size. Code uses the
/// instance `NoSizeMemAllocator`.
///
/// Failure: memory with a broken header, such as released memory, fails an assertion and is left
/// alone.
/// Thread-safety: as `Allocator`; adds no lock.
template <class Allocator>
class NoSizeMemAllocatorT
{
  public:
    /// The first word of a header in use.
    static constexpr std::size_t s_uiMagicToken = 0xA5C7;

    /// Allocates `in_uiSize` bytes. The size may be 0.
    /// Ownership: the caller's, which releases the memory with `deallocate`.
    /// Failure: returns null when there is no memory, and for a size that leaves no room for the
    /// header.
    [[nodiscard]] static void* allocate(std::size_t in_uiSize, const char* in_szAccountName)
    {
        if (in_uiSize > s_uiLargestSize) [[unlikely]]
            return nullptr;
        const std::size_t uiAugmentedSize = in_uiSize + sizeof(Header);
        auto* const pHeader =
            static_cast<Header*>(Allocator::allocate(uiAugmentedSize, in_szAccountName));
        if (pHeader == nullptr) [[unlikely]]
            return nullptr;
        *pHeader = {s_uiMagicToken, uiAugmentedSize};
        return pHeader + 1;
    }

    /// Allocates zero-filled memory for `in_uiCount` elements of `in_uiSize` bytes. The product is
    /// not checked for overflow: if it wraps, the block has the wrapped size.
    [[nodiscard]] static void* callocate(std::size_t in_uiCount, std::size_t in_uiSize,
                                         const char* in_szAccountName)
    {
        void* const pMemory = allocate(in_uiCount * in_uiSize, in_szAccountName);
        return pMemory != nullptr ? std::memset(pMemory, 0, in_uiCount * in_uiSize) : nullptr;
    }

    /// Returns memory of at least `in_uiSize` bytes that begins with the content of `in_pMemory`. A
    /// block never shrinks: one that is large enough is returned unchanged. A null block is a plain
    /// allocation. A size of 0 releases the block and returns null.
    /// Failure: returns null for memory with a broken header and when there is no memory; the block
    /// is unchanged.
    [[nodiscard]] static void* reallocate(void* in_pMemory, std::size_t in_uiSize,
                                          const char* in_szAccountName)
    {
        if (in_pMemory == nullptr)
            return allocate(in_uiSize, in_szAccountName);
        if (in_uiSize == 0)
        {
            deallocate(in_pMemory, in_szAccountName);
            return nullptr;
        }
        const Header* const pHeader = checkedHeaderOf(in_pMemory);
        if (pHeader == nullptr)
            return nullptr;
        const std::size_t uiUsableSize = pHeader->uiAugmentedSize - sizeof(Header);
        if (uiUsableSize >= in_uiSize)
            return in_pMemory;
        void* const pGrown = allocate(in_uiSize, in_szAccountName);
        if (pGrown == nullptr)
            return nullptr;
        std::memcpy(pGrown, in_pMemory, uiUsableSize);
        deallocate(in_pMemory, in_szAccountName);
        return pGrown;
    }

    /// Releases memory. Does nothing for a null pointer.
    static void deallocate(void* in_pMemory, const char* in_szAccountName)
    {
        if (in_pMemory == nullptr)
            return;
        Header* const pHeader = checkedHeaderOf(in_pMemory);
        if (pHeader == nullptr)
            return;
        const std::size_t uiAugmentedSize = pHeader->uiAugmentedSize;
        // Marks the block as released, so that a second release is detected.
        *pHeader = {~s_uiMagicToken, ~uiAugmentedSize};
        Allocator::deallocate(pHeader, uiAugmentedSize, in_szAccountName);
    }

    /// Returns a copy of a text; null for a null text.
    /// Ownership: the caller's, which releases the memory with `deallocate`.
    [[nodiscard]] static char* strdup(const char* in_szText, const char* in_szAccountName)
    {
        if (in_szText == nullptr)
            return nullptr;
        const std::size_t uiSize = std::strlen(in_szText) + 1;
        void* const pCopy = allocate(uiSize, in_szAccountName);
        return pCopy != nullptr ? static_cast<char*>(std::memcpy(pCopy, in_szText, uiSize))
                                : nullptr;
    }

    /// Calls `Allocator::initializeClass()` and returns its result.
    static bool initializeClass() { return Allocator::initializeClass(); }

  private:
    struct Header
    {
        std::size_t uiMagic;
        std::size_t uiAugmentedSize;
    };
    static_assert(sizeof(Header) == 16);

    static constexpr std::size_t s_uiLargestSize =
        std::numeric_limits<std::size_t>::max() - sizeof(Header);

    /// Returns the header of a block in use. For any other memory, fails an assertion and returns
    /// null.
    static Header* checkedHeaderOf(void* in_pMemory)
    {
        Header* const pHeader = static_cast<Header*>(in_pMemory) - 1;
        const std::size_t* const pMem = &pHeader->uiMagic;
        VELMORA_PLAIN_ASSERT(*pMem == s_uiMagicToken);
        if (*pMem != s_uiMagicToken)
            return nullptr;
        const std::size_t uiAugmentedSize = pHeader->uiAugmentedSize;
        VELMORA_PLAIN_ASSERT(uiAugmentedSize >= (2 * sizeof(size_t)));
        return uiAugmentedSize >= 2 * sizeof(std::size_t) ? pHeader : nullptr;
    }
};

} // namespace Velmora
