#pragma once

#include "velmora/application/Assertion.h"

#include <cstddef>
#include <cstring>
#include <limits>

namespace Velmora
{

/// Static functions on an allocator with static functions, for callers that cannot tell the size
/// when they release. A header of 16 bytes in front of the caller's bytes keeps it. Code uses the
/// instance `NoSizeMemAllocator`.
///
/// Failure: memory whose header is broken, released memory among it, trips an assertion and is left
/// alone.
/// Thread-safety: as `Allocator`; adds no lock.
template <class Allocator>
class NoSizeMemAllocatorT
{
  public:
    /// What the first word of a live header holds.
    static constexpr std::size_t s_uiMagicToken = 0xA5C7;

    /// Memory of `in_uiSize` bytes, which may be 0.
    /// Ownership: the caller's, who gives it back with `deallocate`.
    /// Failure: null when there is no memory, as for a size that leaves no room for the header.
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

    /// Zero-filled memory for `in_uiCount` elements of `in_uiSize` bytes. The product is not
    /// checked: of one that wraps, the block has what is left, and is whole and filled up to that.
    [[nodiscard]] static void* callocate(std::size_t in_uiCount, std::size_t in_uiSize,
                                         const char* in_szAccountName)
    {
        void* const pMemory = allocate(in_uiCount * in_uiSize, in_szAccountName);
        return pMemory != nullptr ? std::memset(pMemory, 0, in_uiCount * in_uiSize) : nullptr;
    }

    /// Memory of at least `in_uiSize` bytes that begins with what `in_pMemory` holds. A block never
    /// shrinks: where it is large enough it is given back as it is. A null block is a plain
    /// allocation; a size of 0 releases the block and gives null.
    /// Failure: null for memory whose header is broken, and when there is no memory; the block is
    /// then as it was.
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

    /// Takes memory back. Does nothing for a null pointer.
    static void deallocate(void* in_pMemory, const char* in_szAccountName)
    {
        if (in_pMemory == nullptr)
            return;
        Header* const pHeader = checkedHeaderOf(in_pMemory);
        if (pHeader == nullptr)
            return;
        const std::size_t uiAugmentedSize = pHeader->uiAugmentedSize;
        *pHeader = {~s_uiMagicToken, ~uiAugmentedSize};
        Allocator::deallocate(pHeader, uiAugmentedSize, in_szAccountName);
    }

    /// A copy of a text, null for a null text.
    /// Ownership: the caller's, who gives it back with `deallocate`.
    [[nodiscard]] static char* strdup(const char* in_szText, const char* in_szAccountName)
    {
        if (in_szText == nullptr)
            return nullptr;
        const std::size_t uiSize = std::strlen(in_szText) + 1;
        void* const pCopy = allocate(uiSize, in_szAccountName);
        return pCopy != nullptr ? static_cast<char*>(std::memcpy(pCopy, in_szText, uiSize))
                                : nullptr;
    }

    /// `Allocator::initializeClass()`.
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

    /// The header of a live block; null, after an assertion, for anything else.
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
