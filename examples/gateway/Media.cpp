// SPDX-License-Identifier: BSD-2-Clause

#include "Media.h"

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

Media::Media(const EventLoop& in_loop, const Settings& in_settings,
             const ROConfiguration& in_parameters, const std::string& in_strCallId)
    : ObjectWithLogger(std::string("keswardin.gateway.Media")), m_loop(in_loop),
      m_settings(in_settings), m_parameters(in_parameters), m_rxStartTimer(in_loop)
{
    getLogger().addLoggingId("leg=1");
    getLogger().callStart(in_strCallId.c_str());
}

Media::~Media()
{
    if (m_socket)
        withoutThrowing(&getLogger(), "the end of RTP is not logged",
                        [this] {
                            VELMORA_LOG_INFO("RTP closed : packets = "
                                             << m_uiPackets << ", bytes = " << m_uiBytes);
                        });
}

std::string Media::open(const std::string& in_strOffer, RtpPorts& inout_ports)
{
    const Session session = in_strOffer.empty() ? makeOffer(m_settings.encodings)
                                                : negotiate(in_strOffer, m_settings.encodings);
    m_socket.emplace(m_settings.strRtpAddress, inout_ports);
    m_watch.emplace(m_loop, m_socket->descriptor(), [this] { receive(); });
    m_opened = steady_clock::now();
    VELMORA_LOG_INFO("RTP opened at " << m_settings.strRtpAddress << ':' << m_socket->port()
                                      << " : encodings = " << namesOf(session.encodings)
                                      << ", remote = " << session.strRemoteAddress << ':'
                                      << session.uiRemotePort);
    return describe(session, m_settings.strRtpAddress, m_socket->port());
}

void Media::expectPackets(std::function<void()> in_onTimeout)
{
    if (m_uiPackets == 0)
        m_rxStartTimer.start(
            CallParameters::duration(m_parameters, CallParameters::s_szRxStartTimeout),
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
        VELMORA_LOG_DEBUG("not an RTP packet : bytes = " << uiLength);
        return;
    }
    if (m_uiPackets == 0)
        reportFirstPacket();
    ++m_uiPackets;
    m_uiBytes += uiLength;
    if (!m_socket->sendBack(std::span(packet).first(uiLength)))
        reportLoss("sent", errno);
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
                     << m_socket->sender() << " after "
                     << duration_cast<milliseconds>(steady_clock::now() - m_opened).count()
                     << " ms");
}

} // namespace GatewayExample
