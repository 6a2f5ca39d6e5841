// SPDX-License-Identifier: BSD-2-Clause

#include "SipDatagrams.h"

#include "SocketAddress.h"

#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/su.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

#include <linux/sock_diag.h>
#include <sys/socket.h>
#include <sys/uio.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.SipDatagrams")

namespace GatewayExample
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr Clock::duration s_betweenLines = std::chrono::seconds(1);
/// An ICMP message for an earlier datagram makes the next one fail, so that is tried again.
constexpr int s_iAttempts = 3;

/// Counts failures, of which there may be many.
struct Failures
{
    std::uint64_t uiCount = 0;
    std::optional<Clock::time_point> lastLine{};

    /// Counts one. Returns whether it is to be logged.
    bool count()
    {
        ++uiCount;
        const Clock::time_point now = Clock::now();
        if (lastLine && now - *lastLine < s_betweenLines)
            return false;
        lastLine = now;
        return true;
    }
};

int s_iError = 0;
Failures s_notSent;
Failures s_notReceived;

void reportFailure(const SocketAddress& in_to, int in_iError)
{
    s_iError = in_iError;
    if (s_notSent.count())
        VELMORA_FILE_LOG_WARN("SIP cannot be sent to "
                              << in_to.text() << " : " << std::strerror(in_iError)
                              << "; it is repeated as if the network had lost it. Not sent until "
                                 "now : "
                              << s_notSent.uiCount);
}

void reportReceiveFailure(int in_iError)
{
    if (in_iError == EAGAIN || in_iError == EINTR || !s_notReceived.count())
        return;
    Velmora::withoutThrowing(liveFileScopeLogger(), "a failure to receive SIP is not logged",
                             [in_iError]
                             {
                                 VELMORA_FILE_LOG_WARN("receiving SIP has failed : "
                                                       << std::strerror(in_iError)
                                                       << "; it is tried again. Failed until now : "
                                                       << s_notReceived.uiCount);
                             });
}

bool isRepeated(int in_iError) { return in_iError == ECONNREFUSED || in_iError == EINTR; }

ssize_t send(int in_iSocket, const msghdr& in_message, int in_iFlags)
{
    ssize_t iSent = -1;
    for (int iAttempt = 0; iAttempt < s_iAttempts; ++iAttempt)
    {
        iSent = sendmsg(in_iSocket, &in_message, in_iFlags);
        if (iSent >= 0 || !isRepeated(errno))
            break;
    }
    return iSent;
}

/// Sends a datagram, and reports a failure. Returns false if the buffer of the socket is full.
bool sendOrReport(int in_iSocket, const msghdr& in_message, int in_iFlags)
{
    if (send(in_iSocket, in_message, in_iFlags) >= 0)
        return true;
    const int iError = errno;
    if (iError == EAGAIN)
        return false;
    Velmora::withoutThrowing(
        liveFileScopeLogger(), "a failure to send SIP is not logged",
        [&in_message, iError]
        {
            const auto* const pTo = static_cast<const sockaddr*>(in_message.msg_name);
            reportFailure(pTo != nullptr ? SocketAddress(pTo, in_message.msg_namelen)
                                         : SocketAddress(),
                          iError);
        });
    return true;
}

SipDatagrams::Filter s_filter;

/// This number of datagrams is filtered at most before other events get their turn.
constexpr int s_iMostFiltered = 64;

/// The datagram that the stack gets next.
struct Received
{
    int iSocket = -1;
    /// -1 if there is none.
    ssize_t iLength = -1;
    /// Why there is none.
    int iError = EAGAIN;
    SocketAddress source;
};
Received s_received;
std::array<char, 65536> s_buffer;

std::string_view receivedText()
{
    return {s_buffer.data(), static_cast<std::size_t>(s_received.iLength)};
}

/// Returns whether the filter has done what is to be done with a datagram.
bool isDone(std::string_view in_strDatagram, const SocketAddress& in_source)
{
    bool bDone = false;
    if (s_filter)
        Velmora::withoutThrowing(liveFileScopeLogger(), "a datagram is not filtered",
                                 [&] { bDone = s_filter(in_strDatagram, in_source); });
    return bDone;
}

