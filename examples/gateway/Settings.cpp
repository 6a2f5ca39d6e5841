// SPDX-License-Identifier: BSD-2-Clause

#include "Settings.h"

#include "BadSetting.h"
#include "CallParameters.h"
#include "OwnParameters.h"
#include "RequiredParameters.h"

#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <charconv>
#include <string_view>

using Velmora::ROConfiguration;

namespace GatewayExample
{

namespace
{

template <class Duration = std::chrono::milliseconds>
Duration duration(const ROConfiguration& in_config, const char* in_szName)
{
    return Duration(requiredPositiveInt(in_config, in_szName));
}

/// Splits a value at its commas and removes the blanks around the parts.
std::vector<std::string> list(const std::string& in_strName, const std::string& in_strValue)
{
    std::vector<std::string> parts;
    boost::split(parts, in_strValue, [](char in_c) { return in_c == ','; });
    for (std::string& strPart : parts)
    {
        boost::trim(strPart);
        if (strPart.empty())
            throw BadSetting(in_strName, in_strValue, "a part of the list is empty");
    }
    return parts;
}

std::vector<std::string> sipURLsOf(const ROConfiguration& in_config)
{
    constexpr const char* s_szName = "keswardin.sip.userAgent.IPAddress";
    constexpr std::string_view s_strTransport = "udp:";
    const std::string strValue = requiredString(in_config, s_szName);
    std::vector<std::string> urls;
    for (const std::string& strAddress : list(s_szName, strValue))
    {
        if (!strAddress.starts_with(s_strTransport))
            throw BadSetting(s_szName, strValue, "an address is like udp:10.0.0.1:5060");
        urls.push_back("sip:" + strAddress.substr(s_strTransport.size()) + ";transport=udp");
    }
    return urls;
}

PortRange portsOf(const ROConfiguration& in_config)
{
    constexpr const char* s_szName = "keswardin.media.rtp.udpPortRange";
    const std::string strValue = requiredString(in_config, s_szName);
    const char* const pEnd = strValue.data() + strValue.size();
    PortRange range{};
    auto read = std::from_chars(strValue.data(), pEnd, range.uiFirst);
    const bool bFirst = read.ec == std::errc() && read.ptr != pEnd && *read.ptr == '-';
    if (bFirst)
        read = std::from_chars(read.ptr + 1, pEnd, range.uiLast);
    if (!bFirst || read.ec != std::errc() || read.ptr != pEnd || range.uiFirst == 0 ||
        range.uiLast <= range.uiFirst)
        throw BadSetting(s_szName, strValue, "a range of ports is like 20000-29999");
    return range;
}

} // namespace

Settings::Settings(const ROConfiguration& in_config)
    : sipURLs(sipURLsOf(in_config)),
      strUserAgentName(requiredString(in_config, "keswardin.sip.userAgentName")),
      timerT1(duration(in_config, "keswardin.sip.TimerT1")),
      timerT2(duration(in_config, "keswardin.sip.TimerT2")),
      transactionLifetime(duration(in_config, "keswardin.sip.lifetimeTimer")),
      retryAfter(duration<std::chrono::seconds>(in_config, OwnParameters::s_szRetryAfter)),
      strRtpAddress(requiredString(in_config, "keswardin.media.rtp.IPAddress")),
      rtpPorts(portsOf(in_config)),
      encodings(list("keswardin.rtp.encodingList",
                     requiredString(in_config, "keswardin.rtp.encodingList")))
{
    for (const char* const szName :
         {CallParameters::s_szRingTimeout, CallParameters::s_szDisconnectingTimeout,
          CallParameters::s_szRxStartTimeout})
        CallParameters::duration(in_config, szName);
}

} // namespace GatewayExample
