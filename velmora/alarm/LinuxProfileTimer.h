// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/ProfileTimerInterface.h"

#include <cstdint>

namespace Velmora
{

/// Measures the idle time of the system, over all processors, from the kernel's counters in
/// /proc/stat (proc(5)). The first call opens the file; each call reads it once.
///
/// Thread-safety: belongs to one thread at a time. The child of a fork must not use the object of
/// its parent, as both share the position in the file; it makes one of its own.
class VELMORA_API LinuxProfileTimer : public ProfileTimerInterface
{
  public:
    LinuxProfileTimer();
    ~LinuxProfileTimer() override;

    /// Stores the share of idle time since the last successful call, rounded to a whole percent.
    /// The first call has nothing to compare with and stores 100. If no clock tick has passed since
    /// the last successful call, stores the same value again. Iowait does not count as idle. A
    /// counter that decreases, as the kernel's iowait may, counts as unchanged.
    /// Failure: returns false and logs an ERROR, after the ERROR of `readCpuStats` that states the
    /// reason. The next successful call compares with the last successful one.
    bool getSystemIdleTime(double& out_dPercent) override;

    /// Stores the counters since the start of the system, in clock ticks.
    /// Failure: returns false and logs an ERROR with the reason.
    bool readCpuStats(std::uint64_t& out_uiUser, std::uint64_t& out_uiNice,
                      std::uint64_t& out_uiSystem, std::uint64_t& out_uiIdle,
                      std::uint64_t& out_uiIowait, std::uint64_t& out_uiIrq,
                      std::uint64_t& out_uiSoftirq, std::uint64_t& out_uiSteal);

  private:
    /// The counters of one reading, in clock ticks.
    struct Counters
    {
        std::uint64_t uiUser = 0;
        std::uint64_t uiNice = 0;
        std::uint64_t uiSystem = 0;
        std::uint64_t uiIrq = 0;
        std::uint64_t uiSoftirq = 0;
        std::uint64_t uiIowait = 0;
        std::uint64_t uiSteal = 0;
        std::uint64_t uiIdle = 0;
    };

    /// Whether `m_last` holds a reading.
    bool m_bHasBaseline = false;
    /// The descriptor of /proc/stat, -1 before it is opened.
    int m_iFile = -1;
    /// The result of the last successful call.
    double m_dLastPercent = 0;
    /// The counters of the last successful call.
    Counters m_last;
};

} // namespace Velmora
