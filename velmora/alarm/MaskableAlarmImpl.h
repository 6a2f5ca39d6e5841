#pragma once

#include "velmora/alarm/AlarmStateHashAlarmImpl.h"

namespace Velmora
{

/// An alarm that others hide: it is on while its own state is on and none of the alarms that it
/// watches is. It comes and goes with the mask like with its own state, with a line and a call of
/// its observers.
///
/// The severity is 40000 whatever the argument is, unless a derived class passes another one to
/// `AlarmImpl`.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety, ownership: as `AlarmStateHashAlarmImpl`.
class VELMORA_API MaskableAlarmImpl : public virtual Alarm, public AlarmStateHashAlarmImpl
{
  public:
    explicit MaskableAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~MaskableAlarmImpl() override;

    void onNewAlarmState() override;

    /// Sets the alarm's own state. While it is hidden, that shows when the mask lifts.
    void setState(State in_state) override;

  private:
    /// Whether an alarm that is watched is on.
    bool m_bAnyAlarmOn = false;
    /// What was asked for.
    State m_ownState = ALARM_OFF;
};

} // namespace Velmora
