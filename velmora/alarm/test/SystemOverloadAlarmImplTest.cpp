// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemOverloadAlarmImpl.h"

#include "velmora/alarm/AggregateSystemOverloadAlarm.h"
#include "velmora/alarm/AlarmRegistry.h"

#include "tests/support/Alarms.h"
#include "tests/support/CapturedAssertions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using Source = NamedAlarm<SystemOverloadAlarmImpl>;

constexpr const char* s_szLogger = "admin.alarm";

LimitedObjPtr<Alarm> registered()
{
    return AlarmRegistry::getInstance().getAlarm("system.overload");
}

FailedAssertion failed(const std::string& in_strCondition)
{
    return failedAssertion(in_strCondition, "SystemOverloadAlarmImpl", "keswardin.infra.AlarmImpl");
}

const FailedAssertion s_hasGone = failed("AggregateSystemOverloadAlarm::sIsThere()");

} // namespace

TEST(SystemOverloadAlarmImpl, HasTheSeverityWarningInADerivedClass)
{
    EXPECT_EQ(Alarm::WARN_SEVERITY, SystemOverloadAlarmImpl().getSeverity());
    EXPECT_EQ(Alarm::WARN_SEVERITY, Source("source").getSeverity());
}

TEST(AggregateSystemOverloadAlarm, HasTheSeverityError)
{
    EXPECT_EQ(Alarm::ERROR_SEVERITY, AggregateSystemOverloadAlarm().getSeverity());
    EXPECT_EQ(Alarm::ERROR_SEVERITY,
              AggregateSystemOverloadAlarm::sGetRegistryInstance()->getSeverity());
}

TEST(AggregateSystemOverloadAlarm, IsRegisteredWhenItIsFirstAskedFor)
{
    EXPECT_TRUE(registered().isNull());
    EXPECT_FALSE(AggregateSystemOverloadAlarm::sIsThere());
    AggregateSystemOverloadAlarm* const pAggregate =
        AggregateSystemOverloadAlarm::sGetRegistryInstance();
    ASSERT_NE(nullptr, pAggregate);
    EXPECT_TRUE(AggregateSystemOverloadAlarm::sIsThere());
    EXPECT_EQ(pAggregate, AggregateSystemOverloadAlarm::sGetRegistryInstance());
    ASSERT_FALSE(registered().isNull());
    registered()->set();
    EXPECT_EQ(Alarm::ALARM_ON, pAggregate->getState()) << "it is the registered one";
}

TEST(AggregateSystemOverloadAlarm, IsNotMissedWhenAnotherOneGoes)
{
    AggregateSystemOverloadAlarm::sGetRegistryInstance();
    {
        const AggregateSystemOverloadAlarm other;
    }
    EXPECT_TRUE(AggregateSystemOverloadAlarm::sIsThere());
}

TEST(SystemOverloadAlarmImpl, JoinsTheAlarmOfTheSystemWhenItFirstGoesOn)
{
    Source source("source");
    source.reset();
    EXPECT_TRUE(registered().isNull());
    const CapturedLog log;
    source.set();
    ASSERT_FALSE(registered().isNull());
    EXPECT_EQ(Alarm::ALARM_ON, registered()->getState());
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "Alarm [source] : ALARM_ON"),
                            errorLine(s_szLogger, "Alarm [system.overload] : ALARM_ON")));
}

TEST(SystemOverloadAlarmImpl, KeepsItsPlaceInTheAlarmOfTheSystem)
{
    const CapturedLog log;
    Source source("source");
    source.set();
    source.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, registered()->getState());
    source.set();
    EXPECT_EQ(Alarm::ALARM_ON, registered()->getState());
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

TEST(SystemOverloadAlarmImpl, TheSystemIsOverloadedWhileASourceIs)
{
    Source first("first");
    Source second("second");
    first.set();
    second.set();
    first.reset();
    EXPECT_EQ(Alarm::ALARM_ON, registered()->getState());
    second.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, registered()->getState());
}

TEST(SystemOverloadAlarmImpl, TwoWithOneIdCannotBothJoin)
{
    Source first("source");
    Source second("source");
    first.set();
    const CapturedLog log;
    second.set();
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("insertResult.second", "AlarmStateHashAlarmImpl",
                                            "keswardin.infra.AlarmImpl")));
    EXPECT_EQ(Alarm::ALARM_ON, second.getState());
    first.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, registered()->getState());
}

TEST(SystemOverloadAlarmImpl, ObserversOfTheRegistryDoNotHearOfTheAlarmOfTheSystem)
{
    AlarmChanges changes;
    AlarmChanges::OfRegistry observer(changes, "registry");
    AlarmRegistry::getInstance().addObserver(&observer);
    auto* pSource = new Source("source");
    AlarmRegistry::getInstance().addAlarm(pSource, false)->set();
    AlarmRegistry::getInstance().removeObserver(&observer);
    EXPECT_THAT(changes.take(), ElementsAre("registry: Alarm [source] : ALARM_ON"));
    EXPECT_EQ(Alarm::ALARM_ON, registered()->getState());
}

