#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/LinuxProfileTimer.h"
#include "velmora/alarm/ProfileTimerInterface.h"
#include "velmora/memory/InAccount.h"

#include <ace/Profile_Timer.h>

#include <memory>

namespace Velmora
{

/// ACE's timer of the process, and the idle time of the system. 100 less the idle time is what a
/// monitor of the processors is fed with; the time between two calls is what it measures.
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

    /// As `LinuxProfileTimer` has it.
    bool getSystemIdleTime(double& out_dPercent) override;

  private:
    std::unique_ptr<ProfileTimerInterface> m_pImpl;
};

} // namespace Velmora
