// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/UdpEndpoint.h"

#include "tests/examples/Ipv4.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

namespace Velmora::Test
{

UdpEndpoint::UdpEndpoint(const std::string& in_strAddress, std::uint16_t in_uiPort)
    : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    require(m_socket.isOpen(), "socket");
    const sockaddr_in address = socketAddress(in_strAddress, in_uiPort);
    require(bind(m_socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                0,
            "bind");
}

std::uint16_t UdpEndpoint::port() const
{
    sockaddr_in address{};
    socklen_t uiLength = sizeof address;
    require(getsockname(m_socket.number(), reinterpret_cast<sockaddr*>(&address), &uiLength) == 0,
            "getsockname");
    return ntohs(address.sin_port);
}

void UdpEndpoint::send(const std::string& in_strBytes, const std::string& in_strAddress,
                       std::uint16_t in_uiPort) const
{
    const sockaddr_in address = socketAddress(in_strAddress, in_uiPort);
    // A former datagram to a port that is closed is reported at the next call.
    while (sendto(m_socket.number(), in_strBytes.data(), in_strBytes.size(), 0,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0)
        require(errno == ECONNREFUSED, "sendto");
}

std::string UdpEndpoint::receive(std::chrono::milliseconds in_time) const
{
    pollfd polled{m_socket.number(), POLLIN, 0};
    if (poll(&polled, 1, static_cast<int>(in_time.count())) != 1)
        return {};
    int iNext = 0;
    require(ioctl(m_socket.number(), FIONREAD, &iNext) == 0, "ioctl");
    std::string strBytes(static_cast<std::size_t>(iNext), '\0');
    const ssize_t iLength = recv(m_socket.number(), strBytes.data(), strBytes.size(), 0);
    require(iLength >= 0, "recv");
    strBytes.resize(static_cast<std::size_t>(iLength));
    return strBytes;
}

} // namespace Velmora::Test
