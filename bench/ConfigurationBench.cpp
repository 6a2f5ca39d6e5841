// SPDX-License-Identifier: BSD-2-Clause

// The cost of reading a configuration text, beside log4cplus's Properties, Poco's
// PropertyFileConfiguration and Boost's reader of ini files; of one integer of the global
// configuration, beside Poco's MapConfiguration and abseil's hash map behind the same lock, also
// among many names with the same parent and while another thread sets a parameter; and of one that
// a ConfigCache remembers, beside a trie behind a lock of that kind.

#include "bench/ManyNames.h"

#include "velmora/config/ConfigCache.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/ParamDefs.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/RWGlobalConfig.h"
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
#include <thread>
#include <vector>

using namespace Velmora;

namespace
{

constexpr std::size_t s_uiLines = 10000;

/// The lines of a configuration and the table that knows their parameters; and the same lines with
/// a tag in every tenth.
struct Text
{
    std::string strPlain;
    std::string strTagged;
    const ParameterInfoDB* pTable = nullptr;
    std::string strLastName;

    void add(const std::string& in_strName, const std::string& in_strValue)
    {
        strLastName = in_strName;
        strPlain.append(in_strName).append("=").append(in_strValue).append("\n");
        constexpr int iTagged = 10;
        const bool bTagged = m_iLines++ % iTagged == iTagged - 1;
        strTagged.append(in_strName).append("=");
        strTagged.append(bTagged ? "${keswardin.run.mode}/x" : in_strValue).append("\n");
    }

  private:
    int m_iLines = 0;
};

/// Returns a value of the parameter's type. The run mode is always "production", as the tags refer
/// to it.
std::string valueFor(const ParameterInfoWithName& in_info)
{
    switch (in_info.m_type)
    {
    case ParameterValue::INT_TYPE:
        return "5060";
    case ParameterValue::BOOL_TYPE:
        return "true";
    case ParameterValue::FLOAT_TYPE:
        return "-3.5";
    default:
        return in_info.m_strName == "keswardin.run.mode" ? "production" : "media7.example.net";
    }
}

/// Returns lines with all parameters of the process's table, repeated up to the number of lines,
/// with values of their types.
const Text& knownLines()
{
    static const Text s_text = []
    {
        Text text;
        text.pTable = &ParameterInfoDB::getInstance();
        std::vector<ParameterInfoWithName> infos;
        text.pTable->retrieve(".", infos);
        text.add("keswardin.run.mode", "production");
        for (std::size_t uiLine = 1; uiLine < s_uiLines; ++uiLine)
        {
            const ParameterInfoWithName& info = infos[uiLine % infos.size()];
            text.add(info.m_strName, valueFor(info));
        }
        return text;
    }();
    return s_text;
}

/// Returns the same number of lines with different names, and a table in which all of them are
/// known.
const Text& differentLines()
{
    static const Text s_text = []
    {
        constexpr std::size_t uiLinesInGroup = 50;
        constexpr std::array<const char*, 5> fields{"port", "enabled", "host", "gain", "directory"};
        constexpr std::array<const char*, 5> values{"5060", "true", "media7.example.net", "-3.5",
                                                    "/var/lib/gateway/recordings"};
        constexpr std::array<ParameterValue::Type, 5> types{
            ParameterValue::INT_TYPE, ParameterValue::BOOL_TYPE, ParameterValue::STRING_TYPE,
            ParameterValue::FLOAT_TYPE, ParameterValue::STRING_TYPE};
        static std::deque<std::string> s_names;
        std::vector<ParameterRow> rows;
        Text text;
        for (std::size_t uiLine = 0; uiLine < s_uiLines; ++uiLine)
        {
            const std::size_t uiKind = uiLine % fields.size();
            s_names.push_back("gateway.trunk" + std::to_string(uiLine / uiLinesInGroup) +
                              ".channel" + std::to_string(uiLine % uiLinesInGroup / fields.size()) +
                              "." + fields[uiKind]);
            rows.push_back({s_names.back().c_str(), types[uiKind], nullptr, false, false, ""});
            text.add(s_names.back(), values[uiKind]);
        }
        text.pTable = new ParamDefs(rows);
        return text;
    }();
    return s_text;
}

void silence() { log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL); }

