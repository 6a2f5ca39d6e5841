// SPDX-License-Identifier: BSD-2-Clause

// Where the messages about a configuration lead to, and the lines that the configured log gets
// again.

#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"

#include "velmora/config/test/GlobalConfigFixture.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ConfigurationPlaces : public GlobalConfigTest
{
  protected:
    ConfigurationPlaces() { unsetenv("nowhere"); }

    /// Loads a file "a.cfg" of the text and returns the lines of the trie's logger.
    std::vector<LogLine> linesAfter(const std::string& in_strText)
    {
        m_config.load(write("a.cfg", in_strText).c_str());
        std::vector<LogLine> lines = m_log.linesOf(s_szTrieLogger);
        std::erase_if(lines, [](const LogLine& in_line) { return in_line.level < WARN_LOG_LEVEL; });
        return lines;
    }

    /// Returns the place of a line of that file.
    [[nodiscard]] std::string at(int in_iLine) const
    {
        return m_directory.file("a.cfg") + ":" + std::to_string(in_iLine) + " : ";
    }

    static LogLine warn(const std::string& in_strText)
    {
        return warnLine(s_szTrieLogger, in_strText);
    }

    /// Returns the advice in the second of two lines.
    std::string adviceAfter(const std::string& in_strText)
    {
        const std::vector<LogLine> lines = linesAfter(in_strText);
        EXPECT_EQ(2U, lines.size());
        return lines.size() == 2 ? lines[1].strText : "";
    }
};

/// Loads a logging section with one file, and returns what that then contains.
std::string logOf(GlobalConfigImpl& inout_config, const TemporaryDirectory& in_directory,
                  const std::string& in_strMore = "")
{
    const std::string strFile = in_directory.file("log");
    loadText(inout_config, "log4cplus.rootLogger=WARN, file\n"
                           "log4cplus.appender.file=log4cplus::FileAppender\n"
                           "log4cplus.appender.file.File=" +
                               strFile +
                               "\nlog4cplus.appender.file.ImmediateFlush=false\n"
                               "log4cplus.appender.file.layout=log4cplus::PatternLayout\n"
                               "log4cplus.appender.file.layout.ConversionPattern=%p %c - %m%n\n" +
                               in_strMore);
    EXPECT_TRUE(inout_config.configureLogger(RunMode::undefined));
    inout_config.logProblemsAgain();
    return in_directory.read("log");
}

} // namespace

// Places

TEST_F(ConfigurationPlaces, AnUnknownNameLeadsToItsLineAndTheCloseName)
{
    EXPECT_THAT(linesAfter("# a comment\n\nkeswardin.exitTimeoutSecs = 5\n"),
                ElementsAre(warn("Unknown parameter : keswardin.exitTimeoutSecs. Closest known "
                                 "parameter : keswardin.exitTimeoutSec"),
                            warn(at(3) + "write \"keswardin.exitTimeoutSec = 5\"")));
}

TEST_F(ConfigurationPlaces, ANameWithAThirdOfItsCharactersWrongIsClose)
{
    // 18 characters: "keswardin.run.mode".
    EXPECT_EQ(at(1) + "write \"keswardin.run.mode = x\"", adviceAfter("keswardin.ruXXXXXX=x\n"));
}

TEST_F(ConfigurationPlaces, ANameWithMoreThanAThirdWrongIsNotClose)
{
    EXPECT_EQ(at(1) + "correct the name \"keswardin.XXXXXXXX\", or delete the line",
              adviceAfter("keswardin.XXXXXXXX=x\n"));
}

TEST_F(ConfigurationPlaces, AWrongTypeLeadsToItsLineTheTypeAndTheValueAsWritten)
{
    EXPECT_EQ(at(1) + "write an INT, a whole number without a unit, as in "
                      "\"keswardin.configTimeoutSec = 60\", instead of \"5s\"",
              adviceAfter("keswardin.configTimeoutSec =  5s \n"));
}

