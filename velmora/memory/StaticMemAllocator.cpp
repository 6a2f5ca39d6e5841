// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/StaticMemAllocator.h"

#include "velmora/application/Lifetime.h"
#include "velmora/memory/AceCleanupMemAllocator.h"
#include "velmora/memory/AllocatorOfProcess.h"
#include "velmora/memory/MemAccounting.h"
#include "velmora/memory/MemoryAfterTheEnd.h"
#include "velmora/memory/StaticAccountMemAllocator.h"

#include <cstdlib>

namespace Velmora
{

namespace
{

using TheAllocator =
    AllocatorOfProcess<AceCleanupMemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>>;

} // namespace

// Creates the allocators when the library is loaded, in their order among the process-wide objects.
const bool StaticMemAllocator::__forced_init_allocator__ =
    (bringUpLibrary(), StaticMemAllocator::initializeClass());

void* StaticMemAllocator::allocate(std::size_t in_uiSize, const char* in_szAccountName)
{
    if (Allocator* const pAllocator = TheAllocator::get()) [[likely]]
        return pAllocator->allocate(in_uiSize, in_szAccountName);
    return MemoryAfterTheEnd::allocate(in_uiSize);
}

void StaticMemAllocator::deallocate(void* in_pMemory, std::size_t in_uiSize,
                                    const char* in_szAccountName)
{
    if (Allocator* const pAllocator = TheAllocator::get()) [[likely]]
        pAllocator->deallocate(in_pMemory, in_uiSize, in_szAccountName);
    // Larger blocks come from `malloc`, before the end and after it.
    else if (in_uiSize > SizeClasses::s_uiLargestChunk &&
             !MemoryAfterTheEnd::deallocate(in_pMemory))
        std::free(in_pMemory);
}

StaticMemAllocator::Allocator* StaticMemAllocator::getAllocator() { return TheAllocator::get(); }

bool StaticMemAllocator::initializeClass()
{
    Allocator* const pAllocator = getAllocator();
    // With accounting there is no default, so that all operations take the slow path to the
    // accounts.
    if (isMemAccountingForced())
        StaticAccountMemAllocator::initializeClass();
    else if (pAllocator != nullptr)
        ThreadCaches::setDefault(*pAllocator);
    return true;
}

} // namespace Velmora
