// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::json;

/// A gateway that is asked for its status.
class GatewayStatus : public GatewayProcess
{
  protected:
    GatewayStatus() { configure("gateway.metrics.periodSec = 1"); }

    [[nodiscard]] std::string socketPath() const { return home().file("run/status.socket"); }

    HelperResult ask(const std::vector<std::string>& in_more = {})
    {
        return run(sources(
            [&]
            {
                std::vector<std::string> arguments{"--status"};
                arguments.insert(arguments.end(), in_more.begin(), in_more.end());
                return arguments;
            }()));
    }

    Json askForJson()
    {
        const HelperResult result = ask({"--json"});
        EXPECT_EQ(0, result.iExitCode) << result.strErrors;
        return Json::parse(result.strOutput);
    }

    [[nodiscard]] std::string metrics() const { return home().read("run/gateway.prom"); }

    /// Waits for a line of the metrics.
    void waitForMetric(const std::string& in_strLine) const
    {
        EXPECT_TRUE(waitUntil(
            [&] { return ("\n" + metrics()).find("\n" + in_strLine + "\n") != std::string::npos; }))
            << in_strLine << " is not in\n"
            << metrics();
    }
};

/// What systemd hears of its service.
class NotifySocket
{
  public:
    explicit NotifySocket(const std::string& in_strPath)
        : m_iSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        in_strPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(0, bind(m_iSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
    }
    ~NotifySocket() { close(m_iSocket); }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    /// Returns the messages that have come, in their order.
    std::vector<std::string> receive() const
    {
        std::vector<std::string> messages;
        std::string strMessage(4096, '\0');
        ssize_t iLength = 0;
        while ((iLength = recv(m_iSocket, strMessage.data(), strMessage.size(), MSG_DONTWAIT)) >= 0)
            messages.push_back(strMessage.substr(0, static_cast<std::size_t>(iLength)));
        return messages;
    }

  private:
    int m_iSocket;
};

} // namespace

TEST_F(GatewayStatus, IsThatOfTheRunningGateway)
{
    start({"--answer-after-ms", "1"});
    SipCaller answered(address());
    answered.setCallId("answered");
    answered.invite("service");
    answered.expectAnswer("200 OK");
    answered.send("ACK", "service");
    SipCaller busy(address());
    busy.setCallId("busy");
    busy.invite("busy");
    busy.expectAnswer("486 Busy Here");
    busy.send("ACK", "busy");

    const Json status = askForJson();
    EXPECT_EQ("running", status["phase"]);
    EXPECT_EQ(1, status["calls"]["now"]);
    EXPECT_EQ(2, status["calls"]["taken"]);
    EXPECT_EQ(1, status["calls"]["answered"]);
    EXPECT_EQ(1, status["calls"]["refused"]["busy"]);
    EXPECT_EQ(0, status["calls"]["refused"]["overload"]);
    EXPECT_EQ(1, status["rtp-ports"]["used"]);
    EXPECT_EQ(5000, status["rtp-ports"]["all"]);
    EXPECT_GT(status["log"]["lines"], 5);
    EXPECT_EQ(0, status["log"]["lines-lost"]);
    EXPECT_EQ("ok", status["configuration"]["verdict"]);

    const HelperResult text = ask();
    EXPECT_EQ(0, text.iExitCode);
    EXPECT_EQ("", text.strErrors);
    EXPECT_THAT(text.strOutput,
                AllOf(HasSubstr("calls         : 1 now, "), HasSubstr("2 taken, 1 answered\n"),
                      HasSubstr("refused       : busy 1\n"),
                      HasSubstr("RTP ports     : 1 of 5000 in use, 0 packets of others dropped\n"),
                      HasSubstr("alarms        : none is on\n")));
    // Asking is not logged.
    EXPECT_THAT(home().read("logs/gateway.log"), Not(HasSubstr("status")));
    const HelperResult bySocket = run({"--status", "--status-socket", socketPath()});
    EXPECT_EQ(0, bySocket.iExitCode);
    EXPECT_THAT(bySocket.strOutput, HasSubstr("calls         : 1 now, "));
    signal(SIGTERM);
    answered.accept(answered.expectRequest("BYE"));
    EXPECT_EQ(0, waitForEnd());
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(GatewayStatus, WithoutARunningGatewayIsAFailureThatSaysSo)
{
    const HelperResult result = ask();
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_EQ("", result.strOutput);
    EXPECT_EQ("gateway: no status at " + socketPath() +
                  " : no gateway with this configuration runs\n",
              result.strErrors);
}

TEST_F(GatewayStatus, OfOneThatWasKilledIsAFailureAndTheNextOneAnswersAgain)
{
    start();
    signal(SIGKILL);
    EXPECT_EQ(-SIGKILL, waitForEnd());
    EXPECT_THAT(ask().strErrors, EndsWith(" : the gateway that listened there was killed\n"));
    std::filesystem::remove(home().file("logs/gateway.log"));
    start();
    EXPECT_EQ("running", askForJson()["phase"]);
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayStatus, WithoutASocketTheGatewayRunsAndWarns)
{
    std::filesystem::create_directories(home().file("run/status.socket"));
    start();
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(),
                Contains("WARN keswardin.gateway.Supervision - no status at " + socketPath() +
                         " : something else than a socket is there ; the gateway runs "
                         "without it"));
}

