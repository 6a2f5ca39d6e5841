// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallLogger.h"

#include "velmora/config/GlobalConfig.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/Files.h"
#include "tests/support/Lines.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* s_szName = "test.call.Leg";
constexpr const char* s_szNoCallId = "LoggingIdLogger::???CallId???";

/// A call id that is too long for the small-string buffer of `std::string`.
constexpr const char* s_szId = "a84b4c76e66710-9f3c1d2e5b7a@gateway.example.org";

/// Configures files of calls in a temporary directory for the logger "test.call" and those below
/// it.
class CallLogging : public testing::Test
{
  protected:
    CallLogging()
    {
        makeParticipant("test.call");
        configure();
        m_log.clear();
    }

    void configure(const std::string& in_strMore = "")
    {
        EXPECT_TRUE(
            configureCalls(m_directory.path().string(),
                           "keswardin.infra.CallLogger.outputFileSuffix=.log\n" + in_strMore));
    }

    /// Returns the lines of a call's file without the first and the last one. Fails the test if the
    /// file lacks either of these.
    [[nodiscard]] std::vector<std::string> linesIn(const std::string& in_strFile) const
    {
        std::vector<std::string> lines = linesOf(m_directory.read(in_strFile));
        if (lines.size() < 2 || !isTimeLine(lines.front(), "start") ||
            !isTimeLine(lines.back(), "end"))
        {
            ADD_FAILURE() << in_strFile << ": " << testing::PrintToString(lines);
            return {};
        }
        return {lines.begin() + 1, lines.end() - 1};
    }

    /// Returns whether a line is the first ("start") or the last ("end") one of a call's file.
    static bool isTimeLine(const std::string& in_strLine, const std::string& in_strWhat)
    {
        return testing::Matches(testing::MatchesRegex(
            "INFO keswardin.infra.CallLogger.Appender: Call " + in_strWhat +
            " : [A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] "
            "[0-9][0-9][0-9][0-9]"))(in_strLine);
    }

    [[nodiscard]] std::vector<std::string> files() const { return namesIn(m_directory.path()); }

    static std::size_t numCall() { return CallDataRegistry::getInstance()->getCurrentNumCall(); }

    TemporaryDirectory m_directory;
    CapturedLog m_log;
};

/// A logger whose `isInCall` always gives the same answer, right or wrong.
class StubbornCallLogger : public CallLogger
{
  public:
    explicit StubbornCallLogger(bool in_bInCall) : CallLogger(s_szName), m_bInCall(in_bInCall) {}

    [[nodiscard]] bool isInCall() const override { return m_bInCall; }

  private:
    bool m_bInCall;
};

/// Begins a call, logs one line in it, and ends it.
void haveCall(const char* in_szCallId)
{
    CallLogger logger(s_szName);
    logger.callStart(in_szCallId);
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
}

} // namespace

TEST_F(CallLogging, LinesOfACallGoToItsFileWithoutTheCallIdAndToTheMainLogWithIt)
{
    CallLogger logger(s_szName);
    logger.addLoggingId("leg=1");
    logger.callStart(s_szId);
    logger.addLoggingId("codec=0");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello");
    logger.callEnd();

    EXPECT_THAT(linesIn(std::string(s_szId) + ".log"),
                ElementsAre("INFO test.call.Leg: leg=1 codec=0 hello"));
    EXPECT_THAT(
        m_log.linesOf(s_szName),
        ElementsAre(infoLine(s_szName, "leg=1 call-id=" + std::string(s_szId) + " codec=0 hello")));
}

TEST_F(CallLogging, AFileBeginsAndEndsWithTheTimeByTheLayoutOfTheSection)
{
    haveCall("abc");

    EXPECT_THAT(linesIn("abc.log"), ElementsAre("INFO test.call.Leg: line"));
}

TEST_F(CallLogging, ALineIsTheSameWhicheverWayItIsLogged)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    logger.forcedTrace("traced");
    logger.forcedLog(WARN_LOG_LEVEL, "forced", nullptr, -1);
    logger.log(INFO_LOG_LEVEL, "logged", nullptr, -1);
    logger.callEnd();

    EXPECT_THAT(linesIn("abc.log"),
                ElementsAre("TRACE test.call.Leg: traced", "WARN test.call.Leg: forced",
                            "INFO test.call.Leg: logged"));
}

