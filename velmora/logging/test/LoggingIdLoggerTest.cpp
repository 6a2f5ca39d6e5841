// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingIdLogger.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/ObjectWithLogger.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/memory/test/MallocWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/spi/loggingevent.h>

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

/// Changes a logger's members so that they contradict each other.
class LoggingIdLoggerPeer
{
  public:
    static void setCount(LoggingIdLogger& out_logger, std::size_t in_uiCount)
    {
        out_logger.m_uiLoggingIdVecSize = in_uiCount;
    }
    static std::size_t count(const LoggingIdLogger& in_logger)
    {
        return in_logger.m_uiLoggingIdVecSize;
    }
    static void swapLists(LoggingIdLogger& out_first, LoggingIdLogger& out_second)
    {
        out_first.m_pLoggingIdVector.swap(out_second.m_pLoggingIdVector);
    }
};

namespace
{

using Peer = LoggingIdLoggerPeer;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* s_szName = "test.Leg";
constexpr const char* s_szFileLogger = "keswardin.infra.LoggingIdLogger";
constexpr const char* s_szNoCallId = "LoggingIdLogger::???CallId???";

/// Too long for the small-string buffer of `std::string`.
const std::string s_strLongId = "a84b4c76e66710-9f3c1d2e5b7a@gateway.example.org";

/// Logs the text "x" and returns what is in front of it in the line.
std::string prefixOf(const LoggingIdLogger& in_logger)
{
    const CapturedLog log;
    VELMORA_LOG(in_logger, INFO_LOG_LEVEL, "x");
    const std::vector<LogLine> lines = log.lines();
    if (lines.size() != 1 || !lines[0].strText.ends_with('x'))
        return "no line";
    return lines[0].strText.substr(0, lines[0].strText.size() - 1);
}

LoggingIdLogger loggerWith(const std::vector<const char*>& in_ids)
{
    LoggingIdLogger logger(s_szName);
    for (const char* const szId : in_ids)
        logger.addLoggingId(szId);
    return logger;
}

/// Adds the given number of identifiers.
void addMany(LoggingIdLogger& out_logger, int in_iCount)
{
    for (int iId = 0; iId < in_iCount; ++iId)
        out_logger.addLoggingId("id");
}

/// A logger whose `isInCall` always gives the same answer, whatever its identifiers.
class StubbornLogger : public LoggingIdLogger
{
  public:
    explicit StubbornLogger(bool in_bInCall) : LoggingIdLogger(s_szName), m_bInCall(in_bInCall) {}

    [[nodiscard]] bool isInCall() const override { return m_bInCall; }

  private:
    bool m_bInCall;
};

/// Records the type and the place of the last event that reaches `callAppenders`, and its clone.
class RecordingLogger : public LoggingIdLogger
{
  public:
    using LoggingIdLogger::LoggingIdLogger;

    void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const override
    {
        ++m_iEvents;
        m_bLoggingIdEvent = dynamic_cast<const LoggingIdEvent*>(&in_event) != nullptr;
        m_strFile = in_event.getFile();
        m_iLine = in_event.getLine();
        m_pClone = in_event.clone();
        LoggingIdLogger::callAppenders(in_event);
    }

    mutable int m_iEvents = 0;
    mutable bool m_bLoggingIdEvent = false;
    mutable std::string m_strFile;
    mutable int m_iLine = 0;
    mutable std::unique_ptr<log4cplus::spi::InternalLoggingEvent> m_pClone;
};

} // namespace

// The line.

TEST(LoggingIdLogger, PutsTheIdentifiersInFrontOfTheTextEachWithABlankBehindIt)
{
    LoggingIdLogger logger = loggerWith({"leg=1"});
    logger.logCallId("abc");
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szName, "leg=1 call-id=abc hello")));
}

TEST(LoggingIdLogger, LogsWithoutPrefixBeforeTheFirstIdentifier)
{
    const LoggingIdLogger logger(s_szName);
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szName, "hello")));
}

TEST(LoggingIdLogger, LogsWithoutPrefixOnceTheIdentifiersAreCleared)
{
    LoggingIdLogger logger = loggerWith({"leg=1", "leg=2"});

    logger.clearLoggingIds();

    EXPECT_EQ(prefixOf(logger), "");
}

TEST(LoggingIdLogger, PutsALoneBlankForAnEmptyIdentifier)
{
    EXPECT_EQ(prefixOf(loggerWith({"a", "", "b"})), "a  b ");
}

