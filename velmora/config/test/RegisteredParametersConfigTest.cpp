// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/RegisteredParameters.h"

#include "velmora/config/ParamDefs.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/test/RegisteredParametersSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <latch>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

} // namespace

// The time of registration

namespace
{

void expectTooLate()
{
    const CapturedLog log;
    EXPECT_FALSE(registerRows({s_port}));
    EXPECT_THAT(log.lines(),
                ElementsAre(error("cannot register parameter monitor.port: a configuration has "
                                  "been read already; register it when the program is loaded, or "
                                  "in main before initialize")));
    EXPECT_FALSE(isKnown("monitor.port"));
}

} // namespace

TEST(RegisteredParameters, AreRefusedAfterALoad)
{
    GlobalConfigImpl config;
    EXPECT_TRUE(loadText(config, ""));
    expectTooLate();
}

TEST(RegisteredParameters, AreRefusedAfterALoadThatFailed)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    EXPECT_FALSE(config.load("/nowhere/a.cfg"));
    expectTooLate();
}

TEST(RegisteredParameters, AreRefusedAfterALoadOfSources)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    EXPECT_FALSE(config.load(std::vector<std::string>{"/nowhere/a.cfg"}));
    expectTooLate();
}

TEST(RegisteredParameters, AreRefusedAfterDefaultsWereAdded)
{
    GlobalConfigImpl config;
    config.addDefaults(false);
    expectTooLate();
}

TEST(RegisteredParameters, MayBeRegisteredAfterALoadOfNoSources)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    EXPECT_FALSE(config.load(std::vector<std::string>()));
    EXPECT_TRUE(registerRows({s_port}));
}

TEST(RegisteredParameters, MayBeRegisteredAfterALibrarysParameterWasSet)
{
    GlobalConfigImpl config;
    EXPECT_TRUE(config.setBoolParameter("keswardin.infra.abortOnAssert", false));
    EXPECT_TRUE(registerRows({s_port}));
}

TEST(RegisteredParameters, MayBeRegisteredAgainAfterALoad)
{
    registerRows({s_port});
    GlobalConfigImpl config;
    loadText(config, "");
    loadText(config, "");
    const CapturedLog log;
    EXPECT_TRUE(registerRows({s_port}));
    EXPECT_FALSE(registerRows({s_port, s_realm}));
    EXPECT_EQ(1U, log.lines().size());
    EXPECT_EQ(s_uiRowsOfLibrary + 1, namesMatching("").size());
}

// In a configuration

TEST(RegisteredParameters, AreReadFromAConfigurationByTheirTypes)
{
    registerRows({s_port, s_load, s_realm});
    const CapturedLog log(WARN_LOG_LEVEL);
    GlobalConfigImpl config;
    EXPECT_TRUE(loadText(config, "monitor.port=1\nmonitor.load=1\nmonitor.realm=12\n"));
    EXPECT_EQ(1, intOf(config, "monitor.port"));
    float fLoad = 0;
    EXPECT_TRUE(config.getFloatParameter("monitor.load", fLoad));
    EXPECT_EQ(1.0F, fLoad);
    std::string strRealm;
    EXPECT_TRUE(config.getStringParameter("monitor.realm", strRealm));
    EXPECT_EQ("12", strRealm);
    EXPECT_TRUE(config.warnOnUnknownParameterNames());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RegisteredParameters, AreSkippedInAConfigurationThatHasThemOutOfBounds)
{
    registerRows({s_port, s_load});
    const CapturedLog log(WARN_LOG_LEVEL);
    GlobalConfigImpl config;
    EXPECT_TRUE(loadText(config, "monitor.port=70000\nmonitor.load=2\nmonitor.port=-1\n"));
    const auto skipped = [](const std::string& in_strText)
    { return warnLine("keswardin.infra.ParameterTrie", in_strText + ". The line is skipped"); };
    const auto advice = [](const std::string& in_strText)
    { return warnLine("keswardin.infra.ParameterTrie", in_strText); };
    EXPECT_THAT(log.lines(),
                ElementsAre(skipped("Parameter monitor.port with value 70000 is out of bounds. "
                                    "Should be from 1 to 65535"),
                            advice("line 1 : write a value that is from 1 to 65535 instead of "
                                   "\"70000\""),
                            skipped("Parameter monitor.load with value 2 is out of bounds. Should "
                                    "be at most 1"),
                            advice("line 2 : write a value that is at most 1 instead of \"2\""),
                            skipped("Parameter monitor.port with value -1 is out of bounds. "
                                    "Should be from 1 to 65535"),
                            advice("line 3 : write a value that is from 1 to 65535 instead of "
                                   "\"-1\"")));
    EXPECT_FALSE(config.parameterDefined("monitor.port"));
    const LoadSummary summary = config.getLoadSummary();
    EXPECT_EQ(3U, summary.m_uiOutOfBounds);
    EXPECT_EQ(0U, summary.m_uiWrongTypes);
    EXPECT_EQ(0U, summary.m_uiRedefinitions);
    EXPECT_EQ(0U, summary.m_uiParameters);
    config.addDefaults(false);
    EXPECT_EQ(8090, intOf(config, "monitor.port"));
}

