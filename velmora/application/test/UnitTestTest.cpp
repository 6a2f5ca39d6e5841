// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/UnitTest.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/application/Singleton.h"

#include "tests/support/Alarms.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

constexpr const char* s_szLogger = "keswardin.infra.UnitTest";

UnitTestSingleton& unitTest() { return *UnitTestSingleton::getInstance(); }

LogLine failedLine(const std::string& in_strText)
{
    return errorLine(s_szLogger, "Unit Test Check Failed : " + in_strText);
}

LogLine failedResult(const std::string& in_strNumbers)
{
    return errorLine(s_szLogger, "UNIT TEST RESULTS : FAILED : numFailedCheck=" + in_strNumbers);
}

LogLine passedResult(int in_iChecks)
{
    return infoLine(s_szLogger,
                    "UNIT TEST RESULTS : PASSED : numCheck=" + std::to_string(in_iChecks));
}

const LogLine s_noChecks = warnLine(s_szLogger, "UNIT TEST RESULTS : no checks performed !");

/// Returns the lines that `logTestResults` logs.
std::vector<LogLine> results()
{
    const CapturedLog log;
    unitTest().logTestResults();
    return log.lines();
}

/// Registers an alarm with that id and returns it.
Alarm& alarmInRegistry(const char* in_szId)
{
    return *AlarmRegistry::getInstance().addAlarm(new NamedAlarm<>(in_szId), false);
}

/// Exposes the protected functions.
class TestProgram : public UnitTestApplication
{
  public:
    TestProgram() : UnitTestApplication(Logger("keswardin.test.Program"), "not used") {}
    using UnitTestApplication::configureLoggerDefault;
    void run() override {}
};

} // namespace

// The object

