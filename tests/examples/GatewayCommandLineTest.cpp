// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/EventLoop.h"
#include "examples/gateway/LoadMonitor.h"
#include "examples/gateway/OwnParameters.h"
#include "examples/gateway/ParameterListing.h"
#include "examples/gateway/Settings.h"

#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"

#include "tests/examples/GatewayParameters.h"
#include "tests/examples/GatewayProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

/// A configuration that keeps the names that are read.
class RecordingConfiguration : public ROConfiguration
{
  public:
    RecordingConfiguration()
    {
        setGatewayParameters(m_parameters, "127.0.0.1");
        ParameterInfoDB::getInstance().addDefaultsToConfig(m_parameters, false);
    }

    void getParameter(const char* in_szName, ParameterValue& out_value) const override
    {
        m_read.insert(in_szName);
        m_parameters.getParameter(in_szName, out_value);
    }

    [[nodiscard]] const std::set<std::string>& read() const { return m_read; }

  private:
    ParameterHashMap m_parameters;
    mutable std::set<std::string> m_read;
};

} // namespace

TEST_F(GatewayProcess, AnswersWhatItIsOnStandardOutputAndNeedsNoConfiguration)
{
    const std::vector<std::pair<std::string, std::string>> answers{
        {"--product-name", "Product name : Keswardin Tarnel Gateway\n"},
        {"--version", "Product version : " GATEWAY_VERSION "\n"},
        {"--build-info", "Build Info :\n"
                         "Branch branches/team/orrin/velmora-2.1-linux, Revision 17669?\n"
                         "Tool gcc34, Version \n"
                         "Tool g++34, Version \n"}};
    std::string strAll;
    for (const auto& [strOption, strAnswer] : answers)
    {
        const HelperResult result = run({strOption});
        EXPECT_EQ(0, result.iExitCode);
        EXPECT_EQ(strAnswer, result.strOutput);
        EXPECT_EQ("", result.strErrors);
        strAll += strAnswer;
    }
    const HelperResult result = run(sources({"--build-info", "--version", "--product-name"}));
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(strAll, result.strOutput);
    EXPECT_THAT(log(), testing::IsEmpty());
}

TEST_F(GatewayProcess, FailsWhereItsAnswerCannotBeWritten)
{
    const HelperResult result =
        runHelper("/bin/sh", {"-c", VELMORA_HELPER_GATEWAY " --version > /dev/full"});
    EXPECT_EQ(1, result.iExitCode);
}

TEST_F(GatewayProcess, AWrongCommandLineIsReportedOnStandardErrorAndEndsItWithTwo)
{
    const std::vector<std::pair<Arguments, std::string>> wrong{
        {{"--version", "--no-such-option"}, "unrecognised option '--no-such-option'"},
        {{"etc/gateway.cfg"},
         "too many positional options have been specified on the command line"},
        {{"--global-config"}, "the required argument for option '--global-config' is missing"},
        {{"--answer-after-ms", "soon"},
         "the argument ('soon') for option '--answer-after-ms' is invalid"},
        {{"--json"}, "Option 'json' requires option 'get-param-info'."},
        {{"--get-param-info", "no.such.name"},
         "no parameter has a name that matches 'no.such.name'"},
        {{"--get-param-info", "("},
         "the expression '(' is wrong: Unmatched marking parenthesis ( or \\(.  The error occurred "
         "while parsing the regular expression: '(>>>HERE>>>'."}};
    for (const auto& [arguments, strReason] : wrong)
    {
        const HelperResult result = run(arguments);
        EXPECT_EQ(2, result.iExitCode) << strReason;
        EXPECT_EQ("gateway: " + strReason + "\ngateway: see gateway --help\n", result.strErrors);
        EXPECT_EQ("", result.strOutput);
    }
}