TEST(RegisteredParameters, KeepTheValueBeforeOneThatIsOutOfBounds)
{
    registerRows({s_port});
    const CapturedLog log(WARN_LOG_LEVEL);
    GlobalConfigImpl config;
    loadText(config, "monitor.port=80\nmonitor.port=70000\n");
    EXPECT_EQ(2U, log.lines().size());
    EXPECT_EQ(80, intOf(config, "monitor.port"));
}

TEST(RegisteredParameters, AreCheckedInALineThatWaitedForItsTags)
{
    registerRows({s_port, s_realm});
    const CapturedLog log(WARN_LOG_LEVEL);
    GlobalConfigImpl config;
    EXPECT_TRUE(loadText(config, "monitor.port=7000${monitor.realm}\nmonitor.realm=7\n"));
    EXPECT_EQ(2U, log.lines().size());
    EXPECT_FALSE(config.parameterDefined("monitor.port"));
}

TEST(RegisteredParameters, OfAWrongTypeAreStoredAsTheLibrarysOwn)
{
    registerRows({s_port});
    const CapturedLog log(WARN_LOG_LEVEL);
    GlobalConfigImpl config;
    loadText(config, "monitor.port=many\n");
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine("keswardin.infra.ParameterTrie",
                                     "Parameter monitor.port with type STRING has wrong type. "
                                     "Should be INT"),
                            warnLine("keswardin.infra.ParameterTrie",
                                     "line 1 : write an INT, a whole number without a unit, as in "
                                     "\"monitor.port = 8090\", instead of \"many\"")));
    EXPECT_TRUE(config.parameterDefined("monitor.port"));
    EXPECT_EQ(1U, config.getLoadSummary().m_uiWrongTypes);
    EXPECT_EQ(0U, config.getLoadSummary().m_uiOutOfBounds);
}