/// Receives the next datagram that the filter leaves to the stack.
void receiveNext(int in_iSocket)
{
    for (int i = 0; i < s_iMostFiltered; ++i)
    {
        sockaddr_storage source{};
        socklen_t uiSourceSize = sizeof(source);
        auto* const pSource = reinterpret_cast<sockaddr*>(&source);
        const ssize_t iLength = recvfrom(in_iSocket, s_buffer.data(), s_buffer.size(), MSG_DONTWAIT,
                                         pSource, &uiSourceSize);
        s_received = {in_iSocket, iLength, iLength < 0 ? errno : 0,
                      SocketAddress(pSource, iLength < 0 ? 0 : uiSourceSize)};
        if (iLength < 0)
            reportReceiveFailure(s_received.iError);
        if (iLength < 0 || (iLength > 0 && !isDone(receivedText(), s_received.source)))
            return;
    }
    s_received.iLength = -1;
    s_received.iError = EAGAIN;
}

} // namespace

int SipDatagrams::lastError() { return s_iError; }

void SipDatagrams::forgetLastError() { s_iError = 0; }

std::uint64_t SipDatagrams::countFailures() { return s_notSent.uiCount; }

std::size_t SipDatagrams::queuedBytes()
{
    std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t uiSize = sizeof(memory);
    const int iResult =
        getsockopt(s_received.iSocket, SOL_SOCKET, SO_MEMINFO, memory.data(), &uiSize);
    return iResult == 0 ? memory[SK_MEMINFO_RMEM_ALLOC] : 0;
}

void SipDatagrams::setFilter(Filter in_filter) { s_filter = std::move(in_filter); }

void SipDatagrams::reply(const std::string& in_strText, const SocketAddress& in_to)
{
    iovec part{const_cast<char*>(in_strText.data()), in_strText.size()};
    msghdr message{};
    message.msg_name = const_cast<sockaddr*>(in_to.data());
    message.msg_namelen = in_to.size();
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    sendOrReport(s_received.iSocket, message, MSG_NOSIGNAL);
}

} // namespace GatewayExample

// The SIP stack calls these functions instead of its own ones.

extern "C" [[gnu::visibility("default")]] issize_t
su_vsend(su_socket_t in_iSocket, const su_iovec_t in_parts[], isize_t in_iParts, int in_iFlags,
         const su_sockaddr_t* in_pTo, socklen_t in_uiToSize)
{
    const std::span parts(reinterpret_cast<const iovec*>(in_parts),
                          static_cast<std::size_t>(in_iParts));
    msghdr message{};
    message.msg_name = const_cast<su_sockaddr_t*>(in_pTo);
    message.msg_namelen = in_pTo != nullptr ? in_uiToSize : 0;
    message.msg_iov = const_cast<iovec*>(parts.data());
    message.msg_iovlen = parts.size();
    // The stack keeps what a full buffer does not take, and sends it later.
    if (!GatewayExample::sendOrReport(in_iSocket, message, in_iFlags))
        return -1;
    return std::accumulate(parts.begin(), parts.end(), issize_t{0},
                           [](issize_t in_iSum, const iovec& in_part)
                           { return in_iSum + static_cast<issize_t>(in_part.iov_len); });
}

// Returns the size of the next datagram. It is received here, so that those which the filter has
// done need none of the stack's work.
extern "C" [[gnu::visibility("default")]] issize_t su_getmsgsize(su_socket_t in_iSocket)
{
    using namespace GatewayExample;
    receiveNext(in_iSocket);
    // Of the size 0 the stack would receive another datagram.
    return static_cast<issize_t>(std::max<ssize_t>(s_received.iLength, 1));
}

extern "C" [[gnu::visibility("default")]] issize_t su_vrecv(su_socket_t, su_iovec_t out_parts[],
                                                            isize_t in_iParts, int,
                                                            su_sockaddr_t* out_pFrom,
                                                            socklen_t* inout_pFromSize)
{
    using namespace GatewayExample;
    errno = s_received.iError;
    if (s_received.iLength < 0)
        return -1;
    std::string_view strRest = receivedText();
    for (const su_iovec_t& part : std::span(out_parts, static_cast<std::size_t>(in_iParts)))
        strRest.remove_prefix(strRest.copy(static_cast<char*>(part.siv_base), part.siv_len));
    *inout_pFromSize = std::min(*inout_pFromSize, s_received.source.size());
    std::memcpy(out_pFrom, s_received.source.data(), *inout_pFromSize);
    const auto iLength = static_cast<issize_t>(std::exchange(s_received.iLength, -1));
    return iLength - static_cast<issize_t>(strRest.size());
}
