// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/UserAgent.h"

#include "tests/examples/GatewayParameters.h"
#include "tests/examples/SipCaller.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/UdpServer.h"
#include "velmora/config/TrieConfiguration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::EventLoop;
using GatewayExample::LoadMonitor;
using GatewayExample::Settings;
using GatewayExample::UserAgent;
using testing::ElementsAre;

/// The SIP side of a gateway, in the process of the test. An exception in a callback of the SIP
/// stack is caused by an appender: it throws at a line that the callback logs.
class GatewayUserAgent : public testing::Test
{
  protected:
    GatewayUserAgent() { m_caller.setCallId("a-call"); }

    static TSHandle<ROConfiguration> makeConfiguration(const std::string& in_strAddress)
    {
        auto* const pConfig = new TrieConfiguration;
        TSHandle<ROConfiguration> hConfig(pConfig);
        setGatewayParameters(*pConfig, in_strAddress);
        return hConfig;
    }

    /// Runs the loop until a line with this text is logged.
    void stepUntil(const std::string& in_strText)
    {
        for (int iSteps = 0; iSteps < 100 && !isLogged(in_strText); ++iSteps)
            m_loop.step();
        EXPECT_TRUE(isLogged(in_strText)) << in_strText;
    }

    [[nodiscard]] bool isLogged(const std::string& in_strText) const
    {
        const std::vector<LogLine> lines = m_log.lines();
        return std::any_of(lines.begin(), lines.end(),
                           [&in_strText](const LogLine& in_line)
                           { return in_line.strText.find(in_strText) != std::string::npos; });
    }

    /// Makes a call, up to the ACK of its answer.
    void connect()
    {
        m_caller.invite("service");
        stepUntil("200 OK sent");
        m_caller.expectAnswer("200 OK");
        m_caller.send("ACK", "service");
        stepUntil("ACK received");
    }

    /// Makes the next line with this text throw.
    void throwAt(const std::string& in_strText) { m_strThrows = in_strText; }

    void throwIfAsked(const std::string& in_strLine)
    {
        if (m_strThrows.empty() || in_strLine.find(m_strThrows) == std::string::npos)
            return;
        m_strThrows.clear();
        throw std::runtime_error("disk gone");
    }

    [[nodiscard]] std::vector<LogLine> errors() const
    {
        std::vector<LogLine> lines = m_log.lines();
        std::erase_if(lines,
                      [](const LogLine& in_line) { return in_line.level < ERROR_LOG_LEVEL; });
        return lines;
    }

    /// Expects that the gateway answers other callers, and that no call is left.
    void expectGoesOn()
    {
        SipCaller other(m_strAddress);
        other.setCallId("another-call");
        other.invite("busy");
        stepUntil("486 Busy Here sent");
        other.expectAnswer("486 Busy Here");
        EXPECT_FALSE(m_userAgent.hasCalls());
    }

    const std::string m_strAddress = addressOfThisProcess();
    CapturedLog m_log;
    std::string m_strThrows;
    const CallbackAppender m_thrower{[this](const std::string& in_strLine)
                                     { throwIfAsked(in_strLine); }};
    const TSHandle<ROConfiguration> m_hConfig = makeConfiguration(m_strAddress);
    EventLoop m_loop;
    const Settings m_settings{*m_hConfig};
    const LoadMonitor m_monitor{m_loop, "calls", "gateway.calls.monitor", *m_hConfig};
    UserAgent m_userAgent{m_loop, m_settings, m_hConfig, m_monitor, 0ms};
    SipCaller m_caller{m_strAddress};
};

const LogLine s_callFails = errorLine("keswardin.gateway.Leg", "call a-call fails : disk gone");

} // namespace

TEST_F(GatewayUserAgent, ReceivesAtAName)
{
    auto* const pConfig = new TrieConfiguration;
    const TSHandle<ROConfiguration> hConfig(pConfig);
    setGatewayParameters(*pConfig, m_strAddress);
    EXPECT_TRUE(
        pConfig->setStringParameter("keswardin.sip.userAgent.IPAddress", "udp:localhost:5099"));
    const Settings settings(*hConfig);
    EXPECT_NO_THROW(UserAgent(m_loop, settings, hConfig, m_monitor, 0ms));
}

