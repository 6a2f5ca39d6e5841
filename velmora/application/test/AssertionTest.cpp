// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Assertion.h"

#include "velmora/application/AssertionSeam.h"
#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/Threads.h"
#include "velmora/application/test/BufferedFileLog.h"

#include <ace/Object_Manager.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

VELMORA_FILE_SCOPE_LOGGER("test.AssertionTest")

namespace
{

using testing::Each;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::SizeIs;
using Velmora::Assertion;
using Velmora::AssertionSeam;
using Velmora::Logger;
using Velmora::ObjectWithLogger;
using Velmora::Test::BufferedFileLog;
using Velmora::Test::CapturedLog;
using Velmora::Test::errorLine;
using Velmora::Test::FailedAssertion;
using Velmora::Test::failedAssertion;
using Velmora::Test::failedAssertions;
using Velmora::Test::GlobalLocale;
using Velmora::Test::onThreads;

constexpr const char* s_szAssertionLogger = "keswardin.infra.Assertion";
constexpr const char* s_szParameter = "keswardin.infra.abortOnAssert";

/// The calls that were made, in order.
using Events = std::vector<std::string>;

std::string placeText(const char* in_szFile, int in_iLine)
{
    return std::string(in_szFile != nullptr ? in_szFile : "no file") + ":" +
           std::to_string(in_iLine);
}

class FakeUnitTestRecord : public AssertionSeam::UnitTestRecord
{
  public:
    bool isRunning() override
    {
        ++m_iTimesAsked;
        return m_bRunning;
    }

    void recordFailedCheck(const std::string& in_strText, const char* in_szFile,
                           int in_iLine) override
    {
        m_events.push_back("check " + in_strText + " " + placeText(in_szFile, in_iLine));
        if (m_whenRecording)
            m_whenRecording();
    }

    bool m_bRunning = true;
    int m_iTimesAsked = 0;
    Events m_events;
    std::function<void()> m_whenRecording;
};

class FakeParameters : public AssertionSeam::BoolParameters
{
  public:
    bool getBoolParameter(const char* in_szName, bool& out_bValue) override
    {
        m_namesRead.emplace_back(in_szName);
        out_bValue = m_bValue;
        if (m_whenRead)
            m_whenRead();
        return m_bDefined;
    }

    bool setBoolParameter(const char* in_szName, bool in_bValue) override
    {
        m_namesSet.emplace_back(in_szName);
        if (!m_bWritable)
            return false;
        m_bDefined = true;
        m_bValue = in_bValue;
        return true;
    }

    bool m_bDefined = false;
    bool m_bValue = false;
    bool m_bWritable = true;
    std::vector<std::string> m_namesRead;
    std::vector<std::string> m_namesSet;
    std::function<void()> m_whenRead;
};

/// Sets the pointers of the seam to fakes or to null for a scope.
class SeamScope
{
  public:
    SeamScope(AssertionSeam::UnitTestRecord* in_pRecord,
              AssertionSeam::BoolParameters* in_pParameters)
    {
        AssertionSeam::setUnitTestRecord(in_pRecord);
        AssertionSeam::setBoolParameters(in_pParameters);
    }
    ~SeamScope()
    {
        AssertionSeam::setUnitTestRecord(m_pRecordBefore);
        AssertionSeam::setBoolParameters(m_pParametersBefore);
    }
    SeamScope(const SeamScope&) = delete;
    SeamScope& operator=(const SeamScope&) = delete;

  private:
    AssertionSeam::UnitTestRecord* m_pRecordBefore = AssertionSeam::getUnitTestRecord();
    AssertionSeam::BoolParameters* m_pParametersBefore = AssertionSeam::getBoolParameters();
};

/// A process that has neither a configuration nor a unit test.
class AssertionWithEmptySeam : public testing::Test
{
  protected:
    CapturedLog m_log;

  private:
    SeamScope m_seam{nullptr, nullptr};
};

class AssertionWithParameters : public testing::Test
{
  protected:
    CapturedLog m_log;
    FakeParameters m_parameters;

  private:
    SeamScope m_seam{nullptr, &m_parameters};
};

class AssertionInUnitTest : public testing::Test
{
  protected:
    CapturedLog m_log;
    FakeUnitTestRecord m_record;
    FakeParameters m_parameters;

