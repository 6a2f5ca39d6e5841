// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "examples/gateway/Descriptor.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace Velmora::Test
{

/// A UDP socket at an IPv4 address and a port, which sends and receives any bytes.
///
/// Failure: the functions throw `std::system_error`.
class UdpEndpoint
{
  public:
    /// A port of 0 is any free one.
    explicit UdpEndpoint(const std::string& in_strAddress, std::uint16_t in_uiPort = 0);

    [[nodiscard]] std::uint16_t port() const;

    void send(const std::string& in_strBytes, const std::string& in_strAddress,
              std::uint16_t in_uiPort) const;

    /// Waits for the next datagram and returns it, or an empty text if none arrives in time.
    [[nodiscard]] std::string receive(std::chrono::milliseconds in_time) const;

  private:
    GatewayExample::Descriptor m_socket;
};

} // namespace Velmora::Test
