// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallAppenderFactory.h"

#include "velmora/application/SingletonRegistry.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/CallFileName.h"
#include "velmora/logging/PatternLayout.h"
#include "velmora/vfs/DateTimeDirectory.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/spi/loggingevent.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* s_szLogger = "keswardin.infra.CallAppender";
const std::string s_strKeepEarlier = "log4cplus.appender.CALL_LOG_APPENDER.KeepEarlier=true\n";
const std::string s_strDirectoryParam = "log4cplus.appender.CALL_LOG_APPENDER.Directory";

/// A configuration that has the parameter of the directory but not the section around it.
class TrieWithoutSection : public ParameterTrie
{
  public:
    explicit TrieWithoutSection(std::string in_strDirectory)
        : m_strDirectory(std::move(in_strDirectory))
    {
    }

    void getParameter(const char* in_szName, ParameterValue& out_value) const override
    {
        if (in_szName == s_strDirectoryParam)
            out_value = m_strDirectory.c_str();
        else
            ParameterTrie::getParameter(in_szName, out_value);
    }

  private:
    std::string m_strDirectory;
};

/// Configures a factory of its own with a temporary directory.
class CallAppenders : public testing::Test
{
  protected:
    /// Returns the directory of the files. The factory makes it when it is configured.
    [[nodiscard]] std::string calls() const { return m_directory.file("calls"); }

    bool configure(const std::string& in_strMore = "")
    {
        return m_factory.configure(trieOf(callSection(calls()) + in_strMore));
    }

    /// Configures the factory and removes the lines that it logged.
    void beConfigured(const std::string& in_strMore = "")
    {
        ASSERT_TRUE(configure(in_strMore));
        m_log.clear();
    }

    /// Returns the captured lines at the given level and above.
    [[nodiscard]] std::vector<LogLine> linesFrom(LogLevel in_level) const
    {
        std::vector<LogLine> lines = m_log.lines();
        std::erase_if(lines,
                      [in_level](const LogLine& in_line) { return in_line.level < in_level; });
        return lines;
    }

    /// Returns the paths of all files below the directory, relative to it and sorted.
    [[nodiscard]] std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(calls()))
            if (entry.is_regular_file())
                names.push_back(std::filesystem::relative(entry.path(), calls()));
        std::sort(names.begin(), names.end());
        return names;
    }

    TemporaryDirectory m_directory;
    CapturedLog m_log;
    CallAppenderFactory m_factory;
};

} // namespace

// The singleton.

TEST_F(CallAppenders, TheSingletonIsUnderItsKeyAndIsNotConfigured)
{
    ASSERT_TRUE(configureCalls(calls()));

    EXPECT_EQ(SingletonRegistry::getInstance()->find("CallAppenderFactory::Singleton"),
              CallAppenderFactory::getInstance());
    EXPECT_FALSE(CallAppenderFactory::getInstance()->newAppender("abc"));
    static_assert(std::has_virtual_destructor_v<CallAppenderFactory>);
}