  private:
    SeamScope m_seam{&m_record, &m_parameters};
};

// The text of the line

TEST_F(AssertionWithEmptySeam, LineHasExpressionFileAndLine)
{
    Assertion::assert_i(false, "x", nullptr, "Call.cpp", 42);

    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) file=Call.cpp line=42")));
}

TEST_F(AssertionWithEmptySeam, LineIsTheSameInEachLocale)
{
    const GlobalLocale locale;
    Assertion::assert_i(false, "x", nullptr, "Call.cpp", 1234);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger,
                                      "Assertion failed (x) file=Call.cpp line=1234")));
}

TEST_F(AssertionWithEmptySeam, LineLeavesOutANullFile)
{
    Assertion::assert_i(false, "x", nullptr, nullptr, 42);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) line=42")));
}

TEST_F(AssertionWithEmptySeam, LineLeavesOutANegativeLine)
{
    Assertion::assert_i(false, "x", nullptr, "Call.cpp", -1);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) file=Call.cpp")));
}

TEST_F(AssertionWithEmptySeam, LineLeavesOutNullFileAndNegativeLine)
{
    Assertion::assert_i(false, "x", nullptr, nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
}

TEST_F(AssertionWithEmptySeam, LinePrintsLineZero)
{
    Assertion::assert_i(false, "x", nullptr, nullptr, 0);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) line=0")));
}

TEST_F(AssertionWithEmptySeam, LinePrintsLineZeroAfterTheFile)
{
    Assertion::assert_i(false, "x", nullptr, "Call.cpp", 0);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger,
                                                     "Assertion failed (x) file=Call.cpp line=0")));
}

TEST_F(AssertionWithEmptySeam, LineKeepsAnEmptyFile)
{
    Assertion::assert_i(false, "x", nullptr, "", -1);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) file=")));
}

TEST_F(AssertionWithEmptySeam, EventHasThePlaceToo)
{
    Assertion::assert_i(false, "x", nullptr, "Call.cpp", 42);

    ASSERT_THAT(m_log.lines(), SizeIs(1));
    EXPECT_EQ(m_log.lines()[0].strFile, "Call.cpp");
    EXPECT_EQ(m_log.lines()[0].iLine, 42);
}

TEST_F(AssertionWithEmptySeam, EventMayHaveNoPlace)
{
    Assertion::assert_i(false, "x", nullptr, nullptr, -1);

    ASSERT_THAT(m_log.lines(), SizeIs(1));
    EXPECT_EQ(m_log.lines()[0].strFile, "");
    EXPECT_EQ(m_log.lines()[0].iLine, -1);
}

TEST_F(AssertionWithEmptySeam, GivenLoggerTakesTheLineWithAnyPlace)
{
    const Logger logger("test.Call");

    Assertion::assert_i(false, "x", &logger, "Call.cpp", 42);
    Assertion::assert_i(false, "x", &logger, "Call.cpp", 0);
    Assertion::assert_i(false, "x", &logger, "Call.cpp", -1);
    Assertion::assert_i(false, "x", &logger, nullptr, 42);
    Assertion::assert_i(false, "x", &logger, nullptr, 0);
    Assertion::assert_i(false, "x", &logger, nullptr, -1);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine("test.Call", "Assertion failed (x) file=Call.cpp line=42"),
                            errorLine("test.Call", "Assertion failed (x) file=Call.cpp line=0"),
                            errorLine("test.Call", "Assertion failed (x) file=Call.cpp"),
                            errorLine("test.Call", "Assertion failed (x) line=42"),
                            errorLine("test.Call", "Assertion failed (x) line=0"),
                            errorLine("test.Call", "Assertion failed (x)")));
}

// The conditions under which it reports, and the loggers

TEST_F(AssertionWithEmptySeam, TrueConditionDoesNothing)
{
    const Logger logger("test.Call");

    Assertion::assert_i(true, "x", nullptr, "Call.cpp", 42);
    Assertion(true, "x", "Call.cpp", 42);
    Assertion(true, "x", logger, "Call.cpp", 42);

    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AssertionWithEmptySeam, ConstructionWithoutALoggerReportsAFalseCondition)
{
    Assertion(false, "x", "Call.cpp", 42);

    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) file=Call.cpp line=42")));
}

TEST_F(AssertionWithEmptySeam, ConstructionWithALoggerReportsAFalseConditionThroughIt)
{
    Assertion(false, "x", Logger("test.Call"), nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine("test.Call", "Assertion failed (x)")));
}

