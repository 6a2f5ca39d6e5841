// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGate.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/RemoteSyslogAppender.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/ForkedChild.h"
#include "tests/support/Lines.h"
#include "tests/support/Tasks.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "tests/support/UdpServer.h"

#include <ace/Trace.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/spi/factory.h>
#include <netdb.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <latch>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// If set, is called with each name that is looked up. All names then resolve to this host.
std::function<void(const std::string&)> g_lookUp;

/// Gives access to the protected table of log4cplus's registry of appender factories.
class FactoryRegistry : public log4cplus::spi::AppenderFactoryRegistry
{
  public:
    FactoryRegistry() = delete;

    /// Removes a factory from the registry and deletes it.
    static void forget(const std::string& in_strTypeName)
    {
        log4cplus::spi::AppenderFactoryRegistry& registry =
            log4cplus::spi::getAppenderFactoryRegistry();
        const auto* const pFactory = registry.get(in_strTypeName);
        (registry.*(&FactoryRegistry::data)).erase(in_strTypeName);
        delete pFactory;
    }
};

/// If set, is called when an appender of the type "Probe" is made.
std::function<void()> g_whileMade;

/// Makes appenders of the type "Probe", which drop their lines.
class ProbeFactory : public log4cplus::spi::AppenderFactory
{
  public:
    [[nodiscard]] const log4cplus::tstring& getTypeName() const override { return m_strTypeName; }

    log4cplus::SharedAppenderPtr
    createObject(const log4cplus::helpers::Properties& in_properties) override
    {
        if (g_whileMade)
            g_whileMade();
        return log4cplus::SharedAppenderPtr(new log4cplus::NullAppender(in_properties));
    }

  private:
    const log4cplus::tstring m_strTypeName = "Probe";
};

/// Returns a configuration that sends all lines at INFO and above to a server.
std::string syslogConfiguration(const std::string& in_strHostName, const UdpServer& in_server)
{
    return "log4cplus.rootLogger=INFO, syslog\n"
           "log4cplus.appender.syslog=velmora::RemoteSyslogAppender\n"
           "log4cplus.appender.syslog.Hostname=" +
           in_strHostName +
           "\n"
           "log4cplus.appender.syslog.Port=" +
           std::to_string(in_server.port()) +
           "\n"
           "log4cplus.appender.syslog.layout=log4cplus::PatternLayout\n"
           "log4cplus.appender.syslog.layout.ConversionPattern=%m\n";
}

/// Makes appenders of a class, under the type name that a configuration uses.
template <class Appender>
class FactoryOf : public log4cplus::spi::AppenderFactory
{
  public:
    explicit FactoryOf(const char* in_szTypeName) : m_strTypeName(in_szTypeName) {}

    [[nodiscard]] const log4cplus::tstring& getTypeName() const override { return m_strTypeName; }

    log4cplus::SharedAppenderPtr
    createObject(const log4cplus::helpers::Properties& in_properties) override
    {
        return log4cplus::SharedAppenderPtr(new Appender(in_properties));
    }

    static void registerAs(const char* in_szTypeName)
    {
        log4cplus::spi::getAppenderFactoryRegistry().put(
            std::make_unique<FactoryOf>(in_szTypeName));
    }

  private:
    const log4cplus::tstring m_strTypeName;
};

/// An appender that logs a line of its own for each line that it gets. It makes the logger for that
/// each time.
class Talkative : public log4cplus::Appender
{
  public:
    using log4cplus::Appender::Appender;
    ~Talkative() override { destructorImpl(); }
    void close() override { closed = true; }

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        VELMORA_LOG(Logger("answer"), INFO_LOG_LEVEL, "to " << in_event.getMessage());
    }
};

/// An appender that throws when it is closed for the first time.
class Unclosable : public log4cplus::Appender
{
  public:
    using log4cplus::Appender::Appender;
    ~Unclosable() override { destructorImpl(); }
    void close() override
    {
        if (!std::exchange(closed, true))
            throw std::runtime_error("the disk is gone");
    }

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent&) override {}
};

/// Counts the calls of `CountingFile::close`.
int g_iCloses = 0;

/// A file appender that counts how often it is closed.
class CountingFile : public log4cplus::FileAppender
{
  public:
    using log4cplus::FileAppender::FileAppender;
    ~CountingFile() override { destructorImpl(); }
    void close() override
    {
        ++g_iCloses;
        log4cplus::FileAppender::close();
    }
};

