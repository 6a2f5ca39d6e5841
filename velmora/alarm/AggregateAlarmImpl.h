// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmStateHashAlarmImpl.h"

namespace Velmora
{

/// Combines several alarms into one: is on while its own state is on or at least one of the alarms
/// that it watches is on. If it watches none, it behaves like an `AlarmImpl`.
///
/// The severity is 40000 whatever the constructor's argument is, unless a derived class passes
/// another one to `AlarmImpl`.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety, ownership: as for `AlarmStateHashAlarmImpl`.
class VELMORA_API AggregateAlarmImpl : public virtual Alarm, public AlarmStateHashAlarmImpl
{
  public:
    explicit AggregateAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~AggregateAlarmImpl() override;

    void onNewAlarmState() override;

    /// Sets the alarm's own state. While a watched alarm is on, the change only becomes visible
    /// when the last watched alarm goes off.
    void setState(State in_state) override;

  private:
    /// Whether a watched alarm is on.
    bool m_bAnyAlarmOn = false;
    /// The state of the last `setState`.
    State m_ownState = ALARM_OFF;
};

} // namespace Velmora
