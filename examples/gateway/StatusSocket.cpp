// SPDX-License-Identifier: BSD-2-Clause

#include "StatusSocket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace GatewayExample
{

namespace
{

constexpr int s_iWaiting = 8;
constexpr int s_iBufferBytes = 1 << 20;
constexpr time_t s_askTimeoutSec = 5;
constexpr std::chrono::milliseconds s_pause{1000};

std::runtime_error failure(const std::string& in_strPath, const std::string& in_strReason)
{
    return std::runtime_error("no status at " + in_strPath + " : " + in_strReason);
}

sockaddr_un addressOf(const std::string& in_strPath)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (in_strPath.empty() || in_strPath.size() >= sizeof(address.sun_path))
        throw failure(in_strPath, "the path of a socket has 1 to " +
                                      std::to_string(sizeof(address.sun_path) - 1) + " bytes");
    in_strPath.copy(address.sun_path, in_strPath.size());
    return address;
}

int makeSocket(const std::string& in_strPath, int in_iFlags)
{
    const int iSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | in_iFlags, 0);
    if (iSocket < 0)
        throw failure(in_strPath, std::strerror(errno));
    return iSocket;
}

template <int (*Call)(int, const sockaddr*, socklen_t)>
bool apply(int in_iSocket, const sockaddr_un& in_address)
{
    return Call(in_iSocket, reinterpret_cast<const sockaddr*>(&in_address), sizeof(in_address)) ==
           0;
}

/// Removes a socket that no process listens at any more.
void removeLeftover(const std::string& in_strPath)
{
    struct stat status
    {
    };
    if (lstat(in_strPath.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode))
        throw failure(in_strPath, "something else than a socket is there");
    const Descriptor probe(makeSocket(in_strPath, SOCK_NONBLOCK));
    if (apply<connect>(probe.number(), addressOf(in_strPath)) || errno == EAGAIN)
        throw failure(in_strPath, "another process listens there");
    if (errno != ECONNREFUSED)
        throw failure(in_strPath, std::strerror(errno));
    unlink(in_strPath.c_str());
}

int listenAt(const std::string& in_strPath)
{
    const sockaddr_un address = addressOf(in_strPath);
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(in_strPath).parent_path(), ignored);
    const int iSocket = makeSocket(in_strPath, SOCK_NONBLOCK);
    // The file gets the mode of the socket.
    const bool bListens =
        fchmod(iSocket, S_IRUSR | S_IWUSR) == 0 &&
        (apply<bind>(iSocket, address) ||
         (errno == EADDRINUSE && (removeLeftover(in_strPath), apply<bind>(iSocket, address)))) &&
        listen(iSocket, s_iWaiting) == 0;
    if (!bListens)
    {
        const std::string strReason = std::strerror(errno);
        close(iSocket);
        throw failure(in_strPath, strReason);
    }
    return iSocket;
}

/// Says what a failed connection means to an operator.
std::string reasonFor(int in_iError)
{
    switch (in_iError)
    {
    case ENOENT:
        return "no gateway with this configuration runs";
    case ECONNREFUSED:
        return "the gateway that listened there was killed";
    case EACCES:
        return "only the user of the gateway and root may ask";
    case EAGAIN:
        return "the gateway does not answer";
    default:
        return std::strerror(in_iError);
    }
}

} // namespace

StatusSocket::StatusSocket(const EventLoop& in_loop, const std::string& in_strPath,
                           std::function<std::string()> in_report)
    : m_strPath(in_strPath), m_report(std::move(in_report)), m_socket(listenAt(in_strPath)),
      m_watch(in_loop, m_socket.number(), [this] { answer(); }), m_pause(in_loop)
{
}

StatusSocket::~StatusSocket() { unlink(m_strPath.c_str()); }

void StatusSocket::answer()
{
    const Descriptor connection(
        accept4(m_socket.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!connection.isOpen())
    {
        // Without descriptors the connection would wake the loop all the time.
        m_watch.pause();
        m_pause.start(s_pause, [this] { m_watch.resume(); });
        return;
    }
    // The loop does not wait for who asks: the buffer takes the whole report.
    setsockopt(connection.number(), SOL_SOCKET, SO_SNDBUF, &s_iBufferBytes, sizeof(s_iBufferBytes));
    const std::string strReport = m_report();
    static_cast<void>(
        send(connection.number(), strReport.data(), strReport.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

std::string StatusSocket::ask(const std::string& in_strPath)
{
    const Descriptor connection(makeSocket(in_strPath, 0));
    const timeval limit{.tv_sec = s_askTimeoutSec, .tv_usec = 0};
    setsockopt(connection.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    setsockopt(connection.number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    if (!apply<connect>(connection.number(), addressOf(in_strPath)))
        throw failure(in_strPath, reasonFor(errno));
    std::string strAnswer;
    std::array<char, 4096> part{};
    ssize_t iLength = 0;
    while ((iLength = recv(connection.number(), part.data(), part.size(), 0)) > 0)
        strAnswer.append(part.data(), static_cast<std::size_t>(iLength));
    if (iLength < 0)
        throw failure(in_strPath, reasonFor(errno));
    return strAnswer;
}

} // namespace GatewayExample
