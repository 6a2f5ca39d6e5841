// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRegistry.h"

#include "velmora/Sanitizers.h"
#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/alarm/CountedStateAlarmImpl.h"
#include "velmora/alarm/MaskableAlarmImpl.h"
#include "velmora/application/SingletonRegistry.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/Alarms.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/TextOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

class AlarmRegistryPeer
{
  public:
    /// Returns how many times the owner has locked the recursive mutex.
    static unsigned int numLocks()
    {
        // Neither ACE on Linux nor the C library has a function for this.
        return AlarmRegistryImpl::getInstance()->m_mutex.lock().__data.__count;
    }

    static std::size_t numBuckets()
    {
        return AlarmRegistryImpl::getInstance()->m_alarmHash.bucket_count();
    }

    /// Makes all further attempts to lock the mutex fail.
    static void breakMutex() { AlarmRegistryImpl::getInstance()->m_mutex.remove(); }
};

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char* s_szLogger = "keswardin.infra.AlarmRegistry";

AlarmRegistry& registry() { return AlarmRegistry::getInstance(); }

/// Makes an alarm that reports its destruction and expects it to happen without the mutex.
NamedAlarm<>* alarmThatGoes(const std::string& in_strId, bool& out_bHasGone)
{
    auto* const pAlarm = new NamedAlarm(in_strId);
    pAlarm->m_onDestruction = [&out_bHasGone]
    {
        out_bHasGone = true;
        EXPECT_EQ(0U, AlarmRegistryPeer::numLocks());
    };
    return pAlarm;
}

const FailedAssertion s_notUnique =
    failedAssertion("! \"alarm is not unique\"", "AlarmRegistryImpl", s_szLogger);
const FailedAssertion s_notThere =
    failedAssertion("! pAlarm.isNull()", "AlarmRegistry", s_szLogger);

/// Has observers for the registry, and removes them after the test.
class AlarmRegistryObservers : public testing::Test
{
  protected:
    ~AlarmRegistryObservers() override
    {
        registry().removeObserver(&m_first);
        registry().removeObserver(&m_second);
    }

    AlarmChanges m_changes;
    AlarmChanges::OfRegistry m_first{m_changes, "first"};
    AlarmChanges::OfRegistry m_second{m_changes, "second"};
    AlarmChanges::OfAlarm m_ofAlarm{m_changes, "alarm"};
};

} // namespace

TEST(AlarmRegistry, IsThereFromTheBeginningAsASingleton)
{
    EXPECT_EQ(AlarmRegistryImpl::getInstance(), &registry());
    EXPECT_EQ(AlarmRegistryImpl::getInstance(),
              SingletonRegistry::getInstance()->find("AlarmRegistryImpl::Singleton"));
    EXPECT_EQ(AlarmRegistryImpl::getInstance(), AlarmRegistryImpl::ifAlive());
    EXPECT_LE(100U, AlarmRegistryPeer::numBuckets());
}

TEST(AlarmRegistry, GivesNullForANullAlarmAndSaysNothing)
{
    const CapturedLog log;
    EXPECT_TRUE(registry().addAlarm(nullptr, false).isNull());
    EXPECT_TRUE(registry().addAlarm(nullptr, true).isNull());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AlarmRegistry, GivesAHandleThatIsNotTheAlarm)
{
    auto* const pAlarm = new NamedAlarm("a");
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(pAlarm, false);
    ASSERT_FALSE(pHandle.isNull());
    EXPECT_NE(pAlarm, pHandle.get());
    EXPECT_EQ(pHandle, registry().getAlarm("a"));
}

TEST(AlarmRegistry, GivesTheFirstHandleForADuplicateThatIsAllowed)
{
    bool bHasGone = false;
    const LimitedObjPtr<Alarm> pFirst = registry().addAlarm(new NamedAlarm("a"), true);
    const CapturedLog log;
    EXPECT_EQ(pFirst, registry().addAlarm(alarmThatGoes("a", bHasGone), true));
    EXPECT_TRUE(bHasGone);
    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szLogger,
                                      "AlarmRegistryImpl::addAlarm : Alarm is not unique : a")));
}

