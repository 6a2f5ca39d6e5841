// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LogMacros.h"

#include "velmora/logging/ObjectWithLogger.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/TextOf.h"
#include "tests/support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/nullappender.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iomanip>
#include <ios>
#include <locale>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

VELMORA_FILE_SCOPE_LOGGER("test.LogMacros")

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Velmora::CachedLLLogger;
using Velmora::DEBUG_LOG_LEVEL;
using Velmora::ERROR_LOG_LEVEL;
using Velmora::FATAL_LOG_LEVEL;
using Velmora::INFO_LOG_LEVEL;
using Velmora::Logger;
using Velmora::LogLevel;
using Velmora::NOT_SET_LOG_LEVEL;
using Velmora::ObjectWithLogger;
using Velmora::TRACE_LOG_LEVEL;
using Velmora::WARN_LOG_LEVEL;
using Velmora::Test::CallbackAppender;
using Velmora::Test::CapturedLog;
using Velmora::Test::debugLine;
using Velmora::Test::errorLine;
using Velmora::Test::fatalLine;
using Velmora::Test::groupingLocale;
using Velmora::Test::infoLine;
using Velmora::Test::LogLine;
using Velmora::Test::onThreads;
using Velmora::Test::textOf;
using Velmora::Test::warnLine;

constexpr const char* s_szFileLogger = "test.LogMacros";

template <class T>
class Call : public ObjectWithLogger<T>
{
  public:
    Call() : ObjectWithLogger<T>(std::string("test.Call")) {}

    void logAtAllLevels() const
    {
        VELMORA_LOG_DEBUG("debug " << 1);
        VELMORA_LOG_INFO("info " << 2);
        VELMORA_LOG_WARN("warn " << 3);
        VELMORA_LOG_ERROR("error " << 4);
        VELMORA_LOG_FATAL("fatal " << 5);
    }
};

void logAtAllLevelsOfTheFile()
{
    VELMORA_FILE_LOG_DEBUG("debug " << 1);
    VELMORA_FILE_LOG_INFO("info " << 2);
    VELMORA_FILE_LOG_WARN("warn " << 3);
    VELMORA_FILE_LOG_ERROR("error " << 4);
    VELMORA_FILE_LOG_FATAL("fatal " << 5);
}

// Loggers and levels.

TEST(LogMacros, ObjectFormsLogThroughTheLoggerOfTheObject)
{
    const CapturedLog log;

    Call<Logger>().logAtAllLevels();

    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine("test.Call", "debug 1"), infoLine("test.Call", "info 2"),
                            warnLine("test.Call", "warn 3"), errorLine("test.Call", "error 4"),
                            fatalLine("test.Call", "fatal 5")));
}

TEST(LogMacros, FileFormsLogThroughTheLoggerOfTheFile)
{
    const CapturedLog log;

    logAtAllLevelsOfTheFile();

    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szFileLogger, "debug 1"),
                            infoLine(s_szFileLogger, "info 2"), warnLine(s_szFileLogger, "warn 3"),
                            errorLine(s_szFileLogger, "error 4"),
                            fatalLine(s_szFileLogger, "fatal 5")));
}

TEST(LogMacros, GeneralFormLogsThroughAnyLoggerAtAnyLevel)
{
    const CapturedLog log;

    VELMORA_LOG(Logger("test.Any"), static_cast<LogLevel>(12345), "odd");

    EXPECT_THAT(log.lines(), ElementsAre(LogLine{"test.Any", 12345, "odd"}));
}

TEST(LogMacros, LinesBelowTheLevelAreDropped)
{
    const CapturedLog log(ERROR_LOG_LEVEL);

    Call<Logger>().logAtAllLevels();
    logAtAllLevelsOfTheFile();

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call", "error 4"), fatalLine("test.Call", "fatal 5"),
                            errorLine(s_szFileLogger, "error 4"),
                            fatalLine(s_szFileLogger, "fatal 5")));
}