class LoggerConfiguration : public testing::Test
{
  protected:
    ~LoggerConfiguration() override
    {
        g_lookUp = nullptr;
        g_whileMade = nullptr;
        Logger::configureDefault();
    }

    /// Returns a configuration with one file appender, whose lines are "LEVEL - text".
    [[nodiscard]] std::string fileConfiguration(const std::string& in_strMore = "") const
    {
        return "log4cplus.rootLogger=INFO, file\n"
               "log4cplus.appender.file=log4cplus::FileAppender\n"
               "log4cplus.appender.file.Append=true\n"
               "log4cplus.appender.file.File=" +
               m_directory.file("log") +
               "\n"
               "log4cplus.appender.file.layout=log4cplus::SimpleLayout\n" +
               in_strMore;
    }

    bool configure(const std::string& in_strText)
    {
        std::ostringstream errors;
        const bool bOK = Logger::configure(trieOf(in_strText), errors);
        m_strErrors = errors.str();
        return bOK;
    }

    std::vector<std::string> linesOfFile() const { return linesOf(m_directory.read("log")); }

    /// Expects the default configuration: the root at DEBUG with an appender to standard output.
    static void expectDefaultInEffect()
    {
        const log4cplus::Logger root = log4cplus::Logger::getRoot();
        EXPECT_EQ(DEBUG_LOG_LEVEL, root.getLogLevel());
        const log4cplus::SharedAppenderPtrList appenders =
            log4cplus::Logger::getRoot().getAllAppenders();
        ASSERT_EQ(1U, appenders.size());
        EXPECT_EQ("STDOUT", appenders[0]->getName());
    }

    TemporaryDirectory m_directory;
    std::string m_strErrors;
};

} // namespace

TEST_F(LoggerConfiguration, TheSectionTakesEffect)
{
    EXPECT_TRUE(configure("keswardin.x=1\n" + fileConfiguration("log4cplus.logger.a.b=ERROR\n")));
    EXPECT_EQ("", m_strErrors);
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "info " << 1);
    VELMORA_LOG(Logger("a"), DEBUG_LOG_LEVEL, "debug");
    VELMORA_LOG(Logger("a.b"), WARN_LOG_LEVEL, "warn");
    VELMORA_LOG(Logger("a.b"), ERROR_LOG_LEVEL, "error");
    EXPECT_THAT(linesOfFile(), ElementsAre("INFO - info 1", "ERROR - error"));
}

TEST_F(LoggerConfiguration, WhatWasInEffectIsGone)
{
    const CapturedLog captured;
    Logger("a").setLogLevel(FATAL_LOG_LEVEL);
    EXPECT_TRUE(configure(fileConfiguration()));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "info");
    EXPECT_THAT(linesOfFile(), ElementsAre("INFO - info"));
    EXPECT_TRUE(captured.lines().empty());
}

TEST_F(LoggerConfiguration, AnAppenderThatALoggerGotByOtherMeansIsGone)
{
    const CapturedLog captured;
    Logger logger("a");
    logger.addAppender(captured.appender());
    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_THAT(logger.getAllAppenders(), IsEmpty());
    EXPECT_TRUE(captured.appender()->isClosed());
}

TEST_F(LoggerConfiguration, WithoutASectionTheConfigurationStays)
{
    const CapturedLog log;
    EXPECT_FALSE(configure("keswardin.x=1\nlog4cplusX=1\n"));
    const std::string strText = "failed to configure Logger, no log4cplus section could be found";
    EXPECT_EQ(strText, m_strErrors);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine("keswardin.infra.Logger", strText)));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "still here");
    EXPECT_EQ(2U, log.lines().size());
}

TEST_F(LoggerConfiguration, WithoutASectionNothingIsLoggedWhereWarningsAreOff)
{
    const CapturedLog log;
    Logger("keswardin.infra.Logger").setLogLevel(ERROR_LOG_LEVEL);
    EXPECT_FALSE(configure("keswardin.x=1\n"));
    EXPECT_TRUE(log.lines().empty());
    Logger("keswardin.infra.Logger").setLogLevel(WARN_LOG_LEVEL);
    EXPECT_FALSE(configure("keswardin.x=1\n"));
    EXPECT_EQ(1U, log.lines().size());
}

