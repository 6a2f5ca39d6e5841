#pragma once

/// The parameters of the gateway's own, which the library does not know.
namespace OwnParameters
{

/// Prefix of the monitor of the calls at once.
inline constexpr const char* s_szCallMonitor = "gateway.calls.monitor";

/// After how many seconds a caller may try again who was refused for overload.
inline constexpr const char* s_szRetryAfter = "gateway.calls.retryAfterSec";

/// Adds them to the table of known parameters. To be called before the configuration is read.
///
/// Failure: false; the log says why.
bool registerAll();

} // namespace OwnParameters
