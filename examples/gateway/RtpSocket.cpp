#include "RtpSocket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <netdb.h>
#include <unistd.h>

namespace
{

struct AddressesFree
{
    void operator()(addrinfo* in_pAddresses) const { freeaddrinfo(in_pAddresses); }
};

std::runtime_error failed(const std::string& in_strAddress, const std::string& in_strReason)
{
    return std::runtime_error("no RTP at " + in_strAddress + " : " + in_strReason);
}

} // namespace

RtpSocket::RtpSocket(const std::string& in_strAddress, const PortRange& in_range,
                     std::uint16_t& inout_uiNext)
{
    const unsigned int uiFirst = (in_range.uiFirst + 1U) & ~1U;
    const unsigned int uiPorts = (in_range.uiLast - uiFirst + 1U) / 2;
    for (unsigned int ui = 0; ui < uiPorts; ++ui)
    {
        const auto uiPort = inout_uiNext;
        const unsigned int uiNext = uiPort + 2U;
        inout_uiNext = static_cast<std::uint16_t>(uiNext + 1U > in_range.uiLast ? uiFirst : uiNext);
        if (bind(in_strAddress, uiPort))
            return;
    }
    throw failed(in_strAddress, "no port of the range is free");
}

RtpSocket::~RtpSocket() { close(m_iDescriptor); }

bool RtpSocket::bind(const std::string& in_strAddress, std::uint16_t in_uiPort)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* pFound = nullptr;
    const int iError =
        getaddrinfo(in_strAddress.c_str(), std::to_string(in_uiPort).c_str(), &hints, &pFound);
    const std::unique_ptr<addrinfo, AddressesFree> pAddresses(pFound);
    if (iError != 0)
        throw failed(in_strAddress, gai_strerror(iError));
    const int iDescriptor =
        socket(pAddresses->ai_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (iDescriptor < 0)
        throw failed(in_strAddress, std::strerror(errno));
    if (::bind(iDescriptor, pAddresses->ai_addr, pAddresses->ai_addrlen) == 0)
    {
        m_iDescriptor = iDescriptor;
        m_uiPort = in_uiPort;
        return true;
    }
    const int iReason = errno;
    close(iDescriptor);
    if (iReason != EADDRINUSE)
        throw failed(in_strAddress, std::strerror(iReason));
    return false;
}

std::size_t RtpSocket::receive(std::span<std::byte> out_packet)
{
    m_uiSenderLength = sizeof(m_sender);
    const ssize_t iLength = recvfrom(m_iDescriptor, out_packet.data(), out_packet.size(), 0,
                                     reinterpret_cast<sockaddr*>(&m_sender), &m_uiSenderLength);
    return iLength > 0 ? static_cast<std::size_t>(iLength) : 0;
}

void RtpSocket::sendBack(std::span<const std::byte> in_packet) const
{
    // A packet that is lost here is like one that is lost on the way.
    sendto(m_iDescriptor, in_packet.data(), in_packet.size(), 0,
           reinterpret_cast<const sockaddr*>(&m_sender), m_uiSenderLength);
}

std::string RtpSocket::sender() const
{
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    getnameinfo(reinterpret_cast<const sockaddr*>(&m_sender), m_uiSenderLength, host.data(),
                host.size(), port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV);
    return std::string(host.data()) + ':' + port.data();
}