TEST(LoggingIdLogger, AddsNoDecorationToAnIdentifier)
{
    EXPECT_EQ(prefixOf(loggerWith({"[leg 1]", "%d=\t"})), "[leg 1] %d=\t ");
}

TEST(LoggingIdLogger, ReportsFileAndLineOfTheMacro)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log;

    const int iLine = __LINE__ + 1;
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");

    ASSERT_THAT(log.lines(), SizeIs(1));
    EXPECT_EQ(log.lines()[0].strFile, "velmora/logging/test/LoggingIdLoggerTest.cpp");
    EXPECT_EQ(log.lines()[0].iLine, iLine);
}

TEST(LoggingIdLogger, ReportsNoFileWhereThereIsNone)
{
    const RecordingLogger logger{std::string(s_szName)};
    const CapturedLog log;
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");

    logger.forcedLog(INFO_LOG_LEVEL, "hello", nullptr, -1);

    EXPECT_EQ(logger.m_strFile, "");
    EXPECT_EQ(logger.m_iLine, -1);
}

TEST(LoggingIdLogger, ForcesALineWhateverTheLevel)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log(FATAL_LOG_LEVEL);

    logger.forcedLog(DEBUG_LOG_LEVEL, "hello", "file.cpp", 7);

    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szName, "leg=1 hello")));
}

TEST(LoggingIdLogger, HandsALoggingIdEventToTheVirtualCallAppenders)
{
    const RecordingLogger logger{std::string(s_szName)};
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");

    EXPECT_EQ(logger.m_iEvents, 1);
    EXPECT_TRUE(logger.m_bLoggingIdEvent);
    EXPECT_THAT(log.lines(), SizeIs(1));
}

TEST(LoggingIdLogger, GivesAnEventWhoseCloneKeepsTheLineAfterTheLoggerHasMovedOn)
{
    RecordingLogger logger{std::string(s_szName)};
    logger.addLoggingId("leg=1");
    const CapturedLog log;
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");
    const auto pClone = std::move(logger.m_pClone);

    logger.clearLoggingIds();
    logger.addLoggingId("leg=2");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "goodbye");

    EXPECT_EQ(pClone->getMessage(), "leg=1 hello");
}

TEST(LoggingIdLogger, TracesScopesWithTheIdentifiers)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log(TRACE_LOG_LEVEL);

    {
        const TraceScope scope(logger, "Leg::answer", logger.getLogLevel());
    }

    EXPECT_THAT(log.lines(), ElementsAre(traceLine(s_szName, "leg=1 entering Leg::answer"),
                                         traceLine(s_szName, "leg=1 exiting Leg::answer")));
}

TEST(LoggingIdLogger, ForcesATraceWithTheIdentifiersAndWithoutFileAndLine)
{
    RecordingLogger logger{std::string(s_szName)};
    logger.addLoggingId("leg=1");
    const CapturedLog log(FATAL_LOG_LEVEL);

    static_cast<const Logger&>(logger).forcedTrace("text");

    EXPECT_THAT(log.lines(), ElementsAre(traceLine(s_szName, "leg=1 text")));
    EXPECT_TRUE(logger.m_bLoggingIdEvent);
    EXPECT_EQ(logger.m_strFile, "");
    EXPECT_EQ(logger.m_iLine, -1);
}

TEST(LoggingIdLogger, LogsWithoutIdentifiersByTheInheritedLog)
{
    RecordingLogger logger{std::string(s_szName)};
    logger.addLoggingId("leg=1");
    const CapturedLog log;

    logger.log(INFO_LOG_LEVEL, "hello", nullptr, -1);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szName, "hello")));
    EXPECT_FALSE(logger.m_bLoggingIdEvent);
}

TEST(LoggingIdLogger, LogsWithoutIdentifiersAsAPlainLogger)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log;

    VELMORA_LOG(static_cast<const Logger&>(logger), INFO_LOG_LEVEL, "hello");
    logger.forcedLog(static_cast<int>(INFO_LOG_LEVEL), "again", nullptr, -1);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szName, "hello"), infoLine(s_szName, "again")));
}

TEST(LoggingIdLogger, LogsALineOfAMegabyteWhole)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const std::string strText(1 << 20, 'x');
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, strText);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szName, "leg=1 " + strText),
                                         infoLine(s_szName, "leg=1 hello")));
}

