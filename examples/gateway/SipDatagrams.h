// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "SocketAddress.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace GatewayExample
{

/// The datagrams that the SIP stack receives and sends.
///
/// One that the system refuses to send is lost for the stack as one that the network loses, so its
/// transaction repeats it (RFC 3261, 17). Without this, the stack would end the transaction.
///
/// A failure is logged at WARN to "keswardin.gateway.SipDatagrams", once a second at most.
///
/// Thread-safety: all functions belong to the thread of the event loop.
namespace SipDatagrams
{

/// Returns the reason (`errno`) if the last datagram was not sent since it was forgotten, otherwise
/// 0.
[[nodiscard]] int lastError();
void forgetLastError();

/// Runs a function in which the stack may send a datagram. Returns the reason (`errno`) if the last
/// one was not sent, otherwise 0.
template <class Send>
int errorOf(Send in_send)
{
    forgetLastError();
    in_send();
    return lastError();
}

/// Gets each datagram before the stack, with its source. Returns whether it is done, so that the
/// stack does not get it.
using Filter = std::function<bool(std::string_view, const SocketAddress&)>;

/// Sets the filter; an empty one passes all. An exception of the filter is logged, and the stack
/// gets the datagram.
void setFilter(Filter in_filter);

/// Sends a datagram from where the last one was received. A failure is logged.
void reply(const std::string& in_strText, const SocketAddress& in_to);

/// The memory in bytes of what waits at the socket of the last datagram (SO_MEMINFO); 0 if the
/// system does not say.
[[nodiscard]] std::size_t queuedBytes();

/// The number of datagrams that could not be sent since the process was started.
[[nodiscard]] std::uint64_t countFailures();

} // namespace SipDatagrams

} // namespace GatewayExample
