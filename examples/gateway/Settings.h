#pragma once

#include "velmora/config/Configuration.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/// A setting that the gateway cannot work with; its text says the name, the value and why.
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

/// The parameters that calls read when they need them.
namespace CallParameters
{

inline constexpr const char* s_szRingTimeout = "keswardin.gw.ringTimeoutMs";
inline constexpr const char* s_szDisconnectingTimeout =
    "keswardin.sip.state.Disconnecting.timeoutMs";
inline constexpr const char* s_szRxStartTimeout = "keswardin.media.rxStartTimeoutMs";
inline constexpr const char* s_szRecording = "keswardin.gw.recordCalls.enabled";

/// A time of so many milliseconds.
///
/// Failure: throws `BadSetting` if it is missing or not above 0, as `Settings` did before.
std::chrono::milliseconds duration(const Velmora::ROConfiguration& in_config,
                                   const char* in_szName);

} // namespace CallParameters

/// What the gateway needs of the configuration, read and checked once at its start.
struct Settings
{
    /// Checks the parameters of calls too.
    ///
    /// Failure: throws `BadSetting` for the first one that is missing or makes no sense.
    explicit Settings(const Velmora::ROConfiguration& in_config);

    /// Where SIP is received, at least one, such as "sip:127.0.0.1:5060;transport=udp".
    std::vector<std::string> sipURLs;
    std::string strUserAgentName;
    std::chrono::milliseconds timerT1;
    std::chrono::milliseconds timerT2;
    /// For how long a transaction is repeated, or kept for repetitions of the far end.
    std::chrono::milliseconds transactionLifetime;
    /// What a caller is given to wait who is refused for overload.
    std::chrono::seconds retryAfter;

    /// Where RTP is received, an IP address.
    std::string strRtpAddress;
    PortRange rtpPorts;
    /// The names of the RTP encodings, the preferred one first.
    std::vector<std::string> encodings;
};
