// SPDX-License-Identifier: BSD-2-Clause

// A test of alarms, as a program of the family has one. Its arguments up to "--" make something
// fail; the arguments after it are its command line:
//
//   check        a check fails
//   require      a requirement fails, which ends the checks
//   assert       an assertion of the library fails
//   raise        an unexpected alarm goes on
//   nothing      it checks nothing
//   after-end    it closes the ACE object manager itself; an assertion fails in a static destructor
//   in-list      an assertion fails while the exit list runs, after the record of checks is deleted
//
// It exits with 0 if all checks passed, with 1 if one failed, and with 2 if it does not start.

#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/CountedStateAlarmImpl.h"
#include "velmora/application/Assertion.h"
#include "velmora/application/Singleton.h"
#include "velmora/application/UnitTest.h"

#include "tests/support/NamedAlarm.h"

#include <ace/Object_Manager.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace Velmora;

constexpr const char* s_szFile = "TestsAlarms.cpp";

std::vector<std::string> s_deeds;

bool does(std::string_view in_strDeed)
{
    return std::find(s_deeds.begin(), s_deeds.end(), in_strDeed) != s_deeds.end();
}

class AlarmsTest : public UnitTestApplication
{
  public:
    AlarmsTest() : UnitTestApplication(Logger("keswardin.test.Alarms"), "alarmsTest")
    {
        m_test.configure(true);
    }

    void run() override
    {
        if (does("nothing"))
            return;
        try
        {
            checkCountedAlarm();
            checkAggregate();
            checkHandle();
        }
        catch (const UnitTestSingleton::UnitTestException& exception)
        {
            VELMORA_LOG_INFO("ends after " << exception);
        }
    }

    [[nodiscard]] bool logResults() const { return m_test.logTestResults(); }

  private:
    void check(bool in_bOutcome, const char* in_szText, int in_iLine = __builtin_LINE())
    {
        m_test.check(in_bOutcome, in_szText, s_szFile, in_iLine);
    }

    void checkCountedAlarm()
    {
        Test::NamedAlarm<CountedStateAlarmImpl> alarm("counted");
        alarm.set();
        alarm.set();
        alarm.reset();
        check(alarm.getState() == Alarm::ALARM_ON, "one of two requests keeps the alarm on");
        alarm.reset();
        check(alarm.getState() == Alarm::ALARM_OFF, "without a request the alarm is off");
        if (does("check"))
            check(alarm.getState() == Alarm::ALARM_ON, "the alarm is on");
    }

    void checkAggregate()
    {
        Test::NamedAlarm<AggregateAlarmImpl> aggregate("aggregate");
        Test::NamedAlarm<> source("source");
        aggregate.addAlarm(source);
        source.set();
        m_test.require(aggregate.getState() == Alarm::ALARM_ON, "the aggregate is on", s_szFile, 1);
        if (does("require"))
            m_test.require(source.getState() == Alarm::ALARM_OFF, "the source is off", s_szFile, 2);
        source.reset();
        check(aggregate.getState() == Alarm::ALARM_OFF, "the aggregate is off");
    }

    void checkHandle()
    {
        AlarmRegistry& registry = AlarmRegistry::getInstance();
        check(registry.getAlarm("trunk.1").isNull(), "the alarm is not registered");
        registry.addAlarm(new Test::NamedAlarm<>("trunk.1"), false);
        check(registry.resetAlarm("trunk.1"), "the registry knows the alarm");
        if (does("raise"))
            check(registry.setAlarm("trunk.1"), "the alarm goes on");
        if (does("assert"))
            check(!registry.setAlarm("trunk.2"), "no alarm goes on");
    }

    UnitTestSingleton& m_test = *UnitTestSingleton::getInstance();
};

void failAssertion(const char* in_szWhere)
{
    Assertion(false, in_szWhere, s_szFile, 1);
    std::cout << in_szWhere << ": a unit test runs: " << UnitTestSingleton::s_bRunningUnitTest
              << std::endl;
}

/// An older entry of the exit list than the record of checks, so it is deleted later.
struct InList
{
    ~InList() { failAssertion("in the list"); }
};

struct AfterEnd
{
    ~AfterEnd()
    {
        if (does("after-end"))
            failAssertion("after the end");
    }
} s_afterEnd;

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> arguments{argv[0]};
    int iArgument = 1;
    for (; iArgument < argc && argv[iArgument] != std::string_view("--"); ++iArgument)
        s_deeds.emplace_back(argv[iArgument]);
    for (++iArgument; iArgument < argc; ++iArgument)
        arguments.push_back(argv[iArgument]);
    arguments.push_back(nullptr);
    if (does("in-list"))
        registerSingleton("InList", new InList);
    AlarmsTest test;
    if (!test.initialize(static_cast<int>(arguments.size()) - 1, arguments.data()))
        return 2;
    test.run();
    const bool bGood = test.logResults();
    if (does("after-end"))
        ACE_Object_Manager::instance()->fini();
    return bGood ? 0 : 1;
}
