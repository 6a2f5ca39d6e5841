// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/CallLogging.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::MatchesRegex;
using Lines = std::vector<std::string>;

/// The pattern of the example gateway's log and of its files of calls.
const std::string s_strPattern = "%D{%Y-%m-%d %H:%M:%S.%q} %-5p [%t] %c - %m%n";

/// Logs to files in the layouts of the library, and reads them with lnav and the formats.
class LnavFormats : public testing::Test
{
  protected:
    /// Logs to "test.log" with a layout, given by its lines of configuration, and more properties
    /// of the appender.
    void logAs(const std::string& in_strLayout, const std::string& in_strMore = "") const
    {
        ASSERT_TRUE(Logger::configure(trieOf("log4cplus.rootLogger=TRACE, FILE\n"
                                             "log4cplus.logger.keswardin.infra=WARN\n"
                                             "log4cplus.appender.FILE=velmora::FileAppender\n"
                                             "log4cplus.appender.FILE.File=" +
                                             file() + '\n' + in_strMore +
                                             "log4cplus.appender.FILE.layout=" + in_strLayout)));
    }
    void logWithPattern(const std::string& in_strClass = "velmora::PatternLayout",
                        const std::string& in_strMore = "",
                        const std::string& in_strPattern = s_strPattern) const
    {
        logAs(in_strClass + "\nlog4cplus.appender.FILE.layout.ConversionPattern=" + in_strPattern +
                  '\n',
              in_strMore);
    }

    [[nodiscard]] std::string file() const { return m_directory.file("test.log"); }

    /// Returns the rows of a query, without that of the names, as lnav writes them. Closes the
    /// files before.
    [[nodiscard]] Lines rows(const std::string& in_strQuery, const Lines& in_files) const
    {
        Logger::configureDefault();
        Lines arguments{"-n", "-c", ";" + in_strQuery, "-c", ":write-csv-to -"};
        arguments.insert(arguments.end(), in_files.begin(), in_files.end());
        Lines lines = linesOf(lnav(std::move(arguments)));
        EXPECT_FALSE(lines.empty());
        if (!lines.empty())
            lines.erase(lines.begin());
        return lines;
    }

    [[nodiscard]] std::string lnav(Lines in_arguments) const
    {
        in_arguments.insert(in_arguments.begin(), {"-I", VELMORA_LNAV_FORMATS});
        const HelperResult result = runHelper(VELMORA_LNAV, in_arguments, environment());
        EXPECT_EQ(0, result.iExitCode);
        EXPECT_EQ("", result.strErrors);
        return result.strOutput;
    }

    [[nodiscard]] std::vector<std::pair<std::string, std::string>> environment() const
    {
        return {{"HOME", m_directory.path().string()}, {"TERM", "dumb"}};
    }
    [[nodiscard]] const TemporaryDirectory& directory() const { return m_directory; }

  private:
    TemporaryDirectory m_directory;
};

/// Logs a line at each level, with identifiers from the second one on.
void logAtEachLevel()
{
    LoggingIdLogger logger("keswardin.test");
    VELMORA_LOG(logger, FATAL_LOG_LEVEL, "one");
    logger.addLoggingId("leg=7");
    VELMORA_LOG(logger, ERROR_LOG_LEVEL, "two");
    logger.logCallId("a/b@[::1]");
    VELMORA_LOG(logger, WARN_LOG_LEVEL, "three");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "four - [x] a=b");
    VELMORA_LOG(logger, DEBUG_LOG_LEVEL, "five");
    VELMORA_LOG(logger, TRACE_LOG_LEVEL, "six");
}

constexpr const char* s_szFields = "SELECT log_level, logger, leg, call_id, log_body FROM ";

const Lines s_linesOfEachLevel{
    "fatal,keswardin.test,<NULL>,<NULL>,one",   "error,keswardin.test,7,<NULL>,two",
    "warning,keswardin.test,7,a/b@[::1],three", "info,keswardin.test,7,a/b@[::1],four - [x] a=b",
    "debug,keswardin.test,7,a/b@[::1],five",    "trace,keswardin.test,7,a/b@[::1],six"};

} // namespace

TEST_F(LnavFormats, AreCorrect) { EXPECT_EQ("", lnav({"-C"})); }

TEST_F(LnavFormats, HaveEachFieldOfAPattern)
{
    logWithPattern();
    logAtEachLevel();
    EXPECT_EQ(s_linesOfEachLevel, rows(std::string(s_szFields) + "keswardin_log", {file()}));
}

