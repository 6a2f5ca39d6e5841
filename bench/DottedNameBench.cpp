// SPDX-License-Identifier: BSD-2-Clause

// The cost of splitting a dotted name when a similar name was split before, beside searching for
// its dots.

#include "bench/AllocationCount.h"
#include "bench/Opaque.h"
#include "velmora/system/DottedName.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

using namespace Velmora;

namespace
{

constexpr const char* s_szSixParts = "keswardin.media.rtp.jitterBuffer.initial.delayInMs";

void dottedNameOurs(benchmark::State& out_state)
{
    const char* szName = s_szSixParts;
    std::vector<std::string> components;
    dottedStringToVectorNoResize(szName, components);
    const Bench::AllocationCount count(out_state);
    for ([[maybe_unused]] auto _ : out_state)
    {
        benchmark::DoNotOptimize(dottedStringToVectorNoResize(Bench::opaque(szName), components));
        benchmark::ClobberMemory();
    }
}

unsigned long countByMemchr(const char* in_szName)
{
    const char* const pEnd = in_szName + std::strlen(in_szName);
    unsigned long uiCount = 1;
    while (const void* const pDot =
               std::memchr(in_szName, '.', static_cast<std::size_t>(pEnd - in_szName)))
    {
        in_szName = static_cast<const char*>(pDot) + 1;
        ++uiCount;
    }
    return uiCount;
}

void dottedNameMemchr(benchmark::State& out_state)
{
    const char* szName = s_szSixParts;
    for ([[maybe_unused]] auto _ : out_state)
        benchmark::DoNotOptimize(countByMemchr(Bench::opaque(szName)));
}

BENCHMARK(dottedNameOurs)->Name("dottedName/ours");
BENCHMARK(dottedNameMemchr)->Name("dottedName/memchr");

} // namespace

BENCHMARK_MAIN();