TEST(AggregateSystemOverloadAlarm, IsInNoRegistryWhereAnotherAlarmHasItsId)
{
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    registry.addAlarm(new NamedAlarm("system.overload"), false);
    const CapturedLog log;
    AggregateSystemOverloadAlarm* const pAggregate =
        AggregateSystemOverloadAlarm::sGetRegistryInstance();
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("! \"alarm is not unique\"", "AlarmRegistryImpl",
                                            "keswardin.infra.AlarmRegistry")));
    ASSERT_NE(nullptr, pAggregate);
    Source source("source");
    source.set();
    EXPECT_EQ(Alarm::ALARM_ON, pAggregate->getState());
    EXPECT_EQ(Alarm::ALARM_OFF, registered()->getState());
    registry.clear();
    source.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, pAggregate->getState()) << "it outlives the registry's alarms";
    EXPECT_EQ(1U, failedAssertions(log).size());
}

TEST(SystemOverloadAlarmImpl, GoesOnByItselfWhenTheAlarmOfTheSystemHasGone)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    Source source("source");
    source.addObserver(&observer);
    source.set();
    AlarmRegistry::getInstance().clear();
    EXPECT_FALSE(AggregateSystemOverloadAlarm::sIsThere());
    const CapturedLog log;
    source.reset();
    source.set();
    source.reset();
    EXPECT_THAT(failedAssertions(log), ElementsAre(s_hasGone));
    EXPECT_THAT(changes.take(), ElementsAre("observer: Alarm [source] : ALARM_ON",
                                            "observer: Alarm [source] : ALARM_OFF",
                                            "observer: Alarm [source] : ALARM_ON",
                                            "observer: Alarm [source] : ALARM_OFF"));
    EXPECT_TRUE(registered().isNull()) << "it is not made again";
}

TEST(SystemOverloadAlarmImpl, AsksForTheAlarmOfTheSystemOnceWhenItHasGone)
{
    AggregateSystemOverloadAlarm::sGetRegistryInstance();
    AlarmRegistry::getInstance().clear();
    const CapturedLog log;
    Source source("source");
    source.set();
    source.reset();
    source.set();
    EXPECT_EQ(Alarm::ALARM_ON, source.getState());
    EXPECT_THAT(failedAssertions(log), ElementsAre(failed("pAggregate != nullptr")));
}

TEST(SystemOverloadAlarmImpl, SourcesOfTheRegistryGoWithTheAlarmOfTheSystem)
{
    const CapturedLog log;
    for (const char* const szId : {"first", "second", "third"})
        AlarmRegistry::getInstance().addAlarm(new Source(szId), false)->set();
    AlarmRegistry::getInstance().clear();
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

TEST(AggregateSystemOverloadAlarm, IsAskedForUnderTheMutexWhileAnotherThreadAsks)
{
    AlarmChanges changes;
    AlarmChanges::OfAlarm observer(changes, "observer");
    std::thread other;
    changes.m_onChange = [&other]
    {
        std::latch started(1);
        other = std::thread(
            [&started]
            {
                started.count_down();
                AggregateSystemOverloadAlarm::sGetRegistryInstance();
            });
        started.wait();
        // Enough time for the other thread to wait for the mutex, which this thread holds.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_NE(nullptr, AggregateSystemOverloadAlarm::sGetRegistryInstance());
    };
    const LimitedObjPtr<Alarm> pHandle =
        AlarmRegistry::getInstance().addAlarm(new NamedAlarm("a"), false);
    pHandle->addObserver(&observer);
    pHandle->set();
    other.join();
}

TEST(SystemOverloadAlarmImpl, SourcesOfManyThreadsJoinOneAlarmOfTheSystem)
{
    constexpr int iThreads = 4;
    const CapturedLog log;
    const std::vector<LimitedObjPtr<Alarm>> handles =
        addNumberedAlarms<SystemOverloadAlarmImpl>("source.", iThreads);
    std::latch start(iThreads + 1);
    std::vector<std::thread> threads;
    // One thread asks for the alarm directly, not through a handle, at the same time.
    threads.emplace_back(
        [&start]
        {
            start.arrive_and_wait();
            AggregateSystemOverloadAlarm::sGetRegistryInstance();
        });
    for (const LimitedObjPtr<Alarm>& pHandle : handles)
        threads.emplace_back(
            [&start, &pHandle]
            {
                start.arrive_and_wait();
                pHandle->set();
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Alarm::ALARM_ON, registered()->getState());
    for (const LimitedObjPtr<Alarm>& pHandle : handles)
        pHandle->reset();
    EXPECT_EQ(Alarm::ALARM_OFF, registered()->getState());
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

} // namespace Velmora::Test
