// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "IPAddress.h"

#include <cstdint>
#include <optional>
#include <string>

namespace GatewayExample
{

/// An address at which SIP is received over UDP, as the configuration has it: "udp:10.0.0.1:5060",
/// "udp:[::1]:5060", or without the port, which is 5060 then.
struct SipAddress
{
    /// Failure: throws `std::invalid_argument` with the reason.
    explicit SipAddress(const std::string& in_strText);

    /// Returns the URL for the SIP stack, such as "sip:10.0.0.1:5060;transport=udp".
    [[nodiscard]] std::string url() const;

    /// What is between "udp:" and the port, with the brackets of an IPv6 address.
    std::string strHost;
    /// Missing if the host is a name.
    std::optional<IPAddress> address;
    /// Missing if the text has no port.
    std::optional<std::uint16_t> port;

    static constexpr std::uint16_t s_uiDefaultPort = 5060;
};

} // namespace GatewayExample
