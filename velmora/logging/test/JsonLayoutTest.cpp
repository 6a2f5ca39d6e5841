// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/JsonLayout.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/LoggingIdLogger.h"

#include "tests/support/ConfigurationText.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/Files.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/mdc.h>
#include <log4cplus/ndc.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Test
{

namespace
{

using log4cplus::helpers::Properties;
using log4cplus::spi::InternalLoggingEvent;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

InternalLoggingEvent eventOf(const std::string& in_strMessage, const std::string& in_strNdc = "",
                             const log4cplus::MappedDiagnosticContextMap& in_mdc = {})
{
    return {"gateway.Leg",
            log4cplus::WARN_LOG_LEVEL,
            in_strNdc,
            in_mdc,
            in_strMessage,
            "worker 1",
            "1234",
            log4cplus::helpers::from_time_t(1'700'000'000) + std::chrono::microseconds(42007),
            "Leg.cpp",
            42};
}

/// Returns the event of a line with identifiers, without a place.
LoggingIdEvent eventWithIds(const std::vector<std::string>& in_ids)
{
    return LoggingIdEvent("gateway.Leg", INFO_LOG_LEVEL, "ringing", nullptr, -1, in_ids.data(),
                          in_ids.data() + in_ids.size());
}

std::string lineOf(const InternalLoggingEvent& in_event, const Properties& in_properties = {})
{
    JsonLayout layout(in_properties);
    std::string strLine;
    layout.append(strLine, in_event);
    return strLine;
}

/// Returns the part of a line between its thread and its end.
std::string idsAndMessageOf(const InternalLoggingEvent& in_event)
{
    const std::string strLine = lineOf(in_event);
    const std::size_t uiThread = strLine.find("\"thread\":\"");
    const std::size_t uiBegin = strLine.find("\",", uiThread) + 2;
    return strLine.substr(uiBegin, strLine.size() - uiBegin - 2);
}

Properties propertiesOf(const char* in_szName, const char* in_szValue)
{
    Properties properties;
    properties.setProperty(in_szName, in_szValue);
    return properties;
}

std::string hexOf(std::string_view in_text)
{
    std::string strHex;
    for (const char cByte : in_text)
    {
        strHex += "0123456789abcdef"[static_cast<unsigned char>(cByte) >> 4];
        strHex += "0123456789abcdef"[static_cast<unsigned char>(cByte) & 0xf];
    }
    return strHex;
}

} // namespace

TEST(JsonLayout, WritesTheFieldsOfAnEventInOneLine)
{
    EXPECT_EQ(
        "{\"time\":\"2023-11-14T22:13:20.042007Z\",\"level\":\"WARN\",\"logger\":\"gateway.Leg\","
        "\"thread\":\"worker 1\",\"message\":\"ringing\",\"file\":\"Leg.cpp\",\"line\":42}\n",
        lineOf(eventOf("ringing")));
}

TEST(JsonLayout, EachIdentifierIsAFieldOfItsOwn)
{
    EXPECT_EQ("\"leg\":\"1\",\"call_id\":\"a@b=c\",\"message\":\"ringing\"",
              idsAndMessageOf(eventWithIds({"leg=1", "call-id=a@b=c"})));
}

TEST(JsonLayout, AnIdentifierWithoutAKeyIsInTheList)
{
    EXPECT_EQ("\"leg\":\"1\",\"ids\":[\"recorded\",\"=x\",\"\"],\"message\":\"ringing\"",
              idsAndMessageOf(eventWithIds({"recorded", "leg=1", "=x", ""})));
}

TEST(JsonLayout, AnIdentifierThatHasTheNameOfAnotherFieldIsInTheListWhole)
{
    EXPECT_EQ(
        "\"a_b\":\"1\",\"ids\":[\"level=high\",\"a.b=2\",\"message=x\"],\"message\":\"ringing\"",
        idsAndMessageOf(eventWithIds({"level=high", "a-b=1", "a.b=2", "message=x"})));
    for (const char* const szName :
         {"time", "level", "logger", "thread", "ids", "message", "ndc", "mdc", "file", "line"})
        EXPECT_THAT(idsAndMessageOf(eventWithIds({std::string(szName) + "=x"})),
                    HasSubstr("\"ids\":[\"" + std::string(szName) + "=x\"]"));
}

TEST(JsonLayout, ContextsAreFieldsIfThereAreAny)
{
    EXPECT_THAT(
        lineOf(eventOf("m", "outer inner", {{"leg\n", "1"}, {"site", "a\"b"}})),
        HasSubstr("\"message\":\"m\",\"ndc\":\"outer inner\",\"mdc\":{\"leg\\n\":\"1\",\"site\":"
                  "\"a\\\"b\"},\"file\""));
    EXPECT_THAT(lineOf(eventOf("m")), Not(HasSubstr("dc\":")));
}

TEST(JsonLayout, AnUnknownPlaceIsLeftOut)
{
    EXPECT_THAT(lineOf(eventWithIds({})), MatchesRegex(".*\"message\":\"ringing\"\\}\n"));
}

TEST(JsonLayout, StringsAreEscaped)
{
    EXPECT_THAT(lineOf(eventOf("\"\\\b\f\n\r\t\x1b\x7f")),
                HasSubstr("\"message\":\"\\\"\\\\\\b\\f\\n\\r\\t\\u001b\\u007f\","));
    EXPECT_THAT(lineOf(eventOf("\xc2\x85\xe2\x80\xa8\xe2\x80\xae\xe2\x82\xac")),
                HasSubstr("\"message\":\"\\u0085\\u2028\\u202e\xe2\x82\xac\","));
    EXPECT_THAT(lineOf(eventOf("\"\"a\n\"b\"\n\"")),
                HasSubstr("\"message\":\"\\\"\\\"a\\n\\\"b\\\"\\n\\\"\","));
    EXPECT_THAT(lineOf(eventOf("a\xff\xc0\x8a")),
                HasSubstr("\"message\":\"a\\\\xff\\\\xc0\\\\x8a\","));
}

TEST(JsonLayout, AMessageThatIsTooLongIsCut)
{
    EXPECT_THAT(lineOf(eventOf(std::string(60000, 'x'))),
                HasSubstr("\"message\":\"" + std::string(8192, 'x') + "... (51808 bytes more)\","));
    EXPECT_THAT(lineOf(eventOf("ab\xe2\x82\xac"), propertiesOf("MaxLength", "4")),
                HasSubstr("\"message\":\"ab... (3 bytes more)\","));
    EXPECT_THAT(lineOf(eventOf(std::string(60000, 'x')), propertiesOf("MaxLength", "0")),
                HasSubstr("\"message\":\"" + std::string(60000, 'x') + "\","));
}

TEST(JsonLayout, AMessageOfManyControlBytesTakesNoLongerForEachOfThem)
{
    // Minutes, if the rest of the text were searched at each of them.
    const std::string strLine =
        lineOf(eventOf(std::string(8'000'000, '\n')), propertiesOf("MaxLength", "0"));
    EXPECT_EQ(8'000'000, std::count(strLine.begin(), strLine.end(), '\\'));
}

TEST(JsonLayout, AValueThatIsNoNumberIsReportedAndTheDefaultStays)
{
    for (const std::string strValue : {"many", "-1", "8k", ""})
    {
        testing::internal::CaptureStderr();
        EXPECT_THAT(
            lineOf(eventOf(std::string(9000, 'x')), propertiesOf("MaxLength", strValue.c_str())),
            HasSubstr("... (808 bytes more)"));
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("velmora::JsonLayout: \"MaxLength\" is \"" + strValue +
                              "\"; write a number of bytes, or 0 for no limit"));
    }
}

TEST(JsonLayout, ALineAllocatesNothing)
{
    JsonLayout layout{Properties()};
    const std::vector<std::string> ids{"leg=1", "call-id=9f3c1d2e5b7a4086@192.0.2.17", "recorded"};
    const LoggingIdEvent event("keswardin.gateway.Leg", INFO_LOG_LEVEL,
                               std::string(9000, 'x') + "\n\xff", __FILE__, __LINE__, ids.data(),
                               ids.data() + ids.size());
    std::string strText;
    layout.append(strText, event);
    const std::string strFirst = strText;
    strText.clear();
    const int iBefore = s_iAllocations;
    layout.append(strText, event);
    EXPECT_EQ(iBefore, s_iAllocations);
    EXPECT_EQ(strFirst, strText);
}

TEST(JsonLayout, AConfigurationNamesIt)
{
    const TemporaryDirectory directory;
    const std::string strFile = directory.file("gateway.json");
    const ParameterTrie trie = trieOf("log4cplus.rootLogger=INFO, file\n"
                                      "log4cplus.appender.file=log4cplus::FileAppender\n"
                                      "log4cplus.appender.file.File=" +
                                      strFile +
                                      "\nlog4cplus.appender.file.layout=velmora::JsonLayout\n"
                                      "log4cplus.appender.file.layout.MaxLength=8\n");
    std::ostringstream errors;
    ASSERT_TRUE(Logger::configure(trie, errors)) << errors.str();
    LoggingIdLogger logger("gateway");
    logger.logCallId("a@b");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "no longer ringing");
    EXPECT_THAT(readFile(strFile),
                HasSubstr("\"call_id\":\"a@b\",\"message\":\"no longe... (9 bytes more)\","));
}