TEST(LoggingIdLogger, LogsAnIdentifierOfAMegabyteWhole)
{
    const std::string strId(1 << 20, 'i');

    EXPECT_EQ(prefixOf(loggerWith({strId.c_str(), "leg=1"})), strId + " leg=1 ");
}

TEST(LoggingIdLogger, ShowsOfEachLoggerOnlyItsOwnIdentifiers)
{
    const LoggingIdLogger logger = loggerWith({"one", "two", "three"});
    const LoggingIdLogger other = loggerWith({"other"});
    const LoggingIdLogger none = loggerWith({});
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, 1);
    VELMORA_LOG(other, INFO_LOG_LEVEL, 2);
    VELMORA_LOG(none, INFO_LOG_LEVEL, 3);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, 4);

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szName, "one two three 1"), infoLine(s_szName, "other 2"),
                            infoLine(s_szName, "3"), infoLine(s_szName, "one two three 4")));
}

TEST(LoggingIdLogger, ShowsTheIdentifiersThatItHasAtTheTimeOfTheLine)
{
    LoggingIdLogger logger("test.Call");
    std::vector<std::string> texts;
    const CapturedLog log;
    const auto logLine = [&]
    {
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "text");
        texts.push_back(log.lines().back().strText);
    };

    logger.addLoggingId("one");
    logLine();
    logLine();
    logger.logCallId("abc");
    logLine();
    logger.logCallId("xyz");
    logLine();
    logger.clearCallId();
    logLine();
    logger.clearLoggingIds();
    logLine();
    logger.addLoggingId("two");
    logLine();

    EXPECT_THAT(texts, ElementsAre("one text", "one text", "one call-id=abc text",
                                   "one call-id=xyz text", "one text", "text", "two text"));
}

TEST(LoggingIdLogger, LogsALongTextAShortOneAndAnEmptyOneInTurn)
{
    const LoggingIdLogger logger = loggerWith({"one"});
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, std::string(300, 'x'));
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "short");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "");

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szName, "one " + std::string(300, 'x')),
                            infoLine(s_szName, "one short"), infoLine(s_szName, "one ")));
}

namespace
{

int logInside(const LoggingIdLogger& in_logger)
{
    VELMORA_LOG(in_logger, INFO_LOG_LEVEL, "inner");
    return 7;
}

} // namespace

TEST(LoggingIdLogger, LogsALineInsideALine)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "outer " << logInside(logger));

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szName, "leg=1 inner"),
                                         infoLine(s_szName, "leg=1 outer 7")));
}

TEST(LoggingIdLogger, KeepsALineWholeWhoseAppenderLogs)
{
    const LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log;
    const LoggingIdLogger inner{std::string("test.appender.Inner")};
    const CallbackAppender appender(
        [&inner](const log4cplus::spi::InternalLoggingEvent& in_event)
        {
            const std::string strBefore = in_event.getMessage();
            VELMORA_LOG(inner, INFO_LOG_LEVEL, "inner");
            EXPECT_EQ(in_event.getMessage(), strBefore);
        },
        s_szName);

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "outer");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.appender.Inner", "inner"),
                                         infoLine(s_szName, "leg=1 outer")));
}

// Identifiers.

TEST(LoggingIdLogger, OverwritesClearedIdentifiers)
{
    LoggingIdLogger logger = loggerWith({s_strLongId.c_str(), "leg=1"});

    logger.clearLoggingIds();
    logger.addLoggingId("new");

    EXPECT_EQ(prefixOf(logger), "new ");
}

TEST(LoggingIdLogger, TakesACopyOfAnIdentifier)
{
    LoggingIdLogger logger(s_szName);
    std::string strId = s_strLongId;
    logger.addLoggingId(strId.c_str());

    strId.assign(strId.size(), 'x');

    EXPECT_EQ(prefixOf(logger), s_strLongId + " ");
}

TEST(LoggingIdLogger, WarnsOfTheEleventhIdentifierAndNotOfTheTenth)
{
    LoggingIdLogger logger(s_szName);
    const CapturedLog log;

    addMany(logger, 10);
    EXPECT_THAT(log.lines(), IsEmpty());
    logger.addLoggingId("eleventh");

    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szFileLogger, "ObjectWithLoggerImpl::addLoggingId : 11 "
                                                     "logging id(s)")));
}

