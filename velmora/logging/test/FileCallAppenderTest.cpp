// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileCallAppender.h"

#include "velmora/logging/Logger.h"
#include "velmora/logging/LoggingIdEvent.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Lines.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/mdc.h>
#include <log4cplus/ndc.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

const std::string s_strTime = "[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] "
                              "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [0-9][0-9][0-9][0-9]";

/// Opens and closes one file of a call, with the level, the logger and the text in each line.
class CallFile : public testing::Test
{
  protected:
    CallFile()
    {
        m_properties.setProperty("File", m_directory.file("call"));
        m_properties.setProperty("layout", "log4cplus::PatternLayout");
        m_properties.setProperty("layout.ConversionPattern", "%p %c %m%n");
    }

    void open()
    {
        m_pAppender =
            log4cplus::SharedAppenderPtr(new FileCallAppender(m_properties, std::ios_base::trunc));
    }
    void close() { m_pAppender = log4cplus::SharedAppenderPtr(); }

    [[nodiscard]] std::vector<std::string> lines() const
    {
        return linesOf(m_directory.read("call"));
    }

    /// Returns the lines between the first and the last one.
    [[nodiscard]] std::vector<std::string> linesInside() const
    {
        const std::vector<std::string> all = lines();
        return all.size() < 2 ? all : std::vector<std::string>(all.begin() + 1, all.end() - 1);
    }

    TemporaryDirectory m_directory;
    CapturedLog m_log;
    log4cplus::helpers::Properties m_properties;
    log4cplus::SharedAppenderPtr m_pAppender;
};

/// Returns a line of the logger "test" with identifiers.
std::unique_ptr<LoggingIdEvent> eventWith(const std::vector<std::string>& in_ids,
                                          const std::string& in_strText = "text")
{
    return std::make_unique<LoggingIdEvent>("test", INFO_LOG_LEVEL, in_strText, "File.cpp", 7,
                                            in_ids.data(), in_ids.data() + in_ids.size());
}

} // namespace

TEST_F(CallFile, BeginsAndEndsWithTheTime)
{
    open();
    EXPECT_THAT(lines(), ElementsAre(MatchesRegex("INFO keswardin.infra.CallLogger.Appender Call "
                                                  "start : " +
                                                  s_strTime)));
    close();
    EXPECT_THAT(
        lines(),
        ElementsAre(
            MatchesRegex("INFO keswardin.infra.CallLogger.Appender Call start : " + s_strTime),
            MatchesRegex("INFO keswardin.infra.CallLogger.Appender Call end : " + s_strTime)));
    EXPECT_EQ("keswardin.infra.CallLogger.Appender", FileCallAppender::s_strLoggerName);
}

TEST_F(CallFile, HasItsFirstAndLastLineWhateverLevelsAndFiltersSay)
{
    m_properties.setProperty("Threshold", "FATAL");
    m_properties.setProperty("filters.1", "log4cplus::spi::DenyAllFilter");
    open();
    m_pAppender->doAppend(*eventWith({}));
    close();

    EXPECT_THAT(lines(), ElementsAre(HasSubstr("Call start : "), HasSubstr("Call end : ")));
}

TEST_F(CallFile, ItsEndIsLogged)
{
    open();
    EXPECT_THAT(m_log.lines(), IsEmpty());
    close();

    EXPECT_THAT(m_log.lines(),
                ElementsAre(debugLine(
                    "keswardin.infra.CallAppender",
                    "FileCallLogger : call end. Appender dtor, file about to be closed")));
}

TEST_F(CallFile, HasLinesWithoutTheCallIdAndWithTheOtherIdentifiers)
{
    open();
    m_pAppender->doAppend(*eventWith({"leg=1", "call-id=abc", "call-id=second"}));
    m_pAppender->doAppend(*eventWith({"call-id=abc"}));
    m_pAppender->doAppend(*eventWith({"leg=1"}));
    m_pAppender->doAppend(*eventWith({}));
    close();

    EXPECT_THAT(linesInside(), ElementsAre("INFO test leg=1 call-id=second text", "INFO test text",
                                           "INFO test leg=1 text", "INFO test text"));
}

TEST_F(CallFile, LeavesTheLineAsItIsForOthers)
{
    const std::unique_ptr<LoggingIdEvent> pEvent = eventWith({"leg=1", "call-id=abc"});
    open();
    m_pAppender->doAppend(*pEvent);

    EXPECT_EQ("leg=1 call-id=abc text", pEvent->getMessage());
}

