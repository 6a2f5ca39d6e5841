#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/Alarm.h"
#include "velmora/alarm/StatisticComputer.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/logging/CachedLLLogger.h"

#include <memory>
#include <string>

namespace Velmora
{

class ROConfiguration;

/// Names of the parameters of a monitor, behind the prefix that the program chooses.
inline constexpr const char* s_szRESOURCE_MONITOR_AVG_WINDOW_SIZE_PARAM = "averageWindowSize";
inline constexpr const char* s_szRESOURCE_MONITOR_SET_ALARM_THRESHOLD_PARAM = "setAlarmThreshold";
inline constexpr const char* s_szRESOURCE_MONITOR_RESET_ALARM_THRESHOLD_PARAM =
    "resetAlarmThreshold";

/// Turns how much of a resource is in use into an alarm: the alarm goes on when the average of the
/// last observations reaches one threshold, and off when it is below a lower one. Between the two
/// it stays as it is.
///
///     AverageResourceUsageMonitor monitor;
///     if (monitor.configure(pAlarm, "keswardin.system.cpu.monitor", config))
///         monitor.pushObservation(dPercent);       // again and again, at the program's period
///
/// The alarm is called at every observation whose average is above the one threshold or below the
/// other, so give it one that ignores the state that it has: not a `CountedStateAlarmImpl`.
///
/// Thread-safety: belongs to one thread at a time. Other threads may use the alarm if it is a
/// handle of the `AlarmRegistry`. Ownership: the alarm is not owned, must outlive the monitor's use
/// and stays in its last state when the monitor goes.
class VELMORA_API AverageResourceUsageMonitor : public CachedLLLogger
{
  public:
    AverageResourceUsageMonitor();
    AverageResourceUsageMonitor(const AverageResourceUsageMonitor&) = delete;
    AverageResourceUsageMonitor& operator=(const AverageResourceUsageMonitor&) = delete;
    ~AverageResourceUsageMonitor() override;

    /// Forgets all observations and goes on with these. The alarm is not called. The window is a
    /// number of observations, at least 1.
    /// Failure: false, and an assertion if the alarm is null or the first threshold is not below
    /// the second.
    bool configure(const LimitedObjPtr<Alarm>& in_pAlarm, double in_dResetAlarmThreshold,
                   double in_dSetAlarmThreshold, unsigned long in_uiAverageWindowSize);

    /// The same with what a configuration has under a prefix, which may be empty. The thresholds
    /// have single precision.
    /// Failure: false, also with an ERROR that names a parameter which is not defined or, as a
    /// window, below 1.
    bool configure(const LimitedObjPtr<Alarm>& in_pAlarm, const char* in_szPrefix,
                   const ROConfiguration& in_config);

    /// Adds an observation, and turns the alarm on or off by the average of those in the window,
    /// which need not be full.
    /// Failure: false and an assertion before `configure` has succeeded.
    bool pushObservation(const double& in_dValue);

    /// Reads a parameter under a prefix.
    /// Failure: false, an ERROR with its name, and the argument is left alone.
    bool getConfigParameter(const ROConfiguration& in_config, const char* in_szPrefix,
                            const char* in_szName, unsigned long& out_uiValue) const;
    bool getConfigParameter(const ROConfiguration& in_config, const char* in_szPrefix,
                            const char* in_szName, double& out_dValue) const;

  private:
    bool logMissing(const std::string& in_strKey) const;

    std::unique_ptr<SlidingWindowAvgComputer> m_pAvgComputer;
    LimitedObjPtr<Alarm> m_pAlarm;
    double m_setAlarmThreshold = 0;
    double m_resetAlarmThreshold = 0;
};

} // namespace Velmora