TEST_F(LoggerConfiguration, ALevelOfTheRootThatIsNotKnownPutsTheDefaultIntoEffect)
{
    testing::internal::CaptureStderr();
    std::string strConfiguration = fileConfiguration();
    strConfiguration.replace(strConfiguration.find("INFO"), 4, "LOUD");
    EXPECT_FALSE(configure(strConfiguration));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ("log4cplus.rootLogger=LOUD, file : Invalid logger configuration. "
              "Invalid rootLogger log level.",
              m_strErrors);
    expectDefaultInEffect();
    EXPECT_FALSE(std::filesystem::exists(m_directory.file("log")));
}

TEST_F(LoggerConfiguration, AnInheritedOrAnEmptyLevelOfTheRootIsInvalid)
{
    for (const std::string strRoot : {"INHERITED, x", ",", ", x"})
    {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(configure("log4cplus.rootLogger=" + strRoot + "\n"));
        testing::internal::GetCapturedStderr();
        EXPECT_EQ("log4cplus.rootLogger=" + strRoot +
                      " : Invalid logger configuration. Invalid rootLogger log level.",
                  m_strErrors);
        expectDefaultInEffect();
    }
}

TEST_F(LoggerConfiguration, ARootWithoutAnyTextKeepsItsLevelAndHasNoAppenders)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(configure("log4cplus.rootLogger=\nlog4cplus.logger.a=WARN\n"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Invalid config string"));
    EXPECT_EQ("log4cplus.rootLogger= : Invalid logger configuration. "
              "rootLogger has no valid appenders.\n"
              "log4cplus.rootLogger=\nlog4cplus.logger.a=WARN",
              m_strErrors);
    expectDefaultInEffect();
}

TEST_F(LoggerConfiguration, ARootWithoutAppendersPutsTheDefaultIntoEffectAndShowsTheSection)
{
    EXPECT_FALSE(configure("x=1\nlog4cplus.rootLogger=INFO\nlog4cplus.logger.a=WARN\n"));
    EXPECT_EQ("log4cplus.rootLogger=INFO : Invalid logger configuration. "
              "rootLogger has no valid appenders.\n"
              "log4cplus.rootLogger=INFO\nlog4cplus.logger.a=WARN",
              m_strErrors);
    expectDefaultInEffect();
    EXPECT_EQ(NOT_SET_LOG_LEVEL, Logger("a").getLogLevel());
}

TEST_F(LoggerConfiguration, AnAppenderThatCannotBeMadeLeavesTheRootWithoutOne)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(configure("log4cplus.rootLogger=INFO, x\n"
                           "log4cplus.appender.x=log4cplus::NoSuchAppender\n"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("NoSuchAppender"));
    EXPECT_THAT(m_strErrors, HasSubstr("rootLogger has no valid appenders.\n"));
    expectDefaultInEffect();
}

TEST_F(LoggerConfiguration, ASectionWithoutARootPutsTheDefaultIntoEffect)
{
    EXPECT_FALSE(configure("log4cplus.logger.a=WARN\n"));
    EXPECT_EQ("log4cplus.rootLogger= : Invalid logger configuration. "
              "rootLogger has no valid appenders.\nlog4cplus.logger.a=WARN",
              m_strErrors);
    expectDefaultInEffect();
}

TEST_F(LoggerConfiguration, AfterAnUnusableConfigurationAGoodOneTakesEffect)
{
    EXPECT_FALSE(configure("log4cplus.rootLogger=INFO\n"));
    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_TRUE(Logger::configurationOK());
}

TEST_F(LoggerConfiguration, AnyNumberOfLoggersIsHeldStill)
{
    for (int iLogger = 0; iLogger < 200; ++iLogger)
        log4cplus::Logger::getInstance("test.many" + std::to_string(iLogger));

    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_TRUE(Logger::configureDefault());
}

TEST_F(LoggerConfiguration, TwiceTheSameGivesTheSame)
{
    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_TRUE(configure(fileConfiguration()));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "once");
    EXPECT_THAT(linesOfFile(), ElementsAre("INFO - once"));
}

TEST_F(LoggerConfiguration, RemoteSyslogIsKnownByItsName)
{
    UdpServer server;
    EXPECT_TRUE(configure(syslogConfiguration("127.0.0.1", server)));
    VELMORA_LOG(Logger("a"), WARN_LOG_LEVEL, "line " << 1);
    EXPECT_EQ("<12>line 1", server.receive());
}

TEST_F(LoggerConfiguration, RemoteSyslogIsKnownAgainWhenLog4cplusHasForgottenIt)
{
    FactoryRegistry::forget(RemoteSyslogAppender::s_szTypeName);
    UdpServer server;
    EXPECT_TRUE(configure(syslogConfiguration("127.0.0.1", server)));
    VELMORA_LOG(Logger("a"), WARN_LOG_LEVEL, "line " << 2);
    EXPECT_EQ("<12>line 2", server.receive());
}

