// SPDX-License-Identifier: BSD-2-Clause

// Fails an assertion that aborts the process, in an observer of an alarm: under the alarm
// registry's mutex.

#include "velmora/application/Assertion.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/Alarms.h"

using namespace Velmora;

namespace
{

class Observer : public Alarm::Observer
{
  public:
    void newAlarmState(const Alarm&, Alarm::State) override
    {
        VELMORA_LOG(Logger("keswardin.test"), WARN_LOG_LEVEL, "line under the lock");
        const Assertion assertion(false, "of the observer", __FILE__, __LINE__);
    }
};

} // namespace

int main()
{
    Assertion::setAbortOnAssert(true);
    Observer observer;
    const LimitedObjPtr<Alarm> pAlarm =
        AlarmRegistry::getInstance().addAlarm(new Test::NamedAlarm<>("observed"), false);
    pAlarm->addObserver(LimitedObjPtr<Alarm::Observer>(&observer));
    pAlarm->setState(Alarm::ALARM_ON);
    return 1;
}
