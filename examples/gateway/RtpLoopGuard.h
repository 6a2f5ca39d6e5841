// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace GatewayExample
{

/// Keeps RTP from going in a circle. Two programs that send each packet back never stop, and
/// a forged packet is enough to begin. The same packet comes again then, so those that were
/// received before, or are not in sequence, are answered only a limited number of times in a call.
class RtpLoopGuard
{
  public:
    /// Returns whether a packet is to be answered. It must have the fixed header (RFC 3550, 5.1).
    [[nodiscard]] bool lets(std::span<const std::byte> in_packet);

    /// The limit.
    static constexpr unsigned int s_uiRepeats = 100;

  private:
    [[nodiscard]] bool isNew(std::uint32_t in_uiSource, std::uint16_t in_uiNumber);

    bool m_bStarted = false;
    std::uint32_t m_uiSource = 0;
    std::uint16_t m_uiHighest = 0;
    /// The packets that were received: bit n is that with the number n below the highest.
    std::uint64_t m_uiReceived = 0;
    /// What comes next if the source, or its numbers, really have changed (RFC 3550, A.1).
    std::uint32_t m_uiNextSource = 0;
    std::uint16_t m_uiNextNumber = 0;
    unsigned int m_uiRepeats = 0;
};

} // namespace GatewayExample
