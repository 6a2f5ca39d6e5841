// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRegistry.h"

#include "velmora/Sanitizers.h"
#include "velmora/alarm/AggregateAlarmImpl.h"

#include "tests/support/Alarms.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
constexpr int s_iRounds = 100;
#else
constexpr int s_iRounds = 5000;
#endif
constexpr int s_iAlarms = 100;
constexpr int s_iThreads = 2;
/// Each thread turns each alarm on and off.
constexpr int s_iRequests = 2 * s_iThreads * s_iRounds * s_iAlarms;

/// Counts the changes of all alarms.
class OfAllAlarms : public AlarmRegistry::Observer
{
  public:
    void newAlarmState(const Alarm&) override { ++m_iChanges; }

    int m_iChanges = 0;
};

/// Fills the registry with `s_iAlarms` alarms, observes each of them, and turns the log off.
class AlarmLoad : public testing::Test
{
  protected:
    AlarmLoad()
    {
        log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
        m_handles = addNumberedAlarms("alarm.", s_iAlarms);
        for (std::size_t uiAlarm = 0; uiAlarm < s_iAlarms; ++uiAlarm)
            m_handles[uiAlarm]->addObserver(&m_observers.at(uiAlarm));
        m_registry.addObserver(&m_ofAll);
    }
    ~AlarmLoad() override
    {
        m_registry.removeObserver(&m_ofAll);
        m_registry.clear();
    }

    /// Calls `in_work` on several threads with their numbers. This thread lists all alarms until
    /// they are done.
    template <class Work>
    void workWhileAllAreListed(Work in_work)
    {
        std::atomic<int> iRunning{s_iThreads};
        std::vector<std::thread> threads;
        for (std::size_t uiThread = 0; uiThread < s_iThreads; ++uiThread)
            threads.emplace_back(
                [&iRunning, &in_work, uiThread]
                {
                    in_work(uiThread);
                    --iRunning;
                });
        while (iRunning != 0)
        {
            std::vector<LimitedObjPtr<Alarm>> alarms;
            m_registry.getAllAlarms(alarms);
            EXPECT_EQ(static_cast<std::size_t>(s_iAlarms), alarms.size());
            for (const LimitedObjPtr<Alarm>& pAlarm : alarms)
                static_cast<void>(pAlarm->getState());
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    [[nodiscard]] int changes() const
    {
        int iChanges = 0;
        for (const ChangesOfOneAlarm& observer : m_observers)
        {
            EXPECT_EQ(0, observer.m_iWrong);
            iChanges += observer.m_iChanges;
        }
        return iChanges;
    }

    AlarmRegistry& m_registry = AlarmRegistry::getInstance();
    std::vector<LimitedObjPtr<Alarm>> m_handles;
    std::array<ChangesOfOneAlarm, s_iAlarms> m_observers;
    OfAllAlarms m_ofAll;
};

} // namespace

TEST_F(AlarmLoad, NoChangeIsLostOrReportedTwiceOnThreadsWithAlarmsOfTheirOwn)
{
    workWhileAllAreListed(
        [this](std::size_t in_uiThread)
        {
            for (int iRound = 0; iRound < s_iThreads * s_iRounds; ++iRound)
                for (std::size_t uiAlarm = in_uiThread; uiAlarm < s_iAlarms; uiAlarm += s_iThreads)
                {
                    m_handles[uiAlarm]->set();
                    m_handles[uiAlarm]->reset();
                }
        });
    EXPECT_EQ(s_iRequests, changes());
    EXPECT_EQ(s_iRequests, m_ofAll.m_iChanges);
}

TEST_F(AlarmLoad, NoChangeIsLostOrReportedTwiceOnThreadsThatShareAlarms)
{
    workWhileAllAreListed(
        [this](std::size_t)
        {
            for (int iRound = 0; iRound < s_iRounds; ++iRound)
                for (const LimitedObjPtr<Alarm>& pHandle : m_handles)
                {
                    pHandle->set();
                    m_registry.resetAlarm("alarm.0");
                    pHandle->reset();
                }
        });
    for (const LimitedObjPtr<Alarm>& pHandle : m_handles)
        EXPECT_EQ(Alarm::ALARM_OFF, pHandle->getState());
    // Requests for the state that an alarm has are dropped, so the exact number of changes is not
    // known. Both observers are called for every change.
    EXPECT_EQ(m_ofAll.m_iChanges, changes());
    EXPECT_LE(2 * s_iRounds, changes());
}

TEST_F(AlarmLoad, AnAggregateBehindAHandleFollowsAlarmsOfSeveralThreads)
{
    auto* const pAggregate = new NamedAlarm<AggregateAlarmImpl>("aggregate");
    const LimitedObjPtr<Alarm> pHandle = m_registry.addAlarm(pAggregate, false);
    for (const LimitedObjPtr<Alarm>& pAlarm : m_handles)
        pAggregate->addAlarm(*pAlarm);
    ChangesOfOneAlarm observer;
    pHandle->addObserver(&observer);
    onThreads(s_iThreads,
              [this]
              {
                  for (int iRound = 0; iRound < s_iRounds / 10; ++iRound)
                      for (const LimitedObjPtr<Alarm>& pAlarm : m_handles)
                      {
                          pAlarm->set();
                          pAlarm->reset();
                      }
              });
    EXPECT_EQ(Alarm::ALARM_OFF, pHandle->getState());
    EXPECT_EQ(0, observer.m_iWrong);
    EXPECT_LT(0, observer.m_iChanges);
}

TEST_F(AlarmLoad, AlarmsAreAddedFoundAndObservedOnSeveralThreads)
{
    std::atomic<int> iAdded{0};
    onThreads(s_iThreads,
              [this, &iAdded]
              {
                  OfAllAlarms observer;
                  for (int iAlarm = 0; iAlarm < s_iRounds; ++iAlarm)
                  {
                      const std::string strId = "new." + std::to_string(iAlarm);
                      m_registry.addObserver(&observer);
                      const LimitedObjPtr<Alarm> pAlarm =
                          m_registry.addAlarm(new NamedAlarm(strId), true);
                      if (pAlarm == m_registry.getAlarm(strId))
                          ++iAdded;
                      pAlarm->set();
                      m_registry.removeObserver(&observer);
                  }
              });
    EXPECT_EQ(s_iThreads * s_iRounds, iAdded);
    std::vector<LimitedObjPtr<Alarm>> alarms;
    m_registry.getAllAlarms(alarms);
    EXPECT_EQ(static_cast<std::size_t>(s_iAlarms + s_iRounds), alarms.size());
}

} // namespace Velmora::Test
