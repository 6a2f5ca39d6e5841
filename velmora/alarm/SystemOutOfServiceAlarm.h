// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/SystemAlarm.h"

namespace Velmora
{

/// The alarm "system.out-of-service": the program is stopped, starting or stopping. It calls its
/// observers and logs nothing. A derived class chooses the severity by the argument that it passes
/// to `AlarmImpl`.
///
/// Thread-safety: none, see `Alarm`; the static operation may be called on any thread.
class VELMORA_API SystemOutOfServiceAlarm : public SystemAlarm, public virtual AlarmImpl
{
  public:
    ~SystemOutOfServiceAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    /// Changes the state and calls the observers, without a line in the log.
    void setState(State in_state) override;

    static const char* sGetDescription();
};

} // namespace Velmora
