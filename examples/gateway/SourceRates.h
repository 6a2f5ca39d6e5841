// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "SocketAddress.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace GatewayExample
{

/// Limits how often each source does something: a number of times at once, and as often a second on
/// average. A source is an IPv4 address, or a net of IPv6 with 64 bits, which one host can have.
class SourceRates
{
  public:
    using Clock = std::chrono::steady_clock;

    /// A rate of 0 is no limit.
    explicit SourceRates(unsigned int in_uiPerSec);

    /// Counts one for a source. Returns false, and counts nothing, if it has no more now.
    [[nodiscard]] bool take(const SocketAddress& in_source, Clock::time_point in_now);

    /// The number of sources that are known. Those that could do all at once again are forgotten.
    [[nodiscard]] std::size_t size() const { return m_busyUntil.size(); }

    /// When there are as many sources, which only forged ones are, all are forgotten.
    static constexpr std::size_t s_uiMostSources = 100000;

  private:
    void forget(Clock::time_point in_now);

    Clock::duration m_each{0};
    /// For each source, when it would have done all at the rate.
    std::unordered_map<std::uint64_t, Clock::time_point> m_busyUntil;
    Clock::time_point m_forgotten{};
};

} // namespace GatewayExample
