// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmStateHashAlarmImpl.h"

namespace Velmora
{

/// An alarm that other alarms mask: it is on while its own state is on and none of the alarms that
/// it watches is on. When masking or unmasking changes its state, it logs a line and calls its
/// observers, as for a change of its own state.
///
/// The severity is 40000 whatever the constructor's argument is, unless a derived class passes
/// another one to `AlarmImpl`.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety, ownership: as for `AlarmStateHashAlarmImpl`.
class VELMORA_API MaskableAlarmImpl : public virtual Alarm, public AlarmStateHashAlarmImpl
{
  public:
    explicit MaskableAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~MaskableAlarmImpl() override;

    void onNewAlarmState() override;

    /// Sets the alarm's own state. While the alarm is masked, the change only becomes visible when
    /// the last watched alarm goes off.
    void setState(State in_state) override;

  private:
    /// Whether a watched alarm is on, which masks this one.
    bool m_bAnyAlarmOn = false;
    /// The state of the last `setState`.
    State m_ownState = ALARM_OFF;
};

} // namespace Velmora
