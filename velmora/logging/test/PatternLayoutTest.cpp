// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/PatternLayout.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/LoggingIdLogger.h"

#include "tests/support/ConfigurationText.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/layout.h>
#include <log4cplus/mdc.h>
#include <log4cplus/ndc.h>
#include <log4cplus/spi/loggingevent.h>

#include <array>
#include <chrono>
#include <cstdlib>
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

constexpr const char* s_szFunction = "void callStart(int)";

/// Returns the event of a line that was logged 1,700,000,000 seconds and 42,007 microseconds after
/// the beginning of 1970.
InternalLoggingEvent eventOf(const std::string& in_strMessage,
                             const std::string& in_strLogger = "gateway.sip.Leg",
                             log4cplus::LogLevel in_level = log4cplus::WARN_LOG_LEVEL,
                             const std::string& in_strFile = "examples/gateway/Leg.cpp",
                             int in_iLine = 42)
{
    return {in_strLogger,
            in_level,
            log4cplus::getNDC().get(),
            log4cplus::getMDC().getContext(),
            in_strMessage,
            "worker 1",
            "1234",
            log4cplus::helpers::from_time_t(1'700'000'000) + std::chrono::microseconds(42007),
            in_strFile,
            in_iLine,
            s_szFunction};
}

Properties propertiesOf(const std::string& in_strPattern)
{
    Properties properties;
    properties.setProperty("ConversionPattern", in_strPattern);
    return properties;
}

/// Returns the properties of a layout that does what log4cplus's does.
Properties plainPropertiesOf(const std::string& in_strPattern)
{
    Properties properties = propertiesOf(in_strPattern);
    properties.setProperty("Escape", "false");
    properties.setProperty("MaxLength", "0");
    return properties;
}

std::string textOf(log4cplus::Layout& inout_layout, const InternalLoggingEvent& in_event)
{
    std::ostringstream text;
    inout_layout.formatAndAppend(text, in_event);
    return text.str();
}

std::string textOf(const Properties& in_properties, const InternalLoggingEvent& in_event)
{
    PatternLayout layout(in_properties);
    return textOf(layout, in_event);
}

std::string textOf(const std::string& in_strPattern, const InternalLoggingEvent& in_event)
{
    return textOf(propertiesOf(in_strPattern), in_event);
}

/// Returns what a function writes to standard error, log4cplus's own log.
template <class Function>
std::string errorsOf(Function in_function)
{
    testing::internal::CaptureStderr();
    in_function();
    return testing::internal::GetCapturedStderr();
}

void expectWhatLog4cplusWrites(const Properties& in_properties,
                               const InternalLoggingEvent& in_event)
{
    log4cplus::PatternLayout expected(in_properties);
    PatternLayout layout(in_properties);
    ASSERT_EQ(textOf(expected, in_event), textOf(layout, in_event))
        << in_properties.getProperty("ConversionPattern");
}

/// A context for the lines of a test.
class Context
{
  public:
    Context()
    {
        log4cplus::getNDC().push("outer");
        log4cplus::getNDC().push("inner");
        log4cplus::getNDC().push("third");
        log4cplus::getMDC().put("call", "a84b4c76e66710");
        log4cplus::getMDC().put("leg", "1");
        setenv("PATTERN_LAYOUT_TEST", "of the environment", 1);
    }
    ~Context()
    {
        log4cplus::getNDC().remove();
        log4cplus::getMDC().clear();
        unsetenv("PATTERN_LAYOUT_TEST");
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
};

} // namespace

TEST(PatternLayout, WritesWhatLog4cplusWritesForEachConversion)
{
    const Context context;
    const std::vector<InternalLoggingEvent> events{
        eventOf("INVITE from 192.0.2.1"), eventOf("", "root", log4cplus::FATAL_LOG_LEVEL, "", -1),
        eventOf("two\nlines \x1b \xff \\", "a.b.c.d.e", 12345, "Leg.cpp", 0),
        eventOf("x", "", log4cplus::TRACE_LOG_LEVEL, "/", 1)};
    for (const char* const szConversion : {"%b",
                                           "%c",
                                           "%c{1}",
                                           "%c{2}",
                                           "%c{9}",
                                           "%c{0}",
                                           "%c{-1}",
                                           "%c{x}",
                                           "%d",
                                           "%D",
                                           "%d{%q}",
                                           "%D{%Q}",
                                           "%d{%s}",
                                           "%d{}",
                                           "%F",
                                           "%h",
                                           "%H",
                                           "%i",
                                           "%l",
                                           "%L",
                                           "%m",
                                           "%M",
                                           "%n",
                                           "%p",
                                           "%r",
                                           "%t",
                                           "%T",
                                           "%x",
                                           "%x{1}",
                                           "%X",
                                           "%X{leg}",
                                           "%X{none}",
                                           "%E{HOME}",
                                           "%E{PATTERN_LAYOUT_TEST}",
                                           "%E{NOT_SET_AT_ALL}",
                                           "%E",
                                           "%%",
                                           "%%%m%%"})
        for (const InternalLoggingEvent& event : events)
            for (const char* const szBehind : {"", " ", "|%m"})
                expectWhatLog4cplusWrites(plainPropertiesOf(std::string(szConversion) + szBehind),
                                          event);
}

TEST(PatternLayout, WritesWhatLog4cplusWritesForEachWidth)
{
    const Context context;
    const InternalLoggingEvent event = eventOf("0123456789");
    // Some of these are mistakes, which are reported.
    errorsOf(
        [&]
        {
            for (const char* const szWidth :
                 {"",      "0",      "1",     "9",    "10",    "11",     "30",
                  "-",     "-0",     "-30",   "--30", ".0",    ".1",     ".9",
                  ".10",   ".11",    ".-0",   ".-4",  ".--4",  ".-",     "5.4",
                  "30.20", "-30.20", "20.30", "4.4",  "-4.-4", "012.09", "30.-4"})
                for (const char* const szConversion : {"m", "c{1}", "x", "d{%H:%M}", "L", "n", "%"})
                    expectWhatLog4cplusWrites(
                        plainPropertiesOf(std::string("[%") + szWidth + szConversion + "]"), event);
        });
}

TEST(PatternLayout, WritesWhatLog4cplusWritesForAnyPattern)
{
    const Context context;
    std::mt19937 random(5);
    constexpr std::array<std::string_view, 46> pieces{"%",       "%",
                                                      "%",       "-",
                                                      ".",       "1",
                                                      "7",       "30",
                                                      "b",       "c",
                                                      "d",       "D",
                                                      "E",       "F",
                                                      "h",       "H",
                                                      "i",       "l",
                                                      "L",       "m",
                                                      "M",       "n",
                                                      "p",       "r",
                                                      "t",       "T",
                                                      "x",       "X",
                                                      "{",       "}",
                                                      "{2",      "{%q",
                                                      "{%S.%Q}", "{leg}",
                                                      " ",       "text ",
                                                      "%m",      "%-5p ",
                                                      "[%t]",    "%%",
                                                      "k",       "z",
                                                      "0",       "\n",
                                                      "%.-3c",   "%d{%H:%M:%S.%q}"};
    std::size_t uiDifferent = 0;
    errorsOf(
        [&]
        {
            for (int i = 0; i != 10000; ++i)
            {
                std::string strPattern;
                for (unsigned int uiPieces = 1 + random() % 12; uiPieces != 0; --uiPieces)
                    strPattern += pieces[random() % pieces.size()];
                Properties properties = plainPropertiesOf(strPattern);
                if (random() % 4 == 0)
                    properties.setProperty("NDCMaxDepth", std::to_string(random() % 4));
                log4cplus::PatternLayout expected(properties);
                PatternLayout layout(properties);
                const InternalLoggingEvent event =
                    eventOf(std::string(random() % 20, 'm'), "a.bc.def");
                const std::string strExpected = textOf(expected, event);
                const std::string strText = textOf(layout, event);
                uiDifferent += strExpected != strText ? 1 : 0;
                EXPECT_EQ(strExpected, strText) << strPattern;
            }
        });
    EXPECT_EQ(0U, uiDifferent);
}

TEST(PatternLayout, AnEventIsOneLineWhateverTheFieldsHold)
{
    log4cplus::getNDC().push("ndc\n");
    log4cplus::getMDC().put("key\n", "value\n");
    setenv("PATTERN_LAYOUT_TEST", "environment\n", 1);
    const InternalLoggingEvent event("logger\n", log4cplus::INFO_LOG_LEVEL, "ndc\n",
                                     log4cplus::getMDC().getContext(), "message\r\n", "thread\n",
                                     "thread2\n", log4cplus::helpers::now(), "/file\n", 1,
                                     "function\n");
    log4cplus::getNDC().remove();
    EXPECT_EQ(
        "logger\\n file\\n /file\\n /file\\n:1 message\\r\\n function\\n thread\\n thread2\\n "
        "ndc\\n {key\\n, value\\n} environment\\n value\\n\n",
        textOf("%c %b %F %l %m %M %t %T %x %X %E{PATTERN_LAYOUT_TEST} %X{key\n}%n", event));
    log4cplus::getMDC().clear();
    unsetenv("PATTERN_LAYOUT_TEST");
}

TEST(PatternLayout, ThePatternItselfIsWrittenAsItIs)
{
    EXPECT_EQ("\\t\x1b[1mmessage\x1b[0m\n", textOf("\\t\x1b[1m%m\x1b[0m%n", eventOf("message")));
}

TEST(PatternLayout, ACallerCannotForgeALine)
{
    const InternalLoggingEvent event =
        eventOf("call-id=a\r\n 2026-11-23 03:00:00 INFO  - gateway stops\xe2\x80\xae answered");
    EXPECT_EQ("WARN call-id=a\\r\\n 2026-11-23 03:00:00 INFO  - gateway stops\\u202e answered\n",
              textOf("%p %m%n", event));
}

TEST(PatternLayout, AMessageThatIsTooLongIsCut)
{
    EXPECT_EQ(std::string(8192, 'x'), textOf("%m", eventOf(std::string(8192, 'x'))));
    EXPECT_EQ(std::string(8192, 'x') + "... (51808 bytes more)|",
              textOf("%m|", eventOf(std::string(60000, 'x'))));
    Properties properties = propertiesOf("%m");
    properties.setProperty("MaxLength", "4");
    EXPECT_EQ("abcd", textOf(properties, eventOf("abcd")));
    EXPECT_EQ("abcd... (1 bytes more)", textOf(properties, eventOf("abcde")));
    EXPECT_EQ("ab... (6 bytes more)", textOf(properties, eventOf("ab\xe2\x82\xac\xe2\x82\xac")))
        << "cut at a character";
    EXPECT_EQ("abc\\n... (1 bytes more)", textOf(properties, eventOf("abc\nd")))
        << "the length is that of the message, not of its escaped form";
    EXPECT_EQ("\xf0\x9f\x93\x9e... (1 bytes more)",
              textOf(properties, eventOf("\xf0\x9f\x93\x9ex")));
    properties.setProperty("Escape", "false");
    EXPECT_EQ("a\nb\n... (1 bytes more)", textOf(properties, eventOf("a\nb\nc")));
    properties.setProperty("MaxLength", "0");
    EXPECT_EQ(60000U, textOf(properties, eventOf(std::string(60000, 'x'))).size());
}

TEST(PatternLayout, OnlyTheMessageHasALongestLength)
{
    Properties properties = propertiesOf("%c %m");
    properties.setProperty("MaxLength", "2");
    EXPECT_EQ("gateway me... (5 bytes more)", textOf(properties, eventOf("message", "gateway")));
}

TEST(PatternLayout, AWidthLeavesEscapedCharactersWhole)
{
    const InternalLoggingEvent event = eventOf("a\n\xe2\x82\xac\x1b");
    EXPECT_EQ("a\\n\xe2\x82\xac\\x1b", textOf("%.10m", event));
    EXPECT_EQ("\\n\xe2\x82\xac\\x1b", textOf("%.9m", event));
    EXPECT_EQ("\xe2\x82\xac\\x1b", textOf("%.8m", event));
    EXPECT_EQ("\xe2\x82\xac\\x1b", textOf("%.7m", event));
    EXPECT_EQ("\\x1b", textOf("%.6m", event));
    EXPECT_EQ("", textOf("%.3m", event));
    EXPECT_EQ("a\\n\xe2\x82\xac", textOf("%.-9m", event));
    EXPECT_EQ("a\\n", textOf("%.-5m", event));
    EXPECT_EQ("a", textOf("%.-2m", event));
    EXPECT_EQ("", textOf("%.-0m", event));
    EXPECT_EQ("[   a\\n\xe2\x82\xac\\x1b]", textOf("[%13m]", event));
    EXPECT_EQ("[a\\n\xe2\x82\xac\\x1b   ]", textOf("[%-13m]", event));
}

TEST(PatternLayout, ALineAllocatesNothing)
{
    const Context context;
    PatternLayout layout(
        propertiesOf("%d{%Y-%m-%d %H:%M:%S.%q} %D{%Q} %-5p [%t] %T %c{2} %b:%L %l %i "
                     "%r %x %X{leg} %h %E{HOME} %M %40.-60m%n"));
    const InternalLoggingEvent event = eventOf("a message of a call\n that is \xff escaped");
    std::string strText;
    layout.append(strText, event);
    const std::string strFirst = strText;
    strText.clear();
    const int iBefore = s_iAllocations;
    layout.append(strText, event);
    EXPECT_EQ(iBefore, s_iAllocations);
    EXPECT_EQ(strFirst, strText);
}

TEST(PatternLayout, ALineThroughAStreamAllocatesNothing)
{
    PatternLayout layout(propertiesOf("%d %p %m%n"));
    const InternalLoggingEvent event = eventOf("a message that is longer than a small string");
    std::ostringstream text;
    layout.formatAndAppend(text, event);
    const std::string strFirst = text.str();
    text.seekp(0);
    const int iBefore = s_iAllocations;
    layout.formatAndAppend(text, event);
    EXPECT_EQ(iBefore, s_iAllocations);
    EXPECT_EQ(strFirst, text.str());
}

TEST(PatternLayout, TheFormattingOfTheStreamDoesNotMatter)
{
    PatternLayout layout(propertiesOf("%m %L"));
    std::ostringstream text;
    text << std::hex << std::showbase;
    text.width(40);
    text.fill('*');
    layout.formatAndAppend(text, eventOf("m"));
    EXPECT_EQ("m 42", text.str());
}

TEST(PatternLayout, AConfigurationNamesItAndItsProperties)
{
    const TemporaryDirectory directory;
    const std::string strFile = directory.file("gateway.log");
    const ParameterTrie trie =
        trieOf("log4cplus.rootLogger=INFO, file\n"
               "log4cplus.appender.file=log4cplus::FileAppender\n"
               "log4cplus.appender.file.File=" +
               strFile +
               "\nlog4cplus.appender.file.layout=velmora::PatternLayout\n"
               "log4cplus.appender.file.layout.ConversionPattern=%-5p %c - %m%n\n"
               "log4cplus.appender.file.layout.MaxLength=20\n");
    std::ostringstream errors;
    ASSERT_TRUE(Logger::configure(trie, errors)) << errors.str();
    LoggingIdLogger logger("gateway");
    logger.logCallId("a\nb");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "ringing");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "no longer ringing");
    EXPECT_EQ("INFO  gateway - call-id=a\\nb ringing\n"
              "INFO  gateway - call-id=a\\nb no longe... (9 bytes more)\n",
              readFile(strFile));
}

