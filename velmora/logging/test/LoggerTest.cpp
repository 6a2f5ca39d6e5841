// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Logger.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"

#include <ace/Guard_T.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/mdc.h>
#include <log4cplus/ndc.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/spi/loggingevent.h>
#include <log4cplus/thread/threads.h>

#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Velmora::DEBUG_LOG_LEVEL;
using Velmora::ERROR_LOG_LEVEL;
using Velmora::FATAL_LOG_LEVEL;
using Velmora::INFO_LOG_LEVEL;
using Velmora::Logger;
using Velmora::LogLevel;
using Velmora::NOT_SET_LOG_LEVEL;
using Velmora::Resettable;
using Velmora::TRACE_LOG_LEVEL;
using Velmora::WARN_LOG_LEVEL;
using Velmora::Test::CallbackAppender;
using Velmora::Test::CapturedLog;
using Velmora::Test::infoLine;
using Velmora::Test::LogLine;
using Velmora::Test::traceLine;
using Velmora::Test::warnLine;

log4cplus::Hierarchy& hierarchy() { return log4cplus::Logger::getDefaultHierarchy(); }

log4cplus::Logger root() { return log4cplus::Logger::getRoot(); }

log4cplus::SharedAppenderPtr makeAppender(const std::string& in_strName)
{
    log4cplus::SharedAppenderPtr pAppender(new log4cplus::NullAppender);
    pAppender->setName(in_strName);
    return pAppender;
}

/// Resets log4cplus before and after each test: the root is at DEBUG and has no appender.
class LoggerInBareHierarchy : public testing::Test
{
  protected:
    LoggerInBareHierarchy() { hierarchy().resetConfiguration(); }
    ~LoggerInBareHierarchy() override
    {
        hierarchy().enableAll();
        hierarchy().resetConfiguration();
    }
};

// Names and entries.

TEST(Logger, IsNamedKeswardinWithoutAName) { EXPECT_EQ(Logger().getName(), "keswardin"); }

TEST(Logger, HasTheGivenName)
{
    EXPECT_EQ(Logger("test.gateway.Call").getName(), "test.gateway.Call");
}

TEST(Logger, IsResettable)
{
    EXPECT_TRUE((std::is_base_of_v<Resettable, Logger>));
    EXPECT_TRUE((std::is_convertible_v<Logger*, Velmora::Object*>));
}