TEST_F(AssertionWithEmptySeam, FailureLogsAtErrorAndGoesOnWithNoConfiguration)
{
    bool bWentOn = false;

    Assertion(false, "x", nullptr, -1);
    bWentOn = true;

    EXPECT_TRUE(bWentOn);
    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
}

TEST_F(AssertionWithEmptySeam, LineObeysTheLevelOfTheLogger)
{
    log4cplus::Logger::getInstance("test.Call").setLogLevel(Velmora::FATAL_LOG_LEVEL);

    Assertion(false, "x", Logger("test.Call"), nullptr, -1);

    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AssertionWithEmptySeam, LineIsDroppedWithoutALevelAnywhere)
{
    log4cplus::Logger::getRoot().setLogLevel(Velmora::NOT_SET_LOG_LEVEL);

    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_log.lines(), IsEmpty());
}

/// Counts the calls of its operations by an assertion.
class CountingLogger : public Logger
{
  public:
    CountingLogger() : Logger("test.Counting") {}

    void log(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
             int in_iLine) const override
    {
        m_events.push_back("line " + std::to_string(in_logLevel) + " " + in_strMessage + " " +
                           placeText(in_szFile, in_iLine));
    }

    mutable Events m_events;
};

TEST_F(AssertionWithEmptySeam, LineGoesThroughTheCheckedOperationOfTheLogger)
{
    const CountingLogger logger;

    Assertion(false, "x", logger, "Call.cpp", 42);

    EXPECT_THAT(logger.m_events,
                ElementsAre("line 40000 Assertion failed (x) file=Call.cpp line=42 Call.cpp:42"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// The parameter

TEST(Assertion, NamesTheParameterThatMakesItAbort)
{
    EXPECT_STREQ(Velmora::s_szINFRA_ABORTONASSERT_PARAM, "keswardin.infra.abortOnAssert");
}

TEST_F(AssertionWithParameters, ReadsTheParameterAfreshAtEachFailure)
{
    Assertion(false, "x", nullptr, -1);
    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_parameters.m_namesRead, ElementsAre(s_szParameter, s_szParameter));
}

TEST_F(AssertionWithParameters, DoesNotReadTheParameterWhileTheConditionHolds)
{
    Assertion(true, "x", nullptr, -1);

    EXPECT_THAT(m_parameters.m_namesRead, IsEmpty());
}

TEST_F(AssertionWithParameters, UndefinedParameterLogsAtErrorAndGoesOn)
{
    m_parameters.m_bDefined = false;

    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
}

TEST_F(AssertionWithParameters, ValueOfAnUndefinedParameterIsNotLookedAt)
{
    m_parameters.m_bDefined = false;
    m_parameters.m_bValue = true;

    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
}

TEST_F(AssertionWithParameters, FalseParameterLogsAtErrorAndGoesOn)
{
    m_parameters.m_bDefined = true;
    m_parameters.m_bValue = false;

    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
}

TEST_F(AssertionWithParameters, SetAbortOnAssertSetsTheParameter)
{
    EXPECT_TRUE(Assertion::setAbortOnAssert(true));
    EXPECT_TRUE(m_parameters.m_bDefined);
    EXPECT_TRUE(m_parameters.m_bValue);

    EXPECT_TRUE(Assertion::setAbortOnAssert(false));
    EXPECT_TRUE(m_parameters.m_bDefined);
    EXPECT_FALSE(m_parameters.m_bValue);

    EXPECT_THAT(m_parameters.m_namesSet, ElementsAre(s_szParameter, s_szParameter));
}

TEST_F(AssertionWithParameters, SetAbortOnAssertGivesFalseWhenTheConfigurationRefuses)
{
    m_parameters.m_bWritable = false;

    EXPECT_FALSE(Assertion::setAbortOnAssert(true));
    EXPECT_FALSE(Assertion::setAbortOnAssert(false));
}

TEST_F(AssertionWithEmptySeam, SetAbortOnAssertGivesFalseWithNoConfiguration)
{
    EXPECT_FALSE(Assertion::setAbortOnAssert(true));
    EXPECT_FALSE(Assertion::setAbortOnAssert(false));
}

TEST_F(AssertionWithParameters, NextFailureReturnsAgainAfterSetAbortOnAssertFalse)
{
    ASSERT_TRUE(Assertion::setAbortOnAssert(true));
    ASSERT_TRUE(Assertion::setAbortOnAssert(false));

    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
}

class AssertionDeathTest : public testing::Test
{
  protected:
    void SetUp() override { m_parameters.setBoolParameter(s_szParameter, true); }

    BufferedFileLog m_fileLog;
    FakeParameters m_parameters;
    FakeUnitTestRecord m_record;
};

TEST_F(AssertionDeathTest, TrueParameterLogsAtFatalAndAborts)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            const SeamScope seam(nullptr, &m_parameters);
            Assertion(false, "x", "Call.cpp", 42);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(m_fileLog.read(),
              "keswardin.infra.Assertion|FATAL|Assertion failed (x) file=Call.cpp line=42\n"
              "keswardin.infra.Debug|FATAL|aborting\n");
}

TEST_F(AssertionDeathTest, AbortsAfterSetAbortOnAssertTrue)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            const SeamScope seam(nullptr, &m_parameters);
            Assertion::setAbortOnAssert(false);
            Assertion(false, "first", nullptr, -1);
            Assertion::setAbortOnAssert(true);
            Assertion(false, "second", Logger("test.Call"), nullptr, -1);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(m_fileLog.read(), "keswardin.infra.Assertion|ERROR|Assertion failed (first)\n"
                                "test.Call|FATAL|Assertion failed (second)\n"
                                "keswardin.infra.Debug|FATAL|aborting\n");
}