TEST(LoggingIdLogger, WarnsOfEachFurtherIdentifierAndTakesIt)
{
    LoggingIdLogger logger(s_szName);
    addMany(logger, 11);
    const CapturedLog log;

    addMany(logger, 2);

    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            warnLine(s_szFileLogger, "ObjectWithLoggerImpl::addLoggingId : 12 logging id(s)"),
            warnLine(s_szFileLogger, "ObjectWithLoggerImpl::addLoggingId : 13 logging id(s)")));
    EXPECT_EQ(prefixOf(logger), "id id id id id id id id id id id id id ");
}

TEST(LoggingIdLogger, WarnsOfACallIdThatIsTheEleventh)
{
    LoggingIdLogger logger(s_szName);
    addMany(logger, 10);
    const CapturedLog log;

    logger.logCallId("abc");
    logger.logCallId("def");

    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szFileLogger, "ObjectWithLoggerImpl::addLoggingId : 11 "
                                                     "logging id(s)")));
}

TEST(LoggingIdLogger, CountsFromNothingAfterTheIdentifiersAreCleared)
{
    LoggingIdLogger logger(s_szName);
    addMany(logger, 10);
    logger.clearLoggingIds();
    const CapturedLog log;

    addMany(logger, 10);

    EXPECT_THAT(log.lines(), IsEmpty());
}

// The call id.

TEST(LoggingIdLogger, IsNotInACallAtFirst)
{
    const LoggingIdLogger logger(s_szName);

    EXPECT_FALSE(logger.isInCall());
    EXPECT_STREQ(logger.getCallId(), s_szNoCallId);
}

TEST(LoggingIdLogger, IsInACallWithTheLoggedId)
{
    LoggingIdLogger logger(s_szName);

    logger.logCallId("abc");

    EXPECT_TRUE(logger.isInCall());
    EXPECT_STREQ(logger.getCallId(), "abc");
}

TEST(LoggingIdLogger, ReplacesTheCallIdInItsPlace)
{
    LoggingIdLogger logger = loggerWith({"first"});
    logger.logCallId("abc");
    logger.addLoggingId("last");

    logger.logCallId("def");

    EXPECT_STREQ(logger.getCallId(), "def");
    EXPECT_EQ(Peer::count(logger), 3U);
    EXPECT_EQ(prefixOf(logger), "first call-id=def last ");
}

TEST(LoggingIdLogger, TakesNoIdentifierForTheCallIdThatWasAddedAsAnother)
{
    const LoggingIdLogger logger = loggerWith({"call-id=abc"});

    EXPECT_FALSE(logger.isInCall());
    EXPECT_STREQ(logger.getCallId(), s_szNoCallId);
}

TEST(LoggingIdLogger, ClearsACallIdInTheMiddleAndKeepsTheOthersInOrder)
{
    LoggingIdLogger logger = loggerWith({"first", "second"});
    logger.logCallId("abc");
    logger.addLoggingId("third");
    logger.addLoggingId("fourth");

    logger.clearCallId();

    EXPECT_FALSE(logger.isInCall());
    EXPECT_STREQ(logger.getCallId(), s_szNoCallId);
    EXPECT_EQ(prefixOf(logger), "first second third fourth ");
}

TEST(LoggingIdLogger, ClearsACallIdThatIsAlone)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");

    logger.clearCallId();

    EXPECT_EQ(prefixOf(logger), "");
}

TEST(LoggingIdLogger, PutsANewCallIdBehindTheOthersAfterTheOldOneWasCleared)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");
    logger.addLoggingId("leg=1");
    logger.clearCallId();

    logger.logCallId("def");

    EXPECT_EQ(prefixOf(logger), "leg=1 call-id=def ");
}

TEST(LoggingIdLogger, ClearsNothingWhereThereIsNoCallId)
{
    LoggingIdLogger logger = loggerWith({"first", "second"});
    const CapturedLog log;

    logger.clearCallId();

    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(prefixOf(logger), "first second ");
}

TEST(LoggingIdLogger, IsNotInACallOnceTheIdentifiersAreCleared)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");

    logger.clearLoggingIds();

    EXPECT_FALSE(logger.isInCall());
    EXPECT_STREQ(logger.getCallId(), s_szNoCallId);
}