TEST_F(LoggerConfiguration, TwiceLeavesOneFactoryOfRemoteSyslog)
{
    const auto& registry = log4cplus::spi::getAppenderFactoryRegistry();
    EXPECT_TRUE(configure(fileConfiguration()));
    const auto* const pFactory = registry.get(RemoteSyslogAppender::s_szTypeName);
    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_EQ(pFactory, registry.get(RemoteSyslogAppender::s_szTypeName));
    const std::vector<std::string> names = registry.getAllNames();
    EXPECT_EQ(1, std::count(names.begin(), names.end(), RemoteSyslogAppender::s_szTypeName));
}

TEST_F(LoggerConfiguration, NoLineWaitsForTheNameOfASyslogServer)
{
    ASSERT_TRUE(configure(fileConfiguration()));
    UdpServer server;
    std::future<void> lineDuringLookUp;
    std::vector<std::string> asked;
    g_lookUp = [&](const std::string& in_strName)
    {
        asked.push_back(in_strName);
        lineDuringLookUp =
            std::async(std::launch::async,
                       [] { VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "while it is looked up"); });
        // The configuration waits for this look-up, so a line that waited for it would time out.
        EXPECT_EQ(std::future_status::ready, lineDuringLookUp.wait_for(std::chrono::seconds(20)));
    };

    EXPECT_TRUE(configure(syslogConfiguration("logs", server)));

    EXPECT_THAT(asked, ElementsAre("logs"));
    EXPECT_THAT(linesOfFile(), ElementsAre("INFO - while it is looked up"));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "afterwards");
    EXPECT_EQ("<13>afterwards", server.receive());
}

TEST_F(LoggerConfiguration, TheFormWithoutErrorsGivesTheSameResult)
{
    EXPECT_FALSE(Logger::configure(trieOf("log4cplus.rootLogger=INFO\n")));
    EXPECT_TRUE(Logger::configure(trieOf(fileConfiguration())));
}

TEST_F(LoggerConfiguration, EnvironmentVariablesAreReplaced)
{
    setenv("VELMORA_TEST_LEVEL", "ERROR", 1);
    std::string strConfiguration = fileConfiguration();
    strConfiguration.replace(strConfiguration.find("INFO"), 4, "${VELMORA_TEST_LEVEL}");
    EXPECT_TRUE(configure(strConfiguration));
    EXPECT_EQ(ERROR_LOG_LEVEL, Logger("a").getChainedLogLevel());
}

TEST_F(LoggerConfiguration, AnAsynchronousAppenderIsMadeSynchronousWithAWarning)
{
    EXPECT_TRUE(configure(fileConfiguration("log4cplus.appender.file.AsyncAppend=true\n")));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "line");
    EXPECT_THAT(
        linesOfFile(),
        ElementsAre("WARN - Appender file is made synchronous, AsyncAppend is not supported",
                    "INFO - line"));
    EXPECT_TRUE(configure(fileConfiguration("log4cplus.appender.file.AsyncAppend=false\n")));
    EXPECT_EQ(2U, linesOfFile().size());
}

TEST_F(LoggerConfiguration, TheWarningComesFromTheLoggerOfLoggers)
{
    std::string strConfiguration =
        fileConfiguration("log4cplus.appender.file.AsyncAppend=true\n"
                          "log4cplus.appender.file.layout.ConversionPattern=%p %c\n");
    strConfiguration.replace(strConfiguration.find("SimpleLayout"), 12, "PatternLayout");
    EXPECT_TRUE(configure(strConfiguration));
    EXPECT_THAT(linesOfFile(), ElementsAre("WARN keswardin.infra.Logger"));
}

TEST_F(LoggerConfiguration, AWrongLineIsAWarningInTheNewLogEachTime)
{
    const std::string strText = fileConfiguration("log4cplus.appender.file.Apend=false\n");
    const std::string strWarning =
        "WARN - log4cplus.appender.file.Apend = false has no effect: log4cplus::FileAppender has "
        "no property \"Apend\"; write log4cplus.appender.file.Append";
    EXPECT_TRUE(configure(strText));
    EXPECT_TRUE(configure(strText));
    EXPECT_THAT(linesOfFile(), ElementsAre(strWarning, strWarning));
}