TEST(LogMacros, ObjectFormsObeyACachedLevel)
{
    const CapturedLog log;
    Call<CachedLLLogger> call;
    call.getLogger().setLogLevel(ERROR_LOG_LEVEL);
    log4cplus::Logger::getInstance("test.Call").setLogLevel(DEBUG_LOG_LEVEL);

    call.logAtAllLevels();

    EXPECT_THAT(log.lines(),
                ElementsAre(errorLine("test.Call", "error 4"), fatalLine("test.Call", "fatal 5")));
}

TEST(LogMacros, CachedLevelLetsLinesPassThatTheEntryWouldDrop)
{
    const CapturedLog log;
    CachedLLLogger logger("test.Call");
    logger.setLogLevel(DEBUG_LOG_LEVEL);
    log4cplus::Logger::getInstance("test.Call").setLogLevel(FATAL_LOG_LEVEL);

    VELMORA_LOG(logger, DEBUG_LOG_LEVEL, "text");

    EXPECT_THAT(log.lines(), ElementsAre(debugLine("test.Call", "text")));
}

TEST(LogMacros, LineHasItsFileAndLineNumber)
{
    const CapturedLog log;

    const int iLine = __LINE__ + 1;
    VELMORA_FILE_LOG_INFO("text");
    VELMORA_LOG(Logger("test.Any"), INFO_LOG_LEVEL, "text");

    ASSERT_THAT(log.lines(), SizeIs(2));
    EXPECT_EQ(log.lines()[0].strFile, "velmora/logging/test/LogMacrosTest.cpp");
    EXPECT_EQ(log.lines()[0].iLine, iLine);
    EXPECT_EQ(log.lines()[1].strFile, "velmora/logging/test/LogMacrosTest.cpp");
    EXPECT_EQ(log.lines()[1].iLine, iLine + 1);
}

/// Records the operations that a line calls, in order.
class LoggerSpy : public Logger
{
  public:
    LoggerSpy() : Logger("test.Spy") {}

    void log(int, const std::string&, const char*, int) const override
    {
        m_calls.emplace_back("log");
    }
    void forcedLog(int, const std::string& in_strMessage, const char*, int) const override
    {
        m_calls.push_back("forcedLog " + in_strMessage);
    }
    std::size_t getChainedNumAppender() const override
    {
        m_calls.emplace_back("getChainedNumAppender");
        return m_uiAppenders;
    }

    std::size_t m_uiAppenders = 1;
    mutable std::vector<std::string> m_calls;
};

TEST(LogMacros, TextGoesToTheVirtualForcedLogAfterTheAppendersWereCounted)
{
    const CapturedLog log;
    const LoggerSpy spy;
    const Logger& logger = spy;

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "text");

    EXPECT_THAT(spy.m_calls, ElementsAre("getChainedNumAppender", "forcedLog text"));
}

TEST(LogMacros, AppendersAreNotCountedWhenTheLevelIsOff)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    const LoggerSpy spy;

    VELMORA_LOG(spy, INFO_LOG_LEVEL, "text");

    EXPECT_THAT(spy.m_calls, IsEmpty());
}

TEST(LogMacros, NothingIsLoggedWithoutAnAppenderInTheChain)
{
    const CapturedLog log;
    LoggerSpy spy;
    spy.m_uiAppenders = 0;

    VELMORA_LOG(spy, FATAL_LOG_LEVEL, "text");

    EXPECT_THAT(spy.m_calls, ElementsAre("getChainedNumAppender"));
}

// Evaluation of the arguments.

class Counter
{
  public:
    int next() { return ++m_iCount; }
    int count() const { return m_iCount; }

  private:
    int m_iCount = 0;
};

TEST(LogMacros, ArgumentsAreEvaluatedOnceWhenTheLineIsLogged)
{
    const CapturedLog log;
    Counter counter;

    VELMORA_FILE_LOG_INFO("count " << counter.next());

    EXPECT_EQ(counter.count(), 1);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "count 1")));
}

