// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmStateHashAlarmImpl.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/Alarms.h"
#include "tests/support/CapturedAssertions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

/// Counts the calls of `onNewAlarmState`.
class Watcher : public NamedAlarm<AlarmStateHashAlarmImpl>
{
  public:
    explicit Watcher(Severity in_severity = ERROR_SEVERITY)
        : AlarmImpl(in_severity), NamedAlarm("watcher", in_severity)
    {
    }
    void onNewAlarmState() override { ++m_iTimes; }
    using AlarmStateHashAlarmImpl::isAnyAlarmOn;

    int m_iTimes = 0;
};

FailedAssertion failed(const std::string& in_strCondition)
{
    return failedAssertion(in_strCondition, "AlarmStateHashAlarmImpl", "keswardin.infra.AlarmImpl");
}

} // namespace

TEST(AlarmStateHashAlarmImpl, HearsOfTheStateOfAnAlarmWhenItIsAdded)
{
    Watcher watcher;
    NamedAlarm off("off");
    watcher.addAlarm(off);
    EXPECT_EQ(1, watcher.m_iTimes);
    EXPECT_FALSE(watcher.isAnyAlarmOn());
    NamedAlarm on("on");
    on.set();
    watcher.addAlarm(on);
    EXPECT_EQ(2, watcher.m_iTimes);
    EXPECT_TRUE(watcher.isAnyAlarmOn());
}

TEST(AlarmStateHashAlarmImpl, HearsOfTheChangesOfItsAlarms)
{
    Watcher watcher;
    NamedAlarm alarm("a");
    watcher.addAlarm(alarm);
    alarm.set();
    EXPECT_EQ(2, watcher.m_iTimes);
    EXPECT_TRUE(watcher.isAnyAlarmOn());
    alarm.reset();
    EXPECT_EQ(3, watcher.m_iTimes);
    EXPECT_FALSE(watcher.isAnyAlarmOn());
}

TEST(AlarmStateHashAlarmImpl, DoesNotHearOfAStateThatIsTheLastOne)
{
    Watcher watcher;
    NamedAlarm alarm("a");
    watcher.addAlarm(alarm);
    watcher.newAlarmState(alarm, Alarm::ALARM_OFF);
    EXPECT_EQ(1, watcher.m_iTimes);
    watcher.newAlarmState(alarm, Alarm::ALARM_ON);
    EXPECT_EQ(2, watcher.m_iTimes);
}

TEST(AlarmStateHashAlarmImpl, AssertsThatItKnowsTheAlarmThatChanges)
{
    const CapturedLog log;
    Watcher watcher;
    const NamedAlarm alarm("a");
    watcher.newAlarmState(alarm, Alarm::ALARM_ON);
    EXPECT_THAT(failedAssertions(log), ElementsAre(failed("found != m_alarmStateHash.end()")));
    EXPECT_EQ(0, watcher.m_iTimes);
    EXPECT_FALSE(watcher.isAnyAlarmOn());
}

TEST(AlarmStateHashAlarmImpl, AssertsThatNoTwoAlarmsHaveOneId)
{
    const CapturedLog log;
    Watcher watcher;
    NamedAlarm first("a");
    NamedAlarm second("a");
    second.set();
    watcher.addAlarm(first);
    watcher.addAlarm(second);
    EXPECT_THAT(failedAssertions(log), ElementsAre(failed("insertResult.second")));
    EXPECT_EQ(1, watcher.m_iTimes);
    EXPECT_FALSE(watcher.isAnyAlarmOn());
    second.reset();
    second.set();
    EXPECT_EQ(1, watcher.m_iTimes) << "the second alarm is not watched";
}

TEST(AlarmStateHashAlarmImpl, KeepsTheLastStateOfAnAlarmThatHasGone)
{
    Watcher watcher;
    {
        NamedAlarm alarm("a");
        alarm.set();
        watcher.addAlarm(alarm);
    }
    EXPECT_TRUE(watcher.isAnyAlarmOn());
}

TEST(AlarmStateHashAlarmImpl, KnowsAsManyAlarmsAsThereAre)
{
    Watcher watcher;
    std::vector<std::unique_ptr<NamedAlarm<>>> alarms;
    for (int iAlarm = 0; iAlarm < 100; ++iAlarm)
        watcher.addAlarm(*alarms.emplace_back(
            std::make_unique<NamedAlarm<>>("alarm." + std::to_string(iAlarm))));
    EXPECT_FALSE(watcher.isAnyAlarmOn());
    for (const auto& pAlarm : alarms)
    {
        pAlarm->set();
        EXPECT_TRUE(watcher.isAnyAlarmOn());
        pAlarm->reset();
        EXPECT_FALSE(watcher.isAnyAlarmOn());
    }
}

TEST(AlarmStateHashAlarmImpl, HasTheSeverityThatAClassPassesToTheSharedBase)
{
    EXPECT_EQ(Alarm::WARN_SEVERITY, Watcher(Alarm::WARN_SEVERITY).getSeverity());
}

TEST(AlarmStateHashAlarmImpl, HoldsNoMemoryBeforeItWatches)
{
    inAccountingProcess(
        []
        {
            NamedAlarm alarm("a");
            {
                Watcher watcher;
                EXPECT_FALSE(watcher.isAnyAlarmOn());
                EXPECT_EQ(0, bytesHeld("InternalHashMap"));
                watcher.addAlarm(alarm);
                EXPECT_LT(0, bytesHeld("InternalHashMap"));
            }
            EXPECT_EQ(0, bytesHeld("InternalHashMap"));
        });
}

} // namespace Velmora::Test
