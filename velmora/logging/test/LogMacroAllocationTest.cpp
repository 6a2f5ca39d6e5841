// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogMacros.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/LoggingIdLogger.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CountedAllocations.h"

#include <gtest/gtest.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/nullappender.h>

#include <iomanip>
#include <new>
#include <string>
#include <thread>

VELMORA_FILE_SCOPE_LOGGER("test.a.logger.with.a.name.that.no.short.string.holds")

namespace
{

using Velmora::CachedLLLogger;
using Velmora::DEBUG_LOG_LEVEL;
using Velmora::FATAL_LOG_LEVEL;
using Velmora::INFO_LOG_LEVEL;
using Velmora::Logger;
using Velmora::LoggingIdLogger;
using Velmora::LogText;
using Velmora::Test::AllocationFailure;
using Velmora::Test::allocationsOfLaterCalls;
using Velmora::Test::s_iAllocations;

/// Sends the log to an appender that drops each line and does not allocate.
class LogMacroAllocation : public testing::Test
{
  protected:
    LogMacroAllocation()
    {
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
        log4cplus::Logger::getRoot().setLogLevel(DEBUG_LOG_LEVEL);
        log4cplus::Logger::getRoot().addAppender(
            log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    }
    ~LogMacroAllocation() override
    {
        log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    }
};

TEST_F(LogMacroAllocation, IsCounted)
{
    const std::string strLong(100, 'x');

    // One allocation in each of the ten calls that are counted.
    EXPECT_EQ(allocationsOfLaterCalls([&strLong] { std::string copy(strLong); }), 10);
}

TEST_F(LogMacroAllocation, LineOfTheFileAllocatesNothing)
{
    EXPECT_EQ(allocationsOfLaterCalls(
                  []
                  { VELMORA_FILE_LOG_INFO("call " << 7 << std::hex << " from " << 3.14 << '!'); }),
              0);
}

TEST_F(LogMacroAllocation, LineThroughALoggerAllocatesNothing)
{
    const Logger logger("test.a.logger.with.a.name.that.no.short.string.holds");
    const std::string strText(200, 'x');

    EXPECT_EQ(allocationsOfLaterCalls([&] { VELMORA_LOG(logger, INFO_LOG_LEVEL, strText << 7); }),
              0);
}

TEST_F(LogMacroAllocation, LineThroughALoggerWithACachedLevelAllocatesNothing)
{
    CachedLLLogger logger("test.a.logger.with.a.name.that.no.short.string.holds");
    logger.cacheLogLevel();

    EXPECT_EQ(allocationsOfLaterCalls([&] { VELMORA_LOG(logger, INFO_LOG_LEVEL, "call " << 7); }),
              0);
}

// Too long for the small-string buffer of `std::string`.
constexpr const char* s_szLongId = "leg=an identifier that no short string holds";
constexpr const char* s_szOtherLongId = "leg=another identifier that no short string holds";
constexpr const char* s_szLongCallId = "a84b4c76e66710-9f3c1d2e5b7a@gateway.example.org";

TEST_F(LogMacroAllocation, LineWithLoggingIdentifiersAllocatesNothing)
{
    LoggingIdLogger logger("test.a.logger.with.a.name.that.no.short.string.holds");
    logger.addLoggingId(s_szLongId);
    logger.logCallId(s_szLongCallId);
    const std::string strText(200, 'x');

    EXPECT_EQ(allocationsOfLaterCalls([&] { VELMORA_LOG(logger, INFO_LOG_LEVEL, strText << 7); }),
              0);
}

TEST_F(LogMacroAllocation, LinesWithFewerAndMoreLoggingIdentifiersInTurnAllocateNothing)
{
    const LoggingIdLogger none("test.Call");
    LoggingIdLogger some("test.Call");
    some.addLoggingId(s_szLongId);
    LoggingIdLogger more(some);
    more.addLoggingId(s_szLongId);
    more.logCallId(s_szLongCallId);

    EXPECT_EQ(allocationsOfLaterCalls(
                  [&]
                  {
                      VELMORA_LOG(more, INFO_LOG_LEVEL, "call " << 1);
                      VELMORA_LOG(none, INFO_LOG_LEVEL, "call " << 2);
                      VELMORA_LOG(some, INFO_LOG_LEVEL, "call " << 3);
                  }),
              0);
}

TEST_F(LogMacroAllocation, LineWithTenLoggingIdentifiersAllocatesNothing)
{
    LoggingIdLogger logger("test.Call");
    for (int iId = 0; iId < 10; ++iId)
        logger.addLoggingId(s_szLongId);

    EXPECT_EQ(allocationsOfLaterCalls([&] { VELMORA_LOG(logger, INFO_LOG_LEVEL, "call " << 7); }),
              0);
}

TEST_F(LogMacroAllocation, LineThatIsOffAllocatesNothingForItsLoggingIdentifiers)
{
    log4cplus::Logger::getRoot().setLogLevel(FATAL_LOG_LEVEL);
    LoggingIdLogger logger("test.Call");
    logger.addLoggingId(s_szLongId);
    const std::string strText(200, 'x');

    const int iBefore = s_iAllocations;
    VELMORA_LOG(logger, INFO_LOG_LEVEL, strText + strText);

    EXPECT_EQ(s_iAllocations - iBefore, 0);
}

TEST_F(LogMacroAllocation, IdentifiersOfTheNextCallAllocateNothing)
{
    LoggingIdLogger logger("test.Call");

    EXPECT_EQ(allocationsOfLaterCalls(
                  [&]
                  {
                      logger.addLoggingId(s_szOtherLongId);
                      logger.logCallId(s_szLongCallId);
                      logger.clearLoggingIds();
                  }),
              0);
}

TEST_F(LogMacroAllocation, CallIdOfTheNextCallAllocatesNothing)
{
    LoggingIdLogger logger("test.Call");
    logger.addLoggingId(s_szLongId);

    EXPECT_EQ(allocationsOfLaterCalls(
                  [&]
                  {
                      logger.logCallId(s_szLongCallId);
                      logger.logCallId(logger.getCallId());
                      logger.clearCallId();
                  }),
              0);
}

TEST_F(LogMacroAllocation, AssignmentOfALoggerWithAsManyIdentifiersAllocatesNothing)
{
    LoggingIdLogger source("test.Call");
    source.addLoggingId(s_szLongId);
    LoggingIdLogger other("test.Call");
    other.addLoggingId(s_szOtherLongId);
    LoggingIdLogger target(other);

    EXPECT_EQ(allocationsOfLaterCalls(
                  [&]
                  {
                      target = source;
                      target = other;
                  }),
              0);
}

TEST_F(LogMacroAllocation, LineOf255CharactersAllocatesNothing)
{
    const std::string strText(255, 'x');

    EXPECT_EQ(allocationsOfLaterCalls([&] { VELMORA_FILE_LOG_INFO(strText); }), 0);
}

TEST_F(LogMacroAllocation, LineThatIsGivenAsATextAllocatesNothing)
{
    const Logger logger("test.Call");
    const std::string strText(200, 'x');

    EXPECT_EQ(
        allocationsOfLaterCalls(
            [&]
            { logger.log(INFO_LOG_LEVEL, strText, "a/file/with/a/name/that/is/long.cpp", 42); }),
        0);
}

int logAndGive(int in_iNumber)
{
    VELMORA_FILE_LOG_DEBUG("giving " << in_iNumber);
    return in_iNumber;
}

TEST_F(LogMacroAllocation, LineInsideALineAllocatesNothing)
{
    EXPECT_EQ(allocationsOfLaterCalls([] { VELMORA_FILE_LOG_INFO("got " << logAndGive(7)); }), 0);
}

TEST_F(LogMacroAllocation, SecondLineOfAThreadAllocatesNothing)
{
    int iAllocations = -1;
    std::thread(
        [&iAllocations]
        { iAllocations = allocationsOfLaterCalls([] { VELMORA_FILE_LOG_INFO("call " << 7); }); })
        .join();

    EXPECT_EQ(iAllocations, 0);
}

TEST_F(LogMacroAllocation, LineThatIsOffAllocatesNothing)
{
    log4cplus::Logger::getRoot().setLogLevel(FATAL_LOG_LEVEL);
    const std::string strText(200, 'x');

    const int iBefore = s_iAllocations;
    VELMORA_FILE_LOG_INFO(strText + strText);
    VELMORA_LOG(*fileScopeLogger(), INFO_LOG_LEVEL, strText + strText);

    EXPECT_EQ(s_iAllocations - iBefore, 0);
}

TEST_F(LogMacroAllocation, AssertionThatHoldsAllocatesNothing)
{
    const int iBefore = s_iAllocations;
    VELMORA_FILE_ASSERT(iBefore == s_iAllocations);
    VELMORA_PLAIN_ASSERT(iBefore == s_iAllocations);

    EXPECT_EQ(s_iAllocations - iBefore, 0);
}

TEST_F(LogMacroAllocation, TraceScopeThatIsOffAllocatesNothing)
{
    const int iBefore = s_iAllocations;
    {
        VELMORA_FILE_TRACE_SCOPE(a_scope_with_a_name_that_no_short_string_holds);
    }

    EXPECT_EQ(s_iAllocations - iBefore, 0);
}

TEST_F(LogMacroAllocation, LineAfterOneWithoutMemoryForItsIdentifiersHasItsOwn)
{
    std::string strLast;
    const Velmora::Test::CallbackAppender appender(Velmora::Test::CallbackAppender::TextCallback(
        [&strLast](const std::string& in_strText) { strLast = in_strText; }));
    LoggingIdLogger two("test.Call");
    two.addLoggingId("first");
    two.addLoggingId("second");
    LoggingIdLogger other("test.Call");
    other.addLoggingId("other");
    LoggingIdLogger longOther(other);
    longOther.addLoggingId(std::string(500, 'x').c_str());
    const std::string strText = "text";

    for (int iServed = 0; iServed < 8; ++iServed)
    {
        VELMORA_LOG(two, INFO_LOG_LEVEL, "text");
        EXPECT_EQ(strLast, "first second text");
        try
        {
            const AllocationFailure failure(iServed, AllocationFailure::Lasts::ON);
            longOther.forcedLog(INFO_LOG_LEVEL, strText, nullptr, -1);
        }
        catch (const std::bad_alloc&)
        {
            VELMORA_LOG(other, INFO_LOG_LEVEL, "text");
            EXPECT_EQ(strLast, "other text") << iServed;
        }
    }
}

/// Returns the text of a line of two pieces, of which there is no memory for the second one.
std::string textWithoutMemoryFor(const std::string& in_strSecond, std::size_t in_uiLengthOfFirst)
{
    const std::string strFirst(in_uiLengthOfFirst, 'x');
    LogText text;
    {
        const AllocationFailure failure(0, AllocationFailure::Lasts::ON);
        text.stream() << strFirst << in_strSecond;
    }
    EXPECT_TRUE(text.stream().bad());
    return text.text();
}

TEST_F(LogMacroAllocation, ATextWithoutMemoryHasNothingOfThePieceThatDidNotFit)
{
    const std::string strNote = " ... ERROR: not enough memory for the rest of the line";
    const std::string strLong(300, 'y');
    for (const std::size_t uiLength : {0U, 1U, 100U, 200U, 201U, 202U})
        EXPECT_EQ(textWithoutMemoryFor(strLong, uiLength), std::string(uiLength, 'x') + strNote);
    // The note takes the place of the last characters.
    for (const std::size_t uiLength : {203U, 255U, 256U})
        EXPECT_EQ(textWithoutMemoryFor(strLong, uiLength), std::string(202, 'x') + strNote);
}

TEST_F(LogMacroAllocation, ATextForWhichThereIsNoMemoryEndsWithANote)
{
    const std::string strNote = " ... ERROR: not enough memory for the rest of the line";
    const std::string strLong(10000, 'x');
    LogText text;
    LogText longText;
    longText.stream() << std::string(255, 'y');
    {
        const AllocationFailure failure(0, AllocationFailure::Lasts::ON);
        text.stream() << "begin " << strLong << " end";
        longText.stream() << strLong;
    }
    EXPECT_EQ("begin " + strNote, text.text());
    EXPECT_TRUE(text.stream().bad());
    EXPECT_TRUE(longText.text().starts_with("yyy")) << longText.text();
    EXPECT_TRUE(longText.text().ends_with("y" + strNote)) << longText.text();
}

} // namespace