void read(benchmark::State& out_state, const Text& in_text, const std::string& in_strText)
{
    silence();
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(in_strText);
        ParameterTrie trie;
        std::vector<std::string> unresolved;
        trie.read(stream, in_text.pTable, '\n', true, &unresolved, nullptr);
        if (stream.fail() || !unresolved.empty())
            out_state.SkipWithError("not read");
        benchmark::DoNotOptimize(trie);
    }
}

void readPlain(benchmark::State& out_state, const Text& in_text)
{
    read(out_state, in_text, in_text.strPlain);
}

void readTagged(benchmark::State& out_state, const Text& in_text)
{
    read(out_state, in_text, in_text.strTagged);
}

void readLog4cplus(benchmark::State& out_state, const Text& in_text)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(in_text.strPlain);
        log4cplus::helpers::Properties properties(stream);
        if (!properties.exists(in_text.strLastName))
            out_state.SkipWithError("not read");
    }
}

void readPoco(benchmark::State& out_state, const Text& in_text)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(in_text.strPlain);
        Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> pConfiguration(
            new Poco::Util::PropertyFileConfiguration(stream));
        if (!pConfiguration->hasProperty(in_text.strLastName))
            out_state.SkipWithError("not read");
    }
}

/// Boost rejects a repeated name, so it reads only the text of different names.
void readBoost(benchmark::State& out_state, const Text& in_text)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::istringstream stream(in_text.strPlain);
        boost::property_tree::ptree tree;
        boost::property_tree::read_ini(stream, tree);
        if (tree.size() != s_uiLines)
            out_state.SkipWithError("not read");
    }
}

/// Returns the names of the integer parameters that have a default and are not deprecated.
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

/// Looks up all integers in turn, one in each turn of the loop.
template <class GetInt>
void lookUpIntegers(benchmark::State& out_state, GetInt in_getInt)
{
    Bench::lookUpInTurn(out_state, namesOfIntegers(), in_getInt);
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

/// The integers in abseil's hash map behind a lock of the kind that the configuration has.
struct LockedMap
{
    LockedMap()
    {
        for (const std::string& strName : namesOfIntegers())
            values[strName] = 5060;
    }

    ACE_RW_Thread_Mutex mutex;
    absl::flat_hash_map<std::string, ParameterValue> values;
};

LockedMap& lockedMap()
{
    static LockedMap s_map;
    return s_map;
}

void getIntAbseil(benchmark::State& out_state)
{
    LockedMap& map = lockedMap();
    lookUpIntegers(out_state,
                   [&map](const std::string& in_strName, int& out_iValue)
                   {
                       const ACE_Read_Guard<ACE_RW_Thread_Mutex> lock(map.mutex);
                       const auto found = map.values.find(in_strName);
                       if (found == map.values.end())
                           return false;
                       out_iValue = static_cast<int>(found->second);
                       return true;
                   });
}

/// Sets one parameter repeatedly while other threads look up all integers.
std::jthread s_setter;

void stopSetting(const benchmark::State&) { s_setter = std::jthread(); }

template <class Set>
void startSetting(Set in_set)
{
    s_setter = std::jthread(
        [in_set](const std::stop_token& in_stop)
        {
            for (int iValue = 0; !in_stop.stop_requested(); ++iValue)
                in_set(iValue);
        });
}

void startSettingOurs(const benchmark::State&)
{
    startSetting(
        [](int in_iValue)
        { RWGlobalConfig::getInstance()->setIntParameter("keswardin.exitTimeoutSec", in_iValue); });
}

void startSettingAbseil(const benchmark::State&)
{
    startSetting(
        [&map = lockedMap()](int in_iValue)
        {
            const ACE_Write_Guard<ACE_RW_Thread_Mutex> lock(map.mutex);
            map.values["keswardin.exitTimeoutSec"] = in_iValue;
        });
}

constexpr int s_iFewSiblings = 300;
constexpr int s_iManySiblings = 300000;

void siblingOurs(benchmark::State& out_state, int in_iNumber)
{
    silence();
    Bench::lookUpByOurs(out_state, Bench::manyNames(Bench::Shape::siblings, in_iNumber));
}

void siblingAbseil(benchmark::State& out_state, int in_iNumber)
{
    Bench::lookUpByAbseil(out_state, Bench::manyNames(Bench::Shape::siblings, in_iNumber));
}

/// A configuration with no more than a trie and the lock of the process's configuration.
class LockedTrie : public ROConfiguration
{
  public:
    LockedTrie() { ParameterInfoDB::getInstance().addDefaultsToConfig(m_trie, false); }

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        const ACE_Read_Guard<ACE_RW_Thread_Mutex> lock(m_mutex);
        m_trie.getParameter(in_szParamName, out_value);
    }

  private:
    mutable ACE_RW_Thread_Mutex m_mutex;
    ParameterTrie m_trie;
};

