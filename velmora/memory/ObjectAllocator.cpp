// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/ObjectAllocator.h"

#include "velmora/application/Assertion.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <cstdint>
#include <limits>

namespace Velmora
{

namespace
{

/// The header has two words: null, and the magic token.
constexpr std::size_t s_uiHeaderSize = 2 * sizeof(void*);
constexpr std::uintptr_t s_uiMagicToken = 0x1234;

ObjectAllocatorBase* asHeaderWord(std::uintptr_t in_uiWord)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): it is only compared.
    return reinterpret_cast<ObjectAllocatorBase*>(in_uiWord);
}

/// Fails an assertion with that text unless the condition holds. Returns the condition.
bool holds(bool in_bCondition, const char* in_szText)
{
    const Assertion assertion(in_bCondition, in_szText, __FILE__, __LINE__);
    return in_bCondition;
}

} // namespace

ObjectAllocatorBase::~ObjectAllocatorBase() = default;

void* ObjectAllocatorBase::getObjectStore(std::size_t in_uiSize, const char* in_szAccountName,
                                          LimitedObjPtr<ObjectAllocatorBase> in_pAllocator)
{
    if (in_pAllocator.isNull())
        return getObjectStoreFallbackAllocator(in_uiSize, in_szAccountName);
    return in_pAllocator->allocate(in_uiSize, in_szAccountName);
}

void* ObjectAllocatorBase::getObjectStoreFallbackAllocator(std::size_t in_uiSize,
                                                           const char* in_szAccountName)
{
    if (in_uiSize > std::numeric_limits<std::size_t>::max() - s_uiHeaderSize)
        return nullptr;
    auto** const pBlock = static_cast<ObjectAllocatorBase**>(
        DefaultStaticMemAllocator::allocate(in_uiSize + s_uiHeaderSize, in_szAccountName));
    if (pBlock == nullptr)
        return nullptr;
    pBlock[0] = nullptr;
    pBlock[1] = getMagicToken();
    return pBlock + 2;
}

void ObjectAllocatorBase::deallocateBlockFallbackAllocator(ObjectAllocatorBase** in_pBlock,
                                                           std::size_t in_uiSize,
                                                           const char* in_szAccountName)
{
    if (!holds(*in_pBlock == nullptr, "*in_pBlock == 0") ||
        !holds(*(in_pBlock + 1) == getMagicToken(),
               "*(in_pBlock+1) == ObjectAllocatorBase::getMagicToken()"))
        return;
    // Marks the block as released, so that a second release is detected.
    *(in_pBlock + 1) = asHeaderWord(~s_uiMagicToken);
    DefaultStaticMemAllocator::deallocate(in_pBlock, in_uiSize, in_szAccountName);
}

ObjectAllocatorBase* ObjectAllocatorBase::getMagicToken() { return asHeaderWord(s_uiMagicToken); }

} // namespace Velmora
