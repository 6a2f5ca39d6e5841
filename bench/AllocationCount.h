#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

namespace Velmora::Bench
{

/// Tells, as the counter "allocations", how often one turn of a loop asks `operator new` for
/// memory. It lives as long as the loop. A program that links this class has its own `operator
/// new`, which counts.
class AllocationCount
{
  public:
    explicit AllocationCount(benchmark::State& out_state);
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

  private:
    benchmark::State& m_state;
    std::int64_t m_iAtStart;
};

} // namespace Velmora::Bench
