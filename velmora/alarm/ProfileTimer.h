// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/LinuxProfileTimer.h"
#include "velmora/alarm/ProfileTimerInterface.h"
#include "velmora/memory/InAccount.h"

#include <ace/Profile_Timer.h>

#include <memory>

namespace Velmora
{

/// Combines ACE's timer of the process with the idle time of the system. To monitor the processors,
/// a program pushes 100 minus the idle time to a monitor. Each value covers the time since the
/// previous call.
///
///     ProfileTimer timer;
///     double dIdle = 0;
///     if (timer.getSystemIdleTime(dIdle))      // on a timer of the program
///         monitor.pushObservation(100 - dIdle);
///
/// Thread-safety: belongs to one thread at a time.
class VELMORA_API ProfileTimer : public ACE_Profile_Timer,
                                 public ProfileTimerInterface,
                                 public InAccount<"ProfileTimer">
{
  public:
    ProfileTimer();
    ~ProfileTimer() override;

    /// As `LinuxProfileTimer::getSystemIdleTime`.
    bool getSystemIdleTime(double& out_dPercent) override;

  private:
    std::unique_ptr<ProfileTimerInterface> m_pImpl;
};

} // namespace Velmora