TEST_F(ConfigurationPlaces, EachTypeHasItsForm)
{
    EXPECT_EQ(at(1) + "write a BOOL, true or false, as in \"keswardin.traceShutdown = false\", "
                      "instead of \"yes\"",
              adviceAfter("keswardin.traceShutdown=yes\n"));
    m_log.clear();
    EXPECT_EQ(at(1) + "write a FLOAT, a number without a unit, as in "
                      "\"keswardin.system.cpu.monitor.setAlarmThreshold = 90\", instead of \"90%\"",
              adviceAfter("keswardin.system.cpu.monitor.setAlarmThreshold=90%\n"));
    m_log.clear();
    EXPECT_EQ(at(1) + "write a STRING, which is no number that begins with 0, as in "
                      "\"keswardin.sip.userAgentName = text\", instead of \"0123\"",
              adviceAfter("keswardin.sip.userAgentName=0123\n"));
}

TEST_F(ConfigurationPlaces, ANumberThatOnlyItsZeroInFrontMakesWrongIsProposedWithoutIt)
{
    EXPECT_EQ(at(1) + "write \"keswardin.configTimeoutSec = 89\" instead of \"089\", because a "
                      "number that begins with 0 is octal",
              adviceAfter("keswardin.configTimeoutSec=089\n"));
    m_log.clear();
    EXPECT_EQ(at(1) + "write \"keswardin.pstn.input.gain.dB = 0.0\" instead of \"0\", because a "
                      "number that begins with 0 is octal",
              adviceAfter("keswardin.pstn.input.gain.dB=0\n"));
}

TEST_F(ConfigurationPlaces, ARedefinitionLeadsToBothLines)
{
    EXPECT_EQ(at(4) + "replaces " + m_directory.file("a.cfg") + ":2 ; delete one of the two lines",
              adviceAfter("# first\nkeswardin.exitTimeoutSec = 1\n\nkeswardin.exitTimeoutSec=2\n"));
}

TEST_F(ConfigurationPlaces, AThirdDefinitionLeadsToTheSecond)
{
    const std::vector<LogLine> lines = linesAfter("log4cplus.a=1\nlog4cplus.a=2\nlog4cplus.b=1\n"
                                                  "log4cplus.a=3\nlog4cplus.b=2\n");
    ASSERT_EQ(6U, lines.size());
    const std::string strFile = m_directory.file("a.cfg");
    EXPECT_EQ(at(4) + "replaces " + strFile + ":2 ; delete one of the two lines", lines[3].strText);
    EXPECT_EQ(at(5) + "replaces " + strFile + ":3 ; delete one of the two lines", lines[5].strText);
}

TEST_F(ConfigurationPlaces, ALineThatWaitedForATagIsARedefinitionAtItsOwnPlace)
{
    EXPECT_EQ(at(1) + "replaces " + m_directory.file("a.cfg") + ":2 ; delete one of the two lines",
              adviceAfter("log4cplus.a=${log4cplus.b}\nlog4cplus.a=1\nlog4cplus.b=x\n"));
}

TEST_F(ConfigurationPlaces, ANameThatATagMadeIsADefinition)
{
    EXPECT_EQ(at(3) + "replaces " + m_directory.file("a.cfg") + ":2 ; delete one of the two lines",
              adviceAfter("log4cplus.b=x\nlog4cplus.${log4cplus.b}=1\nlog4cplus.x=2\n"));
}

TEST_F(ConfigurationPlaces, AValueOfAFormerLoadHasNoPlace)
{
    loadText(m_config, "log4cplus.a=1\n");
    EXPECT_EQ(at(1) + "replaces an earlier value", adviceAfter("log4cplus.a=2\n"));
}

TEST_F(ConfigurationPlaces, InAStreamAPlaceIsALine)
{
    loadText(m_config, "\nlog4cplus.a=1\nlog4cplus.a=2\n");
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger),
                ElementsAre(warn("Parameter log4cplus.a redefined from 1 to 2"),
                            warn("line 3 : replaces line 2 ; delete one of the two lines")));
}