TEST_F(LoggerConfiguration, AWrongLineOfAFailedConfigurationIsAWarningInTheDefaultLog)
{
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_FALSE(configure("log4cplus.rootLogger=INF, file\n"
                           "log4cplus.appender.file=log4cplus::NullAppender\n"));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ("WARN - log4cplus.rootLogger = INF, file : \"INF\" is no level; write INFO\n",
              testing::internal::GetCapturedStdout());
    expectDefaultInEffect();
}

TEST_F(LoggerConfiguration, NoThreadIsStarted)
{
    EXPECT_TRUE(configure(fileConfiguration("log4cplus.threadPoolSize=3\n"
                                            "log4cplus.appender.file.AsyncAppend=true\n")));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "line");
    EXPECT_EQ(1U, countTasks());
}

TEST_F(LoggerConfiguration, TheLevelOfAcesLoggerSwitchesItsTrace)
{
    EXPECT_TRUE(configure(fileConfiguration("log4cplus.logger.keswardin.ace=TRACE\n")));
    EXPECT_TRUE(ACE_Trace::is_tracing());
    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_FALSE(ACE_Trace::is_tracing());
}

TEST_F(LoggerConfiguration, AFailedConfigurationLeavesTheTraceOfAceAsItWas)
{
    testing::internal::CaptureStderr();
    const std::string strTracing = fileConfiguration("log4cplus.logger.keswardin.ace=TRACE\n");
    for (const std::string strFailing :
         {"keswardin.x=1\n", "log4cplus.rootLogger=INFO\n", "log4cplus.rootLogger=LOUD\n",
          "log4cplus.rootLogger=\nlog4cplus.logger.keswardin.ace=TRACE\n"})
    {
        ASSERT_TRUE(configure(strTracing));
        EXPECT_FALSE(configure(strFailing));
        EXPECT_TRUE(ACE_Trace::is_tracing()) << strFailing;
        ACE_Trace::stop_tracing();
        EXPECT_FALSE(configure(strFailing));
        EXPECT_FALSE(ACE_Trace::is_tracing()) << strFailing;
    }
    testing::internal::GetCapturedStderr();
}

TEST_F(LoggerConfiguration, ALineGoesToTheOldAppendersWhileNewOnesAreMade)
{
    log4cplus::spi::getAppenderFactoryRegistry().put(std::make_unique<ProbeFactory>());
    const CapturedLog captured;
    g_whileMade = []
    { std::thread([] { VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "to the old ones"); }).join(); };
    EXPECT_TRUE(configure(fileConfiguration("log4cplus.appender.probe=Probe\n"
                                            "log4cplus.logger.b=INFO, probe\n")));
    EXPECT_THAT(captured.lines(), ElementsAre(LogLine{"a", INFO_LOG_LEVEL, "to the old ones"}));
    EXPECT_THAT(linesOfFile(), IsEmpty());
}

TEST_F(LoggerConfiguration, ReconfiguringWhileThreadsLogLosesNoLine)
{
    constexpr int iReconfigurations = 100;
    ASSERT_TRUE(configure(fileConfiguration()));
    std::atomic<bool> bStop{false};
    std::array<int, 2> counts{};
    std::array<std::thread, 2> threads;
    std::latch bothHaveLogged(2);
    for (std::size_t uiThread = 0; uiThread < threads.size(); ++uiThread)
        threads[uiThread] = std::thread(
            [&, uiThread]
            {
                const Logger logger("numbered." + std::to_string(uiThread));
                const auto log = [&]
                { VELMORA_LOG(logger, INFO_LOG_LEVEL, uiThread << ':' << counts[uiThread]++); };
                log();
                bothHaveLogged.count_down();
                while (!bStop)
                    log();
            });
    bothHaveLogged.wait();
    for (int i = 0; i < iReconfigurations; ++i)
        EXPECT_TRUE(configure(
            fileConfiguration("log4cplus.logger.numbered." + std::to_string(i % 2) + "=DEBUG\n")));
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();

    std::set<std::string> expected;
    for (std::size_t uiThread = 0; uiThread < counts.size(); ++uiThread)
        for (int i = 0; i < counts[uiThread]; ++i)
            expected.insert("INFO - " + std::to_string(uiThread) + ':' + std::to_string(i));
    const std::vector<std::string> lines = linesOfFile();
    EXPECT_EQ(expected.size(), lines.size());
    EXPECT_EQ(expected, std::set<std::string>(lines.begin(), lines.end()));
}

