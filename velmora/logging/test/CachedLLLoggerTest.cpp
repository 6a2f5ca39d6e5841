// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CachedLLLogger.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/hierarchy.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Velmora::CachedLLLogger;
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
using Velmora::Test::CapturedLog;
using Velmora::Test::warnLine;

/// Sets the level of an entry in the hierarchy through log4cplus, so that no cached level changes.
void setLevelOfEntry(const std::string& in_strName, LogLevel in_level)
{
    log4cplus::Logger::getInstance(in_strName).setLogLevel(in_level);
}

/// Returns the cached level of a logger, NOT_SET_LOG_LEVEL if it has none. A logger without a
/// cached level follows its entry, whose level is set to one that no test uses.
LogLevel cachedLevelOf(const CachedLLLogger& in_logger)
{
    const LogLevel levelBefore = static_cast<const Logger&>(in_logger).getLogLevel();
    const auto probe = static_cast<LogLevel>(12345);
    setLevelOfEntry(in_logger.getName(), probe);
    const LogLevel level = in_logger.getLogLevel();
    setLevelOfEntry(in_logger.getName(), levelBefore);
    return level == probe ? NOT_SET_LOG_LEVEL : level;
}

class CachedLevel : public testing::Test
{
  protected:
    ~CachedLevel() override { log4cplus::Logger::getDefaultHierarchy().enableAll(); }

    CapturedLog m_log;
};

// Operations that change the cached level.

TEST_F(CachedLevel, CachesNothingWhenMadeFromAName)
{
    setLevelOfEntry("test.cached", WARN_LOG_LEVEL);

    const CachedLLLogger logger("test.cached");

    EXPECT_EQ(logger.getName(), "test.cached");
    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, CachesNothingWhenMadeFromALogger)
{
    setLevelOfEntry("test.cached", WARN_LOG_LEVEL);
    const Logger plain("test.cached");

    const CachedLLLogger logger(plain);

    EXPECT_EQ(logger.getName(), "test.cached");
    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, CopyHasTheCachedLevel)
{
    CachedLLLogger original("test.cached");
    original.setLogLevel(WARN_LOG_LEVEL);

    const CachedLLLogger logger(original);

    EXPECT_EQ(cachedLevelOf(logger), WARN_LOG_LEVEL);
}

TEST_F(CachedLevel, AssignmentOfALoggerForgetsTheCachedLevel)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    CachedLLLogger& result = (logger = Logger("test.other"));

    EXPECT_EQ(&result, &logger);
    EXPECT_EQ(logger.getName(), "test.other");
    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, AssignmentTakesTheCachedLevel)
{
    CachedLLLogger source("test.source");
    source.setLogLevel(WARN_LOG_LEVEL);
    CachedLLLogger logger("test.cached");

    CachedLLLogger& result = (logger = source);

    EXPECT_EQ(&result, &logger);
    EXPECT_EQ(logger.getName(), "test.source");
    EXPECT_EQ(cachedLevelOf(logger), WARN_LOG_LEVEL);
}

TEST_F(CachedLevel, AssignmentOfOneThatCachesNothingForgetsTheCachedLevel)
{
    const CachedLLLogger source("test.source");
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    logger = source;

    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, AssignmentToItselfChangesNothing)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    logger = std::as_const(logger);

    EXPECT_EQ(logger.getName(), "test.cached");
    EXPECT_EQ(cachedLevelOf(logger), WARN_LOG_LEVEL);
}

TEST_F(CachedLevel, AssignmentToItselfAsALoggerForgetsTheCachedLevel)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    logger = static_cast<const Logger&>(logger);

    EXPECT_EQ(logger.getName(), "test.cached");
    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, SettingTheLevelSetsThatOfTheEntryAndCachesIt)
{
    CachedLLLogger logger("test.cached");

    logger.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_EQ(Logger("test.cached").getLogLevel(), WARN_LOG_LEVEL);
    EXPECT_EQ(cachedLevelOf(logger), WARN_LOG_LEVEL);
}

TEST_F(CachedLevel, SettingTheLevelReplacesTheCachedOne)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    logger.setLogLevel(TRACE_LOG_LEVEL);

    EXPECT_EQ(cachedLevelOf(logger), TRACE_LOG_LEVEL);
}

TEST_F(CachedLevel, SettingTheLevelToNotSetForgetsTheCachedOne)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    logger.setLogLevel(NOT_SET_LOG_LEVEL);

    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
    EXPECT_EQ(logger.getLogLevel(), DEBUG_LOG_LEVEL);
}