TEST(JsonLayout, ProgramsReadBackWhatWasLogged)
{
    const TemporaryDirectory directory;
    const std::string strLines = directory.file("lines.json");
    const std::string strMessages = directory.file("messages");
    std::mt19937 random(9);
    constexpr std::string_view often =
        "\\\"{}[],:\n\r\t\b\f\x1b\x7f\x80\x85\xa8\xae\xc2\xe2\x80\xf0\x9f\x93\x9e\xed\xff";
    const auto randomText = [&]
    {
        std::string strText(random() % 30, '\0');
        for (char& cByte : strText)
            cByte = random() % 3 != 0 ? often[random() % often.size()]
                                      : static_cast<char>(random() & 0xff);
        return strText;
    };
    {
        std::ofstream lines(strLines, std::ios::binary);
        std::ofstream messages(strMessages);
        JsonLayout layout{Properties()};
        for (int i = 0; i != 5000; ++i)
        {
            const std::vector<std::string> ids{randomText(), "leg=" + randomText(),
                                               randomText() + "=" + randomText()};
            const std::string strMessage = randomText();
            const LoggingIdEvent event(randomText(), INFO_LOG_LEVEL, strMessage, "f", i, ids.data(),
                                       ids.data() + ids.size());
            layout.formatAndAppend(lines, event);
            messages << hexOf(strMessage) << '\n';
        }
    }
    const HelperResult strict =
        runHelper("/usr/bin/python3", {VELMORA_READ_JSON_LINES, strLines, strMessages}, {});
    EXPECT_EQ(0, strict.iExitCode) << strict.strErrors;
    const HelperResult counted = runHelper(
        VELMORA_JQ, {"-n", "[inputs | select(.level == \"INFO\")] | length", strLines}, {});
    EXPECT_EQ(0, counted.iExitCode) << counted.strErrors;
    EXPECT_EQ("5000\n", counted.strOutput);
}

} // namespace Velmora::Test