TEST_F(LoggerInBareHierarchy, TwoWithOneNameTalkToTheSameEntry)
{
    Logger first("test.same");
    const Logger second("test.same");

    first.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(second.getLogLevel(), WARN_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, CopyTalksToTheSameEntry)
{
    Logger first("test.same");
    const Logger copy(first);

    first.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(copy.getName(), "test.same");
    EXPECT_EQ(copy.getLogLevel(), WARN_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, AssignmentLeadsToTheOtherEntry)
{
    Logger first("test.first");
    const Logger second("test.second");

    first = second;
    first.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(second.getLogLevel(), WARN_LOG_LEVEL);
    EXPECT_EQ(Logger("test.first").getLogLevel(), NOT_SET_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, DotsInANameMakeParents)
{
    Logger("test.parent").setLogLevel(ERROR_LOG_LEVEL);

    EXPECT_EQ(Logger("test.parent.child.grandchild").getChainedLogLevel(), ERROR_LOG_LEVEL);
    EXPECT_EQ(Logger("test.parenthesis").getChainedLogLevel(), DEBUG_LOG_LEVEL);
}

// Levels.

TEST_F(LoggerInBareHierarchy, HasNoLevelOfItsOwnAtFirst)
{
    EXPECT_EQ(Logger("test.fresh").getLogLevel(), NOT_SET_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, OwnLevelIsInEffect)
{
    Logger("test.parent").setLogLevel(ERROR_LOG_LEVEL);
    Logger logger("test.parent.child");

    logger.setLogLevel(INFO_LOG_LEVEL);

    EXPECT_EQ(logger.getLogLevel(), INFO_LOG_LEVEL);
    EXPECT_EQ(logger.getChainedLogLevel(), INFO_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, LevelOfTheNearestParentIsInEffectWithoutAnOwnOne)
{
    Logger("test").setLogLevel(FATAL_LOG_LEVEL);
    Logger("test.parent").setLogLevel(ERROR_LOG_LEVEL);
    const Logger logger("test.parent.between.child");

    EXPECT_EQ(logger.getLogLevel(), NOT_SET_LOG_LEVEL);
    EXPECT_EQ(logger.getChainedLogLevel(), ERROR_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, LevelOfTheRootIsInEffectWithoutAnyOtherOne)
{
    root().setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(Logger("test.lonely").getChainedLogLevel(), WARN_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, LevelCanBeTakenAwayAgain)
{
    Logger("test.parent").setLogLevel(ERROR_LOG_LEVEL);
    Logger logger("test.parent.child");
    logger.setLogLevel(INFO_LOG_LEVEL);

    logger.setLogLevel(NOT_SET_LOG_LEVEL);

    EXPECT_EQ(logger.getChainedLogLevel(), ERROR_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, PassesLinesThatAreNotBelowItsLevel)
{
    Logger logger("test.level");
    logger.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_FALSE(logger.isEnabledFor(INFO_LOG_LEVEL));
    EXPECT_FALSE(logger.isEnabledFor(static_cast<LogLevel>(29999)));
    EXPECT_TRUE(logger.isEnabledFor(WARN_LOG_LEVEL));
    EXPECT_TRUE(logger.isEnabledFor(static_cast<LogLevel>(30001)));
    EXPECT_TRUE(logger.isEnabledFor(FATAL_LOG_LEVEL));
}

TEST_F(LoggerInBareHierarchy, PassesTraceLinesAtLevelTrace)
{
    Logger logger("test.level");
    logger.setLogLevel(TRACE_LOG_LEVEL);

    EXPECT_TRUE(logger.isEnabledFor(TRACE_LOG_LEVEL));
}

TEST_F(LoggerInBareHierarchy, HasNoLevelInEffectWhenNotEvenTheRootHasOne)
{
    root().setLogLevel(NOT_SET_LOG_LEVEL);

    EXPECT_EQ(Logger("test.lonely").getChainedLogLevel(), NOT_SET_LOG_LEVEL);
}

TEST_F(LoggerInBareHierarchy, PassesNothingWhenNotEvenTheRootHasALevel)
{
    root().setLogLevel(NOT_SET_LOG_LEVEL);
    const Logger logger("test.lonely");

    EXPECT_FALSE(logger.isEnabledFor(TRACE_LOG_LEVEL));
    EXPECT_FALSE(logger.isEnabledFor(FATAL_LOG_LEVEL));
    EXPECT_FALSE(logger.isEnabledFor(NOT_SET_LOG_LEVEL));
}

TEST_F(LoggerInBareHierarchy, IsSilentOnStandardErrorWhenNotEvenTheRootHasALevel)
{
    root().setLogLevel(NOT_SET_LOG_LEVEL);
    const Logger logger("test.lonely");

    testing::internal::CaptureStderr();
    EXPECT_NO_THROW(static_cast<void>(logger.getChainedLogLevel()));
    EXPECT_NO_THROW(static_cast<void>(logger.isEnabledFor(FATAL_LOG_LEVEL)));
    EXPECT_NO_THROW(logger.log(FATAL_LOG_LEVEL, "text", nullptr, -1));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LoggerInBareHierarchy, ObeysWhatTheHierarchyDisables)
{
    Logger logger("test.level");
    logger.setLogLevel(TRACE_LOG_LEVEL);

    hierarchy().disable(INFO_LOG_LEVEL);

    EXPECT_FALSE(logger.isEnabledFor(INFO_LOG_LEVEL));
    EXPECT_TRUE(logger.isEnabledFor(WARN_LOG_LEVEL));
}

TEST_F(LoggerInBareHierarchy, PassesAgainWhatTheHierarchyEnables)
{
    Logger logger("test.level");
    logger.setLogLevel(TRACE_LOG_LEVEL);
    hierarchy().disable(INFO_LOG_LEVEL);

    hierarchy().enableAll();

    EXPECT_TRUE(logger.isEnabledFor(INFO_LOG_LEVEL));
}

// Logging.

TEST(Logger, LogsALineAtItsLevel)
{
    const CapturedLog log;

    Logger("test.Call").log(WARN_LOG_LEVEL, "late", "Call.cpp", 42);

    EXPECT_THAT(log.lines(), ElementsAre(warnLine("test.Call", "late")));
    EXPECT_EQ(log.lines()[0].strFile, "Call.cpp");
    EXPECT_EQ(log.lines()[0].iLine, 42);
}

TEST(Logger, DropsALineBelowItsLevel)
{
    const CapturedLog log(ERROR_LOG_LEVEL);

    Logger("test.Call").log(WARN_LOG_LEVEL, "late", "Call.cpp", 42);

    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Logger, LogsALineWithoutAPlace)
{
    const CapturedLog log;

    Logger("test.Call").log(INFO_LOG_LEVEL, "late", nullptr, -1);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.Call", "late")));
    EXPECT_EQ(log.lines()[0].strFile, "");
    EXPECT_EQ(log.lines()[0].iLine, -1);
}

TEST(Logger, LineWithoutAPlaceTakesNoneFromTheLineBefore)
{
    const CapturedLog log;
    const Logger logger("test.Call");

    logger.log(INFO_LOG_LEVEL, "first", "Call.cpp", 42);
    logger.log(INFO_LOG_LEVEL, "second", nullptr, -1);

    ASSERT_THAT(log.lines(), SizeIs(2));
    EXPECT_EQ(log.lines()[1].strFile, "");
    EXPECT_EQ(log.lines()[1].iLine, -1);
}

TEST(Logger, EachLineHasItsOwnLoggerAndPlace)
{
    const CapturedLog log;
    std::string strFile = "One.cpp";

    Logger("test.One").log(INFO_LOG_LEVEL, "first", strFile.c_str(), 1);
    Logger("test.Two").log(WARN_LOG_LEVEL, "second", "Two.cpp", 2);
    Logger("test.One").log(INFO_LOG_LEVEL, "third", "One.cpp", 1);
    // The same place in memory, with another text.
    strFile = "Six.cpp";
    Logger("test.One").log(INFO_LOG_LEVEL, "fourth", strFile.c_str(), 3);

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("test.One", "first"), warnLine("test.Two", "second"),
                            infoLine("test.One", "third"), infoLine("test.One", "fourth")));
    std::vector<std::string> places;
    for (const LogLine& line : log.lines())
        places.push_back(line.strFile + ':' + std::to_string(line.iLine));
    EXPECT_THAT(places, ElementsAre("One.cpp:1", "Two.cpp:2", "One.cpp:1", "Six.cpp:3"));
}

TEST(Logger, EachLineHasTheDiagnosticContextOfItsTime)
{
    std::vector<std::string> contexts;
    const CallbackAppender appender(
        CallbackAppender::EventCallback(
            [&contexts](const log4cplus::spi::InternalLoggingEvent& in_event)
            { contexts.push_back(in_event.getNDC() + '/' + in_event.getMDC("leg")); }),
        "test.Call");
    const Logger logger("test.Call");

    logger.log(INFO_LOG_LEVEL, "first", nullptr, -1);
    log4cplus::getNDC().push("call");
    log4cplus::getMDC().put("leg", "1");
    logger.log(INFO_LOG_LEVEL, "second", nullptr, -1);
    log4cplus::getNDC().remove();
    log4cplus::getMDC().clear();
    logger.log(INFO_LOG_LEVEL, "third", nullptr, -1);

    EXPECT_THAT(contexts, ElementsAre("/", "call/1", "/"));
}

TEST(Logger, EachLineHasTheNamesThatItsThreadHasAtThatTime)
{
    std::vector<std::string> names;
    const CallbackAppender appender(
        CallbackAppender::EventCallback(
            [&names](const log4cplus::spi::InternalLoggingEvent& in_event)
            { names.push_back(in_event.getThread() + '/' + in_event.getThread2()); }),
        "test.Call");
    const Logger logger("test.Call");

    for (const char* const szName : {"one", "two"})
    {
        log4cplus::thread::setCurrentThreadName(szName);
        log4cplus::thread::setCurrentThreadName2(szName);
        logger.log(INFO_LOG_LEVEL, "text", nullptr, -1);
    }

    EXPECT_THAT(names, ElementsAre("one/one", "two/two"));
}

TEST(Logger, LevelBetweenTheNamedOnesIsKept)
{
    const CapturedLog log;

    Logger("test.Call").log(12345, "odd", nullptr, -1);

    ASSERT_THAT(log.lines(), SizeIs(1));
    EXPECT_EQ(log.lines()[0].level, 12345);
}

TEST(Logger, ForcedLogLogsWhateverTheLevel)
{
    const CapturedLog log(FATAL_LOG_LEVEL);

    Logger("test.Call").forcedLog(INFO_LOG_LEVEL, "usage", nullptr, -1);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.Call", "usage")));
}

TEST(Logger, ForcedTraceLogsAtTraceWhateverTheLevelWithoutAPlace)
{
    const CapturedLog log(FATAL_LOG_LEVEL);

    Logger("test.Call").forcedTrace("entering");

    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering")));
    EXPECT_EQ(log.lines()[0].strFile, "");
    EXPECT_EQ(log.lines()[0].iLine, -1);
}

/// Records the calls of `forcedLog` with their arguments.
class ForcedLogSpy : public Logger
{
  public:
    ForcedLogSpy() : Logger("test.Spy") {}

    void forcedLog(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                   int in_iLine) const override
    {
        m_calls.push_back(std::to_string(in_logLevel) + " " + in_strMessage + " " +
                          (in_szFile != nullptr ? in_szFile : "null") + " " +
                          std::to_string(in_iLine));
    }

    mutable std::vector<std::string> m_calls;
};

TEST(Logger, LogGoesThroughTheVirtualForcedLog)
{
    const CapturedLog log;
    const ForcedLogSpy spy;
    const Logger& logger = spy;

    logger.log(INFO_LOG_LEVEL, "text", "Call.cpp", 42);

    EXPECT_THAT(spy.m_calls, ElementsAre("20000 text Call.cpp 42"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Logger, LogBelowItsLevelDoesNotReachForcedLog)
{
    const CapturedLog log;
    const ForcedLogSpy spy;

    spy.log(TRACE_LOG_LEVEL, "text", "Call.cpp", 42);

    EXPECT_THAT(spy.m_calls, IsEmpty());
}

TEST(Logger, ForcedTraceGoesThroughTheVirtualForcedLogWithNullFileAndNegativeLine)
{
    const ForcedLogSpy spy;

    spy.forcedTrace("entering");

    EXPECT_THAT(spy.m_calls, ElementsAre("0 entering null -1"));
}

/// Keeps copies of the events that reach `callAppenders`.
class EventSpy : public Logger
{
  public:
    EventSpy() : Logger("test.Spy") {}

    void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const override
    {
        m_events.push_back(in_event.clone());
    }

    mutable std::vector<std::unique_ptr<log4cplus::spi::InternalLoggingEvent>> m_events;
};

/// Records the length of each event's text, and the capacity of the last one's text.
class EventSizeSpy : public Logger
{
  public:
    EventSizeSpy() : Logger("test.Spy") {}

    void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const override
    {
        m_sizes.push_back(in_event.getMessage().size());
        m_uiLastCapacity = in_event.getMessage().capacity();
    }

    mutable std::vector<std::size_t> m_sizes;
    mutable std::size_t m_uiLastCapacity = 0;
};

TEST(Logger, ForcedLogHandsAPlainEventToTheVirtualCallAppenders)
{
    const CapturedLog log;
    const EventSpy spy;
    const Logger& logger = spy;
    const auto before = log4cplus::helpers::now();

    logger.forcedLog(INFO_LOG_LEVEL, "text", "Call.cpp", 42);

    ASSERT_THAT(spy.m_events, SizeIs(1));
    const log4cplus::spi::InternalLoggingEvent& event = *spy.m_events[0];
    EXPECT_EQ(event.getType(), log4cplus::spi::InternalLoggingEvent::getDefaultType());
    EXPECT_EQ(event.getLoggerName(), "test.Spy");
    EXPECT_EQ(event.getLogLevel(), INFO_LOG_LEVEL);
    EXPECT_EQ(event.getMessage(), "text");
    EXPECT_EQ(event.getFile(), "Call.cpp");
    EXPECT_EQ(event.getLine(), 42);
    EXPECT_EQ(event.getFunction(), "");
    EXPECT_GE(event.getTimestamp(), before);
    EXPECT_LE(event.getTimestamp(), log4cplus::helpers::now());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Logger, EventOfALineThatFollowsAHugeOneDoesNotKeepItsMemory)
{
    const EventSizeSpy spy;

    spy.forcedLog(INFO_LOG_LEVEL, std::string(1 << 20, 'x'), nullptr, -1);
    spy.forcedLog(INFO_LOG_LEVEL, "text", nullptr, -1);

    ASSERT_THAT(spy.m_sizes, SizeIs(2));
    EXPECT_EQ(spy.m_sizes[0], std::size_t{1} << 20);
    EXPECT_EQ(spy.m_sizes[1], 4u);
    EXPECT_LT(spy.m_uiLastCapacity, std::size_t{1} << 16);
}

TEST(Logger, CallAppendersHandsTheEventToTheAppendersOfTheChain)
{
    const CapturedLog log;
    const log4cplus::spi::InternalLoggingEvent event("other", WARN_LOG_LEVEL, "text", "Call.cpp",
                                                     42);

    Logger("test.Call").callAppenders(event);

    EXPECT_THAT(log.lines(), ElementsAre(warnLine("other", "text")));
}

TEST(Logger, LineThatAnAppenderLogsDoesNotTouchTheOneThatItHandles)
{
    const CapturedLog log;
    std::string strAfterwards;
    const CallbackAppender appender(
        [&strAfterwards](const log4cplus::spi::InternalLoggingEvent& in_event)
        {
            Logger("test.Inner")
                .log(INFO_LOG_LEVEL, "about " + in_event.getMessage(), "Inner.cpp", 7);
            strAfterwards = in_event.getMessage();
        },
        "test.Outer");

    Logger("test.Outer").log(WARN_LOG_LEVEL, "outer", "Outer.cpp", 1);

    EXPECT_EQ(strAfterwards, "outer");
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.Inner", "about outer"),
                                         warnLine("test.Outer", "outer")));
}

TEST(Logger, ResetDoesNothingAndGivesTrue)
{
    const CapturedLog log;
    Logger logger("test.Call");
    logger.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_TRUE(logger.reset());

    EXPECT_EQ(logger.getLogLevel(), WARN_LOG_LEVEL);
    EXPECT_EQ(logger.getChainedNumAppender(), 1u);
}

// Appenders in the chain.

TEST_F(LoggerInBareHierarchy, ChainWithoutAppendersHasNone)
{
    EXPECT_EQ(Logger("test.parent.child").getChainedNumAppender(), 0u);
}

TEST_F(LoggerInBareHierarchy, ChainCountsTheAppendersOfTheLoggerAndItsParents)
{
    root().addAppender(makeAppender("root"));
    log4cplus::Logger::getInstance("test").addAppender(makeAppender("first"));
    log4cplus::Logger::getInstance("test").addAppender(makeAppender("second"));
    log4cplus::Logger::getInstance("test.parent.child").addAppender(makeAppender("child"));

    EXPECT_EQ(Logger("test.parent.child").getChainedNumAppender(), 4u);
    EXPECT_EQ(Logger("test.parent").getChainedNumAppender(), 3u);
    EXPECT_EQ(Logger("elsewhere").getChainedNumAppender(), 1u);
}

TEST_F(LoggerInBareHierarchy, ChainCountEndsWhereAdditivityEnds)
{
    root().addAppender(makeAppender("root"));
    log4cplus::Logger parent = log4cplus::Logger::getInstance("test.parent");
    parent.addAppender(makeAppender("parent"));
    parent.setAdditivity(false);

    EXPECT_EQ(Logger("test.parent.child").getChainedNumAppender(), 1u);
    EXPECT_EQ(Logger("test.parent").getChainedNumAppender(), 1u);
}

TEST_F(LoggerInBareHierarchy, ChainOfALoggerThatIsNotAdditiveMayBeEmpty)
{
    root().addAppender(makeAppender("root"));
    log4cplus::Logger::getInstance("test.silent").setAdditivity(false);

    EXPECT_EQ(Logger("test.silent").getChainedNumAppender(), 0u);
}

TEST_F(LoggerInBareHierarchy, ChainCountFollowsAppendersThatGo)
{
    root().addAppender(makeAppender("root"));
    const Logger logger("test.child");
    ASSERT_EQ(logger.getChainedNumAppender(), 1u);

    root().removeAllAppenders();

    EXPECT_EQ(logger.getChainedNumAppender(), 0u);
}

TEST_F(LoggerInBareHierarchy, FindsAnAppenderOfItsOwnByName)
{
    const log4cplus::SharedAppenderPtr pAppender = makeAppender("wanted");
    log4cplus::Logger::getInstance("test.child").addAppender(makeAppender("other"));
    log4cplus::Logger::getInstance("test.child").addAppender(pAppender);

    EXPECT_EQ(Logger("test.child").getChainedAppender("wanted"), pAppender);
}

TEST_F(LoggerInBareHierarchy, FindsAnAppenderOfAParentByName)
{
    const log4cplus::SharedAppenderPtr pAppender = makeAppender("wanted");
    log4cplus::Logger::getInstance("test").addAppender(pAppender);

    EXPECT_EQ(Logger("test.parent.child").getChainedAppender("wanted"), pAppender);
}

TEST_F(LoggerInBareHierarchy, FindsAnAppenderOfTheRootByName)
{
    const log4cplus::SharedAppenderPtr pAppender = makeAppender("wanted");
    root().addAppender(pAppender);

    EXPECT_EQ(Logger("test.parent.child").getChainedAppender("wanted"), pAppender);
}

TEST_F(LoggerInBareHierarchy, FindsTheNearestOfTwoAppendersWithOneName)
{
    const log4cplus::SharedAppenderPtr pAppender = makeAppender("wanted");
    root().addAppender(makeAppender("wanted"));
    log4cplus::Logger::getInstance("test.parent").addAppender(pAppender);

    EXPECT_EQ(Logger("test.parent.child").getChainedAppender("wanted"), pAppender);
}

TEST_F(LoggerInBareHierarchy, SearchForAnAppenderEndsWhereAdditivityEnds)
{
    root().addAppender(makeAppender("wanted"));
    log4cplus::Logger::getInstance("test.parent").setAdditivity(false);

    EXPECT_FALSE(Logger("test.parent.child").getChainedAppender("wanted"));
    EXPECT_FALSE(Logger("test.parent").getChainedAppender("wanted"));
    EXPECT_TRUE(Logger("test").getChainedAppender("wanted"));
}

TEST_F(LoggerInBareHierarchy, SearchForAnUnknownAppenderEndsSilentlyAtTheRoot)
{
    Logger logger("test.parent.child");

    testing::internal::CaptureStderr();
    const log4cplus::SharedAppenderPtr pAppender = logger.getChainedAppender("unknown");

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(pAppender);
}

// The configuration that a process starts with.

TEST_F(LoggerInBareHierarchy, ConfigurationIsNotOkWithoutALevelAndAnAppender)
{
    root().setLogLevel(NOT_SET_LOG_LEVEL);

    EXPECT_FALSE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, ConfigurationIsNotOkWithoutALevel)
{
    root().setLogLevel(NOT_SET_LOG_LEVEL);
    root().addAppender(makeAppender("root"));

    EXPECT_FALSE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, ConfigurationIsNotOkWithoutAnAppender)
{
    root().setLogLevel(DEBUG_LOG_LEVEL);

    EXPECT_FALSE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, ConfigurationIsNotOkWithAnAppenderElsewhereOnly)
{
    root().setLogLevel(DEBUG_LOG_LEVEL);
    log4cplus::Logger::getInstance("keswardin").addAppender(makeAppender("elsewhere"));

    EXPECT_FALSE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, ConfigurationIsOkWithALevelAndAnAppender)
{
    root().setLogLevel(DEBUG_LOG_LEVEL);
    root().addAppender(makeAppender("root"));

    EXPECT_TRUE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, ConfigurationIsOkAtLevelTrace)
{
    root().setLogLevel(TRACE_LOG_LEVEL);
    root().addAppender(makeAppender("root"));

    EXPECT_TRUE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, ConfigurationIsAskedWithoutTheMutex)
{
    const ACE_Guard<ACE_Thread_Mutex> guard(Logger::sGetConfigMutex());

    EXPECT_FALSE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, LevelIsSetWithoutTheMutex)
{
    const ACE_Guard<ACE_Thread_Mutex> guard(Logger::sGetConfigMutex());
    Logger logger("test.level");

    logger.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(logger.getLogLevel(), WARN_LOG_LEVEL);
}

TEST(Logger, HasOneConfigurationMutex)
{
    EXPECT_EQ(&Logger::sGetConfigMutex(), &Logger::sGetConfigMutex());
}

TEST_F(LoggerInBareHierarchy, DefaultConfigurationIsOk)
{
    EXPECT_TRUE(Logger::configureDefault());

    EXPECT_TRUE(Logger::configurationOK());
}

TEST_F(LoggerInBareHierarchy, DefaultConfigurationHasTheRootAtDebugWithOneAppender)
{
    root().setLogLevel(FATAL_LOG_LEVEL);
    root().addAppender(makeAppender("before"));

    Logger::configureDefault();

    EXPECT_EQ(root().getLogLevel(), DEBUG_LOG_LEVEL);
    ASSERT_THAT(root().getAllAppenders(), SizeIs(1));
    EXPECT_EQ(root().getAllAppenders()[0]->getName(), "STDOUT");
}

TEST_F(LoggerInBareHierarchy, DefaultConfigurationTakesLevelsAppendersAndAdditivityBack)
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance("test.configured");
    logger.setLogLevel(FATAL_LOG_LEVEL);
    logger.addAppender(makeAppender("before"));
    logger.setAdditivity(false);
    hierarchy().disable(ERROR_LOG_LEVEL);

    Logger::configureDefault();

    EXPECT_EQ(logger.getLogLevel(), NOT_SET_LOG_LEVEL);
    EXPECT_THAT(logger.getAllAppenders(), IsEmpty());
    EXPECT_TRUE(logger.getAdditivity());
    EXPECT_FALSE(hierarchy().isDisabled(ERROR_LOG_LEVEL));
}

TEST_F(LoggerInBareHierarchy, DefaultConfigurationWritesToStandardOutput)
{
    Logger::configureDefault();

    testing::internal::CaptureStdout();
    Logger("test.Call").log(DEBUG_LOG_LEVEL, "to the console", nullptr, -1);
    Logger("test.Call").log(TRACE_LOG_LEVEL, "too low", nullptr, -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "DEBUG - to the console\n");
}

/// An appender that notes, when it is closed, whether the configuration mutex is free.
class MutexProbe : public log4cplus::NullAppender
{
  public:
    explicit MutexProbe(std::vector<bool>& out_wasFree) : m_wasFree(out_wasFree) {}

    void close() override
    {
        // The mutex is not recursive, so this fails even on the thread that holds it.
        const bool bFree = Logger::sGetConfigMutex().tryacquire() == 0;
        if (bFree)
            Logger::sGetConfigMutex().release();
        m_wasFree.push_back(bFree);
    }

  private:
    std::vector<bool>& m_wasFree;
};

TEST_F(LoggerInBareHierarchy, DefaultConfigurationHoldsTheMutex)
{
    std::vector<bool> wasFree;
    root().addAppender(log4cplus::SharedAppenderPtr(new MutexProbe(wasFree)));

    Logger::configureDefault();

    EXPECT_THAT(wasFree, ElementsAre(false));
}

TEST_F(LoggerInBareHierarchy, DefaultConfigurationReleasesTheMutex)
{
    Logger::configureDefault();

    ASSERT_EQ(Logger::sGetConfigMutex().tryacquire(), 0);
    Logger::sGetConfigMutex().release();
}

TEST_F(LoggerInBareHierarchy, NoLineIsLostWhileTheDefaultConfigurationIsRenewed)
{
    constexpr int s_iThreads = 2;
    constexpr int s_iLines = 3000;
    Logger::configureDefault();

    testing::internal::CaptureStdout();
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            []
            {
                const Logger logger("test.Call");
                for (int iLine = 0; iLine < s_iLines; ++iLine)
                    if (logger.isEnabledFor(INFO_LOG_LEVEL) && logger.getChainedNumAppender() != 0)
                        logger.forcedLog(INFO_LOG_LEVEL, "line", nullptr, -1);
            });
    for (int iRound = 0; iRound < 100; ++iRound)
        Logger::configureDefault();
    for (std::thread& thread : threads)
        thread.join();

    std::string strExpected;
    for (int iLine = 0; iLine < s_iThreads * s_iLines; ++iLine)
        strExpected += "INFO - line\n";
    EXPECT_TRUE(testing::internal::GetCapturedStdout() == strExpected);
}

} // namespace
