// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmJournal.h"

#include "velmora/Sanitizers.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/SystemOverloadAlarmImpl.h"

#include "tests/support/NamedAlarm.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
constexpr int s_iRounds = 1000;
#else
constexpr int s_iRounds = 5000;
#endif
constexpr int s_iThreads = 2;

void change(Alarm& inout_alarm)
{
    inout_alarm.set();
    inout_alarm.reset();
}

/// Has an alarm for each thread, each a source of overload.
class AlarmJournalLoad : public testing::Test
{
  protected:
    AlarmJournalLoad()
    {
        log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
        m_handles = addNumberedAlarms<SystemOverloadAlarmImpl>("source.", s_iThreads);
    }
    ~AlarmJournalLoad() override { AlarmRegistry::getInstance().clear(); }

    std::vector<LimitedObjPtr<Alarm>> m_handles;
};

void useAll(AlarmJournal& inout_journal)
{
    std::ostringstream text;
    inout_journal.writeText(text);
    inout_journal.writeJson(text);
    inout_journal.describe({"source.0", Alarm::WARN_SEVERITY, "cause", "action"});
    inout_journal.shelve("source.0");
    inout_journal.poll();
    inout_journal.unshelve("source.0");
    for (const AlarmJournal::Entry& alarm : inout_journal.activeAlarms())
        static_cast<void>(inout_journal.history(alarm.strId));
}

/// Calls each reader a number of times in a row. Between calls of different ones, the locks of the
/// one could hide that the other has none.
void readAll(const AlarmJournal& in_journal)
{
    const auto repeat = [](auto in_read)
    {
        for (int iCall = 0; iCall < 1000; ++iCall)
            static_cast<void>(in_read());
    };
    repeat([&] { return in_journal.activeAlarms(); });
    repeat([&] { return in_journal.history(); });
    repeat([&] { return in_journal.history("source.0"); });
    repeat([&] { return in_journal.inventory(); });
    repeat([&] { return in_journal.summary(); });
    repeat([&] { return in_journal.changeCount(); });
    repeat([&] { return in_journal.content(); });
}

} // namespace

TEST_F(AlarmJournalLoad, NoChangeIsLostWhileItIsReadOnOtherThreads)
{
    AlarmJournal::Options options;
    options.uiHistoryOfAll = 100;
    // Changes of shelved alarms would not be in the history.
    options.uiFlapChanges = 0;
    AlarmJournal journal(options);
    std::array<std::uint64_t, s_iThreads> rounds{};
    RepeatingThreads changes(s_iThreads,
                             [this, &rounds](int in_iThread)
                             {
                                 const auto uiThread = static_cast<std::size_t>(in_iThread);
                                 change(*m_handles[uiThread]);
                                 ++rounds.at(uiThread);
                             });
    RepeatingThreads user(1, [&journal] { useAll(journal); });
    for (int iRound = 0; iRound < s_iRounds / 500; ++iRound)
        readAll(journal);
    user.stop();
    changes.stop();
    EXPECT_EQ(0U, journal.activeAlarms().size());
    for (const AlarmJournal::Entry& alarm : journal.alarms())
    {
        if (alarm.strId == "system.overload")
            continue;
        const std::uint64_t ulRounds = rounds.at(alarm.strId == "source.0" ? 0 : 1);
        EXPECT_EQ(2 * ulRounds, alarm.ulChanges) << alarm.strId;
        EXPECT_EQ(ulRounds, alarm.ulTimesOn) << alarm.strId;
    }
}

TEST_F(AlarmJournalLoad, IsMadeAndDestroyedWhileAlarmsAreAddedAndChange)
{
    RepeatingThreads changes(s_iThreads, [this](int in_iThread)
                             { change(*m_handles[static_cast<std::size_t>(in_iThread)]); });
    for (int iRound = 0; iRound < s_iRounds / 50; ++iRound)
    {
        AlarmJournal first;
        {
            AlarmJournal second;
            useAll(second);
        }
        AlarmRegistry::getInstance().addAlarm(new NamedAlarm(std::to_string(iRound)), false);
        EXPECT_LT(0U, first.poll());
    }
}

TEST_F(AlarmJournalLoad, SeesAlarmsThatAreAddedAndRemovedOnOtherThreads)
{
    AlarmJournal::Options options;
    options.uiRemovedAlarms = 3;
    AlarmJournal journal(options);
    RepeatingThreads readers(1, [&journal] { useAll(journal); });
    // The handles of the fixture are not used any more.
    for (int iRound = 0; iRound < s_iRounds; ++iRound)
    {
        AlarmRegistry::getInstance().addAlarm(new NamedAlarm(std::to_string(iRound)), false)->set();
        AlarmRegistry::getInstance().clear();
    }
    readers.stop();
    EXPECT_GE(4U, journal.alarms().size());
    EXPECT_EQ(0U, journal.activeAlarms().size());
}

} // namespace Velmora::Test
