// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmJournal.h"

#include "velmora/Sanitizers.h"
#include "velmora/alarm/AlarmRegistry.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/StartedPython.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using State = AlarmJournal::State;

/// Adds the alarm `door` of a script to the registry, with a journal.
class AlarmJournalOfScripts : public testing::Test
{
  protected:
    AlarmJournalOfScripts()
    {
        runScript("from velmora.infra import Alarm, AlarmRegistry, AlarmState\n"
                  "class Door(Alarm):\n"
                  "    def __init__(self): super().__init__(30000)\n"
                  "    def getAlarmId(self): return 'door'\n"
                  "    def getDescription(self): return 'The door is open'\n"
                  "registry = AlarmRegistry.getInstance()\n"
                  "door = Door()\n");
        m_journal.emplace();
        runScript("registry.addAlarm(door)");
    }
    ~AlarmJournalOfScripts() override { AlarmRegistry::getInstance().clear(); }

    [[nodiscard]] AlarmJournal::Entry door() const { return m_journal->alarms().at(0); }

    const StartedPython m_python;
    const CapturedLog m_log;
    std::optional<AlarmJournal> m_journal;
};

} // namespace

TEST_F(AlarmJournalOfScripts, SeesWhatTheScriptDoes)
{
    EXPECT_EQ("door", door().strId);
    EXPECT_EQ("The door is open", door().strText);
    EXPECT_EQ(Alarm::WARN_SEVERITY, door().severity);
    EXPECT_EQ(State::off, door().state);
    runScript("door.set()");
    EXPECT_EQ(State::on, door().state);
    runScript("door.reset()");
    EXPECT_EQ(State::off, door().state);
    EXPECT_EQ(2U, door().ulChanges);
    EXPECT_EQ(Alarm::WARN_SEVERITY, door().severity);
}

TEST_F(AlarmJournalOfScripts, SeesWhatNativeCodeDoes)
{
    AlarmRegistry::getInstance().setAlarm("door");
    EXPECT_EQ(State::on, door().state);
    EXPECT_EQ(1U, door().ulChanges);
}

TEST_F(AlarmJournalOfScripts, SeesAStateThatTheScriptComputesWithTheNextPoll)
{
    runScript("Door.getState = lambda self: AlarmState.ALARM_ON");
    EXPECT_EQ(State::off, door().state);
    m_journal->poll();
    EXPECT_EQ(State::on, door().state);
}

TEST_F(AlarmJournalOfScripts, LeavesAnAlarmThatTheScriptKeeps)
{
    AlarmRegistry::getInstance().clear();
    EXPECT_EQ(State::removed, door().state);
    runScript("door.set()");
    EXPECT_EQ(State::removed, door().state);
    m_journal.reset();
    runScript("door.reset()");
    EXPECT_EQ("ALARM_OFF", evaluate("door.getState()"));
}

TEST_F(AlarmJournalOfScripts, TakesAnAlarmAgainThatTheScriptHasKept)
{
    AlarmRegistry::getInstance().clear();
    runScript("door.set()\nregistry.addAlarm(door)");
    EXPECT_EQ(State::on, door().state);
    runScript("door.reset()");
    EXPECT_EQ(State::off, door().state);
    EXPECT_EQ(2U, door().ulChanges);
}

TEST_F(AlarmJournalOfScripts, IsReadAndPolledWhileScriptsUseTheirAlarms)
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    constexpr const char* szRounds = "100";
#else
    constexpr const char* szRounds = "2000";
#endif
    RepeatingThreads readers(2,
                             [this]
                             {
                                 m_journal->poll();
                                 static_cast<void>(m_journal->content());
                             });
    runScript(std::string("for i in range(") + szRounds +
              "):\n"
              "    door.set()\n"
              "    registry.setAlarm('door')\n"
              "    door.reset()\n");
    readers.stop();
    EXPECT_EQ(2 * std::stoul(szRounds), door().ulChanges);
}

} // namespace Velmora::Test
