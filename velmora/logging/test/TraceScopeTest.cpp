// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/TraceScope.h"

#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/ObjectWithLogger.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/hierarchy.h>

#include <string>
#include <vector>

VELMORA_FILE_SCOPE_LOGGER("test.TraceScope")

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Velmora::CachedLLLogger;
using Velmora::DEBUG_LOG_LEVEL;
using Velmora::FATAL_LOG_LEVEL;
using Velmora::Logger;
using Velmora::LogLevel;
using Velmora::NOT_SET_LOG_LEVEL;
using Velmora::ObjectWithLogger;
using Velmora::TRACE_LOG_LEVEL;
using Velmora::TraceScope;
using Velmora::WARN_LOG_LEVEL;
using Velmora::Test::CapturedLog;
using Velmora::Test::traceLine;

/// The lowest level above TRACE.
constexpr auto s_levelOne = static_cast<LogLevel>(1);

void setLevelOfEntry(const std::string& in_strName, LogLevel in_level)
{
    log4cplus::Logger::getInstance(in_strName).setLogLevel(in_level);
}

TEST(TraceScope, LogsThatItIsEnteredAndExited)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
        EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold")));
        log.clear();
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "exiting Call::hold")));
}

TEST(TraceScope, LinesHaveNoPlace)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
    }
    ASSERT_THAT(log.lines(), SizeIs(2));
    for (const auto& line : log.lines())
    {
        EXPECT_EQ(line.strFile, "");
        EXPECT_EQ(line.iLine, -1);
    }
}

TEST(TraceScope, NestedScopesAreExitedFromTheInnerOne)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope outer(logger, "outer", NOT_SET_LOG_LEVEL);
        const TraceScope inner(logger, "inner", NOT_SET_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering outer"),
                                         traceLine("test.Call", "entering inner"),
                                         traceLine("test.Call", "exiting inner"),
                                         traceLine("test.Call", "exiting outer")));
}

TEST(TraceScope, IsExitedByAnException)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const Logger logger("test.Call");

    try
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
        throw 1;
    }
    catch (int)
    {
        logger.log(TRACE_LOG_LEVEL, "caught", nullptr, -1);
    }

    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold"),
                                         traceLine("test.Call", "exiting Call::hold"),
                                         traceLine("test.Call", "caught")));
}

// Without a given level.

TEST(TraceScope, IsNotActiveWhenTheLevelInEffectIsAboveTrace)
{
    const CapturedLog log(s_levelOne);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, IsActiveByTheLevelInEffect)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    setLevelOfEntry("test", TRACE_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), SizeIs(2));
}

TEST(TraceScope, IsNotActiveWithoutAnyLevel)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    log4cplus::Logger::getRoot().setLogLevel(NOT_SET_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, IsNotActiveWithoutAnAppenderInTheChain)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    log4cplus::Logger entry = log4cplus::Logger::getInstance("test.Call");
    entry.setLogLevel(TRACE_LOG_LEVEL);
    entry.setAdditivity(false);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
        // A scope that tested for appenders at its end would find one now.
        entry.setAdditivity(true);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

// With a given level.

TEST(TraceScope, GivenLevelTraceMakesItActiveWhateverTheLevelInEffect)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", TRACE_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold"),
                                         traceLine("test.Call", "exiting Call::hold")));
}

TEST(TraceScope, GivenLevelOneMakesItInactiveWhateverTheLevelInEffect)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", s_levelOne);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, GivenLevelBelowNotSetMakesItActive)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", static_cast<LogLevel>(-2));
    }
    EXPECT_THAT(log.lines(), SizeIs(2));
}

TEST(TraceScope, WithGivenLevelTraceIsNotActiveWithoutAnAppenderInTheChain)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    log4cplus::Logger entry = log4cplus::Logger::getInstance("test.Call");
    entry.setLogLevel(TRACE_LOG_LEVEL);
    entry.setAdditivity(false);
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", logger.getLogLevel());
        entry.setAdditivity(true);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, WithoutAnAppenderIsSilentOnStandardError)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    log4cplus::Logger::getInstance("test.Call").setAdditivity(false);

    testing::internal::CaptureStderr();
    const Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// Whether a scope is active is decided at entry.

TEST(TraceScope, ActiveOneLogsItsExitAlthoughTheLevelHasRisen)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
        logger.setLogLevel(FATAL_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold"),
                                         traceLine("test.Call", "exiting Call::hold")));
}

