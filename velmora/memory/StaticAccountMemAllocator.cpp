// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/StaticAccountMemAllocator.h"

#include "velmora/memory/AceCleanupMemAllocator.h"
#include "velmora/memory/AllocatorOfProcess.h"
#include "velmora/memory/MemoryAfterTheEnd.h"

#include <cstdlib>

namespace Velmora
{

namespace
{

using TheAllocator = AllocatorOfProcess<AceCleanupAccountMemAllocator>;

/// As in `AccountMemAllocator`.
constexpr std::size_t s_uiHeaderSize = 16;

} // namespace

AceCleanupAccountMemAllocator::~AceCleanupAccountMemAllocator() = default;

void* StaticAccountMemAllocator::allocate(std::size_t in_uiSize, const char* in_szAccountName)
{
    if (in_uiSize == 0)
        return nullptr;
    if (AccountMemAllocator* const pAllocator = TheAllocator::get()) [[likely]]
        return pAllocator->allocate(in_uiSize, in_szAccountName);
    return MemoryAfterTheEnd::allocate(in_uiSize);
}

void StaticAccountMemAllocator::deallocate(void* in_pMemory, std::size_t in_uiSize,
                                           const char* in_szAccountName)
{
    if (in_pMemory == nullptr)
        return;
    if (AccountMemAllocator* const pAllocator = TheAllocator::get()) [[likely]]
        pAllocator->deallocate(in_pMemory, in_uiSize, in_szAccountName);
    // Larger blocks come from `malloc`: after the end without a header, before it with one.
    else if (in_uiSize + s_uiHeaderSize > SizeClasses::s_uiLargestChunk &&
             !MemoryAfterTheEnd::deallocate(in_pMemory))
        std::free(static_cast<char*>(in_pMemory) - s_uiHeaderSize);
}

AccountMemAllocator* StaticAccountMemAllocator::getAllocator() { return TheAllocator::get(); }

bool StaticAccountMemAllocator::initializeClass()
{
    getAllocator();
    return true;
}

void StaticAccountMemAllocator::getMemAccountInfo(MemAccountInfoHash& out_hash)
{
    if (const AccountMemAllocator* const pAllocator = TheAllocator::get())
        pAllocator->getMemAccountInfo(out_hash);
    else
        out_hash.clear();
}

bool StaticAccountMemAllocator::getMemAccountInfo(const char* in_szAccountName,
                                                  MemAccountInfo& out_info)
{
    const AccountMemAllocator* const pAllocator = TheAllocator::get();
    return pAllocator != nullptr && pAllocator->getMemAccountInfo(in_szAccountName, out_info);
}

void StaticAccountMemAllocator::logMemAccountingStats()
{
    if (const AccountMemAllocator* const pAllocator = TheAllocator::get())
        pAllocator->logMemAccountingStats();
}

} // namespace Velmora