TEST_F(CallAppenders, ThereIsNoneBeforeTheyAreConfigured)
{
    EXPECT_FALSE(m_factory.newAppender("abc"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// The directory.

TEST_F(CallAppenders, AMissingDirectoryIsMadeWithItsParents)
{
    const std::string strCalls = m_directory.file("a/b/calls");

    EXPECT_TRUE(m_factory.configure(trieOf(callSection(strCalls))));

    EXPECT_TRUE(std::filesystem::is_directory(strCalls));
    EXPECT_THAT(
        m_log.linesOf(s_szLogger),
        ElementsAre(debugLine(s_szLogger, "Call Logger configuration output directory is : " +
                                              s_strDirectoryParam + "=" + strCalls),
                    debugLine(s_szLogger, "Call Logger configuration. Failed to stat directory " +
                                              strCalls + " : No such file or directory"),
                    infoLine(s_szLogger,
                             "Call Logger configuration. Creating output directory " + strCalls),
                    debugLine(s_szLogger, "m_bDateTimeDirectory=0")));
}

TEST_F(CallAppenders, ADirectoryThatIsThereIsTaken)
{
    std::filesystem::create_directory(calls());

    EXPECT_TRUE(configure());

    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(debugLine(s_szLogger, "Call Logger configuration output directory is : " +
                                              s_strDirectoryParam + "=" + calls()),
                    debugLine(s_szLogger, "m_bDateTimeDirectory=0")));
}

// The file of an earlier call.

TEST_F(CallAppenders, AFileOfAnEarlierCallIsReplaced)
{
    beConfigured("keswardin.infra.CallLogger.outputFileSuffix=.log\n");
    m_directory.write("calls/abc.log", "earlier\n");
    m_factory.newAppender("abc");
    EXPECT_THAT(files(), ElementsAre("abc.log"));
    EXPECT_THAT(m_directory.read("calls/abc.log"), Not(HasSubstr("earlier")));
}

TEST_F(CallAppenders, AFileOfAnEarlierCallIsKeptIfTheyAreToKeepIt)
{
    beConfigured(s_strKeepEarlier + "keswardin.infra.CallLogger.outputFileSuffix=.log\n");
    m_directory.write("calls/abc.log", "earlier\n");
    std::filesystem::last_write_time(
        calls() + "/abc.log", std::chrono::file_clock::from_sys(
                                  std::chrono::sys_seconds(std::chrono::seconds(1795421700))));
    m_factory.newAppender("abc");
    EXPECT_THAT(files(), ElementsAre("abc.log", "abc.log.2026-11-23T081500Z"));
    EXPECT_EQ("earlier\n", m_directory.read("calls/abc.log.2026-11-23T081500Z"));
    EXPECT_THAT(m_directory.read("calls/abc.log"), StartsWith("INFO "));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                Contains(debugLine(s_szLogger, "The file of an earlier call is now : " + calls() +
                                                   "/abc.log.2026-11-23T081500Z")));
}

TEST_F(CallAppenders, EachCallWithTheSameIdIsKept)
{
    beConfigured(s_strKeepEarlier);
    for (int iCall = 0; iCall < 3; ++iCall)
        EXPECT_TRUE(m_factory.newAppender("abc"));
    EXPECT_THAT(files(), SizeIs(3));
    EXPECT_THAT(linesFrom(WARN_LOG_LEVEL), IsEmpty());
}

TEST_F(CallAppenders, TheLinesAreAppendedToAFileThatCannotBeKept)
{
    // Makes the name of the kept file too long for its directory to be made.
    const std::string strId(250, 'a');
    beConfigured(s_strKeepEarlier);
    m_directory.write("calls/" + strId, "earlier\n");
    m_directory.write("calls/%" + strId + "%", "in the way");
    m_factory.newAppender(strId.c_str());
    EXPECT_THAT(m_directory.read("calls/" + strId), MatchesRegex("earlier\nINFO (.|\n)*"));
    EXPECT_THAT(
        linesFrom(WARN_LOG_LEVEL),
        ElementsAre(errorLine(
            s_szLogger, "cannot rename " + calls() + "/" + strId +
                            ", which an earlier call has written : Not a directory; the lines of "
                            "this call are appended to it. Give its directory to the user of this "
                            "process, or move the file away")));
}

TEST_F(CallAppenders, ANewConfigurationEndsTheKeeping)
{
    beConfigured(s_strKeepEarlier);
    beConfigured();
    m_directory.write("calls/abc", "earlier\n");
    m_factory.newAppender("abc");
    EXPECT_THAT(files(), ElementsAre("abc"));
}

TEST_F(CallAppenders, AWrongPropertyOfTheirLayoutIsNotReportedForEachCall)
{
    PatternLayout::registerFactory();
    beConfigured("log4cplus.appender.CALL_LOG_APPENDER.layout=velmora::PatternLayout\n"
                 "log4cplus.appender.CALL_LOG_APPENDER.layout.MaxLength=long\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(m_factory.newAppender("abc"));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(CallAppenders, WithoutADirectoryTheyAreNotConfigured)
{
    EXPECT_FALSE(m_factory.configure(
        trieOf("log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender")));

    EXPECT_THAT(linesFrom(INFO_LOG_LEVEL),
                ElementsAre(testing::Field(&LogLine::strText, HasSubstr(s_strDirectoryParam))));
    EXPECT_EQ("keswardin.infra.Parameter", m_log.lines().front().strLogger);
    EXPECT_FALSE(m_factory.newAppender("abc"));
}

TEST_F(CallAppenders, AnEmptyDirectoryIsAnError)
{
    ParameterTrie trie;
    ParameterValue empty;
    empty = "";
    trie.setParameter(s_strDirectoryParam.c_str(), empty);

    EXPECT_FALSE(m_factory.configure(trie));

    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(debugLine(s_szLogger, "Call Logger configuration output directory is : " +
                                              s_strDirectoryParam + "="),
                    errorLine(s_szLogger,
                              "Call Logger configuration. " + s_strDirectoryParam + " is empty")));
}

TEST_F(CallAppenders, ADirectoryThatCannotBeMadeIsAnError)
{
    m_directory.write("file", "in the way");
    const std::string strCalls = m_directory.file("file/calls");

    EXPECT_FALSE(m_factory.configure(trieOf(callSection(strCalls))));

    EXPECT_THAT(
        m_log.linesOf(s_szLogger),
        Contains(debugLine(s_szLogger, "Call Logger configuration. Failed to stat directory " +
                                           strCalls + " : Not a directory")));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                Contains(errorLine(s_szLogger,
                                   "failed to create call logging output directory " + strCalls)));
    EXPECT_EQ(errorLine(s_szLogger, "cannot make directory " + strCalls + ": File exists"),
              m_log.linesOf(s_szLogger).back());
    EXPECT_FALSE(m_factory.newAppender("abc"));
}

TEST_F(CallAppenders, ADirectoryThatItsOwnerMayNotWriteToIsAnErrorWithTheModeInHexadecimal)
{
    std::filesystem::create_directory(calls());
    ASSERT_EQ(0, chmod(calls().c_str(), 0555));

    EXPECT_FALSE(configure());

    EXPECT_EQ(errorLine(s_szLogger,
                        "Call Logger configuration. Don't have write permission on directory " +
                            calls() + ". stat.st_mode=0x416d"),
              m_log.lines().back());
    ASSERT_EQ(0, chmod(calls().c_str(), 0755));
}

TEST_F(CallAppenders, OnlyTheOwnersBitIsLookedAt)
{
    std::filesystem::create_directory(calls());
    ASSERT_EQ(0, chmod(calls().c_str(), 0200));

    EXPECT_TRUE(configure());

    ASSERT_EQ(0, chmod(calls().c_str(), 0755));
}

TEST_F(CallAppenders, WithoutTheSectionTheyAreNotConfigured)
{
    std::filesystem::create_directory(calls());

    EXPECT_FALSE(m_factory.configure(TrieWithoutSection(calls())));

    EXPECT_EQ(errorLine(s_szLogger, "Call Logger configuration. log4cplus.appender."
                                    "CALL_LOG_APPENDER is not present in the configuration"),
              m_log.lines().back());
    EXPECT_FALSE(m_factory.newAppender("abc"));
}

TEST_F(CallAppenders, AConfigurationThatFailsLeavesTheEarlierOneInEffect)
{
    beConfigured("keswardin.infra.CallLogger.outputFileSuffix=.log\n");

    EXPECT_FALSE(m_factory.configure(ParameterTrie()));

    EXPECT_TRUE(m_factory.newAppender("abc"));
    EXPECT_THAT(files(), ElementsAre("abc.log"));
}

TEST_F(CallAppenders, WhatAFailedConfigurationHadReadIsInEffect)
{
    beConfigured();
    const std::string strOther = m_directory.file("other");
    std::filesystem::create_directory(strOther);
    ASSERT_EQ(0, chmod(strOther.c_str(), 0555));

    EXPECT_FALSE(m_factory.configure(trieOf(callSection(strOther))));

    ASSERT_EQ(0, chmod(strOther.c_str(), 0755));
    EXPECT_TRUE(m_factory.newAppender("abc"));
    EXPECT_TRUE(std::filesystem::exists(strOther + "/abc"));
}

TEST_F(CallAppenders, ASecondConfigurationReplacesThePropertiesOfTheFirst)
{
    beConfigured("log4cplus.appender.CALL_LOG_APPENDER.Append=true\n"
                 "log4cplus.appender.CALL_LOG_APPENDER.layout.Of=theFirst\n");
    ASSERT_TRUE(m_factory.configure(
        trieOf("log4cplus.appender.CALL_LOG_APPENDER.Directory=" + calls() + "\n")));

    // The line has log4cplus's default layout, so nothing is left of the first configuration.
    m_factory.newAppender("abc");
    EXPECT_THAT(m_directory.read("calls/abc"), testing::StartsWith("INFO - Call start : "));
}

// Where the parameters come from.

TEST_F(CallAppenders, ParametersComeFromTheConfigurationThatIsGiven)
{
    ASSERT_TRUE(loadGlobal("keswardin.infra.CallLogger.outputFilePrefix=global-\n"
                           "keswardin.infra.CallLogger.outputFileSuffix=.global\n"
                           "keswardin.infra.CallLogger.log1CallOutOf=1\n"));
    beConfigured("keswardin.infra.CallLogger.outputFilePrefix=call-\n"
                 "keswardin.infra.CallLogger.outputFileSuffix=.txt\n"
                 "keswardin.infra.CallLogger.log1CallOutOf=2\n");

    m_factory.newAppender("1");
    m_factory.newAppender("2");

    EXPECT_THAT(files(), ElementsAre("call-1.txt"));
}

TEST_F(CallAppenders, ParametersThatAreNotInItComeFromTheConfigurationOfTheProcess)
{
    ASSERT_TRUE(loadGlobal("keswardin.infra.CallLogger.dateTimeDirectory=true\n"
                           "keswardin.infra.CallLogger.outputFilePrefix=global-\n"
                           "keswardin.infra.CallLogger.outputFileSuffix=.global\n"
                           "keswardin.infra.CallLogger.log1CallOutOf=2\n"));
    ASSERT_TRUE(configure());

    m_factory.newAppender("1");
    m_factory.newAppender("2");

    ASSERT_THAT(files(), SizeIs(1));
    EXPECT_THAT(files().front(), testing::EndsWith("/global-1.global"));
    EXPECT_THAT(m_log.lines(), Contains(debugLine(s_szLogger, "m_bDateTimeDirectory=1")));
}

TEST_F(CallAppenders, ParametersThatNeitherHasHaveTheirDefaultsAlsoASecondTime)
{
    beConfigured("keswardin.infra.CallLogger.dateTimeDirectory=true\n"
                 "keswardin.infra.CallLogger.outputFilePrefix=call-\n"
                 "keswardin.infra.CallLogger.outputFileSuffix=.txt\n"
                 "keswardin.infra.CallLogger.log1CallOutOf=9\n");
    beConfigured();

    m_factory.newAppender("1");
    m_factory.newAppender("2");

    EXPECT_THAT(files(), ElementsAre("1", "2"));
}

TEST_F(CallAppenders, TheParametersAreKnownOnesOfTheirTypes)
{
    const ParameterInfoDB& known = ParameterInfoDB::getInstance();
    EXPECT_EQ(ParameterValue::BOOL_TYPE,
              known.retrieveType(s_szINFRA_CALLLOGGER_DATETIMEDIRECTORY_PARAM));
    EXPECT_EQ(ParameterValue::STRING_TYPE,
              known.retrieveType(s_szINFRA_CALLLOGGER_OUTPUTFILEPREFIX_PARAM));
    EXPECT_EQ(ParameterValue::STRING_TYPE,
              known.retrieveType(s_szINFRA_CALLLOGGER_OUTPUTFILESUFFIX_PARAM));
    EXPECT_EQ(ParameterValue::INT_TYPE,
              known.retrieveType(s_szINFRA_CALLLOGGER_LOG1CALLOUTOF_PARAM));
}

TEST_F(CallAppenders, AParameterOfAnotherTypeCountsAsNone)
{
    beConfigured("keswardin.infra.CallLogger.log1CallOutOf=often\n"
                 "keswardin.infra.CallLogger.dateTimeDirectory=7\n");

    m_factory.newAppender("1");
    m_factory.newAppender("2");

    EXPECT_THAT(files(), ElementsAre("1", "2"));
}

// The sample.

TEST_F(CallAppenders, TheFirstOfEachGroupOfCallsHasOne)
{
    beConfigured("keswardin.infra.CallLogger.log1CallOutOf=3\n");

    std::vector<bool> made;
    for (int iCall = 0; iCall < 7; ++iCall)
        made.push_back(!!m_factory.newAppender(std::to_string(iCall).c_str()));

    EXPECT_THAT(made, ElementsAre(true, false, false, true, false, false, true));
    EXPECT_THAT(files(), ElementsAre("0", "3", "6"));
}

TEST_F(CallAppenders, ASampleBelowOneIsReplacedByOneWithAWarning)
{
    for (const char* const szValue : {"0", "-3"})
    {
        m_log.clear();
        EXPECT_TRUE(configure(std::string("keswardin.infra.CallLogger.log1CallOutOf=") + szValue));

        EXPECT_THAT(linesFrom(WARN_LOG_LEVEL),
                    ElementsAre(warnLine(s_szLogger,
                                         std::string(szValue) +
                                             " is an invalid value for parameter "
                                             "keswardin.infra.CallLogger.log1CallOutOf. Valid if "
                                             ">= 1. Will use 1")));
        EXPECT_TRUE(m_factory.newAppender("1"));
        EXPECT_TRUE(m_factory.newAppender("2"));
    }
}

TEST_F(CallAppenders, TheCountGoesOnWhenTheyAreConfiguredAgain)
{
    beConfigured("keswardin.infra.CallLogger.log1CallOutOf=2\n");
    EXPECT_TRUE(m_factory.newAppender("0"));
    beConfigured("keswardin.infra.CallLogger.log1CallOutOf=2\n");

    EXPECT_FALSE(m_factory.newAppender("1"));
    EXPECT_TRUE(m_factory.newAppender("2"));
}

// The file.

TEST_F(CallAppenders, AFileIsNamedByPrefixIdAndSuffixAndItsNameIsLogged)
{
    beConfigured("keswardin.infra.CallLogger.outputFilePrefix=call-\n"
                 "keswardin.infra.CallLogger.outputFileSuffix=.log\n");

    EXPECT_TRUE(m_factory.newAppender("a84b4c76@192.0.2.17"));

    const std::string strFile = calls() + "/call-a84b4c76@192.0.2.17.log";
    EXPECT_TRUE(std::filesystem::exists(strFile));
    EXPECT_EQ(debugLine(s_szLogger, "Filename for new call is : " + strFile +
                                        " and log4cplus property for new call is : " + strFile),
              m_log.lines().front());
}

TEST_F(CallAppenders, InADirectoryByTheTimeAFileIsFourLevelsDeeper)
{
    beConfigured("keswardin.infra.CallLogger.dateTimeDirectory=true\n");
    std::string strBefore;
    DateTimeDirectory::formName(strBefore);

    EXPECT_TRUE(m_factory.newAppender("abc"));

    std::string strAfter;
    DateTimeDirectory::formName(strAfter);
    EXPECT_THAT(files(), ElementsAre(testing::AnyOf(strBefore + "/abc", strAfter + "/abc")));
    EXPECT_THAT(m_log.lines().front().strText,
                testing::EndsWith(" : " + calls() + "/" + files().front()));
}

TEST_F(CallAppenders, AnIdFromTheNetworkCannotLeaveTheDirectory)
{
    beConfigured("keswardin.infra.CallLogger.outputFileSuffix=.log\n");

    EXPECT_TRUE(m_factory.newAppender("../../escaped"));
    EXPECT_TRUE(m_factory.newAppender("a/b"));
    EXPECT_TRUE(m_factory.newAppender(""));

    EXPECT_THAT(files(), ElementsAre("%..%2F..%2Fescaped.log", "%.log", "%a%2Fb.log"));
    EXPECT_THAT(namesIn(m_directory.path()), ElementsAre("calls"));
}

TEST_F(CallAppenders, AVeryLongIdHasItsFileInDirectoriesOfItsOwn)
{
    beConfigured();
    const std::string strId(600, 'x');

    EXPECT_TRUE(m_factory.newAppender(strId.c_str()));

    ASSERT_THAT(files(), SizeIs(1));
    EXPECT_EQ(strId, CallFileName("", "").callIdOf(files().front()));
    EXPECT_THAT(m_log.lines().front().strText,
                testing::EndsWith(" : " + calls() + "/" + files().front()));
}

TEST_F(CallAppenders, AnIdThatNoPathCanHoldHasNoFile)
{
    beConfigured();
    const std::string strId(PATH_MAX, 'x');

    EXPECT_FALSE(m_factory.newAppender(strId.c_str()));

    EXPECT_THAT(files(), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(calls()));
    ASSERT_THAT(m_log.lines(), SizeIs(1));
    EXPECT_THAT(
        m_log.lines().front().strText,
        testing::StartsWith("failed to create call logging directory " + calls() + "/%xxx"));
    EXPECT_THAT(m_log.lines().front().strText, testing::EndsWith("x%. File name too long"));
    EXPECT_EQ(ERROR_LOG_LEVEL, m_log.lines().front().level);
}

TEST_F(CallAppenders, ADirectoryThatHasVanishedIsMadeAgain)
{
    beConfigured();
    std::filesystem::remove(calls());

    EXPECT_TRUE(m_factory.newAppender("abc"));

    EXPECT_THAT(files(), ElementsAre("abc"));
}

TEST_F(CallAppenders, ADirectoryThatCannotBeMadeAgainMeansNoFileAndOneError)
{
    beConfigured();
    std::filesystem::remove(calls());
    m_directory.write("calls", "in the way");

    EXPECT_FALSE(m_factory.newAppender("abc"));

    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(errorLine(s_szLogger, "failed to create call logging directory " +
                                                      calls() + ". File exists")));
}