TEST_F(LnavFormats, HaveEachFieldOfLog4cplusPatterns)
{
    logWithPattern("log4cplus::PatternLayout");
    logAtEachLevel();
    EXPECT_EQ(s_linesOfEachLevel, rows(std::string(s_szFields) + "keswardin_log", {file()}));
}

TEST_F(LnavFormats, HaveEachFieldOfJson)
{
    logAs("velmora::JsonLayout\n");
    logAtEachLevel();
    EXPECT_EQ(s_linesOfEachLevel, rows(std::string(s_szFields) + "keswardin_json", {file()}));
}

TEST_F(LnavFormats, HaveTheTimeAndTheThreadOfAPattern)
{
    logWithPattern();
    logAtEachLevel();
    const std::string strLine = linesOf(directory().read("test.log")).at(0);
    const std::size_t uiThread = strLine.find('[') + 1;
    EXPECT_EQ(rows("SELECT log_time, thread FROM keswardin_log LIMIT 1", {file()}),
              Lines{strLine.substr(0, 23) + ',' +
                    strLine.substr(uiThread, strLine.find(']') - uiThread)});
}

TEST_F(LnavFormats, HaveTheTimeAndTheThreadOfJson)
{
    logAs("velmora::JsonLayout\n");
    logAtEachLevel();
    const std::string strLine = linesOf(directory().read("test.log")).at(0);
    const std::size_t uiTime = strLine.find("\"time\":\"") + 8;
    const std::size_t uiThread = strLine.find("\"thread\":\"") + 10;
    EXPECT_EQ(rows("SELECT log_time, thread FROM keswardin_json LIMIT 1", {file()}),
              Lines{strLine.substr(uiTime, 10) + ' ' + strLine.substr(uiTime + 11, 12) + ',' +
                    strLine.substr(uiThread, strLine.find('"', uiThread) - uiThread)});
}

TEST_F(LnavFormats, HaveTheOtherFieldsOfJson)
{
    logAs("velmora::JsonLayout\n");
    LoggingIdLogger logger("keswardin.test");
    logger.addLoggingId("whole");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "text");
    EXPECT_THAT(rows("SELECT ids, file, line FROM keswardin_json", {file()}),
                ElementsAre(MatchesRegex("\"\\[\"\"whole\"\"\\]\",.*LnavFormatsTest.cpp,[0-9]+")));
}

TEST_F(LnavFormats, KeepAMessageOfSeveralLinesInOne)
{
    logWithPattern();
    const Logger logger("keswardin.test");
    VELMORA_LOG(logger, ERROR_LOG_LEVEL, "two\nlines");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "next");
    EXPECT_THAT(rows("SELECT log_level, log_body FROM keswardin_log", {file()}),
                ElementsAre("error,two\\nlines", "info,next"));
}

TEST_F(LnavFormats, ReadAMessageOfSeveralLinesWhole)
{
    logWithPattern("log4cplus::PatternLayout");
    const Logger logger("keswardin.test");
    VELMORA_LOG(logger, ERROR_LOG_LEVEL, "two\nlines");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "next");
    EXPECT_THAT(
        rows("SELECT log_level, replace(log_body, char(10), '|') FROM keswardin_log", {file()}),
        ElementsAre("error,two|lines", "info,next"));
}

TEST_F(LnavFormats, ReadAMessageOfSeveralLinesWholeFromJson)
{
    logAs("velmora::JsonLayout\n");
    const Logger logger("keswardin.test");
    VELMORA_LOG(logger, ERROR_LOG_LEVEL, "two\nlines and a \"quote\"");
    EXPECT_THAT(
        rows("SELECT log_level, replace(log_body, char(10), '|') FROM keswardin_json", {file()}),
        ElementsAre("error,\"two|lines and a \"\"quote\"\"\""));
}

TEST_F(LnavFormats, AreNotMisledByALineInAMessage)
{
    logWithPattern();
    const Logger logger("keswardin.test");
    VELMORA_LOG(logger, WARN_LOG_LEVEL,
                "x\n2026-11-21 17:19:04.021 FATAL [1] keswardin.forged - leg=1 call-id=y z");
    EXPECT_THAT(rows("SELECT log_level, logger, leg FROM keswardin_log", {file()}),
                ElementsAre("warning,keswardin.test,<NULL>"));
}

