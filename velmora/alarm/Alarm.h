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

/// Something that an operator cares about and that is either on or off: the system is overloaded,
/// the configuration has errors. Two alarms that write the same id are the same alarm to the
/// `AlarmRegistry` and to alarms that watch others.
///
/// A program derives from `AlarmImpl`, which keeps state and observers, and says what the alarm is:
///
///     class LicenceAlarm : public virtual AlarmImpl
///     {
///       public:
///         std::ostream& writeAlarmId(std::ostream& out_stream) const override;
///         std::ostream& writeDescription(std::ostream& out_stream) const override;
///     };
///
/// Thread-safety: none, as of all alarms. Threads that may use an alarm at the same time do so
/// through the handle that `AlarmRegistry::addAlarm` gives.
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

    /// The level of the line that says that an alarm is on. Any other `LogLevel` is legal too.
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

    /// Turns the alarm off. Gives true.
    bool reset() override;

    /// ERROR_SEVERITY unless the class has another; always so for a handle of the registry.
    [[nodiscard]] virtual Severity getSeverity() const;

    /// What `writeAlarmId` writes.
    virtual void getAlarmId(std::string& out_strId) const;

    /// Writes the id and returns the stream.
    virtual std::ostream& writeAlarmId(std::ostream& out_stream) const = 0;

    /// Writes what the alarm means to an operator and returns the stream.
    virtual std::ostream& writeDescription(std::ostream& out_stream) const = 0;

    /// Writes id and state, as in "Alarm [system.overload] : ALARM_ON", and returns the stream.
    std::ostream& write(std::ostream& out_stream) const override;

    [[nodiscard]] virtual State getState() const = 0;

    /// Asks for a state. What comes of it, and whether observers hear of it, is said by the class.
    virtual void setState(State in_state) = 0;

    /// Turns the alarm on.
    virtual void set();

    /// Adds an observer behind the others; one that is added twice is called twice.
    /// Ownership: the caller's. The observer must stay until it is removed or the alarm has gone.
    virtual void addObserver(LimitedObjPtr<Observer> in_pObserver) = 0;

    /// Removes the first entry that is that observer, if there is one.
    virtual void removeObserver(LimitedObjPtr<Observer> in_pObserver) = 0;
};

/// Hears of the changes of the alarms that it was added to.
class VELMORA_API Alarm::Observer : public virtual Object
{
  public:
    Observer() = default;
    Observer(const Observer&) = default;
    Observer& operator=(const Observer&) = default;
    ~Observer() override;

    /// The alarm has that state now. Must not add or remove observers of that alarm. If the alarm
    /// was changed through a handle of the registry, the registry's mutex is held.
    virtual void newAlarmState(const Alarm& in_alarm, State in_state) = 0;
};

/// Writes "ALARM_OFF" or "ALARM_ON", and "???AlarmSTATE???" for any other value.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, Alarm::State in_state);

} // namespace Velmora
