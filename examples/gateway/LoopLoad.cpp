// SPDX-License-Identifier: BSD-2-Clause

#include "LoopLoad.h"

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace GatewayExample
{

namespace
{

constexpr std::chrono::milliseconds s_tick = 100ms;
constexpr LoopLoad::Clock::duration s_betweenMeasurements = 1ms;

} // namespace

LoopLoad::LoopLoad(const EventLoop& in_loop, const LoopLoadLimits& in_limits,
                   std::function<std::size_t()> in_queuedBytes)
    : m_limits(in_limits), m_queuedBytes(std::move(in_queuedBytes)), m_alarm(in_loop, "loop"),
      m_timer(in_loop), m_due(Clock::now() + s_tick)
{
    m_timer.start(s_tick, [this] { tick(); });
}

void LoopLoad::tick()
{
    m_timer.start(s_tick, [this] { tick(); });
    const Clock::time_point now = Clock::now();
    m_late = now - m_due;
    m_due = now + s_tick;
}

bool LoopLoad::isBehind(Clock::time_point in_now)
{
    // While it is behind, each call measures, so that none is refused without need.
    if (m_bBehind || !m_measured || in_now - *m_measured >= s_betweenMeasurements)
    {
        m_measured = in_now;
        m_bBehind = measure(in_now);
    }
    if (m_bBehind)
        m_alarm.refuse(in_now);
    return m_bBehind;
}

bool LoopLoad::measure(Clock::time_point in_now) const
{
    // The timer may be late right now.
    const Clock::duration late = std::max(m_late, in_now - m_due);
    return (m_limits.timerLate > 0ms && late > m_limits.timerLate) ||
           (m_limits.uiQueuedBytes > 0 && m_queuedBytes() > m_limits.uiQueuedBytes);
}

} // namespace GatewayExample
