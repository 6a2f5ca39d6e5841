// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingCheck.h"

#include "velmora/config/ParameterTrie.h"

#include "tests/support/ConfigurationText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/initializer.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/spi/factory.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A configuration with nothing wrong in it, to which the tests add lines. The last line for a name
/// wins.
constexpr const char* s_szSound = "log4cplus.rootLogger = INFO, main\n"
                                  "log4cplus.appender.main = velmora::FileAppender\n"
                                  "log4cplus.appender.main.File = gateway.log\n"
                                  "log4cplus.appender.main.layout = velmora::PatternLayout\n"
                                  "log4cplus.appender.main.layout.ConversionPattern = %m%n\n";

constexpr const char* s_szMarker =
    "log4cplus.rootLogger = INFO, main, CALL_LOG_APPENDER\n"
    "log4cplus.appender.CALL_LOG_APPENDER = log4cplus::NullAppender\n"
    "log4cplus.appender.CALL_LOG_APPENDER.Directory = calls\n"
    "log4cplus.appender.CALL_LOG_APPENDER.layout = log4cplus::SimpleLayout\n";

LoggingCheck::Problems problemsOf(const std::string& in_strText)
{
    log4cplus::initialize();
    return LoggingCheck::problemsOf(trieOf(in_strText));
}

/// Returns the problems of the sound configuration with more lines.
LoggingCheck::Problems problemsWith(const std::string& in_strMore)
{
    return problemsOf(s_szSound + in_strMore);
}

std::vector<std::string> textsOf(const LoggingCheck::Problems& in_problems)
{
    std::vector<std::string> texts;
    for (const LoggingProblem& problem : in_problems)
        texts.push_back(problem.strText);
    return texts;
}

std::vector<std::string> textsWith(const std::string& in_strMore)
{
    return textsOf(problemsWith(in_strMore));
}

} // namespace

TEST(LoggingCheck, ASoundConfigurationHasNoProblems)
{
    EXPECT_THAT(textsWith(""), IsEmpty());
    EXPECT_THAT(textsWith(s_szMarker), IsEmpty());
    EXPECT_THAT(textsWith("log4cplus.logger.a.b = INHERITED\n"
                          "log4cplus.logger.c = debug\n"
                          "log4cplus.additivity.a.b = false\n"
                          "log4cplus.threadPoolSize = 4\n"
                          "log4cplus.configDebug = true\n"
                          "log4cplus.quietMode = 0\n"
                          "log4cplus.disableOverride = FALSE\n"),
                IsEmpty());
}

TEST(LoggingCheck, AConfigurationWithoutTheSectionHasNoProblems)
{
    EXPECT_THAT(textsOf(problemsOf("keswardin.x = 1\nlog4cplusX = 1\nlog4cplus = 1\n")), IsEmpty());
}

TEST(LoggingCheck, GivesTheLineTheValueAndWhatWasMeant)
{
    const LoggingCheck::Problems problems =
        problemsWith("log4cplus.appender.main.MaxFilSize = 20MB\n");
    ASSERT_EQ(1U, problems.size());
    EXPECT_EQ("log4cplus.appender.main.MaxFilSize", problems[0].strKey);
    EXPECT_EQ("20MB", problems[0].strValue);
    EXPECT_EQ("log4cplus.appender.main.MaxFileSize", problems[0].strClosest);
    EXPECT_EQ("log4cplus.appender.main.MaxFilSize = 20MB has no effect: velmora::FileAppender has "
              "no property \"MaxFilSize\"; write log4cplus.appender.main.MaxFileSize",
              problems[0].strText);
}

TEST(LoggingCheck, FindsTheSameTwice)
{
    const std::string strMore = "log4cplus.loger.x = INFO\nlog4cplus.appender.main.Mod = 1\n"
                                "log4cplus.logger.x = INFO, none\n";
    EXPECT_THAT(textsWith(strMore), testing::SizeIs(3));
    EXPECT_EQ(textsWith(strMore), textsWith(strMore));
}

// Directly below "log4cplus".

