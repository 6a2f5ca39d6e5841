// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/Configuration.h"

#include <chrono>

namespace GatewayExample
{

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

} // namespace GatewayExample