TEST(LoggingIdLogger, GivesAnEmptyCallIdWithAFailedAssertion)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("");
    const CapturedLog log;

    const char* const szCallId = logger.getCallId();

    EXPECT_STREQ(szCallId, "");
    EXPECT_TRUE(logger.isInCall());
    EXPECT_THAT(
        failedAssertions(log),
        ElementsAre(failedAssertion("strLoggingId.size() > 8", "LoggingIdLogger", s_szFileLogger)));
    EXPECT_EQ(prefixOf(logger), "call-id= ");
}

TEST(LoggingIdLogger, FailsNoAssertionOnACallIdOfOneCharacter)
{
    LoggingIdLogger logger(s_szName);
    const CapturedLog log;

    logger.logCallId("a");
    EXPECT_STREQ(logger.getCallId(), "a");
    logger.logCallId("b");
    logger.clearCallId();

    EXPECT_THAT(log.lines(), IsEmpty());
}

// Loggers whose members contradict each other.

TEST(LoggingIdLogger, AddsNothingBehindStringsThatItDoesNotHave)
{
    LoggingIdLogger logger = loggerWith({"leg=1"});
    Peer::setCount(logger, 5);
    const CapturedLog log;

    logger.addLoggingId("leg=2");

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("m_uiLoggingIdVecSize < m_pLoggingIdVector->size()",
                                            "LoggingIdLogger", s_szFileLogger)));
    EXPECT_EQ(Peer::count(logger), 5U);
}

TEST(LoggingIdLogger, OverwritesNoCallIdThatIsNotInUse)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");
    Peer::setCount(logger, 0);
    const CapturedLog log;

    logger.logCallId("def");

    EXPECT_THAT(
        failedAssertions(log),
        ElementsAre(failedAssertion("static_cast<size_t>(m_iCallIdIndex) < m_uiLoggingIdVecSize",
                                    "LoggingIdLogger", s_szFileLogger)));
    Peer::setCount(logger, 1);
    EXPECT_STREQ(logger.getCallId(), "abc");
}

TEST(LoggingIdLogger, GivesNoCallIdThatIsNotInUse)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");
    Peer::setCount(logger, 0);
    const CapturedLog log;

    EXPECT_STREQ(logger.getCallId(), s_szNoCallId);

    EXPECT_THAT(
        failedAssertions(log),
        ElementsAre(failedAssertion("static_cast<size_t>(m_iCallIdIndex) < m_uiLoggingIdVecSize",
                                    "LoggingIdLogger", s_szFileLogger)));
}

TEST(LoggingIdLogger, ForgetsACallIdWithoutAnyStrings)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");
    LoggingIdLogger other(s_szName);
    Peer::swapLists(logger, other);
    const CapturedLog log;

    logger.clearCallId();

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("! m_pLoggingIdVector.isNull()", "LoggingIdLogger",
                                            s_szFileLogger)));
    EXPECT_FALSE(logger.isInCall());
}

TEST(LoggingIdLogger, ForgetsACallIdAmongNoStringsInUse)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId("abc");
    Peer::setCount(logger, 0);
    const CapturedLog log;

    logger.clearCallId();

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("m_uiLoggingIdVecSize > 0", "LoggingIdLogger",
                                            s_szFileLogger)));
    EXPECT_FALSE(logger.isInCall());
    EXPECT_EQ(Peer::count(logger), 0U);
}

// An argument that points into the logger's own strings.

class OwnText : public testing::TestWithParam<std::string>
{
};

INSTANTIATE_TEST_SUITE_P(ShortAndLong, OwnText, testing::Values("abc", s_strLongId));

TEST_P(OwnText, MayBeLoggedAsTheCallIdAgain)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId(GetParam().c_str());

    logger.logCallId(logger.getCallId());

    EXPECT_EQ(prefixOf(logger), "call-id=" + GetParam() + " ");
}

TEST_P(OwnText, MayBeLoggedInPartAsTheCallId)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId(GetParam().c_str());

    logger.logCallId(logger.getCallId() + 1);

    EXPECT_EQ(prefixOf(logger), "call-id=" + GetParam().substr(1) + " ");
}

TEST_P(OwnText, MayBeAddedWhileThereIsRoom)
{
    LoggingIdLogger logger = loggerWith({"one", "two"});
    logger.clearLoggingIds();
    logger.logCallId(GetParam().c_str());

    logger.addLoggingId(logger.getCallId());

    EXPECT_EQ(prefixOf(logger), "call-id=" + GetParam() + " " + GetParam() + " ");
}

