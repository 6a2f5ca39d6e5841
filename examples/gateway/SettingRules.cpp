// SPDX-License-Identifier: BSD-2-Clause

#include "SettingRules.h"

#include "CallParameters.h"
#include "IPAddress.h"
#include "IgnoringCase.h"
#include "LoadMonitor.h"
#include "OwnParameters.h"
#include "RequiredParameters.h"
#include "SessionDescription.h"
#include "Settings.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <sstream>

#include <sys/resource.h>

using Velmora::ROConfiguration;

namespace GatewayExample
{

namespace
{

/// The descriptors of a call: its RTP socket and its log file.
constexpr double s_dDescriptorsOfACall = 2;
/// Those of the gateway itself: its logs, its loop, its SIP sockets, and what libraries open.
constexpr double s_dOtherDescriptors = 64;

/// The share of processors in use, in percent, that is never exceeded.
constexpr float s_fWholeMachine = 100;

std::string text(double in_dValue)
{
    std::ostringstream stream;
    stream << in_dValue;
    return std::move(stream).str();
}

class Checker
{
  public:
    explicit Checker(const ROConfiguration& in_config) : m_config(in_config) {}

    std::vector<BrokenRule> checkAll() &&;

  private:
    void checkTypes();
    void checkSipAddresses();
    void checkRtpAddress();
    void checkFamilies();
    void checkPorts();
    void checkEncodings();
    void checkTimes();
    void checkThresholds();
    void checkCapacity();

    void refuse(const char* in_szRule, const BadSetting& in_setting)
    {
        m_broken.push_back({in_szRule, true, in_setting});
    }
    void warn(const char* in_szRule, const BadSetting& in_setting)
    {
        m_broken.push_back({in_szRule, false, in_setting});
    }

    /// Calls a function that throws `BadSetting` if a rule is broken.
    template <class Function>
    void attempt(const char* in_szRule, Function in_function)
    {
        try
        {
            in_function();
        }
        catch (const BadSetting& setting)
        {
            refuse(in_szRule, setting);
        }
    }

    [[nodiscard]] int intOf(const char* in_szName) const
    {
        int iValue = 0;
        m_config.getIntParameter(in_szName, iValue);
        return iValue;
    }
    [[nodiscard]] float floatOf(const std::string& in_strName) const
    {
        float fValue = 0;
        m_config.getFloatParameter(in_strName.c_str(), fValue);
        return fValue;
    }
    /// A number of calls at once from which on calls are refused, and the parameter that sets it.
    struct MostCalls
    {
        float fCalls = 0;
        std::string strName;
    };
    /// Returns the lower one of the two limits; 0 if no call is refused.
    [[nodiscard]] MostCalls mostCalls() const;