TEST_F(CallAppenders, AFileOfAnEarlierCallIsEmptiedAlsoWithAppend)
{
    beConfigured("log4cplus.appender.CALL_LOG_APPENDER.Append=true\n");
    m_directory.write("calls/abc", "an earlier call\n");

    m_factory.newAppender("abc");

    EXPECT_THAT(m_directory.read("calls/abc"), Not(HasSubstr("earlier")));
}

TEST_F(CallAppenders, AsyncAppendIsDropped)
{
    beConfigured("log4cplus.appender.CALL_LOG_APPENDER.AsyncAppend=true\n");
    const log4cplus::SharedAppenderPtr pAppender = m_factory.newAppender("abc");

    // An asynchronous appender would need log4cplus's threads, which the library has ended.
    pAppender->doAppend(
        log4cplus::spi::InternalLoggingEvent("test", INFO_LOG_LEVEL, "line", nullptr, -1));

    EXPECT_THAT(m_directory.read("calls/abc"), HasSubstr("INFO test: line\n"));
}

TEST_F(CallAppenders, AnUnknownLayoutMeansNoFileAndOneError)
{
    beConfigured("log4cplus.appender.CALL_LOG_APPENDER.layout=NoSuchLayout\n");
    testing::internal::CaptureStderr();

    EXPECT_FALSE(m_factory.newAppender("abc"));

    testing::internal::GetCapturedStderr();
    ASSERT_THAT(linesFrom(ERROR_LOG_LEVEL), SizeIs(1));
    EXPECT_EQ(errorLine(s_szLogger, "failed to create call logging appender for " + calls() +
                                        "/abc. Cannot find LayoutFactory: \"NoSuchLayout\""),
              linesFrom(ERROR_LOG_LEVEL).front());
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(CallAppenders, AFileThatCannotBeOpenedIsReportedByLog4cplusAndTheAppenderIsThere)
{
    beConfigured();
    std::filesystem::create_directory(calls() + "/abc");
    testing::internal::CaptureStderr();

    log4cplus::SharedAppenderPtr pAppender = m_factory.newAppender("abc");

    EXPECT_TRUE(pAppender);
    pAppender = log4cplus::SharedAppenderPtr();
    EXPECT_EQ("log4cplus:ERROR Unable to open file: " + calls() +
                  "/abc\nlog4cplus:ERROR cannot open " + calls() + "/abc: Is a directory\n",
              testing::internal::GetCapturedStderr());
    EXPECT_THAT(linesFrom(INFO_LOG_LEVEL), IsEmpty());
}

TEST_F(CallAppenders, TheLevelOfTheLoggerIsThatOfTheMomentAndItsOperationsAreTraced)
{
    std::filesystem::create_directory(calls());
    m_factory.getLogger().setLogLevel(TRACE_LOG_LEVEL);
    log4cplus::Logger::getInstance(s_szLogger).setLogLevel(log4cplus::NOT_SET_LOG_LEVEL);
    log4cplus::Logger::getRoot().setLogLevel(WARN_LOG_LEVEL);
    EXPECT_TRUE(configure());
    m_factory.newAppender("abc");
    EXPECT_THAT(m_log.lines(), IsEmpty());
    log4cplus::Logger::getRoot().setLogLevel(TRACE_LOG_LEVEL);

    EXPECT_TRUE(configure());
    m_factory.newAppender("abc");

    std::vector<std::string> traced;
    for (const LogLine& line : m_log.linesOf(s_szLogger))
        if (line.level == TRACE_LOG_LEVEL)
            traced.push_back(line.strText);
    EXPECT_THAT(traced, ElementsAre("entering CallAppenderFactory::configure",
                                    "exiting CallAppenderFactory::configure",
                                    "entering CallAppenderFactory::newAppender",
                                    "exiting CallAppenderFactory::newAppender"));
}

TEST_F(CallAppenders, ANewAppenderLooksAtTheLevelAgainToo)
{
    log4cplus::Logger::getRoot().setLogLevel(WARN_LOG_LEVEL);
    EXPECT_TRUE(configure());
    log4cplus::Logger::getRoot().setLogLevel(DEBUG_LOG_LEVEL);

    const log4cplus::SharedAppenderPtr pAppender = m_factory.newAppender("abc");

    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debugLine(s_szLogger, "Filename for new call is : " + calls() +
                                                      "/abc and log4cplus property for new call "
                                                      "is : " +
                                                      calls() + "/abc")));
}

} // namespace Velmora::Test
