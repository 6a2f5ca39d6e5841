// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "AcquiredPort.h"
#include "Descriptor.h"
#include "RtpPorts.h"
#include "SocketAddress.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace GatewayExample
{

/// A UDP socket that receives RTP, on an even port (RFC 3550).
class RtpSocket
{
  public:
    /// Takes a port that no other program uses. The destructor returns it.
    ///
    /// Failure: throws `std::runtime_error` with the reason: no port is free, no descriptor is
    /// left, or the address is not one of this machine.
    RtpSocket(const std::string& in_strAddress, RtpPorts& inout_ports);
    RtpSocket(const RtpSocket&) = delete;
    RtpSocket& operator=(const RtpSocket&) = delete;

    [[nodiscard]] int descriptor() const { return m_socket.number(); }
    [[nodiscard]] std::uint16_t port() const { return m_port->port(); }

    /// Receives a packet and returns its length. Returns -1, with `errno` set, if there is none.
    [[nodiscard]] ssize_t receive(std::span<std::byte> out_packet);

    /// Sends a packet to the sender of the last one. Returns false, with `errno` set, if it was not
    /// sent.
    [[nodiscard]] bool sendBack(std::span<const std::byte> in_packet) const;

    /// The sender of the last packet.
    [[nodiscard]] const SocketAddress& sender() const { return m_sender; }

  private:
    bool bindTo(RtpPorts& inout_ports);

    std::string m_strAddress;
    std::optional<AcquiredPort> m_port;
    Descriptor m_socket;
    SocketAddress m_sender;
};

} // namespace GatewayExample