TEST_F(LoggerConfiguration, ReconfiguringAndForkingEndWhileAnAppenderLogsItself)
{
    FactoryOf<Talkative>::registerAs("Talkative");
    const std::string strText =
        fileConfiguration("log4cplus.appender.talkative=Talkative\n"
                          "log4cplus.logger.question.of.child=INFO, talkative\n");
    ASSERT_TRUE(configure(strText));
    std::atomic<bool> bStop{false};
    std::array<int, 2> counts{};
    std::array<std::thread, 2> threads;
    for (std::size_t uiThread = 0; uiThread < threads.size(); ++uiThread)
        threads[uiThread] = std::thread(
            [&, uiThread]
            {
                const Logger logger("question.of.child");
                do
                    VELMORA_LOG(logger, INFO_LOG_LEVEL, uiThread << ':' << counts[uiThread]++);
                while (!bStop);
            });
    for (int iRound = 0; iRound < 100; ++iRound)
    {
        EXPECT_TRUE(configure(strText));
        if (iRound % 10 == 0)
        {
            EXPECT_EQ(0, exitCodeOfChild([] {}));
        }
    }
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();

    std::multiset<std::string> expected;
    for (std::size_t uiThread = 0; uiThread < counts.size(); ++uiThread)
        for (int i = 0; i < counts[uiThread]; ++i)
        {
            const std::string strLine = std::to_string(uiThread) + ':' + std::to_string(i);
            expected.insert("INFO - " + strLine);
            expected.insert("INFO - to " + strLine);
        }
    const std::vector<std::string> lines = linesOfFile();
    EXPECT_TRUE(expected == std::multiset<std::string>(lines.begin(), lines.end()))
        << expected.size() << " lines expected, " << lines.size() << " found";
}

TEST_F(LoggerConfiguration, ALevelThatStaysInEffectIsInEffectAllTheTime)
{
    // The level of "a.b.c" is INFO in each of them. It is set at the root, at "a.b", at "a.b.c"
    // itself and at "a", in this order.
    const std::array<std::string, 4> texts = {
        fileConfiguration(), fileConfiguration("log4cplus.logger.a.b=INFO\n"),
        fileConfiguration("log4cplus.logger.a=DEBUG\nlog4cplus.logger.a.b.c=INFO\n"),
        fileConfiguration("log4cplus.logger.a=INFO\nlog4cplus.logger.a.b=INHERITED\n")};
    ASSERT_TRUE(configure(texts[0]));
    const Logger logger("a.b.c");
    std::atomic<int> iWrong{0};
    RepeatingThreads thread(1,
                            [&]
                            {
                                if (logger.isEnabledFor(DEBUG_LOG_LEVEL) ||
                                    !logger.isEnabledFor(INFO_LOG_LEVEL))
                                    ++iWrong;
                            });
    for (int iRound = 0; iRound < 1000; ++iRound)
    {
        std::string strText = texts[static_cast<std::size_t>(iRound) % texts.size()];
        // Where the level is not set at the root, the root has another one, which must not be used.
        if (iRound % 4 != 0)
            strText.replace(strText.find("INFO, file"), 4, "DEBUG");
        EXPECT_TRUE(configure(strText));
    }
    thread.stop();
    EXPECT_EQ(0, iWrong);
}

TEST_F(LoggerConfiguration, AFileThatIsOpenWithoutAppendIsEmptyWithTheNewAppender)
{
    const std::string strTruncating = "log4cplus.appender.file.Append=false\n";
    ASSERT_TRUE(configure(fileConfiguration(strTruncating)));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "before");
    EXPECT_TRUE(configure(fileConfiguration(strTruncating)));
    VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "after");
    EXPECT_THAT(linesOfFile(), ElementsAre("INFO - after"));
}

TEST_F(LoggerConfiguration, AnAppenderThatFailsAfterItsFileIsClosedIsReportedAtError)
{
    log4cplus::spi::getAppenderFactoryRegistry().put(std::make_unique<ProbeFactory>());
    ASSERT_TRUE(configure(fileConfiguration()));
    // log4cplus lets this exception through, as it does `std::bad_alloc` where it copies
    // properties.
    g_whileMade = [] { throw 7; };
    EXPECT_TRUE(configure("log4cplus.rootLogger=INFO, probe, other\n"
                          "log4cplus.appender.probe=Probe\n"
                          "log4cplus.appender.probe.File=" +
                          m_directory.file("log") +
                          "\n"
                          "log4cplus.appender.other=log4cplus::FileAppender\n"
                          "log4cplus.appender.other.layout=log4cplus::PatternLayout\n"
                          "log4cplus.appender.other.layout.ConversionPattern=%p %c : %m%n\n"
                          "log4cplus.appender.other.File=" +
                          m_directory.file("other") + "\n"));
    g_whileMade = nullptr;
    EXPECT_EQ("ERROR keswardin.infra.Logger : failed to make the appenders that write to the files "
              "of former appenders, their lines are lost ; configure logging again : an exception "
              "without a text\n",
              m_directory.read("other"));
    FactoryRegistry::forget("Probe");
}

