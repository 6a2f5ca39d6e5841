// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmImpl.h"

#include "tests/support/Alarms.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* s_szLogger = "admin.alarm";

/// Counts the calls of `write`.
class Written : public NamedAlarm<>
{
  public:
    using NamedAlarm<>::NamedAlarm;

    std::ostream& write(std::ostream& out_stream) const override
    {
        ++m_iTimes;
        return NamedAlarm<>::write(out_stream);
    }

    mutable int m_iTimes = 0;
};

} // namespace

TEST(AlarmImpl, StartsOffWithTheSeverityError)
{
    const NamedAlarm alarm("a");
    EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
    EXPECT_EQ(Alarm::ERROR_SEVERITY, alarm.getSeverity());
}

TEST(AlarmImpl, LogsAtItsSeverityThatItIsOnAndAtInfoThatItIsOff)
{
    for (const Alarm::Severity severity :
         {Alarm::ERROR_SEVERITY, Alarm::WARN_SEVERITY, Alarm::INFO_SEVERITY, Alarm::DEBUG_SEVERITY})
    {
        const CapturedLog log;
        NamedAlarm alarm("a", severity);
        EXPECT_EQ(severity, alarm.getSeverity());
        alarm.set();
        EXPECT_EQ(Alarm::ALARM_ON, alarm.getState());
        alarm.reset();
        EXPECT_EQ(Alarm::ALARM_OFF, alarm.getState());
        EXPECT_THAT(log.lines(), ElementsAre(LogLine{s_szLogger, severity, "Alarm [a] : ALARM_ON"},
                                             infoLine(s_szLogger, "Alarm [a] : ALARM_OFF")));
    }
}

TEST(AlarmImpl, SaysNothingAtTheStateThatItHas)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    NamedAlarm alarm("a");
    alarm.addObserver(&observer);
    const CapturedLog log;
    alarm.reset();
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(changes.take(), IsEmpty());
    alarm.set();
    static_cast<void>(changes.take());
    alarm.set();
    EXPECT_EQ(1U, log.lines().size());
    EXPECT_THAT(changes.take(), IsEmpty());
}

TEST(AlarmImpl, TakesAStateThatIsNoneForOff)
{
    const CapturedLog log;
    NamedAlarm alarm("a");
    alarm.setState(static_cast<Alarm::State>(7));
    EXPECT_EQ(7, alarm.getState());
    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szLogger, "Alarm [a] : ???AlarmSTATE???")));
}

TEST(AlarmImpl, IsNotWrittenForALineThatIsOff)
{
    const CapturedLog log(ERROR_LOG_LEVEL);
    Written alarm("a", Alarm::WARN_SEVERITY);
    alarm.set();
    alarm.reset();
    EXPECT_EQ(0, alarm.m_iTimes);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AlarmImpl, IsWrittenAsItsMostDerivedClassDoes)
{
    const CapturedLog log;
    Written alarm("a");
    alarm.set();
    EXPECT_EQ(1, alarm.m_iTimes);
}

TEST(AlarmImpl, CallsItsObserversInTheirOrder)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm first(changes, "first");
    AlarmChanges::OfAlarm second(changes, "second");
    NamedAlarm alarm("a");
    alarm.addObserver(&second);
    alarm.addObserver(&first);
    alarm.set();
    alarm.reset();
    EXPECT_THAT(changes.take(),
                ElementsAre("second: Alarm [a] : ALARM_ON", "first: Alarm [a] : ALARM_ON",
                            "second: Alarm [a] : ALARM_OFF", "first: Alarm [a] : ALARM_OFF"));
}

TEST(AlarmImpl, LogsBeforeItCallsItsObservers)
{
    const CapturedLog log;
    AlarmChanges changes;
    changes.m_onChange = [&log] { EXPECT_EQ(1U, log.lines().size()); };
    AlarmChanges::OfAlarm observer(changes, "observer");
    NamedAlarm alarm("a");
    alarm.addObserver(&observer);
    alarm.set();
    EXPECT_EQ(1U, changes.take().size());
}

TEST(AlarmImpl, CallsAnObserverAsOftenAsItWasAdded)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    NamedAlarm alarm("a");
    alarm.addObserver(&observer);
    alarm.addObserver(&observer);
    alarm.set();
    EXPECT_EQ(2U, changes.take().size());
}

TEST(AlarmImpl, RemovesTheFirstEntryOfAnObserver)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm first(changes, "first");
    AlarmChanges::OfAlarm second(changes, "second");
    NamedAlarm alarm("a");
    for (AlarmChanges::OfAlarm* pObserver : {&first, &second, &first})
        alarm.addObserver(pObserver);
    alarm.removeObserver(&first);
    alarm.set();
    EXPECT_THAT(changes.take(),
                ElementsAre("second: Alarm [a] : ALARM_ON", "first: Alarm [a] : ALARM_ON"));
}

TEST(AlarmImpl, LeavesItsObserversWhenAnotherIsToBeRemoved)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    AlarmChanges::OfAlarm other(changes, "other");
    NamedAlarm alarm("a");
    alarm.addObserver(&observer);
    alarm.removeObserver(&other);
    alarm.removeObserver(nullptr);
    alarm.set();
    EXPECT_EQ(1U, changes.take().size());
}

TEST(AlarmImpl, TakesANullObserverAndDoesNotCallIt)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    NamedAlarm alarm("a");
    alarm.addObserver(nullptr);
    alarm.addObserver(&observer);
    alarm.set();
    EXPECT_EQ(1U, changes.take().size());
}

TEST(AlarmImpl, NotifiesNobodyWhenItGoes)
{
    const CapturedLog log;
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    {
        NamedAlarm alarm("a");
        alarm.addObserver(&observer);
        alarm.set();
        static_cast<void>(changes.take());
    }
    EXPECT_THAT(changes.take(), IsEmpty());
    EXPECT_EQ(1U, log.lines().size());
}

TEST(AdminAlarmLogger, IsOneWithThatName)
{
    EXPECT_EQ("admin.alarm", adminAlarmLogger()->getName());
    EXPECT_EQ(adminAlarmLogger(), adminAlarmLogger());
}

} // namespace Velmora::Test
