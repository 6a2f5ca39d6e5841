// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/socket.h>

namespace GatewayExample
{

/// An IP address with a port. An IPv4 address that a socket of IPv6 reports as "::ffff:10.0.0.1" is
/// equal to the IPv4 address.
class SocketAddress
{
  public:
    /// No address: unequal to all others.
    SocketAddress() = default;
    SocketAddress(const sockaddr* in_pAddress, socklen_t in_uiLength);

    /// Reads an address such as "10.0.0.1" or "::1". Returns nothing for any other text, such as a
    /// name.
    [[nodiscard]] static std::optional<SocketAddress> parse(const std::string& in_strHost,
                                                            std::uint16_t in_uiPort);

    /// Returns whether both have the same IP address, whatever the ports.
    [[nodiscard]] bool hasHostOf(const SocketAddress& in_other) const;

    /// Returns a number that is the same for one IPv4 address, or for one net of IPv6 with 64 bits.
    [[nodiscard]] std::uint64_t net() const;
    [[nodiscard]] std::uint16_t port() const;
    void setPort(std::uint16_t in_uiPort);

    /// Returns a text such as "10.0.0.1" or "[::1]".
    [[nodiscard]] std::string hostText() const;
    /// Returns a text such as "10.0.0.1:6000" or "[::1]:6000".
    [[nodiscard]] std::string text() const;

    [[nodiscard]] const sockaddr* data() const
    {
        return reinterpret_cast<const sockaddr*>(&m_address);
    }
    [[nodiscard]] socklen_t size() const { return m_uiSize; }

    friend bool operator==(const SocketAddress& in_one, const SocketAddress& in_other)
    {
        return in_one.port() == in_other.port() && in_one.hasHostOf(in_other);
    }

  private:
    sockaddr_storage m_address{};
    socklen_t m_uiSize = 0;
};

} // namespace GatewayExample
