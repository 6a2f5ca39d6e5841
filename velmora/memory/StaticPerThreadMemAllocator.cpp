// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/StaticPerThreadMemAllocator.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/Logger.h"
#include "velmora/memory/MemoryAfterTheEnd.h"

#include <ace/Object_Manager.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace Velmora
{

namespace
{

constexpr std::size_t s_uiNumAllocators = 16;

/// The object while it exists; null before its construction and after its destruction.
constinit std::atomic<StaticPerThreadMemAllocatorImpl*> s_pAlive{nullptr};

} // namespace

StaticPerThreadMemAllocatorImpl::StaticPerThreadMemAllocatorImpl()
    : PerThreadMemAllocator(s_uiNumAllocators, Logger(), true)
{
    s_pAlive.store(this, std::memory_order_release);
}

StaticPerThreadMemAllocatorImpl::~StaticPerThreadMemAllocatorImpl()
{
    s_pAlive.store(nullptr, std::memory_order_release);
}

StaticPerThreadMemAllocatorImpl* StaticPerThreadMemAllocatorImpl::getInstance()
{
    if (StaticPerThreadMemAllocatorImpl* const pAlive = s_pAlive.load(std::memory_order_acquire))
        [[likely]]
        return pAlive;
    // The exit list accepts no new objects while it runs.
    if (ACE_Object_Manager::shutting_down() != 0)
        return nullptr;
    // Without the pass, a child that is forked while another thread creates the object would wait
    // forever for the static's initialisation.
    const ProcessGate::Pass pass;
    static const bool s_bMade = (new StaticPerThreadMemAllocatorImpl, true);
    static_cast<void>(s_bMade);
    return s_pAlive.load(std::memory_order_acquire);
}

void* StaticPerThreadMemAllocator::allocateSlowly(std::size_t in_uiSize,
                                                  const char* in_szAccountName)
try
{
    if (Impl* const pImpl = Impl::getInstance()) [[likely]]
    {
        void* const pMemory = pImpl->allocate(in_uiSize, in_szAccountName);
        ThreadCaches::prefer(pImpl->allocatorOfThread());
        return pMemory;
    }
    // A block of 0 bytes also has an address of its own.
    return MemoryAfterTheEnd::allocate(std::max<std::size_t>(in_uiSize, 1));
}
catch (const std::bad_alloc&)
{
    // There is no memory for the allocators themselves.
    return nullptr;
}

void StaticPerThreadMemAllocator::deallocateSlowly(void* in_pMemory, std::size_t in_uiSize,
                                                   const char* in_szAccountName)
{
    if (in_pMemory == nullptr)
        return;
    if (Impl* const pImpl = Impl::getInstance()) [[likely]]
        pImpl->deallocate(in_pMemory, in_uiSize, in_szAccountName);
    // Larger blocks come from `malloc`: after the end without a header, before it with one.
    else if (in_uiSize > s_uiLargestInChunk && !MemoryAfterTheEnd::deallocate(in_pMemory))
        std::free(static_cast<Impl::Header*>(in_pMemory) - 1);
}

bool StaticPerThreadMemAllocator::initializeClass()
{
    StaticPerThreadMemAllocatorImpl::getInstance();
    return true;
}

} // namespace Velmora