TEST(LogMacros, ArgumentsAreNotEvaluatedWhenTheLevelIsOff)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    Counter counter;
    CachedLLLogger cachedLogger("test.Call");
    cachedLogger.cacheLogLevel();

    VELMORA_FILE_LOG_INFO(counter.next());
    VELMORA_LOG(Logger("test.Any"), INFO_LOG_LEVEL, counter.next());
    VELMORA_LOG(cachedLogger, INFO_LOG_LEVEL, counter.next());

    EXPECT_EQ(counter.count(), 0);
}

TEST(LogMacros, ArgumentsAreNotEvaluatedWithoutAnAppenderInTheChain)
{
    const CapturedLog log;
    Counter counter;
    log4cplus::Logger::getInstance(s_szFileLogger).setAdditivity(false);
    log4cplus::Logger::getInstance("test.Call").setAdditivity(false);
    CachedLLLogger cachedLogger("test.Call");
    cachedLogger.setLogLevel(TRACE_LOG_LEVEL);

    VELMORA_FILE_LOG_FATAL(counter.next());
    VELMORA_LOG(Logger("test.Call"), FATAL_LOG_LEVEL, counter.next());
    VELMORA_LOG(cachedLogger, FATAL_LOG_LEVEL, counter.next());

    EXPECT_EQ(counter.count(), 0);
}

TEST(LogMacros, ArgumentsAreNotEvaluatedWithoutAnyLevel)
{
    const CapturedLog log;
    Counter counter;
    log4cplus::Logger::getRoot().setLogLevel(NOT_SET_LOG_LEVEL);

    VELMORA_FILE_LOG_FATAL(counter.next());

    EXPECT_EQ(counter.count(), 0);
}

TEST(LogMacros, LineWithoutAnAppenderIsSilentOnStandardError)
{
    const CapturedLog log;
    log4cplus::Logger::getInstance(s_szFileLogger).setAdditivity(false);

    testing::internal::CaptureStderr();
    VELMORA_FILE_LOG_FATAL("text");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(LogMacros, LoggerExpressionIsEvaluatedOnce)
{
    const CapturedLog log(WARN_LOG_LEVEL);
    const Logger logger("test.Call");
    Counter counter;
    const auto getLogger = [&counter, &logger]() -> const Logger&
    {
        counter.next();
        return logger;
    };

    VELMORA_LOG(getLogger(), WARN_LOG_LEVEL, "on");
    EXPECT_EQ(counter.count(), 1);
    VELMORA_LOG(getLogger(), INFO_LOG_LEVEL, "off");
    EXPECT_EQ(counter.count(), 2);
}

TEST(LogMacros, LoggerMayBeATemporary)
{
    const CapturedLog log;

    VELMORA_LOG(Logger("test.a." + std::string("name that is long enough for the heap")),
                INFO_LOG_LEVEL, "text");

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine("test.a.name that is long enough for the heap", "text")));
}

TEST(LogMacros, LevelExpressionIsEvaluatedOnce)
{
    const CapturedLog log;
    Counter counter;
    const auto getLevel = [&counter]
    { return counter.next() == 1 ? INFO_LOG_LEVEL : FATAL_LOG_LEVEL; };

    VELMORA_LOG(Logger("test.Call"), getLevel(), "text");

    EXPECT_EQ(counter.count(), 1);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.Call", "text")));
}

// Where a macro may be used, and with which arguments.

TEST(LogMacros, EachIsOneStatement)
{
    const CapturedLog log;
    const Logger logger("test.Call");

    for (const bool bFirst : {true, false})
        if (bFirst)
            VELMORA_FILE_LOG_INFO("then of the file");
        else
            VELMORA_FILE_LOG_WARN("else of the file");
    for (const bool bFirst : {true, false})
        if (bFirst)
            VELMORA_LOG(logger, INFO_LOG_LEVEL, "then");
        else
            VELMORA_LOG(logger, WARN_LOG_LEVEL, "else");

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, "then of the file"),
                            warnLine(s_szFileLogger, "else of the file"),
                            infoLine("test.Call", "then"), warnLine("test.Call", "else")));
}

