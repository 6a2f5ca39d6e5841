// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/SettingRules.h"

#include "examples/gateway/IPAddress.h"

#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <sys/resource.h>

namespace Velmora::Test
{

namespace
{

using GatewayExample::BrokenRule;
using GatewayExample::IPAddress;
using testing::ElementsAre;
using testing::IsEmpty;

/// A configuration that keeps all rules.
class GatewaySettingRules : public testing::Test
{
  protected:
    GatewaySettingRules()
    {
        set("keswardin.sip.userAgent.IPAddress", "udp:127.0.0.1:5060");
        set("keswardin.sip.userAgentName", "gateway");
        set("keswardin.media.rtp.IPAddress", "127.0.0.1");
        set("keswardin.media.rtp.udpPortRange", "20000-29999");
        set("gateway.calls.retryAfterSec", 7);
        set("gateway.calls.fileThreads", 8);
        set("gateway.calls.monitor.monitoringPeriodInMs", 500);
        set("gateway.calls.monitor.setAlarmThreshold", 20.0F);
        set("gateway.calls.monitor.resetAlarmThreshold", 10.0F);
        ParameterInfoDB::getInstance().addDefaultsToConfig(m_config, false);
    }

    void set(const char* in_szName, const char* in_szValue)
    {
        ASSERT_TRUE(m_config.setStringParameter(in_szName, in_szValue));
    }
    void set(const char* in_szName, int in_iValue)
    {
        ASSERT_TRUE(m_config.setIntParameter(in_szName, in_iValue));
    }
    void set(const char* in_szName, float in_fValue)
    {
        ASSERT_TRUE(m_config.setFloatParameter(in_szName, in_fValue));
    }

    /// Returns the broken rules, as "error|warning [rule] name = "value" : reason".
    [[nodiscard]] std::vector<std::string> broken() const
    {
        std::vector<std::string> lines;
        for (const BrokenRule& rule : GatewayExample::SettingRules::check(m_config))
            lines.push_back(std::string(rule.bFatal ? "error" : "warning") + " [" + rule.szRule +
                            "] " + rule.setting.what());
        return lines;
    }