TEST_F(LoggerConfiguration, AnAppenderOfTwoLoggersIsClosedOnce)
{
    FactoryOf<CountingFile>::registerAs("CountingFile");
    const std::string strCounting = "log4cplus.rootLogger=INFO, counting\n"
                                    "log4cplus.logger.a=INFO, counting\n"
                                    "log4cplus.appender.counting=CountingFile\n"
                                    "log4cplus.appender.counting.File=" +
                                    m_directory.file("log") + "\n";
    ASSERT_TRUE(configure(strCounting));
    g_iCloses = 0;
    EXPECT_TRUE(configure(strCounting)) << "the new one shares the file";
    EXPECT_EQ(1, g_iCloses);
    EXPECT_TRUE(Logger::configureDefault());
    EXPECT_EQ(2, g_iCloses);
}

TEST_F(LoggerConfiguration, AFormerAppenderThatThrowsWhenItIsClosedIsReportedAtError)
{
    FactoryOf<Unclosable>::registerAs("Unclosable");
    FactoryOf<CountingFile>::registerAs("CountingFile");
    ASSERT_TRUE(configure("log4cplus.rootLogger=INFO, first, second\n"
                          "log4cplus.appender.first=Unclosable\n"
                          "log4cplus.appender.second=CountingFile\n"
                          "log4cplus.appender.second.File=" +
                          m_directory.file("former") + "\n"));
    g_iCloses = 0;
    EXPECT_TRUE(configure(fileConfiguration()));
    EXPECT_EQ(1, g_iCloses) << "the other one is closed";
    EXPECT_THAT(linesOfFile(),
                ElementsAre("ERROR - failed to close a former appender : the disk is gone"));
}

TEST_F(LoggerConfiguration, ARollingFileIsRolledByOneAppenderAtATime)
{
    // Read once: "appender.file" is defined twice, and each reading logs a line about that.
    const ParameterTrie trie =
        trieOf(fileConfiguration("log4cplus.appender.file=log4cplus::RollingFileAppender\n"
                                 "log4cplus.appender.file.MaxFileSize=200KB\n"
                                 "log4cplus.appender.file.MaxBackupIndex=50\n"));
    ASSERT_TRUE(Logger::configure(trie));
    std::atomic<bool> bStop{false};
    int iLines = 0;
    std::thread thread(
        [&]
        {
            const Logger logger("a");
            const std::string strLong(1000, 'x');
            while (!bStop && iLines < 9000)
                VELMORA_LOG(logger, INFO_LOG_LEVEL, iLines++ << strLong);
        });
    for (int iRound = 0; iRound < 100; ++iRound)
        EXPECT_TRUE(Logger::configure(trie));
    bStop = true;
    thread.join();
    std::size_t uiFound = linesOfFile().size();
    for (int iBackup = 1; iBackup <= 50; ++iBackup)
        uiFound += linesOf(m_directory.read("log." + std::to_string(iBackup))).size();
    EXPECT_EQ(static_cast<std::size_t>(iLines), uiFound);
}

TEST_F(LoggerConfiguration, IsRefusedInsideALine)
{
    const CapturedLog captured;
    std::ostringstream errors;
    bool bConfigured = true;
    bool bDefault = true;
    {
        const CallbackAppender appender(
            [&](const std::string& in_strText)
            {
                if (in_strText != "configure")
                    return;
                bConfigured = Logger::configure(trieOf(fileConfiguration()), errors);
                bDefault = Logger::configureDefault();
            });
        VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "configure");
    }
    const std::string strReason =
        "failed to configure Logger, it was called from inside a log line, an observer or a "
        "destructor ; the configuration in force stays. Configure logging when these are done";
    EXPECT_FALSE(bConfigured);
    EXPECT_FALSE(bDefault);
    EXPECT_EQ(strReason, errors.str());
    EXPECT_THAT(captured.lines(),
                ElementsAre(LogLine{"a", INFO_LOG_LEVEL, "configure"},
                            LogLine{"keswardin.infra.Logger", ERROR_LOG_LEVEL, strReason},
                            LogLine{"keswardin.infra.Logger", ERROR_LOG_LEVEL, strReason}));
}

