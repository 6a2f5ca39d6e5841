// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "Timer.h"

#include "velmora/alarm/ResourceMonitor.h"
#include "velmora/config/Configuration.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace GatewayExample
{

/// Observes the use of one resource periodically and sets an alarm if it is too high. The id of the
/// alarm is "system.overload." and the name of the resource; the alarm "system.overload" follows
/// it. The parameters below a prefix configure the monitor: "monitoringPeriodInMs" (in
/// milliseconds, 0 turns it off) and those of `AverageResourceUsageMonitor`.
class LoadMonitor
{
  public:
    /// Returns the current use, or nothing if it is unknown.
    using Observe = std::function<std::optional<double>()>;

    /// The loop must outlive the monitor.
    ///
    /// Failure: throws `BadSetting` for the first parameter that is missing or invalid.
    LoadMonitor(const EventLoop& in_loop, const char* in_szResource,
                const std::string& in_strPrefix, const Velmora::ROConfiguration& in_config);
    LoadMonitor(const LoadMonitor&) = delete;
    LoadMonitor& operator=(const LoadMonitor&) = delete;

    /// Checks the parameters below a prefix as the constructor does, and fails as it does.
    static void check(const std::string& in_strPrefix, const Velmora::ROConfiguration& in_config);

    /// Observes after each period from now on. Objects that the function uses must live until
    /// `stop` or the monitor's destructor.
    void start(Observe in_observe);
    void stop();

    [[nodiscard]] bool isOverloaded() const;

  private:
    void observe();

    std::string m_strResource;
    std::chrono::milliseconds m_period;
    Velmora::AverageResourceUsageMonitor m_monitor;
    /// Owned by the registry of alarms.
    Velmora::LimitedObjPtr<Velmora::Alarm> m_pAlarm;
    Observe m_observe;
    Timer m_timer;
};

} // namespace GatewayExample
