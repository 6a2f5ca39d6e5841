// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "PortRange.h"

#include "velmora/config/Configuration.h"

#include <chrono>
#include <string>
#include <vector>

namespace GatewayExample
{

/// The part of the configuration that the gateway reads and checks once, at its start.
struct Settings
{
    /// Reads the settings, and checks the parameters of calls, too.
    ///
    /// Failure: throws `BadSetting` for the first one that is missing or invalid.
    explicit Settings(const Velmora::ROConfiguration& in_config);

    /// The URLs at which SIP is received, at least one, such as "sip:127.0.0.1:5060;transport=udp".
    std::vector<std::string> sipURLs;
    std::string strUserAgentName;
    std::chrono::milliseconds timerT1;
    std::chrono::milliseconds timerT2;
    /// How long messages of a transaction are retransmitted, and how long the transaction is kept
    /// for retransmissions of the far end.
    std::chrono::milliseconds transactionLifetime;
    /// The time after which a caller that is refused for overload may try again.
    std::chrono::seconds retryAfter;

    /// The IP address at which RTP is received.
    std::string strRtpAddress;
    PortRange rtpPorts;
    /// The names of the RTP encodings, the preferred one first.
    std::vector<std::string> encodings;
};

} // namespace GatewayExample
