#pragma once

#include "velmora/Export.h"
#include "velmora/alarm/Alarm.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Object.h"
#include "velmora/python/PythonForward.h"

#include <string>
#include <vector>

namespace Velmora
{

/// All alarms of the process by their ids, and the way to use one on several threads: a handle that
/// the registry gives does each operation of the alarm under the registry's one mutex, and calls
/// the registry's observers at each change.
///
///     Velmora::LimitedObjPtr<Velmora::Alarm> pAlarm =
///         Velmora::AlarmRegistry::getInstance().addAlarm(new LicenceAlarm, false);
///     pAlarm->set();
///
/// What a handle does:
/// - `setState`, and so `set` and `reset`, does nothing if the alarm reports that state. Else it
///   sets it, whose line and observers come first, and then calls the registry's observers, even if
///   the alarm, as one that is masked, reports what it did before.
/// - So an alarm that counts requests gets one for on and then one for off; one that is masked gets
///   no request for off, and an aggregate that is on none for on.
/// - `getSeverity` gives 40000 whatever the alarm's is.
///
/// Only the alarm behind a handle is guarded: an alarm that is used directly as well, and one that
/// is reached as an observer of another, takes no lock.
///
/// Logs on "keswardin.infra.AlarmRegistry".
///
/// Thread-safety: all operations, and those of handles, may be called on any thread. The mutex is
/// recursive and is held while observers, and appenders of alarms' lines, run: they may use the
/// registry and handles, and must not wait for a thread that does, or that forks. It comes before
/// any other lock of the library.
/// Ownership: owns its alarms, until `clear` or the exit list deletes them, which makes all handles
/// invalid. An alarm's destructor runs without the mutex.
class VELMORA_API AlarmRegistry : public virtual Object
{
  public:
    class Observer;

    AlarmRegistry() = default;
    AlarmRegistry(const AlarmRegistry&) = delete;
    AlarmRegistry& operator=(const AlarmRegistry&) = delete;
    ~AlarmRegistry() override;

    /// Takes an alarm in and gives its handle. If there is an alarm with that id, the given one is
    /// deleted; the result is then the other's handle if `in_bAllowDuplicate`, else null. Null for
    /// null.
    /// Ownership: takes the alarm over in any case. The caller goes on with the handle.
    /// Failure: a duplicate that is not allowed fails an assertion.
    virtual LimitedObjPtr<Alarm> addAlarm(Alarm* in_pAlarm, bool in_bAllowDuplicate) = 0;

    /// The handle of the alarm with that id, or null.
    [[nodiscard]] virtual LimitedObjPtr<Alarm> getAlarm(const std::string& in_strId) const = 0;

    /// Appends the handles of all alarms, in no particular order.
    virtual void getAllAlarms(std::vector<LimitedObjPtr<Alarm>>& out_alarms) const = 0;

    /// Adds an observer behind the others; one that is added twice is called twice. Does nothing
    /// for null. Ownership: the caller's. The observer must stay until it is removed or the
    /// registry has gone.
    virtual void addObserver(LimitedObjPtr<Observer> in_pObserver) = 0;

    /// Removes the first entry that is that observer, if there is one.
    virtual void removeObserver(LimitedObjPtr<Observer> in_pObserver) = 0;

    /// Deletes all alarms. The observers stay.
    virtual void clear() = 0;

    /// Turns the alarm with that id on, or off.
    /// Failure: false, and a failed assertion, if there is none.
    bool setAlarm(const std::string& in_strId);
    bool resetAlarm(const std::string& in_strId);

    /// Takes in the alarm that a Python object owns, and keeps the object alive. None gives null,
    /// and so does an object that is no alarm, with the error in the log. May be called with the
    /// interpreter lock held, as the binding does, which it gives up for a while; the argument
    /// needs it.
    Alarm* pyAddAlarm(boost::python::object in_object);

    /// Adds the class "AlarmRegistry" to the current scope of Boost.Python, for the initialiser of
    /// an extension module, which registers a class for `Alarm` itself. The caller holds the
    /// interpreter lock.
    static void exportToPython();

    /// The one registry of the process, there from the library's load on. Must not be called once
    /// the exit list has deleted it.
    static AlarmRegistry& getInstance();
};

/// Hears of the changes that are made through handles of the registry.
class VELMORA_API AlarmRegistry::Observer : public virtual Object
{
  public:
    Observer() = default;
    Observer(const Observer&) = default;
    Observer& operator=(const Observer&) = default;
    ~Observer() override;

    /// The alarm has been changed; it says how. Called with the registry's mutex held. Must not add
    /// or remove observers of the registry.
    virtual void newAlarmState(const Alarm& in_alarm) = 0;
};

} // namespace Velmora
