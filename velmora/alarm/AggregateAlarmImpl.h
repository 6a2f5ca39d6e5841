#pragma once

#include "velmora/alarm/AlarmStateHashAlarmImpl.h"

namespace Velmora
{

/// An alarm that stands for several: it is on while its own state is on or one of the alarms that
/// it watches is. Without any it is like an `AlarmImpl`.
///
/// The severity is 40000 whatever the argument is, unless a derived class passes another one to
/// `AlarmImpl`.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety, ownership: as `AlarmStateHashAlarmImpl`.
class VELMORA_API AggregateAlarmImpl : public virtual Alarm, public AlarmStateHashAlarmImpl
{
  public:
    explicit AggregateAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~AggregateAlarmImpl() override;

    void onNewAlarmState() override;

    /// Sets the alarm's own state. While a watched alarm is on, that shows when the last one has
    /// gone off.
    void setState(State in_state) override;

  private:
    /// Whether an alarm that is watched is on.
    bool m_bAnyAlarmOn = false;
    /// What was asked for.
    State m_ownState = ALARM_OFF;
};

} // namespace Velmora
