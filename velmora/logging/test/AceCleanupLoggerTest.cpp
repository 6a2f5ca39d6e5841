// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/AceCleanupLogger.h"

#include "tests/support/CapturedLog.h"

#include <ace/Object_Manager.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/layout.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include <unistd.h>

namespace
{

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::SizeIs;
using Velmora::AceCleanupCachedLLLogger;
using Velmora::AceCleanupLogger;
using Velmora::CachedLLLogger;
using Velmora::DEBUG_LOG_LEVEL;
using Velmora::INFO_LOG_LEVEL;
using Velmora::TRACE_LOG_LEVEL;
using Velmora::WARN_LOG_LEVEL;
using Velmora::Test::CapturedLog;
using Velmora::Test::traceLine;

constexpr const char* s_szLifeLogger = "keswardin.infra.Logger";

/// Removes a logger from the exit list and deletes it as the list would.
template <class CleanupLogger>
void deleteAsTheExitListDoes(CleanupLogger* in_pLogger)
{
    ASSERT_EQ(ACE_Object_Manager::remove_at_exit(in_pLogger), 1);
    CleanupLogger::cleanupFunc(in_pLogger, nullptr);
}

/// The name of each of the two classes, as it is in their lines.
template <class CleanupLogger>
struct ClassName;
template <>
struct ClassName<AceCleanupLogger>
{
    static constexpr const char* s_sz = "AceCleanupLogger";
};
template <>
struct ClassName<AceCleanupCachedLLLogger>
{
    static constexpr const char* s_sz = "AceCleanupCachedLLLogger";
};

/// Runs each test with both classes.
template <class CleanupLogger>
class AceCleanupLoggers : public testing::Test
{
  protected:
    static std::string bornText(const std::string& in_strName)
    {
        const std::string strClass = ClassName<CleanupLogger>::s_sz;
        return strClass + "::" + strClass + " name = " + in_strName;
    }

    static std::string deadText(const std::string& in_strName)
    {
        const std::string strClass = ClassName<CleanupLogger>::s_sz;
        return strClass + "::~" + strClass + " name = " + in_strName;
    }
};

using BothClasses = testing::Types<AceCleanupLogger, AceCleanupCachedLLLogger>;
TYPED_TEST_SUITE(AceCleanupLoggers, BothClasses);

TYPED_TEST(AceCleanupLoggers, HasTheGivenName)
{
    auto* const pLogger = new TypeParam("test.cleanup");

    EXPECT_EQ(pLogger->getName(), "test.cleanup");

    deleteAsTheExitListDoes(pLogger);
}

TYPED_TEST(AceCleanupLoggers, LogsItsBirthAtTrace)
{
    const CapturedLog log(TRACE_LOG_LEVEL);

    auto* const pLogger = new TypeParam("test.cleanup");

    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLifeLogger, this->bornText("test.cleanup"))));
    deleteAsTheExitListDoes(pLogger);
}

TYPED_TEST(AceCleanupLoggers, LogsItsDeathAtTrace)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    auto* const pLogger = new TypeParam("test.cleanup");
    log.clear();

    deleteAsTheExitListDoes(pLogger);

    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLifeLogger, this->deadText("test.cleanup"))));
}

TYPED_TEST(AceCleanupLoggers, KeepsQuietBelowTrace)
{
    // The lowest level above TRACE.
    const CapturedLog log(static_cast<Velmora::LogLevel>(1));

    deleteAsTheExitListDoes(new TypeParam("test.cleanup"));

    EXPECT_THAT(log.lines(), IsEmpty());
}

TYPED_TEST(AceCleanupLoggers, LooksAtTheLevelOfTheLoggerThatLogsItsLife)
{
    const CapturedLog log(DEBUG_LOG_LEVEL);
    log4cplus::Logger::getInstance(s_szLifeLogger).setLogLevel(TRACE_LOG_LEVEL);

    deleteAsTheExitListDoes(new TypeParam("test.cleanup"));

    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLifeLogger, this->bornText("test.cleanup")),
                            traceLine(s_szLifeLogger, this->deadText("test.cleanup"))));
}