TEST_F(CallFile, HasAPlainLineAsItIs)
{
    open();
    m_pAppender->doAppend(log4cplus::spi::InternalLoggingEvent("test", WARN_LOG_LEVEL,
                                                               "call-id=abc text", nullptr, -1));
    close();

    EXPECT_THAT(linesInside(), ElementsAre("WARN test call-id=abc text"));
}

TEST_F(CallFile, HasAVeryLongLineWhole)
{
    const std::string strText(100000, 'x');
    open();
    m_pAppender->doAppend(*eventWith({"call-id=abc"}, strText));
    m_pAppender->doAppend(*eventWith({"call-id=abc"}, "next"));
    close();

    EXPECT_THAT(linesInside(), ElementsAre("INFO test " + strText, "INFO test next"));
}

TEST_F(CallFile, ShowsAllThatALineHas)
{
    m_properties.setProperty("layout.ConversionPattern",
                             "%p %c %D{%s.%q} %t %T %x %X{key} %b:%L %M %m%n");
    open();
    log4cplus::getMDC().put("key", "value");
    const log4cplus::NDCContextCreator context("nested");
    const std::unique_ptr<LoggingIdEvent> pEvent = eventWith({"call-id=abc"});
    pEvent->setFunction("function");
    m_pAppender->doAppend(*pEvent);
    // A later line must have nothing of the earlier line's context and function.
    log4cplus::getMDC().clear();
    m_pAppender->doAppend(*eventWith({"call-id=abc"}));
    close();

    log4cplus::PatternLayout layout("%p %c %D{%s.%q} %t %T");
    std::ostringstream expected;
    layout.formatAndAppend(expected, *pEvent);
    ASSERT_THAT(linesInside(), SizeIs(2));
    EXPECT_EQ(expected.str() + " nested value File.cpp:7 function text", linesInside().front());
    EXPECT_THAT(linesInside().back(), testing::EndsWith(" nested  File.cpp:7  text"));
}

TEST_F(CallFile, IsBufferedWhereThatIsWanted)
{
    m_properties.setProperty("ImmediateFlush", "false");
    open();
    m_pAppender->doAppend(*eventWith({"call-id=abc"}));
    EXPECT_THAT(lines(), IsEmpty());
    close();

    EXPECT_THAT(lines(), SizeIs(3));
}

TEST_F(CallFile, ThatCannotBeOpenedIsReportedOnceAndHasNoLineUntilItCan)
{
    std::filesystem::create_directory(m_directory.file("call"));
    m_properties.setProperty("ReopenDelay", "0");
    testing::internal::CaptureStderr();

    open();
    m_pAppender->doAppend(*eventWith({}));
    m_pAppender->doAppend(*eventWith({}));
    EXPECT_EQ("log4cplus:ERROR Unable to open file: " + m_directory.file("call") +
                  "\nlog4cplus:ERROR cannot open " + m_directory.file("call") +
                  ": Is a directory\n",
              testing::internal::GetCapturedStderr());
    std::filesystem::remove(m_directory.file("call"));
    m_pAppender->doAppend(*eventWith({"call-id=abc"}, "at last"));
    close();

    EXPECT_THAT(lines(), ElementsAre("INFO test at last", HasSubstr("Call end : ")));
}

TEST_F(CallFile, ThatCannotBeOpenedCountsAsFailedOnce)
{
    std::filesystem::create_directory(m_directory.file("call"));
    const std::uint64_t ulBefore = Logger::getFailedCallFileCount();
    testing::internal::CaptureStderr();
    open();
    m_pAppender->doAppend(*eventWith({}));
    m_pAppender->doAppend(*eventWith({}));
    close();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(ulBefore + 1, Logger::getFailedCallFileCount());
}

TEST_F(CallFile, ThatCannotBeOpenedAndHasNoLinesEndsQuietly)
{
    std::filesystem::create_directory(m_directory.file("call"));
    testing::internal::CaptureStderr();
    open();
    close();

    EXPECT_EQ("log4cplus:ERROR Unable to open file: " + m_directory.file("call") +
                  "\nlog4cplus:ERROR cannot open " + m_directory.file("call") +
                  ": Is a directory\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(CallFile, IsChargedToItsAccountAndGivesItBack)
{
    inAccountingProcess(
        [this]
        {
            open();
            EXPECT_EQ(static_cast<int>(sizeof(FileCallAppender)), bytesHeld("FileCallAppender"));
            close();
            EXPECT_EQ(0, bytesHeld("FileCallAppender"));
        });
}

} // namespace Velmora::Test
