// SPDX-License-Identifier: BSD-2-Clause

#include "SocketAddress.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace GatewayExample
{

namespace
{

const sockaddr_in& asIPv4(const sockaddr_storage& in_address)
{
    return reinterpret_cast<const sockaddr_in&>(in_address);
}

const sockaddr_in6& asIPv6(const sockaddr_storage& in_address)
{
    return reinterpret_cast<const sockaddr_in6&>(in_address);
}

/// Returns the IP address as one of IPv6.
in6_addr hostOf(const sockaddr_storage& in_address)
{
    if (in_address.ss_family == AF_INET6)
        return asIPv6(in_address).sin6_addr;
    in6_addr host{};
    std::fill_n(&host.s6_addr[10], 2, std::uint8_t{0xFF});
    std::memcpy(&host.s6_addr[12], &asIPv4(in_address).sin_addr, 4);
    return host;
}

} // namespace

SocketAddress::SocketAddress(const sockaddr* in_pAddress, socklen_t in_uiLength)
    : m_uiSize(std::min<socklen_t>(in_uiLength, sizeof(m_address)))
{
    std::memcpy(&m_address, in_pAddress, m_uiSize);
}

std::optional<SocketAddress> SocketAddress::parse(const std::string& in_strHost,
                                                  std::uint16_t in_uiPort)
{
    sockaddr_in v4{.sin_family = AF_INET, .sin_port = htons(in_uiPort), .sin_addr{}, .sin_zero{}};
    if (inet_pton(AF_INET, in_strHost.c_str(), &v4.sin_addr) == 1)
        return SocketAddress(reinterpret_cast<const sockaddr*>(&v4), sizeof(v4));
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(in_uiPort);
    if (inet_pton(AF_INET6, in_strHost.c_str(), &v6.sin6_addr) == 1)
        return SocketAddress(reinterpret_cast<const sockaddr*>(&v6), sizeof(v6));
    return std::nullopt;
}

bool SocketAddress::hasHostOf(const SocketAddress& in_other) const
{
    if (m_uiSize == 0 || in_other.m_uiSize == 0)
        return false;
    const in6_addr one = hostOf(m_address);
    const in6_addr other = hostOf(in_other.m_address);
    return std::memcmp(&one, &other, sizeof(one)) == 0;
}

std::uint16_t SocketAddress::port() const
{
    return ntohs(m_address.ss_family == AF_INET6 ? asIPv6(m_address).sin6_port
                                                 : asIPv4(m_address).sin_port);
}

void SocketAddress::setPort(std::uint16_t in_uiPort)
{
    // Both families have the port at the same place.
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    reinterpret_cast<sockaddr_in&>(m_address).sin_port = htons(in_uiPort);
}

std::uint64_t SocketAddress::net() const
{
    const in6_addr host = hostOf(m_address);
    std::uint64_t uiNet = 0;
    std::memcpy(&uiNet, &host.s6_addr[IN6_IS_ADDR_V4MAPPED(&host) ? 8 : 0], sizeof(uiNet));
    return uiNet;
}

std::string SocketAddress::hostText() const
{
    if (m_uiSize == 0)
        return "no address";
    std::array<char, INET6_ADDRSTRLEN> host{};
    const in6_addr address = hostOf(m_address);
    const bool bIPv4 = IN6_IS_ADDR_V4MAPPED(&address);
    if (bIPv4)
        inet_ntop(AF_INET, &address.s6_addr[12], host.data(), host.size());
    else
        inet_ntop(AF_INET6, &address, host.data(), host.size());
    return bIPv4 ? host.data() : '[' + std::string(host.data()) + ']';
}

std::string SocketAddress::text() const { return hostText() + ':' + std::to_string(port()); }

} // namespace GatewayExample
