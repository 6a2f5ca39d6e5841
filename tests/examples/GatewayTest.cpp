// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/Gateway.h"

#include "velmora/Sanitizers.h"
#include "velmora/config/RWGlobalConfig.h"

#include "tests/examples/GatewayProcess.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/UdpServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using GatewayExample::Gateway;
using GatewayExample::OperatorSignals;
using GatewayExample::StartWatch;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using Arguments = std::vector<std::string>;

} // namespace

TEST_F(GatewayProcess, StartsFromItsConfigurationAndStopsAtSigterm)
{
    start();
    EXPECT_EQ(0, stop());
    EXPECT_EQ("", output());
    EXPECT_THAT(
        log(),
        ElementsAre("INFO keswardin.infra.CallAppender - Call Logger configuration. "
                    "Creating output directory " +
                        home().file("calls"),
                    "INFO keswardin.infra.GlobalConfig - Logger successfully "
                    "configured from " +
                        etc("logging.cfg"),
                    "INFO admin.alarm - Alarm [system.out-of-service] : ALARM_ON",
                    MatchesRegex("INFO keswardin\\.infra\\.Application - .*" + etc("gateway.cfg") +
                                 ".*" + etc("site.cfg") + ".* ms.*"),
                    "INFO admin.alarm - Alarm [system.out-of-service] : ALARM_OFF",
                    "INFO keswardin.gateway - running at sip:" + address() + ":5060;transport=udp",
                    "INFO keswardin.gateway - stopping : Terminated",
                    "INFO admin.alarm - Alarm [system.out-of-service] : ALARM_ON",
                    "INFO keswardin.gateway.UserAgent - ending calls : 0",
                    "INFO keswardin.gateway - stopped : calls = 0, at once at most = 0, "
                    "refused = 0, repeated requests = 0"));
}

TEST_F(GatewayProcess, TheOrderOfTheSourcesDoesNotMatterToTheirTags)
{
    startWith({"--global-config", etc("site.cfg"), "--global-config", etc("gateway.cfg")});
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayProcess, AnOutdatedLineInItsConfigurationKeepsItFromStarting)
{
    const HelperResult result = run(sources({"--global-config", etc("outdated.cfg")}));
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(result.strOutput, HasSubstr("Unknown parameter : "
                                            "keswardin.gw.ringTimeoutMilliseconds. Closest known "
                                            "parameter : keswardin.gw.ringTimeoutMs"));
    EXPECT_THAT(
        log(),
        AllOf(Contains(AllOf(testing::StartsWith("WARN keswardin.infra."),
                             HasSubstr("keswardin.sip.userAgentPort"))),
              Contains(HasSubstr("outdated.cfg:4 : write \"keswardin.sip.userAgent.IPAddress = "
                                 "...\" instead")),
              Contains(HasSubstr("outdated.cfg:5 : write \"keswardin.gw.ringTimeoutMs = 30000\"")),
              Contains("ERROR keswardin.infra.Application - the Global Configuration contains "
                       "deprecated parameters. Please update your configuration")));
}

TEST_F(GatewayProcess, AnUnknownNameIsWarnedOfAndItStarts)
{
    configure("keswardin.gw.ringTimeoutMilliseconds=1");
    start();
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("WARN keswardin.infra.GlobalConfig - Unknown parameter : "
                                "keswardin.gw.ringTimeoutMilliseconds. Closest known parameter : "
                                "keswardin.gw.ringTimeoutMs"));
}

TEST_F(GatewayProcess, WithoutAnAddressForSipItDoesNotStart)
{
    const HelperResult result = run({});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(result.strOutput,
                HasSubstr("keswardin.sip.userAgent.IPAddress = \"\" : it is not set"));
}

TEST_F(GatewayProcess, ASettingThatMakesNoSenseKeepsItFromStarting)
{
    configure("keswardin.media.rtp.udpPortRange = 30000");
    const HelperResult result = run(sources());
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(log(), Contains("ERROR keswardin.gateway - keswardin.media.rtp.udpPortRange = "
                                "\"30000\" : a range of ports is like 20000-29999"));
}

TEST_F(GatewayProcess, AnAddressThatIsTakenIsLoggedAndItEnds)
{
    start();
    const HelperResult result = run(sources());
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(
        log(),
        Contains("ERROR keswardin.gateway - the gateway ends : SIP cannot be received at sip:" +
                 address() + ":5060;transport=udp : nta: bind(" + address() +
                 ":5060;transport=udp): Address already in use"));
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayProcess, WithoutDescriptorsItSaysSoAndEnds)
{
#if VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "the sanitizer looks at memory through pipes of its own";
#endif
    const HelperResult result =
        runHelper("/usr/bin/prlimit", {"--nofile=5", VELMORA_HELPER_GATEWAY});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_EQ("gateway: signals cannot be received: Too many open files\n", result.strErrors);
    const HelperResult later =
        runHelper("/usr/bin/prlimit", {"--nofile=9", VELMORA_HELPER_GATEWAY});
    EXPECT_EQ(1, later.iExitCode);
    EXPECT_THAT(later.strErrors, HasSubstr("gateway: no event loop: Too many open files\n"));
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

TEST(Gateway, ProtectsItsConfigurationAndDeclaresRunTimeBeforeItRuns)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    RWGlobalConfig& config = *RWGlobalConfig::getInstance();
    const std::string strAddress = addressOfThisProcess();
    config.setStringParameter("keswardin.sip.userAgent.IPAddress",
                              ("udp:" + strAddress + ":5060").c_str());
    config.setStringParameter("keswardin.media.rtp.IPAddress", strAddress.c_str());
    const OperatorSignals signals;
    StartWatch startWatch(signals);
    Gateway gateway(signals, startWatch);
    std::string strName = "gateway";
    char* const argv[] = {strName.data(), nullptr};
    ASSERT_TRUE(gateway.initialize(1, const_cast<char**>(argv)));
    const CapturedLog logOfRun(ERROR_LOG_LEVEL);
    // The signal stays pending until the gateway runs.
    kill(getpid(), SIGTERM);
    gateway.run();

    std::istringstream more("keswardin.gw.ringTimeoutMs=1\n");
    EXPECT_FALSE(config.load(more));
    EXPECT_FALSE(config.setIntParameter("keswardin.gw.ringTimeoutMs", 1));
    EXPECT_TRUE(config.setStringParameter("keswardin.run.mode", "development"));
}

} // namespace Velmora::Test