TEST(LoggingCheck, FindsAnUnknownNameInTheSection)
{
    EXPECT_THAT(textsWith("log4cplus.loger.x.y = INFO\n"),
                ElementsAre("log4cplus.loger.x.y = INFO has no effect: log4cplus has no "
                            "\"loger.x.y\"; write log4cplus.logger.x.y"));
    EXPECT_THAT(textsWith("log4cplus.rootloger = INFO\n"),
                ElementsAre("log4cplus.rootloger = INFO has no effect: log4cplus has no "
                            "\"rootloger\"; write log4cplus.rootLogger"));
    EXPECT_THAT(textsWith("log4cplus.colour = red\n"),
                ElementsAre("log4cplus.colour = red has no effect: log4cplus has no \"colour\"; "
                            "remove it. The names below log4cplus are rootLogger, logger.<name>, "
                            "appender.<name>, additivity.<name>, threadPoolSize, configDebug, "
                            "quietMode, disableOverride"));
}

TEST(LoggingCheck, FindsNamesThatLackTheirEnd)
{
    EXPECT_THAT(textsWith("log4cplus.logger = INFO\n"),
                ElementsAre(HasSubstr("log4cplus has no \"logger\"; remove it")));
    EXPECT_THAT(textsWith("log4cplus.rootLogger.x = INFO\n"),
                ElementsAre(HasSubstr("log4cplus has no \"rootLogger.x\"; remove it")));
}

TEST(LoggingCheck, SuggestsANameThatDiffersOnlyInCase)
{
    EXPECT_THAT(textsWith("log4cplus.APPENDER.x = log4cplus::NullAppender\n"),
                ElementsAre(HasSubstr("; write log4cplus.appender.x")));
    EXPECT_THAT(textsWith("log4cplus.appender.main.THRESHOLD = WARN\n"),
                ElementsAre(HasSubstr("; write log4cplus.appender.main.Threshold")));
}

TEST(LoggingCheck, SuggestsNothingThatIsMoreThanAThirdAway)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main.Modes = 0640\n"),
                ElementsAre(HasSubstr("; write log4cplus.appender.main.Mode")));
    EXPECT_THAT(textsWith("log4cplus.appender.main.Moed = 0640\n"),
                ElementsAre(HasSubstr("; remove it. The properties are File, Append, ")));
}

TEST(LoggingCheck, FindsSettingsThatAreNotValid)
{
    EXPECT_THAT(textsWith("log4cplus.additivity.a = no\n"),
                ElementsAre("log4cplus.additivity.a = no is not valid; write \"true\" or "
                            "\"false\""));
    EXPECT_THAT(textsWith("log4cplus.quietMode = yes\n"),
                ElementsAre(HasSubstr("log4cplus.quietMode = yes is not valid; ")));
    EXPECT_THAT(textsWith("log4cplus.threadPoolSize = many\n"),
                ElementsAre("log4cplus.threadPoolSize = many is not valid; write a number"));
}

// Loggers.

TEST(LoggingCheck, FindsALevelThatDoesNotExist)
{
    testing::internal::CaptureStderr();
    EXPECT_THAT(textsWith("log4cplus.rootLogger = INF, main\n"),
                ElementsAre("log4cplus.rootLogger = INF, main : \"INF\" is no level; write INFO"));
    EXPECT_THAT(textsWith("log4cplus.logger.a = LOUD\n"),
                ElementsAre("log4cplus.logger.a = LOUD : \"LOUD\" is no level; write OFF, FATAL, "
                            "ERROR, WARN, INFO, DEBUG, TRACE or ALL, or INHERITED"));
    EXPECT_THAT(textsWith("log4cplus.rootLogger = INHERITED, main\n"),
                ElementsAre("log4cplus.rootLogger = INHERITED, main : \"INHERITED\" is no level; "
                            "write OFF, FATAL, ERROR, WARN, INFO, DEBUG, TRACE or ALL"));
    // log4cplus itself reports a level when it is used.
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST(LoggingCheck, TakesALevelThatTheProgramHasAdded)
{
    log4cplus::initialize();
    log4cplus::getLogLevelManager().pushFromStringMethod(
        [](const log4cplus::tstring& in_strName)
        { return in_strName == "NOTICE" ? 25000 : log4cplus::NOT_SET_LOG_LEVEL; });
    EXPECT_THAT(textsWith("log4cplus.logger.a = Notice\n"), IsEmpty());
}

TEST(LoggingCheck, FindsAnAppenderOfALoggerThatDoesNotExist)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, mian2\n"),
                ElementsAre("log4cplus.logger.a = INFO, mian2 : there is no appender \"mian2\"; "
                            "add log4cplus.appender.mian2 or remove it from the list"));
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, Main, , main\n"),
                ElementsAre("log4cplus.logger.a = INFO, Main, , main : there is no appender "
                            "\"Main\"; write main"));
}

