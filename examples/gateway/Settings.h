// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Admission.h"
#include "LoopLoad.h"
#include "PortRange.h"
#include "SipAddress.h"

#include "velmora/config/Configuration.h"

#include <chrono>
#include <cstddef>
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

    // Parameters of which a rule of `SettingRules` looks at the parts.
    static constexpr const char* s_szSipAddress = "keswardin.sip.userAgent.IPAddress";
    static constexpr const char* s_szTimerT1 = "keswardin.sip.TimerT1";
    static constexpr const char* s_szTimerT2 = "keswardin.sip.TimerT2";
    static constexpr const char* s_szTransactionLifetime = "keswardin.sip.lifetimeTimer";
    static constexpr const char* s_szRtpAddress = "keswardin.media.rtp.IPAddress";
    static constexpr const char* s_szRtpPorts = "keswardin.media.rtp.udpPortRange";
    static constexpr const char* s_szEncodings = "keswardin.rtp.encodingList";

    // Read one of them.
    //
    // Failure: throw `BadSetting` if it is missing or invalid.
    [[nodiscard]] static std::vector<SipAddress>
    readSipAddresses(const Velmora::ROConfiguration& in_config);
    [[nodiscard]] static PortRange readRtpPorts(const Velmora::ROConfiguration& in_config);
    /// Reads a number of which 0, or none, is no limit.
    [[nodiscard]] static std::size_t readLimit(const Velmora::ROConfiguration& in_config,
                                               const char* in_szName);
    /// Splits a value at its commas and removes the blanks around the parts.
    [[nodiscard]] static std::vector<std::string>
    readList(const Velmora::ROConfiguration& in_config, const char* in_szName);

    /// Where SIP is received, at least one.
    std::vector<SipAddress> sipAddresses;
    std::string strUserAgentName;
    std::chrono::milliseconds timerT1;
    std::chrono::milliseconds timerT2;
    /// How long messages of a transaction are retransmitted, and how long the transaction is kept
    /// for retransmissions of the far end.
    std::chrono::milliseconds transactionLifetime;
    /// The time after which a caller that is refused for overload may try again.
    std::chrono::seconds retryAfter;

    AdmissionLimits admission;
    LoopLoadLimits loopLoad;
    /// How long a call may wait for its file; 0 is no limit.
    std::chrono::milliseconds fileLate;
    /// The number of threads that open and close the files of calls.
    std::size_t uiFileThreads = 0;
    unsigned int uiReceiveBufferKB = 0;
    /// The length in bytes of a request's headers; 0 is no limit.
    std::size_t uiLongestHeader = 0;

    /// The IP address at which RTP is received.
    std::string strRtpAddress;
    PortRange rtpPorts;
    /// The names of the RTP encodings, the preferred one first.
    std::vector<std::string> encodings;

    /// The path of the status socket; empty for none.
    std::string strStatusSocket;
    /// The path of the file of metrics; empty for none.
    std::string strMetricsFile;
    std::chrono::seconds metricsPeriod;
};

} // namespace GatewayExample