TEST_F(CallLogging, TheFileIsMadeWithTheFirstLine)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    EXPECT_THAT(files(), IsEmpty());
    VELMORA_LOG(logger, TRACE_LOG_LEVEL, "off");
    EXPECT_THAT(files(), IsEmpty());

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");

    EXPECT_THAT(files(), ElementsAre("abc.log"));
}

TEST_F(CallLogging, ACallWithoutALineHasNoFileAndIsNotCounted)
{
    configure("keswardin.infra.CallLogger.log1CallOutOf=2\n");
    haveCall("first");
    {
        CallLogger logger(s_szName);
        logger.callStart("silent");
    }
    haveCall("second");
    haveCall("third");

    EXPECT_THAT(files(), ElementsAre("first.log", "third.log"));
}

TEST_F(CallLogging, OutOfFiveCallsTheFirstAndTheFourthHaveFilesWhereOneOfThreeIsLogged)
{
    configure("keswardin.infra.CallLogger.log1CallOutOf=3\n");

    for (const char* const szId : {"1", "2", "3", "4", "5"})
        haveCall(szId);

    EXPECT_THAT(files(), ElementsAre("1.log", "4.log"));
    EXPECT_THAT(m_log.linesOf(s_szName), SizeIs(5));
}

TEST_F(CallLogging, AllCallsAreLoggedWithOneWarningWhereOneOfNoneIs)
{
    configure("keswardin.infra.CallLogger.log1CallOutOf=0\n");

    for (const char* const szId : {"1", "2", "3"})
        haveCall(szId);

    EXPECT_THAT(files(), ElementsAre("1.log", "2.log", "3.log"));
    int iWarnings = 0;
    for (const LogLine& line : m_log.lines())
        iWarnings += line.level == WARN_LOG_LEVEL ? 1 : 0;
    EXPECT_EQ(1, iWarnings);
}

TEST_F(CallLogging, TwoLoggersInOneCallWriteToOneFileThatTheLastOneCloses)
{
    CallLogger first(s_szName);
    CallLogger second("test.call.Media");
    first.callStart("abc");
    second.callStart("abc");
    VELMORA_LOG(first, INFO_LOG_LEVEL, "of the leg");
    VELMORA_LOG(second, INFO_LOG_LEVEL, "of the media");
    first.callEnd();
    EXPECT_EQ(1U, numCall());
    VELMORA_LOG(second, INFO_LOG_LEVEL, "still");
    EXPECT_THAT(m_directory.read("abc.log"), Not(testing::HasSubstr("Call end")));
    second.callEnd();

    EXPECT_EQ(0U, numCall());
    EXPECT_THAT(linesIn("abc.log"),
                ElementsAre("INFO test.call.Leg: of the leg", "INFO test.call.Media: of the media",
                            "INFO test.call.Media: still"));
}

TEST_F(CallLogging, ALaterCallWithTheSameIdReplacesTheFile)
{
    haveCall("abc");
    haveCall("abc");

    EXPECT_THAT(linesIn("abc.log"), SizeIs(1));
}

// Entering and leaving a call.

TEST_F(CallLogging, ALoggerIsInNoCallAtFirst)
{
    const CallLogger logger(s_szName);

    EXPECT_FALSE(logger.isInCall());
    EXPECT_STREQ(s_szNoCallId, logger.getCallId());
    EXPECT_EQ(s_szName, logger.getName());
    EXPECT_EQ("keswardin", CallLogger().getName());
}

TEST_F(CallLogging, StartEntersACallAndEndLeavesIt)
{
    CallLogger logger(s_szName);
    logger.callStart(s_szId);
    EXPECT_TRUE(logger.isInCall());
    EXPECT_STREQ(s_szId, logger.getCallId());
    EXPECT_EQ(1U, numCall());

    logger.callEnd();

    EXPECT_FALSE(logger.isInCall());
    EXPECT_STREQ(s_szNoCallId, logger.getCallId());
    EXPECT_EQ(0U, numCall());
    m_log.clear();
    logger.callEnd();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "after");
    EXPECT_THAT(m_log.lines(), ElementsAre(infoLine(s_szName, "after")));
}

TEST_F(CallLogging, TheDestructorLeavesTheCall)
{
    {
        CallLogger logger(s_szName);
        logger.callStart("abc");
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    }

    EXPECT_EQ(0U, numCall());
    EXPECT_THAT(linesIn("abc.log"), SizeIs(1));
}