TYPED_TEST(AceCleanupLoggers, OneWithTheNameOfThatLoggerLogsItsLifeToo)
{
    const CapturedLog log(TRACE_LOG_LEVEL);

    deleteAsTheExitListDoes(new TypeParam(s_szLifeLogger));

    EXPECT_THAT(log.lines(), SizeIs(2));
}

TYPED_TEST(AceCleanupLoggers, IsOnTheExitList)
{
    auto* const pLogger = new TypeParam("test.cleanup");

    // The list has no operation to look an object up, but refuses one that it already has.
    errno = 0;
    EXPECT_EQ(ACE_Object_Manager::at_exit(pLogger, &TypeParam::cleanupFunc, nullptr), -1);
    EXPECT_EQ(errno, EEXIST);

    deleteAsTheExitListDoes(pLogger);
}

TYPED_TEST(AceCleanupLoggers, CleanupDoesNothingWithANullPointer)
{
    const CapturedLog log(TRACE_LOG_LEVEL);

    TypeParam::cleanupFunc(nullptr, nullptr);

    EXPECT_THAT(log.lines(), IsEmpty());
}

TYPED_TEST(AceCleanupLoggers, CleanupDoesNotUseItsSecondArgument)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    auto* const pLogger = new TypeParam("test.cleanup");
    ASSERT_EQ(ACE_Object_Manager::remove_at_exit(pLogger), 1);
    log.clear();

    TypeParam::cleanupFunc(pLogger, &log);

    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLifeLogger, this->deadText("test.cleanup"))));
}

/// Notes that its own destructor has run, not only that of its base.
template <class CleanupLogger>
class DerivedLogger : public CleanupLogger
{
  public:
    explicit DerivedLogger(bool& out_bDestroyed)
        : CleanupLogger("test.cleanup"), m_bDestroyed(out_bDestroyed)
    {
    }
    ~DerivedLogger() override { m_bDestroyed = true; }

  private:
    bool& m_bDestroyed;
};

TYPED_TEST(AceCleanupLoggers, CleanupDeletesThroughTheVirtualDestructor)
{
    bool bDestroyed = false;
    auto* const pLogger = new DerivedLogger<TypeParam>(bDestroyed);
    ASSERT_EQ(ACE_Object_Manager::remove_at_exit(static_cast<TypeParam*>(pLogger)), 1);

    TypeParam::cleanupFunc(static_cast<TypeParam*>(pLogger), nullptr);

    EXPECT_TRUE(bDestroyed);
}

void logTraceToStandardError()
{
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::SharedAppenderPtr pAppender(new log4cplus::ConsoleAppender(true, true));
    pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>("%c|%m%n"));
    log4cplus::Logger::getRoot().addAppender(pAppender);
    log4cplus::Logger::getInstance(s_szLifeLogger).setLogLevel(TRACE_LOG_LEVEL);
    // The allocators log at exit too; those lines are left out.
    log4cplus::Logger::getInstance("keswardin.infra.MemAllocator").setLogLevel(WARN_LOG_LEVEL);
}

TYPED_TEST(AceCleanupLoggers, IsDeletedAtExitBeforeThoseThatAreOlder)
{
    const std::string strFirstBorn =
        std::string(s_szLifeLogger) + "|" + this->deadText("test.first");
    const std::string strLastBorn = std::string(s_szLifeLogger) + "|" + this->deadText("test.last");

    EXPECT_EXIT(
        {
            new TypeParam("test.first");
            new TypeParam("test.last");
            logTraceToStandardError();
            std::exit(0);
        },
        ExitedWithCode(0), testing::StartsWith(strLastBorn + "\n" + strFirstBorn + "\n"));
}