TEST(LogMacros, MayBeUsedWhereBreakAndContinueBelongToALoop)
{
    const CapturedLog log;

    for (int iRound = 0; iRound < 3; ++iRound)
    {
        if (iRound == 1)
            continue;
        VELMORA_FILE_LOG_INFO("round " << iRound);
    }

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "round 0"),
                                         infoLine(s_szFileLogger, "round 2")));
}

TEST(LogMacros, MayBeUsedSeveralTimesInOneLine)
{
    const CapturedLog log;

    // clang-format off
    VELMORA_FILE_LOG_INFO("first"); VELMORA_FILE_LOG_INFO("second");
    // clang-format on

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, "first"), infoLine(s_szFileLogger, "second")));
}

TEST(LogMacros, MayBeUsedInALambda)
{
    const CapturedLog log;
    const auto logIt = [](int in_iNumber) { VELMORA_FILE_LOG_INFO("number " << in_iNumber); };

    logIt(7);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "number 7")));
}

template <class T>
void logFromATemplate(const T& in_value)
{
    VELMORA_FILE_LOG_INFO("value " << in_value);
}

TEST(LogMacros, MayBeUsedInATemplate)
{
    const CapturedLog log;

    logFromATemplate(7);
    logFromATemplate("text");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "value 7"),
                                         infoLine(s_szFileLogger, "value text")));
}

TEST(LogMacros, ArgumentsMayHoldCommas)
{
    const CapturedLog log;
    const Logger logger("test.Call");

    VELMORA_FILE_LOG_INFO(std::map<int, int>{{1, 2}, {3, 4}}.size() << std::max<int>(5, 6));
    VELMORA_LOG(logger, INFO_LOG_LEVEL, std::map<int, int>{{1, 2}, {3, 4}}.size() << " entries");

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, "26"), infoLine("test.Call", "2 entries")));
}

TEST(LogMacros, ArgumentMayBeAString)
{
    const CapturedLog log;
    const std::string strText = "text";

    VELMORA_FILE_LOG_INFO(strText);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "text")));
}

TEST(LogMacros, TextMayBeEmpty)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO("");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "")));
}

TEST(LogMacros, TextMayHoldNulAndLineEnds)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO(std::string("a\0b", 3) << '\0' << "\nsecond line\n");

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, std::string("a\0b\0\nsecond line\n", 17))));
}

TEST(LogMacros, TextMayBeAMegabyteLong)
{
    const CapturedLog log;
    const std::string strLong(1 << 20, 'x');

    VELMORA_FILE_LOG_INFO("begin " << strLong << " end");
    VELMORA_FILE_LOG_INFO("short");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "begin " + strLong + " end"),
                                         infoLine(s_szFileLogger, "short")));
}

TEST(LogMacros, TextMayHaveAnyLength)
{
    const CapturedLog log;
    std::vector<LogLine> expected;

    for (std::size_t uiLength = 0; uiLength < 600; uiLength += 7)
    {
        VELMORA_FILE_LOG_INFO(std::string(uiLength, 'x'));
        expected.push_back(infoLine(s_szFileLogger, std::string(uiLength, 'x')));
    }

    EXPECT_EQ(log.lines(), expected);
}

// A line inside a line.

int logAndGive(int in_iNumber)
{
    VELMORA_FILE_LOG_DEBUG("giving " << in_iNumber);
    return in_iNumber;
}

TEST(LogMacros, FunctionInAnArgumentMayLog)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO("got " << logAndGive(7) << " and " << logAndGive(8));

    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szFileLogger, "giving 7"),
                                         debugLine(s_szFileLogger, "giving 8"),
                                         infoLine(s_szFileLogger, "got 7 and 8")));
}

TEST(LogMacros, LambdaInAnArgumentMayLogInTheSameLine)
{
    const CapturedLog log;
    const Logger logger("test.Call");

    // clang-format off
    VELMORA_FILE_LOG_INFO("got " << [] { VELMORA_FILE_LOG_DEBUG("giving " << 7); return 7; }());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "got " << [&] { VELMORA_LOG(logger, DEBUG_LOG_LEVEL, "giving " << 8); return 8; }());
    // clang-format on

    EXPECT_THAT(log.lines(),
                ElementsAre(debugLine(s_szFileLogger, "giving 7"),
                            infoLine(s_szFileLogger, "got 7"), debugLine("test.Call", "giving 8"),
                            infoLine("test.Call", "got 8")));
}