TEST_F(CallLogging, StartingTheSameCallAgainNeitherEndsItNorCountsAReference)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "one");
    m_log.clear();

    logger.callStart("abc");
    logger.callStart(logger.getCallId());

    EXPECT_THAT(m_log.lines(), IsEmpty());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "two");
    logger.callEnd();
    EXPECT_EQ(0U, numCall());
    EXPECT_THAT(linesIn("abc.log"), SizeIs(2));
}

TEST_F(CallLogging, StartingAnotherCallEndsTheFirstOneBefore)
{
    CallLogger logger(s_szName);
    logger.addLoggingId("leg=1");
    logger.callStart("first");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "one");
    m_log.clear();

    logger.callStart("second");

    EXPECT_THAT(
        m_log.linesOf("keswardin.infra.CallData"),
        ElementsAre(debugLine("keswardin.infra.CallData",
                              "CallDataRegistryImpl::decrementRefCount : Call end : first (0 "
                              "active call(s))"),
                    debugLine("keswardin.infra.CallData",
                              "CallDataRegistryImpl::getCallData : Call start : second (1 active "
                              "call(s))")));
    EXPECT_STREQ("second", logger.getCallId());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "two");
    EXPECT_EQ(infoLine(s_szName, "leg=1 call-id=second two"), m_log.linesOf(s_szName).back());
    logger.callEnd();
    EXPECT_THAT(linesIn("first.log"), ElementsAre("INFO test.call.Leg: leg=1 one"));
    EXPECT_THAT(linesIn("second.log"), ElementsAre("INFO test.call.Leg: leg=1 two"));
}

TEST_F(CallLogging, TheNextIdMayBePartOfTheOneThatGoes)
{
    CallLogger logger(s_szName);
    logger.callStart(s_szId);

    logger.callStart(logger.getCallId() + 2);

    EXPECT_STREQ(s_szId + 2, logger.getCallId());
}

TEST_F(CallLogging, LogCallIdStartsACall)
{
    CallLogger logger(s_szName);
    LoggingIdLogger& base = logger;

    base.logCallId("abc");

    EXPECT_TRUE(base.isInCall());
    EXPECT_EQ(1U, numCall());
    EXPECT_STREQ("abc", logger.getCallId());
}

TEST_F(CallLogging, ACallIdAloneIsACallToo)
{
    CallLogger logger(s_szName);
    logger.LoggingIdLogger::logCallId("abc");

    EXPECT_TRUE(logger.isInCall());
    EXPECT_STREQ("abc", logger.getCallId());
    EXPECT_EQ(0U, numCall());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    EXPECT_THAT(files(), IsEmpty());
    logger.callEnd();
    EXPECT_FALSE(logger.isInCall());
}

TEST_F(CallLogging, ACallOutlivesItsIdentifier)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    EXPECT_TRUE(logger.reset());

    EXPECT_TRUE(logger.isInCall());
    EXPECT_STREQ("abc", logger.getCallId());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();
    EXPECT_FALSE(logger.isInCall());
    EXPECT_EQ(infoLine(s_szName, "line"), m_log.linesOf(s_szName).back());
    EXPECT_THAT(linesIn("abc.log"), SizeIs(1));
}

TEST_F(CallLogging, NothingOfACallFailsAnAssertion)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    logger.callStart("other");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();
    logger.callStart("");
    EXPECT_STREQ("", logger.getCallId());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();

    EXPECT_THAT(failedAssertions(m_log), IsEmpty());
    EXPECT_THAT(files(), ElementsAre("%.log", "other.log"));
}

TEST_F(CallLogging, AnEndThatDoesNotLeaveTheCallFailsAnAssertion)
{
    StubbornCallLogger logger(true);

    logger.callEnd();
    const FailedAssertion failed =
        failedAssertion("! isInCall()", "CallLogger", "keswardin.infra.CallLogger");
    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failed));
    m_log.clear();
    logger.callStart("abc");

    EXPECT_THAT(failedAssertions(m_log), ElementsAre(failed, failed));
    EXPECT_STREQ("abc", logger.getCallId());
}

TEST_F(CallLogging, AStartThatDoesNotEnterTheCallFailsAnAssertion)
{
    StubbornCallLogger logger(false);

    logger.callStart("abc");

    EXPECT_THAT(
        failedAssertions(m_log),
        ElementsAre(failedAssertion("isInCall()", "CallLogger", "keswardin.infra.CallLogger")));
    EXPECT_EQ(1U, numCall());
}

