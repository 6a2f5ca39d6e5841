// SPDX-License-Identifier: BSD-2-Clause

#include "ProcessorUse.h"

#include <utility>

namespace GatewayExample
{

std::optional<double> ProcessorUse::sinceLastCall()
{
    constexpr double dAll = 100;
    double dIdle = 0;
    if (!m_timer.getSystemIdleTime(dIdle) || !std::exchange(m_bStarted, true))
        return std::nullopt;
    return dAll - dIdle;
}

} // namespace GatewayExample