TEST_F(ConfigurationPlaces, ALineThatCannotBeParsedIsEscapedAndCutAt200Bytes)
{
    const std::string strLong(300, 'x');
    EXPECT_EQ(at(1) + "write \"name = value\" instead of \"\\x1b[2J\\xff\\\\" +
                  strLong.substr(0, 194) + "...\"",
              adviceAfter("\x1b[2J\xff\\" + strLong + "\n"));
}

TEST_F(ConfigurationPlaces, TheNameOfAFileIsEscaped)
{
    const std::string strPath = write("a\nERROR.cfg", "nonsense\n");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger).back().strText,
                HasSubstr("a\\nERROR.cfg:1 : write \"name = value\" instead of \"nonsense\""));
}

TEST_F(ConfigurationPlaces, LinesThatStayOpenLeadToTheirPlacesAndTags)
{
    const std::string strFirst =
        write("first.cfg", "\nlog4cplus.a=${log4cplus.b}\nlog4cplus.c=x${nowhere}y${nobody}\n");
    const std::string strSecond = write("second.cfg", "log4cplus.b=${log4cplus.b}\n");
    EXPECT_FALSE(m_config.load(Urls{strFirst, strSecond}));
    EXPECT_THAT(
        m_log.linesOf(s_szLogger),
        testing::IsSupersetOf(
            {error("Unable to complete the configuration. Unknown parameters: "
                   "[log4cplus.a=${log4cplus.b}] [log4cplus.c=x${nowhere}y${nobody}] "
                   "[log4cplus.b=${log4cplus.b}]"),
             error(strFirst + ":2 : no parameter and no environment variable is named "
                              "${log4cplus.b} ; add the line \"log4cplus.b = ...\", or correct the "
                              "tag"),
             error(strFirst + ":3 : no parameter and no environment variable is named ${nowhere}, "
                              "${nobody} ; add the line \"nowhere = ...\", or correct the tag"),
             error(strSecond +
                   ":1 : ${log4cplus.b} stands for the line's own value ; write that value")}));
}

TEST_F(ConfigurationPlaces, ALineWhoseTagsGotValuesFromASourceThatFailedLeadsToThatSource)
{
    const std::string strFirst = write("first.cfg", "log4cplus.a=${log4cplus.b}\n");
    const std::string strSecond = write("second.cfg", "log4cplus.b=x\nnonsense\n");
    EXPECT_FALSE(m_config.load(Urls{strFirst, strSecond}));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                testing::Contains(error(strFirst + ":1 : its tags have values by now ; correct the "
                                                   "source that was not read to its end")));
}

