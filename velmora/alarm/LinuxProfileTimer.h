#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/ProfileTimerInterface.h"

#include <cstdint>

namespace Velmora
{

/// The idle time of the system by the counters that the kernel has in /proc/stat (proc(5)), over
/// all processors. The file is opened at the first call and read once in each.
///
/// Thread-safety: belongs to one thread at a time. The child of a fork has an object of its own, or
/// none: the position in the file is its parent's too.
class VELMORA_API LinuxProfileTimer : public ProfileTimerInterface
{
  public:
    LinuxProfileTimer();
    ~LinuxProfileTimer() override;

    /// The first call has nothing to compare with and gives 100. Each later one gives the share of
    /// the time since the last one that succeeded, rounded to a whole percent; if no clock tick has
    /// passed, what the last one gave. Iowait does not count as idle. A counter that steps back, as
    /// the kernel's iowait may, counts as one that stands still.
    /// Failure: false and an ERROR, behind the one that gives the reason. The next success compares
    /// with the last one.
    bool getSystemIdleTime(double& out_dPercent) override;

    /// Gives the counters since the start of the system, in clock ticks.
    /// Failure: false and an ERROR with the reason.
    bool readCpuStats(std::uint64_t& out_uiUser, std::uint64_t& out_uiNice,
                      std::uint64_t& out_uiSystem, std::uint64_t& out_uiIdle,
                      std::uint64_t& out_uiIowait, std::uint64_t& out_uiIrq,
                      std::uint64_t& out_uiSoftirq, std::uint64_t& out_uiSteal);

  private:
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

    bool m_bHasBaseline = false;
    int m_iFile = -1;
    double m_dLastPercent = 0;
    Counters m_last;
};

} // namespace Velmora