TEST_F(GatewayStatus, IsInTheMetricsWhoseCountersOnlyGrow)
{
    start({"--answer-after-ms", "1"});
    waitForMetric("gateway_up 1");
    waitForMetric("gateway_alarm{id=\"system.out-of-service\"} 0");
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service");
    waitForMetric("gateway_calls 1");
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    waitForMetric("gateway_calls 0");
    waitForMetric("gateway_calls_total 1");
    waitForMetric("gateway_calls_answered_total 1");
    EXPECT_EQ(0, stop());
    waitForMetric("gateway_up 0");
    waitForMetric("gateway_calls_total 1");
    waitForMetric("gateway_calls_peak 1");
    waitForMetric("gateway_alarm{id=\"system.out-of-service\"} 1");
}

TEST_F(GatewayStatus, OfAStartThatFailsIsInTheMetrics)
{
    configure("keswardin.media.rtp.udpPortRange = 99999-100000");
    EXPECT_EQ(1, run(sources()).iExitCode);
    waitForMetric("gateway_up 0");
    waitForMetric("gateway_alarm{id=\"system.configuration.error\"} 1");
    waitForMetric("gateway_alarm{id=\"system.out-of-service\"} 1");
    waitForMetric("gateway_configuration_problems{kind=\"broken-rule\"} 1");
}

TEST_F(GatewayStatus, OfAnAddressThatIsTakenIsInTheMetrics)
{
    start();
    std::filesystem::create_directory(home().path() / "other");
    EXPECT_EQ(1, run(sources({"--global-config",
                              [this]
                              {
                                  const std::string strFile = home().file("etc/other.cfg");
                                  std::ofstream(strFile)
                                      << "gateway.metrics.file = " << home().file("other/prom")
                                      << '\n';
                                  return strFile;
                              }()}))
                     .iExitCode);
    EXPECT_THAT(home().read("other/prom"),
                AllOf(HasSubstr("\ngateway_up 0\n"),
                      HasSubstr("\ngateway_alarm{id=\"system.out-of-service\"} 1\n")));
    // The one that runs is not affected.
    EXPECT_EQ("running", askForJson()["phase"]);
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayStatus, HasTheAlarmOfADiskThatIsFullUntilThereIsRoom)
{
    std::filesystem::create_directory(home().path() / "logs");
    const SmallDisk disk(home().file("logs"), "size=32k,mode=755");
    VELMORA_NEEDS_DISK(disk);
    start();
    disk.fill();
    // Each switch is two lines. The first ones fill the last page.
    EXPECT_TRUE(waitUntil(
        [this]
        {
            signal(SIGUSR1);
            return askForJson()["log"]["lines-lost"] > 0;
        }));
    waitForMetric("gateway_alarm{id=\"gateway.disk\"} 1");
    EXPECT_THAT(ask().strOutput,
                AllOf(HasSubstr("  ERROR gateway.disk since "), HasSubstr("    what to do : ")));
    disk.makeRoom();
    waitForMetric("gateway_alarm{id=\"gateway.disk\"} 0");
    waitForMetric("gateway_alarm_times_on_total{id=\"gateway.disk\"} 1");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(linesOfLog(), Contains(EndsWith("keswardin.gateway.Supervision - the log is tried "
                                                "again, since lines were lost")));
    EXPECT_THAT(linesOfLog(), Contains(EndsWith("Alarm [gateway.disk] : ALARM_OFF")));
}