TEST_F(LnavFormats, ReadTheLogOfAlarms)
{
    logWithPattern("velmora::PatternLayout", "", "%D{%Y-%m-%d %H:%M:%S.%q} %-5p %m%n");
    const Logger logger("admin.alarm");
    VELMORA_LOG(logger, ERROR_LOG_LEVEL, "Alarm [system.overload] : ALARM_ON");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "Alarm [system.overload] : ALARM_OFF");
    EXPECT_THAT(rows("SELECT log_level, logger, log_body FROM keswardin_log", {file()}),
                ElementsAre("error,<NULL>,Alarm [system.overload] : ALARM_ON",
                            "info,<NULL>,Alarm [system.overload] : ALARM_OFF"));
}

TEST_F(LnavFormats, ReadTheFileOfACall)
{
    makeParticipant("keswardin.test");
    ASSERT_TRUE(
        configureCalls(directory().path().string(),
                       "log4cplus.appender.CALL_LOG_APPENDER.layout=velmora::PatternLayout\n"
                       "log4cplus.appender.CALL_LOG_APPENDER.layout.ConversionPattern=" +
                           s_strPattern + "\nkeswardin.infra.CallLogger.outputFileSuffix=.log\n"));
    {
        CallLogger logger("keswardin.test");
        logger.addLoggingId("leg=1");
        logger.callStart("x@y");
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "INVITE received");
    }
    EXPECT_THAT(
        rows("SELECT log_level, logger, leg, call_id, log_body FROM keswardin_log",
             {directory().file("x@y.log")}),
        ElementsAre(
            MatchesRegex("info,keswardin.infra.CallLogger.Appender,<NULL>,<NULL>,Call start : .*"),
            "info,keswardin.test,1,<NULL>,INVITE received",
            MatchesRegex("info,keswardin.infra.CallLogger.Appender,<NULL>,<NULL>,Call end : .*")));
}

TEST_F(LnavFormats, ReadFilesThatHaveRolledOver)
{
    logWithPattern("velmora::PatternLayout", "log4cplus.appender.FILE.MaxFileSize=2KB\n"
                                             "log4cplus.appender.FILE.MaxBackupIndex=9\n");
    const Logger logger("keswardin.test");
    for (int iLine = 0; iLine < 60; ++iLine)
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "line " << iLine);
    EXPECT_THAT(rows("SELECT count(*), count(DISTINCT log_path) FROM keswardin_log WHERE "
                     "log_body LIKE 'line %'",
                     {file(), file() + ".1", file() + ".2"}),
                ElementsAre("60,3"));
}

TEST_F(LnavFormats, ReadFilesThatAreCompressed)
{
    logWithPattern("velmora::PatternLayout", "log4cplus.appender.FILE.MaxFileSize=2KB\n"
                                             "log4cplus.appender.FILE.MaxBackupIndex=9\n"
                                             "log4cplus.appender.FILE.Compress=gzip\n");
    const Logger logger("keswardin.test");
    for (int iLine = 0; iLine < 60; ++iLine)
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "line " << iLine);
    EXPECT_THAT(rows("SELECT count(*), count(DISTINCT log_path) FROM keswardin_log WHERE "
                     "log_body LIKE 'line %'",
                     {file(), file() + ".1.gz", file() + ".2.gz"}),
                ElementsAre("60,3"));
}

TEST_F(LnavFormats, ReadTheConsoleOfTheDefaultConfiguration)
{
    const HelperResult result = runHelper(
        "/bin/sh",
        {"-c",
         R"(("$0"; echo 'log4cplus:ERROR cannot write x' ) 2>&1 | "$1" -I "$2" -t -n -c "$3" -c ':write-csv-to -')",
         VELMORA_HELPER_LNAV_LOGS_BY_DEFAULT, VELMORA_LNAV, VELMORA_LNAV_FORMATS,
         ";SELECT log_level, logger, leg, call_id, "
         "replace(log_body, char(10), '|') AS body FROM keswardin_console"},
        environment());
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    EXPECT_THAT(
        linesOf(result.strOutput),
        ElementsAre("log_level,logger,leg,call_id,body", "warning,<NULL>,<NULL>,<NULL>,first",
                    MatchesRegex("error,<NULL>,2,x@y,two[|].*  lines"), "fatal,<NULL>,2,x@y,last",
                    testing::StartsWith("error,log4cplus,<NULL>,<NULL>,cannot write x")));
}

} // namespace Velmora::Test
