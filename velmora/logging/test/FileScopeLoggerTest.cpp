// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileScopeLogger.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CapturedLog.h"
#include "velmora/logging/test/FileScopeLoggerOfOtherFile.h"

#include <ace/Object_Manager.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/layout.h>

#include <cerrno>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

VELMORA_FILE_SCOPE_LOGGER("test.FileScopeLogger")

namespace
{

using testing::Contains;

using testing::ElementsAre;
using testing::ExitedWithCode;
using Velmora::AceCleanupLogger;
using Velmora::Logger;
using Velmora::Test::CapturedLog;
using Velmora::Test::fileScopeLoggerOfOtherFile;
using Velmora::Test::infoLine;
using Velmora::Test::logThroughOtherFile;

/// Records the logging configuration and the library's loggers when static objects are constructed,
/// which is before `main`.
struct StateAtLoad
{
    StateAtLoad()
    {
#define VELMORA_TEST_LOOK_FOR(source, name) \
    if (log4cplus::Logger::exists(name))    \
        loggers.emplace_back(name);
        VELMORA_LIBRARY_LOGGERS(VELMORA_TEST_LOOK_FOR)
#undef VELMORA_TEST_LOOK_FOR
        for (const log4cplus::SharedAppenderPtr& pAppender :
             log4cplus::Logger::getRoot().getAllAppenders())
            appendersOfRoot.push_back(pAppender->getName());
    }

    bool bConfigured = Logger::configurationOK();
    int iRootLevel = log4cplus::Logger::getRoot().getLogLevel();
    std::vector<std::string> appendersOfRoot;
    std::vector<std::string> loggers;
};

const StateAtLoad s_atLoad;

TEST(FileScopeLogger, IsTheSameOnEachCall) { EXPECT_EQ(fileScopeLogger(), fileScopeLogger()); }

TEST(FileScopeLogger, IsTheSameOnEachThread)
{
    AceCleanupLogger* pOnThread = nullptr;
    std::thread([&pOnThread] { pOnThread = fileScopeLogger(); }).join();

    EXPECT_EQ(pOnThread, fileScopeLogger());
}

TEST(FileScopeLogger, HasTheGivenName)
{
    EXPECT_EQ(fileScopeLogger()->getName(), "test.FileScopeLogger");
    EXPECT_STREQ(fileScopeLoggerName(), "test.FileScopeLogger");
}

TEST(FileScopeLogger, IsAnotherObjectInEachFileAlthoughTheNamesAreEqual)
{
    EXPECT_EQ(fileScopeLoggerOfOtherFile()->getName(), fileScopeLogger()->getName());
    EXPECT_NE(fileScopeLoggerOfOtherFile(), fileScopeLogger());
}

TEST(FileScopeLogger, TwoWithEqualNamesTalkToOneEntry)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO("from this file");
    logThroughOtherFile("from the other file");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.FileScopeLogger", "from this file"),
                                         infoLine("test.FileScopeLogger", "from the other file")));
}

TEST(FileScopeLogger, IsMadeWhenItsImageIsLoaded)
{
    EXPECT_EQ(__force_init_logger__, fileScopeLogger());
}

TEST(FileScopeLogger, IsOnTheExitList)
{
    // The list has no operation to look an object up, but refuses one that it already has.
    errno = 0;
    EXPECT_EQ(
        ACE_Object_Manager::at_exit(fileScopeLogger(), &AceCleanupLogger::cleanupFunc, nullptr),
        -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST(FileScopeLogger, LivesUntilTheExitListRuns)
{
    EXPECT_EQ(liveFileScopeLogger(), fileScopeLogger());
}

/// Ends the process of a death test: with code 0 if the test found what it expects, else with 1.
[[noreturn]] void exitWith(bool in_bAsExpected) { _exit(in_bAsExpected ? 0 : 1); }

TEST(FileScopeLoggerDeathTest, PointerStaysSetOnceTheExitListHasDeletedTheLogger)
{
    EXPECT_EXIT(
        {
            const AceCleanupLogger* const pBefore = fileScopeLogger();
            ACE_Object_Manager::instance()->fini();
            exitWith(fileScopeLogger() == pBefore);
        },
        ExitedWithCode(0), "");
}

TEST(FileScopeLoggerDeathTest, LiveOneIsNullOnceTheExitListHasDeletedTheLogger)
{
    EXPECT_EXIT(
        {
            ACE_Object_Manager::instance()->fini();
            exitWith(liveFileScopeLogger() == nullptr);
        },
        ExitedWithCode(0), "");
}

TEST(FileScopeLoggerDeathTest, LinesAndScopesOfTheFileAreDroppedOnceTheExitListHasDeletedTheLogger)
{
    EXPECT_EXIT(
        {
            ACE_Object_Manager::instance()->fini();
            log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
            log4cplus::Logger::getRoot().setLogLevel(Velmora::TRACE_LOG_LEVEL);
            log4cplus::Logger::getRoot().addAppender(
                log4cplus::SharedAppenderPtr(new log4cplus::ConsoleAppender(true, true)));
            bool bEvaluated = false;
            {
                VELMORA_FILE_TRACE_SCOPE(afterTheEnd);
                VELMORA_FILE_LOG_FATAL("text " << (bEvaluated = true));
            }
            exitWith(!bEvaluated);
        },
        ExitedWithCode(0), "^$");
}

TEST(LibraryLoad, LoggingIsConfiguredBeforeMain)
{
    EXPECT_TRUE(s_atLoad.bConfigured);
    EXPECT_EQ(s_atLoad.iRootLevel, Velmora::DEBUG_LOG_LEVEL);
    EXPECT_THAT(s_atLoad.appendersOfRoot, ElementsAre("STDOUT"));
}

TEST(LibraryLoad, AllLoggersOfTheLibraryExistBeforeMain)
{
    std::vector<std::string> expected;
#define VELMORA_TEST_EXPECT(source, name) expected.emplace_back(name);
    VELMORA_LIBRARY_LOGGERS(VELMORA_TEST_EXPECT)
#undef VELMORA_TEST_EXPECT

    EXPECT_EQ(s_atLoad.loggers, expected);
}

TEST(LibraryLoad, LoggersOfTheLibraryHaveTheirNames)
{
    for (const char* const szName :
         {"keswardin.infra.Assertion", "keswardin.infra.Debug", "keswardin.infra.Exception",
          "keswardin.infra.Fallible", "keswardin.infra.DynCastAssert",
          "keswardin.infra.MemAllocator", "keswardin.infra.Parameter",
          "keswardin.infra.Configuration", "keswardin.infra.ParameterHashMap"})
        EXPECT_THAT(s_atLoad.loggers, Contains(szName));
}

} // namespace