TEST_P(OwnText, MayBeAddedWhenTheStringsMove)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId(GetParam().c_str());
    std::string strExpected = "call-id=" + GetParam() + " ";

    for (int iId = 0; iId < 8; ++iId)
    {
        logger.addLoggingId(logger.getCallId());
        strExpected += GetParam() + " ";
    }

    EXPECT_EQ(prefixOf(logger), strExpected);
}

TEST_P(OwnText, MayBeLoggedAsTheCallIdAfterTheIdentifiersAreCleared)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId(GetParam().c_str());
    const char* const szCallId = logger.getCallId();
    logger.clearLoggingIds();

    logger.logCallId(szCallId);

    EXPECT_EQ(prefixOf(logger), "call-id=" + GetParam() + " ");
}

TEST_P(OwnText, MayBeAddedAfterTheIdentifiersAreCleared)
{
    LoggingIdLogger logger(s_szName);
    logger.logCallId(GetParam().c_str());
    const char* const szCallId = logger.getCallId();
    logger.clearLoggingIds();

    logger.addLoggingId(szCallId);

    EXPECT_EQ(prefixOf(logger), GetParam() + " ");
}

// A derived class that overrides `isInCall`.

TEST(LoggingIdLogger, AddsACallIdWhereADerivedClassIsInACallWithoutOne)
{
    StubbornLogger logger(true);
    logger.addLoggingId("leg=1");

    EXPECT_STREQ(logger.LoggingIdLogger::getCallId(), s_szNoCallId);
    logger.LoggingIdLogger::logCallId("abc");

    EXPECT_STREQ(logger.LoggingIdLogger::getCallId(), "abc");
    EXPECT_EQ(prefixOf(logger), "leg=1 call-id=abc ");
}

TEST(LoggingIdLogger, ReplacesAndClearsACallIdWhereADerivedClassIsNotInACall)
{
    StubbornLogger logger(false);
    logger.LoggingIdLogger::logCallId("abc");

    logger.LoggingIdLogger::logCallId("def");
    EXPECT_STREQ(logger.getCallId(), "def");
    EXPECT_EQ(prefixOf(logger), "call-id=def ");
    logger.clearCallId();

    EXPECT_EQ(prefixOf(logger), "");
}

TEST(LoggingIdLogger, ClearsNothingWhereADerivedClassIsInACallWithoutACallId)
{
    StubbornLogger logger(true);
    logger.addLoggingId("leg=1");
    const CapturedLog log;

    logger.clearCallId();

    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(prefixOf(logger), "leg=1 ");
}

// Construction, copy, assignment and reset.

TEST(LoggingIdLogger, HasTheGivenNameAndNoCachedLevel)
{
    const CapturedLog log(WARN_LOG_LEVEL);

    const LoggingIdLogger logger(s_szName);

    EXPECT_EQ(logger.getName(), s_szName);
    EXPECT_FALSE(logger.isEnabledFor(INFO_LOG_LEVEL));
    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    EXPECT_TRUE(logger.isEnabledFor(INFO_LOG_LEVEL));
}

TEST(LoggingIdLogger, IsAHandleOnTheEntryOfAGivenLogger)
{
    const LoggingIdLogger logger{Logger(s_szName)};

    EXPECT_EQ(logger.getName(), s_szName);
    EXPECT_FALSE(logger.isInCall());
    EXPECT_EQ(prefixOf(logger), "");
}

TEST(LoggingIdLogger, TakesNoCachedLevelFromAGivenLogger)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    CachedLLLogger cached(s_szName);
    cached.cacheLogLevel();

    const LoggingIdLogger logger{static_cast<const Logger&>(cached)};

    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    EXPECT_TRUE(logger.isEnabledFor(INFO_LOG_LEVEL));
}

TEST(LoggingIdLogger, CopyIsInTheSameCallAndChangesByItself)
{
    LoggingIdLogger source = loggerWith({"leg=1"});
    source.logCallId("abc");

    LoggingIdLogger copy(source);
    EXPECT_TRUE(copy.isInCall());
    EXPECT_STREQ(copy.getCallId(), "abc");
    EXPECT_EQ(prefixOf(copy), "leg=1 call-id=abc ");
    copy.logCallId("def");
    copy.addLoggingId("copy");
    source.clearCallId();
    source.addLoggingId("source");

    EXPECT_EQ(prefixOf(copy), "leg=1 call-id=def copy ");
    EXPECT_EQ(prefixOf(source), "leg=1 source ");
}

