// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "SocketAddress.h"

#include <sofia-sip/nta.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace GatewayExample
{

/// The methods that the gateway supports.
inline constexpr const char* s_szAllowedMethods = "INVITE, ACK, BYE, CANCEL, OPTIONS";

/// The only type of bodies that the gateway reads.
inline constexpr const char* s_szAcceptedType = "application/sdp";

/// Answers an OPTIONS request with the gateway's capabilities. Returns the status.
int replyToOptions(nta_incoming_t* in_pRequest, const std::string& in_strServer);

/// Refuses a request for overload, with the time after which it may be repeated. Returns the
/// status.
int replyOverloaded(nta_incoming_t* in_pRequest, const std::string& in_strServer,
                    std::chrono::seconds in_retryAfter);

/// Refuses a request whose method the gateway does not support. Returns the status.
int replyNotAllowed(nta_incoming_t* in_pRequest, const std::string& in_strServer);

/// Refuses a request that has a header which is too long. Returns the status.
int replyTooLong(nta_incoming_t* in_pRequest, const std::string& in_strServer);

/// Returns the length of the longest header that is kept with a call or a transaction.
[[nodiscard]] std::size_t longestKeptHeader(const sip_t& in_sip);

/// Returns where a request came from.
[[nodiscard]] SocketAddress sourceOf(nta_incoming_t* in_pRequest);

/// Returns the body of a message; empty if it has none.
std::string payloadOf(const sip_t& in_sip);

} // namespace GatewayExample
