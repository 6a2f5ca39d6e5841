// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/Settings.h"

#include "examples/gateway/BadSetting.h"
#include "examples/gateway/CallParameters.h"

#include "velmora/config/TrieConfiguration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::BadSetting;
using GatewayExample::Settings;
namespace CallParameters = GatewayExample::CallParameters;
using testing::ElementsAre;

class GatewaySettings : public testing::Test
{
  protected:
    GatewaySettings()
    {
        set("keswardin.sip.userAgent.IPAddress", "udp:127.0.0.1:5060");
        set("keswardin.sip.userAgentName", "gateway");
        set("keswardin.media.rtp.IPAddress", "127.0.0.1");
        set("keswardin.media.rtp.udpPortRange", "20000-29999");
        set("keswardin.rtp.encodingList", "PCMU,PCMA");
        set("gateway.calls.retryAfterSec", 7);
        set("gateway.metrics.periodSec", 15);
        set("gateway.calls.fileThreads", 8);
        int iValue = 0;
        for (const char* const szName :
             {"keswardin.sip.TimerT1", "keswardin.sip.TimerT2", "keswardin.sip.lifetimeTimer",
              "keswardin.gw.ringTimeoutMs", "keswardin.sip.state.Disconnecting.timeoutMs",
              "keswardin.media.rxStartTimeoutMs"})
            set(szName, ++iValue);
    }

    void set(const char* in_szName, const char* in_szValue)
    {
        ASSERT_TRUE(m_config.setStringParameter(in_szName, in_szValue));
    }
    void set(const char* in_szName, int in_iValue)
    {
        ASSERT_TRUE(m_config.setIntParameter(in_szName, in_iValue));
    }

    /// Returns the error message for a value; empty if the value is accepted.
    template <class T>
    std::string errorWith(const char* in_szName, T in_value)
    {
        set(in_szName, in_value);
        try
        {
            const Settings settings(m_config);
            return "";
        }
        catch (const BadSetting& error)
        {
            return error.what();
        }
    }

    TrieConfiguration m_config;
};

} // namespace

TEST_F(GatewaySettings, AreThoseOfTheConfiguration)
{
    const Settings settings(m_config);
    ASSERT_EQ(1, settings.sipAddresses.size());
    EXPECT_EQ("sip:127.0.0.1:5060;transport=udp", settings.sipAddresses[0].url());
    EXPECT_EQ("gateway", settings.strUserAgentName);
    EXPECT_EQ(1ms, settings.timerT1);
    EXPECT_EQ(2ms, settings.timerT2);
    EXPECT_EQ(3ms, settings.transactionLifetime);
    EXPECT_EQ(4ms, CallParameters::duration(m_config, CallParameters::s_szRingTimeout));
    EXPECT_EQ(5ms, CallParameters::duration(m_config, CallParameters::s_szDisconnectingTimeout));
    EXPECT_EQ(6ms, CallParameters::duration(m_config, CallParameters::s_szRxStartTimeout));
    EXPECT_EQ(7s, settings.retryAfter);
    EXPECT_EQ("127.0.0.1", settings.strRtpAddress);
    EXPECT_EQ(20000, settings.rtpPorts.uiFirst);
    EXPECT_EQ(29999, settings.rtpPorts.uiLast);
    EXPECT_THAT(settings.encodings, ElementsAre("PCMU", "PCMA"));
    EXPECT_EQ(0U, settings.admission.uiCalls) << "without a value there is no limit";
    EXPECT_EQ(0U, settings.uiLongestHeader);
}

TEST_F(GatewaySettings, LimitsAreNumbersOfWhichZeroIsNone)
{
    set("gateway.calls.most", 1);
    set("gateway.calls.newFromOneSourcePerSec", 2);
    set("gateway.memory.limitMB", 3);
    set("gateway.sip.longestHeader", 4);
    const Settings settings(m_config);
    EXPECT_EQ(1U, settings.admission.uiCalls);
    EXPECT_EQ(2U, settings.admission.uiNewFromOneSourcePerSec);
    EXPECT_EQ(3U, settings.admission.uiMemoryMB);
    EXPECT_EQ(4U, settings.uiLongestHeader);
    for (const char* const szName : {"gateway.calls.most", "gateway.calls.newFromOneSourcePerSec",
                                     "gateway.memory.limitMB", "gateway.sip.longestHeader"})
    {
        EXPECT_EQ(std::string(szName) + " = \"-1\" : it must be above 0, or 0 for no limit",
                  errorWith(szName, -1));
        set(szName, 0);
    }
}

