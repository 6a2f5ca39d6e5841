// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/MaskableAlarmImpl.h"

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

using Maskable = NamedAlarm<MaskableAlarmImpl>;

constexpr const char* s_szLogger = "admin.alarm";

} // namespace

TEST(MaskableAlarmImpl, IsAPlainAlarmWithoutAMask)
{
    const CapturedLog log;
    Maskable alarm("a");
    alarm.set();
    alarm.set();
    EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "Alarm [a] : ALARM_ON"),
                                         infoLine(s_szLogger, "Alarm [a] : ALARM_OFF")));
}

TEST(MaskableAlarmImpl, IsOffFromTheFirstMaskToTheLast)
{
    Maskable alarm("a");
    NamedAlarm first("first");
    NamedAlarm second("second");
    alarm.addAlarm(first);
    alarm.addAlarm(second);
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    alarm.addObserver(&observer);
    alarm.set();
    EXPECT_EQ(1U, changes.take().size());
    const CapturedLog log;
    first.set();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_THAT(changes.take(), ElementsAre("observer: Alarm [a] : ALARM_OFF"));
    second.set();
    first.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_THAT(changes.take(), IsEmpty());
    second.reset();
    EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
    EXPECT_THAT(changes.take(), ElementsAre("observer: Alarm [a] : ALARM_ON"));
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "Alarm [first] : ALARM_ON"),
                                         infoLine(s_szLogger, "Alarm [a] : ALARM_OFF"),
                                         errorLine(s_szLogger, "Alarm [second] : ALARM_ON"),
                                         infoLine(s_szLogger, "Alarm [first] : ALARM_OFF"),
                                         infoLine(s_szLogger, "Alarm [second] : ALARM_OFF"),
                                         errorLine(s_szLogger, "Alarm [a] : ALARM_ON")));
}

TEST(MaskableAlarmImpl, ASetUnderTheMaskShowsWhenItLifts)
{
    Maskable alarm("a");
    NamedAlarm mask("mask");
    alarm.addAlarm(mask);
    mask.set();
    const CapturedLog log;
    alarm.set();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_THAT(log.lines(), IsEmpty());
    mask.reset();
    EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
}

TEST(MaskableAlarmImpl, AResetUnderTheMaskLeavesItOffWhenItLifts)
{
    Maskable alarm("a");
    NamedAlarm mask("mask");
    alarm.addAlarm(mask);
    alarm.set();
    mask.set();
    alarm.reset();
    mask.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
}

TEST(MaskableAlarmImpl, IsMaskedByAnAlarmThatIsAddedOn)
{
    Maskable alarm("a");
    alarm.set();
    NamedAlarm mask("mask");
    mask.set();
    alarm.addAlarm(mask);
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
}

TEST(MaskableAlarmImpl, AssertsThatItIsOffUnderTheMask)
{
    LyingAlarm<MaskableAlarmImpl> alarm("a");
    alarm.m_reported = Alarm::ALARM_ON;
    NamedAlarm mask("mask");
    alarm.addAlarm(mask);
    mask.set();
    const CapturedLog log;
    alarm.set();
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("getState() == ALARM_OFF", "MaskableAlarmImpl",
                                            "keswardin.infra.AlarmImpl")));
    // Its own state has been stored, so the second request is not a change.
    alarm.set();
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(MaskableAlarmImpl, HasTheSeverityErrorWhateverItIsGiven)
{
    const CapturedLog log;
    Maskable alarm("a", Alarm::WARN_SEVERITY);
    EXPECT_EQ(Alarm::ERROR_SEVERITY, alarm.getSeverity());
    alarm.set();
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "Alarm [a] : ALARM_ON")));
}

} // namespace Velmora::Test