TEST(LogMacros, LinesMayBeNestedDeeply)
{
    const CapturedLog log;
    const std::function<int(int)> descend = [&descend](int in_iDepth)
    {
        if (in_iDepth > 0)
            VELMORA_FILE_LOG_INFO("depth " << in_iDepth << " over " << descend(in_iDepth - 1));
        return in_iDepth;
    };

    descend(20);

    std::vector<LogLine> expected;
    for (int iDepth = 1; iDepth <= 20; ++iDepth)
        expected.push_back(infoLine(s_szFileLogger, "depth " + std::to_string(iDepth) + " over " +
                                                        std::to_string(iDepth - 1)));
    EXPECT_EQ(log.lines(), expected);
}

/// A value whose stream operator logs a line.
struct LogsWhileWritten
{
};

std::ostream& operator<<(std::ostream& out_stream, const LogsWhileWritten&)
{
    out_stream << "begun";
    VELMORA_FILE_LOG_DEBUG("writing");
    return out_stream << " and ended";
}

TEST(LogMacros, ArgumentMayLogWhileItIsWritten)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO("text " << LogsWhileWritten() << ".");

    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szFileLogger, "writing"),
                                         infoLine(s_szFileLogger, "text begun and ended.")));
}

// Lines that fail.

int throwing() { throw std::runtime_error("argument"); }

TEST(LogMacros, ArgumentThatThrowsLogsNothing)
{
    const CapturedLog log;
    const Logger logger("test.Call");

    EXPECT_THROW(VELMORA_FILE_LOG_INFO("text " << throwing()), std::runtime_error);
    EXPECT_THROW(VELMORA_LOG(logger, INFO_LOG_LEVEL, "text " << throwing()), std::runtime_error);

    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LogMacros, LineAfterAnArgumentThatThrewIsClean)
{
    const CapturedLog log;
    EXPECT_THROW(VELMORA_FILE_LOG_INFO(std::hex << "text " << throwing()), std::runtime_error);

    VELMORA_FILE_LOG_INFO("next " << 16);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "next 16")));
}

/// A value whose stream operator throws after it has written a part of the text.
struct ThrowsWhileWritten
{
};

std::ostream& operator<<(std::ostream& out_stream, const ThrowsWhileWritten&)
{
    out_stream << std::hex << "begun";
    throw std::runtime_error("writing");
}

TEST(LogMacros, LineAfterAnArgumentThatThrewWhileWrittenIsClean)
{
    const CapturedLog log;
    EXPECT_THROW(VELMORA_FILE_LOG_INFO("text " << ThrowsWhileWritten()), std::runtime_error);

    VELMORA_FILE_LOG_INFO("next " << 16);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "next 16")));
}

TEST(LogMacros, LineAfterAnAppenderThatThrewIsClean)
{
    const CapturedLog log;
    {
        const CallbackAppender thrower(
            [](const std::string&) { throw std::runtime_error("appender"); }, "test.Broken");
        EXPECT_THROW(VELMORA_LOG(Logger("test.Broken"), INFO_LOG_LEVEL, "lost"),
                     std::runtime_error);
    }

    VELMORA_LOG(Logger("test.Broken"), INFO_LOG_LEVEL, "next");

    EXPECT_THAT(log.lines(), ElementsAre(infoLine("test.Broken", "next")));
}

// The effect of a manipulator ends with its line.

// Manipulators for operations of a stream that have none in the standard library.

struct Imbue
{
};
std::ostream& operator<<(std::ostream& out_stream, Imbue)
{
    out_stream.imbue(groupingLocale());
    return out_stream;
}

struct ThrowOnFailure
{
};
std::ostream& operator<<(std::ostream& out_stream, ThrowOnFailure)
{
    out_stream.exceptions(std::ios_base::failbit);
    return out_stream;
}

