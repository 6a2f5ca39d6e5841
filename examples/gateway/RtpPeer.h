// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "SocketAddress.h"

#include <chrono>
#include <optional>
#include <string>

namespace GatewayExample
{

/// Knows whose RTP belongs to a call: that from the address of the caller's session description
/// (symmetric RTP, RFC 4961). A caller behind a NAT describes an address that is not the one which
/// its INVITE came from; its first packet from there, within two seconds of the answer, shows the
/// port. Nobody else is heard.
class RtpPeer
{
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// `in_described` is empty if the caller has described no IP address.
    RtpPeer(const std::optional<SocketAddress>& in_described, const SocketAddress& in_signalling)
        : m_described(in_described), m_signalling(in_signalling)
    {
    }

    /// Replaces the address that the caller describes, as a caller does that answers an offer.
    void describe(const SocketAddress& in_described) { m_described = in_described; }

    /// The call is answered at this time.
    void answer(Time in_now) { m_answered = in_now; }

    /// Returns whether a packet that arrives now belongs to the call. After the first one that
    /// does, only others from the same source do.
    [[nodiscard]] bool isSource(const SocketAddress& in_source, Time in_now);

    /// Returns where packets are expected from, for a line of the log.
    [[nodiscard]] std::string expected() const;

  private:
    [[nodiscard]] bool isDescribedBySignalling() const;
    [[nodiscard]] bool mayLearn(Time in_now) const;

    std::optional<SocketAddress> m_described;
    SocketAddress m_signalling;
    std::optional<Time> m_answered;
    std::optional<SocketAddress> m_source;
};

} // namespace GatewayExample