TEST(LoggingCheck, AnAppenderThatWasProbablyMeantCountsAsUsed)
{
    EXPECT_THAT(textsWith("log4cplus.rootLogger = INFO, mains\n"),
                ElementsAre("log4cplus.rootLogger = INFO, mains : there is no appender \"mains\"; "
                            "write main"));
}

TEST(LoggingCheck, FindsAnAppenderThatNoLoggerUses)
{
    EXPECT_THAT(textsWith("log4cplus.appender.spare = log4cplus::NullAppender\n"),
                ElementsAre("log4cplus.appender.spare = log4cplus::NullAppender is used by no "
                            "logger; add spare to the list of one, or remove the appender"));
}

TEST(LoggingCheck, WhereAListHasATagUsesAreNotKnown)
{
    EXPECT_THAT(textsWith("log4cplus.appender.spare = log4cplus::NullAppender\n"
                          "log4cplus.logger.a = ${LEVEL}, ${APPENDER}\n"),
                IsEmpty());
}

// Appenders.

TEST(LoggingCheck, FindsPropertiesOfAnAppenderWithoutAClass)
{
    EXPECT_THAT(textsWith("log4cplus.appender.mains.Append = true\n"),
                ElementsAre("log4cplus.appender.mains.Append = true has no effect: there is no "
                            "appender \"mains\"; write log4cplus.appender.main.Append"));
    EXPECT_THAT(textsWith("log4cplus.appender.other.File = a\nlog4cplus.appender.other.Mode = 1\n"),
                ElementsAre("log4cplus.appender.other.File = a has no effect: there is no "
                            "appender \"other\"; add log4cplus.appender.other with its class"));
}

TEST(LoggingCheck, FindsAClassThatDoesNotExist)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main = velmora::FileApender\n"),
                ElementsAre("log4cplus.appender.main = velmora::FileApender has no effect: there "
                            "is no such class of appenders; write velmora::FileAppender"));
    EXPECT_THAT(textsWith("log4cplus.appender.main = Printer\n"),
                ElementsAre("log4cplus.appender.main = Printer has no effect: there is no such "
                            "class of appenders; write one such as velmora::FileAppender, or let "
                            "the program register its own before it configures logging"));
    EXPECT_THAT(textsWith("log4cplus.appender.main.layout = velmora::PaternLayout\n"),
                ElementsAre("log4cplus.appender.main.layout = velmora::PaternLayout has no "
                            "effect: there is no such class of layouts; write "
                            "velmora::PatternLayout"));
    EXPECT_THAT(textsWith("log4cplus.appender.main.filters.1 = log4cplus::spi::DenyAll\n"),
                ElementsAre("log4cplus.appender.main.filters.1 = log4cplus::spi::DenyAll has no "
                            "effect: there is no such class of filters; write "
                            "log4cplus::spi::DenyAllFilter"));
}

TEST(LoggingCheck, DoesNotCheckThePropertiesOfAClassOfTheProgram)
{
    class Factory : public log4cplus::spi::AppenderFactory
    {
      public:
        const log4cplus::tstring& getTypeName() const override { return m_strName; }
        log4cplus::SharedAppenderPtr createObject(const log4cplus::helpers::Properties&) override
        {
            return log4cplus::SharedAppenderPtr(new log4cplus::NullAppender);
        }

      private:
        const log4cplus::tstring m_strName = "program::Appender";
    };
    log4cplus::initialize();
    log4cplus::spi::getAppenderFactoryRegistry().put(std::make_unique<Factory>());

    EXPECT_THAT(textsWith("log4cplus.appender.main = program::Appender\n"
                          "log4cplus.appender.main.Colour = red\n"
                          "log4cplus.appender.main.layout = none\n"),
                IsEmpty());
}

TEST(LoggingCheck, FindsAMissingProperty)
{
    EXPECT_THAT(
        textsWith("log4cplus.logger.a = INFO, b\n"
                  "log4cplus.appender.b = velmora::RemoteSyslogAppender\n"
                  "log4cplus.appender.b.layout = velmora::PatternLayout\n"),
        ElementsAre("log4cplus.appender.b = velmora::RemoteSyslogAppender has no Hostname; "
                    "add log4cplus.appender.b.Hostname",
                    "log4cplus.appender.b.layout = velmora::PatternLayout has no "
                    "ConversionPattern; add log4cplus.appender.b.layout.ConversionPattern"));
}

