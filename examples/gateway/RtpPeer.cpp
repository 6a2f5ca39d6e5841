// SPDX-License-Identifier: BSD-2-Clause

#include "RtpPeer.h"

using namespace std::chrono_literals;

namespace GatewayExample
{

namespace
{

constexpr std::chrono::steady_clock::duration s_learningTime = 2s;

} // namespace

bool RtpPeer::isSource(const SocketAddress& in_source, Time in_now)
{
    if (m_source)
        return *m_source == in_source;
    if (m_described == in_source || (mayLearn(in_now) && in_source.hasHostOf(m_signalling)))
        m_source = in_source;
    return m_source.has_value();
}

bool RtpPeer::isDescribedBySignalling() const
{
    return m_described && m_described->hasHostOf(m_signalling);
}

bool RtpPeer::mayLearn(Time in_now) const
{
    return !isDescribedBySignalling() && m_answered && in_now - *m_answered <= s_learningTime;
}

std::string RtpPeer::expected() const
{
    if (m_source)
        return m_source->text();
    std::string strDescribed = m_described ? m_described->text() : std::string();
    if (isDescribedBySignalling())
        return strDescribed;
    return strDescribed + (m_described ? ", or " : "") + "within 2 s of the answer from " +
           m_signalling.hostText();
}

} // namespace GatewayExample