TEST_F(GatewayStatus, HasTheAlarmOfFilesOfCallsThatCannotBeMade)
{
    start();
    std::filesystem::remove(home().path() / "calls");
    std::ofstream(home().file("calls")) << "no directory";
    SipCaller caller(address());
    caller.invite("busy");
    caller.expectAnswer("486 Busy Here");
    waitForMetric("gateway_call_files_failed_total 1");
    waitForMetric("gateway_alarm{id=\"gateway.disk\"} 1");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayStatus, HasTheAlarmOfMetricsThatCannotBeWritten)
{
    std::filesystem::create_directories(home().file("run/gateway.prom"));
    start();
    waitForLine("Alarm [gateway.disk] : ALARM_ON");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("ERROR keswardin.gateway.Supervision - metrics are out of date : "
                                "cannot write " +
                                home().file("run/gateway.prom") + ": Is a directory"));
}

TEST_F(GatewayStatus, HasTheAlarmOfAnAddressThatTheMachineHasLostUntilItIsBack)
{
    // A network of this thread and of the processes that it starts.
    if (unshare(CLONE_NEWNET) != 0)
        GTEST_SKIP() << "this process may not have a network of its own";
    const auto ip = [](const std::vector<std::string>& in_arguments)
    {
        const HelperResult result = runHelper(VELMORA_IP, in_arguments);
        EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    };
    ip({"link", "set", "lo", "up"});
    ip({"address", "add", "198.51.100.7/32", "dev", "lo"});
    configure("keswardin.media.rtp.IPAddress = 198.51.100.7");
    start();
    waitForMetric("gateway_alarm{id=\"gateway.address\"} 0");
    ip({"address", "del", "198.51.100.7/32", "dev", "lo"});
    waitForLine("Alarm [gateway.address] : ALARM_ON");
    waitForMetric("gateway_alarm{id=\"gateway.address\"} 1");
    EXPECT_THAT(ask().strOutput, HasSubstr("  ERROR gateway.address since "));
    ip({"address", "add", "198.51.100.7/32", "dev", "lo"});
    waitForLine("Alarm [gateway.address] : ALARM_OFF");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayStatus, IsReportedToSystemd)
{
    const NotifySocket systemd(home().file("notify"));
    setEnvironment("NOTIFY_SOCKET", home().file("notify"));
    setEnvironment("WATCHDOG_USEC", "200000");
    start();
    std::vector<std::string> messages;
    const auto has = [&messages](const std::string& in_strMessage)
    { return std::ranges::count(messages, in_strMessage); };
    const auto receive = [&]
    {
        for (const std::string& strMessage : systemd.receive())
            messages.push_back(strMessage);
    };
    EXPECT_TRUE(waitUntil(
        [&]
        {
            receive();
            return has("WATCHDOG=1") >= 3;
        }));
    EXPECT_EQ("READY=1", messages.front());
    EXPECT_EQ(1, has("STATUS=0 calls, 0 at once at most, 0 answered"));
    EXPECT_EQ(0, stop());
    receive();
    EXPECT_EQ(1, has("STOPPING=1"));
}

} // namespace Velmora::Test
