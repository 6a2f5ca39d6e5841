// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRegistry.h"

#include "velmora/Sanitizers.h"

#include "tests/support/Alarms.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PythonExceptions.h"
#include "tests/support/StartedPython.h"
#include "tests/support/TextOf.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Starts Python and runs a script that defines the class `Door` and two variables: `door`, an
/// alarm that has not been added yet, and `registry`.
class AlarmsOfScripts : public testing::Test
{
  protected:
    AlarmsOfScripts()
    {
        runScript("from velmora.infra import Alarm, AlarmRegistry, AlarmState\n"
                  "class Door(Alarm):\n"
                  "    def __init__(self, name='door', severity=30000):\n"
                  "        super().__init__(severity)\n"
                  "        self.name = name\n"
                  "    def getAlarmId(self): return 'site.' + self.name\n"
                  "    def getDescription(self): return 'The ' + self.name + ' is open'\n"
                  "registry = AlarmRegistry.getInstance()\n"
                  "door = Door()\n");
    }
    ~AlarmsOfScripts() override { m_registry.clear(); }

    LimitedObjPtr<Alarm> add(const std::string& in_strExpression)
    {
        const Python::InterpreterLock lock;
        const boost::python::object scope = boost::python::import("__main__").attr("__dict__");
        return m_registry.pyAddAlarm(boost::python::eval(in_strExpression.c_str(), scope, scope));
    }

    const StartedPython m_python;
    AlarmRegistry& m_registry = AlarmRegistry::getInstance();
};

class EntersPython : public Alarm::Observer
{
  public:
    void newAlarmState(const Alarm&, Alarm::State) override { evaluate("1 + 1"); }
};

} // namespace

TEST_F(AlarmsOfScripts, AreSetAndResetByNativeCode)
{
    const LimitedObjPtr<Alarm> pDoor = add("door");
    EXPECT_TRUE(m_registry.setAlarm("site.door"));
    EXPECT_EQ("ALARM_ON", evaluate("door.getState()"));
    pDoor->reset();
    EXPECT_EQ("ALARM_OFF", evaluate("door.getState()"));
}

TEST_F(AlarmsOfScripts, AreSetByScriptsForNativeCode)
{
    const LimitedObjPtr<Alarm> pDoor = add("door");
    runScript("registry.setAlarm('site.door')");
    EXPECT_EQ(Alarm::ALARM_ON, pDoor->getState());
    runScript("door.reset()");
    EXPECT_EQ(Alarm::ALARM_OFF, pDoor->getState());
}

TEST_F(AlarmsOfScripts, WriteWhatTheScriptDefines)
{
    const LimitedObjPtr<Alarm> pDoor = add("door");
    std::string strId;
    pDoor->getAlarmId(strId);
    EXPECT_EQ("site.door", strId);
    EXPECT_EQ("The door is open", descriptionOf(*pDoor));
    EXPECT_EQ("Alarm [site.door] : ALARM_OFF", textOf(*pDoor));
}

TEST_F(AlarmsOfScripts, AreLoggedAtTheSeverityOfTheScript)
{
    add("door");
    const CapturedLog log;
    m_registry.setAlarm("site.door");
    m_registry.resetAlarm("site.door");
    EXPECT_THAT(log.linesOf("admin.alarm"),
                ElementsAre(warnLine("admin.alarm", "Alarm [site.door] : ALARM_ON"),
                            infoLine("admin.alarm", "Alarm [site.door] : ALARM_OFF")));
}

TEST_F(AlarmsOfScripts, HaveTheSeverityOfEachHandle)
{
    EXPECT_EQ(40000, add("Door(severity=20000)")->getSeverity());
}

TEST_F(AlarmsOfScripts, HaveNativeObservers)
{
    const LimitedObjPtr<Alarm> pDoor = add("door");
    ChangesOfOneAlarm observer;
    pDoor->addObserver(&observer);
    runScript("door.set()");
    EXPECT_EQ(1, observer.m_iChanges);
    EXPECT_EQ(Alarm::ALARM_ON, observer.m_last);
    pDoor->removeObserver(&observer);
    runScript("door.reset()");
    EXPECT_EQ(1, observer.m_iChanges);
}

