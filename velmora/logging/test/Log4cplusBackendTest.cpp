// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Log4cplusBackend.h"

#include "velmora/Sanitizers.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Threads.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Record.h>
#include <ace/Trace.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const char* const s_szLogger = "keswardin.ace";

/// Enables all priorities of ACE's log, those for debugging too, for the life of this object.
class AllPriorities
{
  public:
    AllPriorities() : m_ulMask(ACE_LOG_MSG->priority_mask(ACE_Log_Msg::PROCESS))
    {
        ACE_LOG_MSG->priority_mask(~0UL, ACE_Log_Msg::PROCESS);
    }
    ~AllPriorities() { ACE_LOG_MSG->priority_mask(m_ulMask, ACE_Log_Msg::PROCESS); }
    AllPriorities(const AllPriorities&) = delete;
    AllPriorities& operator=(const AllPriorities&) = delete;

  private:
    u_long m_ulMask;
};

/// Logs through ACE at a priority, and returns the level of the line that results.
int levelOf(ACE_Log_Priority in_priority)
{
    const AllPriorities all;
    const CapturedLog log(TRACE_LOG_LEVEL);
    ACE_LOG_MSG->log(in_priority, "text %d", 5);
    const std::vector<LogLine> lines = log.lines();
    EXPECT_EQ(1U, lines.size());
    if (lines.empty())
        return -2;
    EXPECT_EQ(s_szLogger, lines[0].strLogger);
    EXPECT_EQ("text 5", lines[0].strText);
    return lines[0].level;
}

/// Hands a record to the backend under the lock of ACE's log.
ssize_t logAsACEDoes(Log4cplusBackend& in_backend, ACE_Log_Record& in_record)
{
    ACE_LOG_MSG->acquire();
    const ssize_t iResult = in_backend.log(in_record);
    ACE_LOG_MSG->release();
    return iResult;
}

/// Returns whether another thread gets the lock of ACE's log within a second. If it does not, that
/// thread cannot be joined, so it is detached.
bool isLockOfACEFree()
{
    std::promise<void> isLocked;
    std::future<void> waits = isLocked.get_future();
    std::thread(
        [promise = std::move(isLocked)]() mutable
        {
            ACE_LOG_MSG->acquire();
            ACE_LOG_MSG->release();
            promise.set_value();
        })
        .detach();
    return waits.wait_for(std::chrono::seconds(1)) == std::future_status::ready;
}

} // namespace

TEST(Log4cplusBackend, EachPriorityHasItsLevel)
{
    EXPECT_EQ(TRACE_LOG_LEVEL, levelOf(LM_SHUTDOWN));
    EXPECT_EQ(TRACE_LOG_LEVEL, levelOf(LM_TRACE));
    EXPECT_EQ(DEBUG_LOG_LEVEL, levelOf(LM_DEBUG));
    EXPECT_EQ(INFO_LOG_LEVEL, levelOf(LM_INFO));
    EXPECT_EQ(WARN_LOG_LEVEL, levelOf(LM_NOTICE));
    EXPECT_EQ(WARN_LOG_LEVEL, levelOf(LM_WARNING));
    EXPECT_EQ(TRACE_LOG_LEVEL, levelOf(LM_STARTUP));
    EXPECT_EQ(ERROR_LOG_LEVEL, levelOf(LM_ERROR));
    EXPECT_EQ(FATAL_LOG_LEVEL, levelOf(LM_CRITICAL));
    EXPECT_EQ(FATAL_LOG_LEVEL, levelOf(LM_ALERT));
    EXPECT_EQ(FATAL_LOG_LEVEL, levelOf(LM_EMERGENCY));
}

TEST(Log4cplusBackend, APriorityThatACEDoesNotHaveIsFatal)
{
    const CapturedLog log;
    Log4cplusBackend backend;
    ACE_Log_Record record(static_cast<ACE_Log_Priority>(LM_MAX * 2), 0L, 0L);
    record.msg_data("unknown");
    EXPECT_EQ(0, logAsACEDoes(backend, record));
    EXPECT_THAT(log.lines(), ElementsAre(fatalLine(s_szLogger, "unknown")));
}

TEST(Log4cplusBackend, HasTheLoggerOfACEsLines)
{
    EXPECT_EQ(s_szLogger, Log4cplusBackend::getLogger().getName());
}

TEST(Log4cplusBackend, ALineHasThePlaceOfTheBridge)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    ACE_LOG_MSG->log(LM_ERROR, "error");
    ACE_LOG_MSG->log(LM_STARTUP, "startup");
    ASSERT_EQ(2U, log.lines().size());
    EXPECT_THAT(log.lines()[0].strFile, testing::EndsWith("Log4cplusBackend.cpp"));
    EXPECT_LT(0, log.lines()[0].iLine);
    EXPECT_EQ("", log.lines()[1].strFile);
    EXPECT_EQ(-1, log.lines()[1].iLine);
}

