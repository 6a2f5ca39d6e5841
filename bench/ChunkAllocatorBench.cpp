// SPDX-License-Identifier: BSD-2-Clause

#include "bench/ComparedAllocator.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <unistd.h>

#ifndef VELMORA_BENCH_MALLOC
#include "velmora/memory/StaticPerThreadMemAllocator.h"
#endif

// The same work on the library's allocator and on malloc and free: see ComparedAllocator.h.

using Velmora::Bench::giveBack;
using Velmora::Bench::take;

namespace
{

constexpr std::size_t s_uiBatch = 1000;

/// The sizes of a batch: one size for all, or for 0 all sizes from 1 to 256 bytes in an order
/// without a pattern.
class Sizes
{
  public:
    explicit Sizes(std::int64_t in_iSize)
    {
        std::size_t uiState = 12345;
        for (std::size_t& uiSize : m_sizes)
        {
            uiState = uiState * 6364136223846793005u + 1442695040888963407u;
            uiSize = in_iSize != 0 ? static_cast<std::size_t>(in_iSize) : (uiState >> 56) + 1;
        }
    }
    std::size_t operator[](std::size_t in_uiIndex) const { return m_sizes[in_uiIndex]; }

  private:
    std::array<std::size_t, s_uiBatch> m_sizes;
};

/// Allocates a chunk and frees it.
void pairs(benchmark::State& out_state)
{
    const Sizes sizes(out_state.range(0));
    while (out_state.KeepRunningBatch(s_uiBatch))
        for (std::size_t uiIndex = 0; uiIndex < s_uiBatch; ++uiIndex)
        {
            void* pMemory = take(sizes[uiIndex]);
            benchmark::DoNotOptimize(pMemory);
            giveBack(pMemory, sizes[uiIndex]);
        }
}

/// Allocates a thousand chunks and frees them in the same order. The time is that of one chunk.
void batches(benchmark::State& out_state)
{
    const Sizes sizes(out_state.range(0));
    std::array<void*, s_uiBatch> chunks;
    while (out_state.KeepRunningBatch(s_uiBatch))
    {
        for (std::size_t uiIndex = 0; uiIndex < s_uiBatch; ++uiIndex)
            chunks[uiIndex] = take(sizes[uiIndex]);
        benchmark::DoNotOptimize(chunks);
        for (std::size_t uiIndex = 0; uiIndex < s_uiBatch; ++uiIndex)
            giveBack(chunks[uiIndex], sizes[uiIndex]);
    }
}

#ifndef VELMORA_BENCH_MALLOC

constexpr std::size_t s_uiObjectSize = 24;

/// Allocates the chunk of an object and frees it, by a front end of static functions.
template <class FrontEnd>
void objects(benchmark::State& out_state)
{
    while (out_state.KeepRunningBatch(s_uiBatch))
        for (std::size_t uiIndex = 0; uiIndex < s_uiBatch; ++uiIndex)
        {
            void* pMemory = FrontEnd::allocate(s_uiObjectSize, "Bench");
            benchmark::DoNotOptimize(pMemory);
            FrontEnd::deallocate(pMemory, s_uiObjectSize, "Bench");
        }
}

#endif

/// Returns the resident memory of this process in bytes.
std::size_t residentBytes()
{
    std::size_t uiPages = 0;
    if (std::FILE* const pFile = std::fopen("/proc/self/statm", "r"))
    {
        if (std::fscanf(pFile, "%*u %zu", &uiPages) != 1)
            uiPages = 0;
        std::fclose(pFile);
    }
    return uiPages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// Measures how much the process grows by a million live objects. The counter "bytes" is the growth
/// for one object.
void footprint(benchmark::State& out_state)
{
    constexpr std::size_t uiNumObjects = 1'000'000;
    const auto uiSize = static_cast<std::size_t>(out_state.range(0));
    std::vector<void*> objects(uiNumObjects, &objects);
    for ([[maybe_unused]] auto turn : out_state)
    {
        const std::size_t uiBefore = residentBytes();
        for (void*& pObject : objects)
            pObject = std::memset(take(uiSize), 1, uiSize);
        out_state.counters["bytes"] =
            static_cast<double>(residentBytes() - uiBefore) / static_cast<double>(uiNumObjects);
        for (void* const pObject : objects)
            giveBack(pObject, uiSize);
    }
}

/// Returns the file of the library that `malloc` comes from, since a peer that fails to load would
/// otherwise go unnoticed.
std::string fileOfMalloc()
{
    Dl_info info{};
    return dladdr(dlsym(RTLD_DEFAULT, "malloc"), &info) != 0 ? info.dli_fname : "";
}

void overSizesAndThreads(benchmark::internal::Benchmark* out_pBenchmark)
{
    for (const int iSize : {8, 24, 64, 256, 0})
        out_pBenchmark->Arg(iSize);
    out_pBenchmark->Threads(1)->Threads(2)->UseRealTime();
}

} // namespace

BENCHMARK(pairs)->Apply(overSizesAndThreads);
BENCHMARK(batches)->Apply(overSizesAndThreads);
#ifndef VELMORA_BENCH_MALLOC
BENCHMARK(objects<Velmora::StaticPerThreadMemAllocator>)
    ->Name("perThread/ours")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(objects<Velmora::DefaultStaticMemAllocator>)
    ->Name("perThread/default")
    ->Threads(2)
    ->UseRealTime();
#endif
BENCHMARK(footprint)->Arg(24)->Iterations(1);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::AddCustomContext("malloc", fileOfMalloc());
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
