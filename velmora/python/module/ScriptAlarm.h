#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/python/BoostPython.h"

#include <string>

namespace Velmora
{

/// An alarm that a script defines: a Python class that derives from `Alarm` and gives the id and
/// the description, and may take a hand in the state. What it does not define is that of
/// `AlarmImpl`.
///
/// Each operation enters Python by itself, so native code calls it as any other alarm. Once Python
/// cannot be entered any more, the texts are those that were written last, and the state is that of
/// `AlarmImpl`.
///
/// Ownership: the Python object's, which the registry keeps alive.
/// Thread-safety: that of `AlarmImpl`. The Python operations hold the registry's lock, as its
/// handle for this alarm does, so a script and native code may use one alarm concurrently.
/// Failure: an exception in the script is logged with its traceback. The id and the description are
/// then those that were written last, "???" if there were none, and the state is the one before.
class ScriptAlarm : public virtual AlarmImpl, public boost::python::wrapper<Alarm>
{
  public:
    /// The severity is a log level.
    explicit ScriptAlarm(int in_iSeverity);
    ~ScriptAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    [[nodiscard]] State getState() const override;
    void setState(State in_state) override;

    /// Registers the class "Alarm", through which scripts see all alarms, and "AlarmState".
    static void exportToPython();

  private:
    /// A text that a method of the script gives, as it was last.
    struct Text
    {
        const char* szMethod;
        std::string strLast{"???"};
    };

    enum class Outcome
    {
        NOT_ENTERED,
        NOT_DEFINED,
        GIVEN,
        FAILED
    };

    /// Whether the script has to define a method.
    enum class Need
    {
        OPTIONAL,
        REQUIRED
    };

    template <class Use, class... Arguments>
    Outcome askScript(const char* in_szMethod, Need in_need, const Use& in_use,
                      const Arguments&... in_arguments) const;
    std::ostream& writeText(Text& inout_text, std::ostream& out_stream) const;

    // Guarded by the registry's mutex, which a fork holds too.
    mutable Text m_alarmId{"getAlarmId"};
    mutable Text m_description{"getDescription"};
};

} // namespace Velmora