TEST(PatternLayout, WithoutAPatternThereIsNoLayoutAndTheErrorSaysWhatToWrite)
{
    const std::string strErrors =
        errorsOf([] { EXPECT_THROW(PatternLayout(Properties{}), std::runtime_error); });
    EXPECT_THAT(strErrors, HasSubstr("\"ConversionPattern\" is missing; write one such as "
                                     "\"%d{%H:%M:%S.%q} %-5p [%t] %c - %m%n\""));
}

TEST(PatternLayout, TheFormerNameOfThePatternIsReadWithAWarning)
{
    Properties properties;
    properties.setProperty("Pattern", "%m");
    const std::string strErrors =
        errorsOf([&] { EXPECT_EQ("text", textOf(properties, eventOf("text"))); });
    EXPECT_THAT(strErrors, HasSubstr("\"Pattern\" is deprecated; write \"ConversionPattern\""));
    properties.setProperty("ConversionPattern", "%p");
    EXPECT_EQ("", errorsOf([&] { EXPECT_EQ("WARN", textOf(properties, eventOf("text"))); }));
}

TEST(PatternLayout, AnEmptyPatternWritesTheMessageWithAnError)
{
    const std::string strErrors = errorsOf([] { EXPECT_EQ("text", textOf("", eventOf("text"))); });
    EXPECT_THAT(strErrors, HasSubstr("is empty; each line will be its message alone"));
}