TEST(AlarmRegistry, DoesNotSayAtInfoThatADuplicateIsAllowed)
{
    registry().addAlarm(new NamedAlarm("a"), true);
    const CapturedLog log(INFO_LOG_LEVEL);
    registry().addAlarm(new NamedAlarm("a"), true);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AlarmRegistry, AssertsThatADuplicateIsAllowed)
{
    bool bHasGone = false;
    const LimitedObjPtr<Alarm> pFirst = registry().addAlarm(new NamedAlarm("a"), false);
    const CapturedLog log;
    EXPECT_TRUE(registry().addAlarm(alarmThatGoes("a", bHasGone), false).isNull());
    EXPECT_TRUE(bHasGone);
    EXPECT_THAT(failedAssertions(log), ElementsAre(s_notUnique));
    EXPECT_EQ(1U, log.lines().size());
    EXPECT_EQ(pFirst, registry().getAlarm("a"));
}

TEST(AlarmRegistry, LogsOfADuplicateWithoutItsMutex)
{
    const CapturedLog log;
    std::vector<unsigned int> locks;
    const CallbackAppender appender([&locks](const std::string&)
                                    { locks.push_back(AlarmRegistryPeer::numLocks()); },
                                    s_szLogger);
    registry().addAlarm(new NamedAlarm("a"), true);
    registry().addAlarm(new NamedAlarm("a"), true);
    registry().addAlarm(new NamedAlarm("a"), false);
    EXPECT_THAT(locks, ElementsAre(0, 0));
}

TEST(AlarmRegistry, TracesThatAnAlarmIsAdded)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    registry().addAlarm(new NamedAlarm("a"), false);
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(traceLine(s_szLogger, "entering AlarmRegistryImpl::addAlarm"),
                            traceLine(s_szLogger, "exiting AlarmRegistryImpl::addAlarm")));
}

TEST(AlarmRegistry, TracesThatANullAlarmIsAdded)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    registry().addAlarm(nullptr, false);
    EXPECT_EQ(2U, log.linesOf(s_szLogger).size());
}

TEST(AlarmRegistry, HasNoHandleForAnUnknownIdAndSaysNothing)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_TRUE(registry().getAlarm("unknown").isNull());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AlarmRegistry, SetsAndResetsAnAlarmByItsId)
{
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    EXPECT_TRUE(registry().setAlarm("a"));
    EXPECT_EQ(Alarm::ALARM_ON, pHandle->getState());
    EXPECT_TRUE(registry().resetAlarm("a"));
    EXPECT_EQ(Alarm::ALARM_OFF, pHandle->getState());
}

TEST(AlarmRegistry, AssertsThatTheAlarmIsThereThatIsSetOrReset)
{
    const CapturedLog log;
    EXPECT_FALSE(registry().setAlarm("unknown"));
    EXPECT_THAT(failedAssertions(log), ElementsAre(s_notThere));
    EXPECT_FALSE(registry().resetAlarm("unknown"));
    EXPECT_THAT(failedAssertions(log), ElementsAre(s_notThere, s_notThere));
}

TEST(AlarmRegistry, AppendsTheHandlesOfAllAlarms)
{
    const LimitedObjPtr<Alarm> pFirst = registry().addAlarm(new NamedAlarm("first"), false);
    const LimitedObjPtr<Alarm> pSecond = registry().addAlarm(new NamedAlarm("second"), false);
    std::vector<LimitedObjPtr<Alarm>> alarms{nullptr};
    registry().getAllAlarms(alarms);
    ASSERT_EQ(3U, alarms.size());
    EXPECT_TRUE(alarms.front().isNull());
    alarms.erase(alarms.begin());
    EXPECT_THAT(alarms, UnorderedElementsAre(pFirst, pSecond));
}

