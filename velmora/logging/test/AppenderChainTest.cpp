// SPDX-License-Identifier: BSD-2-Clause

// How a line reaches an appender: what log4cplus tests before it, and the locks.

#include "velmora/logging/LoggingIdLogger.h"

#include "tests/support/CountedLocks.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/spi/filter.h>
#include <log4cplus/spi/loggingevent.h>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using log4cplus::spi::InternalLoggingEvent;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Keeps the texts that reach it.
class KeepingAppender : public log4cplus::Appender
{
  public:
    KeepingAppender() = default;
    explicit KeepingAppender(const log4cplus::helpers::Properties& in_properties)
        : log4cplus::Appender(in_properties)
    {
    }
    ~KeepingAppender() override { destructorImpl(); }

    void close() override { closed = true; }

    std::vector<std::string> m_texts;
    std::function<void()> m_whileAppending = [] {};

  protected:
    void append(const InternalLoggingEvent& in_event) override
    {
        m_texts.push_back(in_event.getMessage());
        m_whileAppending();
    }
};

/// A logger with one appender, which no parent adds to.
class AppenderChain : public testing::Test
{
  public:
    AppenderChain()
    {
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
        log4cplus::Logger::getInstance(s_szName).setAdditivity(false);
        use(new KeepingAppender);
    }
    ~AppenderChain() override { log4cplus::Logger::getDefaultHierarchy().resetConfiguration(); }

  protected:
    void use(KeepingAppender* in_pAppender)
    {
        m_pAppender = in_pAppender;
        log4cplus::Logger entry = log4cplus::Logger::getInstance(s_szName);
        entry.removeAllAppenders();
        entry.addAppender(log4cplus::SharedAppenderPtr(in_pAppender));
    }

    static void log(LogLevel in_logLevel, const std::string& in_strText)
    {
        Logger(s_szName).log(in_logLevel, in_strText, "Call.cpp", 42);
    }

    static constexpr const char* s_szName = "test.Chain";

    KeepingAppender* m_pAppender = nullptr;
};

TEST_F(AppenderChain, LineBelowTheThresholdOfAnAppenderDoesNotReachIt)
{
    m_pAppender->setThreshold(WARN_LOG_LEVEL);

    log(INFO_LOG_LEVEL, "below");
    log(WARN_LOG_LEVEL, "at");
    log(ERROR_LOG_LEVEL, "above");

    EXPECT_THAT(m_pAppender->m_texts, ElementsAre("at", "above"));
}

TEST_F(AppenderChain, LineWithoutALevelReachesNoAppender)
{
    Logger(s_szName).forcedLog(NOT_SET_LOG_LEVEL, "text", nullptr, -1);

    EXPECT_THAT(m_pAppender->m_texts, IsEmpty());
}

TEST_F(AppenderChain, LineThatAFilterDeniesDoesNotReachTheAppender)
{
    m_pAppender->addFilter(
        [](const InternalLoggingEvent& in_event) {
            return in_event.getMessage() == "denied" ? log4cplus::spi::DENY
                                                     : log4cplus::spi::NEUTRAL;
        });

    log(INFO_LOG_LEVEL, "denied");
    log(INFO_LOG_LEVEL, "accepted");

    EXPECT_THAT(m_pAppender->m_texts, ElementsAre("accepted"));
}

TEST_F(AppenderChain, LineForAClosedAppenderIsReported)
{
    m_pAppender->setName("closed one");
    m_pAppender->close();

    testing::internal::CaptureStderr();
    log(INFO_LOG_LEVEL, "late");

    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("Attempted to append to closed appender named [closed one]."));
    EXPECT_THAT(m_pAppender->m_texts, IsEmpty());
}

TEST_F(AppenderChain, LineThatFollowsAnExceptionOfTheAppenderReachesIt)
{
    m_pAppender->m_whileAppending = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(log(INFO_LOG_LEVEL, "first"), std::runtime_error);
    m_pAppender->m_whileAppending = [] {};

    log(INFO_LOG_LEVEL, "second");

    EXPECT_THAT(m_pAppender->m_texts, ElementsAre("first", "second"));
}

/// Returns whether a file is locked, by a lock of any owner, this process included.
bool isLocked(const std::string& in_strFile)
{
    const int iFile = open(in_strFile.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(iFile, 0) << in_strFile;
    struct flock lock
    {
    };
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    EXPECT_EQ(fcntl(iFile, F_OFD_GETLK, &lock), 0);
    // Closing the file would release the locks of the process on it.
    return lock.l_type != F_UNLCK;
}

TEST_F(AppenderChain, LockFileOfAnAppenderIsLockedWhileItAppends)
{
    const TemporaryDirectory directory;
    const std::string strFile = directory.file("lock");
    log4cplus::helpers::Properties properties;
    properties.setProperty("UseLockFile", "true");
    properties.setProperty("LockFile", strFile);
    use(new KeepingAppender(properties));
    bool bLocked = false;
    m_pAppender->m_whileAppending = [&] { bLocked = isLocked(strFile); };

    log(INFO_LOG_LEVEL, "text");

    EXPECT_TRUE(bLocked);
    EXPECT_FALSE(isLocked(strFile));
}

/// Returns whether another thread could lock a mutex.
bool isFree(const log4cplus::thread::Mutex& in_mutex)
{
    bool bFree = false;
    std::thread(
        [&]
        {
            auto* const pMutex = reinterpret_cast<pthread_mutex_t*>(
                const_cast<log4cplus::thread::Mutex*>(&in_mutex));
            bFree = pthread_mutex_trylock(pMutex) == 0;
            if (bFree)
                pthread_mutex_unlock(pMutex);
        })
        .join();
    return bFree;
}

TEST_F(AppenderChain, AppenderIsLockedWhileItAppends)
{
    bool bFree = true;
    m_pAppender->m_whileAppending = [&] { bFree = isFree(m_pAppender->access_mutex); };

    log(INFO_LOG_LEVEL, "text");

    EXPECT_FALSE(bFree);
    EXPECT_TRUE(isFree(m_pAppender->access_mutex));
}

TEST_F(AppenderChain, LineTakesTheLockOfTheListAndThatOfTheAppender)
{
    if (!s_bCountsLocks)
        GTEST_SKIP() << "locks are not counted with ThreadSanitizer";
    const Logger logger(s_szName);
    LoggingIdLogger withIds(s_szName);
    withIds.addLoggingId("leg=1");
    logger.log(INFO_LOG_LEVEL, "first", nullptr, -1);
    withIds.forcedLog(INFO_LOG_LEVEL, "first", nullptr, -1);

    const int iBefore = s_iLocks;
    logger.log(INFO_LOG_LEVEL, "second", nullptr, -1);
    EXPECT_EQ(s_iLocks - iBefore, 2);
    withIds.forcedLog(INFO_LOG_LEVEL, "second", nullptr, -1);

    EXPECT_EQ(s_iLocks - iBefore, 4);
}

} // namespace

} // namespace Velmora::Test