TEST(LoggingCheck, AMissingPropertyWithAWrongNameIsOneProblem)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = velmora::RemoteSyslogAppender\n"
                          "log4cplus.appender.b.HostName = syslog\n"
                          "log4cplus.appender.b.layout = log4cplus::SimpleLayout\n"),
                ElementsAre("log4cplus.appender.b.HostName = syslog has no effect: "
                            "velmora::RemoteSyslogAppender has no property \"HostName\"; write "
                            "log4cplus.appender.b.Hostname"));
}

TEST(LoggingCheck, APatternUnderItsFormerNameIsNotMissing)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = log4cplus::ConsoleAppender\n"
                          "log4cplus.appender.b.layout = log4cplus::PatternLayout\n"
                          "log4cplus.appender.b.layout.Pattern = %m\n"),
                IsEmpty());
}

TEST(LoggingCheck, FindsAnAppenderWithoutALayout)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = log4cplus::ConsoleAppender\n"),
                ElementsAre("log4cplus.appender.b = log4cplus::ConsoleAppender has no layout, so "
                            "its lines are only the level and the text, without a time; add "
                            "log4cplus.appender.b.layout with its class"));
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = log4cplus::NullAppender\n"),
                IsEmpty());
}

TEST(LoggingCheck, FindsPropertiesOfALayoutThatIsMissing)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = log4cplus::ConsoleAppender\n"
                          "log4cplus.appender.b.layout.ConversionPattern = %m\n"),
                ElementsAre("log4cplus.appender.b.layout.ConversionPattern = %m has no effect: the "
                            "appender has no layout; add log4cplus.appender.b.layout with its "
                            "class"));
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = log4cplus::ConsoleAppender\n"
                          "log4cplus.appender.b.Layout = log4cplus::SimpleLayout\n"),
                ElementsAre("log4cplus.appender.b.Layout = log4cplus::SimpleLayout has no effect: "
                            "log4cplus::ConsoleAppender has no property \"Layout\"; write "
                            "log4cplus.appender.b.layout"));
}

TEST(LoggingCheck, FindsUnknownPropertiesOfALayoutAndOfAFilter)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main.layout.Escapes = true\n"),
                ElementsAre("log4cplus.appender.main.layout.Escapes = true has no effect: "
                            "velmora::PatternLayout has no property \"Escapes\"; write "
                            "log4cplus.appender.main.layout.Escape"));
    EXPECT_THAT(
        textsWith("log4cplus.appender.main.filters.1 = log4cplus::spi::LogLevelMatchFilter\n"
                  "log4cplus.appender.main.filters.1.LogLevelToMach = INFO\n"),
        ElementsAre("log4cplus.appender.main.filters.1.LogLevelToMach = INFO has no effect: "
                    "log4cplus::spi::LogLevelMatchFilter has no property \"LogLevelToMach\"; "
                    "write log4cplus.appender.main.filters.1.LogLevelToMatch"));
    EXPECT_THAT(textsWith("log4cplus.appender.main.layout = log4cplus::SimpleLayout\n"),
                ElementsAre("log4cplus.appender.main.layout.ConversionPattern = %m%n has no "
                            "effect: log4cplus::SimpleLayout has no property "
                            "\"ConversionPattern\"; remove it"));
}

TEST(LoggingCheck, FindsAGapInTheNumbersOfFilters)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main.filters.1 = log4cplus::spi::DenyAllFilter\n"
                          "log4cplus.appender.main.filters.3 = log4cplus::spi::DenyAllFilter\n"),
                ElementsAre("log4cplus.appender.main.filters.3 = log4cplus::spi::DenyAllFilter "
                            "has no effect: filters are numbered from 1 on without a gap; write "
                            "log4cplus.appender.main.filters.2 instead of "
                            "log4cplus.appender.main.filters.3"));
}

TEST(LoggingCheck, ChecksTheAppenderInsideAnother)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, b\n"
                          "log4cplus.appender.b = log4cplus::AsyncAppender\n"
                          "log4cplus.appender.b.Appender = log4cplus::FileAppender\n"
                          "log4cplus.appender.b.Appender.File = a.log\n"
                          "log4cplus.appender.b.Appender.CreateDir = true\n"
                          "log4cplus.appender.b.Appender.layout = log4cplus::SimpleLayout\n"),
                ElementsAre("log4cplus.appender.b.Appender.CreateDir = true has no effect: "
                            "log4cplus::FileAppender has no property \"CreateDir\"; write "
                            "log4cplus.appender.b.Appender.CreateDirs"));
}

