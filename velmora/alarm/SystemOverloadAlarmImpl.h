#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/SystemOverloadAlarm.h"

namespace Velmora
{

/// One source of overload. The first time that it goes on it joins the alarm of the system,
/// `AggregateSystemOverloadAlarm`, which is then on whenever a source is. The severity is 30000.
///
/// A program with several sources derives a class for each and overrides `writeAlarmId`, as two
/// with one id cannot both join. The id "system.overload" itself is that of the system's alarm in
/// the registry.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety: none, see `Alarm`. The alarm of the system is changed on the thread of the
/// source; sources that change on several threads stand in the registry and are used through their
/// handles. Failure: once the alarm of the system has gone, with `AlarmRegistry::clear` or at exit,
/// the next change fails an assertion, and the source goes on by itself.
class VELMORA_API SystemOverloadAlarmImpl : public SystemOverloadAlarm, public virtual AlarmImpl
{
  public:
    SystemOverloadAlarmImpl();
    ~SystemOverloadAlarmImpl() override;

    void setState(State in_state) override;

  protected:
    /// Joins the alarm of the system, unless it has done so.
    void aggregate();

  private:
    void leaveAggregateThatHasGone();

    /// Whether it has tried to join.
    bool m_bAggregated = false;
    /// What it has joined, as long as it has not left; only compared once it has gone.
    LimitedObjPtr<Observer> m_pAggregate;
};

} // namespace Velmora
