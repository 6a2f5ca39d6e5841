// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <chrono>
#include <cstddef>
#include <unordered_set>

namespace GatewayExample
{

/// Remembers which INVITEs were refused without the SIP stack, as long as they may be repeated: an
/// answer without a transaction must be the same each time (RFC 3261, 8.2.7), even if calls are
/// taken again by then.
///
/// Thread-safety: none.
class RefusedTransactions
{
  public:
    using Clock = std::chrono::steady_clock;

    /// How long an INVITE is repeated: timer B, that is 64 times T1 (RFC 3261, 17.1.1.2).
    static constexpr std::chrono::seconds s_repeated{32};
    /// The largest number of those that are remembered. The older half is forgotten then.
    static constexpr std::size_t s_uiMost = 400000;

    /// Returns whether a transaction was refused. It is found at least as long as it is repeated.
    [[nodiscard]] bool contains(std::size_t in_uiTransaction, Clock::time_point in_now);

    void add(std::size_t in_uiTransaction, Clock::time_point in_now);

    [[nodiscard]] std::size_t size() const { return m_recent.size() + m_older.size(); }

  private:
    void forget(Clock::time_point in_now);

    std::unordered_set<std::size_t> m_recent;
    std::unordered_set<std::size_t> m_older;
    /// None of the recent ones was added before.
    Clock::time_point m_begun{};
};

} // namespace GatewayExample
