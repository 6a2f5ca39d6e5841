// SPDX-License-Identifier: BSD-2-Clause

#include "RtpSocket.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <netdb.h>

namespace GatewayExample
{

namespace
{

struct AddressesFree
{
    void operator()(addrinfo* in_pAddresses) const { freeaddrinfo(in_pAddresses); }
};

using Addresses = std::unique_ptr<addrinfo, AddressesFree>;

std::runtime_error failure(const std::string& in_strAddress, const std::string& in_strReason)
{
    return std::runtime_error("no RTP at " + in_strAddress + " : " + in_strReason);
}

Addresses socketAddress(const std::string& in_strAddress, std::uint16_t in_uiPort)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* pFound = nullptr;
    const int iError =
        getaddrinfo(in_strAddress.c_str(), std::to_string(in_uiPort).c_str(), &hints, &pFound);
    if (iError != 0)
        throw failure(in_strAddress, gai_strerror(iError));
    return Addresses(pFound);
}

/// Opens a socket of the family to which the address belongs.
Descriptor openSocket(const std::string& in_strAddress)
{
    const int iFamily = socketAddress(in_strAddress, 0)->ai_family;
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
    const Addresses pAddress = socketAddress(m_strAddress, port());
    if (::bind(descriptor(), pAddress->ai_addr, pAddress->ai_addrlen) == 0)
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