TEST_F(ConfigurationPlaces, AByteOrderMarkIsSkipped)
{
    EXPECT_THAT(linesAfter("\xEF\xBB\xBFkeswardin.exitTimeoutSec=5\n"), IsEmpty());
    EXPECT_EQ(5, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(ConfigurationPlaces, AByteOrderMarkIsNoPartOfADefinition)
{
    EXPECT_EQ(at(2) + "replaces " + m_directory.file("a.cfg") + ":1 ; delete one of the two lines",
              adviceAfter("\xEF\xBB\xBFlog4cplus.a=1\nlog4cplus.a=2\n"));
}

TEST_F(ConfigurationPlaces, AByteOrderMarkInALaterLineBelongsToIt)
{
    EXPECT_EQ("(none)", stringOf(m_config, "log4cplus.b"));
    linesAfter("log4cplus.a=1\n\xEF\xBB\xBFlog4cplus.b=x\n");
    EXPECT_EQ("(none)", stringOf(m_config, "log4cplus.b"));
}

TEST_F(ConfigurationPlaces, LineEndsOfWindowsAreNoPartOfTheValuesThatTagsBring)
{
    EXPECT_THAT(linesAfter("log4cplus.a=<${log4cplus.b}>\r\nlog4cplus.b=[${log4cplus.c}]\r\n"
                           "\r\nlog4cplus.c=x\r\nkeswardin.exitTimeoutSec=5\r\n"),
                IsEmpty());
    EXPECT_EQ("<[x]>", stringOf(m_config, "log4cplus.a"));
    EXPECT_EQ("[x]", stringOf(m_config, "log4cplus.b"));
    EXPECT_EQ(5, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(ConfigurationPlaces, ADeprecatedNameLeadsToItsLineAndWhatReplacesIt)
{
    linesAfter("\nkeswardin.sip.transport=tcp\nkeswardin.b2bua.doDlgcCPD=true\n");
    m_log.clear();
    EXPECT_TRUE(ParameterInfoDB::getInstance().warnOnDeprecated(m_config));
    const auto info = [](const std::string& in_strText)
    { return warnLine("keswardin.infra.ParameterInfo", in_strText); };
    const std::vector<LogLine> lines = m_log.lines();
    ASSERT_EQ(4U, lines.size());
    EXPECT_THAT(lines, Contains(info("Parameter keswardin.sip.transport is deprecated. Use "
                                     "parameter sip.userAgent.IPAddress")));
    EXPECT_THAT(lines, Contains(info(at(2) + "write \"keswardin.sip.userAgent.IPAddress = ...\" "
                                             "instead")));
    EXPECT_THAT(lines, Contains(info(at(3) + "delete the line")));
}

TEST_F(ConfigurationPlaces, AConfigurationWithoutPlacesHasNoLineBehindADeprecatedName)
{
    set("keswardin.sip.transport", valueOf("tcp"));
    EXPECT_TRUE(ParameterInfoDB::getInstance().warnOnDeprecated(m_config));
    EXPECT_EQ(1U, m_log.lines().size());
}

// Errors of the system

TEST_F(ConfigurationPlaces, ARelativePathIsResolvedBehindTheReason)
{
    EXPECT_FALSE(m_config.load("no-such.cfg"));
    EXPECT_EQ(error("cannot open no-such.cfg: No such file or directory (" +
                    (std::filesystem::current_path() / "no-such.cfg").string() + ")"),
              m_log.lines().back());
}

TEST_F(ConfigurationPlaces, AFileThatMayNotBeReadHasItsReason)
{
    const std::string strPath = write("secret.cfg", "");
    // Root may read every file.
    if (!doWhileCallsFail({{SYS_openat, EACCES}}, [&] { m_config.load(strPath.c_str()); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(error("cannot open " + strPath + ": Permission denied"), m_log.lines().back());
}

// The file of the logging

TEST_F(ConfigurationPlaces, TheFileOfTheLoggingHasPlacesToo)
{
    const std::string strPath = write("logging", "log4cplus.a=1\nlog4cplus.a=2\nnonsense\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    EXPECT_FALSE(m_config.configureLogger(RunMode::production));
    EXPECT_THAT(
        m_log.linesOf(s_szTrieLogger),
        ElementsAre(warn("Parameter log4cplus.a redefined from 1 to 2"),
                    warn(strPath + ":2 : replaces " + strPath + ":1 ; delete one of the two lines"),
                    errorLine(s_szTrieLogger, "parse error at line 3. failed to parse : nonsense"),
                    errorLine(s_szTrieLogger,
                              strPath + ":3 : write \"name = value\" instead of \"nonsense\"")));
}

// The configured log

TEST_F(ConfigurationPlaces, WhatWasLoggedBeforeIsInTheConfiguredLogAtOnce)
{
    linesAfter("keswardin.traceShutdown=maybe\n");
    EXPECT_EQ("WARN keswardin.infra.ParameterTrie - Parameter keswardin.traceShutdown with type "
              "STRING has wrong type. Should be BOOL\n"
              "WARN keswardin.infra.ParameterTrie - " +
                  at(1) +
                  "write a BOOL, true or false, as in \"keswardin.traceShutdown = false\", instead "
                  "of \"maybe\"\n",
              logOf(m_config, m_directory));
}

TEST_F(ConfigurationPlaces, ErrorsAreInTheConfiguredLogToo)
{
    EXPECT_FALSE(m_config.load(m_directory.file("none.cfg").c_str()));
    EXPECT_EQ("ERROR keswardin.infra.GlobalConfig - failed to initialize Global Config : unable to "
              "open " +
                  m_directory.file("none.cfg") +
                  " for reading\n"
                  "ERROR keswardin.infra.GlobalConfig - cannot open " +
                  m_directory.file("none.cfg") + ": No such file or directory\n",
              logOf(m_config, m_directory));
}

TEST_F(ConfigurationPlaces, TheyAreWrittenAtOnceByTheLibrarysAppenderToo)
{
    linesAfter("keswardin.traceShutdown=maybe\n");
    EXPECT_THAT(logOf(m_config, m_directory,
                      "log4cplus.rootLogger=WARN, own\n"
                      "log4cplus.appender.own=velmora::FileAppender\n"
                      "log4cplus.appender.own.File=" +
                          m_directory.file("own") +
                          "\nlog4cplus.appender.own.ImmediateFlush=false\n"
                          "log4cplus.appender.own.FlushLevel=FATAL\n"
                          "log4cplus.appender.own.layout=velmora::PatternLayout\n"
                          "log4cplus.appender.own.layout.ConversionPattern=%m%n\n"),
                IsEmpty());
    EXPECT_THAT(m_directory.read("own"), HasSubstr("has wrong type"));
}

TEST_F(ConfigurationPlaces, TheReasonOfAStartThatFailsIsWrittenAtOnceEvenIfNothingIsLoggedAgain)
{
    EXPECT_EQ("", logOf(m_config, m_directory));
    set("keswardin.sip.transport", valueOf("tcp"));
    EXPECT_TRUE(ParameterInfoDB::getInstance().warnOnDeprecated(m_config));
    m_config.logProblemsAgain();
    EXPECT_THAT(m_directory.read("log"), HasSubstr("keswardin.sip.transport is deprecated"));
}

TEST_F(ConfigurationPlaces, TheyAreThereOnce)
{
    linesAfter("keswardin.traceShutdown=maybe\n");
    const std::string strLog = logOf(m_config, m_directory);
    m_config.logProblemsAgain();
    EXPECT_EQ(strLog, m_directory.read("log"));
}

TEST_F(ConfigurationPlaces, NothingIsLoggedAgainBeforeLoggingIsConfigured)
{
    linesAfter("keswardin.traceShutdown=maybe\n");
    m_log.clear();
    m_config.logProblemsAgain();
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ConfigurationPlaces, WhatReachesTheConfiguredLogItselfIsNotLoggedAgain)
{
    logOf(m_config, m_directory);
    loadText(m_config, "keswardin.traceShutdown=maybe\n");
    m_config.logProblemsAgain();
    // The appender buffers until it is closed.
    Logger::configureDefault();
    const std::string strLog = m_directory.read("log");
    EXPECT_EQ(strLog.find("has wrong type"), strLog.rfind("has wrong type"));
    EXPECT_THAT(strLog, HasSubstr("has wrong type"));
}

TEST_F(ConfigurationPlaces, AProgramThatGoesBackToTheDefaultLoggingKeepsLinesAgain)
{
    logOf(m_config, m_directory);
    Logger::configureDefault();
    m_config.keepProblems();
    loadText(m_config, "keswardin.traceShutdown=maybe\n");
    EXPECT_THAT(logOf(m_config, m_directory), HasSubstr("has wrong type"));
}

TEST_F(ConfigurationPlaces, AnUnknownNameThatTheConfiguredLogGotIsNotLoggedAgain)
{
    linesAfter("keswardin.nowhere=1\n");
    loadText(m_config, "log4cplus.rootLogger=WARN, file\n"
                       "log4cplus.appender.file=log4cplus::FileAppender\n"
                       "log4cplus.appender.file.File=" +
                           m_directory.file("log") +
                           "\nlog4cplus.appender.file.layout=log4cplus::PatternLayout\n"
                           "log4cplus.appender.file.layout.ConversionPattern=%p %c - %m%n\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    m_config.logProblemsAgain();
    EXPECT_THAT(m_directory.read("log"), Not(HasSubstr("keswardin.infra.ParameterTrie")));
    EXPECT_THAT(m_directory.read("log"),
                HasSubstr("WARN keswardin.infra.GlobalConfig - " + at(1) + "correct the name "));
}

TEST_F(ConfigurationPlaces, AThousandLinesAreKeptAndTheOthersCounted)
{
    std::string strText;
    for (int i = 0; i != 600; ++i)
        strText += "keswardin.traceShutdown=maybe\n";
    linesAfter(strText);
    const std::string strLog = logOf(m_config, m_directory);
    EXPECT_EQ(1001, std::count(strLog.begin(), strLog.end(), '\n'));
    // 600 wrong types and 599 redefinitions have two lines each.
    EXPECT_THAT(strLog,
                testing::EndsWith("WARN keswardin.infra.GlobalConfig - 1398 more lines about "
                                  "the configuration are only in the log that was in effect "
                                  "while it was loaded\n"));
}

TEST_F(ConfigurationPlaces, LoadsAndTheLoggingAgainMayRunOnAnyThreads)
{
    log4cplus::Logger::getRoot().setLogLevel(ERROR_LOG_LEVEL);
    log4cplus::Logger::getInstance(s_szTrieLogger).setLogLevel(WARN_LOG_LEVEL);
    std::atomic<bool> bDone{false};
    std::thread loader(
        [&]
        {
            for (int i = 0; i != 200; ++i)
                loadText(m_config, "keswardin.nowhere=1\nkeswardin.traceShutdown=maybe\n");
            bDone = true;
        });
    while (!bDone)
    {
        m_config.keepProblems();
        m_config.logProblemsAgain();
        static_cast<void>(m_config.lineAbout("keswardin.nowhere"));
        ParameterInfoDB::getInstance().warnOnDeprecated(m_config);
    }
    loader.join();
    EXPECT_EQ(200U, m_config.getLoadSummary().m_uiUnknownNames);
    EXPECT_EQ("line 1 : correct the name \"keswardin.nowhere\", or delete the line",
              m_config.lineAbout("keswardin.nowhere"));
}

TEST_F(ConfigurationPlaces, TheConfiguredLogGetsTheWarningsOfADatabaseSource)
{
    class Warning final : public GlobalConfigSeam::DatabaseSource
    {
      public:
        Warning() { GlobalConfigSeam::setDatabaseSource(this); }
        ~Warning() { GlobalConfigSeam::setDatabaseSource(nullptr); }
        Warning(const Warning&) = delete;
        Warning& operator=(const Warning&) = delete;
        std::optional<Parameters> fetch(const std::string& in_strUrl) override
        {
            GlobalConfigSeam::warnOfSource(in_strUrl + " is old");
            return Parameters();
        }
    };
    const Warning source;
    EXPECT_TRUE(m_config.load(Urls{"db://host/x"}));
    GlobalConfigSeam::warnOfSource("outside of a load");
    EXPECT_THAT(m_log.lines(), Contains(warnLine(s_szLogger, "db://host/x is old")));
    EXPECT_THAT(m_log.lines(), Contains(warnLine(s_szLogger, "outside of a load")));
    EXPECT_EQ("WARN keswardin.infra.GlobalConfig - db://host/x is old\n",
              logOf(m_config, m_directory));
}

TEST_F(ConfigurationPlaces, LoggingAgainDoesNotChangeTheSummary)
{
    linesAfter("keswardin.traceShutdown=maybe\n");
    logOf(m_config, m_directory);
    EXPECT_EQ(1U, m_config.getLoadSummary().m_uiWrongTypes);
}

} // namespace Velmora::Test
