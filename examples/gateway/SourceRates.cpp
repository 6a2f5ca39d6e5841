// SPDX-License-Identifier: BSD-2-Clause

#include "SourceRates.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace GatewayExample
{

namespace
{

constexpr SourceRates::Clock::duration s_burst = 1s;

} // namespace

SourceRates::SourceRates(unsigned int in_uiPerSec)
{
    if (in_uiPerSec != 0)
        m_each = s_burst / in_uiPerSec;
}

bool SourceRates::take(const SocketAddress& in_source, Clock::time_point in_now)
{
    if (m_each == 0ns)
        return true;
    if (in_now - m_forgotten >= s_burst)
        forget(in_now);
    if (m_busyUntil.size() >= s_uiMostSources)
        m_busyUntil.clear();
    // The generic cell rate algorithm (ITU-T I.371).
    Clock::time_point& busyUntil = m_busyUntil.try_emplace(in_source.net(), in_now).first->second;
    const Clock::time_point next = std::max(busyUntil, in_now) + m_each;
    if (next - in_now > s_burst)
        return false;
    busyUntil = next;
    return true;
}

void SourceRates::forget(Clock::time_point in_now)
{
    m_forgotten = in_now;
    std::erase_if(m_busyUntil,
                  [in_now](const auto& in_source) { return in_source.second <= in_now; });
}

} // namespace GatewayExample
