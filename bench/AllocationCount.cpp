// SPDX-License-Identifier: BSD-2-Clause

#include "bench/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<std::int64_t> s_iNumAllocations{0};

} // namespace

namespace Velmora::Bench
{

AllocationCount::AllocationCount(benchmark::State& out_state)
    : m_state(out_state), m_iAtStart(s_iNumAllocations)
{
}

AllocationCount::~AllocationCount()
{
    m_state.counters["allocations"] = benchmark::Counter(
        static_cast<double>(s_iNumAllocations - m_iAtStart), benchmark::Counter::kAvgIterations);
}

} // namespace Velmora::Bench

void* operator new(std::size_t in_uiSize)
{
    // A load and a store instead of an atomic addition, whose lock prefix would show in the
    // measurement. Only one thread allocates while the count is taken.
    s_iNumAllocations.store(s_iNumAllocations.load(std::memory_order_relaxed) + 1,
                            std::memory_order_relaxed);
    if (void* const pMemory = std::malloc(in_uiSize))
        return pMemory;
    throw std::bad_alloc();
}

void operator delete(void* in_pMemory) noexcept { std::free(in_pMemory); }

void operator delete(void* in_pMemory, std::size_t) noexcept { std::free(in_pMemory); }
