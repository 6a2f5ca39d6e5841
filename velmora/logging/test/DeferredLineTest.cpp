// SPDX-License-Identifier: BSD-2-Clause

// A line that is logged under a lock of the library is appended when the thread has released the
// lock.

#include "velmora/application/GatedGuard.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"

#include <ace/Thread_Mutex.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/helpers/timehelper.h>
#include <log4cplus/spi/loggingevent.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace Velmora::Test
{

namespace
{

using log4cplus::spi::InternalLoggingEvent;
using testing::ElementsAre;
using testing::IsEmpty;

using Guard = GatedGuard<ACE_Thread_Mutex>;

constexpr const char* s_szLogger = "keswardin.test.DeferredLine";

void logLine(const std::string& in_strText)
{
    VELMORA_LOG(Logger(s_szLogger), WARN_LOG_LEVEL, in_strText);
}

} // namespace

TEST(DeferredLine, LinesUnderALockAreAppendedInTheirOrderWhenItIsFree)
{
    const CapturedLog log;
    const std::string strLong(20000, 'x');
    ACE_Thread_Mutex mutex;
    {
        const Guard guard(mutex);
        logLine("first");
        logLine(strLong);
        logLine("third");
        EXPECT_THAT(log.lines(), IsEmpty());
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(warnLine(s_szLogger, "first"), warnLine(s_szLogger, strLong),
                            warnLine(s_szLogger, "third")));
    logLine("afterwards");
    EXPECT_EQ(4U, log.lines().size());
}

TEST(DeferredLine, ALineWaitsForTheLastLock)
{
    const CapturedLog log;
    ACE_Thread_Mutex outer;
    ACE_Thread_Mutex inner;
    {
        const Guard outerGuard(outer);
        {
            const Guard innerGuard(inner);
            logLine("under both");
        }
        EXPECT_THAT(log.lines(), IsEmpty());
    }
    EXPECT_THAT(log.lines(), ElementsAre(warnLine(s_szLogger, "under both")));
}

TEST(DeferredLine, ALineOfACallKeepsItsIdentifier)
{
    const CapturedLog log;
    ACE_Thread_Mutex mutex;
    CallLogger logger(s_szLogger);
    logger.callStart("call of a line that waits");
    {
        const Guard guard(mutex);
        VELMORA_LOG(logger, WARN_LOG_LEVEL, "text");
        EXPECT_THAT(log.linesOf(s_szLogger), IsEmpty());
    }
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(warnLine(s_szLogger, "call-id=call of a line that waits text")));
    logger.callEnd();
}

TEST(DeferredLine, ALineHasTheTimeAtWhichItWasLogged)
{
    const CapturedLog log;
    log4cplus::helpers::Time appended;
    const CallbackAppender appender([&appended](const InternalLoggingEvent& in_event)
                                    { appended = in_event.getTimestamp(); },
                                    s_szLogger);
    ACE_Thread_Mutex mutex;
    log4cplus::helpers::Time afterTheLine;
    {
        const Guard guard(mutex);
        logLine("line");
        afterTheLine = log4cplus::helpers::now();
        // A timestamp that is taken when the line is appended would be later.
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_NE(log4cplus::helpers::Time(), appended);
    EXPECT_LE(appended, afterTheLine);
}

TEST(DeferredLine, AnEventThatIsForwardedTwiceUnderALockIsAppendedTwice)
{
    const CapturedLog log;
    ACE_Thread_Mutex mutex;
    const CallbackAppender forwarder(
        [&mutex](const InternalLoggingEvent& in_event)
        {
            const Guard guard(mutex);
            const Logger other("keswardin.test.forwarded");
            other.callAppenders(in_event);
            other.callAppenders(in_event);
            VELMORA_LOG(other, WARN_LOG_LEVEL, "and its own");
        },
        s_szLogger);
    logLine("line");
    logLine("second");
    const LogLine line = warnLine(s_szLogger, "line");
    const LogLine second = warnLine(s_szLogger, "second");
    const LogLine own = warnLine("keswardin.test.forwarded", "and its own");
    // Each line comes three times: forwarded twice, and then from its own logger to the root.
    EXPECT_THAT(log.lines(), ElementsAre(line, line, own, line, second, second, own, second));
}

TEST(DeferredLine, WhatAnAppenderThrowsIsLoggedOnce)
{
    const CapturedLog log;
    ACE_Thread_Mutex mutex;
    int iThrown = 0;
    const CallbackAppender thrower(
        [&iThrown](const InternalLoggingEvent&)
        {
            if (iThrown++ == 0)
                throw std::runtime_error("disk on fire");
        },
        s_szLogger);
    {
        const Guard guard(mutex);
        logLine("line");
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine(s_szLogger, "exception of an appender : disk on fire")));
}

} // namespace Velmora::Test
