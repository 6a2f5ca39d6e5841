// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/RemoteSyslogAppender.h"

#include "velmora/logging/LogText.h"
#include "velmora/logging/PropertyKind.h"
#include "velmora/logging/Syslog.h"
#include "velmora/logging/SyslogHosts.h"

#include <log4cplus/helpers/loglog.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/spi/loggingevent.h>
#include <log4cplus/thread/syncprims.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Velmora
{

namespace
{

/// In bytes. Fits into a packet of a common network path.
constexpr std::size_t s_uiLongestDatagram = 900;

/// Reads an integer above 0. An empty text leaves the number as it is. Returns false for any other
/// text.
bool readPositive(const std::string& in_strText, int& out_iNumber)
{
    return in_strText.empty() || PropertyKind::parsePositive(in_strText, out_iNumber);
}

/// The header of a datagram: "<", the priority and ">".
class Header
{
  public:
    explicit Header(int in_iPriority)
    {
        m_text.front() = '<';
        char* const pEnd =
            std::to_chars(m_text.data() + 1, m_text.data() + m_text.size() - 1, in_iPriority).ptr;
        *pEnd = '>';
        m_uiLength = static_cast<std::size_t>(pEnd + 1 - m_text.data());
    }

    [[nodiscard]] std::string_view text() const { return {m_text.data(), m_uiLength}; }

  private:
    /// Large enough for a signed 32-bit number.
    std::array<char, 16> m_text;
    std::size_t m_uiLength;
};

/// Turns the rest of a message, after its first datagram has been sent, into a message. Returns its
/// length.
std::size_t moveRestBehindHeader(char* out_pMessage, std::size_t in_uiHeader,
                                 std::size_t in_uiLength)
{
    const std::size_t uiRest = in_uiLength - s_uiLongestDatagram;
    // Servers expect the last bytes of a split line, as many as the header has, to be replaced by
    // bytes that were sent before. A shorter rest is moved whole: it has fewer bytes than would be
    // left out.
    const std::size_t uiMoved = uiRest >= in_uiHeader ? uiRest - in_uiHeader : uiRest;
    std::memmove(out_pMessage + in_uiHeader, out_pMessage + s_uiLongestDatagram, uiMoved);
    return in_uiHeader + uiRest;
}

} // namespace

const log4cplus::tstring& RemoteSyslogAppender::Factory::getTypeName() const
{
    return m_strTypeName;
}

log4cplus::SharedAppenderPtr
RemoteSyslogAppender::Factory::createObject(const log4cplus::helpers::Properties& in_properties)
{
    return log4cplus::SharedAppenderPtr(new RemoteSyslogAppender(in_properties));
}

void RemoteSyslogAppender::registerFactory()
{
    // log4cplus deletes a factory whose name is already registered.
    log4cplus::spi::getAppenderFactoryRegistry().put(std::make_unique<Factory>());
}

RemoteSyslogAppender::RemoteSyslogAppender(const log4cplus::helpers::Properties& in_properties)
    : log4cplus::Appender(in_properties), m_strHostName(in_properties.getProperty("Hostname"))
{
    if (configure(in_properties) && !open())
        errorHandler->error("failed to open RemoteSyslogAppender");
}

RemoteSyslogAppender::~RemoteSyslogAppender() { destructorImpl(); }

bool RemoteSyslogAppender::configure(const log4cplus::helpers::Properties& in_properties)
{
    const char* szError = nullptr;
    if (m_strHostName.empty())
        szError = "Invalid SyslogHostname";
    else if (!readPositive(in_properties.getProperty("Port"), m_iPort))
        szError = "Invalid Port";
    else if (!readPositive(in_properties.getProperty("Facility"), m_iFacility))
        szError = "Invalid Facility";
    if (szError != nullptr)
        errorHandler->error(szError);
    return szError == nullptr;
}

bool RemoteSyslogAppender::open() { return lookUpHost() && openSocket(); }

bool RemoteSyslogAppender::lookUpHost()
{
    // Not under the lock: a name server may take long to answer, and lines must not wait for it.
    const SyslogHosts::Answer address = SyslogHosts::addressOf(m_strHostName);
    if (!address)
    {
        errorHandler->error("gethostbyname failed");
        // log4cplus's handler writes the first error only, so the reason does not go through it.
        log4cplus::helpers::getLogLog().error("cannot look up " + m_strHostName + ": " +
                                              address.strReason);
        return false;
    }
    const log4cplus::thread::MutexGuard guard(access_mutex);
    m_hostAddress = *address;
    return true;
}

bool RemoteSyslogAppender::openSocket()
{
    const log4cplus::thread::MutexGuard guard(access_mutex);
    closeSocket();
    m_iSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_iSocket == -1)
    {
        const int iError = errno;
        errorHandler->error("socket() failed");
        log4cplus::helpers::getLogLog().error("cannot open a socket for " + m_strHostName + ": " +
                                              std::strerror(iError));
        return false;
    }
    closed = false;
    return true;
}

void RemoteSyslogAppender::close()
{
    const log4cplus::thread::MutexGuard guard(access_mutex);
    closeSocket();
    closed = true;
}

void RemoteSyslogAppender::closeSocket()
{
    if (m_iSocket != -1)
        ::close(m_iSocket);
    m_iSocket = -1;
}

void RemoteSyslogAppender::append(const log4cplus::spi::InternalLoggingEvent& in_event)
{
    const Fallible<unsigned> severity =
        loglevelToSyslogLevel(static_cast<LogLevel>(in_event.getLogLevel()));
    const Header header(static_cast<int>(severity + static_cast<unsigned>(m_iFacility)));
    LogText text;
    text.stream() << header.text();
    layout->formatAndAppend(text.stream(), in_event);
    const std::string& strMessage = text.text();
    if (strMessage.size() > s_uiLongestDatagram)
        sendInPieces(strMessage, header.text().size());
    else if (strMessage.size() > header.text().size())
        send(strMessage);
}

void RemoteSyslogAppender::sendInPieces(std::string in_strMessage, std::size_t in_uiHeader) const
{
    std::size_t uiLength = in_strMessage.size();
    while (uiLength > s_uiLongestDatagram)
    {
        send({in_strMessage.data(), s_uiLongestDatagram});
        uiLength = moveRestBehindHeader(in_strMessage.data(), in_uiHeader, uiLength);
    }
    send({in_strMessage.data(), uiLength});
}

void RemoteSyslogAppender::send(std::string_view in_strDatagram) const
{
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<std::uint16_t>(m_iPort));
    server.sin_addr.s_addr = m_hostAddress;
    // Does not wait: datagrams to a host of the local network that is down pile up in the socket.
    sendto(m_iSocket, in_strDatagram.data(), in_strDatagram.size(), MSG_DONTWAIT,
           reinterpret_cast<const sockaddr*>(&server), sizeof server);
}

} // namespace Velmora