    ParameterHashMap m_config;
};

constexpr const char* s_szSip = "keswardin.sip.userAgent.IPAddress";
constexpr const char* s_szRtp = "keswardin.media.rtp.IPAddress";
constexpr const char* s_szPorts = "keswardin.media.rtp.udpPortRange";

} // namespace

TEST_F(GatewaySettingRules, AreKeptByTheDefaults) { EXPECT_THAT(broken(), IsEmpty()); }

TEST_F(GatewaySettingRules, AreAllCheckedWhateverIsBroken)
{
    set(s_szSip, "tcp:127.0.0.1:5060");
    set(s_szRtp, "localhost");
    set(s_szPorts, "1-2");
    set("keswardin.sip.TimerT1", 0);
    EXPECT_THAT(
        broken(),
        ElementsAre("error [setting] keswardin.sip.TimerT1 = \"0\" : it must be above 0",
                    "error [sip-address] keswardin.sip.userAgent.IPAddress = "
                    "\"tcp:127.0.0.1:5060\" : an address is like udp:10.0.0.1:5060",
                    "error [rtp-address] keswardin.media.rtp.IPAddress = \"localhost\" : it is not "
                    "an IP address such as 10.0.0.1",
                    "error [port-range] keswardin.media.rtp.udpPortRange = \"1-2\" : the range has "
                    "no even port with the odd port above it ; a range of ports is like "
                    "20000-29999"));
}

TEST_F(GatewaySettingRules, ATimeThatIsMissingOrNotAboveZeroIsRefused)
{
    for (const char* const szName :
         {"keswardin.sip.TimerT1", "keswardin.sip.TimerT2", "keswardin.sip.lifetimeTimer",
          "gateway.calls.retryAfterSec", "gateway.calls.fileThreads", "keswardin.gw.ringTimeoutMs",
          "keswardin.sip.state.Disconnecting.timeoutMs", "keswardin.media.rxStartTimeoutMs"})
    {
        int iFormer = 0;
        ASSERT_TRUE(m_config.getIntParameter(szName, iFormer));
        set(szName, -1);
        EXPECT_THAT(broken(), testing::Contains(std::string("error [setting] ") + szName +
                                                " = \"-1\" : it must be above 0"));
        m_config.setParameter(szName, ParameterValue());
        EXPECT_THAT(broken(),
                    testing::Contains(std::string("error [setting] ") + szName +
                                      " = \"\" : it is not set ; write an integer, such as 500"));
        set(szName, iFormer);
    }
    EXPECT_THAT(broken(), IsEmpty());
}

TEST_F(GatewaySettingRules, ANameInsteadOfAnAddressIsWarnedOf)
{
    set(s_szSip, "udp:localhost:5060");
    EXPECT_THAT(broken(), ElementsAre("warning [name] keswardin.sip.userAgent.IPAddress = "
                                      "\"localhost\" : it is a name ; write an IP address, since a "
                                      "name server may be away when the gateway starts"));
}

TEST_F(GatewaySettingRules, AnAddressOfAnotherMachineIsRefused)
{
    // Set aside for documents (RFC 5737, RFC 3849).
    set(s_szSip, "udp:198.51.100.7:5060,udp:[2001:db8::7]:5060");
    set(s_szRtp, "198.51.100.7");
    EXPECT_THAT(broken(),
                ElementsAre("error [not-local] keswardin.sip.userAgent.IPAddress = "
                            "\"198.51.100.7\" : it is not an address of this machine",
                            "error [not-local] keswardin.sip.userAgent.IPAddress = "
                            "\"[2001:db8::7]\" : it is not an address of this machine",
                            "error [not-local] keswardin.media.rtp.IPAddress = \"198.51.100.7\" : "
                            "it is not an address of this machine"));
}

TEST_F(GatewaySettingRules, AnAddressThatOccursTwiceIsRefused)
{
    set(s_szSip, "udp:127.0.0.1:5060,udp:127.0.0.2:5060,udp:127.0.0.1:5060");
    EXPECT_THAT(broken(), ElementsAre("error [address-twice] keswardin.sip.userAgent.IPAddress = "
                                      "\"sip:127.0.0.1:5060;transport=udp\" : it occurs twice"));
}

TEST_F(GatewaySettingRules, BracketsAroundAnAddressOfRtpAreRefused)
{
    set(s_szRtp, "[::1]");
    EXPECT_THAT(broken(), ElementsAre("error [rtp-address] keswardin.media.rtp.IPAddress = "
                                      "\"[::1]\" : an IPv6 address has no brackets here ; write "
                                      "::1"));
}

TEST_F(GatewaySettingRules, AnAddressOfRtpThatStandsForAllIsWarnedOf)
{
    set(s_szRtp, "0.0.0.0");
    EXPECT_THAT(
        broken(),
        ElementsAre("warning [rtp-address] keswardin.media.rtp.IPAddress = \"0.0.0.0\" : "
                    "callers cannot send to it ; write the address at which they reach this "
                    "machine"));
}

TEST_F(GatewaySettingRules, SipAndRtpOfDifferentVersionsOfIpAreWarnedOf)
{
    set(s_szSip, "udp:[::]:5060");
    EXPECT_THAT(broken(), ElementsAre("warning [address-family] keswardin.media.rtp.IPAddress = "
                                      "\"127.0.0.1\" : RTP uses IPv4 but SIP is received at [::] ; "
                                      "write addresses of one version of IP"));
    set(s_szSip, "udp:[::]:5060,udp:127.0.0.1:5060");
    EXPECT_THAT(broken(), IsEmpty());
}

TEST_F(GatewaySettingRules, ARangeOfPortsThatBeginsOrEndsWithAPortOfNoUseIsWarnedOf)
{
    constexpr const char* szText =
        "\" : RTP takes an even port and the odd one above it ; write 20002-20099";
    for (const char* const szRange : {"20001-20099", "20002-20100", "20001-20100"})
    {
        set(s_szPorts, szRange);
        EXPECT_THAT(broken(),
                    ElementsAre(std::string("warning [odd-port] keswardin.media.rtp.udpPortRange "
                                            "= \"") +
                                szRange + szText));
    }
}

TEST_F(GatewaySettingRules, APortOfSipInTheRangeOfRtpIsWarnedOf)
{
    set(s_szPorts, "5000-5999");
    EXPECT_THAT(broken(), ElementsAre("warning [sip-port] keswardin.media.rtp.udpPortRange = "
                                      "\"5000-5999\" : SIP is received at port 5060, which a call "
                                      "cannot have ; choose ports beside it"));
    set(s_szSip, "udp:127.0.0.1");
    EXPECT_EQ(1, broken().size());
    set(s_szSip, "udp:127.0.0.2:5060");
    EXPECT_THAT(broken(), IsEmpty());
    set(s_szSip, "udp:0.0.0.0:5060");
    EXPECT_EQ(1, broken().size());
    set(s_szSip, "udp:127.0.0.1:6000");
    EXPECT_THAT(broken(), IsEmpty());
}

TEST_F(GatewaySettingRules, TooFewPortsForTheCallsAreWarnedOf)
{
    set(s_szPorts, "20000-20037");
    EXPECT_THAT(broken(),
                ElementsAre("warning [too-few-ports] keswardin.media.rtp.udpPortRange = "
                            "\"20000-20037\" : it has ports for 19 calls, but "
                            "gateway.calls.monitor.setAlarmThreshold = 20 ; write a range of 40 "
                            "ports, or a lower number of calls"));
    set(s_szPorts, "20000-20039");
    EXPECT_THAT(broken(), IsEmpty());
    // Without the monitor no number is wanted.
    set("gateway.calls.monitor.monitoringPeriodInMs", 0);
    set(s_szPorts, "20000-20001");
    EXPECT_THAT(broken(), IsEmpty());
    set("gateway.calls.most", 2);
    EXPECT_THAT(broken(),
                ElementsAre(testing::HasSubstr("ports for 1 calls, but gateway.calls.most = 2 ;")));
    // The lower limit counts.
    set("gateway.calls.monitor.monitoringPeriodInMs", 1);
    EXPECT_THAT(broken(),
                ElementsAre(testing::HasSubstr("ports for 1 calls, but gateway.calls.most = 2 ;")));
    set("gateway.calls.most", 21);
    EXPECT_THAT(broken(), ElementsAre(testing::HasSubstr("setAlarmThreshold = 20 ;")));
}

TEST_F(GatewaySettingRules, AnUnknownCodecIsWarnedOf)
{
    set("keswardin.rtp.encodingList", "pcmu,PCMB");
    EXPECT_THAT(broken(),
                ElementsAre("warning [codec] keswardin.rtp.encodingList = \"PCMB\" : the gateway "
                            "does not know this encoding, so that it takes it from a caller but "
                            "never offers it ; it knows "
                            "PCMU,GSM,G723,PCMA,G722,G728,G729,telephone-event"));
    set("keswardin.rtp.encodingList", "PCMU,");
    EXPECT_THAT(broken(), ElementsAre("error [codec] keswardin.rtp.encodingList = \"PCMU,\" : a "
                                      "part of the list is empty"));
}

TEST_F(GatewaySettingRules, AListWithoutAnEncodingOfAudioIsRefused)
{
    set("keswardin.rtp.encodingList", "telephone-event");
    EXPECT_THAT(broken(), ElementsAre("error [no-audio] keswardin.rtp.encodingList = "
                                      "\"telephone-event\" : it has no encoding of audio ; write "
                                      "PCMU,PCMA,telephone-event"));
}

TEST_F(GatewaySettingRules, TimesThatContradictEachOtherAreWarnedOf)
{
    set("keswardin.sip.TimerT2", 400);
    set("keswardin.sip.lifetimeTimer", 300);
    set("keswardin.killTimeoutSec", 5);
    EXPECT_THAT(
        broken(),
        ElementsAre(
            "warning [time-outs] keswardin.sip.TimerT2 = \"400\" : the longest interval "
            "between repetitions is below the first one, keswardin.sip.TimerT1 = 500",
            "warning [time-outs] keswardin.sip.lifetimeTimer = \"300\" : nothing is "
            "repeated, since the transaction ends before keswardin.sip.TimerT1 = 500",
            "warning [time-outs] keswardin.killTimeoutSec = \"5\" : a gateway that stops is "
            "killed then, while its calls may take any time, since "
            "keswardin.exitTimeoutSec is not set"));
    set("keswardin.sip.TimerT2", 4000);
    set("keswardin.sip.lifetimeTimer", 32000);
    set("keswardin.exitTimeoutSec", 5);
    EXPECT_THAT(broken(),
                ElementsAre("warning [time-outs] keswardin.killTimeoutSec = \"5\" : a gateway that "
                            "stops is killed then, while its calls may take "
                            "keswardin.exitTimeoutSec = 5"));
    set("keswardin.killTimeoutSec", 6);
    EXPECT_THAT(broken(), IsEmpty());
    // No limit.
    set("keswardin.killTimeoutSec", -1);
    set("keswardin.exitTimeoutSec", -1);
    EXPECT_THAT(broken(), IsEmpty());
}

TEST_F(GatewaySettingRules, ThresholdsThatContradictEachOtherAreRefused)
{
    set("gateway.calls.monitor.resetAlarmThreshold", 20.0F);
    EXPECT_THAT(
        broken(),
        ElementsAre("error [threshold] gateway.calls.monitor.resetAlarmThreshold = \"20\" : "
                    "it must be below gateway.calls.monitor.setAlarmThreshold, which is "
                    "20"));
    set("gateway.calls.monitor.resetAlarmThreshold", 10.0F);
    set("gateway.calls.monitor.monitoringPeriodInMs", -1);
    EXPECT_THAT(broken(),
                ElementsAre("error [threshold] gateway.calls.monitor.monitoringPeriodInMs "
                            "= \"-1\" : it must be above 0, or 0 for no monitor"));
}

TEST_F(GatewaySettingRules, AThresholdThatIsNeverReachedIsWarnedOf)
{
    set("keswardin.system.cpu.monitor.setAlarmThreshold", 101.0F);
    EXPECT_THAT(broken(),
                ElementsAre("warning [threshold] keswardin.system.cpu.monitor.setAlarmThreshold = "
                            "\"101\" : the load of the processors never exceeds 100 percent"));
}

TEST_F(GatewaySettingRules, TooFewDescriptorsForTheCallsAreWarnedOf)
{
    const rlimit limit{100, 200};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    EXPECT_THAT(
        broken(),
        ElementsAre("warning [descriptors] gateway.calls.monitor.setAlarmThreshold = \"20\" "
                    ": calls up to this number need 104 descriptors, and the process may "
                    "have 100 ; raise the limit (LimitNOFILE of systemd, ulimit -n), or "
                    "write a lower number of calls"));
}

TEST(GatewayIPAddress, IsReadFromItsTextAndFromNoOther)
{
    for (const char* const szText : {"127.0.0.1", "::1", "::", "0.0.0.0", "2001:db8::7"})
        EXPECT_TRUE(IPAddress::parse(szText)) << szText;
    for (const char* const szText :
         {"", "localhost", "127.1", "127.0.0.256", "[::1]", ":", "0x7f.0.0.1"})
        EXPECT_FALSE(IPAddress::parse(szText)) << szText;
}

TEST(GatewayIPAddress, IsUsableIfItBelongsToThisMachine)
{
    for (const char* const szText : {"127.0.0.1", "127.66.0.1", "0.0.0.0", "::"})
        EXPECT_TRUE(IPAddress::parse(szText)->isUsableHere()) << szText;
    for (const char* const szText : {"198.51.100.7", "128.0.0.1", "2001:db8::7"})
        EXPECT_FALSE(IPAddress::parse(szText)->isUsableHere()) << szText;
}

} // namespace Velmora::Test