TEST(Log4cplusBackend, WhatItsLoggerDoesNotPassIsDropped)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Logger(s_szLogger).setLogLevel(ERROR_LOG_LEVEL);
    ACE_LOG_MSG->log(LM_WARNING, "warning");
    ACE_LOG_MSG->log(LM_TRACE, "trace");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Log4cplusBackend, EveryThreadsLogComesHere)
{
    const CapturedLog log;
    std::thread([] { ACE_LOG_MSG->log(LM_ERROR, "from a thread"); }).join();
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "from a thread")));
}

TEST(Log4cplusBackend, AnAppenderDoesNotHoldTheLockOfACEsLog)
{
    bool bFree = false;
    const CallbackAppender appender([&](const std::string&) { bFree = isLockOfACEFree(); });
    ACE_ERROR((LM_ERROR, "error"));
    EXPECT_TRUE(bFree);
}

TEST(Log4cplusBackend, ALineLeavesTheLockOfACEsLogAsItWas)
{
#if VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer takes the release of a lock that is not held for a mistake";
#endif
    const CapturedLog log;
    ACE_ERROR((LM_ERROR, "error"));
    // -1: this thread does not hold the lock.
    EXPECT_EQ(-1, ACE_LOG_MSG->release());
    Log4cplusBackend backend;
    ACE_Log_Record record(LM_INFO, 0L, 0L);
    record.msg_data("record");
    backend.log(record);
    EXPECT_EQ(-1, ACE_LOG_MSG->release());
    ACE_LOG_MSG->acquire();
    ACE_ERROR((LM_ERROR, "error"));
    EXPECT_EQ(0, ACE_LOG_MSG->release());
    EXPECT_EQ(-1, ACE_LOG_MSG->release());
}

TEST(Log4cplusBackend, AnAppenderLogsThroughACEWhileOtherThreadsDo)
{
    constexpr int iLines = 1000;
    int iFromAppender = 0;
    const CallbackAppender appender(
        [&iFromAppender](const std::string& in_strText)
        {
            if (in_strText == "line")
                ACE_ERROR((LM_ERROR, "from an appender"));
            if (in_strText == "from an appender")
                ++iFromAppender;
        });
    const RepeatingThreads other(1, [] { ACE_ERROR((LM_ERROR, "from a thread")); });
    for (int iLine = 0; iLine < iLines; ++iLine)
        VELMORA_LOG(Logger("keswardin.test"), WARN_LOG_LEVEL, "line");
    EXPECT_EQ(iLines, iFromAppender);
}

TEST(Log4cplusBackend, NothingIsWrittenToStandardErrorBesides)
{
    const CapturedLog log;
    testing::internal::CaptureStderr();
    ACE_ERROR((LM_ERROR, "error"));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(s_szLogger, "error")));
}

TEST(Log4cplusBackend, OpenResetAndCloseDoNothing)
{
    Log4cplusBackend backend;
    EXPECT_EQ(0, backend.open("anything"));
    EXPECT_EQ(0, backend.reset());
    EXPECT_EQ(0, backend.close());
}

TEST(Log4cplusBackend, LogGivesZero)
{
    const CapturedLog log;
    Log4cplusBackend backend;
    ACE_Log_Record record(LM_INFO, 0L, 0L);
    record.msg_data("record");
    EXPECT_EQ(0, logAsACEDoes(backend, record));
    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szLogger, "record")));
}

TEST(ACETrace, FollowsTheLevelOfItsLoggerWheneverALevelIsSet)
{
    const CapturedLog log;
    Logger().setLogLevel(DEBUG_LOG_LEVEL);
    EXPECT_FALSE(ACE_Trace::is_tracing());
    Logger(s_szLogger).setLogLevel(TRACE_LOG_LEVEL);
    EXPECT_TRUE(ACE_Trace::is_tracing());
    Logger("keswardin.test.any").setLogLevel(TRACE_LOG_LEVEL);
    EXPECT_TRUE(ACE_Trace::is_tracing());
    Logger(s_szLogger).setLogLevel(INFO_LOG_LEVEL);
    EXPECT_FALSE(ACE_Trace::is_tracing());
}

TEST(ACETrace, FollowsTheParentsOfItsLogger)
{
    const CapturedLog log;
    Logger(s_szLogger).setLogLevel(NOT_SET_LOG_LEVEL);
    Logger().setLogLevel(TRACE_LOG_LEVEL);
    EXPECT_TRUE(ACE_Trace::is_tracing());
    Logger().setLogLevel(DEBUG_LOG_LEVEL);
    EXPECT_FALSE(ACE_Trace::is_tracing());
}

} // namespace Velmora::Test