TEST_F(CachedLevel, ResetForgetsTheCachedLevelAndGivesTrue)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    EXPECT_TRUE(logger.reset());

    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, ResetThroughItsInterfaceForgetsTheCachedLevel)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);
    Resettable& resettable = logger;

    EXPECT_TRUE(resettable.reset());

    EXPECT_EQ(cachedLevelOf(logger), NOT_SET_LOG_LEVEL);
}

TEST_F(CachedLevel, ResetLeavesTheLevelOfTheEntryAlone)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    logger.reset();

    EXPECT_EQ(logger.getLogLevel(), WARN_LOG_LEVEL);
}

TEST_F(CachedLevel, FillingTheCacheTakesTheLevelInEffect)
{
    setLevelOfEntry("test", ERROR_LOG_LEVEL);
    CachedLLLogger logger("test.cached");

    logger.cacheLogLevel();

    EXPECT_EQ(cachedLevelOf(logger), ERROR_LOG_LEVEL);
}

TEST_F(CachedLevel, FillingTheCacheAgainTakesANewLevelInEffect)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);
    setLevelOfEntry("test.cached", ERROR_LOG_LEVEL);

    logger.cacheLogLevel();

    EXPECT_EQ(cachedLevelOf(logger), ERROR_LOG_LEVEL);
}

TEST_F(CachedLevel, FillingTheCacheWithoutALevelInEffectCachesNothing)
{
    log4cplus::Logger::getRoot().setLogLevel(NOT_SET_LOG_LEVEL);
    CachedLLLogger logger("test.cached");

    logger.cacheLogLevel();

    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    EXPECT_EQ(logger.getLogLevel(), INFO_LOG_LEVEL);
}

// Operations that depend on the cached level.

TEST_F(CachedLevel, WithoutACachedLevelReturnsTheLevelInEffectAndDoesNotKeepIt)
{
    setLevelOfEntry("test", ERROR_LOG_LEVEL);
    const CachedLLLogger logger("test.cached");

    EXPECT_EQ(logger.getLogLevel(), ERROR_LOG_LEVEL);

    setLevelOfEntry("test", INFO_LOG_LEVEL);
    EXPECT_EQ(logger.getLogLevel(), INFO_LOG_LEVEL);
}

TEST_F(CachedLevel, ReturnsEachCachedLevel)
{
    CachedLLLogger logger("test.cached");
    for (const LogLevel level :
         {TRACE_LOG_LEVEL, static_cast<LogLevel>(1), DEBUG_LOG_LEVEL, FATAL_LOG_LEVEL})
    {
        logger.setLogLevel(level);
        setLevelOfEntry("test.cached", INFO_LOG_LEVEL);
        EXPECT_EQ(logger.getLogLevel(), level);
    }
}

TEST_F(CachedLevel, PassesALineAtTheCachedLevelAndDropsOneBelowItWhateverTheEntrySays)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    setLevelOfEntry("test.cached", DEBUG_LOG_LEVEL);

    EXPECT_TRUE(logger.isEnabledFor(static_cast<LogLevel>(30000)));
    EXPECT_FALSE(logger.isEnabledFor(static_cast<LogLevel>(29999)));
}

TEST_F(CachedLevel, PassesALineAtTheCachedLevelAlthoughTheEntryIsHigher)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);

    setLevelOfEntry("test.cached", FATAL_LOG_LEVEL);

    EXPECT_TRUE(logger.isEnabledFor(WARN_LOG_LEVEL));
}

TEST_F(CachedLevel, ObeysTheEntryAgainAfterReset)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);
    setLevelOfEntry("test.cached", DEBUG_LOG_LEVEL);

    logger.reset();

    EXPECT_TRUE(logger.isEnabledFor(static_cast<LogLevel>(29999)));
    EXPECT_TRUE(logger.isEnabledFor(DEBUG_LOG_LEVEL));
    EXPECT_FALSE(logger.isEnabledFor(static_cast<LogLevel>(9999)));
}

TEST_F(CachedLevel, LevelOfAParentDoesNotReachACachedOne)
{
    CachedLLLogger logger("test.parent.cached");
    logger.cacheLogLevel();

    setLevelOfEntry("test.parent", FATAL_LOG_LEVEL);

    EXPECT_TRUE(logger.isEnabledFor(DEBUG_LOG_LEVEL));
}

TEST_F(CachedLevel, WithoutACachedLevelObeysWhatTheHierarchyDisables)
{
    const CachedLLLogger logger("test.cached");

    log4cplus::Logger::getDefaultHierarchy().disable(WARN_LOG_LEVEL);

    EXPECT_FALSE(logger.isEnabledFor(WARN_LOG_LEVEL));
    EXPECT_TRUE(logger.isEnabledFor(ERROR_LOG_LEVEL));
}