TEST_F(AlarmsOfScripts, LiveAsLongAsTheRegistryHasThem)
{
    add("door");
    runScript("import weakref\nalive = weakref.ref(door)\ndel door");
    EXPECT_EQ("False", evaluate("alive() is None"));
    m_registry.clear();
    EXPECT_EQ("True", evaluate("alive() is None"));
}

TEST_F(AlarmsOfScripts, AreDestroyedByAScriptThatClearsTheRegistry)
{
    add("door");
    runScript("import weakref\nalive = weakref.ref(door)\ndel door\nregistry.clear()");
    EXPECT_EQ("True", evaluate("alive() is None"));
}

TEST_F(AlarmsOfScripts, MayUseTheRegistryWhenTheyAreDestroyed)
{
    runScript("class Last(Door):\n"
              "    def __del__(self): registry.addAlarm(Door('window'))\n");
    add("Last()");
    m_registry.clear();
    EXPECT_FALSE(m_registry.getAlarm("site.window").isNull());
}

TEST_F(AlarmsOfScripts, AreRefusedWithTheirReferenceWhenTheIdIsThere)
{
    add("door");
    runScript("import sys\nother = Door()\nbefore = sys.getrefcount(other)");
    const CapturedLog log;
    EXPECT_TRUE(add("other").isNull());
    EXPECT_EQ("0", evaluate("sys.getrefcount(other) - before"));
    EXPECT_THAT(
        log.linesOf("keswardin.infra.AlarmRegistry"),
        Contains(testing::Field(&LogLine::strText,
                                StartsWith("Assertion failed (! \"alarm is not unique\")"))));
}

