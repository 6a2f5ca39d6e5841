// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/Alarm.h"
#include "velmora/logging/AceCleanupLogger.h"

#include <vector>

namespace Velmora
{

/// Returns the logger "admin.alarm", on which all alarms log their changes. The exit list deletes
/// the logger; the pointer is the same afterwards, see `AceCleanupLogger::ifAlive`.
/// Thread-safety: may be called on any thread.
VELMORA_API AceCleanupLogger* adminAlarmLogger();

/// Stores the state of an alarm and reports its changes. On each change it logs a line on
/// "admin.alarm", at the alarm's severity when it goes on and at INFO when it goes off. Then it
/// calls the observers in the order in which they were added. The alarm is off at first.
///
/// This is a virtual base class, so the most derived class constructs it and chooses the severity.
/// Classes of the library that have a severity of their own store it in their constructors.
///
/// Thread-safety: none, see `Alarm`.
/// Failure: an exception of `write` or of an observer leaves the alarm in its new state.
class VELMORA_API AlarmImpl : public virtual Alarm
{
  public:
    explicit AlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~AlarmImpl() override;

    [[nodiscard]] Severity getSeverity() const override;
    [[nodiscard]] State getState() const override;

    /// Changes the state, logs and calls the observers. Does nothing if the alarm has that state.
    void setState(State in_state) override;

    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;

  protected:
    /// Calls all observers with the current state.
    void notifyObservers();

    /// Stores the state. Returns true if it differs from the old one.
    bool storeState(State in_state)
    {
        if (in_state == m_state) [[likely]]
            return false;
        m_state = in_state;
        return true;
    }

    /// Replaces the severity. For constructors of classes that have a severity of their own.
    void storeSeverity(Severity in_severity) { m_severity = in_severity; }

  private:
    void logAndNotify();

    State m_state = ALARM_OFF;
    std::vector<LimitedObjPtr<Observer>> m_observers;
    Severity m_severity;
};

} // namespace Velmora
