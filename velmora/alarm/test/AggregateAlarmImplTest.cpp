// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AggregateAlarmImpl.h"

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

using Aggregate = NamedAlarm<AggregateAlarmImpl>;

constexpr const char* s_szLogger = "admin.alarm";

} // namespace

TEST(AggregateAlarmImpl, IsAPlainAlarmWithoutAlarmsToWatch)
{
    const CapturedLog log;
    Aggregate aggregate("sum");
    aggregate.set();
    aggregate.set();
    EXPECT_EQ(Alarm::ALARM_ON, aggregate.getState());
    aggregate.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, aggregate.getState());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "Alarm [sum] : ALARM_ON"),
                                         infoLine(s_szLogger, "Alarm [sum] : ALARM_OFF")));
}

TEST(AggregateAlarmImpl, IsOnWhileAWatchedAlarmIs)
{
    Aggregate aggregate("sum");
    NamedAlarm first("first");
    NamedAlarm second("second");
    aggregate.addAlarm(first);
    aggregate.addAlarm(second);
    EXPECT_EQ(Alarm::ALARM_OFF, aggregate.getState());
    first.set();
    second.set();
    first.reset();
    EXPECT_EQ(Alarm::ALARM_ON, aggregate.getState());
    second.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, aggregate.getState());
}

TEST(AggregateAlarmImpl, LogsBehindTheAlarmThatTurnsItOn)
{
    const CapturedLog log;
    Aggregate aggregate("sum");
    NamedAlarm alarm("a", Alarm::WARN_SEVERITY);
    aggregate.addAlarm(alarm);
    alarm.set();
    alarm.reset();
    EXPECT_THAT(log.lines(), ElementsAre(warnLine(s_szLogger, "Alarm [a] : ALARM_ON"),
                                         errorLine(s_szLogger, "Alarm [sum] : ALARM_ON"),
                                         infoLine(s_szLogger, "Alarm [a] : ALARM_OFF"),
                                         infoLine(s_szLogger, "Alarm [sum] : ALARM_OFF")));
}

TEST(AggregateAlarmImpl, ItsObserversHearBehindThoseThatTheAlarmHadBefore)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm before(changes, "before");
    AlarmChanges::OfAlarm ofAggregate(changes, "of aggregate");
    AlarmChanges::OfAlarm behind(changes, "behind");
    Aggregate aggregate("sum");
    NamedAlarm alarm("a");
    alarm.addObserver(&before);
    aggregate.addAlarm(alarm);
    alarm.addObserver(&behind);
    aggregate.addObserver(&ofAggregate);
    alarm.set();
    EXPECT_THAT(changes.take(),
                ElementsAre("before: Alarm [a] : ALARM_ON", "of aggregate: Alarm [sum] : ALARM_ON",
                            "behind: Alarm [a] : ALARM_ON"));
}

TEST(AggregateAlarmImpl, StaysOnByItselfWhenItsLastAlarmGoesOff)
{
    Aggregate aggregate("sum");
    NamedAlarm alarm("a");
    aggregate.addAlarm(alarm);
    aggregate.set();
    alarm.set();
    const CapturedLog log;
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_ON, aggregate.getState());
    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szLogger, "Alarm [a] : ALARM_OFF")));
}

TEST(AggregateAlarmImpl, AResetWaitsForItsLastAlarm)
{
    Aggregate aggregate("sum");
    NamedAlarm alarm("a");
    aggregate.addAlarm(alarm);
    aggregate.set();
    alarm.set();
    const CapturedLog log;
    aggregate.reset();
    EXPECT_EQ(Alarm::ALARM_ON, aggregate.getState());
    EXPECT_THAT(log.lines(), IsEmpty());
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, aggregate.getState());
}

TEST(AggregateAlarmImpl, ASetWhileAnAlarmIsOnOutlastsIt)
{
    const CapturedLog log;
    Aggregate aggregate("sum");
    NamedAlarm alarm("a");
    aggregate.addAlarm(alarm);
    alarm.set();
    aggregate.set();
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_ON, aggregate.getState());
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

TEST(AggregateAlarmImpl, GoesOnWithAnAlarmThatIsAddedOn)
{
    Aggregate aggregate("sum");
    NamedAlarm alarm("a");
    alarm.set();
    aggregate.addAlarm(alarm);
    EXPECT_EQ(Alarm::ALARM_ON, aggregate.getState());
}

TEST(AggregateAlarmImpl, AssertsThatItIsOnWhileAnAlarmIs)
{
    LyingAlarm<AggregateAlarmImpl> aggregate("sum");
    aggregate.m_reported = Alarm::ALARM_OFF;
    NamedAlarm alarm("a");
    aggregate.addAlarm(alarm);
    alarm.set();
    const CapturedLog log;
    aggregate.set();
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("getState() == ALARM_ON", "AggregateAlarmImpl",
                                            "keswardin.infra.AlarmImpl")));
    // Its own state has been stored, so the second request is not a change.
    aggregate.set();
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(AggregateAlarmImpl, HasTheSeverityErrorWhateverItIsGiven)
{
    const CapturedLog log;
    Aggregate aggregate("sum", Alarm::WARN_SEVERITY);
    EXPECT_EQ(Alarm::ERROR_SEVERITY, aggregate.getSeverity());
    aggregate.set();
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "Alarm [sum] : ALARM_ON")));
}

TEST(AggregateAlarmImpl, MayBeWatchedItself)
{
    Aggregate outer("outer");
    Aggregate inner("inner");
    NamedAlarm alarm("a");
    outer.addAlarm(inner);
    inner.addAlarm(alarm);
    alarm.set();
    EXPECT_EQ(Alarm::ALARM_ON, outer.getState());
}

} // namespace Velmora::Test
