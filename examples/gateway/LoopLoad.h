// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "LoadAlarm.h"
#include "Timer.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

namespace GatewayExample
{

/// When the event loop is behind. A limit of 0 is none.
struct LoopLoadLimits
{
    /// What waits at the socket of SIP.
    std::size_t uiQueuedBytes = 0;
    /// How late a timer runs.
    std::chrono::milliseconds timerLate{0};
};

/// Observes whether the event loop keeps up with what comes. A gateway that takes calls while it
/// does not answers all of them too late, and they are repeated (RFC 7339, 1); one that refuses
/// what is too much stays at its best rate.
///
/// The alarm is "system.overload.loop".
class LoopLoad
{
  public:
    using Clock = std::chrono::steady_clock;

    /// The loop must outlive this object. `in_queuedBytes` returns what waits at the socket.
    LoopLoad(const EventLoop& in_loop, const LoopLoadLimits& in_limits,
             std::function<std::size_t()> in_queuedBytes);
    LoopLoad(const LoopLoad&) = delete;
    LoopLoad& operator=(const LoopLoad&) = delete;

    /// Returns whether the loop is behind now. Measures once a millisecond at most while it is not.
    [[nodiscard]] bool isBehind(Clock::time_point in_now);

  private:
    void tick();
    [[nodiscard]] bool measure(Clock::time_point in_now) const;

    const LoopLoadLimits m_limits;
    std::function<std::size_t()> m_queuedBytes;
    LoadAlarm m_alarm;
    Timer m_timer;
    /// When the timer is to run, and how late it was.
    Clock::time_point m_due;
    Clock::duration m_late{0};
    std::optional<Clock::time_point> m_measured;
    bool m_bBehind = false;
};

} // namespace GatewayExample
