// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

namespace Velmora::Bench
{

/// Reports, as the counter "allocations", the number of calls of `operator new` in one turn of a
/// loop. The object lives as long as the loop. A program that links this class gets an `operator
/// new` that counts.
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
