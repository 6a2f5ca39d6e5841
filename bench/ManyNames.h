// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/ParameterValue.h"

#include <absl/container/flat_hash_map.h>
#include <ace/Guard_T.h>
#include <ace/RW_Thread_Mutex.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// Integers of a configuration with many names, beside those of abseil's hash map behind a lock of
/// the same kind.
namespace Bench
{

/// How names are related.
enum class Shape
{
    /// All have the same parent.
    siblings,
    /// A tree in which no node has more than 20 children.
    tree
};

/// Returns the configuration line of each name, in an order that is that of no table.
inline const std::vector<std::string>& manyNames(Shape in_shape, int in_iNumber)
{
    static std::map<std::pair<Shape, int>, std::vector<std::string>> s_names;
    std::vector<std::string>& names = s_names[{in_shape, in_iNumber}];
    if (!names.empty())
        return names;
    for (int i = 0; i != in_iNumber; ++i)
        names.push_back(in_shape == Shape::siblings
                            ? "gateway.subscriber." + std::to_string(i)
                            : "gateway.site" + std::to_string(i / 8000) + ".rack" +
                                  std::to_string(i / 400 % 20) + ".card" +
                                  std::to_string(i / 20 % 20) + ".port" + std::to_string(i % 20));
    std::shuffle(names.begin(), names.end(), std::mt19937(1));
    return names;
}

/// Returns a configuration text in which each of the names is an integer.
inline std::string textOf(const std::vector<std::string>& in_names)
{
    std::string strText;
    for (const std::string& strName : in_names)
        strText.append(strName).append("=5060\n");
    return strText;
}

/// Looks up all names in turn, one in each turn of the loop.
template <class GetInt>
void lookUpInTurn(benchmark::State& out_state, const std::vector<std::string>& in_names,
                  GetInt in_getInt)
{
    std::size_t uiName = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        int iValue = 0;
        if (!in_getInt(in_names[uiName], iValue))
            out_state.SkipWithError("unknown name");
        benchmark::DoNotOptimize(iValue);
        uiName = uiName + 1 == in_names.size() ? 0 : uiName + 1;
    }
}

inline void lookUpByOurs(benchmark::State& out_state, const std::vector<std::string>& in_names)
{
    // Never destroyed: the allocators of its nodes end before static destructors run.
    static std::map<const void*, Velmora::GlobalConfigImpl*> s_configs;
    Velmora::GlobalConfigImpl*& pConfig = s_configs[&in_names];
    if (pConfig == nullptr)
    {
        pConfig = new Velmora::GlobalConfigImpl;
        std::istringstream text(textOf(in_names));
        if (!pConfig->load(text))
            out_state.SkipWithError("not loaded");
    }
    const Velmora::GlobalConfig& config = *pConfig;
    lookUpInTurn(out_state, in_names,
                 [&config](const std::string& in_strName, int& out_iValue)
                 { return config.getIntParameter(in_strName.c_str(), out_iValue); });
}

inline void lookUpByAbseil(benchmark::State& out_state, const std::vector<std::string>& in_names)
{
    static ACE_RW_Thread_Mutex s_mutex;
    absl::flat_hash_map<std::string, Velmora::ParameterValue> values;
    for (const std::string& strName : in_names)
        values[strName] = 5060;
    lookUpInTurn(out_state, in_names,
                 [&values](const std::string& in_strName, int& out_iValue)
                 {
                     const ACE_Read_Guard<ACE_RW_Thread_Mutex> lock(s_mutex);
                     const auto found = values.find(in_strName);
                     if (found == values.end())
                         return false;
                     out_iValue = static_cast<int>(found->second);
                     return true;
                 });
}

} // namespace Bench
