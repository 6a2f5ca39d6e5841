#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/memory/LMHashMap.h"

#include <string>

namespace Velmora
{

/// An alarm that watches others, each known by its id: keeps their last states and calls a derived
/// class when one has changed.
///
/// An alarm that is watched keeps a pointer to this one for good, and this one keeps an entry for
/// it. So nothing that is watched may change any more once this alarm has gone.
///
/// The severity is that of a class which derives from this one directly and passes it on to
/// `AlarmImpl`. Its own argument has no effect in an object of a derived class.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety: none, see `Alarm`. A watched alarm changes this one on its own thread.
/// Ownership: the states are charged to the account "InternalHashMap". They go with the allocators,
/// on the exit list; an object that is still there then may be destroyed, and no more.
class VELMORA_API AlarmStateHashAlarmImpl : public virtual AlarmImpl, public Alarm::Observer
{
  public:
    explicit AlarmStateHashAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~AlarmStateHashAlarmImpl() override;

    /// Takes the new state of an alarm that is watched.
    /// Failure: fails an assertion, and changes nothing, for an alarm that is not.
    void newAlarmState(const Alarm& in_alarm, State in_state) override;

    /// Called when the state of a watched alarm has changed, and when an alarm was added.
    virtual void onNewAlarmState() = 0;

    /// Watches one more alarm from now on; its current state takes effect at once.
    /// Failure: fails an assertion, and does not watch it, if an alarm with that id is watched.
    void addAlarm(Alarm& inout_alarm);

  protected:
    /// Whether an alarm that is watched is on.
    [[nodiscard]] bool isAnyAlarmOn() const;

  private:
    using AlarmStateHash = LMHashMap<std::string, State>;

    /// The last states of the alarms that are watched, by their ids.
    AlarmStateHash m_alarmStateHash;
};

} // namespace Velmora