TEST_F(AssertionDeathTest, AbortsAlthoughTheLevelFiltersTheLineOut)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            log4cplus::Logger::getInstance("test.Call").setLogLevel(60000);
            const SeamScope seam(nullptr, &m_parameters);
            Assertion(false, "x", Logger("test.Call"), nullptr, -1);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(m_fileLog.read(), "keswardin.infra.Debug|FATAL|aborting\n");
}

TEST_F(AssertionDeathTest, AbortsAlthoughNoAppenderTakesTheLine)
{
    EXPECT_EXIT(
        {
            log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
            const SeamScope seam(nullptr, &m_parameters);
            Assertion(false, "x", nullptr, -1);
        },
        KilledBySignal(SIGABRT), "");
}

TEST_F(AssertionDeathTest, UnitTestRecordHasTheCheckAlthoughTheProcessThenAborts)
{
    m_record.m_whenRecording = [this]
    { Logger("test.Record").log(Velmora::INFO_LOG_LEVEL, m_record.m_events.back(), nullptr, -1); };

    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            const SeamScope seam(&m_record, &m_parameters);
            Assertion(false, "x", "Call.cpp", 42);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(m_fileLog.read(),
              "test.Record|INFO|check Assertion failed (x) Call.cpp:42\n"
              "keswardin.infra.Assertion|FATAL|Assertion failed (x) file=Call.cpp line=42\n"
              "keswardin.infra.Debug|FATAL|aborting\n");
}

// The unit test record

TEST_F(AssertionInUnitTest, FailureIsRecordedWithTheShortMessageAndLoggedWithTheLong)
{
    Assertion(false, "x", "Call.cpp", 42);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (x) Call.cpp:42"));
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x) file=Call.cpp line=42")));
}

TEST_F(AssertionInUnitTest, FailureWithoutAPlaceIsRecordedWithoutOne)
{
    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (x) no file:-1"));
}

TEST_F(AssertionInUnitTest, TrueConditionIsNotRecorded)
{
    Assertion(true, "x", "Call.cpp", 42);

    EXPECT_EQ(m_record.m_iTimesAsked, 0);
    EXPECT_THAT(m_record.m_events, IsEmpty());
}

TEST_F(AssertionInUnitTest, FailureIsNotRecordedWhileNoTestRuns)
{
    m_record.m_bRunning = false;

    Assertion(false, "x", "Call.cpp", 42);

    EXPECT_THAT(m_record.m_events, IsEmpty());
    EXPECT_THAT(m_log.lines(), SizeIs(1));
}

TEST_F(AssertionInUnitTest, RecordIsAskedAtEachFailure)
{
    m_record.m_bRunning = false;
    Assertion(false, "x", nullptr, -1);
    m_record.m_bRunning = true;
    Assertion(false, "y", nullptr, -1);

    EXPECT_EQ(m_record.m_iTimesAsked, 2);
    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (y) no file:-1"));
}

