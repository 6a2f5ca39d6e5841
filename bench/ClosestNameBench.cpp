// What finding the closest of some hundred names to a name with one wrong letter costs, beside the
// same with the two rows of the usual table.

#include "velmora/system/LevinsteinDistance.h"
#include "velmora/system/LevinsteinDistanceScan.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

using namespace Velmora;

namespace
{

constexpr std::size_t s_uiNumNames = 299;

/// Names like those of the parameters of a gateway.
std::vector<std::string> makeNames()
{
    constexpr const char* areas[] = {"sip.transport", "media.rtp",     "media.codec.g711",
                                     "pstn.isdn",     "pstn.cas",      "recording",
                                     "infra.Logger",  "webAdmin.http", "alarm.monitor",
                                     "dsp.echo",      "media.detector"};
    constexpr const char* names[] = {
        "port",           "enabled",         "initialDelayMs",     "maxDelayMs",
        "minDelayMs",     "bufferSize",      "retryCount",         "timeoutSeconds",
        "localAddress",   "remoteAddress",   "maxNumChannels",     "packetLossThreshold",
        "logLevel",       "directory",       "fileName",           "keepAliveIntervalMs",
        "gainDb",         "silenceLevel",    "toneDuration",       "interDigitTimeoutMs",
        "payloadType",    "typeOfService",   "registrarHost",      "sessionExpires",
        "useCompactForm", "maxFileSizeInKb", "numSimultaneousMax", "PropertiesFile.production"};
    std::vector<std::string> result;
    for (const char* const szName : names)
        for (const char* const szArea : areas)
            if (result.size() < s_uiNumNames)
                result.push_back(std::string("keswardin.") + szArea + '.' + szName);
    return result;
}

/// Each name with one wrong letter, another place in each.
std::vector<std::string> makeWrongNames(const std::vector<std::string>& in_names)
{
    std::vector<std::string> result = in_names;
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i][i * 7 % result[i].size()] = 'x';
    return result;
}

unsigned long distanceByTwoRows(const std::string& in_str, const std::string& in_strRef,
                                std::vector<unsigned long>& out_above,
                                std::vector<unsigned long>& out_row)
{
    out_above.resize(in_strRef.size() + 1);
    out_row.resize(in_strRef.size() + 1);
    std::iota(out_above.begin(), out_above.end(), 0UL);
    for (std::size_t i = 1; i <= in_str.size(); ++i)
    {
        out_row[0] = i;
        for (std::size_t j = 1; j <= in_strRef.size(); ++j)
        {
            const unsigned long uiKept =
                out_above[j - 1] + (in_str[i - 1] == in_strRef[j - 1] ? 0UL : 1UL);
            out_row[j] = std::min({out_row[j - 1] + 1, out_above[j] + 1, uiKept});
        }
        std::swap(out_row, out_above);
    }
    return out_above.back();
}

/// The first of the names that is closest by the given distance.
template <class Distance>
const std::string& closestOf(const std::vector<std::string>& in_names, Distance in_distance)
{
    unsigned long uiBest = std::numeric_limits<unsigned long>::max();
    const std::string* pBest = nullptr;
    for (const std::string& name : in_names)
    {
        const unsigned long uiDistance = in_distance(name);
        if (uiDistance >= uiBest)
            continue;
        uiBest = uiDistance;
        pBest = &name;
    }
    return *pBest;
}

template <class Search>
void searchAll(benchmark::State& out_state, Search in_search)
{
    const std::vector<std::string> names = makeNames();
    const std::vector<std::string> wrongNames = makeWrongNames(names);
    std::size_t i = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        const std::string& closest = in_search(names, wrongNames[i]);
        if (closest != names[i])
        {
            out_state.SkipWithError("found another name");
            break;
        }
        i = (i + 1) % names.size();
    }
}

void closestNameOurs(benchmark::State& out_state)
{
    LevinsteinDistanceScan scan;
    searchAll(out_state,
              [&scan](const std::vector<std::string>& in_names,
                      const std::string& in_strWrong) -> const std::string&
              {
                  scan.prepare(in_strWrong);
                  return closestOf(in_names, [&scan](const std::string& in_strName)
                                   { return scan.distance(in_strName); });
              });
}

void closestNameTwoRows(benchmark::State& out_state)
{
    std::vector<unsigned long> above;
    std::vector<unsigned long> row;
    searchAll(out_state,
              [&](const std::vector<std::string>& in_names,
                  const std::string& in_strWrong) -> const std::string&
              {
                  return closestOf(
                      in_names, [&](const std::string& in_strName)
                      { return distanceByTwoRows(in_strWrong, in_strName, above, row); });
              });
}

void closestNameOperations(benchmark::State& out_state)
{
    LevinsteinDistanceComputer computer;
    std::string strOperations;
    searchAll(out_state,
              [&](const std::vector<std::string>& in_names,
                  const std::string& in_strWrong) -> const std::string&
              {
                  return closestOf(in_names,
                                   [&](const std::string& in_strName)
                                   {
                                       return computer(in_strWrong.c_str(), in_strName.c_str(),
                                                       strOperations,
                                                       std::numeric_limits<unsigned long>::max())
                                           .get();
                                   });
              });
}

BENCHMARK(closestNameOurs)->Name("closestName/ours");
BENCHMARK(closestNameTwoRows)->Name("closestName/two rows");
BENCHMARK(closestNameOperations)->Name("closestName/with operations");

} // namespace

BENCHMARK_MAIN();
