// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigImpl.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

constexpr const char* s_szText = "keswardin.gw.recordCalls.directory";
constexpr const char* s_szDefault = "./logs/recordings";
constexpr const char* s_szNumber = "keswardin.exitTimeoutSec";

/// Longer than a string or a stream can hold without memory of its own.
const std::string s_strLong(2000, 'x');

std::string configuration()
{
    return std::string(s_szText) + "=${keswardin.test.long}\nkeswardin.test.long=" + s_strLong +
           "\n" + s_szNumber + "=30\nlog4cplus.rootLogger=INFO, NONE\n";
}

/// Runs the operations of a configuration without memory: the first allocation of each fails, then
/// the second and so on.
class GlobalConfigMemory : public testing::Test
{
  protected:
    GlobalConfigMemory() : m_strFile(m_directory.file("a.cfg"))
    {
        std::ofstream(m_strFile) << configuration();
    }

    using Operation = std::function<bool(GlobalConfigImpl&)>;

    /// Expects that the operation either returns false and logs an error, or does all its work,
    /// which `in_isDone` checks. The configuration must be usable afterwards.
    void expectResultAtEachFailure(
        const Operation& in_operation, const Operation& in_isDone,
        const Operation& in_prepare = [](GlobalConfigImpl&) { return true; })
    {
        CapturedLog log;
        // Fills the tables that are filled at their first use, so that their allocations do not
        // count.
        GlobalConfigImpl first;
        in_prepare(first);
        in_operation(first);

        std::unique_ptr<GlobalConfigImpl> pConfig;
        int iRefused = 0;
        bool bResult = false;
        const auto prepare = [&]
        {
            pConfig = std::make_unique<GlobalConfigImpl>();
            in_prepare(*pConfig);
            log.clear();
            testing::internal::CaptureStderr();
        };
        prepare();
        const int iFailures = failAtEachAllocation(
            [&] { EXPECT_NO_THROW(bResult = in_operation(*pConfig)); },
            [&]
            {
                const std::string strErrors = testing::internal::GetCapturedStderr();
                if (!bResult)
                {
                    ++iRefused;
                    EXPECT_TRUE(hasError(log) || strErrors.starts_with("keswardin:ERROR "))
                        << strErrors;
                }
                else
                    EXPECT_TRUE(in_isDone(*pConfig));
                expectWholeValues(*pConfig);
                expectUsable(*pConfig);
                prepare();
            });
        testing::internal::GetCapturedStderr();
        EXPECT_LT(0, iRefused) << iFailures;
        EXPECT_TRUE(bResult);
    }

    static bool hasError(const CapturedLog& in_log)
    {
        const std::vector<LogLine> lines = in_log.lines();
        return std::any_of(lines.begin(), lines.end(),
                           [](const LogLine& in_line) { return in_line.level == ERROR_LOG_LEVEL; });
    }

    static std::string textOf(const GlobalConfigImpl& in_config, const char* in_szName)
    {
        std::string strText;
        in_config.getStringParameter(in_szName, strText);
        return strText;
    }

    /// Expects that no value is truncated.
    static void expectWholeValues(const GlobalConfigImpl& in_config)
    {
        for (const char* const szName : {s_szText, "keswardin.test.long"})
        {
            const std::string strText = textOf(in_config, szName);
            EXPECT_TRUE(strText.empty() || strText == s_strLong || strText == s_szDefault)
                << szName << ' ' << strText.size();
        }
    }

    /// Uses the configuration on another thread, which would wait if a lock were still held.
    static void expectUsable(GlobalConfigImpl& inout_config)
    {
        std::thread(
            [&inout_config]
            {
                std::istringstream more("keswardin.run.mode=test\n");
                EXPECT_TRUE(inout_config.load(more));
                EXPECT_EQ("test", textOf(inout_config, "keswardin.run.mode"));
                EXPECT_TRUE(inout_config.setIntParameter(s_szNumber, 31));
            })
            .join();
    }

    static bool isLoaded(const GlobalConfigImpl& in_config)
    {
        int iNumber = 0;
        return textOf(in_config, s_szText) == s_strLong &&
               in_config.getIntParameter(s_szNumber, iNumber) && iNumber == 30;
    }

    bool load(GlobalConfigImpl& inout_config) const { return inout_config.load(m_strFile.c_str()); }

    TemporaryDirectory m_directory;
    std::string m_strFile;
};

} // namespace

TEST_F(GlobalConfigMemory, LoadingAStreamFailsWithAMessage)
{
    const std::string strText = configuration();
    std::istringstream text;
    expectResultAtEachFailure(
        [&](GlobalConfigImpl& inout_config) { return inout_config.load(text); }, isLoaded,
        [&](GlobalConfigImpl&)
        {
            text.clear();
            text.str(strText);
            return true;
        });
}

TEST_F(GlobalConfigMemory, LoadingAFileFailsWithAMessage)
{
    expectResultAtEachFailure([&](GlobalConfigImpl& inout_config) { return load(inout_config); },
                              isLoaded);
}

TEST_F(GlobalConfigMemory, LoadingUrlsFailsWithAMessage)
{
    const std::vector<std::string> urls{"file:///" + m_strFile};
    expectResultAtEachFailure(
        [&](GlobalConfigImpl& inout_config) { return inout_config.load(urls); }, isLoaded);
}

TEST_F(GlobalConfigMemory, InitializingFailsWithAMessage)
{
    std::array<std::string, 3> arguments{"program", "--config", m_strFile};
    std::array<char*, 4> pointers{arguments[0].data(), arguments[1].data(), arguments[2].data(),
                                  nullptr};
    expectResultAtEachFailure([&](GlobalConfigImpl& inout_config)
                              { return inout_config.initialize(3, pointers.data(), "config"); },
                              isLoaded);
}

