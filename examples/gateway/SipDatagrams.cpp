// SPDX-License-Identifier: BSD-2-Clause

#include "SipDatagrams.h"

#include "SocketAddress.h"

#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/su.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <numeric>
#include <optional>
#include <span>

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

int s_iError = 0;
std::uint64_t s_uiFailures = 0;
std::optional<Clock::time_point> s_lastLine;

void reportFailure(const SocketAddress& in_to, int in_iError)
{
    s_iError = in_iError;
    ++s_uiFailures;
    const Clock::time_point now = Clock::now();
    if (s_lastLine && now - *s_lastLine < s_betweenLines)
        return;
    s_lastLine = now;
    VELMORA_FILE_LOG_WARN("SIP cannot be sent to "
                          << in_to.text() << " : " << std::strerror(in_iError)
                          << "; it is repeated as if the network had lost it. Not sent until now : "
                          << s_uiFailures);
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

} // namespace

int SipDatagrams::errorOf(const std::function<void()>& in_send)
{
    s_iError = 0;
    in_send();
    return s_iError;
}

std::uint64_t SipDatagrams::countFailures() { return s_uiFailures; }

} // namespace GatewayExample

// The SIP stack calls this function instead of its own one.
extern "C" [[gnu::visibility("default")]] issize_t
su_vsend(su_socket_t in_iSocket, const su_iovec_t in_parts[], isize_t in_iParts, int in_iFlags,
         const su_sockaddr_t* in_pTo, socklen_t in_uiToSize)
{
    using namespace GatewayExample;
    const std::span parts(reinterpret_cast<const iovec*>(in_parts),
                          static_cast<std::size_t>(in_iParts));
    msghdr message{};
    message.msg_name = const_cast<su_sockaddr_t*>(in_pTo);
    message.msg_namelen = in_pTo != nullptr ? in_uiToSize : 0;
    message.msg_iov = const_cast<iovec*>(parts.data());
    message.msg_iovlen = parts.size();
    const ssize_t iSent = send(in_iSocket, message, in_iFlags);
    const int iError = errno;
    // The stack keeps what a full buffer does not take, and sends it later.
    if (iSent >= 0 || iError == EAGAIN)
        return iSent;
    Velmora::withoutThrowing(liveFileScopeLogger(), "a failure to send SIP is not logged",
                             [in_pTo, in_uiToSize, iError]
                             {
                                 reportFailure(in_pTo != nullptr
                                                   ? SocketAddress(&in_pTo->su_sa, in_uiToSize)
                                                   : SocketAddress(),
                                               iError);
                             });
    return std::accumulate(parts.begin(), parts.end(), issize_t{0},
                           [](issize_t in_iSum, const iovec& in_part)
                           { return in_iSum + static_cast<issize_t>(in_part.iov_len); });
}
