// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/ParameterTrie.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/CountedLocks.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <functional>
#include <istream>
#include <latch>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

constexpr const char* s_szTimeout = "keswardin.exitTimeoutSec";
constexpr const char* s_szAbort = "keswardin.infra.abortOnAssert";

/// A text that calls a function when it is read.
class ActingText : private std::streambuf
{
  public:
    ActingText(std::string in_strText, std::function<void()> in_act)
        : m_strText(std::move(in_strText)), m_act(std::move(in_act))
    {
    }

    bool loadInto(GlobalConfig& inout_config)
    {
        std::istream stream(this);
        return inout_config.load(stream);
    }

  private:
    int_type underflow() override
    {
        if (m_bRead)
            return traits_type::eof();
        m_bRead = true;
        m_act();
        setg(m_strText.data(), m_strText.data(), m_strText.data() + m_strText.size());
        return traits_type::to_int_type(m_strText.front());
    }

    std::string m_strText;
    std::function<void()> m_act;
    bool m_bRead = false;
};

int timeoutOf(const GlobalConfig& in_config)
{
    int iValue = -1;
    in_config.getIntParameter(s_szTimeout, iValue);
    return iValue;
}

/// A call logging that calls a function when it is configured.
class ActingCallLogging final : public GlobalConfigSeam::CallLogging
{
  public:
    explicit ActingCallLogging(std::function<void()> in_act) : m_act(std::move(in_act))
    {
        GlobalConfigSeam::setCallLogging(this);
    }
    ~ActingCallLogging() { GlobalConfigSeam::setCallLogging(nullptr); }
    ActingCallLogging(const ActingCallLogging&) = delete;
    ActingCallLogging& operator=(const ActingCallLogging&) = delete;

    bool configure(const ParameterTrie&) override
    {
        m_act();
        return true;
    }

  private:
    std::function<void()> m_act;
};

bool loadText(GlobalConfig& inout_config, const std::string& in_strText)
{
    std::istringstream text(in_strText);
    return inout_config.load(text);
}

/// Returns the number of locks that reading the parameter takes.
int locksToRead(const GlobalConfig& in_config, const char* in_szName)
{
    ParameterValue value;
    const int iBefore = s_iLocks;
    in_config.getParameter(in_szName, value);
    return s_iLocks - iBefore;
}

/// Runs the reader concurrently with the writer until the writer has returned.
void runConcurrently(const std::function<void()>& in_read, const std::function<void()>& in_write)
{
    constexpr int iReaders = 2;
    std::latch start(iReaders + 1);
    std::atomic<bool> bDone{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < iReaders; ++i)
        readers.emplace_back(
            [&]
            {
                start.arrive_and_wait();
                do
                    in_read();
                while (!bDone);
            });
    start.arrive_and_wait();
    in_write();
    bDone = true;
    for (std::thread& reader : readers)
        reader.join();
}

} // namespace

TEST(GlobalConfigLock, ReadersSeeALoadWholeOrNotAtAll)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    GlobalConfigImpl config;
    constexpr int iRounds = 200;
    std::atomic<int> iTorn{0};
    runConcurrently(
        [&]
        {
            ParameterTrie copy;
            config.convertTo(copy, "keswardin");
            int iFirst = 0;
            int iSecond = 0;
            copy.getIntParameter("exitTimeoutSec", iFirst);
            copy.getIntParameter("killTimeoutSec", iSecond);
            const int iRead = std::max(timeoutOf(config), 0);
            iTorn += iFirst != iSecond || iRead < iFirst ? 1 : 0;
        },
        [&]
        {
            for (int i = 1; i <= iRounds; ++i)
            {
                const std::string strNumber = std::to_string(i);
                loadText(config, "keswardin.exitTimeoutSec=" + strNumber +
                                     "\nkeswardin.killTimeoutSec=" + strNumber + "\n");
            }
        });
    EXPECT_EQ(0, iTorn);
    EXPECT_EQ(iRounds, timeoutOf(config));
}

TEST(GlobalConfigLock, ReadersAndAWriterOfSingleParametersDoNotDisturbEachOther)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    GlobalConfigImpl config;
    std::latch start(2);
    std::atomic<bool> bDone{false};
    std::atomic<int> iBackwards{0};
    std::thread reader(
        [&]
        {
            start.arrive_and_wait();
            for (int iLast = -1; !bDone;)
            {
                const int iNow = timeoutOf(config);
                iBackwards += iNow < iLast ? 1 : 0;
                iLast = iNow;
                static_cast<void>(config.getLoadSummary());
            }
        });
    start.arrive_and_wait();
    for (int i = 0; i < 500; ++i)
        config.setIntParameter(s_szTimeout, i);
    config.addDefaults(true);
    config.writeProtect();
    config.declareRunTime();
    config.addObserver("x", nullptr);
    config.removeObserver(nullptr);
    bDone = true;
    reader.join();
    EXPECT_EQ(0, iBackwards);
    EXPECT_EQ(499, timeoutOf(config));
}

