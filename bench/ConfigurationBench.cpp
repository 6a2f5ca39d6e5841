// What reading a configuration text costs, beside log4cplus's Properties, Poco's
// PropertyFileConfiguration and Boost's reader of ini files; and what one integer of the global
// configuration costs, beside Poco's MapConfiguration and abseil's hash map behind the same lock.

#include "velmora/config/GlobalConfig.h"
#include "velmora/config/ParamDefs.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/Logger.h"

#include <benchmark/benchmark.h>

#include <Poco/AutoPtr.h>
#include <Poco/Util/MapConfiguration.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#include <absl/container/flat_hash_map.h>
#include <ace/Guard_T.h>
#include <ace/RW_Thread_Mutex.h>
#include <boost/property_tree/ini_parser.hpp>
#include <log4cplus/helpers/property.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;

namespace
{

constexpr std::size_t s_uiLines = 10000;

/// A configuration as a large gateway may have: names of four components, of which the third and
/// the fourth tell the line apart, values of all types, and a table in which all of them are known.
class Texts
{
  public:
    Texts()
    {
        constexpr std::size_t uiLinesInGroup = 50;
        constexpr std::array<const char*, 5> fields{"port", "enabled", "host", "gain", "directory"};
        constexpr std::array<const char*, 5> values{"5060", "true", "media7.example.net", "-3.5",
                                                    "/var/lib/gateway/recordings"};
        constexpr std::array<ParameterValue::Type, 5> types{
            ParameterValue::INT_TYPE, ParameterValue::BOOL_TYPE, ParameterValue::STRING_TYPE,
            ParameterValue::FLOAT_TYPE, ParameterValue::STRING_TYPE};
        for (std::size_t uiLine = 0; uiLine < s_uiLines; ++uiLine)
        {
            const std::size_t uiKind = uiLine % fields.size();
            m_names.push_back("gateway.trunk" + std::to_string(uiLine / uiLinesInGroup) +
                              ".channel" + std::to_string(uiLine % uiLinesInGroup / fields.size()) +
                              "." + fields[uiKind]);
            m_rows.push_back({m_names.back().c_str(), types[uiKind], nullptr, false, false, ""});
            m_strPlain += m_names.back() + "=" + values[uiKind] + "\n";
            constexpr std::size_t uiTagged = 10;
            const bool bTagged = uiLine % uiTagged == uiTagged - 1;
            m_strTagged += m_names.back() + "=" +
                           (bTagged ? "${gateway.trunk0.channel0.host}/x" : values[uiKind]) + "\n";
        }
    }

    static const Texts& instance()
    {
        static const Texts s_texts;
        return s_texts;
    }

    std::deque<std::string> m_names;
    std::vector<ParameterRow> m_rows;
    std::string m_strPlain;
    std::string m_strTagged;
};

const ParameterInfoDB& tableOfTexts()
{
    static const ParamDefs* const s_pDefs = new ParamDefs(Texts::instance().m_rows);
    return *s_pDefs;
}

void silence() { log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL); }

void read(benchmark::State& out_state, const std::string& in_strText)
{
    silence();
    const ParameterInfoDB& table = tableOfTexts();
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(in_strText);
        ParameterTrie trie;
        std::vector<std::string> unresolved;
        trie.read(stream, &table, '\n', true, &unresolved, nullptr);
        if (stream.fail() || !unresolved.empty())
            out_state.SkipWithError("not read");
        benchmark::DoNotOptimize(trie);
    }
    out_state.SetItemsProcessed(static_cast<std::int64_t>(out_state.iterations()) *
                                static_cast<std::int64_t>(s_uiLines));
}

void readPlain(benchmark::State& out_state) { read(out_state, Texts::instance().m_strPlain); }

void readTagged(benchmark::State& out_state) { read(out_state, Texts::instance().m_strTagged); }

void readLog4cplus(benchmark::State& out_state)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(Texts::instance().m_strPlain);
        log4cplus::helpers::Properties properties(stream);
        if (properties.size() != s_uiLines)
            out_state.SkipWithError("not read");
        benchmark::DoNotOptimize(properties);
    }
}

