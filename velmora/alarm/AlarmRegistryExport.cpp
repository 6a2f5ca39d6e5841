// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/PyRedirectAlarm.h"
#include "velmora/python/ExportedClass.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/python/TSPyObjPtr.h"

namespace Velmora
{

namespace
{

namespace python = boost::python;

/// Returns the alarm that the object owns. Returns null for None, and also, with the error in the
/// log, for an object that is not an alarm.
Alarm* alarmOf(const TSPyObjPtr& in_pObject)
{
    const Python::InterpreterLock lock;
    if (!lock)
        return nullptr;
    try
    {
        const python::extract<Alarm*> alarm(in_pObject);
        if (alarm.check())
            return alarm();
        PyErr_Format(PyExc_TypeError, "expected an alarm, got an object of type %s",
                     Py_TYPE(in_pObject.ptr())->tp_name);
    }
    catch (const python::error_already_set&)
    {
        // A conversion that raises is reported like a missing conversion.
    }
    Python::EmbeddedInterpreter::getInstance().logLastPyException();
    return nullptr;
}

// The functions that Python calls. Each takes the registry's mutex. A thread that holds the mutex
// may wait for the interpreter lock, so they release the interpreter lock first.

bool setAlarmUnlocked(AlarmRegistry& inout_registry, const std::string& in_strId)
{
    const Python::InterpreterUnlock unlock;
    return inout_registry.setAlarm(in_strId);
}

void clearUnlocked(AlarmRegistry& inout_registry)
{
    const Python::InterpreterUnlock unlock;
    inout_registry.clear();
}

} // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the binding passes a temporary.
Alarm* AlarmRegistry::pyAddAlarm(boost::python::object in_object)
{
    // The object is referred to by a handle before the lock is released, as handles may be copied
    // and dropped without it.
    const TSPyObjPtr pObject(in_object);
    const Python::InterpreterUnlock unlock;
    Alarm* const pAlarm = alarmOf(pObject);
    return pAlarm == nullptr ? nullptr
                             : addAlarm(new PyRedirectAlarm(pObject, pAlarm), false).get();
}

void AlarmRegistry::exportToPython()
{
    static constexpr const char* s_szName = "AlarmRegistry";
    using Existing = python::return_value_policy<python::reference_existing_object>;
    if (Python::addExportedClass<AlarmRegistry>(s_szName))
        return;
    python::class_<AlarmRegistry, boost::noncopyable>(s_szName, python::no_init)
        .def("getInstance", &AlarmRegistry::getInstance, Existing())
        .staticmethod("getInstance")
        .def("addAlarm", &AlarmRegistry::pyAddAlarm, Existing())
        .def("setAlarm", &setAlarmUnlocked)
        .def("clear", &clearUnlocked);
}

} // namespace Velmora
