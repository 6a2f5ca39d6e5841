// SPDX-License-Identifier: BSD-2-Clause

// The cost of small maps from names to pointers, in memory and for a look-up, beside the hash maps
// of the standard library and of abseil.

#include "velmora/memory/LMHashMap.h"

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iterator>
#include <random>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace
{

/// The library's map with an owner that frees the table.
class Ours : public Velmora::LMHashMap<std::string, void*>
{
  public:
    Ours() = default;
    Ours(const Ours&) = delete;
    Ours& operator=(const Ours&) = delete;
    ~Ours() { destroy(); }
};
using Standard = std::unordered_map<std::string, void*>;
using Abseil = absl::flat_hash_map<std::string, void*>;

/// Returns names like the components of parameter names, short enough to need no memory of their
/// own.
std::vector<std::string> keys(std::size_t in_uiCount)
{
    const char* const names[] = {"keswardin", "infra",   "Logger",   "sip",  "coreDump",
                                 "timeout",   "maxSize", "hostName", "port", "enabled"};
    std::vector<std::string> result;
    for (std::size_t i = 0; i != in_uiCount; ++i)
    {
        result.emplace_back(names[i % std::size(names)]);
        if (i >= std::size(names))
            result.back() += std::to_string(i / std::size(names));
    }
    return result;
}

template <class Map>
void add(Map& out_map, const std::string& in_strKey, void* in_pData)
{
    if constexpr (std::is_same_v<Map, Ours>)
        out_map.insert(in_strKey, in_pData);
    else
        out_map.emplace(in_strKey, in_pData);
}

template <class Map>
void fill(Map& out_map, const std::vector<std::string>& in_keys)
{
    for (const std::string& strKey : in_keys)
        add(out_map, strKey, &out_map);
}

template <class Iterator>
void* dataOf(const Iterator& in_iter)
{
    return in_iter->second;
}

template <class Map>
void lookUp(benchmark::State& out_state, std::size_t in_uiEntries)
{
    std::vector<std::string> wanted = keys(in_uiEntries);
    Map map;
    fill(map, wanted);
    std::shuffle(wanted.begin(), wanted.end(), std::mt19937(1));
    auto next = wanted.begin();
    for ([[maybe_unused]] auto _ : out_state)
    {
        benchmark::DoNotOptimize(dataOf(map.find(*next)));
        if (++next == wanted.end())
            next = wanted.begin();
    }
}

/// Returns the memory from `malloc` that is in use, including the overhead of `malloc`.
std::size_t heapBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Measures the memory of a map, including the object itself, as the counter "bytes".
template <class Map>
void bytes(benchmark::State& out_state, std::size_t in_uiEntries)
{
    constexpr std::size_t uiNumMaps = 2000;
    // The maps are kept: memory that they free would serve the next ones without showing in the
    // count.
    static std::deque<std::vector<Map>> s_kept;
    const std::vector<std::string> names = keys(in_uiEntries);
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::vector<Map>& maps = s_kept.emplace_back(uiNumMaps);
        const std::size_t uiBefore = heapBytes();
        for (Map& map : maps)
            fill(map, names);
        out_state.counters["bytes"] = sizeof(Map) + static_cast<double>(heapBytes() - uiBefore) /
                                                        static_cast<double>(uiNumMaps);
    }
}

template <class Map>
void addBenchmarks(const std::string& in_strDoer)
{
    for (const int iEntries : {1, 4, 8, 100})
    {
        const std::string strName = std::to_string(iEntries) + "/" + in_strDoer;
        const auto uiEntries = static_cast<std::size_t>(iEntries);
        benchmark::RegisterBenchmark(("mapLookUp" + strName).c_str(), lookUp<Map>, uiEntries);
        benchmark::RegisterBenchmark(("mapBytes" + strName).c_str(), bytes<Map>, uiEntries)
            ->Iterations(1);
    }
}

} // namespace

int main(int in_iArgc, char** in_pArgv)
{
    addBenchmarks<Ours>("ours");
    addBenchmarks<Standard>("std");
    addBenchmarks<Abseil>("absl");
    benchmark::Initialize(&in_iArgc, in_pArgv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
