#include "velmora/logging/RemoteSyslogAppender.h"

#include "velmora/config/Parameter.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogText.h"
#include "velmora/logging/Syslog.h"
#include "velmora/logging/SyslogHosts.h"

#include <log4cplus/helpers/property.h>
#include <log4cplus/spi/loggingevent.h>
#include <log4cplus/thread/syncprims.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <optional>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(RemoteSyslogAppender)

namespace Velmora
{

namespace
{

/// What fits into a packet of a common network path.
constexpr std::size_t s_uiLongestDatagram = 900;
/// Room for "<", a number of 32 bits with its sign, and ">".
constexpr std::size_t s_uiMostHeader = 16;

/// Reads an integer above 0 from a text that may be empty, which leaves the number as it is.
bool readPositive(const std::string& in_strText, int& out_iNumber)
{
    if (in_strText.empty())
        return true;
    ParameterValue value;
    value.initFromText(in_strText.c_str(), ParameterValue::UNDEF_TYPE, true);
    if (value.getType() != ParameterValue::INT_TYPE || int(value) <= 0)
        return false;
    out_iNumber = value;
    return true;
}

std::size_t writeHeader(char* out_pMessage, int in_iPriority)
{
    char* pEnd = out_pMessage;
    *pEnd++ = '<';
    pEnd = std::to_chars(pEnd, out_pMessage + s_uiMostHeader - 1, in_iPriority).ptr;
    *pEnd++ = '>';
    return static_cast<std::size_t>(pEnd - out_pMessage);
}

/// Makes the rest of a message, once its first datagram is sent, a message; gives its length.
std::size_t moveRestBehindHeader(char* out_pMessage, std::size_t in_uiHeader,
                                 std::size_t in_uiLength)
{
    const std::size_t uiRest = in_uiLength - s_uiLongestDatagram;
    // Servers know split lines with the last bytes of what was sent before in place of their own,
    // as many as the header has. A shorter rest than that would leave less than nothing to move.
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
    // A factory whose name is known already is deleted.
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
    // Not under the lock: a name server may take long to answer, and lines are not to wait for it.
    const std::optional<SyslogHosts::Address> address = SyslogHosts::addressOf(m_strHostName);
    if (!address)
    {
        errorHandler->error("gethostbyname failed");
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
        errorHandler->error("socket() failed");
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
    // A text of its own, and not log4cplus's one of the thread: reading the severity may log.
    LogText text;
    layout->formatAndAppend(text.stream(), in_event);
    const std::string& strText = text.text();

    const auto pMessage = std::make_unique_for_overwrite<char[]>(strText.size() + s_uiMostHeader);
    const Fallible<unsigned> severity =
        loglevelToSyslogLevel(static_cast<LogLevel>(in_event.getLogLevel()));
    const auto iPriority = static_cast<int>(severity + static_cast<unsigned>(m_iFacility));
    const std::size_t uiHeader = writeHeader(pMessage.get(), iPriority);
    std::copy(strText.begin(), strText.end(), pMessage.get() + uiHeader);
    sendInPieces(pMessage.get(), uiHeader, uiHeader + strText.size());
}

void RemoteSyslogAppender::sendInPieces(char* in_pMessage, std::size_t in_uiHeader,
                                        std::size_t in_uiLength) const
{
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<std::uint16_t>(m_iPort));
    server.sin_addr.s_addr = m_hostAddress;
    while (in_uiLength > in_uiHeader)
    {
        // A host that does not answer on the local network would let the socket's queue fill up.
        sendto(m_iSocket, in_pMessage, std::min(in_uiLength, s_uiLongestDatagram), MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&server), sizeof server);
        if (in_uiLength <= s_uiLongestDatagram)
            return;
        in_uiLength = moveRestBehindHeader(in_pMessage, in_uiHeader, in_uiLength);
    }
}

} // namespace Velmora
