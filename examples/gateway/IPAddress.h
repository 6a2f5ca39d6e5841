// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace GatewayExample
{

/// An IP address, not a name.
class IPAddress
{
  public:
    /// Reads "10.0.0.1" or "::1". Returns nothing for any other text.
    [[nodiscard]] static std::optional<IPAddress> parse(const std::string& in_strText);

    [[nodiscard]] bool isIPv6() const { return m_bIPv6; }

    /// Returns whether it stands for all addresses of a machine: "0.0.0.0" or "::".
    [[nodiscard]] bool isWildcard() const;

    /// Returns whether a program can receive at it on this machine: it is an address of this
    /// machine, or the kernel allows others (`ip_nonlocal_bind`). Opens no socket. If the kernel
    /// does not list its addresses, the result is true.
    [[nodiscard]] bool isUsableHere() const;

    friend bool operator==(const IPAddress&, const IPAddress&) = default;

  private:
    bool m_bIPv6 = false;
    /// In network order; four bytes of an IPv4 address.
    std::array<std::uint8_t, 16> m_bytes{};
};

} // namespace GatewayExample