TEST(LoggingCheck, DoesNotCheckWhatLog4cplusReplaces)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main.Append = ${APPEND}\n"
                          "log4cplus.appender.main.layout = ${LAYOUT}\n"
                          "log4cplus.appender.main.${NAME} = 1\n"
                          "log4cplus.${NAME} = 1\n"),
                IsEmpty());
}

// Values.

struct WrongValue
{
    const char* szClass;
    const char* szProperty;
    const char* szValue;
    const char* szExpected;

    friend std::ostream& operator<<(std::ostream& out_stream, const WrongValue& in_value)
    {
        return out_stream << in_value.szClass << ' ' << in_value.szProperty << ' '
                          << in_value.szValue;
    }
};

class LoggingCheckOfValues : public testing::TestWithParam<WrongValue>
{
};
INSTANTIATE_TEST_SUITE_P(
    , LoggingCheckOfValues,
    testing::Values(
        WrongValue{"log4cplus::FileAppender", "Append", "ja", "\"true\" or \"false\""},
        WrongValue{"log4cplus::FileAppender", "ReopenDelay", "soon", "a number"},
        WrongValue{"log4cplus::FileAppender", "BufferSize", "64KB", "a number"},
        WrongValue{"log4cplus::FileAppender", "BufferSize", "-1", "a number"},
        WrongValue{"log4cplus::FileAppender", "Locale", "xx_YY",
                   "a locale that \"locale -a\" lists, or DEFAULT, CLASSIC, GLOBAL or USER"},
        WrongValue{"log4cplus::FileAppender", "TextMode", "Bin", "Text or Binary"},
        WrongValue{"log4cplus::RollingFileAppender", "MaxFileSize", "20XB",
                   "a number of bytes, or one with the unit KB or MB, such as 10MB"},
        WrongValue{"log4cplus::RollingFileAppender", "MaxFileSize", "1GB",
                   "a number of bytes, or one with the unit KB or MB, such as 10MB"},
        WrongValue{"log4cplus::DailyRollingFileAppender", "Schedule", "YEARLY",
                   "MONTHLY, WEEKLY, DAILY, TWICE_DAILY, HOURLY or MINUTELY"},
        WrongValue{"velmora::FileAppender", "MaxFileSize", "20XB",
                   "a number of bytes, or one with a unit, such as 500KB or 10MB"},
        WrongValue{"velmora::FileAppender", "Mode", "rw",
                   "the permissions of the file in octal, from 0600 to 0777"},
        WrongValue{"velmora::FileAppender", "Compress", "zip", "\"gzip\", or leave it out"},
        WrongValue{"velmora::FileAppender", "MaxBackupIndex", "0",
                   "a number of files, at least 1"}));

TEST_P(LoggingCheckOfValues, FindsOneThatIsNotValid)
{
    const WrongValue& value = GetParam();
    EXPECT_THAT(textsWith(std::string("log4cplus.appender.main = ") + value.szClass +
                          "\nlog4cplus.appender.main." + value.szProperty + " = " + value.szValue +
                          "\n"),
                ElementsAre(std::string("log4cplus.appender.main.") + value.szProperty + " = " +
                            value.szValue + " is not valid; write " + value.szExpected));
}

TEST(LoggingCheck, FindsAThresholdThatDoesNotExist)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main.Threshold = LOUD\n"),
                ElementsAre("log4cplus.appender.main.Threshold = LOUD is not valid; write a level, "
                            "such as WARN"));
}

TEST(LoggingCheck, TakesEachSpellingThatIsRead)
{
    EXPECT_THAT(textsWith("log4cplus.appender.main = log4cplus::RollingFileAppender\n"
                          "log4cplus.appender.main.MaxFileSize = 20 mb\n"
                          "log4cplus.appender.main.Append = TRUE\n"
                          "log4cplus.appender.main.Threshold = info\n"
                          "log4cplus.appender.main.Locale = C\n"
                          "log4cplus.appender.main.TextMode = text\n"
                          "log4cplus.appender.main.ReopenDelay = 0\n"),
                IsEmpty());
    EXPECT_THAT(textsWith("log4cplus.appender.main.Mode = 0640\n"
                          "log4cplus.appender.main.MaxFileSize = 1GB\n"
                          "log4cplus.appender.main.Schedule = daily\n"),
                IsEmpty());
}

// The marker of the files of calls.

