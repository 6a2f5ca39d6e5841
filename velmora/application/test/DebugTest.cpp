// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Debug.h"

#include "velmora/logging/Logger.h"

#include "velmora/application/test/BufferedFileLog.h"

#include <ace/Object_Manager.h>
#include <gtest/gtest.h>

#include <csignal>

namespace
{

using testing::KilledBySignal;
using Velmora::DEBUG_LOG_LEVEL;
using Velmora::Logger;
using Velmora::NOT_SET_LOG_LEVEL;
using Velmora::Test::BufferedFileLog;

constexpr const char* s_szLogger = "keswardin.infra.Debug";
constexpr const char* s_szAbortingLine = "keswardin.infra.Debug|FATAL|aborting\n";
constexpr int s_iOffLogLevel = 60000;

log4cplus::Logger debugLogger() { return log4cplus::Logger::getInstance(s_szLogger); }

TEST(AbortDeathTest, EndsTheProcessWithSigabrt)
{
    EXPECT_EXIT(Velmora::abort(), KilledBySignal(SIGABRT), "");
}

TEST(AbortDeathTest, LogsAbortingAtFatal)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log.attachToRoot();
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), s_szAbortingLine);
}

TEST(AbortDeathTest, ClosesTheAppendersSoThatNoLineIsLost)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log.attachToRoot();
            Logger("test.Call").log(DEBUG_LOG_LEVEL, "before", nullptr, -1);
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), std::string("test.Call|DEBUG|before\n") + s_szAbortingLine);
}

TEST(AbortDeathTest, LogsNothingWhenTheRootHasNoLevel)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log.attachToRoot();
            debugLogger().setLogLevel(DEBUG_LOG_LEVEL);
            Logger(s_szLogger).log(DEBUG_LOG_LEVEL, "before", nullptr, -1);
            log4cplus::Logger::getRoot().setLogLevel(NOT_SET_LOG_LEVEL);
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), "keswardin.infra.Debug|DEBUG|before\n");
}

TEST(AbortDeathTest, LogsNothingWhenTheRootHasNoAppender)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
            debugLogger().addAppender(log.makeAppender());
            Logger(s_szLogger).log(DEBUG_LOG_LEVEL, "before", nullptr, -1);
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), "keswardin.infra.Debug|DEBUG|before\n");
}

TEST(AbortDeathTest, LogsNothingWhenItsLoggerIsOff)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log.attachToRoot();
            debugLogger().setLogLevel(s_iOffLogLevel);
            Logger("test.Call").log(DEBUG_LOG_LEVEL, "before", nullptr, -1);
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), "test.Call|DEBUG|before\n");
}

TEST(AbortDeathTest, LogsNothingWhenItsLoggerHasNoAppenderInTheChain)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log.attachToRoot();
            debugLogger().setAdditivity(false);
            Logger("test.Call").log(DEBUG_LOG_LEVEL, "before", nullptr, -1);
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), "test.Call|DEBUG|before\n");
}

TEST(AbortDeathTest, LogsUnderItsNameOnceTheExitListHasDeletedItsLogger)
{
    const BufferedFileLog log;

    EXPECT_EXIT(
        {
            log.attachToRootForTheExit();
            Logger("test.Call").log(DEBUG_LOG_LEVEL, "before", nullptr, -1);
            ACE_Object_Manager::instance()->fini();
            Velmora::abort();
        },
        KilledBySignal(SIGABRT), "^$");

    EXPECT_EQ(log.read(), std::string("test.Call|DEBUG|before\n") + s_szAbortingLine);
}

} // namespace