TEST_F(GatewayUserAgent, ARequestThatThrowsIsRefusedWith500AndTheNextOneIsAnswered)
{
    throwAt("OPTIONS received");
    m_caller.send("OPTIONS", "service");
    stepUntil("disk gone");
    m_caller.expectAnswer("500 Internal Server Error");
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.gateway.UserAgent",
                                                "a request is refused : disk gone")));
    m_log.clear();
    m_caller.send("OPTIONS", "service");
    stepUntil("OPTIONS received");
    m_caller.expectAnswer("200 OK");
    expectGoesOn();
}

TEST_F(GatewayUserAgent, AnInviteWhoseCallCannotBeMadeIsRefusedWith500)
{
    throwAt("INVITE received : CSeq");
    m_caller.invite("service");
    stepUntil("disk gone");
    m_caller.expectAnswer("500 Internal Server Error");
    EXPECT_THAT(errors(), ElementsAre(errorLine("keswardin.gateway.UserAgent",
                                                "no call a-call : disk gone")));
    expectGoesOn();
}

TEST_F(GatewayUserAgent, ARequestThatThrowsInACallIsRefusedWith500AndTheCallIsHungUp)
{
    connect();
    throwAt("BYE received");
    m_caller.send("BYE", "service");
    stepUntil("BYE sent");
    // The gateway sends its BYE before the stack sends the answer.
    const std::string strBye = m_caller.expectRequest("BYE");
    m_caller.expectAnswer("500 Internal Server Error");
    m_caller.accept(strBye);
    stepUntil(" ms : the call has failed");
    EXPECT_THAT(errors(), ElementsAre(s_callFails));
    expectGoesOn();
}

TEST_F(GatewayUserAgent, AnAckThatThrowsHangsItsCallUp)
{
    m_caller.invite("service");
    stepUntil("200 OK sent");
    m_caller.expectAnswer("200 OK");
    throwAt("ACK received");
    m_caller.send("ACK", "service");
    stepUntil("BYE sent");
    m_caller.accept(m_caller.expectRequest("BYE"));
    stepUntil(" ms : the call has failed");
    EXPECT_THAT(errors(), ElementsAre(s_callFails));
    expectGoesOn();
}

TEST_F(GatewayUserAgent, ACancelThatThrowsEndsItsCallWith500)
{
    m_caller.invite("nobody");
    stepUntil("180 Ringing sent");
    throwAt("CANCEL received");
    m_caller.send("CANCEL", "nobody");
    stepUntil(" ms : the call has failed");
    m_caller.expectAnswer("500 Internal Server Error");
    EXPECT_THAT(errors(), ElementsAre(s_callFails));
    expectGoesOn();
}

TEST_F(GatewayUserAgent, AnAnswerToAByeThatThrowsEndsItsCall)
{
    connect();
    m_userAgent.endCalls("the test ends calls");
    m_caller.accept(m_caller.expectRequest("BYE"));
    throwAt("200 received for BYE");
    stepUntil(" ms : the call has failed");
    EXPECT_THAT(errors(), ElementsAre(s_callFails));
    EXPECT_FALSE(m_userAgent.hasCalls());
}

TEST_F(GatewayUserAgent, OneThatCannotReceiveAtASecondAddressReleasesTheFirst)
{
    Settings settings = m_settings;
    const GatewayExample::SipAddress free("udp:" + m_strAddress + ":5062");
    settings.sipAddresses.insert(settings.sipAddresses.begin(), free);
    try
    {
        const UserAgent userAgent(m_loop, settings, m_hConfig, m_monitor, 0ms);
        FAIL();
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_EQ("SIP cannot be received at " + m_settings.sipAddresses.front().url() +
                      " : nta: bind(" + m_strAddress +
                      ":5060;transport=udp): Address already in use",
                  std::string(error.what()));
    }
    settings.sipAddresses = {free};
    const UserAgent userAgent(m_loop, settings, m_hConfig, m_monitor, 0ms);
}

} // namespace Velmora::Test
