#include "examples/gateway/Gateway.h"

#include "velmora/config/RWGlobalConfig.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using Arguments = std::vector<std::string>;

/// A directory that the gateway is installed in, with the configuration files of the example.
class GatewayProcess : public testing::Test
{
  protected:
    GatewayProcess()
    {
        std::filesystem::copy(VELMORA_SOURCE_DIRECTORY "/examples/gateway/etc",
                              m_home.path() / "etc");
    }

    [[nodiscard]] std::string etc(const std::string& in_strName) const
    {
        return m_home.file("etc/" + in_strName);
    }

    [[nodiscard]] Arguments sources(const Arguments& in_more = {}) const
    {
        Arguments arguments{"--global-config", etc("gateway.cfg"), "--global-config",
                            etc("site.cfg")};
        arguments.insert(arguments.end(), in_more.begin(), in_more.end());
        return arguments;
    }

    /// Starts it, sends it the signals one by one, each when the log has the line that the one
    /// before brings about, and waits for its end.
    HelperResult runWith(const std::vector<std::pair<std::string, std::string>>& in_signals,
                         const Arguments& in_arguments)
    {
        std::string strScript = "\"$0\" \"$@\" & pid=$!\n";
        for (const auto& [strLine, strSignal] : in_signals)
            strScript += "until grep -q '" + strLine + "' '" + m_home.file("logs/gateway.log") +
                         "' 2>/dev/null; do kill -0 $pid || exit 99; sleep 0.02; done\n" +
                         "kill -" + strSignal + " $pid\n";
        strScript += "wait $pid\n";
        Arguments arguments{"-c", strScript, VELMORA_HELPER_GATEWAY};
        arguments.insert(arguments.end(), in_arguments.begin(), in_arguments.end());
        return runHelper("/bin/sh", arguments, {{"GATEWAY_HOME", m_home.path().string()}});
    }

    /// Runs it where it ends by itself.
    HelperResult run(const Arguments& in_arguments)
    {
        return runHelper(VELMORA_HELPER_GATEWAY, in_arguments,
                         {{"GATEWAY_HOME", m_home.path().string()}});
    }

    /// The log without dates and threads: "LEVEL logger - text".
    [[nodiscard]] std::vector<std::string> log() const
    {
        std::vector<std::string> lines;
        for (const std::string& strLine : linesOf(m_home.read("logs/gateway.log")))
        {
            constexpr std::size_t uiDate = std::string_view("2026-11-21 08:00:00.000 ").size();
            EXPECT_THAT(strLine, MatchesRegex("[-0-9]+ [:.0-9]+ [A-Z ]+ \\[[^]]*\\] .* - .*"));
            std::string strLevel = strLine.substr(uiDate, strLine.find(' ', uiDate) - uiDate);
            lines.push_back(strLevel + strLine.substr(strLine.find("] ") + 1));
        }
        return lines;
    }

    TemporaryDirectory m_home;
};

} // namespace

TEST_F(GatewayProcess, StartsFromItsConfigurationAndStopsAtSigterm)
{
    const HelperResult result = runWith({{"running at", "TERM"}}, sources());
    EXPECT_EQ(0, result.iExitCode) << result.strErrors << result.strOutput;
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(log(),
                ElementsAre("INFO keswardin.infra.GlobalConfig - Logger successfully "
                            "configured from " +
                                etc("logging.cfg"),
                            MatchesRegex("INFO keswardin\\.gateway - .*" + etc("gateway.cfg") +
                                         ".*" + etc("site.cfg") + ".* ms.*"),
                            "INFO keswardin.gateway - running at 127.0.0.1:5060",
                            "INFO keswardin.gateway - stopping : Terminated",
                            "INFO keswardin.gateway - stopped"));
}

TEST_F(GatewayProcess, StopsAtSigintToo)
{
    EXPECT_EQ(0, runWith({{"running at", "INT"}}, sources()).iExitCode);
    EXPECT_THAT(log(), Contains("INFO keswardin.gateway - stopping : Interrupt"));
}

