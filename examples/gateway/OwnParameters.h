// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace GatewayExample
{

/// The gateway's own parameters, which are not in the library's table.
namespace OwnParameters
{

/// Prefix of the parameters of the monitor of concurrent calls.
inline constexpr const char* s_szCallMonitor = "gateway.calls.monitor";

/// The seconds after which a caller that was refused for overload may try again.
inline constexpr const char* s_szRetryAfter = "gateway.calls.retryAfterSec";

// Limits; 0 is none.
/// Calls at once.
inline constexpr const char* s_szMostCalls = "gateway.calls.most";
/// New calls a second from one address.
inline constexpr const char* s_szNewFromOneSource = "gateway.calls.newFromOneSourcePerSec";
/// The memory of the process in MB.
inline constexpr const char* s_szMemoryLimit = "gateway.memory.limitMB";
/// The length in bytes of a header of a request.
inline constexpr const char* s_szHeaderLimit = "gateway.sip.longestHeader";

/// What may wait at the socket of SIP in kB, and how late a timer may run in ms.
inline constexpr const char* s_szQueueLimit = "gateway.overload.queueKB";
inline constexpr const char* s_szLateLimit = "gateway.overload.timerLateMs";

/// How many threads open and close the files of calls, and how late they may be in ms.
inline constexpr const char* s_szFileThreads = "gateway.calls.fileThreads";
inline constexpr const char* s_szFileLateLimit = "gateway.overload.fileLateMs";

/// The size in kB of the buffer in which SIP waits.
inline constexpr const char* s_szReceiveBuffer = "gateway.sip.receiveBufferKB";

/// The path of the socket at which a running gateway is asked for its status.
inline constexpr const char* s_szStatusSocket = "gateway.status.socket";

/// The path of the file of metrics.
inline constexpr const char* s_szMetricsFile = "gateway.metrics.file";

/// The seconds after which the file of metrics is replaced.
inline constexpr const char* s_szMetricsPeriod = "gateway.metrics.periodSec";

/// Adds them to the table of known parameters. Must be called before the configuration is read.
///
/// Failure: returns false and logs the reason.
bool registerAll();

} // namespace OwnParameters

} // namespace GatewayExample