void readPoco(benchmark::State& out_state)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(Texts::instance().m_strPlain);
        Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> pConfiguration(
            new Poco::Util::PropertyFileConfiguration(stream));
        if (!pConfiguration->hasProperty(Texts::instance().m_names.back()))
            out_state.SkipWithError("not read");
    }
}

void readBoost(benchmark::State& out_state)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(Texts::instance().m_strPlain);
        boost::property_tree::ptree tree;
        boost::property_tree::read_ini(stream, tree);
        if (tree.size() != s_uiLines)
            out_state.SkipWithError("not read");
    }
}

/// The integers among the known parameters that have a default.
std::vector<std::string> namesOfIntegers()
{
    std::vector<ParameterInfoWithName> infos;
    ParameterInfoDB::getInstance().retrieve(".", infos);
    std::vector<std::string> names;
    for (const ParameterInfoWithName& info : infos)
        if (info.m_type == ParameterValue::INT_TYPE && info.m_defaultValue.defined() &&
            !info.m_bDeprecated)
            names.push_back(info.m_strName);
    return names;
}

/// Looks all integers up in turn, one at each step of the loop.
template <class GetInt>
void lookUpIntegers(benchmark::State& out_state, GetInt in_getInt)
{
    const std::vector<std::string> names = namesOfIntegers();
    std::size_t uiName = 0;
    for ([[maybe_unused]] auto _ : out_state)
    {
        int iValue = 0;
        if (!in_getInt(names[uiName], iValue))
            out_state.SkipWithError("unknown name");
        benchmark::DoNotOptimize(iValue);
        uiName = uiName + 1 == names.size() ? 0 : uiName + 1;
    }
}

void getIntOurs(benchmark::State& out_state)
{
    silence();
    static const bool s_bDefaults = GlobalConfig::getInstance()->addDefaults(false);
    benchmark::DoNotOptimize(s_bDefaults);
    lookUpIntegers(
        out_state, [](const std::string& in_strName, int& out_iValue)
        { return GlobalConfig::getInstance()->getIntParameter(in_strName.c_str(), out_iValue); });
}

void getIntPoco(benchmark::State& out_state)
{
    static const Poco::AutoPtr<Poco::Util::MapConfiguration> s_pConfiguration = []
    {
        Poco::AutoPtr<Poco::Util::MapConfiguration> pConfiguration(
            new Poco::Util::MapConfiguration);
        for (const std::string& strName : namesOfIntegers())
            pConfiguration->setInt(strName, 5060);
        return pConfiguration;
    }();
    lookUpIntegers(out_state,
                   [](const std::string& in_strName, int& out_iValue)
                   {
                       out_iValue = s_pConfiguration->getInt(in_strName);
                       return true;
                   });
}

void getIntAbseil(benchmark::State& out_state)
{
    static ACE_RW_Thread_Mutex s_mutex;
    static const auto s_values = []
    {
        absl::flat_hash_map<std::string, ParameterValue> values;
        for (const std::string& strName : namesOfIntegers())
            values[strName] = 5060;
        return values;
    }();
    lookUpIntegers(out_state,
                   [](const std::string& in_strName, int& out_iValue)
                   {
                       const ACE_Read_Guard<ACE_RW_Thread_Mutex> lock(s_mutex);
                       const auto found = s_values.find(in_strName);
                       if (found == s_values.end())
                           return false;
                       out_iValue = static_cast<int>(found->second);
                       return true;
                   });
}

BENCHMARK(readPlain)->Name("readLines/ours");
BENCHMARK(readLog4cplus)->Name("readLines/log4cplus");
BENCHMARK(readPoco)->Name("readLines/Poco");
BENCHMARK(readBoost)->Name("readLines/Boost");
BENCHMARK(readTagged)->Name("readTagged/ours");
BENCHMARK(readPlain)->Name("readTagged/untagged");
BENCHMARK(getIntOurs)->Name("getInt/ours");
BENCHMARK(getIntPoco)->Name("getInt/Poco");
BENCHMARK(getIntAbseil)->Name("getInt/abseil");
BENCHMARK(getIntOurs)->Name("getIntBoth/ours")->Threads(2);
BENCHMARK(getIntPoco)->Name("getIntBoth/Poco")->Threads(2);
BENCHMARK(getIntAbseil)->Name("getIntBoth/abseil")->Threads(2);

} // namespace

BENCHMARK_MAIN();