TEST(UnitTest, IsOneObjectThatEachThreadFinds)
{
    EXPECT_EQ(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
    UnitTestSingleton* const pUnitTest = UnitTestSingleton::getInstance();
    EXPECT_EQ(pUnitTest, UnitTestSingleton::getInstance());
    EXPECT_EQ(pUnitTest, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
    std::thread([pUnitTest] { EXPECT_EQ(pUnitTest, UnitTestSingleton::getInstance()); }).join();
}

TEST(UnitTest, EachFailedAssertionMakesItAlsoWhileNoneRuns)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    EXPECT_EQ(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
    VELMORA_PLAIN_ASSERT(true);
    EXPECT_EQ(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
    std::thread([] { VELMORA_PLAIN_ASSERT(false); }).join();
    void* const pMade = SingletonRegistry::getInstance()->find("UnitTestSingleton");
    EXPECT_NE(nullptr, pMade);
    EXPECT_FALSE(UnitTestSingleton::s_bRunningUnitTest);
    EXPECT_EQ(pMade, UnitTestSingleton::getInstance());
    EXPECT_THAT(results(), ElementsAre(s_noChecks));
}

TEST(UnitTest, AnAssertionThatFailsUnderALockOfTheLibraryDoesNotMakeIt)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    GatedMutex mutex;
    {
        const GatedGuard<GatedMutex> guard(mutex);
        VELMORA_PLAIN_ASSERT(false);
    }
    EXPECT_EQ(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
    VELMORA_PLAIN_ASSERT(false);
    EXPECT_NE(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
}

TEST(UnitTest, AnAssertionThatFailsInAnAppenderDoesNotMakeIt)
{
    const CapturedLog log(INFO_LOG_LEVEL);
    bool bFails = true;
    const CallbackAppender appender(
        [&bFails](const std::string&)
        {
            if (std::exchange(bFails, false))
                VELMORA_PLAIN_ASSERT(false);
        });
    Logger("keswardin.test").log(INFO_LOG_LEVEL, "line", nullptr, -1);
    EXPECT_FALSE(bFails);
    EXPECT_THAT(failedAssertions(log), testing::SizeIs(1));
    EXPECT_EQ(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
}

TEST(UnitTest, WithoutMemoryForItAnAssertionFailsAllTheSame)
{
    CapturedLog log;
    int iLines = 0;
    for (int iServed = 0; iServed != 10; ++iServed)
    {
        {
            const AllocationFailure failure(iServed, AllocationFailure::Lasts::ONCE);
            VELMORA_PLAIN_ASSERT(false);
        }
        iLines += static_cast<int>(failedAssertions(log).size());
        log.clear();
    }
    EXPECT_LT(0, iLines);
    VELMORA_PLAIN_ASSERT(false);
    EXPECT_NE(nullptr, SingletonRegistry::getInstance()->find("UnitTestSingleton"));
}

TEST(UnitTest, DoesNotRunUntilItIsStarted)
{
    unitTest();
    EXPECT_FALSE(UnitTestSingleton::s_bRunningUnitTest);
    unitTest().setUnitTestRunning();
    EXPECT_TRUE(UnitTestSingleton::s_bRunningUnitTest);
    unitTest().setUnitTestRunning();
    EXPECT_TRUE(UnitTestSingleton::s_bRunningUnitTest);
}

// Checks and their results

TEST(UnitTest, WithoutChecksWarnsAndHasNotFailed)
{
    const CapturedLog log;
    EXPECT_TRUE(unitTest().logTestResults());
    EXPECT_THAT(log.lines(), ElementsAre(s_noChecks));
}

TEST(UnitTest, LogsTheNumberOfChecksThatHavePassed)
{
    EXPECT_TRUE(unitTest().check(true, "1 == 1", "sum.cpp", 7));
    EXPECT_TRUE(unitTest().check(true, "2 == 2", "sum.cpp", 8));
    const CapturedLog log;
    EXPECT_TRUE(unitTest().logTestResults());
    EXPECT_THAT(log.lines(), ElementsAre(passedResult(2)));
}

TEST(UnitTest, LogsEachFailedCheckAndThenTheShareOfThem)
{
    EXPECT_TRUE(unitTest().check(true, "1 == 1", "sum.cpp", 7));
    EXPECT_FALSE(unitTest().check(false, "1 == 2", "sum.cpp", 8));
    EXPECT_TRUE(unitTest().check(true, "2 == 2", "sum.cpp", 9));
    const CapturedLog log;
    EXPECT_FALSE(unitTest().logTestResults());
    const std::vector<LogLine> lines = log.lines();
    EXPECT_THAT(lines, ElementsAre(failedLine("1 == 2, file=sum.cpp, line=8"),
                                   failedResult("1/3 (33.33%)")));
    EXPECT_EQ("", lines.back().strFile);
    EXPECT_EQ(-1, lines.back().iLine);
}

TEST(UnitTest, LogsFailedChecksInTheirOrder)
{
    unitTest().check(false, "first", "b.cpp", 2);
    unitTest().check(false, "second", "a.cpp", 1);
    EXPECT_THAT(results(), ElementsAre(failedLine("first, file=b.cpp, line=2"),
                                       failedLine("second, file=a.cpp, line=1"),
                                       failedResult("2/2 (100.00%)")));
}

TEST(UnitTest, ACheckWithoutAPlaceIsLoggedWithAQuestionMark)
{
    unitTest().check(false, "x", nullptr, 0);
    unitTest().check(false, "y", "", -1);
    unitTest().check(false, "z", "z.cpp", 1);
    EXPECT_THAT(results(),
                ElementsAre(failedLine("x, file=, line=?"), failedLine("y, file=, line=?"),
                            failedLine("z, file=z.cpp, line=1"), failedResult("3/3 (100.00%)")));
}

TEST(UnitTest, ACheckWithoutATextIsRecorded)
{
    unitTest().check(false, nullptr, "a.cpp", 1);
    EXPECT_THAT(results(),
                ElementsAre(failedLine(", file=a.cpp, line=1"), failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, KeepsItsOwnTexts)
{
    std::string strText = "text";
    std::string strFile = "a.cpp";
    unitTest().check(false, strText.c_str(), strFile.c_str(), 1);
    strText = "gone";
    strFile = "gone.cpp";
    EXPECT_THAT(results(),
                ElementsAre(failedLine("text, file=a.cpp, line=1"), failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, NumbersAreWrittenTheSameInEachLocale)
{
    for (int iCheck = 0; iCheck < 1999; ++iCheck)
        unitTest().check(true, "", "", 1);
    unitTest().check(false, "x", "a.cpp", 12345);
    const GlobalLocale locale;
    EXPECT_THAT(results(), ElementsAre(failedLine("x, file=a.cpp, line=12345"),
                                       failedResult("1/2000 (0.05%)")));
}

TEST(UnitTest, ResultsMayBeLoggedAgain)
{
    unitTest().check(true, "", "", 1);
    EXPECT_THAT(results(), ElementsAre(passedResult(1)));
    EXPECT_THAT(results(), ElementsAre(passedResult(1)));
    unitTest().check(true, "", "", 1);
    EXPECT_THAT(results(), ElementsAre(passedResult(2)));
}

TEST(UnitTest, AnErrorIsAFailedCheck)
{
    unitTest().error("broken", "a.cpp", 3);
    EXPECT_THAT(results(), ElementsAre(failedLine("broken, file=a.cpp, line=3"),
                                       failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, AFailureIsRecordedBeforeItThrows)
{
    EXPECT_THROW(unitTest().fail("broken", "a.cpp", 3), UnitTestSingleton::UnitTestException);
    EXPECT_THAT(results(), ElementsAre(failedLine("broken, file=a.cpp, line=3"),
                                       failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, ARequirementThatFailsIsRecordedAndThrows)
{
    EXPECT_NO_THROW(unitTest().require(true, "fine", "a.cpp", 2));
    EXPECT_THROW(unitTest().require(false, "broken", "a.cpp", 3),
                 UnitTestSingleton::UnitTestException);
    EXPECT_THAT(results(), ElementsAre(failedLine("broken, file=a.cpp, line=3"),
                                       failedResult("1/2 (50.00%)")));
}

TEST(UnitTest, ItsExceptionIsAnObjectWithATextForm)
{
    try
    {
        unitTest().fail("broken", "a.cpp", 3);
    }
    catch (const OutputStreamable& exception)
    {
        EXPECT_EQ("UnitTestException", textOf(exception));
        return;
    }
    FAIL() << "nothing was thrown";
}

// Assertions

TEST(UnitTest, AnAssertionThatFailsWhileItRunsIsAFailedCheckAndIsLogged)
{
    unitTest().setUnitTestRunning();
    const CapturedLog log;
    Assertion(false, "a == b", "a.cpp", 12);
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("keswardin.infra.Assertion",
                                      "Assertion failed (a == b) file=a.cpp line=12")));
    EXPECT_THAT(results(), ElementsAre(failedLine("Assertion failed (a == b), file=a.cpp, line=12"),
                                       failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, AnAssertionWithoutAPlaceIsAFailedCheckToo)
{
    unitTest().setUnitTestRunning();
    const CapturedLog log;
    Assertion::assert_i(false, "x", nullptr, nullptr, -1);
    EXPECT_THAT(results(), ElementsAre(failedLine("Assertion failed (x), file=, line=?"),
                                       failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, AnAssertionThatHoldsIsNoCheck)
{
    unitTest().setUnitTestRunning();
    Assertion(true, "a == a", "a.cpp", 12);
    EXPECT_THAT(results(), ElementsAre(s_noChecks));
}

TEST(UnitTest, AnAssertionThatFailsWhileItDoesNotRunIsNoCheck)
{
    unitTest();
    const CapturedLog log;
    Assertion(false, "a == b", "a.cpp", 12);
    EXPECT_EQ(1U, log.lines().size());
    EXPECT_THAT(results(), ElementsAre(s_noChecks));
}

// Alarms

TEST(UnitTest, AnAlarmThatIsRaisedWhileItRunsIsAFailedCheck)
{
    unitTest().setUnitTestRunning();
    EXPECT_TRUE(unitTest().configure(true));
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    alarm.set();
    EXPECT_THAT(results(),
                ElementsAre(failedLine("Alarm raised : Alarm [trunk.1] : ALARM_ON, file=, line=?"),
                            failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, AnAlarmThatIsClearedIsNoCheck)
{
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    alarm.set();
    unitTest().setUnitTestRunning();
    unitTest().configure(true);
    alarm.reset();
    EXPECT_THAT(results(), ElementsAre(s_noChecks));
}

TEST(UnitTest, AnAlarmThatIsRaisedWhileItDoesNotRunIsNoCheck)
{
    unitTest().configure(true);
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    alarm.set();
    EXPECT_THAT(results(), ElementsAre(s_noChecks));
}

TEST(UnitTest, AlarmsAreNoChecksUnlessItObservesThem)
{
    unitTest().setUnitTestRunning();
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    alarm.set();
    EXPECT_TRUE(unitTest().configure(false));
    alarm.reset();
    alarm.set();
    EXPECT_THAT(results(), ElementsAre(s_noChecks));
}

TEST(UnitTest, RecordsAnAlarmOnceHoweverOftenItIsToObserve)
{
    unitTest().setUnitTestRunning();
    for (const bool bObserve : {true, true, false, true})
        EXPECT_TRUE(unitTest().configure(bObserve));
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    alarm.set();
    EXPECT_EQ(2U, results().size());
}

TEST(UnitTest, GoesOnObservingAlarmsOnceItDoes)
{
    unitTest().setUnitTestRunning();
    unitTest().configure(true);
    EXPECT_TRUE(unitTest().configure(false));
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    alarm.set();
    EXPECT_THAT(results(),
                ElementsAre(failedLine("Alarm raised : Alarm [trunk.1] : ALARM_ON, file=, line=?"),
                            failedResult("1/1 (100.00%)")));
}

TEST(UnitTest, MayBeConfiguredAndMayCheckWhileTheRegistryCallsObservers)
{
    AlarmChanges changes;
    AlarmChanges::OfRegistry observer(changes, "observer");
    AlarmRegistry& registry = AlarmRegistry::getInstance();
    Alarm& alarm = alarmInRegistry("trunk.1");
    alarm.set();
    registry.addObserver(&observer);
    unitTest().setUnitTestRunning();
    changes.m_onChange = []
    {
        unitTest().check(true, "in an observer", "", 1);
        // On another thread, which must not wait for the mutex of the registry.
        std::thread([] { unitTest().check(true, "on a thread", "", 1); }).join();
    };
    alarm.reset();
    registry.removeObserver(&observer);
    EXPECT_THAT(results(), ElementsAre(passedResult(2)));
}

// Threads

TEST(UnitTest, ThreadsMayCheckWhileAlarmsAreRaisedAndItIsConfigured)
{
    constexpr int iThreads = 4;
    constexpr int iChecks = 200;
    unitTest().setUnitTestRunning();
    Alarm& alarm = alarmInRegistry("trunk.1");
    const CapturedLog log(FATAL_LOG_LEVEL);
    std::atomic<int> iNext{0};
    onThreads(iThreads,
              [&]
              {
                  const int iThread = iNext++;
                  for (int iCheck = 0; iCheck < iChecks; ++iCheck)
                  {
                      unitTest().check(true, "check", "a.cpp", iCheck);
                      unitTest().configure(iCheck % 2 == 0);
                      Assertion(iCheck % 10 != 0, "x", "a.cpp", iCheck);
                      if (iThread == 0)
                      {
                          alarm.set();
                          alarm.reset();
                      }
                  }
                  unitTest().logTestResults();
              });
    std::vector<LogLine> lines = results();
    ASSERT_FALSE(lines.empty());
    const std::string strAlarm =
        "Unit Test Check Failed : Alarm raised : Alarm [trunk.1] : ALARM_ON, file=, line=?";
    const auto iAlarms =
        std::count_if(lines.begin(), lines.end(),
                      [&](const LogLine& in_line) { return in_line.strText == strAlarm; });
    // The first alarms may be raised before a thread has called `configure`.
    EXPECT_LE(1, iAlarms);
    EXPECT_GE(iChecks, iAlarms);
    const auto iFailed = iThreads * iChecks / 10 + iAlarms;
    EXPECT_EQ(static_cast<std::size_t>(iFailed) + 1, lines.size());
    EXPECT_THAT(lines.back().strText,
                testing::StartsWith(
                    "UNIT TEST RESULTS : FAILED : numFailedCheck=" + std::to_string(iFailed) + "/" +
                    std::to_string(iThreads * iChecks + iFailed) + " ("));
}

TEST(UnitTest, AnAppenderMayCheckWhileResultsAreLogged)
{
    unitTest().setUnitTestRunning();
    unitTest().check(false, "first", "a.cpp", 1);
    {
        const CapturedLog log;
        const CallbackAppender appender(
            [](const std::string&)
            {
                unitTest().check(true, "in an appender", "", 1);
                std::thread([] { unitTest().check(true, "on a thread", "", 1); }).join();
            });
        EXPECT_FALSE(unitTest().logTestResults());
    }
    EXPECT_THAT(results(),
                ElementsAre(failedLine("first, file=a.cpp, line=1"), failedResult("1/5 (20.00%)")));
}

TEST(UnitTest, AnAssertionThatFailsInAnAppenderWhileResultsAreLoggedIsRecorded)
{
    unitTest().setUnitTestRunning();
    unitTest().check(true, "first", "a.cpp", 1);
    {
        const CapturedLog log;
        bool bFailed = false;
        const CallbackAppender appender(
            [&bFailed](const std::string&)
            {
                if (bFailed)
                    return;
                bFailed = true;
                Assertion(false, "x", "b.cpp", 2);
            });
        EXPECT_TRUE(unitTest().logTestResults());
    }
    EXPECT_THAT(results(), ElementsAre(failedLine("Assertion failed (x), file=b.cpp, line=2"),
                                       failedResult("1/2 (50.00%)")));
}

TEST(UnitTest, AChildOfAForkMayCheckWhileThreadsOfItsParentDo)
{
    unitTest().check(true, "before", "", 1);
    const RepeatingThreads checking(1, [] { unitTest().check(true, "of a thread", "", 1); });
    for (int iFork = 0; iFork < 100; ++iFork)
        EXPECT_EQ(0, exitCodeOfChild([] { unitTest().check(true, "of a child", "", 1); }));
}

// The end

namespace
{

/// An older entry of the exit list than the unit test, so it is deleted later.
struct Older
{
    ~Older()
    {
        Assertion(false, "x", "a.cpp", 1);
        AlarmRegistry::getInstance().getAlarm("trunk.1")->set();
        std::fprintf(stderr, "running %d;", UnitTestSingleton::s_bRunningUnitTest ? 1 : 0);
    }
};

} // namespace

namespace
{

/// Fails an assertion while the exit list runs, the first one of the process.
class FailsAtTheEnd
{
  public:
    FailsAtTheEnd() = default;
    FailsAtTheEnd(const FailsAtTheEnd&) = delete;
    FailsAtTheEnd& operator=(const FailsAtTheEnd&) = delete;
    ~FailsAtTheEnd()
    {
        VELMORA_PLAIN_ASSERT(false);
        std::fprintf(stderr, "made %d",
                     SingletonRegistry::getInstance()->find("UnitTestSingleton") != nullptr);
    }
};

} // namespace

TEST(UnitTestDeathTest, AnAssertionThatFailsWhileTheProcessEndsDoesNotMakeIt)
{
    EXPECT_EXIT(
        {
            log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
            registerSingleton("FailsAtTheEnd", new FailsAtTheEnd);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^made 0$");
}

TEST(UnitTestDeathTest, OnceItHasGoneAssertionsAndAlarmsGoOnWithoutIt)
{
    EXPECT_EXIT(
        {
            Logger().setLogLevel(FATAL_LOG_LEVEL);
            log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
            registerSingleton("Older", new Older);
            unitTest().setUnitTestRunning();
            unitTest().configure(true);
            alarmInRegistry("trunk.1");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^running 0;$");
}

// The application

TEST(UnitTestApplication, HasAUnitTestRun)
{
    EXPECT_FALSE(UnitTestSingleton::s_bRunningUnitTest);
    const TestProgram program;
    EXPECT_TRUE(UnitTestSingleton::s_bRunningUnitTest);
}

TEST(UnitTestApplication, ItsLoggerLogsFromInfoOnWhateverOthersDo)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const TestProgram program;
    EXPECT_EQ("keswardin.test.Program", program.getAppLogger().getName());
    EXPECT_EQ(INFO_LOG_LEVEL, program.getAppLogger().getLogLevel());
    Logger("keswardin.test.Program").setLogLevel(DEBUG_LOG_LEVEL);
    // The logger itself has the level, too.
    EXPECT_EQ(INFO_LOG_LEVEL, program.getLogger().getLogLevel());
}

TEST(UnitTestApplication, ItsDefaultLoggingIsThatOfTheFrameFromInfoOn)
{
    TestProgram program;
    EXPECT_EQ(WARN_LOG_LEVEL, Logger().getLogLevel());
    EXPECT_TRUE(program.configureLoggerDefault());
    EXPECT_EQ(INFO_LOG_LEVEL, Logger().getLogLevel());
    EXPECT_EQ(1U, log4cplus::Logger::getRoot().getAllAppenders().size());
}

} // namespace Velmora::Test
