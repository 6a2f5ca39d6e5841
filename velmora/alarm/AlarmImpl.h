#pragma once

#include "velmora/alarm/Alarm.h"
#include "velmora/logging/AceCleanupLogger.h"

#include <vector>

namespace Velmora
{

/// The logger "admin.alarm", to which the changes of all alarms go. The pointer stays as it is when
/// the exit list deletes the logger, see `AceCleanupLogger::ifAlive`.
/// Thread-safety: may be called on any thread.
VELMORA_API AceCleanupLogger* adminAlarmLogger();

/// An alarm that has a state, and says so: each change is a line on "admin.alarm", at the alarm's
/// severity when it goes on and at INFO when it goes off, and then a call of each observer, in the
/// order in which they were added. The alarm starts off.
///
/// It is a shared base, so the most derived class constructs it and chooses its severity. Classes
/// of this room that have a severity of their own put it into place in their constructors.
///
/// Thread-safety: none, see `Alarm`.
/// Failure: what a `write` or an observer throws leaves the alarm in its new state.
class VELMORA_API AlarmImpl : public virtual Alarm
{
  public:
    explicit AlarmImpl(Severity in_severity = ERROR_SEVERITY);
    ~AlarmImpl() override;

    [[nodiscard]] Severity getSeverity() const override;
    [[nodiscard]] State getState() const override;

    /// Does nothing if the alarm has that state.
    void setState(State in_state) override;

    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;

  protected:
    /// Calls all observers with the current state.
    void notifyObservers();

    /// Stores the state. True if it is another one than before.
    bool storeState(State in_state)
    {
        if (in_state == m_state) [[likely]]
            return false;
        m_state = in_state;
        return true;
    }

    /// Replaces the severity, for the constructor of a class that has one of its own.
    void storeSeverity(Severity in_severity) { m_severity = in_severity; }

  private:
    void logAndNotify();

    State m_state = ALARM_OFF;
    std::vector<LimitedObjPtr<Observer>> m_observers;
    Severity m_severity;
};

} // namespace Velmora