void getIntFrom(benchmark::State& out_state, const ROConfiguration& in_config)
{
    lookUpIntegers(out_state, [&in_config](const std::string& in_strName, int& out_iValue)
                   { return in_config.getIntParameter(in_strName.c_str(), out_iValue); });
}

void cachedIntOurs(benchmark::State& out_state)
{
    silence();
    ConfigCache cache;
    cache.setConfiguration(TSHandle<ROConfiguration>(new LockedTrie));
    for (const std::string& strName : namesOfIntegers())
        if (!cache.parameterDefined(strName.c_str()))
            out_state.SkipWithError("unknown name");
    getIntFrom(out_state, cache);
}

void cachedIntLockedTrie(benchmark::State& out_state) { getIntFrom(out_state, LockedTrie()); }

BENCHMARK_CAPTURE(readPlain, , knownLines())->Name("readLines/ours");
BENCHMARK_CAPTURE(readLog4cplus, , knownLines())->Name("readLines/log4cplus");
BENCHMARK_CAPTURE(readPoco, , knownLines())->Name("readLines/Poco");
BENCHMARK_CAPTURE(readTagged, , knownLines())->Name("readTagged/ours");
BENCHMARK_CAPTURE(readPlain, , knownLines())->Name("readTagged/untagged");
BENCHMARK_CAPTURE(readPlain, , differentLines())->Name("readDifferent/ours");
BENCHMARK_CAPTURE(readLog4cplus, , differentLines())->Name("readDifferent/log4cplus");
BENCHMARK_CAPTURE(readPoco, , differentLines())->Name("readDifferent/Poco");
BENCHMARK_CAPTURE(readBoost, , differentLines())->Name("readDifferent/Boost");
BENCHMARK(getIntOurs)->Name("getInt/ours");
BENCHMARK(getIntPoco)->Name("getInt/Poco");
BENCHMARK(getIntAbseil)->Name("getInt/abseil");
BENCHMARK(getIntOurs)->Name("getIntBoth/ours")->Threads(2);
BENCHMARK(getIntPoco)->Name("getIntBoth/Poco")->Threads(2);
BENCHMARK(getIntAbseil)->Name("getIntBoth/abseil")->Threads(2);
BENCHMARK(getIntOurs)
    ->Name("getIntWhileSet/ours")
    ->Threads(4)
    ->Setup(&startSettingOurs)
    ->Teardown(&stopSetting);
BENCHMARK(getIntAbseil)
    ->Name("getIntWhileSet/abseil")
    ->Threads(4)
    ->Setup(&startSettingAbseil)
    ->Teardown(&stopSetting);
BENCHMARK_CAPTURE(siblingOurs, , s_iFewSiblings)->Name("sibling300/ours");
BENCHMARK_CAPTURE(siblingAbseil, , s_iFewSiblings)->Name("sibling300/abseil");
BENCHMARK_CAPTURE(siblingOurs, , s_iManySiblings)->Name("sibling300000/ours");
BENCHMARK_CAPTURE(siblingAbseil, , s_iManySiblings)->Name("sibling300000/abseil");
BENCHMARK(cachedIntOurs)->Name("cachedInt/ours");
BENCHMARK(cachedIntLockedTrie)->Name("cachedInt/lockedTrie");

} // namespace

BENCHMARK_MAIN();