TEST_F(CachedLevel, CachedLevelTraceLetsEverythingPass)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(TRACE_LOG_LEVEL);
    setLevelOfEntry("test.cached", FATAL_LOG_LEVEL);

    EXPECT_TRUE(logger.isEnabledFor(TRACE_LOG_LEVEL));
}

// `log`, which tests the cached level.

TEST_F(CachedLevel, LogsALineThatTheCachedLevelLetsPass)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);
    setLevelOfEntry("test.cached", FATAL_LOG_LEVEL);

    logger.log(WARN_LOG_LEVEL, "text", "Call.cpp", 42);

    EXPECT_THAT(m_log.lines(), ElementsAre(warnLine("test.cached", "text")));
    EXPECT_EQ(m_log.lines()[0].strFile, "Call.cpp");
    EXPECT_EQ(m_log.lines()[0].iLine, 42);
}

TEST_F(CachedLevel, DropsALineBelowTheCachedLevel)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(WARN_LOG_LEVEL);
    setLevelOfEntry("test.cached", DEBUG_LOG_LEVEL);

    logger.log(static_cast<LogLevel>(29999), "text", "Call.cpp", 42);

    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(CachedLevel, LogsByTheEntryWithoutACachedLevel)
{
    const CachedLLLogger logger("test.cached");
    setLevelOfEntry("test.cached", WARN_LOG_LEVEL);

    logger.log(WARN_LOG_LEVEL, "first", nullptr, -1);
    logger.log(INFO_LOG_LEVEL, "second", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(warnLine("test.cached", "first")));
}

TEST_F(CachedLevel, OperationOfLoggerDoesNotLookAtTheCachedLevel)
{
    CachedLLLogger logger("test.cached");
    logger.setLogLevel(FATAL_LOG_LEVEL);
    setLevelOfEntry("test.cached", DEBUG_LOG_LEVEL);

    logger.log(static_cast<int>(WARN_LOG_LEVEL), "text", nullptr, -1);

    EXPECT_THAT(m_log.lines(), ElementsAre(warnLine("test.cached", "text")));
}

/// Keeps the texts that reach `forcedLog`, and counts the calls of `getChainedNumAppender`.
class ForcedLogSpy : public CachedLLLogger
{
  public:
    ForcedLogSpy() : CachedLLLogger(std::string("test.Spy")) {}

    void forcedLog(int, const std::string& in_strMessage, const char*, int) const override
    {
        m_texts.push_back(in_strMessage);
    }
    std::size_t getChainedNumAppender() const override
    {
        ++m_iTimesCounted;
        return 0;
    }

    mutable std::vector<std::string> m_texts;
    mutable int m_iTimesCounted = 0;
};

TEST_F(CachedLevel, LogsThroughTheVirtualForcedLogWithoutCountingAppenders)
{
    const ForcedLogSpy spy;
    const CachedLLLogger& logger = spy;

    logger.log(WARN_LOG_LEVEL, "text", nullptr, -1);

    EXPECT_THAT(spy.m_texts, ElementsAre("text"));
    EXPECT_EQ(spy.m_iTimesCounted, 0);
}

// Threads.

TEST_F(CachedLevel, ThreadsLogThroughOneWhileAnotherChangesItsLevel)
{
    constexpr int s_iThreads = 3;
    constexpr int s_iLines = 500;
    CachedLLLogger logger("test.cached");
    std::atomic<int> iThreadsDone{0};
    std::vector<std::thread> threads;

    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            [&logger, &iThreadsDone]
            {
                for (int iLine = 0; iLine < s_iLines; ++iLine)
                {
                    logger.log(FATAL_LOG_LEVEL, "always", nullptr, -1);
                    logger.log(DEBUG_LOG_LEVEL, "at times", nullptr, -1);
                }
                ++iThreadsDone;
            });
    while (iThreadsDone != s_iThreads)
    {
        logger.setLogLevel(ERROR_LOG_LEVEL);
        logger.reset();
        logger.cacheLogLevel();
        logger.setLogLevel(DEBUG_LOG_LEVEL);
    }
    for (std::thread& thread : threads)
        thread.join();

    int iAlways = 0;
    for (const auto& line : m_log.linesOf("test.cached"))
        iAlways += line.strText == "always" ? 1 : 0;
    EXPECT_EQ(iAlways, s_iThreads * s_iLines);
}

} // namespace
