// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Object.h"

namespace Velmora
{

/// Measures how idle the processors of the machine are. Each platform has an implementation.
class VELMORA_API ProfileTimerInterface : public virtual Object
{
  public:
    ProfileTimerInterface() = default;
    ProfileTimerInterface(const ProfileTimerInterface&) = delete;
    ProfileTimerInterface& operator=(const ProfileTimerInterface&) = delete;
    ~ProfileTimerInterface() override;

    /// Stores the share of the time since the last call, in percent, in which the processors were
    /// idle.
    /// Failure: returns false and leaves the argument unchanged.
    virtual bool getSystemIdleTime(double& out_dPercent) = 0;
};

} // namespace Velmora