TEST(LoggingIdLogger, CopyOfOneWithoutIdentifiersTakesSome)
{
    const LoggingIdLogger source(s_szName);

    LoggingIdLogger copy(source);
    copy.addLoggingId("leg=1");

    EXPECT_EQ(prefixOf(copy), "leg=1 ");
    EXPECT_EQ(prefixOf(source), "");
}

TEST(LoggingIdLogger, CopyHasTheCachedLevel)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    LoggingIdLogger source(s_szName);
    source.cacheLogLevel();

    const LoggingIdLogger copy(source);

    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    EXPECT_FALSE(copy.isEnabledFor(INFO_LOG_LEVEL));
}

TEST(LoggingIdLogger, AssignmentTakesNameCachedLevelIdentifiersAndCallId)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    LoggingIdLogger source("test.Source");
    source.addLoggingId("leg=1");
    source.logCallId("abc");
    source.cacheLogLevel();
    LoggingIdLogger target = loggerWith({"one", "two", "three"});

    const LoggingIdLogger& result = (target = source);

    EXPECT_EQ(&result, &target);
    EXPECT_EQ(target.getName(), "test.Source");
    EXPECT_STREQ(target.getCallId(), "abc");
    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    EXPECT_FALSE(target.isEnabledFor(INFO_LOG_LEVEL));
    target.reset();
    target = source;
    target.CachedLLLogger::reset();
    EXPECT_EQ(prefixOf(target), "leg=1 call-id=abc ");
}

TEST(LoggingIdLogger, AssignmentSharesNothing)
{
    LoggingIdLogger source = loggerWith({"leg=1"});
    LoggingIdLogger target = loggerWith({"one"});

    target = source;
    source.clearLoggingIds();
    source.addLoggingId("leg=2");

    EXPECT_EQ(prefixOf(target), "leg=1 ");
}

TEST(LoggingIdLogger, AssignmentToOneThatNeverHadIdentifiersGivesItACopy)
{
    LoggingIdLogger source = loggerWith({"leg=1"});
    LoggingIdLogger target(s_szName);

    target = source;
    source.logCallId("abc");

    EXPECT_EQ(prefixOf(target), "leg=1 ");
}

TEST(LoggingIdLogger, AssignmentOfOneThatNeverHadIdentifiersTakesAllAway)
{
    LoggingIdLogger target = loggerWith({"leg=1"});
    target.logCallId("abc");

    target = LoggingIdLogger(s_szName);

    EXPECT_FALSE(target.isInCall());
    EXPECT_EQ(prefixOf(target), "");
    target.addLoggingId("leg=2");
    EXPECT_EQ(prefixOf(target), "leg=2 ");
}

TEST(LoggingIdLogger, AssignmentToItselfChangesNothing)
{
    LoggingIdLogger logger = loggerWith({"leg=1"});
    logger.logCallId("abc");
    const LoggingIdLogger& same = logger;

    logger = same;

    EXPECT_STREQ(logger.getCallId(), "abc");
    EXPECT_EQ(prefixOf(logger), "leg=1 call-id=abc ");
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

TEST(LoggingIdLogger, AssignmentLeavesItAsItWasWhereverTheMemoryEnds)
{
    const std::string strLong(1000, 'x');
    LoggingIdLogger source = loggerWith({strLong.c_str(), "two", strLong.c_str()});
    source.logCallId(strLong.c_str());
    int iNumFailures = 0;
    for (bool bAssigned = false; !bAssigned;)
    {
        LoggingIdLogger target("test.Target");
        target.logCallId("abc");
        target.addLoggingId("leg=1");
        try
        {
            const MallocFailure failure(static_cast<std::size_t>(iNumFailures));
            target = source;
            bAssigned = true;
        }
        catch (const std::bad_alloc&)
        {
            ++iNumFailures;
            EXPECT_EQ(target.getName(), "test.Target");
            EXPECT_STREQ(target.getCallId(), "abc");
            EXPECT_EQ(prefixOf(target), "call-id=abc leg=1 ");
        }
    }
    EXPECT_GT(iNumFailures, 2);
}

#endif

TEST(LoggingIdLogger, ResetForgetsIdentifiersAndCachedLevel)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    LoggingIdLogger logger = loggerWith({"leg=1"});
    logger.logCallId("abc");
    logger.cacheLogLevel();
    Resettable& resettable = logger;

    EXPECT_TRUE(resettable.reset());

    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    EXPECT_TRUE(logger.isEnabledFor(INFO_LOG_LEVEL));
    EXPECT_FALSE(logger.isInCall());
    EXPECT_EQ(prefixOf(logger), "");
}

