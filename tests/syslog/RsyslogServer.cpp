// SPDX-License-Identifier: BSD-2-Clause

#include "tests/syslog/RsyslogServer.h"

#include "tests/support/Lines.h"
#include "tests/support/UdpServer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace Velmora::Test
{

namespace
{

/// A message at "kern.emerg", which no test sends.
constexpr const char* s_szProbe = "<0>probe ";

void require(bool in_bDone, const char* in_szWhat)
{
    if (!in_bDone)
        throw std::system_error(errno, std::generic_category(), in_szWhat);
}

class UdpSocket
{
  public:
    explicit UdpSocket(const std::string& in_strAddress)
        : m_iSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        require(m_iSocket >= 0, "socket");
        m_address.sin_family = AF_INET;
        require(inet_aton(in_strAddress.c_str(), &m_address.sin_addr) != 0, "inet_aton");
    }
    ~UdpSocket() { close(m_iSocket); }
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    /// Binds the socket to a port that no other socket has on this address, and returns the port.
    int bindToFreePort()
    {
        socklen_t uiLength = sizeof m_address;
        auto* const pAddress = reinterpret_cast<sockaddr*>(&m_address);
        require(bind(m_iSocket, pAddress, uiLength) == 0, "bind");
        require(getsockname(m_iSocket, pAddress, &uiLength) == 0, "getsockname");
        return ntohs(m_address.sin_port);
    }

    /// Sends a datagram. Ignores errors: the caller repeats a probe that did not arrive.
    void send(const std::string& in_strText, int in_iPort)
    {
        m_address.sin_port = htons(static_cast<std::uint16_t>(in_iPort));
        sendto(m_iSocket, in_strText.data(), in_strText.size(), 0,
               reinterpret_cast<const sockaddr*>(&m_address), sizeof m_address);
    }

  private:
    int m_iSocket;
    sockaddr_in m_address{};
};

} // namespace

RsyslogServer::RsyslogServer()
    : m_strAddress(addressOfThisProcess()), m_iPort(UdpSocket(m_strAddress).bindToFreePort())
{
    configure();
    stayOnThisProcessor();
}

void RsyslogServer::configure() const
{
    m_directory.write(
        "rsyslog.conf",
        "global(workDirectory=\"" + m_directory.path().string() + "\")\n" +
            "module(load=\"imudp\")\n" + "template(name=\"AsItCame\" type=\"string\"\n" +
            "  string=\"%syslogfacility-text%.%syslogseverity-text% %rawmsg%\\n\")\n" +
            "input(type=\"imudp\" address=\"" + m_strAddress + "\" port=\"" +
            std::to_string(m_iPort) + "\")\n" +
            "action(type=\"omfile\" template=\"AsItCame\" file=\"" + m_directory.file("messages") +
            "\")\n");
}

void RsyslogServer::start()
{
    const std::string strConfiguration = m_directory.file("rsyslog.conf");
    const std::string strProcess = m_directory.file("rsyslogd.pid");
    m_process.emplace(
        std::vector<std::string>{VELMORA_RSYSLOGD, "-n", "-f", strConfiguration, "-i", strProcess},
        m_directory.file("errors"));
    const std::string strProbe = s_szProbe + std::to_string(++m_iStarts);
    // A datagram is lost until the daemon listens, so probes are sent until one is in the file.
    const bool bReached = waitUntil(
        [this, &strProbe]
        {
            sendProbe(strProbe);
            return hasLine(strProbe) || !m_process->isRunning();
        });
    EXPECT_TRUE(bReached && m_process->isRunning()) << m_directory.read("errors");
}

void RsyslogServer::stop()
{
    m_process->signal(SIGTERM);
    m_process->waitForEnd();
}

void RsyslogServer::sendProbe(const std::string& in_strText) const
{
    UdpSocket(m_strAddress).send(in_strText, m_iPort);
}

std::vector<std::string> RsyslogServer::lines() const
{
    return linesOf(m_directory.read("messages"));
}

bool RsyslogServer::hasLine(const std::string& in_strEnd) const
{
    const std::vector<std::string> all = lines();
    return std::any_of(all.begin(), all.end(),
                       [&in_strEnd](const std::string& in_strLine)
                       { return in_strLine.ends_with(in_strEnd); });
}

std::vector<std::string> RsyslogServer::linesUntil(const std::string& in_strLast) const
{
    EXPECT_TRUE(waitUntil([this, &in_strLast] { return hasLine(in_strLast); }))
        << m_directory.read("messages") << m_directory.read("errors");
    std::vector<std::string> result = lines();
    std::erase_if(result, [](const std::string& in_strLine)
                  { return in_strLine.find(s_szProbe) != std::string::npos; });
    // The daemon's messages about itself, such as that it has started.
    std::erase_if(result,
                  [](const std::string& in_strLine) { return in_strLine.starts_with("syslog."); });
    return result;
}

} // namespace Velmora::Test
