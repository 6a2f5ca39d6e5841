// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/EventLoop.h"
#include "examples/gateway/LoadMonitor.h"
#include "examples/gateway/OwnParameters.h"
#include "examples/gateway/ParameterListing.h"
#include "examples/gateway/Settings.h"

#include "velmora/Sanitizers.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"

#include "tests/examples/GatewayParameters.h"
#include "tests/examples/GatewayProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
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
        {{"--json"}, "option '--json' needs '--check', '--status' or '--get-param-info'"},
        {{"--check"}, "Option 'check' requires option 'global-config'."},
        {{"--status-socket", "/tmp/x"}, "Option 'status-socket' requires option 'status'."},
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
        "highest": 3600,
        "run-time-settable": false, "deprecated": false,
        "description":
        "After how many seconds a caller may try again who was refused for overload"})"),
              list[2]);
    EXPECT_EQ(
        "name=gateway.calls.retryAfterSec type=INT default-value=5 run-time-settable=false "
        "deprecated=false description=\"After how many seconds a caller may try again who was "
        "refused for overload\" bounds=\"from 1 to 3600\"\n",
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

TEST_F(GatewayProcess, ChecksItsConfigurationAndStartsNothing)
{
    const HelperResult result = run(sources({"--check"}));
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    EXPECT_EQ("The gateway starts with this configuration: 0 errors, 0 warnings, 0 notes.\n",
              result.strOutput);
    // Nothing was written.
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(home().path()), {}));
}

TEST_F(GatewayProcess, TheCheckListsWhatIsWrongWithPlaceAndRuleAndEndsWithOne)
{
    const std::size_t uiFirst = linesOf(home().read("etc/site.cfg")).size() + 1;
    configure("keswardin.sip.TimerT1 = 0500");
    configure("keswardin.media.rtp.udpPortRange = 20000-99999");
    configure("keswardin.gw.ringTimeoutMillis = 4");
    configure("no parameter");
    const HelperResult result = run(sources({"--check"}));
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    const std::string strFile = etc("site.cfg");
    std::size_t uiLine = uiFirst;
    for (const char* const szProblem :
         {": warning: keswardin.sip.TimerT1 = 0500 is 320, because a number that begins with 0 is "
          "octal; write 500 [octal]\n",
          ": error: keswardin.media.rtp.udpPortRange = 20000-99999 : port 99999 is not a number "
          "from 1 to 65535 [port-range]\n",
          ": warning: keswardin.gw.ringTimeoutMillis = 4 is unknown; write "
          "\"keswardin.gw.ringTimeoutMs = 4\" [unknown-name]\n",
          ": error: the line is no parameter; write \"name = value\" instead of \"no parameter\" "
          "[parse-error]\n"})
        EXPECT_THAT(result.strOutput,
                    HasSubstr(strFile + ':' + std::to_string(uiLine++) + szProblem));
    EXPECT_THAT(result.strOutput,
                testing::EndsWith("The gateway does not start with this configuration: 2 errors, 3 "
                                  "warnings, 1 note.\n"));
    const auto json = nlohmann::json::parse(run(sources({"--check", "--json"})).strOutput);
    EXPECT_EQ(false, json["starts"]);
    EXPECT_EQ(2, json["errors"]);
    EXPECT_EQ(3, json["warnings"]);
    EXPECT_EQ(6, json["problems"].size());
    EXPECT_EQ("octal", json["problems"][0]["rule"]);
    EXPECT_EQ(strFile, json["problems"][0]["file"]);
    EXPECT_EQ(uiFirst, json["problems"][0]["line"]);
    EXPECT_EQ(1, run(sources()).iExitCode);
}

TEST_F(GatewayProcess, TheCheckOpensNoSocketAndWritesNothing)
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizers need ptrace themselves";
#endif
    const std::string strTrace = home().file("trace");
    std::vector<std::string> command{"-f",
                                     "-o",
                                     strTrace,
                                     "-e",
                                     "trace=socket,open,openat,creat,mkdir,mkdirat,unlink,rename",
                                     VELMORA_HELPER_GATEWAY};
    for (const std::string& strArgument : sources({"--check"}))
        command.push_back(strArgument);
    const HelperResult result =
        runHelper("/usr/bin/strace", command, {{"GATEWAY_HOME", home().path().string()}});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    const std::string strCalls = home().read("trace");
    EXPECT_THAT(strCalls, HasSubstr("site.cfg"));
    for (const char* const szCall :
         {"socket(", "O_WRONLY", "O_RDWR", "O_CREAT", "mkdir", "unlink", "rename"})
        EXPECT_THAT(strCalls, testing::Not(HasSubstr(szCall)));
}

TEST_F(GatewayProcess, TheCheckFindsItsFilesAsAStartDoes)
{
    const HelperResult result =
        run({"--setcwd", home().path().string(), "--putenv", "SITE=etc/site", "--check",
             "--global-config", "etc/gateway.cfg", "--global-config", "etc/site.cfg"});
    EXPECT_EQ(0, result.iExitCode) << result.strOutput;
    EXPECT_EQ(1,
              run({"--setcwd", "/no/such/directory", "--check", "--global-config", "x"}).iExitCode);
    const HelperResult missing = run({"--check", "--global-config", home().file("missing.cfg")});
    EXPECT_EQ(1, missing.iExitCode);
    EXPECT_THAT(missing.strOutput, testing::StartsWith(home().file("missing.cfg") + ": error: "));
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
