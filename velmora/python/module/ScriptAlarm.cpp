// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/module/ScriptAlarm.h"

#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"
#include "velmora/system/WholeText.h"

#include <cstdlib>
#include <ostream>

namespace Velmora
{

namespace python = boost::python;

namespace
{

/// Holds the registry's mutex and releases the interpreter lock, for a scope in an operation that a
/// script calls. A thread that holds the mutex may wait for the interpreter lock, so the latter is
/// released first.
class OutsidePython
{
    const Python::InterpreterUnlock m_unlock;
    const AlarmRegistryImpl::Lock m_lock{*AlarmRegistryImpl::getInstance()};
};

[[noreturn]] void raiseNotDefined(PyObject* in_pSelf, const char* in_szMethod)
{
    PyErr_Format(PyExc_NotImplementedError, "%s does not define %s", Py_TYPE(in_pSelf)->tp_name,
                 in_szMethod);
    python::throw_error_already_set();
    // Never reached, but Boost.Python does not declare that the function above does not return.
    std::abort();
}

/// Raises NotImplementedError if the alarm is one of a script. Scripts must define the method.
void failIfOfScript(const Alarm& in_alarm, const char* in_szMethod)
{
    if (const auto* const pScripts = dynamic_cast<const ScriptAlarm*>(&in_alarm))
        raiseNotDefined(python::detail::wrapper_base_::get_owner(*pScripts), in_szMethod);
}

// The methods of the Python class "Alarm". For an alarm that a script defines, they are called if
// the script does not override them. For any other alarm, they call the alarm's own operations.
// They do not take const references, as Boost.Python would then search for conversions that make an
// alarm.

std::string getAlarmId(Alarm& in_alarm)
{
    failIfOfScript(in_alarm, "getAlarmId");
    const OutsidePython outside;
    std::string strId;
    in_alarm.getAlarmId(strId);
    return strId;
}

std::string getDescription(Alarm& in_alarm)
{
    failIfOfScript(in_alarm, "getDescription");
    const OutsidePython outside;
    return wholeText([&in_alarm](std::ostream& out_stream)
                     { in_alarm.writeDescription(out_stream); });
}

std::string toString(Alarm& in_alarm)
{
    const OutsidePython outside;
    return wholeText([&in_alarm](std::ostream& out_stream) { out_stream << in_alarm; });
}

int getSeverity(Alarm& in_alarm) { return static_cast<int>(in_alarm.getSeverity()); }

Alarm::State getState(Alarm& in_alarm)
{
    const OutsidePython outside;
    // The script's own `getState` may call this one, so the virtual function must not be called: it
    // would call the script again.
    const auto* const pScripts = dynamic_cast<const ScriptAlarm*>(&in_alarm);
    return pScripts == nullptr ? in_alarm.getState() : pScripts->AlarmImpl::getState();
}

void setState(Alarm& inout_alarm, Alarm::State in_state)
{
    const OutsidePython outside;
    if (auto* const pScripts = dynamic_cast<ScriptAlarm*>(&inout_alarm))
        pScripts->AlarmImpl::setState(in_state);
    else
        inout_alarm.setState(in_state);
}

void set(Alarm& inout_alarm)
{
    const OutsidePython outside;
    inout_alarm.set();
}

bool reset(Alarm& inout_alarm)
{
    const OutsidePython outside;
    return inout_alarm.reset();
}

} // namespace

ScriptAlarm::ScriptAlarm(int in_iSeverity) : AlarmImpl(static_cast<Severity>(in_iSeverity)) {}

ScriptAlarm::~ScriptAlarm() = default;

template <class Use, class... Arguments>
ScriptAlarm::Outcome ScriptAlarm::askScript(const char* in_szMethod, Need in_need,
                                            const Use& in_use,
                                            const Arguments&... in_arguments) const
{
    const Python::InterpreterLock lock;
    if (!lock)
        return Outcome::NOT_ENTERED;
    try
    {
        const python::override method = get_override(in_szMethod);
        if (!method)
        {
            if (in_need == Need::OPTIONAL)
                return Outcome::NOT_DEFINED;
            raiseNotDefined(python::detail::wrapper_base_::get_owner(*this), in_szMethod);
        }
        in_use(python::call<python::object>(method.ptr(), in_arguments...));
        return Outcome::GIVEN;
    }
    catch (const python::error_already_set&)
    {
        Python::EmbeddedInterpreter::getInstance().logLastPyException();
        return Outcome::FAILED;
    }
}

std::ostream& ScriptAlarm::writeText(Text& inout_text, std::ostream& out_stream) const
{
    std::string strText;
    const Outcome outcome = askScript(inout_text.szMethod, Need::REQUIRED,
                                      [&](const python::object& in_result)
                                      { strText = python::extract<std::string>(in_result)(); });
    // The text is copied and written under the mutex, which guards `inout_text`.
    const OutsidePython outside;
    if (outcome == Outcome::GIVEN)
        inout_text.strLast = strText;
    return out_stream << inout_text.strLast;
}

std::ostream& ScriptAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return writeText(m_alarmId, out_stream);
}

std::ostream& ScriptAlarm::writeDescription(std::ostream& out_stream) const
{
    return writeText(m_description, out_stream);
}

Alarm::State ScriptAlarm::getState() const
{
    State state = AlarmImpl::getState();
    askScript("getState", Need::OPTIONAL,
              [&](const python::object& in_result)
              { state = static_cast<State>(python::extract<int>(in_result)()); });
    return state;
}

void ScriptAlarm::setState(State in_state)
{
    const Outcome outcome = askScript(
        "setState", Need::OPTIONAL, [](const python::object&) {}, in_state);
    if (outcome == Outcome::NOT_DEFINED || outcome == Outcome::NOT_ENTERED)
        AlarmImpl::setState(in_state);
}

void ScriptAlarm::exportToPython()
{
    python::enum_<State>("AlarmState").value("ALARM_OFF", ALARM_OFF).value("ALARM_ON", ALARM_ON);
    python::class_<ScriptAlarm, boost::noncopyable>(
        "Alarm", python::init<int>((python::arg("severity") = 40000)))
        .def("getAlarmId", &Velmora::getAlarmId)
        .def("getDescription", &Velmora::getDescription)
        .def("getSeverity", &Velmora::getSeverity)
        .def("getState", &Velmora::getState)
        .def("setState", &Velmora::setState, python::arg("state"))
        .def("set", &Velmora::set)
        .def("reset", &Velmora::reset)
        .def("__str__", &toString);
}

} // namespace Velmora