TEST(GlobalConfigLock, OnlyAStringIsReadWithTheLock)
{
    if (!s_bCountsLocks)
        GTEST_SKIP() << "ThreadSanitizer interposes the same functions";
    const CapturedLog log;
    GlobalConfigImpl config;
    loadText(config, "an.int=5\na.bool=true\na.float=1.5\na.string=text\n");
    for (const char* const szName : {"an.int", "a.bool", "a.float", "an", "unknown", ""})
        EXPECT_EQ(0, locksToRead(config, szName)) << szName;
    EXPECT_EQ(1, locksToRead(config, "a.string"));
}

TEST(GlobalConfigLock, AReaderNeverSeesTheTypeOfOneValueWithThePayloadOfAnother)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    GlobalConfigImpl config;
    loadText(config, "a.value=1\n");
    std::atomic<int> iTorn{0};
    runConcurrently(
        [&]
        {
            ParameterValue value;
            config.getParameter("a.value", value);
            switch (value.getType())
            {
            case ParameterValue::INT_TYPE:
                iTorn += static_cast<int>(value) != 1 ? 1 : 0;
                break;
            case ParameterValue::FLOAT_TYPE:
                iTorn += static_cast<float>(value) != 2.5F ? 1 : 0;
                break;
            case ParameterValue::STRING_TYPE:
                iTorn += static_cast<const char*>(value) != std::string("text") ? 1 : 0;
                break;
            default:
                ++iTorn;
            }
        },
        [&]
        {
            for (int i = 0; i != 3000; ++i)
            {
                constexpr std::array<const char*, 3> values{"1", "2.5", "text"};
                loadText(config, std::string("a.value=") + values[i % 3] + "\n");
            }
        });
    EXPECT_EQ(0, iTorn);
}

TEST(GlobalConfigLock, AReaderFindsAParameterWhileOthersAreAdded)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    GlobalConfigImpl config;
    loadText(config, "gateway.subscriber.first=5060\n");
    std::atomic<int> iMissed{0};
    runConcurrently(
        [&]
        {
            int iValue = 0;
            iMissed += config.getIntParameter("gateway.subscriber.first", iValue) ? 0 : 1;
            iMissed += iValue == 5060 ? 0 : 1;
        },
        [&]
        {
            for (int i = 0; i != 3000; ++i)
                loadText(config, "gateway.subscriber." + std::to_string(i) + "=1\n");
        });
    EXPECT_EQ(0, iMissed);
}

TEST(GlobalConfigLock, ASourceIsReadWithoutTheLock)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    config.setIntParameter(s_szTimeout, 5);
    int iDuring = 0;
    ActingText text("keswardin.killTimeoutSec=6\n",
                    [&]
                    {
                        std::thread(
                            [&]
                            {
                                iDuring = timeoutOf(config);
                                config.setIntParameter(s_szTimeout, 7);
                            })
                            .join();
                    });
    EXPECT_TRUE(text.loadInto(config));
    EXPECT_EQ(5, iDuring);
    EXPECT_EQ(7, timeoutOf(config));
}

TEST(GlobalConfigLock, AnAssertionDuringALoadReadsItsParameterAndReturns)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    config.setBoolParameter(s_szAbort, true);
    bool bFound = false;
    bool bValue = false;
    ActingText text("keswardin.exitTimeoutSec=6\n",
                    [&] { bFound = config.tryGetBoolParameter(s_szAbort, bValue); });
    EXPECT_TRUE(text.loadInto(config));
    EXPECT_TRUE(bFound);
    EXPECT_TRUE(bValue);
}

TEST(GlobalConfigLock, AnAssertionThatFailsDuringALoadOfTheProcesssConfigurationReturns)
{
    const CapturedLog log;
    ActingText text("keswardin.exitTimeoutSec=6\n", [] { VELMORA_PLAIN_ASSERT(false); });
    EXPECT_TRUE(text.loadInto(*GlobalConfig::getInstance()));
    EXPECT_THAT(failedAssertions(log), ElementsAre(failedAssertion("false", "GlobalConfigLockTest",
                                                                   "keswardin.infra.Assertion")));
}

TEST(GlobalConfigLock, AnAssertionDoesNotWaitForAnotherThreadsLoad)
{
    const CapturedLog log;
    const TSHandle<GlobalConfig>& hConfig = GlobalConfig::getInstance();
    std::latch loading(1);
    std::latch asserted(1);
    std::thread loader(
        [&]
        {
            ActingText text("keswardin.exitTimeoutSec=6\n",
                            [&]
                            {
                                loading.count_down();
                                asserted.wait();
                            });
            text.loadInto(*hConfig);
        });
    loading.wait();
    VELMORA_PLAIN_ASSERT(false);
    bool bValue = false;
    EXPECT_FALSE(AssertionSeam::getBoolParameters()->getBoolParameter(s_szAbort, bValue));
    asserted.count_down();
    loader.join();
    EXPECT_THAT(failedAssertions(log), testing::SizeIs(1));
}