TEST(LoggingCheck, TheMarkerHasThePropertiesOfItsFiles)
{
    EXPECT_THAT(textsWith(std::string(s_szMarker) +
                          "log4cplus.appender.CALL_LOG_APPENDER.ReopenDelay = 5\n"
                          "log4cplus.appender.CALL_LOG_APPENDER.KeepEarlier = true\n"),
                IsEmpty());
    EXPECT_THAT(textsWith(std::string(s_szMarker) +
                          "log4cplus.appender.CALL_LOG_APPENDER.Dirctory = calls\n"),
                ElementsAre("log4cplus.appender.CALL_LOG_APPENDER.Dirctory = calls has no effect: "
                            "log4cplus::NullAppender has no property \"Dirctory\"; write "
                            "log4cplus.appender.CALL_LOG_APPENDER.Directory"));
    EXPECT_THAT(
        textsWith(std::string(s_szMarker) + "log4cplus.appender.CALL_LOG_APPENDER.Append = true\n"),
        ElementsAre(HasSubstr("; remove it. The properties are Directory, KeepEarlier, ")));
}

TEST(LoggingCheck, AMarkerWithoutAClassIsAProblemOfTheLoggersThatHaveIt)
{
    EXPECT_THAT(textsWith("log4cplus.appender.CALL_LOG_APPENDER.Directory = calls\n"), IsEmpty());
    EXPECT_THAT(textsWith("log4cplus.appender.CALL_LOG_APPENDER.Directory = calls\n"
                          "log4cplus.logger.a = INFO, CALL_LOG_APPENDER\n"),
                ElementsAre("log4cplus.logger.a = INFO, CALL_LOG_APPENDER : there is no appender "
                            "\"CALL_LOG_APPENDER\"; add log4cplus.appender.CALL_LOG_APPENDER or "
                            "remove it from the list"));
}

TEST(LoggingCheck, FindsAMarkerWithAWrongNameInItsSection)
{
    EXPECT_THAT(textsWith("log4cplus.logger.a = INFO, CALL_LOG_APPENDER\n"
                          "log4cplus.appender.CALL_LOG_APENDER = log4cplus::NullAppender\n"
                          "log4cplus.appender.CALL_LOG_APENDER.Directory = calls\n"
                          "log4cplus.appender.CALL_LOG_APENDER.layout = log4cplus::SimpleLayout\n"),
                ElementsAre("log4cplus.appender.CALL_LOG_APENDER = log4cplus::NullAppender is not "
                            "the marker of the files of calls; write CALL_LOG_APPENDER"));
}

TEST(LoggingCheck, FindsAMarkerWithAWrongNameInAList)
{
    EXPECT_THAT(textsWith(std::string(s_szMarker) +
                          "log4cplus.rootLogger = INFO, main, CALL_LOG_APENDER\n"),
                ElementsAre("log4cplus.rootLogger = INFO, main, CALL_LOG_APENDER : there is no "
                            "appender \"CALL_LOG_APENDER\"; write CALL_LOG_APPENDER"));
}

TEST(LoggingCheck, AnAppenderNamedLikeTheMarkerBesideItIsAnyAppender)
{
    EXPECT_THAT(textsWith(std::string(s_szMarker) +
                          "log4cplus.logger.a = INFO, CALL_LOG_APPENDER2\n"
                          "log4cplus.appender.CALL_LOG_APPENDER2 = log4cplus::NullAppender\n"),
                IsEmpty());
}

// What the owners of the lines report.

TEST(LoggingCheck, LinesThatTheirOwnersReportAreRemoved)
{
    log4cplus::initialize();
    log4cplus::helpers::Properties properties;
    trieOf(std::string(s_szSound) + "log4cplus.appender.main.Mod = 0640\n"
                                    "log4cplus.appender.main.Append = ja\n"
                                    "log4cplus.appender.main.MaxFileSize = 1MB\n"
                                    "log4cplus.quietMode = ja\n")
        .convertTo(properties);

    LoggingCheck::removeReportedByOwner(LoggingCheck::problemsOf(properties), properties);

    EXPECT_FALSE(properties.exists("log4cplus.appender.main.Mod"));
    EXPECT_FALSE(properties.exists("log4cplus.appender.main.Append"));
    EXPECT_TRUE(properties.exists("log4cplus.appender.main.MaxFileSize"));
    EXPECT_TRUE(properties.exists("log4cplus.quietMode"));
}

} // namespace Velmora::Test
