// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Syslog.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Threads.h"
#include "velmora/logging/Logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <climits>
#include <string>

namespace Velmora::Test
{

namespace
{

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

constexpr const char* s_szLogger = "keswardin.infra.Syslog";

LogLine lineAt(LogLevel in_level, const std::string& in_strText)
{
    return {s_szLogger, in_level, in_strText};
}

/// Returns the severity of a level, or -1 if it has none.
int severityOf(LogLevel in_level)
{
    const Fallible<unsigned> severity = loglevelToSyslogLevel(in_level);
    return severity.isValid() ? static_cast<int>(severity.get()) : -1;
}

/// Returns the level of a severity, or NOT_SET_LOG_LEVEL if it has none.
LogLevel levelOf(unsigned in_uiSeverity)
{
    const Fallible<LogLevel> level = syslogLevelToLoglevel(in_uiSeverity);
    return level.isValid() ? level.get() : NOT_SET_LOG_LEVEL;
}

/// A text that cannot be formatted, because the "C" locale has no such character.
constexpr const wchar_t s_szUnprintable[] = {0x20AC, 0};

} // namespace

TEST(LoglevelToSyslogLevel, EachNamedLevelHasASeverityOfItsOwn)
{
    EXPECT_EQ(severityOf(FATAL_LOG_LEVEL), 2);
    EXPECT_EQ(severityOf(ERROR_LOG_LEVEL), 3);
    EXPECT_EQ(severityOf(WARN_LOG_LEVEL), 4);
    EXPECT_EQ(severityOf(INFO_LOG_LEVEL), 5);
    EXPECT_EQ(severityOf(DEBUG_LOG_LEVEL), 6);
    EXPECT_EQ(severityOf(TRACE_LOG_LEVEL), 7);
}

TEST(LoglevelToSyslogLevel, TheAbsenceOfALevelHasNone)
{
    EXPECT_FALSE(loglevelToSyslogLevel(NOT_SET_LOG_LEVEL).isValid());
}

TEST(LoglevelToSyslogLevel, LevelsBesideTheNamedOnesHaveNone)
{
    for (const int iLevel : {INT_MIN, -2, 1, 9999, 10001, 35000, 39999, 49999, 50001, INT_MAX})
        EXPECT_EQ(severityOf(static_cast<LogLevel>(iLevel)), -1) << iLevel;
}

TEST(SyslogLevelToLoglevel, EachSeverityHasALevel)
{
    EXPECT_EQ(levelOf(0), FATAL_LOG_LEVEL);
    EXPECT_EQ(levelOf(1), ERROR_LOG_LEVEL);
    EXPECT_EQ(levelOf(2), ERROR_LOG_LEVEL);
    EXPECT_EQ(levelOf(3), ERROR_LOG_LEVEL);
    EXPECT_EQ(levelOf(4), WARN_LOG_LEVEL);
    EXPECT_EQ(levelOf(5), INFO_LOG_LEVEL);
    EXPECT_EQ(levelOf(6), INFO_LOG_LEVEL);
    EXPECT_EQ(levelOf(7), DEBUG_LOG_LEVEL);
}

TEST(SyslogLevelToLoglevel, WhatIsAboveTheLastSeverityHasNone)
{
    for (const unsigned uiSeverity : {8u, 9u, 11u, UINT_MAX})
        EXPECT_FALSE(syslogLevelToLoglevel(uiSeverity).isValid()) << uiSeverity;
}

TEST(SyslogLevelToLoglevel, IsNotTheReverseOfTheOtherMap)
{
    EXPECT_EQ(levelOf(loglevelToSyslogLevel(DEBUG_LOG_LEVEL)), INFO_LOG_LEVEL);
    EXPECT_EQ(levelOf(loglevelToSyslogLevel(TRACE_LOG_LEVEL)), DEBUG_LOG_LEVEL);
    EXPECT_EQ(levelOf(loglevelToSyslogLevel(FATAL_LOG_LEVEL)), ERROR_LOG_LEVEL);
}

TEST(SyslogToLogger, LogsTheTextAtTheLevelOfTheSeverity)
{
    const CapturedLog log;

    for (int iSeverity = 0; iSeverity < 8; ++iSeverity)
        syslogToLogger(iSeverity, "text");

    EXPECT_THAT(log.lines(),
                ElementsAre(lineAt(FATAL_LOG_LEVEL, "text"), lineAt(ERROR_LOG_LEVEL, "text"),
                            lineAt(ERROR_LOG_LEVEL, "text"), lineAt(ERROR_LOG_LEVEL, "text"),
                            lineAt(WARN_LOG_LEVEL, "text"), lineAt(INFO_LOG_LEVEL, "text"),
                            lineAt(INFO_LOG_LEVEL, "text"), lineAt(DEBUG_LOG_LEVEL, "text")));
}

TEST(SyslogToLogger, FormatsItsArguments)
{
    const CapturedLog log;

    syslogToLogger(4, "trunk %d: %s, %.1f %%", 7, "no carrier", 2.5);

    EXPECT_THAT(log.lines(), ElementsAre(lineAt(WARN_LOG_LEVEL, "trunk 7: no carrier, 2.5 %")));
}

TEST(SyslogToLogger, ATextOf1023BytesIsLogged)
{
    const CapturedLog log;
    const std::string strText(1023, 'x');

    syslogToLogger(5, "%s", strText.c_str());

    EXPECT_THAT(log.lines(), ElementsAre(lineAt(INFO_LOG_LEVEL, strText)));
}

TEST(SyslogToLogger, ALongerTextIsDroppedWithALineInItsPlace)
{
    for (const std::size_t uiLength : {1024u, 1025u, 100000u})
    {
        const CapturedLog log;
        const std::string strText(uiLength, 'x');

        syslogToLogger(5, "%s", strText.c_str());

        EXPECT_THAT(log.lines(),
                    ElementsAre(lineAt(ERROR_LOG_LEVEL, "Velmora::syslogToLogger failed")))
            << uiLength;
    }
}

TEST(SyslogToLogger, ATextThatCannotBeFormattedIsDroppedWithALineInItsPlace)
{
    const CapturedLog log;

    syslogToLogger(5, "%ls", s_szUnprintable);

    EXPECT_THAT(log.lines(),
                ElementsAre(lineAt(ERROR_LOG_LEVEL, "Velmora::syslogToLogger failed")));
}

TEST(SyslogToLogger, TheSeverityOfADroppedTextIsNotReported)
{
    const CapturedLog log;

    syslogToLogger(9, "%s", std::string(1024, 'x').c_str());

    EXPECT_THAT(log.lines(),
                ElementsAre(lineAt(ERROR_LOG_LEVEL, "Velmora::syslogToLogger failed")));
}

TEST(SyslogToLogger, ANumberThatIsNoSeverityIsReportedAndTheTextFollowsAtError)
{
    const CapturedLog log;

    syslogToLogger(9, "text");

    EXPECT_THAT(log.lines(),
                ElementsAre(lineAt(ERROR_LOG_LEVEL,
                                   "failed to convert syslog level 9 to a velmora log level"),
                            lineAt(ERROR_LOG_LEVEL, "text")));
}

TEST(SyslogToLogger, ANegativeNumberIsNoSeverity)
{
    const CapturedLog log;

    syslogToLogger(-1, "text");

    EXPECT_THAT(log.lines(),
                ElementsAre(lineAt(ERROR_LOG_LEVEL,
                                   "failed to convert syslog level -1 to a velmora log level"),
                            lineAt(ERROR_LOG_LEVEL, "text")));
}

TEST(SyslogToLogger, ALevelThatIsOffIsNotLogged)
{
    const CapturedLog log;
    Logger(s_szLogger).setLogLevel(WARN_LOG_LEVEL);

    syslogToLogger(5, "off");
    syslogToLogger(4, "on");

    EXPECT_THAT(log.lines(), ElementsAre(lineAt(WARN_LOG_LEVEL, "on")));
}

TEST(SyslogToLogger, WithoutAnAppenderNothingIsLogged)
{
    const CapturedLog log;
    log4cplus::Logger logger = log4cplus::Logger::getInstance(s_szLogger);
    logger.setAdditivity(false);

    syslogToLogger(3, "nobody hears");
    logger.setAdditivity(true);
    syslogToLogger(3, "heard");

    EXPECT_THAT(log.lines(), ElementsAre(lineAt(ERROR_LOG_LEVEL, "heard")));
}

TEST(SyslogToLogger, ThreadsDoNotMixTheirTexts)
{
    const CapturedLog log;
    const std::string strText(1000, 'x');
    onThreads(4,
              [&strText]
              {
                  for (int iLine = 0; iLine < 100; ++iLine)
                      syslogToLogger(6, "%s", strText.c_str());
              });

    EXPECT_THAT(log.lines(), SizeIs(400));
    EXPECT_THAT(log.lines(), Each(lineAt(INFO_LOG_LEVEL, strText)));
}

} // namespace Velmora::Test
