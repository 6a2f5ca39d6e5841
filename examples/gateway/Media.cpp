// SPDX-License-Identifier: BSD-2-Clause

#include "Media.h"

#include "BadSessionDescription.h"
#include "CallParameters.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <cerrno>
#include <cstring>
#include <utility>

using namespace Velmora;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace GatewayExample
{

namespace
{

/// More than an Ethernet frame carries.
constexpr std::size_t s_uiMaxPacket = 2048;

/// The fixed header of an RTP packet, and its version in the first two bits (RFC 3550).
constexpr std::size_t s_uiRtpHeader = 12;
constexpr std::byte s_versionMask{0xC0};
constexpr std::byte s_version2{0x80};

} // namespace

Media::Media(CallContext& inout_context, const std::string& in_strCallId)
    : ObjectWithLogger(std::string("keswardin.gateway.Media")), m_context(inout_context),
      m_rxStartTimer(inout_context.loop)
{
    getLogger().addLoggingId("leg=1");
    getLogger().callStart(in_strCallId.c_str());
}

Media::~Media()
{
    if (m_socket)
        withoutThrowing(&getLogger(), "the end of RTP is not logged",
                        [this]
                        {
                            VELMORA_LOG_INFO("RTP closed : packets = "
                                             << m_uiPackets << ", bytes = " << m_uiBytes
                                             << ", dropped = " << m_uiDropped);
                        });
}

std::string Media::open(const std::string& in_strOffer, const SocketAddress& in_signalling)
{
    const Settings& settings = m_context.settings;
    m_bOffered = in_strOffer.empty();
    const Session session =
        m_bOffered ? makeOffer(settings.encodings) : negotiate(in_strOffer, settings.encodings);
    m_socket.emplace(settings.strRtpAddress, m_context.rtpPorts);
    m_peer.emplace(SocketAddress::parse(session.strRemoteAddress, session.uiRemotePort),
                   in_signalling);
    m_watch.emplace(m_context.loop, m_socket->descriptor(), [this] { receive(); });
    m_opened = steady_clock::now();
    VELMORA_LOG_INFO("RTP opened at " << settings.strRtpAddress << ':' << m_socket->port()
                                      << " : encodings = " << namesOf(session.encodings)
                                      << ", remote = " << session.strRemoteAddress << ':'
                                      << session.uiRemotePort);
    return describe(session, settings.strRtpAddress, m_socket->port());
}

void Media::answer() { m_peer->answer(steady_clock::now()); }

void Media::takeAnswer(const std::string& in_strAnswer)
{
    if (!std::exchange(m_bOffered, false))
        return;
    if (in_strAnswer.empty())
    {
        VELMORA_LOG_WARN("the ACK has no answer to the offer : RTP is expected from "
                         << m_peer->expected());
        return;
    }
    const Session session = negotiate(in_strAnswer, m_context.settings.encodings);
    const auto described = SocketAddress::parse(session.strRemoteAddress, session.uiRemotePort);
    if (described)
        m_peer->describe(*described);
    VELMORA_LOG_INFO("RTP agreed : encodings = " << namesOf(session.encodings)
                                                 << ", remote = " << session.strRemoteAddress << ':'
                                                 << session.uiRemotePort);
}

void Media::expectPackets(std::function<void()> in_onTimeout)
{
    if (m_uiPackets == 0)
        m_rxStartTimer.start(
            CallParameters::duration(m_context.parameters, CallParameters::s_szRxStartTimeout),
            std::move(in_onTimeout));
}

void Media::receive()
{
    std::array<std::byte, s_uiMaxPacket> packet;
    const ssize_t iLength = m_socket->receive(packet);
    if (iLength < 0)
        return reportLoss("received", errno);
    const auto uiLength = static_cast<std::size_t>(iLength);
    if (uiLength < s_uiRtpHeader || (packet[0] & s_versionMask) != s_version2)
    {
        countDropped();
        VELMORA_LOG_DEBUG("not an RTP packet : bytes = " << uiLength);
        return;
    }
    if (!m_peer->isSource(m_socket->sender(), steady_clock::now()))
        return drop("it comes from a stranger");
    if (!m_loopGuard.lets(packet))
        return drop("the same packets are repeated too often");
    if (m_uiPackets == 0)
        reportFirstPacket();
    ++m_uiPackets;
    m_uiBytes += uiLength;
    if (!m_socket->sendBack(std::span(packet).first(uiLength)))
        reportLoss("sent", errno);
}

void Media::countDropped()
{
    ++m_context.statistics.uiRtpDropped;
    ++m_uiDropped;
}

/// Logs a warning once per call only, since anyone may send any number of such packets.
void Media::drop(const char* in_szReason)
{
    countDropped();
    if (!std::exchange(m_bDropReported, true))
        VELMORA_LOG_WARN("RTP from " << m_socket->sender().text() << " is dropped : " << in_szReason
                                     << " ; expected from " << m_peer->expected());
}

void Media::reportLoss(const char* in_szWhat, int in_iReason)
{
    // A full queue loses packets as a network does. An interrupted system call is repeated with the
    // next event.
    if (in_iReason == EAGAIN || in_iReason == EINTR || std::exchange(m_bLossReported, true))
        return;
    VELMORA_LOG_WARN("RTP cannot be " << in_szWhat << ": " << std::strerror(in_iReason)
                                      << "; packets are lost");
}

void Media::reportFirstPacket()
{
    m_rxStartTimer.cancel();
    VELMORA_LOG_INFO("first RTP packet from "
                     << m_socket->sender().text() << " after "
                     << duration_cast<milliseconds>(steady_clock::now() - m_opened).count()
                     << " ms");
}

} // namespace GatewayExample