TEST_F(GatewayProcess, SwitchesRecordingOnAndOffAtRunTimeOfItsProtectedConfiguration)
{
    const HelperResult result = runWith({{"running at", "USR1"},
                                         {"recording of calls is on", "USR1"},
                                         {"recording of calls is off", "TERM"}},
                                        sources());
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(log(), Contains("ERROR keswardin.infra.GlobalConfig - failed to set a Global "
                                "Configuration parameter because it is write protected : "
                                "keswardin.gw.recordCalls.enabled")
                           .Times(2));
}

TEST_F(GatewayProcess, TheOrderOfTheSourcesDoesNotMatterToTheirTags)
{
    const HelperResult result =
        runWith({{"running at", "TERM"}},
                {"--global-config", etc("site.cfg"), "--global-config", etc("gateway.cfg")});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(log(), Contains("INFO keswardin.gateway - running at 127.0.0.1:5060"));
}

TEST_F(GatewayProcess, AnOutdatedLineInItsConfigurationKeepsItFromStarting)
{
    const HelperResult result = run(sources({"--global-config", etc("outdated.cfg")}));
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(result.strOutput, HasSubstr("Unknown parameter : "
                                            "keswardin.gw.ringTimeoutMilliseconds. Closest known "
                                            "parameter : keswardin.gw.ringTimeoutMs"));
    EXPECT_THAT(log(), AllOf(Contains(AllOf(testing::StartsWith("WARN keswardin.infra."),
                                            HasSubstr("keswardin.sip.userAgentPort"))),
                             Contains("ERROR keswardin.gateway - the Global Configuration contains "
                                      "deprecated parameters. Please update your configuration")));
}

TEST_F(GatewayProcess, AnUnknownNameIsWarnedOfAndItStarts)
{
    std::ofstream(etc("site.cfg"), std::ios::app) << "keswardin.gw.ringTimeoutMilliseconds=1\n";
    const HelperResult result = runWith({{"running at", "TERM"}}, sources());
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(log(), Contains("WARN keswardin.infra.GlobalConfig - Unknown parameter : "
                                "keswardin.gw.ringTimeoutMilliseconds. Closest known parameter : "
                                "keswardin.gw.ringTimeoutMs"));
}

TEST_F(GatewayProcess, WithoutAnAddressForSipItDoesNotStart)
{
    const HelperResult result = run({});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(result.strOutput, HasSubstr("no address for SIP : "
                                            "keswardin.sip.userAgent.IPAddress is not set"));
}

TEST_F(GatewayProcess, WithoutItsEnvironmentVariableItDoesNotStart)
{
    const HelperResult result =
        runHelper("/usr/bin/env",
                  [this]
                  {
                      Arguments arguments{"-u", "GATEWAY_HOME", VELMORA_HELPER_GATEWAY};
                      const Arguments more = sources();
                      arguments.insert(arguments.end(), more.begin(), more.end());
                      return arguments;
                  }());
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(result.strOutput,
                HasSubstr("Unable to complete the configuration. Unknown parameters: "
                          "[keswardin.Installation.Directory = ${GATEWAY_HOME}]"));
}

TEST_F(GatewayProcess, TellsItsOptionsAndEnds)
{
    const HelperResult result = run(sources({"--help"}));
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(m_home.read("logs/gateway.log"), HasSubstr("Usage : gateway [options]\n"));
}

TEST(Gateway, ProtectsItsConfigurationAndDeclaresRunTimeBeforeItRuns)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    RWGlobalConfig& config = *RWGlobalConfig::getInstance();
    config.setStringParameter("keswardin.sip.userAgent.IPAddress", "127.0.0.1");
    Gateway gateway;
    std::string strName = "gateway";
    char* const argv[] = {strName.data(), nullptr};
    ASSERT_TRUE(gateway.initialize(1, const_cast<char**>(argv)));
    const CapturedLog logOfRun(ERROR_LOG_LEVEL);
    // It waits, as the gateway takes it when it runs.
    kill(getpid(), SIGTERM);
    gateway.run();

    std::istringstream more("keswardin.gw.ringTimeoutMs=1\n");
    EXPECT_FALSE(config.load(more));
    EXPECT_FALSE(config.setIntParameter("keswardin.gw.ringTimeoutMs", 1));
    EXPECT_TRUE(config.setStringParameter("keswardin.run.mode", "development"));
}

} // namespace Velmora::Test
