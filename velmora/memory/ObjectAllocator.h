// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Object.h"

#include <cstddef>

namespace Velmora
{

/// Allocates memory for objects from an allocator that the caller chooses, or from the fallback,
/// `DefaultStaticMemAllocator`, if the caller has none. A block of the fallback has a header of 16
/// bytes in front of the object.
///
/// Thread-safety: the static operations may be called on any thread.
/// Failure: returns null when there is no memory.
class VELMORA_API ObjectAllocatorBase : public virtual Object
{
  public:
    ObjectAllocatorBase() = default;
    ObjectAllocatorBase(const ObjectAllocatorBase&) = default;
    ObjectAllocatorBase& operator=(const ObjectAllocatorBase&) = default;
    ~ObjectAllocatorBase() override;

    /// Allocates memory for an object of `in_uiSize` bytes.
    /// Ownership: the caller's, which releases the memory as the derived class requires.
    [[nodiscard]] virtual void* allocate(std::size_t in_uiSize, const char* in_szAccountName) = 0;

    /// Allocates memory from that allocator, or from the fallback if it is null.
    [[nodiscard]] static void* getObjectStore(std::size_t in_uiSize, const char* in_szAccountName,
                                              LimitedObjPtr<ObjectAllocatorBase> in_pAllocator);

    /// Allocates `in_uiSize` bytes, possibly 0, from the fallback.
    /// Ownership: the caller's, which releases the memory with `deallocateBlockFallbackAllocator`.
    [[nodiscard]] static void* getObjectStoreFallbackAllocator(std::size_t in_uiSize,
                                                               const char* in_szAccountName);

    /// Releases a block of the fallback. `in_pBlock` is the address of its header, 16 bytes in
    /// front of the object. `in_uiSize` is the size of the whole block, 16 bytes more than that of
    /// the object.
    /// Failure: a block with a broken header, such as a released one or one of another allocator,
    /// fails an assertion and is left alone.
    static void deallocateBlockFallbackAllocator(ObjectAllocatorBase** in_pBlock,
                                                 std::size_t in_uiSize,
                                                 const char* in_szAccountName);

    /// Returns the second word of a fallback header in use: 0x1234. The first word is null, as no
    /// allocator owns the block.
    static ObjectAllocatorBase* getMagicToken();
};

} // namespace Velmora
