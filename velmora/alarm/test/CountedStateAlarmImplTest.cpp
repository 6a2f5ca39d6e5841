// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/CountedStateAlarmImpl.h"

#include "tests/support/Alarms.h"
#include "tests/support/CapturedAssertions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using Counted = NamedAlarm<CountedStateAlarmImpl>;

const FailedAssertion s_tooManyRequests =
    failedAssertion("m_uiNumOn > 0", "CountedStateAlarmImpl", "keswardin.infra.AlarmImpl");

} // namespace

TEST(CountedStateAlarmImpl, StaysOnUntilTheLastRequestForOff)
{
    const CapturedLog log;
    Counted alarm("a");
    alarm.set();
    alarm.set();
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine("admin.alarm", "Alarm [a] : ALARM_ON")));
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine("admin.alarm", "Alarm [a] : ALARM_ON"),
                                         infoLine("admin.alarm", "Alarm [a] : ALARM_OFF")));
}

TEST(CountedStateAlarmImpl, AssertsThatNobodyAsksForOffTooOften)
{
    const CapturedLog log;
    Counted alarm("a");
    alarm.set();
    alarm.reset();
    alarm.reset();
    EXPECT_THAT(failedAssertions(log), ElementsAre(s_tooManyRequests));
    // The count is still zero, so one request for on and one for off change the state again.
    alarm.set();
    EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(CountedStateAlarmImpl, TakesAStateThatIsNoneForARequestForOff)
{
    const CapturedLog log;
    Counted alarm("a");
    alarm.set();
    alarm.setState(static_cast<Alarm::State>(7));
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

TEST(CountedStateAlarmImpl, NotifiesItsObserversOfChangesOnly)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    Counted alarm("a");
    alarm.addObserver(&observer);
    alarm.set();
    alarm.set();
    alarm.reset();
    alarm.reset();
    EXPECT_THAT(changes.take(),
                ElementsAre("observer: Alarm [a] : ALARM_ON", "observer: Alarm [a] : ALARM_OFF"));
}

TEST(CountedStateAlarmImpl, HasItsSeverityInADerivedClass)
{
    const CapturedLog log;
    Counted alarm("a", Alarm::INFO_SEVERITY);
    EXPECT_EQ(Alarm::INFO_SEVERITY, alarm.getSeverity());
    alarm.set();
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("admin.alarm", "Alarm [a] : ALARM_ON")));
    EXPECT_EQ(Alarm::ERROR_SEVERITY, Counted("b").getSeverity());
}

} // namespace Velmora::Test
