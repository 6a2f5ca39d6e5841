// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace Velmora::Test
{

namespace
{

using testing::HasSubstr;
using testing::SizeIs;
using Lines = std::vector<std::string>;

constexpr const char* s_szService =
    VELMORA_SOURCE_DIRECTORY "/examples/gateway/systemd/gateway.service";
constexpr const char* s_szLogrotate =
    VELMORA_SOURCE_DIRECTORY "/examples/gateway/logrotate.d/gateway";

std::string contentOf(const std::string& in_strFile)
{
    std::ostringstream text;
    text << std::ifstream(in_strFile).rdbuf();
    return text.str();
}

/// Replaces all occurrences of a text. Fails the test if there is none.
void replaceAll(std::string& inout_strText, const std::string& in_strFrom,
                const std::string& in_strTo)
{
    std::size_t uiAt = inout_strText.find(in_strFrom);
    EXPECT_NE(std::string::npos, uiAt) << in_strFrom;
    for (; uiAt != std::string::npos; uiAt = inout_strText.find(in_strFrom, uiAt))
    {
        inout_strText.replace(uiAt, in_strFrom.size(), in_strTo);
        uiAt += in_strTo.size();
    }
}

/// The files of this directory with which an operator runs a gateway as a service.
class GatewayService : public GatewayProcess
{
  protected:
    /// Renames the log of the running gateway as the file of logrotate says.
    void rotate() const
    {
        std::string strConfig = contentOf(s_szLogrotate);
        replaceAll(strConfig, "/opt/gateway", home().path().string());
        replaceAll(strConfig, "    su gateway gateway\n", "");
        replaceAll(strConfig, "systemctl kill --kill-whom=main --signal=HUP gateway.service",
                   "kill -HUP " + std::to_string(pid()));
        const std::string strFile = home().file("logrotate.conf");
        std::ofstream(strFile) << strConfig;
        chmod(strFile.c_str(), 0644);
        const HelperResult result = runHelper(
            VELMORA_LOGROTATE, {"--force", "--state", home().file("logrotate.state"), strFile});
        EXPECT_EQ(0, result.iExitCode) << result.strErrors;
        EXPECT_EQ("", result.strErrors);
    }

    /// Returns the lines of all logs, the oldest first.
    Lines linesOfLogs()
    {
        const HelperResult result = runHelper(
            "/bin/sh", {"-c", "cd " + home().file("logs") +
                                  " && for f in $(ls -rv gateway.log.*); do case $f in *.gz) zcat "
                                  "$f;; *) cat $f;; esac; done; cat gateway.log"});
        EXPECT_EQ(0, result.iExitCode) << result.strErrors;
        Lines lines;
        std::istringstream text(result.strOutput);
        for (std::string strLine; std::getline(text, strLine);)
            lines.push_back(strLine);
        return lines;
    }
};

} // namespace

TEST_F(GatewayService, ExposesLittleOfTheMachine)
{
    const HelperResult result =
        runHelper(VELMORA_SYSTEMD_ANALYZE,
                  {"security", "--offline=yes", "--no-pager", "--threshold=20", s_szService});
    EXPECT_EQ(0, result.iExitCode) << result.strOutput << result.strErrors;
    EXPECT_THAT(result.strOutput, HasSubstr("Overall exposure level for gateway.service: 1."));
}

TEST_F(GatewayService, HasAUnitThatSystemdUnderstands)
{
    std::string strUnit = contentOf(s_szService);
    replaceAll(strUnit, "/opt/gateway/bin/gateway", VELMORA_HELPER_GATEWAY);
    const std::string strFile = home().file("gateway.service");
    std::ofstream(strFile) << strUnit;
    const HelperResult result = runHelper(VELMORA_SYSTEMD_ANALYZE, {"verify", "--man=no", strFile});
    EXPECT_EQ("", result.strErrors);
    EXPECT_EQ(0, result.iExitCode);
}

TEST_F(GatewayService, RunsWhereItIsInstalled)
{
    const std::string strPrefix = home().file("opt");
    const HelperResult install =
        runHelper(VELMORA_CMAKE, {"--install", VELMORA_BINARY_DIRECTORY, "--component", "gateway",
                                  "--prefix", strPrefix});
    ASSERT_EQ(0, install.iExitCode) << install.strErrors;
    // The environment has no path of libraries, and the program knows none of the build.
    const HelperResult check =
        runHelper("/usr/bin/env",
                  [&]
                  {
                      Lines arguments{"-i", "GATEWAY_HOME=" + home().path().string(),
                                      strPrefix + "/bin/gateway", "--check"};
                      for (const std::string& strArgument : sources())
                          arguments.push_back(strArgument);
                      return arguments;
                  }());
    EXPECT_EQ(0, check.iExitCode) << check.strOutput << check.strErrors;
    const HelperResult libraries = runHelper("/usr/bin/ldd", {strPrefix + "/bin/gateway"});
    EXPECT_THAT(libraries.strOutput, HasSubstr(strPrefix + "/bin/../lib/libkeswardin-infra.so"));
}

TEST_F(GatewayService, LosesNoLineWhenLogrotateRenamesTheLogUnderLoad)
{
    constexpr int iCalls = 200;
    start({"--answer-after-ms", "1"});
    std::thread rotating(
        [this]
        {
            for (int i = 0; i < 4; ++i)
            {
                std::this_thread::sleep_for(std::chrono::seconds(1));
                rotate();
            }
        });
    const HelperResult client =
        runHelper(VELMORA_SIPP,
                  {"-sn", "uac", address() + ":5060", "-i", address(), "-p", "5062", "-m",
                   std::to_string(iCalls), "-r", "40", "-d", "200", "-nostdin", "-timeout", "60"},
                  {{"TERM", "dumb"}});
    rotating.join();
    EXPECT_EQ(0, client.iExitCode) << client.strErrors;
    EXPECT_EQ(0, stop());
    EXPECT_EQ("", output());

    std::map<std::string, int> counts;
    for (const std::string& strLine : linesOfLogs())
        for (const char* const szText : {" INVITE received", " BYE received", " over after ",
                                         "log files are open again : Hangup", "stopped : calls"})
            counts[szText] += strLine.find(szText) != std::string::npos ? 1 : 0;
    EXPECT_EQ(iCalls, counts[" INVITE received"]);
    EXPECT_EQ(iCalls, counts[" BYE received"]);
    EXPECT_EQ(iCalls, counts[" over after "]);
    EXPECT_EQ(4, counts["log files are open again : Hangup"]);
    EXPECT_EQ(1, counts["stopped : calls"]);
    for (const char* const szFile : {"gateway.log", "gateway.log.1", "gateway.log.2.gz",
                                     "gateway.log.3.gz", "gateway.log.4.gz"})
        EXPECT_TRUE(std::filesystem::exists(home().file(std::string("logs/") + szFile))) << szFile;
    EXPECT_THAT(callFiles(), SizeIs(iCalls));
}

} // namespace Velmora::Test