TEST_F(AssertionInUnitTest, RecordComesBeforeTheParameterAndTheParameterBeforeTheLine)
{
    const CountingLogger logger;
    m_record.m_whenRecording = [this, &logger]
    {
        logger.m_events.insert(logger.m_events.end(), m_record.m_events.begin(),
                               m_record.m_events.end());
    };
    m_parameters.m_whenRead = [&logger] { logger.m_events.emplace_back("parameter"); };

    Assertion(false, "x", logger, "Call.cpp", 42);

    EXPECT_THAT(logger.m_events,
                ElementsAre("check Assertion failed (x) Call.cpp:42", "parameter",
                            "line 40000 Assertion failed (x) file=Call.cpp line=42 Call.cpp:42"));
}

// Assertions inside the seam

TEST_F(AssertionInUnitTest, AssertionRaisedByTheRecordIsLoggedAtErrorAndNotRecorded)
{
    m_record.m_whenRecording = [] { Assertion(false, "inner", nullptr, -1); };

    Assertion(false, "outer", nullptr, -1);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (outer) no file:-1"));
    EXPECT_THAT(m_parameters.m_namesRead, SizeIs(1));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (inner)"),
                            errorLine(s_szAssertionLogger, "Assertion failed (outer)")));
}

TEST_F(AssertionInUnitTest, AssertionRaisedByTheConfigurationIsLoggedAtErrorAndReadsNoParameter)
{
    m_parameters.m_whenRead = [] { Assertion(false, "inner", nullptr, -1); };

    Assertion(false, "outer", nullptr, -1);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (outer) no file:-1"));
    EXPECT_THAT(m_parameters.m_namesRead, SizeIs(1));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (inner)"),
                            errorLine(s_szAssertionLogger, "Assertion failed (outer)")));
}

TEST_F(AssertionInUnitTest, SeamIsAskedAgainAfterAnAssertionThatItRaised)
{
    m_parameters.m_whenRead = [] { Assertion(false, "inner", nullptr, -1); };

    Assertion(false, "first", nullptr, -1);
    Assertion(false, "second", nullptr, -1);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (first) no file:-1",
                                               "check Assertion failed (second) no file:-1"));
    EXPECT_THAT(m_parameters.m_namesRead, SizeIs(2));
}

TEST_F(AssertionInUnitTest, SeamIsAskedAgainAfterTheRecordThrew)
{
    m_record.m_whenRecording = [] { throw 1; };
    EXPECT_NO_THROW(Assertion(false, "first", nullptr, -1));
    m_record.m_whenRecording = nullptr;

    Assertion(false, "second", nullptr, -1);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (first) no file:-1",
                                               "check Assertion failed (second) no file:-1"));
}

TEST_F(AssertionInUnitTest, AnotherThreadAsksTheSeamConcurrently)
{
    bool bFirst = true;
    m_parameters.m_whenRead = [&bFirst]
    {
        if (!bFirst)
            return;
        bFirst = false;
        std::thread([] { Assertion(false, "other thread", nullptr, -1); }).join();
    };

    Assertion(false, "this thread", nullptr, -1);

    EXPECT_THAT(m_record.m_events, ElementsAre("check Assertion failed (this thread) no file:-1",
                                               "check Assertion failed (other thread) no file:-1"));
    EXPECT_THAT(m_parameters.m_namesRead, SizeIs(2));
}

// The macros

class Call : public ObjectWithLogger<Logger>
{
  public:
    Call() : ObjectWithLogger("test.Call") {}

    int assertWithCondition(bool in_bCondition) const
    {
        const int iLine = __LINE__ + 1;
        VELMORA_ASSERT(in_bCondition);
        return iLine;
    }

    int assertWithText(bool in_bCondition) const
    {
        const int iLine = __LINE__ + 1;
        VELMORA_ASSERT_TEXT(in_bCondition, "Not implemented : Call::hold");
        return iLine;
    }
};

std::string failureAt(const std::string& in_strExpression, int in_iLine)
{
    return "Assertion failed (" + in_strExpression +
           ") file=velmora/application/test/AssertionTest.cpp line=" + std::to_string(in_iLine);
}

TEST_F(AssertionWithEmptySeam, ObjectFormReportsThroughTheLoggerOfTheObject)
{
    const int iLine = Call().assertWithCondition(false);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine("test.Call", failureAt("in_bCondition", iLine))));
}

TEST_F(AssertionWithEmptySeam, ObjectFormShowsTheGivenText)
{
    const int iLine = Call().assertWithText(false);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(
                                   "test.Call", failureAt("Not implemented : Call::hold", iLine))));
}

