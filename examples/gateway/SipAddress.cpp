// SPDX-License-Identifier: BSD-2-Clause

#include "SipAddress.h"

#include "Port.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace GatewayExample
{

namespace
{

constexpr std::string_view s_strTransport = "udp:";

} // namespace

SipAddress::SipAddress(const std::string& in_strText)
{
    if (!in_strText.starts_with(s_strTransport))
        throw std::invalid_argument("an address is like udp:10.0.0.1:5060");
    const std::string strRest = in_strText.substr(s_strTransport.size());
    const std::size_t uiHostEnd =
        strRest.starts_with('[') ? strRest.find(']') + 1 : strRest.find(':');
    strHost = strRest.substr(0, uiHostEnd);
    if (strRest.starts_with('['))
    {
        if (uiHostEnd == 0)
            throw std::invalid_argument("the bracket of the address is not closed");
        address = IPAddress::parse(strHost.substr(1, strHost.size() - 2));
        if (!address || !address->isIPv6())
            throw std::invalid_argument(strHost + " is not an IPv6 address");
    }
    else if (std::ranges::count(strRest, ':') > 1)
        throw std::invalid_argument("an IPv6 address has brackets, as in udp:[::1]:5060");
    else
        address = IPAddress::parse(strHost);
    if (strHost.empty())
        throw std::invalid_argument("an address is like udp:10.0.0.1:5060");
    if (uiHostEnd < strRest.size())
    {
        if (strRest[uiHostEnd] != ':')
            throw std::invalid_argument("an address is like udp:[::1]:5060");
        port = readPort(std::string_view(strRest).substr(uiHostEnd + 1));
    }
}

std::string SipAddress::url() const
{
    return "sip:" + strHost + (port ? ':' + std::to_string(*port) : "") + ";transport=udp";
}

} // namespace GatewayExample