TEST(LoggingIdLogger, LogsNothingBelowItsCachedLevel)
{
    LoggingIdLogger logger = loggerWith({"leg=1"});
    const CapturedLog log;
    logger.setLogLevel(WARN_LOG_LEVEL);

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "off");
    VELMORA_LOG(logger, WARN_LOG_LEVEL, "on");

    EXPECT_THAT(log.lines(), ElementsAre(warnLine(s_szName, "leg=1 on")));
}

TEST(LoggingIdLogger, ACopyMayBeUsedByAnotherThread)
{
    LoggingIdLogger source = loggerWith({"thread=main"});
    source.logCallId("abc");
    const CapturedLog log;
    const auto logAndChange = [](LoggingIdLogger& out_logger, const char* in_szCallId)
    {
        for (int iLine = 0; iLine < 1000; ++iLine)
        {
            out_logger.logCallId(in_szCallId);
            VELMORA_LOG(out_logger, INFO_LOG_LEVEL, "x");
            out_logger.clearCallId();
        }
    };

    std::thread thread([&logAndChange, copy = source]() mutable { logAndChange(copy, "other"); });
    logAndChange(source, "main");
    thread.join();

    std::vector<LogLine> lines = log.lines();
    EXPECT_EQ(std::erase(lines, infoLine(s_szName, "thread=main call-id=main x")), 1000U);
    EXPECT_EQ(std::erase(lines, infoLine(s_szName, "thread=main call-id=other x")), 1000U);
    EXPECT_THAT(lines, IsEmpty());
}

// Memory.

TEST(LoggingIdLogger, TakesItsListFromTheAccountStringVectorOnFirstNeed)
{
    inAccountingProcess(
        []
        {
            {
                LoggingIdLogger logger(s_szName);
                EXPECT_EQ(bytesHeld("StringVector"), 0);
                logger.addLoggingId("leg=1");
                const int iOne = bytesHeld("StringVector");
                EXPECT_GE(iOne, static_cast<int>(sizeof(std::vector<std::string>)));
                logger.addLoggingId("leg=2");
                EXPECT_EQ(bytesHeld("StringVector"), iOne);
                const LoggingIdLogger copy(logger);
                EXPECT_EQ(bytesHeld("StringVector"), 2 * iOne);
                logger = LoggingIdLogger(s_szName);
                EXPECT_EQ(bytesHeld("StringVector"), iOne);
            }
            EXPECT_EQ(bytesHeld("StringVector"), 0);
        });
}

// As the logger of an object.

namespace
{

class Leg : public ObjectWithLogger<LoggingIdLogger>
{
  public:
    Leg() : ObjectWithLogger(s_szName) { getLogger().addLoggingId("leg=1"); }

    void log() const
    {
        VELMORA_TRACE_SCOPE(Leg::log);
        VELMORA_LOG_DEBUG("debug");
        VELMORA_LOG_FATAL("fatal");
    }

    void failAnAssertion() const { VELMORA_ASSERT_TEXT(false, "leg"); }
};

} // namespace

TEST(LoggingIdLogger, PutsItsIdentifiersIntoAllLinesOfItsObject)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const Leg leg;

    leg.log();

    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szName, "leg=1 entering Leg::log"),
                            debugLine(s_szName, "leg=1 debug"), fatalLine(s_szName, "leg=1 fatal"),
                            traceLine(s_szName, "leg=1 exiting Leg::log")));
}

TEST(LoggingIdLogger, LeavesTheIdentifiersOutOfAnAssertionOfItsObject)
{
    const CapturedLog log;
    const Leg leg;

    leg.failAnAssertion();

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("leg", "LoggingIdLoggerTest", s_szName)));
}

TEST(LoggingIdLogger, GoesWithACopyOfItsObject)
{
    const Leg leg;

    const Leg copy(leg);

    EXPECT_EQ(prefixOf(copy.getLogger()), "leg=1 ");
}

} // namespace Velmora::Test
