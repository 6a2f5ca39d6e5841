// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/python/BoostPython.h"

#include <string>

namespace Velmora
{

/// An alarm that a script defines. The script's class derives from the Python class `Alarm` and
/// defines the id and the description. It may override `getState` and `setState`; otherwise those
/// of `AlarmImpl` are used.
///
/// Each operation enters Python itself, so native code uses the alarm like any other. When Python
/// cannot be entered any more, the id and the description are the last ones that were written, and
/// the state is that of `AlarmImpl`.
///
/// Ownership: the Python object's, which the registry keeps alive.
/// Thread-safety: that of `AlarmImpl`. The methods of the Python class hold the registry's mutex,
/// as the handle of the alarm does, so a script and native code may use one alarm concurrently.
/// Failure: an exception of the script is logged with its traceback. The id and the description are
/// then the last ones that were written, or "???" if there are none. The state does not change, and
/// is reported as that of `AlarmImpl`.
class ScriptAlarm : public virtual AlarmImpl, public boost::python::wrapper<Alarm>
{
  public:
    /// `in_iSeverity` is a log level.
    explicit ScriptAlarm(int in_iSeverity);
    ~ScriptAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    [[nodiscard]] State getState() const override;
    void setState(State in_state) override;

    /// Adds the classes "Alarm" and "AlarmState" to the current scope of Boost.Python. Scripts see
    /// all alarms as objects of the class "Alarm". The caller holds the interpreter lock.
    static void exportToPython();

  private:
    /// The last text that a method of the script has returned.
    struct Text
    {
        const char* szMethod;
        std::string strLast{"???"};
    };

    /// The outcome of `askScript`.
    enum class Outcome
    {
        NOT_ENTERED,
        NOT_DEFINED,
        GIVEN,
        FAILED
    };

    /// Whether the script must define a method.
    enum class Need
    {
        OPTIONAL,
        REQUIRED
    };

    /// Calls a method of the script with the arguments, and `in_use` with its result.
    /// Failure: logs an exception of the script or of `in_use` and returns FAILED.
    template <class Use, class... Arguments>
    Outcome askScript(const char* in_szMethod, Need in_need, const Use& in_use,
                      const Arguments&... in_arguments) const;

    /// Writes the text that the script returns, or the last one if the script fails.
    std::ostream& writeText(Text& inout_text, std::ostream& out_stream) const;

    // The registry's mutex guards both. A fork waits until no thread holds it, so the texts are
    // consistent in the child.
    mutable Text m_alarmId{"getAlarmId"};
    mutable Text m_description{"getDescription"};
};

} // namespace Velmora