TEST(GlobalConfigLock, EachFinishedChangePublishesForAssertionsThatCannotRead)
{
    const CapturedLog log;
    const TSHandle<RWGlobalConfig>& hConfig = RWGlobalConfig::getInstance();
    const TemporaryDirectory directory;
    EXPECT_FALSE(AssertionSeam::isAbortOnAssertPublished());

    EXPECT_TRUE(hConfig->setBoolParameter(s_szAbort, true));
    EXPECT_TRUE(AssertionSeam::isAbortOnAssertPublished());

    EXPECT_TRUE(loadText(*hConfig, "keswardin.infra.abortOnAssert=false\n"));
    EXPECT_FALSE(AssertionSeam::isAbortOnAssertPublished());

    std::ofstream(directory.file("abort.cfg")) << "keswardin.infra.abortOnAssert=true\n";
    EXPECT_TRUE(hConfig->load(directory.file("abort.cfg").c_str()));
    EXPECT_TRUE(AssertionSeam::isAbortOnAssertPublished());

    std::ofstream(directory.file("goOn.cfg")) << "keswardin.infra.abortOnAssert=false\n";
    EXPECT_TRUE(hConfig->load(std::vector<std::string>{directory.file("goOn.cfg")}));
    EXPECT_FALSE(AssertionSeam::isAbortOnAssertPublished());

    AssertionSeam::publishAbortOnAssert(true);
    EXPECT_TRUE(hConfig->addDefaults(true));
    EXPECT_FALSE(AssertionSeam::isAbortOnAssertPublished()) << "has no default, keeps its value";
}

TEST(GlobalConfigLock, AFailedLoadPublishesWhatItHasRead)
{
    const CapturedLog log;
    EXPECT_FALSE(loadText(*GlobalConfig::getInstance(),
                          "keswardin.infra.abortOnAssert=true\nno parameter\n"));
    EXPECT_TRUE(AssertionSeam::isAbortOnAssertPublished());
    EXPECT_TRUE(Assertion::setAbortOnAssert(false));
}

TEST(GlobalConfigLock, AConfigurationThatIsNotTheProcesssPublishesNothing)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    config.setBoolParameter(s_szAbort, true);
    EXPECT_FALSE(AssertionSeam::isAbortOnAssertPublished());
}

TEST(GlobalConfigLock, OthersReadWhileLoggingIsConfigured)
{
    const CapturedLog log;
    GlobalConfigImpl config;
    std::istringstream text("log4cplus.rootLogger=FATAL, nowhere\n"
                            "log4cplus.appender.nowhere=log4cplus::NullAppender\n"
                            "log4cplus.appender.CALL_LOG_APPENDER.Directory=/var/calls\n"
                            "keswardin.exitTimeoutSec=6\n");
    config.load(text);
    int iOfThisThread = 0;
    int iOfAnother = 0;
    const ActingCallLogging callLogging(
        [&]
        {
            iOfThisThread = timeoutOf(config);
            std::thread([&] { iOfAnother = timeoutOf(config); }).join();
        });
    EXPECT_TRUE(config.configureLogger(RunMode::undefined));
    EXPECT_EQ(6, iOfThisThread);
    EXPECT_EQ(6, iOfAnother);
}

TEST(GlobalConfigLock, ADatabaseSourceThatReadsTheConfigurationReturns)
{
    class Reading final : public GlobalConfigSeam::DatabaseSource
    {
      public:
        explicit Reading(const GlobalConfig& in_config) : m_config(in_config)
        {
            GlobalConfigSeam::setDatabaseSource(this);
        }
        ~Reading() { GlobalConfigSeam::setDatabaseSource(nullptr); }
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        std::optional<Parameters> fetch(const std::string&) override
        {
            // On another thread, which would have to wait if the lock of the configuration were
            // held.
            int iTimeout = 0;
            std::thread([&] { iTimeout = timeoutOf(m_config); }).join();
            return {{{"keswardin.killTimeoutSec", std::to_string(iTimeout)}}};
        }

      private:
        const GlobalConfig& m_config;
    };

    const CapturedLog log;
    GlobalConfigImpl config;
    config.setIntParameter(s_szTimeout, 8);
    const Reading source(config);
    EXPECT_TRUE(config.load(std::vector<std::string>{"db://x/y"}));
    int iValue = 0;
    config.getIntParameter("keswardin.killTimeoutSec", iValue);
    EXPECT_EQ(8, iValue);
}

} // namespace Velmora::Test
