#pragma once

#include "velmora/Export.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Object.h"

#include <cstddef>

namespace Velmora
{

/// Gives objects memory from an allocator that the caller chooses, or from
/// `DefaultStaticMemAllocator` where the caller has none. A block of the latter, the fallback, has
/// a header of 16 bytes in front.
///
/// Thread-safety: the static operations may be called on any thread.
/// Failure: null where there is no memory.
class VELMORA_API ObjectAllocatorBase : public virtual Object
{
  public:
    ObjectAllocatorBase() = default;
    ObjectAllocatorBase(const ObjectAllocatorBase&) = default;
    ObjectAllocatorBase& operator=(const ObjectAllocatorBase&) = default;
    ~ObjectAllocatorBase() override;

    /// Memory for an object of `in_uiSize` bytes.
    /// Ownership: the caller's, who gives it back as the class says.
    [[nodiscard]] virtual void* allocate(std::size_t in_uiSize, const char* in_szAccountName) = 0;

    /// Memory from that allocator, or from the fallback for null.
    [[nodiscard]] static void* getObjectStore(std::size_t in_uiSize, const char* in_szAccountName,
                                              LimitedObjPtr<ObjectAllocatorBase> in_pAllocator);

    /// Memory of `in_uiSize` bytes, which may be 0, from the fallback.
    /// Ownership: the caller's, who gives it back with `deallocateBlockFallbackAllocator`.
    [[nodiscard]] static void* getObjectStoreFallbackAllocator(std::size_t in_uiSize,
                                                               const char* in_szAccountName);

    /// Takes a block of the fallback back. `in_pBlock` is the address of its header, 16 bytes in
    /// front of the object, and `in_uiSize` the size of the whole block, which is larger than that
    /// of the object by 16.
    /// Failure: a block whose header is broken, a released one or one of another allocator, fails
    /// an assertion and is left alone.
    static void deallocateBlockFallbackAllocator(ObjectAllocatorBase** in_pBlock,
                                                 std::size_t in_uiSize,
                                                 const char* in_szAccountName);

    /// What the second word of a live header of the fallback holds: 0x1234. The first is null, as
    /// no allocator owns the block.
    static ObjectAllocatorBase* getMagicToken();
};

} // namespace Velmora