// Copies.

TEST_F(CallLogging, ACopyIsInTheCallAsOneLoggerMore)
{
    auto pLogger = std::make_unique<CallLogger>(s_szName);
    pLogger->callStart("abc");
    CallLogger copy(*pLogger);
    pLogger.reset();

    EXPECT_EQ(1U, numCall());
    EXPECT_TRUE(copy.isInCall());
    VELMORA_LOG(copy, INFO_LOG_LEVEL, "line");
    copy.callEnd();
    EXPECT_EQ(0U, numCall());
    EXPECT_THAT(linesIn("abc.log"), ElementsAre("INFO test.call.Leg: line"));
}

TEST_F(CallLogging, AssignmentLeavesTheOldCallAndEntersTheOthers)
{
    CallLogger logger(s_szName);
    logger.callStart("old");
    CallLogger other("test.call.Media");
    other.addLoggingId("media=1");
    other.callStart("new");

    logger = other;
    other.callEnd();

    EXPECT_EQ(1U, numCall());
    EXPECT_STREQ("new", logger.getCallId());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger = CallLogger(s_szName);
    EXPECT_FALSE(logger.isInCall());
    EXPECT_EQ(0U, numCall());
    EXPECT_THAT(linesIn("new.log"), ElementsAre("INFO test.call.Media: media=1 line"));
}

TEST_F(CallLogging, AssignmentToItselfChangesNothing)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    const CallLogger& same = logger;

    logger = same;

    EXPECT_STREQ("abc", logger.getCallId());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();
    EXPECT_THAT(linesIn("abc.log"), SizeIs(1));
}

// Loggers that write to the files of calls, and the appender that marks them.

TEST_F(CallLogging, ALoggerWithoutTheMarkInItsChainWritesToNoFile)
{
    CallLogger logger("test.other");
    logger.callStart("abc");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");

    EXPECT_THAT(files(), IsEmpty());
    EXPECT_EQ(1U, logger.getChainedNumAppender());
    EXPECT_EQ(infoLine("test.other", "call-id=abc line"), m_log.linesOf("test.other").back());
}

TEST_F(CallLogging, TheMarkIsLookedForWhenACallStartsAlsoTheSameOne)
{
    CallLogger logger(s_szName);
    log4cplus::Logger marked = log4cplus::Logger::getInstance("test.call");
    logger.callStart("abc");
    marked.removeAllAppenders();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "still marked");
    logger.callStart("abc");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "no more marked");
    makeParticipant("test.call");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "not looked at");
    logger.callStart("abc");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "marked again");
    logger.callEnd();

    EXPECT_THAT(linesIn("abc.log"), ElementsAre("INFO test.call.Leg: still marked",
                                                "INFO test.call.Leg: marked again"));
}

TEST_F(CallLogging, TheNextCallIsWithoutAFileOnceTheMarkHasGone)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    logger.callEnd();
    log4cplus::Logger::getInstance("test.call").removeAllAppenders();
    logger.callStart("next");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");

    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(CallLogging, TheAppenderOfTheCallCounts)
{
    CallLogger logger(s_szName);
    EXPECT_EQ(2U, logger.getChainedNumAppender());
    logger.callStart("abc");
    EXPECT_EQ(3U, logger.getChainedNumAppender());
    logger.callEnd();
    EXPECT_EQ(2U, logger.getChainedNumAppender());
}

TEST_F(CallLogging, ALineIsWrittenWhoseOnlyAppenderIsThatOfItsCall)
{
    CallLogger logger(s_szName);
    logger.callStart("abc");
    log4cplus::Logger::getInstance("test.call").removeAllAppenders();
    log4cplus::Logger::getInstance("test").setAdditivity(false);
    EXPECT_EQ(1U, logger.getChainedNumAppender());

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");

    logger.callEnd();
    EXPECT_THAT(linesIn("abc.log"), SizeIs(1));
}

TEST_F(CallLogging, ACallThatIsSampledOutLogsToTheMainLogAlone)
{
    configure("keswardin.infra.CallLogger.log1CallOutOf=2\n");
    haveCall("first");
    CallLogger logger(s_szName);
    logger.callStart("second");

    EXPECT_EQ(2U, logger.getChainedNumAppender());
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");

    EXPECT_THAT(files(), ElementsAre("first.log"));
    EXPECT_EQ(infoLine(s_szName, "call-id=second line"), m_log.linesOf(s_szName).back());
}