TEST(PatternLayout, AMistakeInAPatternIsReportedWithItsPlace)
{
    EXPECT_THAT(errorsOf([] { EXPECT_EQ("text %k", textOf("%m %k", eventOf("text"))); }),
                HasSubstr("the pattern \"%m %k\" has the unknown conversion \"%k\" at position 5, "
                          "which is written as it is. Write \"%%\" for a percent sign"));
    EXPECT_THAT(errorsOf([] { EXPECT_EQ("%.c text", textOf("%.c %m", eventOf("text"))); }),
                HasSubstr("has no number behind the \".\" at position 3"));
    EXPECT_THAT(errorsOf([] { EXPECT_EQ("text ", textOf("%m %c{1", eventOf("text", ""))); }),
                HasSubstr("has a \"{\" at position 5 and no \"}\" behind it"));
}

TEST(PatternLayout, AValueThatIsNoneOfItsTypeIsReportedAndTheDefaultStays)
{
    Properties properties = propertiesOf("%m");
    properties.setProperty("MaxLength", "many");
    properties.setProperty("Escape", "perhaps");
    properties.setProperty("NDCMaxDepth", "all");
    const std::string strErrors =
        errorsOf([&] { EXPECT_EQ("\\n", textOf(properties, eventOf("\n"))); });
    EXPECT_THAT(strErrors, HasSubstr("velmora::PatternLayout: \"MaxLength\" is \"many\"; write a "
                                     "number of bytes, or 0 for no limit"));
    EXPECT_THAT(strErrors, HasSubstr("\"Escape\" is \"perhaps\"; write \"true\" or \"false\""));
    EXPECT_THAT(strErrors, HasSubstr("\"NDCMaxDepth\" is \"all\"; write a number of levels"));
}

} // namespace Velmora::Test
