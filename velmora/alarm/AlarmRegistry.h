// SPDX-License-Identifier: BSD-2-Clause

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

/// Holds all alarms of the process by their ids, and allows several threads to use an alarm. The
/// registry gives out handles. A handle performs each operation of its alarm under the registry's
/// one mutex and calls the registry's observers after each change.
///
///     Velmora::LimitedObjPtr<Velmora::Alarm> pAlarm =
///         Velmora::AlarmRegistry::getInstance().addAlarm(new LicenceAlarm, false);
///     pAlarm->set();
///
/// Operations of a handle:
/// - `setState`, and therefore `set` and `reset`, does nothing if the alarm reports that state.
///   Otherwise it sets the state: the alarm logs its line and calls its own observers. Then the
///   handle calls the registry's observers, even if the alarm still reports its old state, as a
///   masked alarm does.
/// - As a consequence, an alarm that counts requests gets one request for on and then one for off.
///   A masked alarm gets no request for off. An aggregate that is on gets no request for on.
/// - `getSeverity` returns 40000 whatever the alarm's severity is.
///
/// The mutex guards an alarm only while it is used through its handle. A direct call of the alarm
/// takes no lock, and neither does an alarm that is called as an observer of another.
///
/// Logs on "keswardin.infra.AlarmRegistry".
///
/// Thread-safety: all operations, and those of handles, may be called on any thread. The mutex is
/// recursive and is held while observers run. Observers may use the registry and its handles, but
/// must not wait for a thread that uses them or that forks. Appenders do not run under the mutex:
/// the lines of alarms wait until the thread has released it. The mutex is taken before any other
/// lock of the library.
/// Ownership: owns its alarms until `clear` or the exit list deletes them, which invalidates all
/// handles. The registry deletes alarms without holding the mutex.
class VELMORA_API AlarmRegistry : public virtual Object
{
  public:
    class Observer;

    AlarmRegistry() = default;
    AlarmRegistry(const AlarmRegistry&) = delete;
    AlarmRegistry& operator=(const AlarmRegistry&) = delete;
    ~AlarmRegistry() override;

    /// Adds an alarm and returns its handle. If there already is an alarm with that id, deletes the
    /// given one and returns the handle of the existing one, or null if `in_bAllowDuplicate` is
    /// false. Returns null for a null pointer.
    /// Ownership: always takes over the alarm. The caller must use the handle from then on.
    /// Failure: a duplicate that is not allowed fails an assertion.
    virtual LimitedObjPtr<Alarm> addAlarm(Alarm* in_pAlarm, bool in_bAllowDuplicate) = 0;

    /// Returns the handle of the alarm with that id, or null if there is none.
    [[nodiscard]] virtual LimitedObjPtr<Alarm> getAlarm(const std::string& in_strId) const = 0;

    /// Appends the handles of all alarms, in no particular order.
    virtual void getAllAlarms(std::vector<LimitedObjPtr<Alarm>>& out_alarms) const = 0;

    /// Adds an observer after the existing ones. An observer that is added twice is called twice.
    /// Does nothing for a null pointer. Ownership: the caller's. The observer must live until it is
    /// removed or the registry is deleted.
    virtual void addObserver(LimitedObjPtr<Observer> in_pObserver) = 0;

    /// Removes the first entry for that observer, if there is one.
    virtual void removeObserver(LimitedObjPtr<Observer> in_pObserver) = 0;

    /// Deletes all alarms. Keeps the observers. May be called by an observer of a change that was
    /// requested through a handle or by a script: the alarms are then removed at once and deleted
    /// after that change. An observer of an alarm that is changed directly must not call it.
    virtual void clear() = 0;

    /// Turn the alarm with that id on or off, through its handle.
    /// Failure: return false, and fail an assertion, if there is no such alarm.
    bool setAlarm(const std::string& in_strId);
    bool resetAlarm(const std::string& in_strId);

    /// Adds the alarm that a Python object owns, keeps the object alive, and returns the handle.
    /// May be called with the interpreter lock held, as the binding does, and then releases it
    /// temporarily. To make the argument, the caller needs that lock.
    /// Failure: returns null for None. Also returns null, and logs the error, for an object that is
    /// not an alarm. A duplicate is handled as in `addAlarm`.
    Alarm* pyAddAlarm(boost::python::object in_object);

    /// Adds the class "AlarmRegistry" to the current scope of Boost.Python. For the initialiser of
    /// an extension module. That module must register a class for `Alarm` itself. The caller holds
    /// the interpreter lock.
    static void exportToPython();

    /// Returns the registry of the process, which exists from the loading of the library on. Must
    /// not be called after the exit list has deleted the registry.
    static AlarmRegistry& getInstance();
};

/// Is called when an alarm is changed through its handle.
class VELMORA_API AlarmRegistry::Observer : public virtual Object
{
  public:
    Observer() = default;
    Observer(const Observer&) = default;
    Observer& operator=(const Observer&) = default;
    ~Observer() override;

    /// Is called after the alarm has been changed, with the registry's mutex held. The alarm
    /// reports its new state. Must not add or remove observers of the registry.
    virtual void newAlarmState(const Alarm& in_alarm) = 0;
};

} // namespace Velmora
