// SPDX-License-Identifier: BSD-2-Clause

// The cost of the table of known parameters: a look-up by name, beside that of Poco's
// MapConfiguration, and the closest name to a wrong one, beside a scan that computes the
// Levenshtein distance with two rows.

#include "velmora/config/ParameterInfoDB.h"

#include <benchmark/benchmark.h>

#include <Poco/AutoPtr.h>
#include <Poco/Util/MapConfiguration.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;

namespace
{

std::vector<ParameterInfoWithName> allParameters()
{
    std::vector<ParameterInfoWithName> infos;
    ParameterInfoDB::getInstance().retrieve(".", infos);
    return infos;
}

/// Returns all known names, in the order of the table's iteration.
std::vector<std::string> allNames()
{
    std::vector<std::string> names;
    for (const ParameterInfoWithName& info : allParameters())
        names.push_back(info.m_strName);
    return names;
}

/// Returns the names with one wrong letter each.
std::vector<std::string> wrongNames()
{
    std::vector<std::string> names = allNames();
    for (std::size_t uiName = 0; uiName < names.size(); ++uiName)
        names[uiName][(uiName * 7) % names[uiName].size()] = '#';
    return names;
}

void setItems(benchmark::State& out_state, std::size_t in_uiItems)
{
    out_state.SetItemsProcessed(static_cast<std::int64_t>(out_state.iterations()) *
                                static_cast<std::int64_t>(in_uiItems));
}

void lookUpOurs(benchmark::State& out_state)
{
    const std::vector<std::string> names = allNames();
    const ParameterInfoDB& defs = ParameterInfoDB::getInstance();
    ParameterInfo info;
    for ([[maybe_unused]] auto _ : out_state)
        for (const std::string& strName : names)
        {
            if (!defs.retrieve(strName.c_str(), info))
                out_state.SkipWithError("unknown name");
            benchmark::DoNotOptimize(info);
        }
    setItems(out_state, names.size());
}

/// Returns only the value, while ours returns everything that is known of a parameter.
void lookUpPoco(benchmark::State& out_state)
{
    Poco::AutoPtr<Poco::Util::MapConfiguration> pConfiguration(new Poco::Util::MapConfiguration);
    for (const ParameterInfoWithName& info : allParameters())
    {
        std::ostringstream text;
        text << info.m_defaultValue;
        pConfiguration->setString(info.m_strName, text.str());
    }
    const std::vector<std::string> names = allNames();
    std::string strValue;
    for ([[maybe_unused]] auto _ : out_state)
        for (const std::string& strName : names)
        {
            strValue = pConfiguration->getRawString(strName);
            benchmark::DoNotOptimize(strValue);
        }
    setItems(out_state, names.size());
}

/// Computes the Levenshtein distance with two rows, which are reused for the next pair.
class TwoRows
{
  public:
    unsigned int distance(const std::string& in_strLeft, const std::string& in_strRight)
    {
        const std::size_t uiColumns = in_strRight.size();
        m_above.resize(uiColumns + 1);
        m_below.resize(uiColumns + 1);
        std::iota(m_above.begin(), m_above.end(), 0U);
        for (const char character : in_strLeft)
        {
            unsigned int uiLeft = m_above[0] + 1;
            m_below[0] = uiLeft;
            for (std::size_t uiColumn = 1; uiColumn <= uiColumns; ++uiColumn)
            {
                const unsigned int uiCost = character == in_strRight[uiColumn - 1] ? 0 : 1;
                const unsigned int uiNear = std::min(uiLeft, m_above[uiColumn]) + 1;
                uiLeft = std::min(uiNear, m_above[uiColumn - 1] + uiCost);
                m_below[uiColumn] = uiLeft;
            }
            m_above.swap(m_below);
        }
        return m_above.back();
    }

  private:
    std::vector<unsigned int> m_above;
    std::vector<unsigned int> m_below;
};

const std::string& closestByTwoRows(const std::vector<std::string>& in_names,
                                    const std::string& in_strWrong)
{
    TwoRows rows;
    const std::string* pClosest = nullptr;
    unsigned int uiSmallest = std::numeric_limits<unsigned int>::max();
    for (const std::string& strName : in_names)
    {
        const unsigned int uiDistance = rows.distance(in_strWrong, strName);
        if (uiDistance >= uiSmallest)
            continue;
        uiSmallest = uiDistance;
        pClosest = &strName;
    }
    return *pClosest;
}

void closestNameOurs(benchmark::State& out_state)
{
    const std::vector<std::string> names = allNames();
    const std::vector<std::string> wrong = wrongNames();
    const ParameterInfoDB& defs = ParameterInfoDB::getInstance();
    std::string strClosest;
    for (const std::string& strWrong : wrong)
    {
        defs.validateParamName(strWrong.c_str(), strClosest);
        if (strClosest != closestByTwoRows(names, strWrong))
            out_state.SkipWithError("another name is closer");
    }
    std::size_t uiNext = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        defs.validateParamName(wrong[uiNext].c_str(), strClosest);
        benchmark::DoNotOptimize(strClosest);
        uiNext = uiNext + 1 < wrong.size() ? uiNext + 1 : 0;
    }
}

void closestNameTwoRows(benchmark::State& out_state)
{
    const std::vector<std::string> names = allNames();
    const std::vector<std::string> wrong = wrongNames();
    std::string strClosest;
    std::size_t uiNext = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        strClosest = closestByTwoRows(names, wrong[uiNext]);
        benchmark::DoNotOptimize(strClosest);
        uiNext = uiNext + 1 < wrong.size() ? uiNext + 1 : 0;
    }
}

BENCHMARK(lookUpOurs)->Name("lookUp/ours");
BENCHMARK(lookUpPoco)->Name("lookUp/Poco");
BENCHMARK(closestNameOurs)->Name("closestName/ours");
BENCHMARK(closestNameTwoRows)->Name("closestName/two rows");

} // namespace

BENCHMARK_MAIN();
