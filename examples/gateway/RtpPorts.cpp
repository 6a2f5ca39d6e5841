// SPDX-License-Identifier: BSD-2-Clause

#include "RtpPorts.h"

namespace GatewayExample
{

RtpPorts::RtpPorts(const PortRange& in_range)
    : m_free(std::size_t{UINT16_MAX}), m_uiAll(in_range.pairs())
{
    for (unsigned int uiPort = in_range.firstEven(); uiPort < in_range.uiLast; uiPort += 2)
        m_free.push_back(static_cast<std::uint16_t>(uiPort));
}

std::uint16_t RtpPorts::acquire()
{
    const std::uint16_t uiPort = m_free.front();
    m_free.pop_front();
    return uiPort;
}

} // namespace GatewayExample