TEST_F(AssertionWithEmptySeam, FileFormReportsThroughTheLoggerOfTheFile)
{
    const int iLine = __LINE__ + 1;
    VELMORA_FILE_ASSERT(1 + 1 == 3);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine("test.AssertionTest", failureAt("1 + 1 == 3", iLine))));
}

TEST_F(AssertionWithEmptySeam, FileFormShowsTheGivenText)
{
    const int iLine = __LINE__ + 1;
    VELMORA_FILE_ASSERT_TEXT(false, "0");

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine("test.AssertionTest", failureAt("0", iLine))));
}

TEST_F(AssertionWithEmptySeam, PlainFormReportsThroughTheLoggerOfAssertions)
{
    const int iLine = __LINE__ + 1;
    VELMORA_PLAIN_ASSERT(1 + 1 == 3);

    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szAssertionLogger, failureAt("1 + 1 == 3", iLine))));
}

TEST_F(AssertionWithEmptySeam, MacrosReportNothingWhileTheirConditionHolds)
{
    Call().assertWithCondition(true);
    Call().assertWithText(true);
    VELMORA_FILE_ASSERT(1 + 1 == 2);
    VELMORA_FILE_ASSERT_TEXT(true, "0");
    VELMORA_PLAIN_ASSERT(1 + 1 == 2);

    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AssertionWithEmptySeam, MacrosShowTheirConditionBeforeMacrosInItAreExpanded)
{
#define VELMORA_TEST_NEVER false
    VELMORA_FILE_ASSERT(VELMORA_TEST_NEVER);
    VELMORA_PLAIN_ASSERT(VELMORA_TEST_NEVER);
#undef VELMORA_TEST_NEVER

    EXPECT_THAT(
        failedAssertions(m_log),
        ElementsAre(failedAssertion("VELMORA_TEST_NEVER", "AssertionTest", "test.AssertionTest"),
                    failedAssertion("VELMORA_TEST_NEVER", "AssertionTest", s_szAssertionLogger)));
}

TEST_F(AssertionWithEmptySeam, MacrosEvaluateTheirConditionOnce)
{
    int iTrue = 0;
    int iFalse = 0;

    VELMORA_FILE_ASSERT(++iTrue != 0);
    VELMORA_PLAIN_ASSERT(++iTrue != 0);
    VELMORA_FILE_ASSERT(++iFalse == 0);
    VELMORA_PLAIN_ASSERT(++iFalse == 0);

    EXPECT_EQ(iTrue, 2);
    EXPECT_EQ(iFalse, 2);
}

TEST_F(AssertionWithEmptySeam, MacrosTakeTheirConditionAsOneOperand)
{
    const bool bFirst = false;
    const bool bSecond = true;

    VELMORA_FILE_ASSERT(bFirst || bSecond);
    VELMORA_PLAIN_ASSERT(bFirst ? bFirst : bSecond);

    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(AssertionWithEmptySeam, MacrosTakeAPointerAsACondition)
{
    const int* pNothing = nullptr;

    VELMORA_FILE_ASSERT(pNothing);

    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedAssertion("pNothing", "AssertionTest", "test.AssertionTest")));
}

TEST_F(AssertionWithEmptySeam, MacrosAreOperandsOfAComma)
{
    const int iFile = (VELMORA_FILE_ASSERT(false), 5);
    const int iPlain = (VELMORA_PLAIN_ASSERT(false), 6);

    EXPECT_EQ(iFile, 5);
    EXPECT_EQ(iPlain, 6);
    EXPECT_THAT(m_log.lines(), SizeIs(2));
}

TEST_F(AssertionWithEmptySeam, MacrosAreBranchesOfAConditionalExpression)
{
    for (const bool bFile : {true, false})
        bFile ? VELMORA_FILE_ASSERT_TEXT(false, "file") : VELMORA_PLAIN_ASSERT(false);

    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedAssertion("file", "AssertionTest", "test.AssertionTest"),
                            failedAssertion("false", "AssertionTest", s_szAssertionLogger)));
}

TEST_F(AssertionWithEmptySeam, MacrosAreStatementsWithoutBraces)
{
    for (const bool bFirst : {true, false})
        if (bFirst)
            VELMORA_FILE_ASSERT_TEXT(false, "then");
        else
            VELMORA_FILE_ASSERT_TEXT(false, "else");

    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedAssertion("then", "AssertionTest", "test.AssertionTest"),
                            failedAssertion("else", "AssertionTest", "test.AssertionTest")));
}

