// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Object.h"
#include "velmora/application/OutputStreamable.h"
#include "velmora/logging/LogLevel.h"
#include "velmora/logging/Resettable.h"

#include <iosfwd>
#include <string>

namespace Velmora
{

/// A condition that an operator needs to know about and that is either on or off: the system is
/// overloaded, the configuration has errors. The `AlarmRegistry`, and alarms that watch others,
/// identify an alarm by its id: to them, two alarms with the same id are the same alarm.
///
/// A program derives from `AlarmImpl`, which keeps the state and the observers, and defines the id
/// and the description:
///
///     class LicenceAlarm : public virtual AlarmImpl
///     {
///       public:
///         std::ostream& writeAlarmId(std::ostream& out_stream) const override;
///         std::ostream& writeDescription(std::ostream& out_stream) const override;
///     };
///
/// Thread-safety: none, for this and all other alarms. Threads that use an alarm concurrently must
/// use the handle that `AlarmRegistry::addAlarm` returns.
class VELMORA_API Alarm : public virtual Object,
                          public virtual Resettable,
                          public virtual OutputStreamable
{
  public:
    enum State : int
    {
        ALARM_OFF = 0,
        ALARM_ON = 1
    };

    /// The level of the line that an alarm logs when it goes on. Any other `LogLevel` is valid too.
    enum Severity : int
    {
        ERROR_SEVERITY = ERROR_LOG_LEVEL,
        WARN_SEVERITY = WARN_LOG_LEVEL,
        INFO_SEVERITY = INFO_LOG_LEVEL,
        DEBUG_SEVERITY = DEBUG_LOG_LEVEL
    };

    class Observer;

    Alarm() = default;
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
    ~Alarm() override;

    /// Turns the alarm off. Returns true.
    bool reset() override;

    /// Returns the severity: ERROR_SEVERITY unless the class overrides it. A handle of the registry
    /// always returns ERROR_SEVERITY.
    [[nodiscard]] virtual Severity getSeverity() const;

    /// Stores the text that `writeAlarmId` writes.
    virtual void getAlarmId(std::string& out_strId) const;

    /// Writes the id and returns the stream.
    virtual std::ostream& writeAlarmId(std::ostream& out_stream) const = 0;

    /// Writes a description of the alarm for operators and returns the stream.
    virtual std::ostream& writeDescription(std::ostream& out_stream) const = 0;

    /// Writes the id and the state, as in "Alarm [system.overload] : ALARM_ON", and returns the
    /// stream.
    std::ostream& write(std::ostream& out_stream) const override;

    [[nodiscard]] virtual State getState() const = 0;

    /// Requests a state. The class defines which state results and whether observers are called.
    virtual void setState(State in_state) = 0;

    /// Turns the alarm on.
    virtual void set();

    /// Adds an observer after the existing ones. An observer that is added twice is called twice.
    /// Ownership: the caller's. The observer must live until it is removed or the alarm is deleted.
    virtual void addObserver(LimitedObjPtr<Observer> in_pObserver) = 0;

    /// Removes the first entry for that observer, if there is one.
    virtual void removeObserver(LimitedObjPtr<Observer> in_pObserver) = 0;
};

/// Is called when an alarm that it was added to changes its state.
class VELMORA_API Alarm::Observer : public virtual Object
{
  public:
    Observer() = default;
    Observer(const Observer&) = default;
    Observer& operator=(const Observer&) = default;
    ~Observer() override;

    /// Is called after the alarm's state has changed to `in_state`. Must not add or remove
    /// observers of that alarm. If the alarm was changed through a handle of the registry, the
    /// registry's mutex is held.
    virtual void newAlarmState(const Alarm& in_alarm, State in_state) = 0;
};

/// Writes "ALARM_OFF" or "ALARM_ON", and "???AlarmSTATE???" for any other value.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, Alarm::State in_state);

} // namespace Velmora