TEST_F(GatewayProcess, PrintsItsOptionsAndNeedsNoConfiguration)
{
    const HelperResult result = run({"--help"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strOutput,
                AllOf(testing::StartsWith("Usage : gateway [options]\nAllowed options:\n"),
                      HasSubstr("--global-config arg"), HasSubstr("--answer-after-ms arg (=200)")));
    EXPECT_EQ("", result.strErrors);
    EXPECT_EQ(result.strOutput, run(sources({"-h"})).strOutput);
    EXPECT_THAT(log(), testing::IsEmpty());
}

TEST_F(GatewayProcess, PrintsTheParametersOfTheFamilyThatAnExpressionMatches)
{
    const HelperResult result = run({"--get-param-info", "keswardin\\.sip\\.TimerT", "--json",
                                     "--get-param-info", "gateway\\.calls\\.retryAfterSec"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    const auto list = nlohmann::json::parse(result.strOutput);
    ASSERT_EQ(3, list.size()) << list;
    EXPECT_EQ("keswardin.sip.TimerT1", list[0]["name"]);
    EXPECT_EQ("INT", list[0]["type"]);
    EXPECT_EQ(500, list[0]["default"]);
    EXPECT_EQ("keswardin.sip.TimerT2", list[1]["name"]);
    EXPECT_EQ(nlohmann::json::parse(R"({
        "name": "gateway.calls.retryAfterSec", "type": "INT", "default": 5, "lowest": 1,
        "run-time-settable": false, "deprecated": false,
        "description":
        "After how many seconds a caller may try again who was refused for overload"})"),
              list[2]);
    EXPECT_EQ(
        "name=gateway.calls.retryAfterSec type=INT default-value=5 run-time-settable=false "
        "deprecated=false description=\"After how many seconds a caller may try again who was "
        "refused for overload\" bounds=\"at least 1\"\n",
        run({"--get-param-info", "retryAfterSec"}).strOutput);
}

TEST_F(GatewayProcess, PrintsTheParametersThatItReadsWithoutAnExpression)
{
    const HelperResult result = run({"--get-param-info"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(result.strOutput, run({"--get-param-info", "--setcwd", "/"}).strOutput);
    for (const char* const szName :
         {"name=keswardin.sip.userAgent.IPAddress type=STRING default-value=UNDEF ",
          "name=gateway.calls.monitor.setAlarmThreshold type=FLOAT default-value=4500 ",
          "name=keswardin.infra.coreDump.writeOnCrash type=BOOL "})
        EXPECT_THAT(result.strOutput, HasSubstr(szName));
    // Of another program, and deprecated.
    EXPECT_THAT(result.strOutput, testing::Not(HasSubstr("name=keswardin.h323")));
    EXPECT_THAT(result.strOutput, testing::Not(HasSubstr("deprecated=true")));
    const auto list = nlohmann::json::parse(run({"--json", "--get-param-info"}).strOutput);
    EXPECT_EQ(std::ranges::count(result.strOutput, '\n'), list.size());
}

TEST(GatewayParameterListing, HasEachParameterThatTheGatewayReads)
{
    GatewayExample::OwnParameters::registerAll();
    GatewayExample::ParameterListing listing;
    listing.addOwn();
    std::set<std::string> listed;
    for (const ParameterInfoWithName& parameter : listing.parameters())
        listed.insert(parameter.m_strName);

    const RecordingConfiguration config;
    GatewayExample::EventLoop loop;
    const GatewayExample::Settings settings(config);
    const GatewayExample::LoadMonitor cpu(loop, "cpu", "keswardin.system.cpu.monitor", config);
    const GatewayExample::LoadMonitor calls(loop, "calls",
                                            GatewayExample::OwnParameters::s_szCallMonitor, config);
    EXPECT_THAT(config.read(), testing::Not(testing::IsEmpty()));
    for (const std::string& strName : config.read())
        EXPECT_TRUE(listed.contains(strName)) << strName;
}

} // namespace Velmora::Test
