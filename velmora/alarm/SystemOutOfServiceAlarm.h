#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/SystemAlarm.h"

namespace Velmora
{

/// "system.out-of-service": the program is stopped, starting or stopping. It notifies
/// its observers and logs nothing. A derived class chooses the severity, which it passes to
/// `AlarmImpl`.
///
/// Thread-safety: none, see `Alarm`; the static operation may be called on any thread.
class VELMORA_API SystemOutOfServiceAlarm : public SystemAlarm, public virtual AlarmImpl
{
  public:
    ~SystemOutOfServiceAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    void setState(State in_state) override;

    static const char* sGetDescription();
};

} // namespace Velmora