TEST_F(GatewaySettings, SeveralAddressesHaveCommasBetweenThem)
{
    set("keswardin.sip.userAgent.IPAddress", "udp:127.0.0.1 , udp:[::1]:5062");
    const Settings settings(m_config);
    ASSERT_EQ(2, settings.sipAddresses.size());
    EXPECT_EQ("sip:127.0.0.1;transport=udp", settings.sipAddresses[0].url());
    EXPECT_EQ("sip:[::1]:5062;transport=udp", settings.sipAddresses[1].url());
}

TEST_F(GatewaySettings, AnAddressWithoutUdpIsReported)
{
    constexpr const char* szName = "keswardin.sip.userAgent.IPAddress";
    EXPECT_EQ("keswardin.sip.userAgent.IPAddress = \"tcp:127.0.0.1:5060\" : an address is like "
              "udp:10.0.0.1:5060",
              errorWith(szName, "tcp:127.0.0.1:5060"));
    EXPECT_EQ("keswardin.sip.userAgent.IPAddress = \"udp:127.0.0.1,\" : a part of the list is "
              "empty",
              errorWith(szName, "udp:127.0.0.1,"));
}

TEST_F(GatewaySettings, ATimeOfZeroIsReported)
{
    for (const char* const szName :
         {"keswardin.sip.TimerT1", "keswardin.gw.ringTimeoutMs",
          "keswardin.sip.state.Disconnecting.timeoutMs", "keswardin.media.rxStartTimeoutMs"})
    {
        EXPECT_EQ(std::string(szName) + " = \"0\" : it must be above 0", errorWith(szName, 0));
        set(szName, 1);
    }
}

TEST_F(GatewaySettings, AnInvalidRangeOfPortsIsReported)
{
    constexpr const char* szName = "keswardin.media.rtp.udpPortRange";
    const std::vector<std::pair<const char*, const char*>> reasons{
        {"", "a range of ports is like 20000-29999"},
        {"20000", "a range of ports is like 20000-29999"},
        {"20000-", "a range of ports is like 20000-29999"},
        {"-1", "a range of ports is like 20000-29999"},
        {"a-b", "port a is not a number from 1 to 65535"},
        {"20000-20001x", "port 20001x is not a number from 1 to 65535"},
        {"0-10", "port 0 is not a number from 1 to 65535"},
        {"1-65536", "port 65536 is not a number from 1 to 65535"},
        {"30000-20000", "the range ends before it begins ; write 20000-30000"},
        {"20001-20002", "the range has no even port with the odd port above it ; a range of ports "
                        "is like 20000-29999"},
        {"20000-20000", "the range has no even port with the odd port above it ; a range of ports "
                        "is like 20000-29999"}};
    for (const auto& [szRange, szReason] : reasons)
        EXPECT_EQ(std::string(szName) + " = \"" + szRange + "\" : " + szReason,
                  errorWith(szName, szRange));
    EXPECT_EQ("", errorWith(szName, "1-65535"));
    EXPECT_EQ("", errorWith(szName, "20000-20001"));
}

TEST_F(GatewaySettings, AnInvalidAddressOfSipIsReported)
{
    const std::vector<std::pair<const char*, const char*>> reasons{
        {"udp:127.0.0.1:99999", "port 99999 is not a number from 1 to 65535"},
        {"udp:127.0.0.1:0", "port 0 is not a number from 1 to 65535"},
        {"udp:127.0.0.1:", "port  is not a number from 1 to 65535"},
        {"udp:127.0.0.1:sip", "port sip is not a number from 1 to 65535"},
        {"udp:[::1:5060", "the bracket of the address is not closed"},
        {"udp:[127.0.0.1]:5060", "[127.0.0.1] is not an IPv6 address"},
        {"udp:[::1]5060", "an address is like udp:[::1]:5060"},
        {"udp:::1", "an IPv6 address has brackets, as in udp:[::1]:5060"},
        {"udp:", "an address is like udp:10.0.0.1:5060"},
        {"udp::5060", "an address is like udp:10.0.0.1:5060"}};
    for (const auto& [szAddress, szReason] : reasons)
        EXPECT_EQ(std::string("keswardin.sip.userAgent.IPAddress = \"") + szAddress +
                      "\" : " + szReason,
                  errorWith("keswardin.sip.userAgent.IPAddress", szAddress));
}

TEST_F(GatewaySettings, AValueOfAnotherTypeIsReportedWithWhatIsWanted)
{
    EXPECT_EQ("keswardin.sip.TimerT1 = \"5s\" : it must be an integer, such as 500",
              errorWith("keswardin.sip.TimerT1", "5s"));
}

TEST_F(GatewaySettings, OneThatIsMissingIsReported)
{
    const TrieConfiguration empty;
    try
    {
        const Settings settings(empty);
        FAIL();
    }
    catch (const BadSetting& error)
    {
        EXPECT_STREQ("keswardin.sip.userAgent.IPAddress = \"\" : it is not set ; write a text",
                     error.what());
    }
}

} // namespace Velmora::Test