    const ROConfiguration& m_config;
    std::vector<BrokenRule> m_broken;
    // Empty where they are invalid.
    std::vector<SipAddress> m_sipAddresses;
    std::optional<IPAddress> m_rtpAddress;
    std::string m_strRtpAddress;
    std::optional<PortRange> m_rtpPorts;
};

Checker::MostCalls Checker::mostCalls() const
{
    const std::string strPrefix = OwnParameters::s_szCallMonitor;
    const std::string strPeriod = strPrefix + ".monitoringPeriodInMs";
    const MostCalls limit{static_cast<float>(intOf(OwnParameters::s_szMostCalls)),
                          OwnParameters::s_szMostCalls};
    const std::string strThreshold = strPrefix + ".setAlarmThreshold";
    const MostCalls threshold{intOf(strPeriod.c_str()) > 0 ? floatOf(strThreshold) : 0,
                              strThreshold};
    const bool bLimit =
        threshold.fCalls <= 0 || (limit.fCalls > 0 && limit.fCalls < threshold.fCalls);
    return bLimit ? limit : threshold;
}

void Checker::checkTypes()
{
    constexpr const char* szRule = "setting";
    attempt(szRule,
            [this] { static_cast<void>(requiredString(m_config, "keswardin.sip.userAgentName")); });
    for (const char* const szName :
         {Settings::s_szTimerT1, Settings::s_szTimerT2, Settings::s_szTransactionLifetime,
          OwnParameters::s_szRetryAfter, OwnParameters::s_szFileThreads,
          CallParameters::s_szRingTimeout, CallParameters::s_szDisconnectingTimeout,
          CallParameters::s_szRxStartTimeout})
        attempt(szRule,
                [this, szName] { static_cast<void>(requiredPositiveInt(m_config, szName)); });
    for (const char* const szName :
         {OwnParameters::s_szMostCalls, OwnParameters::s_szNewFromOneSource,
          OwnParameters::s_szMemoryLimit, OwnParameters::s_szHeaderLimit,
          OwnParameters::s_szQueueLimit, OwnParameters::s_szLateLimit,
          OwnParameters::s_szFileLateLimit, OwnParameters::s_szReceiveBuffer})
        attempt(szRule,
                [this, szName] { static_cast<void>(Settings::readLimit(m_config, szName)); });
}

void Checker::checkSipAddresses()
{
    constexpr const char* szName = Settings::s_szSipAddress;
    attempt("sip-address", [this] { m_sipAddresses = Settings::readSipAddresses(m_config); });
    std::set<std::string> urls;
    for (const SipAddress& sipAddress : m_sipAddresses)
    {
        if (!sipAddress.address)
            warn("name",
                 {szName, sipAddress.strHost,
                  "it is a name ; write an IP address, since a name server may be away when "
                  "the gateway starts"});
        else if (!sipAddress.address->isUsableHere())
            refuse("not-local",
                   {szName, sipAddress.strHost, "it is not an address of this machine"});
        if (!urls.insert(sipAddress.url()).second)
            refuse("address-twice", {szName, sipAddress.url(), "it occurs twice"});
    }
}

void Checker::checkRtpAddress()
{
    constexpr const char* szName = Settings::s_szRtpAddress;
    attempt("rtp-address",
            [this]
            {
                m_strRtpAddress = requiredString(m_config, szName);
                m_rtpAddress = IPAddress::parse(m_strRtpAddress);
                if (m_rtpAddress)
                    return;
                if (m_strRtpAddress.starts_with('[') && m_strRtpAddress.ends_with(']'))
                    throw BadSetting(szName, m_strRtpAddress,
                                     "an IPv6 address has no brackets here ; write " +
                                         m_strRtpAddress.substr(1, m_strRtpAddress.size() - 2));
                throw BadSetting(szName, m_strRtpAddress,
                                 "it is not an IP address such as 10.0.0.1");
            });
    if (!m_rtpAddress)
        return;
    if (m_rtpAddress->isWildcard())
        warn("rtp-address", {szName, m_strRtpAddress,
                             "callers cannot send to it ; write the address at which they reach "
                             "this machine"});
    else if (!m_rtpAddress->isUsableHere())
        refuse("not-local", {szName, m_strRtpAddress, "it is not an address of this machine"});
}

void Checker::checkFamilies()
{
    if (!m_rtpAddress)
        return;
    const auto hasOtherFamily = [this](const SipAddress& in_address)
    { return in_address.address && in_address.address->isIPv6() != m_rtpAddress->isIPv6(); };
    if (!m_sipAddresses.empty() && std::ranges::all_of(m_sipAddresses, hasOtherFamily))
        warn("address-family",
             {Settings::s_szRtpAddress, m_strRtpAddress,
              std::string("RTP uses ") + (m_rtpAddress->isIPv6() ? "IPv6" : "IPv4") +
                  " but SIP is received at " + m_sipAddresses.front().strHost +
                  " ; write addresses of one version of IP"});
}

void Checker::checkPorts()
{
    constexpr const char* szName = Settings::s_szRtpPorts;
    attempt("port-range", [this] { m_rtpPorts = Settings::readRtpPorts(m_config); });
    if (!m_rtpPorts)
        return;
    const std::string strRange = requiredString(m_config, szName);
    const unsigned int uiFirst = m_rtpPorts->firstEven();
    const unsigned int uiEnd = uiFirst + 2 * m_rtpPorts->pairs();
    if (uiFirst != m_rtpPorts->uiFirst || uiEnd != m_rtpPorts->uiLast + 1U)
        warn("odd-port", {szName, strRange,
                          "RTP takes an even port and the odd one above it ; write " +
                              std::to_string(uiFirst) + '-' + std::to_string(uiEnd - 1)});
    for (const SipAddress& sipAddress : m_sipAddresses)
    {
        const std::uint16_t uiPort = sipAddress.port.value_or(SipAddress::s_uiDefaultPort);
        const bool bSameAddress = sipAddress.address && m_rtpAddress &&
                                  (sipAddress.address == m_rtpAddress ||
                                   sipAddress.address->isWildcard() || m_rtpAddress->isWildcard());
        if (bSameAddress && uiPort >= uiFirst && uiPort < uiEnd)
            warn("sip-port", {szName, strRange,
                              "SIP is received at port " + std::to_string(uiPort) +
                                  ", which a call cannot have ; choose ports beside it"});
    }
}

void Checker::checkEncodings()
{
    constexpr const char* szName = Settings::s_szEncodings;
    std::vector<std::string> encodings;
    attempt("codec", [this, &encodings] { encodings = Settings::readList(m_config, szName); });
    if (encodings.empty())
        return;
    for (const std::string& strEncoding : encodings)
        if (!isKnownEncoding(strEncoding))
            warn("codec",
                 {szName, strEncoding,
                  "the gateway does not know this encoding, so that it takes it from a caller "
                  "but never offers it ; it knows " +
                      knownEncodings()});
    if (std::ranges::all_of(encodings, [](const std::string& in_strName)
                            { return equalsIgnoringCase(in_strName, "telephone-event"); }))
        refuse("no-audio", {szName, requiredString(m_config, szName),
                            "it has no encoding of audio ; write PCMU,PCMA,telephone-event"});
}

void Checker::checkTimes()
{
    constexpr const char* szRule = "time-outs";
    const int iT1 = intOf(Settings::s_szTimerT1);
    const int iT2 = intOf(Settings::s_szTimerT2);
    const int iLifetime = intOf(Settings::s_szTransactionLifetime);
    if (iT2 > 0 && iT2 < iT1)
        warn(szRule, {Settings::s_szTimerT2, std::to_string(iT2),
                      "the longest interval between repetitions is below the first one, " +
                          std::string(Settings::s_szTimerT1) + " = " + std::to_string(iT1)});
    if (iLifetime > 0 && iLifetime < iT1)
        warn(szRule, {Settings::s_szTransactionLifetime, std::to_string(iLifetime),
                      "nothing is repeated, since the transaction ends before " +
                          std::string(Settings::s_szTimerT1) + " = " + std::to_string(iT1)});
    int iExit = -1;
    int iKill = -1;
    m_config.getIntParameter("keswardin.exitTimeoutSec", iExit);
    m_config.getIntParameter("keswardin.killTimeoutSec", iKill);
    if (iKill >= 0 && (iExit < 0 || iKill <= iExit))
        warn(szRule, {"keswardin.killTimeoutSec", std::to_string(iKill),
                      "a gateway that stops is killed then, while its calls may take " +
                          (iExit < 0 ? "any time, since keswardin.exitTimeoutSec is not set"
                                     : "keswardin.exitTimeoutSec = " + std::to_string(iExit))});
}

void Checker::checkThresholds()
{
    constexpr const char* szRule = "threshold";
    constexpr const char* szProcessors = "keswardin.system.cpu.monitor";
    for (const char* const szPrefix : {szProcessors, OwnParameters::s_szCallMonitor})
        attempt(szRule, [this, szPrefix] { LoadMonitor::check(szPrefix, m_config); });
    const std::string strLoad = std::string(szProcessors) + ".setAlarmThreshold";
    if (floatOf(strLoad) > s_fWholeMachine)
        warn(szRule, {strLoad, text(floatOf(strLoad)),
                      "the load of the processors never exceeds 100 percent"});
}

void Checker::checkCapacity()
{
    const auto [fCalls, strName] = mostCalls();
    if (m_rtpPorts && static_cast<float>(m_rtpPorts->pairs()) < fCalls)
        warn("too-few-ports",
             {Settings::s_szRtpPorts, requiredString(m_config, Settings::s_szRtpPorts),
              "it has ports for " + std::to_string(m_rtpPorts->pairs()) + " calls, but " + strName +
                  " = " + text(fCalls) + " ; write a range of " + text(std::ceil(2.0 * fCalls)) +
                  " ports, or a lower number of calls"});
    rlimit limit{};
    const double dNeeded = std::ceil(fCalls * s_dDescriptorsOfACall + s_dOtherDescriptors);
    if (fCalls > 0 && getrlimit(RLIMIT_NOFILE, &limit) == 0 &&
        limit.rlim_cur < static_cast<rlim_t>(dNeeded))
        warn("descriptors",
             {strName, text(fCalls),
              "calls up to this number need " + text(dNeeded) +
                  " descriptors, and the process may have " + std::to_string(limit.rlim_cur) +
                  " ; raise the limit (LimitNOFILE of systemd, "
                  "ulimit -n), or write a lower number of calls"});
}

std::vector<BrokenRule> Checker::checkAll() &&
{
    checkTypes();
    checkSipAddresses();
    checkRtpAddress();
    checkFamilies();
    checkPorts();
    checkEncodings();
    checkTimes();
    checkThresholds();
    checkCapacity();
    return std::move(m_broken);
}

} // namespace

std::vector<BrokenRule> SettingRules::check(const ROConfiguration& in_config)
{
    return Checker(in_config).checkAll();
}

} // namespace GatewayExample