TEST_F(CallLogging, ACallThatBeganBeforeTheConfigurationHasAFileIfItsFirstLineComesLater)
{
    TemporaryDirectory other;
    CallLogger logger(s_szName);
    logger.callStart("abc");
    ASSERT_TRUE(configureCalls(other.path().string()));
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();

    EXPECT_THAT(files(), IsEmpty());
    EXPECT_THAT(other.read("abc"), testing::HasSubstr("line"));
}

TEST_F(CallLogging, InitializingTheClassGivesTrue) { EXPECT_TRUE(CallLogger::initializeClass()); }

// Files of calls in the configuration of the process.

namespace
{

std::string configurationOfProcess(const std::string& in_strCalls, const std::string& in_strMainLog)
{
    return "log4cplus.rootLogger=DEBUG, MAIN, CALL_LOG_APPENDER\n"
           "log4cplus.appender.MAIN=log4cplus::FileAppender\n"
           "log4cplus.appender.MAIN.Append=true\n"
           "log4cplus.appender.MAIN.File=" +
           in_strMainLog +
           "\n"
           "log4cplus.appender.MAIN.layout=log4cplus::PatternLayout\n"
           "log4cplus.appender.MAIN.layout.ConversionPattern=%p %c: %m%n\n" +
           callSection(in_strCalls) +
           "keswardin.infra.CallLogger.outputFilePrefix=call-\n"
           "keswardin.infra.CallLogger.outputFileSuffix=.log\n";
}

} // namespace

TEST_F(CallLogging, IsConfiguredWithTheLoggingOfTheProcess)
{
    ASSERT_TRUE(loadGlobal(
        configurationOfProcess(m_directory.file("calls"), m_directory.file("main.log"))));

    EXPECT_TRUE(GlobalConfig::getInstance()->configureLogger(RunMode::undefined));

    haveCall("abc");
    EXPECT_THAT(linesIn("calls/call-abc.log"), ElementsAre("INFO test.call.Leg: line"));
    EXPECT_THAT(m_directory.read("main.log"),
                testing::HasSubstr("INFO test.call.Leg: call-id=abc line\n"));
    EXPECT_THAT(m_directory.read("main.log"),
                testing::HasSubstr("DEBUG keswardin.infra.GlobalConfig: Configuring the Call "
                                   "Logging Facility\n"));
}

TEST_F(CallLogging, AFailureOfItsConfigurationIsAFailureOfThatOfTheLogging)
{
    m_directory.write("calls", "in the way");
    ASSERT_TRUE(loadGlobal(
        configurationOfProcess(m_directory.file("calls/x"), m_directory.file("main.log"))));
    std::ostringstream errors;

    EXPECT_FALSE(GlobalConfig::getInstance()->configureLogger(errors, RunMode::undefined));

    EXPECT_EQ("failed to configure the Call Logging facility", errors.str());
    EXPECT_THAT(m_directory.read("main.log"),
                testing::HasSubstr("ERROR keswardin.infra.CallAppender: failed to create call "
                                   "logging output directory " +
                                   m_directory.file("calls/x") + "\n"));
}

TEST_F(CallLogging, AnOpenFileSurvivesAReconfiguration)
{
    const ParameterTrie trie =
        trieOf(configurationOfProcess(m_directory.file("calls"), m_directory.file("main.log")));
    ASSERT_TRUE(Logger::configure(trie));
    ASSERT_TRUE(CallDataRegistry::getInstance()->configure(trie));
    CallLogger logger(s_szName);
    logger.callStart("abc");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "before");

    ASSERT_TRUE(Logger::configure(trie));
    ASSERT_TRUE(CallDataRegistry::getInstance()->configure(trie));
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "behind");
    ASSERT_TRUE(Logger::configureDefault());
    log4cplus::Logger::getRoot().setLogLevel(INFO_LOG_LEVEL);
    log4cplus::Logger::getRoot().removeAllAppenders();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "with no mark");
    logger.callEnd();

    EXPECT_THAT(linesIn("calls/call-abc.log"),
                ElementsAre("INFO test.call.Leg: before", "INFO test.call.Leg: behind",
                            "INFO test.call.Leg: with no mark"));
}

} // namespace Velmora::Test