TEST(AlarmRegistry, ClearDeletesAllAlarmsWithoutItsMutex)
{
    bool bFirstHasGone = false;
    bool bSecondHasGone = false;
    registry().addAlarm(alarmThatGoes("first", bFirstHasGone), false);
    registry().addAlarm(alarmThatGoes("second", bSecondHasGone), false);
    registry().clear();
    EXPECT_TRUE(bFirstHasGone);
    EXPECT_TRUE(bSecondHasGone);
    std::vector<LimitedObjPtr<Alarm>> alarms;
    registry().getAllAlarms(alarms);
    EXPECT_THAT(alarms, IsEmpty());
}

TEST(AlarmRegistry, AnAlarmMayUseItInItsDestructor)
{
    int iFound = 0;
    for (const char* const szId : {"first", "second", "third"})
    {
        auto* const pAlarm = new NamedAlarm(szId);
        pAlarm->m_onDestruction = [&iFound]
        {
            for (const char* const szOther : {"first", "second", "third"})
                iFound += registry().getAlarm(szOther).isNull() ? 0 : 1;
            registry().addAlarm(new NamedAlarm("successor"), true);
        };
        registry().addAlarm(pAlarm, false);
    }
    registry().clear();
    EXPECT_EQ(0, iFound);
    EXPECT_FALSE(registry().getAlarm("successor").isNull());
}

