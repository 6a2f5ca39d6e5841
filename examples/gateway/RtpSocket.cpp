// SPDX-License-Identifier: BSD-2-Clause

#include "RtpSocket.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <sys/socket.h>

namespace GatewayExample
{

namespace
{

std::runtime_error failure(const std::string& in_strAddress, const std::string& in_strReason)
{
    return std::runtime_error("no RTP at " + in_strAddress + " : " + in_strReason);
}

SocketAddress socketAddress(const std::string& in_strAddress, std::uint16_t in_uiPort)
{
    const auto address = SocketAddress::parse(in_strAddress, in_uiPort);
    if (!address)
        throw failure(in_strAddress, "not an IP address");
    return *address;
}

/// Opens a socket of the family to which the address belongs.
Descriptor openSocket(const std::string& in_strAddress)
{
    const int iFamily = socketAddress(in_strAddress, 0).data()->sa_family;
    const int iSocket = socket(iFamily, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (iSocket < 0)
        throw failure(in_strAddress, std::strerror(errno));
    return Descriptor(iSocket);
}

} // namespace

RtpSocket::RtpSocket(const std::string& in_strAddress, RtpPorts& inout_ports)
    : m_strAddress(in_strAddress), m_socket(openSocket(in_strAddress))
{
    for (std::size_t uiLeft = inout_ports.countFree(); uiLeft > 0; --uiLeft)
        if (bindTo(inout_ports))
            return;
    throw failure(m_strAddress, "no port of the range is free");
}

/// Binds the next free port. Returns false if another program uses it; the port then goes to the
/// end of the queue.
bool RtpSocket::bindTo(RtpPorts& inout_ports)
{
    m_port.emplace(inout_ports);
    const SocketAddress address = socketAddress(m_strAddress, port());
    if (::bind(descriptor(), address.data(), address.size()) == 0)
        return true;
    const int iReason = errno;
    m_port.reset();
    if (iReason == EADDRINUSE)
        return false;
    throw failure(m_strAddress, std::strerror(iReason));
}

ssize_t RtpSocket::receive(std::span<std::byte> out_packet)
{
    sockaddr_storage sender{};
    socklen_t uiSize = sizeof(sender);
    auto* const pSender = reinterpret_cast<sockaddr*>(&sender);
    const ssize_t iLength =
        recvfrom(descriptor(), out_packet.data(), out_packet.size(), 0, pSender, &uiSize);
    if (iLength >= 0)
        m_sender = SocketAddress(pSender, uiSize);
    return iLength;
}

bool RtpSocket::sendBack(std::span<const std::byte> in_packet) const
{
    return sendto(descriptor(), in_packet.data(), in_packet.size(), 0, m_sender.data(),
                  m_sender.size()) >= 0;
}

} // namespace GatewayExample
