// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/memory/LMHashMap.h"

#include <string>

namespace Velmora
{

/// An alarm that watches other alarms, which it identifies by their ids. It stores their last
/// states and calls a derived class when one changes.
///
/// A watched alarm keeps a pointer to this alarm permanently, and this alarm keeps an entry for it.
/// Therefore a watched alarm must not change after this alarm has been deleted.
///
/// The most derived class chooses the severity, by the argument that it passes to `AlarmImpl`. The
/// argument of this class's constructor has no effect in an object of a derived class.
///
/// Logs on "keswardin.infra.AlarmImpl".
///
/// Thread-safety: none, see `Alarm`. A watched alarm changes this one on the thread that changes
/// the watched alarm.
/// Ownership: the states are charged to the account "InternalHashMap". The exit list frees them
/// together with the allocators; an object that exists after that may only be destroyed.
class VELMORA_API AlarmStateHashAlarmImpl : public virtual AlarmImpl, public Alarm::Observer
{
  public:
    explicit AlarmStateHashAlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~AlarmStateHashAlarmImpl() override;

    /// Stores the new state of a watched alarm.
    /// Failure: fails an assertion, and changes nothing, for an alarm that is not watched.
    void newAlarmState(const Alarm& in_alarm, State in_state) override;

    /// Is called after the state of a watched alarm has changed, and after an alarm was added.
    virtual void onNewAlarmState() = 0;

    /// Begins to watch an alarm. Its current state takes effect at once.
    /// Failure: if an alarm with that id is watched already, fails an assertion and does not watch
    /// this one.
    void addAlarm(Alarm& inout_alarm);

  protected:
    /// Returns true if at least one watched alarm is on.
    [[nodiscard]] bool isAnyAlarmOn() const;

  private:
    using AlarmStateHash = LMHashMap<std::string, State>;

    /// The last states of the watched alarms, by their ids.
    AlarmStateHash m_alarmStateHash;
};

} // namespace Velmora