// Threads and the end of the process

TEST_F(AssertionWithEmptySeam, MayFailOnSeveralThreadsAtOnce)
{
    constexpr int s_iThreads = 4;
    constexpr int s_iFailures = 200;
    onThreads(s_iThreads,
              []
              {
                  for (int iFailure = 0; iFailure < s_iFailures; ++iFailure)
                      VELMORA_FILE_ASSERT_TEXT(false, "0");
              });

    const std::vector<FailedAssertion> failures = failedAssertions(m_log);
    EXPECT_THAT(failures, SizeIs(s_iThreads * s_iFailures));
    EXPECT_THAT(failures, Each(failedAssertion("0", "AssertionTest", "test.AssertionTest")));
}

TEST_F(AssertionDeathTest, IsLoggedUnderItsNameOnceTheExitListHasDeletedTheLoggers)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRootForTheExit();
            ACE_Object_Manager::instance()->fini();
            Assertion(false, "x", "Call.cpp", 42);
            VELMORA_FILE_ASSERT_TEXT(false, "y");
            log4cplus::Logger::shutdown();
            _exit(0);
        },
        ExitedWithCode(0), "^$");

    EXPECT_THAT(m_fileLog.read(),
                testing::StartsWith(
                    "keswardin.infra.Assertion|ERROR|Assertion failed (x) file=Call.cpp line=42\n"
                    "keswardin.infra.Assertion|ERROR|Assertion failed (y) file=velmora/"));
}

TEST_F(AssertionDeathTest, AsksTheSeamAlsoOnceTheExitListHasDeletedTheLoggers)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRootForTheExit();
            ACE_Object_Manager::instance()->fini();
            const SeamScope seam(&m_record, &m_parameters);
            Assertion(false, "x", nullptr, -1);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(m_fileLog.read(), "keswardin.infra.Assertion|FATAL|Assertion failed (x)\n"
                                "keswardin.infra.Debug|FATAL|aborting\n");
}

// The published value, for a configuration that cannot be read

TEST_F(AssertionDeathTest, PublishedParameterCountsWhereTheParameterCannotBeRead)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            m_parameters.m_bDefined = false;
            const SeamScope seam(nullptr, &m_parameters);
            AssertionSeam::publishAbortOnAssert(true);
            Assertion(false, "x", nullptr, -1);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_THAT(m_fileLog.read(), testing::StartsWith("keswardin.infra.Assertion|FATAL|"));
}

TEST_F(AssertionDeathTest, PublishedParameterCountsWhereThereIsNoConfigurationAnyMore)
{
    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            const SeamScope seam(nullptr, nullptr);
            AssertionSeam::publishAbortOnAssert(true);
            Assertion(false, "x", nullptr, -1);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_THAT(m_fileLog.read(), testing::StartsWith("keswardin.infra.Assertion|FATAL|"));
}

TEST_F(AssertionDeathTest, PublishedParameterCountsForAnAssertionWithinTheReadingOfIt)
{
    m_parameters.m_whenRead = [] { Assertion(false, "inner", nullptr, -1); };
    EXPECT_EXIT(
        {
            m_fileLog.attachToRoot();
            const SeamScope seam(nullptr, &m_parameters);
            AssertionSeam::publishAbortOnAssert(true);
            Assertion(false, "outer", nullptr, -1);
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(m_fileLog.read(), "keswardin.infra.Assertion|FATAL|Assertion failed (inner)\n"
                                "keswardin.infra.Debug|FATAL|aborting\n");
}

TEST_F(AssertionWithParameters, PublishedParameterDoesNotCountWhereItCanBeRead)
{
    m_parameters.setBoolParameter(s_szParameter, false);
    AssertionSeam::publishAbortOnAssert(true);

    Assertion(false, "x", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szAssertionLogger, "Assertion failed (x)")));
    AssertionSeam::publishAbortOnAssert(false);
}

TEST(AssertionSeam, GivesWhatIsInItsPlaces)
{
    FakeUnitTestRecord record;
    FakeParameters parameters;
    const SeamScope seam(&record, &parameters);

    EXPECT_EQ(AssertionSeam::getUnitTestRecord(), &record);
    EXPECT_EQ(AssertionSeam::getBoolParameters(), &parameters);
}

} // namespace
