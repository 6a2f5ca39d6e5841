// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/PerThreadMemAllocator.h"

#include "velmora/application/Assertion.h"

#include <unistd.h>

namespace Velmora
{

constinit thread_local unsigned int PerThreadMemAllocatorNoT::s_uiThreadId = 0;

unsigned int PerThreadMemAllocatorNoT::askThreadId()
{
    s_uiThreadId = static_cast<unsigned int>(gettid());
    return s_uiThreadId;
}

void PerThreadMemAllocatorNoT::forgetThreadId()
{
    s_uiThreadId = 0;
    // The child's thread id differs, so another of the allocators may be the preferred one.
    ThreadCaches::preferNone();
}

void PerThreadMemAllocatorNoT::reportBrokenHeader(const char* in_szCondition)
{
    const Assertion assertion(false, in_szCondition, __FILE__, __LINE__);
}

template class PerThreadMemAllocator<MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>>;

} // namespace Velmora
