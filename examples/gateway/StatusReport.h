// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "CallStatistics.h"

#include "velmora/alarm/AlarmJournal.h"
#include "velmora/config/LoadSummary.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace GatewayExample
{

/// What an operator asks about a gateway, as it is at one time.
struct StatusReport
{
    enum class Phase
    {
        STARTING,
        RUNNING,
        STOPPING,
        STOPPED,
        NOT_STARTED, ///< The start has failed.
    };

    Phase phase = Phase::STARTING;
    std::chrono::system_clock::time_point startTime;
    /// By the monotonic clock.
    std::chrono::milliseconds uptime{0};

    CallStatistics calls;
    std::size_t uiCallsNow = 0;
    std::size_t uiRtpPortsUsed = 0;
    std::size_t uiRtpPorts = 0;
    std::uint64_t uiSipNotSent = 0;

    std::uint64_t uiLogLines = 0;
    std::uint64_t uiLogLinesLost = 0;
    std::uint64_t uiCallFilesFailed = 0;

    Velmora::LoadSummary configuration;
    /// Rules of `SettingRules` that the configuration breaks.
    std::size_t uiBrokenRules = 0;

    Velmora::AlarmJournal::Content alarms;

    /// Returns one object of JSON.
    [[nodiscard]] std::string toJson() const;

    /// Returns the text format of Prometheus: each line a metric whose name begins with "gateway_".
    [[nodiscard]] std::string toPrometheus() const;
};

/// Returns the lines for people of what `StatusReport::toJson` has returned, perhaps in another
/// process.
///
/// Failure: throws `std::runtime_error` if the text is no such report.
[[nodiscard]] std::string statusText(const std::string& in_strJson);

} // namespace GatewayExample
