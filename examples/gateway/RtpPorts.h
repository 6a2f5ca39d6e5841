// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "PortRange.h"

#include <boost/circular_buffer.hpp>

#include <cstddef>
#include <cstdint>

namespace GatewayExample
{

/// The free RTP ports of a range, in a queue: the port that has been free for the longest time
/// comes first.
class RtpPorts
{
  public:
    explicit RtpPorts(const PortRange& in_range);

    [[nodiscard]] std::size_t countFree() const { return m_free.size(); }
    [[nodiscard]] std::size_t countUsed() const { return m_uiAll - m_free.size(); }

    /// Takes a free port. There must be one.
    [[nodiscard]] std::uint16_t acquire();
    /// Returns a port. Does not allocate.
    void release(std::uint16_t in_uiPort) { m_free.push_back(in_uiPort); }

  private:
    /// Has capacity for the whole range.
    boost::circular_buffer<std::uint16_t> m_free;
    std::size_t m_uiAll;
};

} // namespace GatewayExample
