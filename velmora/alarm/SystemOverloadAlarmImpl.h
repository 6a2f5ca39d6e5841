// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/SystemOverloadAlarm.h"

namespace Velmora
{

/// The alarm of one source of overload. When it goes on for the first time, it joins the system's
/// alarm, `AggregateSystemOverloadAlarm`, which is on while at least one source is on. The severity
/// is 30000.
///
/// A program with several sources derives a class for each and overrides `writeAlarmId`, as two
/// sources with the same id cannot both join. In the registry, the id "system.overload" itself is
/// that of the system's alarm.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety: none, see `Alarm`. The system's alarm is changed on the thread that changes the
/// source. Sources that change on several threads must be added to the registry and used through
/// their handles.
/// Failure: after `AlarmRegistry::clear` or the exit list has deleted the system's alarm, the next
/// `setState` fails an assertion. The source then works without the system's alarm.
class VELMORA_API SystemOverloadAlarmImpl : public SystemOverloadAlarm, public virtual AlarmImpl
{
  public:
    SystemOverloadAlarmImpl();
    ~SystemOverloadAlarmImpl() override;

    void setState(State in_state) override;

  protected:
    /// Joins the system's alarm, unless an earlier call has tried to.
    /// Failure: fails an assertion if the system's alarm has been deleted.
    void aggregate();

  private:
    /// Drops the pointers to the system's alarm if that has been deleted.
    void leaveAggregateThatHasGone();

    /// Whether `aggregate` has been called.
    bool m_bAggregated = false;
    /// The system's alarm, if this source has joined it. The pointer may dangle: once the alarm has
    /// been deleted, it is only compared and removed from the observers.
    LimitedObjPtr<Observer> m_pAggregate;
};

} // namespace Velmora
