#pragma once

#include "velmora/config/Configuration.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace GatewayExample
{

/// Reports an invalid setting; `what` has the name, the value and the reason.
class BadSetting : public std::runtime_error
{
  public:
    BadSetting(const std::string& in_strName, const std::string& in_strValue,
               const std::string& in_strReason);
};

/// The UDP ports that RTP may use. RTP takes the even ones, RTCP the odd one above each.
struct PortRange
{
    std::uint16_t uiFirst;
    std::uint16_t uiLast;
};

/// The parameters that calls read when they need them, so that changes at run time take effect.
namespace CallParameters
{

inline constexpr const char* s_szRingTimeout = "keswardin.gw.ringTimeoutMs";
inline constexpr const char* s_szDisconnectingTimeout =
    "keswardin.sip.state.Disconnecting.timeoutMs";
inline constexpr const char* s_szRxStartTimeout = "keswardin.media.rxStartTimeoutMs";
inline constexpr const char* s_szRecording = "keswardin.gw.recordCalls.enabled";

/// Returns a time in milliseconds.
///
/// Failure: throws `BadSetting` if the parameter is missing or not above 0. `Settings` checks the
/// same at the start.
std::chrono::milliseconds duration(const Velmora::ROConfiguration& in_config,
                                   const char* in_szName);

} // namespace CallParameters

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
