#pragma once

#include "velmora/Export.h"
#include "velmora/application/Object.h"

namespace Velmora
{

/// How busy the processors of the machine are. Each platform has an implementation.
class VELMORA_API ProfileTimerInterface : public virtual Object
{
  public:
    ProfileTimerInterface() = default;
    ProfileTimerInterface(const ProfileTimerInterface&) = delete;
    ProfileTimerInterface& operator=(const ProfileTimerInterface&) = delete;
    ~ProfileTimerInterface() override;

    /// Gives the share of time, in percent, in which the processors had nothing to do since the
    /// last call.
    /// Failure: false, and the argument is left alone.
    virtual bool getSystemIdleTime(double& out_dPercent) = 0;
};

} // namespace Velmora