struct CopyFormat
{
    const std::ios& source;
};
std::ostream& operator<<(std::ostream& out_stream, const CopyFormat& in_format)
{
    out_stream.copyfmt(in_format.source);
    return out_stream;
}

/// A number of bytes. After the manipulator `withUnit`, which is one that a program defines, it is
/// written with its unit.
struct Bytes
{
    int iNumber;
};
int unitIndex()
{
    static const int s_iIndex = std::ios_base::xalloc();
    return s_iIndex;
}
std::ostream& withUnit(std::ostream& out_stream)
{
    out_stream.iword(unitIndex()) = 1;
    return out_stream;
}
std::ostream& operator<<(std::ostream& out_stream, Bytes in_bytes)
{
    out_stream << in_bytes.iNumber;
    return out_stream.iword(unitIndex()) != 0 ? out_stream << " bytes" : out_stream;
}

TEST(LogMacros, ManipulatorsOfALineDoNotReachTheNextOne)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO(std::hex << std::showbase << 255 << ' ' << std::boolalpha << true);
    VELMORA_FILE_LOG_INFO(255 << ' ' << true);
    VELMORA_FILE_LOG_INFO(std::setprecision(2) << 3.14159 << std::setfill('*') << std::setw(4));
    VELMORA_FILE_LOG_INFO(3.14159 << ' ' << std::setw(4) << 7);

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, "0xff true"),
                            infoLine(s_szFileLogger, "255 1"), infoLine(s_szFileLogger, "3.1"),
                            infoLine(s_szFileLogger, "3.14159    7")));
}

TEST(LogMacros, LocaleOfALineDoesNotReachTheNextOne)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO(Imbue() << 1234567);
    VELMORA_FILE_LOG_INFO(1234567);

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "1.234.567"),
                                         infoLine(s_szFileLogger, "1234567")));
}

TEST(LogMacros, ExceptionMaskOfALineDoesNotReachTheNextOne)
{
    const CapturedLog log;
    std::ostringstream empty;

    EXPECT_THROW(VELMORA_FILE_LOG_INFO(ThrowOnFailure() << empty.rdbuf()), std::ios_base::failure);
    EXPECT_NO_THROW(VELMORA_FILE_LOG_INFO("next " << empty.rdbuf()));

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "next ")));
}

TEST(LogMacros, CopiedFormatOfALineDoesNotReachTheNextOne)
{
    const CapturedLog log;
    std::ostringstream format;
    format << std::hex << Imbue() << withUnit;

    VELMORA_FILE_LOG_INFO(CopyFormat{format} << 16 << ' ' << Bytes{16});
    VELMORA_FILE_LOG_INFO(16 << ' ' << Bytes{16});

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "10 10 bytes"),
                                         infoLine(s_szFileLogger, "16 16")));
}

TEST(LogMacros, ManipulatorOfAProgramDoesNotReachTheNextLine)
{
    const CapturedLog log;

    VELMORA_FILE_LOG_INFO(withUnit << Bytes{16});
    VELMORA_FILE_LOG_INFO(Bytes{16});

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, "16 bytes"), infoLine(s_szFileLogger, "16")));
}

TEST(LogMacros, ManipulatorsOfALineInsideDoNotReachTheLineAroundIt)
{
    const CapturedLog log;
    const auto logInHex = []
    {
        VELMORA_FILE_LOG_INFO(std::hex << 16);
        return 16;
    };

    VELMORA_FILE_LOG_INFO(std::oct << 8 << ' ' << logInHex());

    EXPECT_THAT(log.lines(),
                ElementsAre(infoLine(s_szFileLogger, "10"), infoLine(s_szFileLogger, "10 20")));
}

// Threads.

/// A thread-local object that logs when its thread ends.
struct LogsAtThreadEnd
{
    explicit LogsAtThreadEnd(const char* in_szText) : szText(in_szText) {}
    ~LogsAtThreadEnd() { VELMORA_FILE_LOG_INFO(szText << ' ' << logAndGive(7)); }

    const char* szText;
};

