// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "RtpPorts.h"

#include <cstdint>

namespace GatewayExample
{

/// Takes a port, and returns it in the destructor.
class AcquiredPort
{
  public:
    explicit AcquiredPort(RtpPorts& inout_ports)
        : m_ports(inout_ports), m_uiPort(inout_ports.acquire())
    {
    }
    ~AcquiredPort() { m_ports.release(m_uiPort); }
    AcquiredPort(const AcquiredPort&) = delete;
    AcquiredPort& operator=(const AcquiredPort&) = delete;

    [[nodiscard]] std::uint16_t port() const { return m_uiPort; }

  private:
    RtpPorts& m_ports;
    std::uint16_t m_uiPort;
};

} // namespace GatewayExample
