// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/UdpServer.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Velmora::Test
{

namespace
{

constexpr int s_iMostMilliseconds = 60'000;

void require(bool in_bDone, const char* in_szWhat)
{
    if (!in_bDone)
        throw std::system_error(errno, std::generic_category(), in_szWhat);
}

} // namespace

std::string addressOfThisProcess()
{
    const auto uiProcess = static_cast<unsigned>(getpid());
    return "127." + std::to_string(uiProcess / 62500 % 250 + 1) + '.' +
           std::to_string(uiProcess / 250 % 250 + 1) + '.' + std::to_string(uiProcess % 250 + 1);
}

void stayOnThisProcessor()
{
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &processors);
    require(sched_setaffinity(0, sizeof processors, &processors) == 0, "sched_setaffinity");
}

UdpServer::UdpServer() : m_iSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t uiLength = sizeof address;
    auto* const pAddress = reinterpret_cast<sockaddr*>(&address);
    require(m_iSocket >= 0, "socket");
    require(bind(m_iSocket, pAddress, uiLength) == 0, "bind");
    require(getsockname(m_iSocket, pAddress, &uiLength) == 0, "getsockname");
    m_iPort = ntohs(address.sin_port);
    stayOnThisProcessor();
}

UdpServer::~UdpServer() { close(m_iSocket); }

std::string UdpServer::receive()
{
    pollfd polled{m_iSocket, POLLIN, 0};
    if (poll(&polled, 1, s_iMostMilliseconds) != 1)
    {
        ADD_FAILURE() << "no datagram came";
        return {};
    }
    std::string strText(65536, '\0');
    const ssize_t iLength = recv(m_iSocket, strText.data(), strText.size(), 0);
    require(iLength >= 0, "recv");
    strText.resize(static_cast<std::size_t>(iLength));
    return strText;
}

std::vector<std::string> UdpServer::receive(std::size_t in_uiCount)
{
    std::vector<std::string> result;
    while (result.size() < in_uiCount && !testing::Test::HasFailure())
        result.push_back(receive());
    return result;
}

std::vector<std::string> UdpServer::receiveUntil(const std::string& in_strLast)
{
    std::vector<std::string> result;
    while (!testing::Test::HasFailure())
    {
        std::string strText = receive();
        if (strText == in_strLast)
            return result;
        result.push_back(std::move(strText));
    }
    return result;
}

} // namespace Velmora::Test
