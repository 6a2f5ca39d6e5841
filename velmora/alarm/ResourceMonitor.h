// SPDX-License-Identifier: BSD-2-Clause

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

/// Names of the parameters of a monitor, which follow the prefix that the program chooses.
inline constexpr const char* s_szRESOURCE_MONITOR_AVG_WINDOW_SIZE_PARAM = "averageWindowSize";
inline constexpr const char* s_szRESOURCE_MONITOR_SET_ALARM_THRESHOLD_PARAM = "setAlarmThreshold";
inline constexpr const char* s_szRESOURCE_MONITOR_RESET_ALARM_THRESHOLD_PARAM =
    "resetAlarmThreshold";

/// Sets an alarm by the usage of a resource. The alarm goes on when the average of the last
/// observations reaches the set threshold, and off when the average falls below the lower reset
/// threshold. Between the two it keeps its state.
///
///     AverageResourceUsageMonitor monitor;
///     if (monitor.configure(pAlarm, "keswardin.system.cpu.monitor", config))
///         monitor.pushObservation(dPercent);       // periodically, on a timer of the program
///
/// The monitor calls the alarm at every observation whose average has reached the set threshold or
/// is below the reset threshold, not only at the first. The alarm must therefore ignore requests
/// for the state that it has; a `CountedStateAlarmImpl` does not.
///
/// Thread-safety: belongs to one thread at a time. Other threads may use the alarm if it is a
/// handle of the `AlarmRegistry`. Ownership: does not own the alarm, which must live as long as the
/// monitor uses it. The alarm keeps its last state when the monitor is destroyed.
class VELMORA_API AverageResourceUsageMonitor : public CachedLLLogger
{
  public:
    AverageResourceUsageMonitor();
    AverageResourceUsageMonitor(const AverageResourceUsageMonitor&) = delete;
    AverageResourceUsageMonitor& operator=(const AverageResourceUsageMonitor&) = delete;
    ~AverageResourceUsageMonitor() override;

    /// Replaces the configuration and discards all observations. Does not call the alarm. The
    /// window size is a number of observations, at least 1.
    /// Failure: returns false, and fails an assertion if the alarm is null or the reset threshold
    /// is not below the set threshold.
    bool configure(const LimitedObjPtr<Alarm>& in_pAlarm, double in_dResetAlarmThreshold,
                   double in_dSetAlarmThreshold, unsigned long in_uiAverageWindowSize);

    /// The same with the parameters that a configuration has under a prefix, which may be empty.
    /// The thresholds are read in single precision.
    /// Failure: as above. Also returns false, with an ERROR that names the parameter, if one is not
    /// defined or the window size is below 1.
    bool configure(const LimitedObjPtr<Alarm>& in_pAlarm, const char* in_szPrefix,
                   const ROConfiguration& in_config);

    /// Adds an observation, and turns the alarm on or off by the average of the observations in the
    /// window. The window need not be full.
    /// Failure: returns false and fails an assertion if `configure` has not succeeded before.
    bool pushObservation(const double& in_dValue);

    /// Read a parameter under a prefix.
    /// Failure: return false, log an ERROR with its name and leave the argument unchanged.
    bool getConfigParameter(const ROConfiguration& in_config, const char* in_szPrefix,
                            const char* in_szName, unsigned long& out_uiValue) const;
    bool getConfigParameter(const ROConfiguration& in_config, const char* in_szPrefix,
                            const char* in_szName, double& out_dValue) const;

  private:
    /// Logs that the parameter is not defined. Returns false.
    bool logMissing(const std::string& in_strKey) const;

    std::unique_ptr<SlidingWindowAvgComputer> m_pAvgComputer;
    LimitedObjPtr<Alarm> m_pAlarm;
    double m_setAlarmThreshold = 0;
    double m_resetAlarmThreshold = 0;
};

} // namespace Velmora