TEST_F(GlobalConfigMemory, AddingDefaultsFailsWithAMessage)
{
    expectResultAtEachFailure([](GlobalConfigImpl& inout_config)
                              { return inout_config.addDefaults(false); },
                              [](GlobalConfigImpl& inout_config)
                              { return textOf(inout_config, s_szText) == s_szDefault; });
}

TEST_F(GlobalConfigMemory, SettingATextFailsWithAMessage)
{
    expectResultAtEachFailure(
        [](GlobalConfigImpl& inout_config)
        { return inout_config.setStringParameter(s_szText, s_strLong.c_str()); },
        [](GlobalConfigImpl& inout_config) { return textOf(inout_config, s_szText) == s_strLong; });
}

TEST_F(GlobalConfigMemory, AFailedSetOfATextNamesTheParameter)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    load(config);
    ParameterValue value;
    value = s_strLong.c_str();
    {
        const AllocationFailure failure(0, AllocationFailure::Lasts::ONCE);
        EXPECT_FALSE(config.setParameter(s_szText, value));
    }
    EXPECT_EQ(log.lines().back(),
              errorLine("keswardin.infra.GlobalConfig",
                        std::string("failed to set the Global Configuration parameter ") +
                            s_szText + " : std::bad_alloc"));
}

TEST_F(GlobalConfigMemory, ReadingATextFailsWithAMessage)
{
    expectResultAtEachFailure(
        [](GlobalConfigImpl& inout_config) { return textOf(inout_config, s_szText) == s_strLong; },
        isLoaded, [&](GlobalConfigImpl& inout_config) { return load(inout_config); });
}

TEST_F(GlobalConfigMemory, AFailedReadOfATextLeavesTheOutput)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    load(config);
    std::string strText = "as it was";
    const AllocationFailure failure(0, AllocationFailure::Lasts::ONCE);
    EXPECT_FALSE(config.getStringParameter(s_szText, strText));
    EXPECT_TRUE(AllocationFailure::hasFailed());
    EXPECT_EQ("as it was", strText);
    EXPECT_EQ(log.lines().back(),
              errorLine("keswardin.infra.Configuration",
                        "failed to copy the text of a parameter : std::bad_alloc"));
}

TEST_F(GlobalConfigMemory, CopyingGivesAllOrNothingWithAMessage)
{
    ParameterTrie copy;
    const auto isWhole = [&copy]
    {
        std::string strText;
        return copy.getStringParameter("gw.recordCalls.directory", strText) && strText == s_strLong;
    };
    expectResultAtEachFailure(
        [&](GlobalConfigImpl& inout_config)
        {
            inout_config.convertTo(copy, "keswardin");
            AllocationFailure::end();
            EXPECT_TRUE(isWhole() || copy.begin() == copy.end() ||
                        !copy.parameterDefined("exitTimeoutSec"));
            return isWhole();
        },
        [&](GlobalConfigImpl&) { return isWhole(); },
        [&](GlobalConfigImpl& inout_config) { return load(inout_config); });
}

TEST_F(GlobalConfigMemory, WritingLessThanAllSetsTheStateOfTheStream)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    load(config);
    expectUsable(config);
    std::ostringstream expected;
    config.write(expected);
    std::ostringstream text;
    EXPECT_LT(0, failAtEachAllocation([&] { EXPECT_NO_THROW(config.write(text)); },
                                      [&]
                                      {
                                          EXPECT_EQ(text.good(), text.str() == expected.str());
                                          text = std::ostringstream();
                                          expectUsable(config);
                                      }));
}

TEST_F(GlobalConfigMemory, LookingForUnknownNamesFailsWithAMessage)
{
    expectResultAtEachFailure(
        [](GlobalConfigImpl& inout_config) { return inout_config.warnOnUnknownParameterNames(); },
        [](GlobalConfigImpl&) { return true; },
        [](GlobalConfigImpl& inout_config)
        {
            std::istringstream text(std::string(s_szText) + "=" + s_strLong + "\n");
            return inout_config.load(text);
        });
}

TEST_F(GlobalConfigMemory, CountingParametersFailsWithAMessage)
{
    expectResultAtEachFailure([](GlobalConfigImpl& inout_config)
                              { return inout_config.getLoadSummary().m_uiParameters == 4; },
                              [](GlobalConfigImpl&) { return true; },
                              [&](GlobalConfigImpl& inout_config) { return load(inout_config); });
}

TEST_F(GlobalConfigMemory, ConfiguringTheLoggerFromAFileThatIsMissingFailsWithAMessage)
{
    const std::string strFile = m_directory.file("missing.cfg");
    const auto fails = [](GlobalConfigImpl& inout_config)
    {
        std::ostringstream errors;
        EXPECT_FALSE(inout_config.configureLogger(errors, RunMode::production));
        return false;
    };
    const CapturedLog log;
    GlobalConfigImpl config;
    std::istringstream text("keswardin.infra.Logger.PropertiesFile." +
                            std::string(getRunModeString(RunMode::production)) + "=" + strFile +
                            "\n");
    ASSERT_TRUE(config.load(text));
    EXPECT_LT(0, failAtEachAllocation([&] { EXPECT_NO_THROW(fails(config)); },
                                      [&] { expectUsable(config); }));
}

TEST_F(GlobalConfigMemory, ObserversAndPhasesNeedNoMemory)
{
    GlobalConfigImpl config;
    const AllocationFailure failure(0, AllocationFailure::Lasts::ON);
    config.addObserver("name", nullptr);
    config.removeObserver(nullptr);
    config.writeProtect();
    config.declareRunTime();
    EXPECT_FALSE(AllocationFailure::hasFailed());
}

} // namespace Velmora::Test