TEST(LogMacros, MayBeUsedInTheDestructorOfAThreadLocalObjectThatIsOlderThanTheFirstLine)
{
    const CapturedLog log(INFO_LOG_LEVEL);

    std::thread(
        []
        {
            static thread_local LogsAtThreadEnd s_object("at the end");
            VELMORA_FILE_LOG_INFO("in the thread");
            s_object.szText = "at the very end";
        })
        .join();

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "in the thread"),
                                         infoLine(s_szFileLogger, "at the very end 7")));
}

TEST(LogMacros, MayBeUsedInTheDestructorOfAThreadLocalObjectThatIsYoungerThanTheFirstLine)
{
    const CapturedLog log(INFO_LOG_LEVEL);

    std::thread(
        []
        {
            VELMORA_FILE_LOG_INFO("in the thread");
            static thread_local LogsAtThreadEnd s_object("at the end");
            s_object.szText = "soon at the end";
        })
        .join();

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "in the thread"),
                                         infoLine(s_szFileLogger, "soon at the end 7")));
}

TEST(LogMacros, MayFirstBeUsedOnAThreadWhenItEnds)
{
    const CapturedLog log(INFO_LOG_LEVEL);

    std::thread(
        []
        {
            static thread_local LogsAtThreadEnd s_object("at the end");
            s_object.szText = "only at the end";
        })
        .join();

    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szFileLogger, "only at the end 7")));
}

TEST(LogMacros, LinesOfSeveralThreadsStayWhole)
{
    constexpr int s_iThreads = 4;
    constexpr int s_iLines = 250;
    const CapturedLog log;
    onThreads(s_iThreads,
              [](int in_iThread)
              {
                  for (int iLine = 0; iLine < s_iLines; ++iLine)
                      VELMORA_FILE_LOG_INFO("thread " << in_iThread << std::hex << " line "
                                                      << iLine);
              });

    std::vector<std::string> texts;
    for (const LogLine& line : log.lines())
        texts.push_back(line.strText);
    std::vector<std::string> expected;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        for (int iLine = 0; iLine < s_iLines; ++iLine)
            expected.push_back(textOf("thread ", iThread, " line ", std::hex, iLine));
    std::sort(texts.begin(), texts.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(texts, expected);
}

TEST(LogMacros, ThreadsLogWhileAnotherChangesLevelsAndAppenders)
{
    constexpr int s_iThreads = 3;
    constexpr int s_iLines = 400;
    const CapturedLog log;
    Logger fileLogger(s_szFileLogger);
    Logger parent("test.parent");
    std::atomic<int> iThreadsDone{0};
    std::vector<std::thread> threads;

    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            [&iThreadsDone]
            {
                CachedLLLogger cachedLogger("test.parent.cached");
                for (int iLine = 0; iLine < s_iLines; ++iLine)
                {
                    VELMORA_FILE_LOG_FATAL("always");
                    VELMORA_FILE_LOG_DEBUG("at times");
                    VELMORA_LOG(cachedLogger, FATAL_LOG_LEVEL, "always");
                    VELMORA_LOG(cachedLogger, DEBUG_LOG_LEVEL, "at times");
                    cachedLogger.cacheLogLevel();
                    VELMORA_FILE_TRACE_SCOPE(scope);
                }
                ++iThreadsDone;
            });
    const log4cplus::SharedAppenderPtr pSecond(new log4cplus::NullAppender);
    while (iThreadsDone != s_iThreads)
    {
        for (const LogLevel level : {ERROR_LOG_LEVEL, TRACE_LOG_LEVEL, DEBUG_LOG_LEVEL})
        {
            fileLogger.setLogLevel(level);
            parent.setLogLevel(level);
        }
        parent.addAppender(pSecond);
        parent.removeAppender(pSecond);
    }
    for (std::thread& thread : threads)
        thread.join();

    const std::vector<LogLine> lines = log.lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), fatalLine(s_szFileLogger, "always")),
              s_iThreads * s_iLines);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), fatalLine("test.parent.cached", "always")),
              s_iThreads * s_iLines);
}

} // namespace
