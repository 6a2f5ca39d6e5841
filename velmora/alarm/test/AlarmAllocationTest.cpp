// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/AlarmJournal.h"
#include "velmora/alarm/AlarmRegistry.h"

#include "tests/support/Alarms.h"
#include "tests/support/CountedAllocations.h"

#include <gtest/gtest.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/nullappender.h>

#include <cstddef>
#include <new>
#include <string>

namespace Velmora::Test
{

namespace
{

// Too long for the buffer that std::string has for short strings.
constexpr const char* s_szLongId = "an.alarm.with.an.id.that.no.short.string.holds";

/// The number of alarms that a journal describes by itself.
constexpr std::size_t s_uiOfLibrary = 3;

/// Counts changes, which allocates nothing.
class Deaf : public Alarm::Observer, public AlarmRegistry::Observer
{
  public:
    void newAlarmState(const Alarm&, Alarm::State) override { ++m_iChanges; }
    void newAlarmState(const Alarm&) override { ++m_iChanges; }

    int m_iChanges = 0;
};

/// Sends the log to an appender that discards it and does not allocate.
class AlarmAllocation : public testing::Test
{
  protected:
    AlarmAllocation()
    {
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
        log4cplus::Logger::getRoot().setLogLevel(DEBUG_LOG_LEVEL);
        log4cplus::Logger::getRoot().addAppender(
            log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    }
    ~AlarmAllocation() override
    {
        AlarmRegistry::getInstance().removeObserver(&m_observer);
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    }

    Deaf m_observer;
};

} // namespace

TEST_F(AlarmAllocation, OnAndOffThroughAHandleAllocatesNothing)
{
    const LimitedObjPtr<Alarm> pHandle =
        AlarmRegistry::getInstance().addAlarm(new NamedAlarm(s_szLongId), false);
    pHandle->addObserver(&m_observer);
    AlarmRegistry::getInstance().addObserver(&m_observer);
    EXPECT_EQ(0, allocationsOfLaterCalls(
                     [&pHandle]
                     {
                         pHandle->set();
                         pHandle->reset();
                     }));
    EXPECT_LT(0, m_observer.m_iChanges);
}

TEST_F(AlarmAllocation, AChangeThatAnAggregateWatchesAllocatesNothing)
{
    NamedAlarm<AggregateAlarmImpl> aggregate("aggregate");
    NamedAlarm alarm(s_szLongId);
    aggregate.addAlarm(alarm);
    EXPECT_EQ(0, allocationsOfLaterCalls(
                     [&alarm]
                     {
                         alarm.set();
                         alarm.reset();
                     }));
}

TEST_F(AlarmAllocation, ALookUpAllocatesNothing)
{
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    registry.addAlarm(new NamedAlarm(s_szLongId), false);
    const std::string strId = s_szLongId;
    EXPECT_EQ(0, allocationsOfLaterCalls(
                     [&]
                     {
                         EXPECT_TRUE(registry.setAlarm(strId));
                         EXPECT_TRUE(registry.resetAlarm(strId));
                     }));
}

TEST_F(AlarmAllocation, AChangeThatAJournalSeesAllocatesNothing)
{
    AlarmJournal::Options options;
    options.uiFlapChanges = 0;
    const AlarmJournal journal(options);
    const LimitedObjPtr<Alarm> pHandle =
        AlarmRegistry::getInstance().addAlarm(new NamedAlarm(s_szLongId), false);
    EXPECT_EQ(0, allocationsOfLaterCalls(
                     [&pHandle]
                     {
                         pHandle->set();
                         pHandle->reset();
                     }));
    EXPECT_EQ(22U, journal.summary().ulChanges);
}

TEST_F(AlarmAllocation, AnAlarmThatThereWasNoMemoryForIsInTheJournalAfterThePoll)
{
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    AlarmJournal journal;
    int iRound = 0;
    std::string strId = s_szLongId;
    EXPECT_LT(10, failAtEachAllocation(
                      [&]
                      {
                          try
                          {
                              registry.addAlarm(new NamedAlarm(strId), false)->set();
                          }
                          catch (const std::bad_alloc&)
                          {
                              ++m_observer.m_iChanges;
                          }
                      },
                      [&]
                      {
                          journal.poll();
                          const LimitedObjPtr<Alarm> pHandle = registry.getAlarm(strId);
                          EXPECT_EQ(pHandle.isNull() || pHandle->getState() == Alarm::ALARM_OFF,
                                    journal.activeAlarms().empty());
                          EXPECT_EQ(pHandle.isNull() ? 0U : 1U,
                                    journal.inventory().size() - s_uiOfLibrary);
                          registry.clear();
                          strId = s_szLongId + std::to_string(++iRound);
                      }));
    EXPECT_LT(0, m_observer.m_iChanges);
}

} // namespace Velmora::Test