TEST_F(AlarmsOfScripts, AreNoneForNone)
{
    const CapturedLog log;
    EXPECT_TRUE(add("None").isNull());
    EXPECT_EQ("None", evaluate("registry.addAlarm(None)"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AlarmsOfScripts, AreNotWhatIsNoAlarm)
{
    const CapturedLog log;
    EXPECT_TRUE(add("5").isNull());
    EXPECT_THAT(
        log.linesOf(s_szPythonLogger),
        ElementsAre(exceptionLine("TypeError: expected an alarm, got an object of type int")));
}

TEST_F(AlarmsOfScripts, KeepTheirLastIdWhenTheScriptFails)
{
    const LimitedObjPtr<Alarm> pDoor = add("door");
    runScript("def fail(self): raise ValueError('no id')\nDoor.getAlarmId = fail");
    const CapturedLog log;
    EXPECT_EQ("Alarm [site.door] : ALARM_OFF", textOf(*pDoor));
    const std::vector<LogLine> lines = log.linesOf(s_szPythonLogger);
    ASSERT_EQ(1U, lines.size());
    EXPECT_THAT(lines.front().strText, testing::EndsWith("\nValueError: no id"));
}

TEST_F(AlarmsOfScripts, AreToBeGivenAnIdByTheScript)
{
    const CapturedLog log;
    const LimitedObjPtr<Alarm> pAlarm = add("Alarm()");
    EXPECT_EQ("Alarm [???] : ALARM_OFF", textOf(*pAlarm));
    EXPECT_THAT(log.linesOf(s_szPythonLogger),
                Contains(exceptionLine("NotImplementedError: Alarm does not define "
                                       "getAlarmId")));
}

TEST_F(AlarmsOfScripts, DoNotMakeNativeObserversWaitThatEnterPython)
{
    EntersPython observer;
    const LimitedObjPtr<Alarm> pNative = m_registry.addAlarm(new NamedAlarm("native"), false);
    pNative->addObserver(&observer);
    add("door");
    std::thread native(
        [&]
        {
            for (int iRound = 0; iRound < 300; ++iRound)
            {
                pNative->set();
                pNative->reset();
            }
        });
    runScript("for i in range(300):\n"
              "    registry.setAlarm('site.door')\n"
              "    str(door)\n"
              "    door.reset()\n"
              "    registry.setAlarm('native')\n");
    native.join();
    EXPECT_EQ("ALARM_OFF", evaluate("door.getState()"));
}

TEST_F(AlarmsOfScripts, MayForkWhileNativeObserversEnterPython)
{
    EntersPython observer;
    const LimitedObjPtr<Alarm> pNative = m_registry.addAlarm(new NamedAlarm("native"), false);
    pNative->addObserver(&observer);
    RepeatingThreads native(1,
                            [&]
                            {
                                pNative->set();
                                pNative->reset();
                            });
    runScript("import os\n"
              "codes = set()\n"
              "for i in range(20):\n"
              "    pid = os.fork()\n"
              "    if pid == 0:\n"
              "        registry.setAlarm('native')\n"
              "        os._exit(7)\n"
              "    codes.add(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]))\n");
    native.stop();
    EXPECT_EQ("{7}", evaluate("codes"));
}

// Load: two native threads share 100 observed alarms, two threads of scripts use an alarm each, and
// another thread lists all alarms.

namespace
{

#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
constexpr int s_iRounds = 10;
constexpr int s_iRoundsOfScripts = 100;
#else
constexpr int s_iRounds = 4000;
constexpr int s_iRoundsOfScripts = 50'000;
#endif
constexpr int s_iAlarms = 100;

} // namespace

TEST_F(AlarmsOfScripts, LoseAndDoubleNoChangeUnderLoad)
{
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    std::array<ChangesOfOneAlarm, s_iAlarms> ofNative;
    const std::vector<LimitedObjPtr<Alarm>> natives = addNumberedAlarms("native.", s_iAlarms);
    for (std::size_t uiAlarm = 0; uiAlarm < s_iAlarms; ++uiAlarm)
        natives[uiAlarm]->addObserver(&ofNative.at(uiAlarm));
    std::array<ChangesOfOneAlarm, 2> ofScripts;
    runScript("doors = {name: Door(name) for name in 'ab'}");
    add("doors['a']")->addObserver(&ofScripts.front());
    add("doors['b']")->addObserver(&ofScripts.back());

    std::atomic<int> iRunning{2};
    std::vector<std::thread> threads;
    for (std::size_t uiThread = 0; uiThread < 2; ++uiThread)
        threads.emplace_back(
            [&, uiThread]
            {
                for (int iRound = 0; iRound < s_iRounds; ++iRound)
                    for (std::size_t uiAlarm = uiThread; uiAlarm < s_iAlarms; uiAlarm += 2)
                    {
                        natives.at(uiAlarm)->set();
                        natives.at(uiAlarm)->reset();
                    }
                --iRunning;
            });
    threads.emplace_back(
        [&]
        {
            while (iRunning > 0)
            {
                std::vector<LimitedObjPtr<Alarm>> all;
                m_registry.getAllAlarms(all);
                for (const LimitedObjPtr<Alarm>& pAlarm : all)
                    EXPECT_LE(pAlarm->getState(), Alarm::ALARM_ON);
            }
        });
    runScript("import threading\n"
              "def use(name, rounds):\n"
              "    for i in range(rounds):\n"
              "        registry.setAlarm('site.' + name)\n"
              "        doors[name].reset()\n"
              "threads = [threading.Thread(target=use, args=(name, " +
              std::to_string(s_iRoundsOfScripts) +
              ")) for name in 'ab']\n"
              "for thread in threads: thread.start()\n"
              "for thread in threads: thread.join()\n");
    for (std::thread& thread : threads)
        thread.join();
    for (const ChangesOfOneAlarm& observer : ofNative)
    {
        EXPECT_EQ(2 * s_iRounds, observer.m_iChanges);
        EXPECT_EQ(0, observer.m_iWrong);
    }
    for (const ChangesOfOneAlarm& observer : ofScripts)
    {
        EXPECT_EQ(2 * s_iRoundsOfScripts, observer.m_iChanges);
        EXPECT_EQ(0, observer.m_iWrong);
    }
}

} // namespace Velmora::Test
