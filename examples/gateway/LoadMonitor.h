#pragma once

#include "EventLoop.h"

#include "velmora/alarm/ResourceMonitor.h"
#include "velmora/config/Configuration.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/// Watches how much of one resource is in use, again and again, and has an alarm for too much of
/// it: "system.overload." and the name of the resource, which the alarm "system.overload" follows.
/// It is configured by the parameters behind a prefix: "monitoringPeriodInMs", 0 for no monitor,
/// and those of `AverageResourceUsageMonitor`.
class LoadMonitor
{
  public:
    /// What is in use now; nothing where it cannot be said.
    using Observe = std::function<std::optional<double>()>;

    /// The loop outlives it.
    ///
    /// Failure: throws `BadSetting` for the first parameter that is missing or makes no sense.
    LoadMonitor(const EventLoop& in_loop, const char* in_szResource,
                const std::string& in_strPrefix, const Velmora::ROConfiguration& in_config);
    LoadMonitor(const LoadMonitor&) = delete;
    LoadMonitor& operator=(const LoadMonitor&) = delete;

    /// Observes from now on, after each period. What it calls outlives it, or its `stop`.
    void start(Observe in_observe);
    void stop();

    [[nodiscard]] bool isOverloaded() const;

  private:
    void observe();

    std::string m_strResource;
    std::chrono::milliseconds m_period;
    Velmora::AverageResourceUsageMonitor m_monitor;
    /// The registry's.
    Velmora::LimitedObjPtr<Velmora::Alarm> m_pAlarm;
    Observe m_observe;
    Timer m_timer;
};
