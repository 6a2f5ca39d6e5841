// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"

#include "tests/support/UdpServer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace Velmora::Test
{

using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{

constexpr const char* s_szSiteAddress = "keswardin.media.rtp.IPAddress = 127.0.0.1";

} // namespace

GatewayProcess::GatewayProcess() : m_strAddress(addressOfThisProcess())
{
    std::filesystem::copy(VELMORA_SOURCE_DIRECTORY "/examples/gateway/etc", m_home.path() / "etc");
    replaceInFile(etc("site.cfg"), s_szSiteAddress,
                  "keswardin.media.rtp.IPAddress = " + m_strAddress);
    // The load of the machine must not affect most tests.
    configure("keswardin.system.cpu.monitor.monitoringPeriodInMs = 0");
    configure("gateway.calls.monitor.monitoringPeriodInMs = 0");
    configure("gateway.overload.timerLateMs = 0");
    configure("gateway.overload.fileLateMs = 0");
    setEnvironment("GATEWAY_HOME", m_home.path().string());
}

void GatewayProcess::setEnvironment(const std::string& in_strName, const std::string& in_strValue)
{
    m_environment.emplace_back(in_strName, in_strValue);
}

std::string GatewayProcess::etc(const std::string& in_strName) const
{
    return m_home.file("etc/" + in_strName);
}

std::vector<std::string> GatewayProcess::sources(const std::vector<std::string>& in_more) const
{
    std::vector<std::string> arguments{"--global-config", etc("gateway.cfg"), "--global-config",
                                       etc("site.cfg")};
    arguments.insert(arguments.end(), in_more.begin(), in_more.end());
    return arguments;
}

void GatewayProcess::configure(const std::string& in_strLine) const
{
    // The last line with a name takes effect.
    std::ofstream(etc("site.cfg"), std::ios::app) << in_strLine << '\n';
}

HelperResult GatewayProcess::run(const std::vector<std::string>& in_arguments)
{
    return runHelper(VELMORA_HELPER_GATEWAY, in_arguments, m_environment);
}

void GatewayProcess::start(const std::vector<std::string>& in_more) { startWith(sources(in_more)); }

void GatewayProcess::begin(const std::vector<std::string>& in_arguments)
{
    std::vector<std::string> command{VELMORA_HELPER_GATEWAY};
    command.insert(command.end(), in_arguments.begin(), in_arguments.end());
    m_process.emplace(command, m_home.file("output"), m_environment);
}

void GatewayProcess::startWith(const std::vector<std::string>& in_arguments)
{
    begin(in_arguments);
    waitForLine("running at");
}

void GatewayProcess::waitForLine(const std::string& in_strText)
{
    const bool bCame = waitUntil(
        [this, &in_strText]
        {
            return m_home.read("logs/gateway.log").find(in_strText) != std::string::npos ||
                   !m_process->isRunning();
        });
    EXPECT_TRUE(bCame);
    EXPECT_THAT(m_home.read("logs/gateway.log"), HasSubstr(in_strText)) << output();
}

void GatewayProcess::signal(int in_iSignal) { m_process->signal(in_iSignal); }

int GatewayProcess::waitForEnd() { return m_process->waitForEnd(); }

int GatewayProcess::stop()
{
    signal(SIGTERM);
    return waitForEnd();
}

std::vector<std::string> GatewayProcess::linesOfLog() const
{
    return linesOf(m_home.read("logs/gateway.log"));
}

std::vector<std::string> GatewayProcess::log() const
{
    std::vector<std::string> lines = linesOfLog();
    std::transform(lines.begin(), lines.end(), lines.begin(), withoutDate);
    return lines;
}

std::string GatewayProcess::output() const { return m_home.read("output"); }

std::map<std::string, std::vector<std::string>> GatewayProcess::callFiles() const
{
    std::map<std::string, std::vector<std::string>> files;
    if (std::filesystem::exists(m_home.path() / "calls"))
        for (const auto& entry : std::filesystem::directory_iterator(m_home.path() / "calls"))
        {
            const std::string strName = entry.path().filename();
            files[strName] = linesOf(m_home.read("calls/" + strName));
        }
    return files;
}

void replaceInFile(const std::string& in_strFile, const std::string& in_strFrom,
                   const std::string& in_strTo)
{
    std::ostringstream text;
    text << std::ifstream(in_strFile).rdbuf();
    std::string strText = text.str();
    const std::size_t uiAt = strText.find(in_strFrom);
    ASSERT_NE(std::string::npos, uiAt) << strText;
    strText.replace(uiAt, in_strFrom.size(), in_strTo);
    std::ofstream(in_strFile) << strText;
}

std::string withoutDate(const std::string& in_strLine)
{
    constexpr std::size_t uiDate = std::string_view("2026-11-21 08:00:00.000 ").size();
    EXPECT_THAT(in_strLine, MatchesRegex("[-0-9]+ [:.0-9]+ [A-Z ]+ \\[[^]]*\\] .* - .*"));
    if (in_strLine.size() < uiDate)
        return in_strLine;
    const std::string strLevel = in_strLine.substr(uiDate, in_strLine.find(' ', uiDate) - uiDate);
    return strLevel + in_strLine.substr(in_strLine.find("] ") + 1);
}

} // namespace Velmora::Test