TEST(AceCleanupLogger, LibraryDeletesItsOwnInTheReverseOrderOfTheirBirth)
{
    const std::string strDead =
        std::string(s_szLifeLogger) + "|AceCleanupLogger::~AceCleanupLogger name = keswardin.";

    EXPECT_EXIT(
        {
            logTraceToStandardError();
            std::exit(0);
        },
        ExitedWithCode(0),
        testing::EndsWith(strDead + "infra.Fallible\n" + strDead + "infra.Exception\n" + strDead +
                          "infra.Debug\n" + strDead + "infra.Assertion\n" + strDead + "ace\n"));
}

TEST(AceCleanupCachedLLLogger, CachesNoLevelAtFirst)
{
    const CapturedLog log(DEBUG_LOG_LEVEL);
    auto* const pLogger = new AceCleanupCachedLLLogger("test.cleanup");

    log4cplus::Logger::getInstance("test.cleanup").setLogLevel(INFO_LOG_LEVEL);
    EXPECT_EQ(pLogger->getLogLevel(), INFO_LOG_LEVEL);

    deleteAsTheExitListDoes(pLogger);
}

TEST(AceCleanupCachedLLLogger, IsALoggerWithACachedLevel)
{
    EXPECT_TRUE((std::is_base_of_v<CachedLLLogger, AceCleanupCachedLLLogger>));
}

// Whether a logger is alive. Each of these tests needs a process in which no logger has been
// deleted.

TEST(AceCleanupLogger, IsAskedForByAPointerSinceItMayBeDead)
{
    using Question = const AceCleanupLogger* (*)(const AceCleanupLogger*);
    EXPECT_TRUE((std::is_same_v<decltype(&AceCleanupLogger::ifAlive), Question>));
}

/// Ends the process of a death test: with code 0 if the test found what it expects, else with 1.
[[noreturn]] void exitWith(bool in_bAsExpected) { _exit(in_bAsExpected ? 0 : 1); }

class AceCleanupLoggerDeathTest : public testing::Test
{
  protected:
    void SetUp() override { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

TEST_F(AceCleanupLoggerDeathTest, IsAliveWhileNoneHasBeenDeleted)
{
    EXPECT_EXIT(
        {
            const auto* const pLogger = new AceCleanupLogger("test.cleanup");
            exitWith(!AceCleanupLogger::hasExitListDeletedLoggers() &&
                     AceCleanupLogger::ifAlive(pLogger) == pLogger);
        },
        ExitedWithCode(0), "");
}

TEST_F(AceCleanupLoggerDeathTest, IsAliveWhileOnlyOthersHaveBeenDeleted)
{
    EXPECT_EXIT(
        {
            const auto* const pLogger = new AceCleanupLogger("test.cleanup");
            AceCleanupLogger::cleanupFunc(new AceCleanupLogger("test.other"), nullptr);
            exitWith(AceCleanupLogger::hasExitListDeletedLoggers() &&
                     AceCleanupLogger::ifAlive(pLogger) == pLogger);
        },
        ExitedWithCode(0), "");
}

TEST_F(AceCleanupLoggerDeathTest, IsNotAliveOnceDeleted)
{
    EXPECT_EXIT(
        {
            auto* const pLogger = new AceCleanupLogger("test.cleanup");
            AceCleanupLogger::cleanupFunc(pLogger, nullptr);
            exitWith(AceCleanupLogger::ifAlive(pLogger) == nullptr);
        },
        ExitedWithCode(0), "");
}

TEST_F(AceCleanupLoggerDeathTest, IsNotAliveOnceTheExitListHasRun)
{
    EXPECT_EXIT(
        {
            const auto* const pLogger = new AceCleanupLogger("test.cleanup");
            ACE_Object_Manager::instance()->fini();
            exitWith(AceCleanupLogger::ifAlive(pLogger) == nullptr);
        },
        ExitedWithCode(0), "");
}

TEST_F(AceCleanupLoggerDeathTest, DeletedOneWithACachedLevelDoesNotCount)
{
    EXPECT_EXIT(
        {
            AceCleanupCachedLLLogger::cleanupFunc(new AceCleanupCachedLLLogger("test.cleanup"),
                                                  nullptr);
            exitWith(!AceCleanupLogger::hasExitListDeletedLoggers());
        },
        ExitedWithCode(0), "");
}

} // namespace