TEST(AlarmRegistry, TakesAnIdAgainThatWasCleared)
{
    const CapturedLog log;
    registry().addAlarm(new NamedAlarm("a"), false);
    registry().clear();
    EXPECT_FALSE(registry().addAlarm(new NamedAlarm("a"), false).isNull());
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

TEST(AlarmRegistry, ItsObjectsAreChargedToTheirAccounts)
{
    inAccountingProcess(
        []
        {
            const int iCounts = bytesHeld("ReferenceCount");
            registry().addAlarm(new NamedAlarm("a"), false);
            EXPECT_LT(0, bytesHeld("MutexedAlarm"));
            EXPECT_EQ(iCounts + 2 * static_cast<int>(sizeof(ReferenceCount)),
                      bytesHeld("ReferenceCount"));
            registry().clear();
            EXPECT_EQ(0, bytesHeld("MutexedAlarm"));
            EXPECT_EQ(iCounts, bytesHeld("ReferenceCount"));
        });
}

TEST(AlarmRegistry, WorksWithoutItsMutex)
{
#if VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "a mutex that is broken is reported";
#endif
    AlarmRegistryPeer::breakMutex();
    AlarmChanges changes;
    changes.m_onChange = [] { EXPECT_EQ(0U, AlarmRegistryPeer::numLocks()); };
    AlarmChanges::OfRegistry observer(changes, "registry");
    registry().addObserver(&observer);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    EXPECT_TRUE(registry().setAlarm("a"));
    EXPECT_EQ(Alarm::ALARM_ON, pHandle->getState());
    EXPECT_THAT(changes.take(), ElementsAre("registry: Alarm [a] : ALARM_ON"));
    registry().removeObserver(&observer);
    registry().clear();
    EXPECT_TRUE(registry().getAlarm("a").isNull());
}

// Handles

TEST(AlarmHandle, GivesWhatTheAlarmGives)
{
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    std::string strId;
    pHandle->getAlarmId(strId);
    EXPECT_EQ("a", strId);
    std::ostringstream description;
    EXPECT_EQ(&description, &pHandle->writeDescription(description));
    EXPECT_EQ("description of a", description.str());
    EXPECT_EQ("Alarm [a] : ALARM_OFF", textOf(*pHandle));
    pHandle->set();
    EXPECT_EQ(Alarm::ALARM_ON, pHandle->getState());
    EXPECT_TRUE(pHandle->reset());
    EXPECT_EQ(Alarm::ALARM_OFF, pHandle->getState());
}

TEST(AlarmHandle, HasTheTextOfTheAlarm)
{
    class Custom : public NamedAlarm<>
    {
      public:
        using NamedAlarm<>::NamedAlarm;
        std::ostream& write(std::ostream& out_stream) const override
        {
            return out_stream << "custom";
        }
    };
    EXPECT_EQ("custom", textOf(*registry().addAlarm(new Custom("a"), false)));
}

TEST(AlarmHandle, HasTheSeverityErrorWhateverTheAlarmHas)
{
    const CapturedLog log;
    const LimitedObjPtr<Alarm> pHandle =
        registry().addAlarm(new NamedAlarm("a", Alarm::WARN_SEVERITY), false);
    EXPECT_EQ(Alarm::ERROR_SEVERITY, pHandle->getSeverity());
    pHandle->set();
    EXPECT_THAT(log.lines(), ElementsAre(warnLine("admin.alarm", "Alarm [a] : ALARM_ON")));
}

TEST(AlarmHandle, UsesTheAlarmUnderTheMutex)
{
    /// Expects each of its operations to be called with the mutex held.
    class Guarded : public NamedAlarm<>
    {
      public:
        using NamedAlarm<>::NamedAlarm;
        std::ostream& writeAlarmId(std::ostream& out_stream) const override
        {
            note("writeAlarmId");
            return out_stream;
        }
        std::ostream& writeDescription(std::ostream& out_stream) const override
        {
            note("writeDescription");
            return out_stream;
        }
        std::ostream& write(std::ostream& out_stream) const override
        {
            note("write");
            return out_stream;
        }
        [[nodiscard]] State getState() const override
        {
            note("getState");
            return ALARM_OFF;
        }
        void setState(State) override { note("setState"); }
        void addObserver(LimitedObjPtr<Observer>) override { note("addObserver"); }
        void removeObserver(LimitedObjPtr<Observer>) override { note("removeObserver"); }

        void note(const char* in_szCall) const
        {
            m_calls.emplace_back(in_szCall);
            m_locks.push_back(AlarmRegistryPeer::numLocks());
        }
        mutable std::vector<std::string> m_calls;
        mutable std::vector<unsigned int> m_locks;
    };
    auto* const pAlarm = new Guarded("a");
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(pAlarm, false);
    EXPECT_THAT(pAlarm->m_calls, ElementsAre("writeAlarmId"));
    EXPECT_THAT(pAlarm->m_locks, ElementsAre(0)) << "it is asked for its id before";
    std::ostringstream text;
    pHandle->writeAlarmId(text);
    pHandle->writeDescription(text);
    pHandle->write(text);
    static_cast<void>(pHandle->getState());
    pHandle->setState(Alarm::ALARM_ON);
    pHandle->addObserver(nullptr);
    pHandle->removeObserver(nullptr);
    EXPECT_THAT(pAlarm->m_calls,
                ElementsAre("writeAlarmId", "writeAlarmId", "writeDescription", "write", "getState",
                            "getState", "setState", "addObserver", "removeObserver"));
    EXPECT_THAT(pAlarm->m_locks, ElementsAre(0, 1, 1, 1, 1, 1, 1, 1, 1));
}

TEST(AlarmHandle, ASecondRequestForOnDoesNotReachAnAlarmThatCounts)
{
    const CapturedLog log;
    const LimitedObjPtr<Alarm> pHandle =
        registry().addAlarm(new NamedAlarm<CountedStateAlarmImpl>("a"), false);
    pHandle->set();
    pHandle->set();
    pHandle->reset();
    EXPECT_EQ(Alarm::ALARM_OFF, pHandle->getState());
    pHandle->reset();
    EXPECT_THAT(failedAssertions(log), IsEmpty());
}

TEST(AlarmHandle, AResetDoesNotReachAnAlarmThatIsMasked)
{
    NamedAlarm mask("mask");
    auto* const pAlarm = new NamedAlarm<MaskableAlarmImpl>("a");
    pAlarm->addAlarm(mask);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(pAlarm, false);
    pHandle->set();
    mask.set();
    pHandle->reset();
    mask.reset();
    EXPECT_EQ(Alarm::ALARM_ON, pHandle->getState());
}

TEST(AlarmHandle, ASetDoesNotReachAnAggregateThatIsOn)
{
    NamedAlarm alarm("watched");
    auto* const pAggregate = new NamedAlarm<AggregateAlarmImpl>("a");
    pAggregate->addAlarm(alarm);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(pAggregate, false);
    alarm.set();
    pHandle->set();
    alarm.reset();
    EXPECT_EQ(Alarm::ALARM_OFF, pHandle->getState());
}

// Observers

TEST_F(AlarmRegistryObservers, HearBehindThoseOfTheAlarmAndInTheirOrder)
{
    m_changes.m_onChange = [] { EXPECT_EQ(1U, AlarmRegistryPeer::numLocks()); };
    registry().addObserver(&m_first);
    registry().addObserver(&m_second);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    pHandle->addObserver(&m_ofAlarm);
    pHandle->set();
    EXPECT_THAT(m_changes.take(),
                ElementsAre("alarm: Alarm [a] : ALARM_ON", "first: Alarm [a] : ALARM_ON",
                            "second: Alarm [a] : ALARM_ON"));
    pHandle->removeObserver(&m_ofAlarm);
    pHandle->reset();
    EXPECT_THAT(m_changes.take(),
                ElementsAre("first: Alarm [a] : ALARM_OFF", "second: Alarm [a] : ALARM_OFF"));
}

TEST_F(AlarmRegistryObservers, GetTheAlarmAndNotItsHandle)
{
    class Comparing : public AlarmRegistry::Observer
    {
      public:
        void newAlarmState(const Alarm& in_alarm) override { m_pAlarm = &in_alarm; }
        const Alarm* m_pAlarm = nullptr;
    };
    Comparing observer;
    registry().addObserver(&observer);
    auto* const pAlarm = new NamedAlarm("a");
    registry().addAlarm(pAlarm, false)->set();
    registry().removeObserver(&observer);
    EXPECT_EQ(pAlarm, observer.m_pAlarm);
}

TEST_F(AlarmRegistryObservers, DoNotHearOfTheStateThatTheAlarmHas)
{
    registry().addObserver(&m_first);
    const CapturedLog log;
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    pHandle->addObserver(&m_ofAlarm);
    pHandle->reset();
    EXPECT_THAT(m_changes.take(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmRegistryObservers, HearOfASetThatAMaskHides)
{
    NamedAlarm mask("mask");
    auto* const pAlarm = new NamedAlarm<MaskableAlarmImpl>("a");
    pAlarm->addAlarm(mask);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(pAlarm, false);
    mask.set();
    registry().addObserver(&m_first);
    pHandle->set();
    EXPECT_THAT(m_changes.take(), ElementsAre("first: Alarm [a] : ALARM_OFF"));
}

TEST_F(AlarmRegistryObservers, OfNullAreNotAdded)
{
    registry().addObserver(nullptr);
    registry().addObserver(&m_first);
    registry().addAlarm(new NamedAlarm("a"), false)->set();
    EXPECT_EQ(1U, m_changes.take().size());
}

TEST_F(AlarmRegistryObservers, AreCalledAsOftenAsTheyWereAdded)
{
    for (AlarmChanges::OfRegistry* pObserver : {&m_first, &m_second, &m_first})
        registry().addObserver(pObserver);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    pHandle->set();
    EXPECT_EQ(3U, m_changes.take().size());
    registry().removeObserver(&m_first);
    pHandle->reset();
    EXPECT_THAT(m_changes.take(),
                ElementsAre("second: Alarm [a] : ALARM_OFF", "first: Alarm [a] : ALARM_OFF"));
    registry().removeObserver(nullptr);
    registry().removeObserver(&m_first);
    registry().removeObserver(&m_first);
    pHandle->set();
    EXPECT_THAT(m_changes.take(), ElementsAre("second: Alarm [a] : ALARM_ON"));
}

TEST_F(AlarmRegistryObservers, StayWhenTheAlarmsAreCleared)
{
    registry().addObserver(&m_first);
    registry().clear();
    registry().addAlarm(new NamedAlarm("a"), false)->set();
    EXPECT_EQ(1U, m_changes.take().size());
}

TEST_F(AlarmRegistryObservers, MayUseTheRegistryAndOtherAlarms)
{
    const LimitedObjPtr<Alarm> pOther = registry().addAlarm(new NamedAlarm("other"), false);
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(new NamedAlarm("a"), false);
    pHandle->addObserver(&m_ofAlarm);
    m_changes.m_onChange = [this, &pOther]
    {
        m_changes.m_onChange = nullptr;
        EXPECT_EQ(Alarm::ALARM_OFF, pOther->getState());
        pOther->set();
        registry().addAlarm(new NamedAlarm("third"), false);
        registry().addObserver(&m_second);
        EXPECT_EQ(1U, AlarmRegistryPeer::numLocks());
    };
    pHandle->set();
    EXPECT_EQ(0U, AlarmRegistryPeer::numLocks());
    EXPECT_EQ(Alarm::ALARM_ON, pOther->getState());
    EXPECT_FALSE(registry().getAlarm("third").isNull());
    EXPECT_THAT(m_changes.take(),
                ElementsAre("alarm: Alarm [a] : ALARM_ON", "second: Alarm [a] : ALARM_ON"));
}

// Alarms that are removed while they are used

TEST_F(AlarmRegistryObservers, MayClearTheRegistryWhileAnAlarmChanges)
{
    bool bHasGone = false;
    const LimitedObjPtr<Alarm> pHandle = registry().addAlarm(alarmThatGoes("a", bHasGone), false);
    pHandle->addObserver(&m_ofAlarm);
    registry().addObserver(&m_first);
    m_changes.m_onChange = [&]
    {
        registry().clear();
        EXPECT_TRUE(registry().getAlarm("a").isNull());
        EXPECT_FALSE(bHasGone) << "it is calling its observers";
    };
    pHandle->set();
    EXPECT_TRUE(bHasGone);
    EXPECT_THAT(m_changes.take(),
                ElementsAre("alarm: Alarm [a] : ALARM_ON", "first: Alarm [a] : ALARM_ON"));
}

TEST_F(AlarmRegistryObservers, MayReplaceAnAlarmWhileItChanges)
{
    bool bHasGone = false;
    const LimitedObjPtr<Alarm> pOld = registry().addAlarm(alarmThatGoes("a", bHasGone), false);
    pOld->addObserver(&m_ofAlarm);
    m_changes.m_onChange = []
    {
        registry().clear();
        registry().addAlarm(new NamedAlarm("a"), false);
    };
    pOld->set();
    EXPECT_TRUE(bHasGone);
    ASSERT_FALSE(registry().getAlarm("a").isNull());
    EXPECT_EQ(Alarm::ALARM_OFF, registry().getAlarm("a")->getState());
}

TEST_F(AlarmRegistryObservers, MayClearTheRegistryWhileAnAggregateFollowsAnAlarm)
{
    bool bHasGone = false;
    auto* const pAggregate = new NamedAlarm<AggregateAlarmImpl>("aggregate");
    pAggregate->m_onDestruction = [&bHasGone] { bHasGone = true; };
    registry().addAlarm(pAggregate, false);
    const LimitedObjPtr<Alarm> pSource = registry().addAlarm(new NamedAlarm("source"), false);
    pAggregate->addAlarm(*pSource);
    pAggregate->addObserver(&m_ofAlarm);
    m_changes.m_onChange = [&bHasGone]
    {
        registry().clear();
        EXPECT_FALSE(bHasGone) << "it is calling its observers";
    };
    pSource->set();
    EXPECT_TRUE(bHasGone);
    EXPECT_THAT(m_changes.take(), ElementsAre("alarm: Alarm [aggregate] : ALARM_ON"));
}

TEST(AlarmRegistry, KeepsRemovedAlarmsUntilItsMutexIsReleased)
{
    bool bFirstHasGone = false;
    bool bSecondHasGone = false;
    {
        const AlarmRegistryImpl::Lock lock(*AlarmRegistryImpl::getInstance());
        registry().addAlarm(alarmThatGoes("a", bFirstHasGone), false);
        registry().clear();
        registry().addAlarm(alarmThatGoes("a", bSecondHasGone), false);
        registry().clear();
        EXPECT_FALSE(bFirstHasGone);
        EXPECT_FALSE(bSecondHasGone);
    }
    EXPECT_TRUE(bFirstHasGone);
    EXPECT_TRUE(bSecondHasGone);
}

} // namespace Velmora::Test