TEST_F(LoggerConfiguration, IsRefusedWhileAnAppenderIsMadeForAnother)
{
    log4cplus::spi::getAppenderFactoryRegistry().put(std::make_unique<ProbeFactory>());
    bool bDefault = true;
    g_whileMade = [&bDefault] { bDefault = Logger::configureDefault(); };
    const CapturedLog captured;
    EXPECT_TRUE(configure(fileConfiguration("log4cplus.appender.probe=Probe\n"
                                            "log4cplus.logger.b=INFO, probe\n")));
    EXPECT_FALSE(bDefault);
    EXPECT_THAT(
        captured.lines(),
        ElementsAre(LogLine{"keswardin.infra.Logger", ERROR_LOG_LEVEL,
                            "failed to configure Logger, it was called while an appender is "
                            "made for another configuration ; call it afterwards"}));
}

TEST_F(LoggerConfiguration, FailsWhenAThreadDoesNotComeOutOfItsLine)
{
    const CapturedLog captured;
    std::promise<void> isInside;
    std::promise<void> go;
    std::ostringstream errors;
    testing::internal::CaptureStderr();
    {
        const CallbackAppender appender(
            [&](const std::string& in_strText)
            {
                if (in_strText != "stay")
                    return;
                isInside.set_value();
                go.get_future().wait();
            });
        std::thread thread([] { VELMORA_LOG(Logger("a"), INFO_LOG_LEVEL, "stay"); });
        isInside.get_future().wait();
        EXPECT_FALSE(Logger::configure(trieOf(fileConfiguration()), errors));
        go.set_value();
        thread.join();
    }
    const std::string strReason =
        "failed to configure Logger, other threads did not come out of their log lines, alarms or "
        "another configuration within 5 s ; the configuration in force stays. Look for an appender "
        "or an observer that hangs, and configure again";
    EXPECT_EQ(strReason, errors.str());
    // A log line would wait for the appender too, so the error goes to standard error.
    EXPECT_EQ("log4cplus:ERROR " + strReason + "\n", testing::internal::GetCapturedStderr());
    EXPECT_THAT(captured.lines(), ElementsAre(LogLine{"a", INFO_LOG_LEVEL, "stay"}));
}

TEST_F(LoggerConfiguration, FailsWhenAThreadDoesNotComeOutOfAnOperation)
{
    const CapturedLog captured;
    std::promise<void> isInside;
    std::promise<void> go;
    std::thread thread(
        [&]
        {
            const ProcessGate::Pass pass;
            isInside.set_value();
            go.get_future().wait();
        });
    isInside.get_future().wait();
    EXPECT_FALSE(Logger::configureDefault());
    go.set_value();
    thread.join();
    EXPECT_THAT(captured.lines(),
                ElementsAre(LogLine{"keswardin.infra.Logger", ERROR_LOG_LEVEL,
                                    "failed to configure Logger, other threads did not come out of "
                                    "their log lines, alarms or another configuration within 5 s ; "
                                    "the configuration in force stays. Look for an appender or an "
                                    "observer that hangs, and configure again"}));
}

TEST_F(LoggerConfiguration, ThreadsThatReconfigureWaitForEachOther)
{
    onThreads(3,
              [this](int in_iThread)
              {
                  const ParameterTrie trie = in_iThread == 0 ? trieOf("log4cplus.rootLogger=INFO\n")
                                                             : trieOf(fileConfiguration());
                  for (int i = 0; i < 30; ++i)
                      EXPECT_EQ(in_iThread != 0, Logger::configure(trie));
              });
    EXPECT_TRUE(Logger::configurationOK());
}

} // namespace Velmora::Test

// Replaces the function of the C library, for the library under test too: the dynamic linker
// searches the program first.

extern "C" [[gnu::visibility("default")]] int gethostbyname_r(const char* in_szName,
                                                              hostent* out_pHost, char* out_pMemory,
                                                              size_t in_uiMemory,
                                                              hostent** out_ppHost, int* out_pError)
{
    using Velmora::Test::g_lookUp;
    static const auto s_pReal =
        reinterpret_cast<decltype(&gethostbyname_r)>(dlsym(RTLD_NEXT, "gethostbyname_r"));
    if (g_lookUp)
        g_lookUp(in_szName);
    return s_pReal(g_lookUp ? "127.0.0.1" : in_szName, out_pHost, out_pMemory, in_uiMemory,
                   out_ppHost, out_pError);
}