TEST(RegisteredParameters, AreNotCheckedInATextThatIsReadByAnotherTable)
{
    registerRows({s_port});
    const CapturedLog log(WARN_LOG_LEVEL);
    const std::vector<ParameterRow> rows{
        {"monitor.port", ParameterValue::INT_TYPE, nullptr, false, false, nullptr}};
    const ParamDefs table(rows);
    for (const ParameterInfoDB* const pTable : {static_cast<const ParameterInfoDB*>(&table),
                                                static_cast<const ParameterInfoDB*>(nullptr)})
    {
        ParameterTrie trie;
        std::istringstream text("monitor.port=70000\n");
        trie.read(text, pTable, '\n', false, nullptr, nullptr);
        EXPECT_EQ(70000, intOf(trie, "monitor.port"));
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

// At run time

TEST(RegisteredParameters, AreSetAtRunTimeWhereTheirRowsSaySo)
{
    registerRows({s_port, s_load});
    GlobalConfigImpl config;
    config.addDefaults(false);
    EXPECT_TRUE(config.setIntParameter("monitor.port", 80));
    config.writeProtect();
    config.declareRunTime();
    const CapturedLog log(ERROR_LOG_LEVEL);
    EXPECT_TRUE(config.setFloatParameter("monitor.load", 0.75F));
    EXPECT_FALSE(config.setIntParameter("monitor.port", 81));
    EXPECT_EQ(80, intOf(config, "monitor.port"));
    EXPECT_THAT(log.lines(),
                Contains(errorLine("keswardin.infra.GlobalConfig",
                                   "failed to set a Global Configuration parameter because the "
                                   "following parameter can not be set at run-time : "
                                   "monitor.port")));
}

TEST(RegisteredParameters, CannotBeSetOutOfTheirBounds)
{
    registerRows({s_port, s_load});
    GlobalConfigImpl config;
    config.addDefaults(false);
    const CapturedLog log;
    EXPECT_FALSE(config.setIntParameter("monitor.port", 0));
    config.declareRunTime();
    EXPECT_FALSE(config.setFloatParameter("monitor.load", 1.5F));
    EXPECT_FALSE(config.setFloatParameter("monitor.load", std::nanf("")));
    EXPECT_EQ(8090, intOf(config, "monitor.port"));
    float fLoad = 0;
    EXPECT_TRUE(config.getFloatParameter("monitor.load", fLoad));
    EXPECT_EQ(0.5F, fLoad);
    const auto refused = [](const std::string& in_strText)
    {
        return errorLine("keswardin.infra.GlobalConfig",
                         "failed to set a Global Configuration parameter because the following "
                         "value is out of bounds : " +
                             in_strText);
    };
    EXPECT_THAT(log.lines(), ElementsAre(refused("monitor.port = 0, should be from 1 to 65535"),
                                         refused("monitor.load = 1.5, should be at most 1"),
                                         refused("monitor.load = nan, should be at most 1")));
}

// Threads

namespace
{

constexpr int s_iThreads = 4;
constexpr int s_iRounds = 25;

void onThreads(void (*in_pFunction)(int))
{
    std::latch start(s_iThreads);
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            [&start, in_pFunction, iThread]
            {
                start.arrive_and_wait();
                in_pFunction(iThread);
            });
    for (std::thread& thread : threads)
        thread.join();
}

std::string nameOf(int in_iThread, int in_iRound)
{
    return "of." + std::to_string(in_iThread) + ".round" + std::to_string(in_iRound);
}

ProgramParameter rowNamed(const std::string& in_strName)
{
    ProgramParameter row = s_port;
    row.szName = in_strName.c_str();
    return row;
}

} // namespace

TEST(RegisteredParameters, MayBeRegisteredOnManyThreadsWhileTheTableIsRead)
{
    onThreads(
        [](int in_iThread)
        {
            const ParameterInfoDB& table = ParameterInfoDB::getInstance();
            for (int iRound = 0; iRound < s_iRounds; ++iRound)
            {
                const std::string strName = nameOf(in_iThread, iRound);
                EXPECT_TRUE(registerRows({rowNamed(strName), s_realm}));
                EXPECT_EQ(ParameterValue::INT_TYPE, table.retrieveType(strName.c_str()));
                EXPECT_EQ(strName, closest((strName + "x").c_str()));
                ParameterHashMap configuration;
                table.addDefaultsToConfig(configuration, false);
                EXPECT_EQ(8090, intOf(configuration, strName.c_str()));
                ParameterBounds bounds;
                EXPECT_TRUE(ParameterInfoDB::retrieveBounds(strName.c_str(), bounds));
            }
        });
    EXPECT_EQ(s_uiRowsOfLibrary + s_iThreads * s_iRounds + 1, namesMatching("").size());
}

TEST(RegisteredParameters, AreAllThereOrRefusedWhereAConfigurationIsLoadedAtTheSameTime)
{
    static std::atomic<int> s_iRegistered{0};
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    onThreads(
        [](int in_iThread)
        {
            if (in_iThread == 0)
            {
                GlobalConfigImpl config;
                EXPECT_TRUE(loadText(config, ""));
                const std::size_t uiRows = namesMatching("").size();
                std::this_thread::yield();
                EXPECT_EQ(uiRows, namesMatching("").size()) << "one came after the load had begun";
                return;
            }
            for (int iRound = 0; iRound < s_iRounds; ++iRound)
                s_iRegistered += registerRows({rowNamed(nameOf(in_iThread, iRound))}) ? 1 : 0;
        });
    EXPECT_EQ(s_uiRowsOfLibrary + s_iRegistered, namesMatching("").size());
    EXPECT_FALSE(registerRows({s_port}));
}

} // namespace Velmora::Test
