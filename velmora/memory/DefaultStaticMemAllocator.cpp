// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/DefaultStaticMemAllocator.h"

#include "velmora/memory/MemAccounting.h"
#include "velmora/memory/StaticAccountMemAllocator.h"
#include "velmora/memory/StaticMemAllocator.h"

namespace Velmora
{

void* DefaultStaticMemAllocator::allocateSlowly(std::size_t in_uiSize, const char* in_szAccountName)
{
    if (isAccountingMemory()) [[unlikely]]
        return StaticAccountMemAllocator::allocate(in_uiSize, in_szAccountName);
    return StaticMemAllocator::allocate(in_uiSize, in_szAccountName);
}

void DefaultStaticMemAllocator::deallocateSlowly(void* in_pMemory, std::size_t in_uiSize,
                                                 const char* in_szAccountName)
{
    if (isAccountingMemory()) [[unlikely]]
        StaticAccountMemAllocator::deallocate(in_pMemory, in_uiSize, in_szAccountName);
    else
        StaticMemAllocator::deallocate(in_pMemory, in_uiSize, in_szAccountName);
}

bool DefaultStaticMemAllocator::initializeClass()
{
    return isAccountingMemory() ? StaticAccountMemAllocator::initializeClass()
                                : StaticMemAllocator::initializeClass();
}

bool DefaultStaticMemAllocator::isAccountingMemory() { return isMemAccountingForced(); }

} // namespace Velmora