TEST(TraceScope, InactiveOneLogsNoExitAlthoughTheLevelHasFallen)
{
    const CapturedLog log(DEBUG_LOG_LEVEL);
    Logger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", NOT_SET_LOG_LEVEL);
        logger.setLogLevel(TRACE_LOG_LEVEL);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

/// Keeps the texts of a scope, and counts the calls of `getChainedNumAppender`.
class LoggerSpy : public Logger
{
  public:
    LoggerSpy() : Logger("test.Spy") {}

    void forcedTrace(const char* in_szText) const override { m_texts.emplace_back(in_szText); }
    std::size_t getChainedNumAppender() const override
    {
        ++m_iTimesCounted;
        return 1;
    }

    mutable std::vector<std::string> m_texts;
    mutable int m_iTimesCounted = 0;
};

TEST(TraceScope, LogsThroughTheVirtualForcedTrace)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const LoggerSpy spy;
    {
        const TraceScope scope(spy, "Call::hold", TRACE_LOG_LEVEL);
    }
    EXPECT_THAT(spy.m_texts, ElementsAre("entering Call::hold", "exiting Call::hold"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, CountsTheAppendersOnceAtEntryAndNotWhenTheLevelIsOff)
{
    const LoggerSpy spy;
    {
        const TraceScope scope(spy, "Call::hold", TRACE_LOG_LEVEL);
    }
    EXPECT_EQ(spy.m_iTimesCounted, 1);
    {
        const TraceScope scope(spy, "Call::hold", DEBUG_LOG_LEVEL);
    }
    EXPECT_EQ(spy.m_iTimesCounted, 1);
}

// With a pointer to a logger, as the macro for a file's logger passes it.

TEST(TraceScope, IsNotActiveWithANullLogger)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        const TraceScope scope(nullptr, "Call::hold");
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, TakesTheOwnLevelOfThePointedAtLogger)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Logger logger("test.Call");
    {
        const TraceScope scope(&logger, "first");
    }
    logger.setLogLevel(DEBUG_LOG_LEVEL);
    {
        const TraceScope scope(&logger, "second");
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering first"),
                                         traceLine("test.Call", "exiting first")));
}

// With a cached level.

TEST(TraceScope, IsActiveByACachedLevelTrace)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    CachedLLLogger logger("test.Call");
    logger.setLogLevel(TRACE_LOG_LEVEL);
    setLevelOfEntry("test.Call", FATAL_LOG_LEVEL);
    {
        const TraceScope scope(logger, "Call::hold", logger.getLogLevel());
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold"),
                                         traceLine("test.Call", "exiting Call::hold")));
}

TEST(TraceScope, IsNotActiveByAHigherCachedLevel)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    CachedLLLogger logger("test.Call");
    logger.setLogLevel(WARN_LOG_LEVEL);
    setLevelOfEntry("test.Call", TRACE_LOG_LEVEL);
    {
        const TraceScope scope(logger, "Call::hold", logger.getLogLevel());
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, IsActiveByTheLevelInEffectWithoutACachedOne)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const CachedLLLogger logger("test.Call");
    {
        const TraceScope scope(logger, "Call::hold", logger.getLogLevel());
    }
    EXPECT_THAT(log.lines(), SizeIs(2));
}

// The macros.

template <class T>
class Call : public ObjectWithLogger<T>
{
  public:
    Call() : ObjectWithLogger<T>(std::string("test.Call")) {}

    void hold() const { VELMORA_TRACE_SCOPE(Call::hold); }
};

TEST(TraceScope, ObjectFormTakesItsNameAsItIsWritten)
{
    const CapturedLog log(TRACE_LOG_LEVEL);

    Call<Logger>().hold();

    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold"),
                                         traceLine("test.Call", "exiting Call::hold")));
}

TEST(TraceScope, ObjectFormTakesTheOwnLevelOfTheLogger)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Call<Logger> call;
    call.getLogger().setLogLevel(DEBUG_LOG_LEVEL);

    call.hold();

    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TraceScope, ObjectFormTakesTheCachedLevelOfTheLogger)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    Call<CachedLLLogger> call;
    call.getLogger().setLogLevel(TRACE_LOG_LEVEL);
    setLevelOfEntry("test.Call", FATAL_LOG_LEVEL);

    call.hold();

    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.Call", "entering Call::hold"),
                                         traceLine("test.Call", "exiting Call::hold")));
}

TEST(TraceScope, FileFormTakesTheLoggerOfTheFile)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        VELMORA_FILE_TRACE_SCOPE(Call::release);
    }
    EXPECT_THAT(log.lines(), ElementsAre(traceLine("test.TraceScope", "entering Call::release"),
                                         traceLine("test.TraceScope", "exiting Call::release")));
}

TEST(TraceScope, TwoMayBeInOneScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    {
        VELMORA_FILE_TRACE_SCOPE(first);
        VELMORA_FILE_TRACE_SCOPE(second);
    }
    EXPECT_THAT(log.lines(), SizeIs(4));
}

} // namespace
