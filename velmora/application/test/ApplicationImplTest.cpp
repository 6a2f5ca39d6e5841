// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ApplicationImpl.h"

#include "velmora/application/BuildInfo.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/RWGlobalConfig.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextOf.h"

#include <ace/Profile_Timer.h>
#include <boost/program_options.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmora::Test
{

namespace
{

namespace po = boost::program_options;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* s_szLogger = "keswardin.test.Program";

/// A program that does not configure logging, since the test captures the log. It exposes the
/// protected functions.
class Program : public ApplicationImpl
{
  public:
    Program() : ApplicationImpl(Logger(s_szLogger), "not used") {}
    explicit Program(const char* in_szName) : ApplicationImpl(in_szName) {}

    using ApplicationImpl::conflictingOptions;
    using ApplicationImpl::getAllowedOptions;
    using ApplicationImpl::getExitTimeout;
    using ApplicationImpl::getHiddenOptions;
    using ApplicationImpl::getKillTimeout;
    using ApplicationImpl::getParamInfo;
    using ApplicationImpl::getPositionalOptions;
    using ApplicationImpl::getProfileTimer;
    using ApplicationImpl::getProgname;
    using ApplicationImpl::getPutEnvOptionName;
    using ApplicationImpl::getSetCwdOptionName;
    using ApplicationImpl::getVariablesMap;
    using ApplicationImpl::logHelpMessage;
    using ApplicationImpl::logProfileStats;
    using ApplicationImpl::logUsageAndActualCommandLine;
    using ApplicationImpl::optionDependency;
    using ApplicationImpl::processHelpParamInfoOptions;
    using ApplicationImpl::writeUsage;

    void run() override {}

    /// Calls `initialize` with the program's path and these arguments.
    bool start(std::initializer_list<const char*> in_arguments)
    {
        m_texts.assign(in_arguments.begin(), in_arguments.end());
        m_texts.insert(m_texts.begin(), "/opt/bin/gateway.bin");
        m_argv.clear();
        for (std::string& strText : m_texts)
            m_argv.push_back(strText.data());
        const int iArguments = static_cast<int>(m_argv.size());
        m_argv.push_back(nullptr);
        return initialize(iArguments, m_argv.data());
    }

    /// Is called with the options of the command line, after those of the base class.
    std::function<bool(const po::variables_map&)> m_processMore;

    /// Is called instead of the default configuration of logging.
    std::function<bool()> m_configureLogger = []
    {
        Logger().setLogLevel(TRACE_LOG_LEVEL);
        return true;
    };

    /// Calls the default configuration of the base class.
    bool configureLoggerOfFrame() { return ApplicationImpl::configureLoggerDefault(); }

  protected:
    bool configureLoggerDefault() override { return m_configureLogger(); }

    bool processCmdlineVarsMap(const po::variables_map& in_variables) override
    {
        return ApplicationImpl::processCmdlineVarsMap(in_variables) &&
               (!m_processMore || m_processMore(in_variables));
    }

  private:
    std::vector<std::string> m_texts;
    std::vector<char*> m_argv;
};

std::string usageOf(const Program& in_program)
{
    std::ostringstream text;
    in_program.writeUsage(text);
    return text.str();
}

/// Returns the options of a command line.
po::variables_map variablesOf(const std::vector<std::string>& in_arguments)
{
    po::options_description options;
    options.add_options()("one", "")("two", "")("level", po::value<int>()->default_value(3))(
        "colour", po::value<int>()->default_value(4));
    po::variables_map variables;
    po::store(po::command_line_parser(in_arguments).options(options).run(), variables);
    return variables;
}

std::string messageOf(const std::function<void()>& in_deed)
{
    try
    {
        in_deed();
    }
    catch (const std::logic_error& error)
    {
        return error.what();
    }
    return "no error";
}

std::vector<LogLine> linesWithout(std::vector<LogLine> in_lines, LogLevel in_level)
{
    std::erase_if(in_lines,
                  [in_level](const LogLine& in_line) { return in_line.level == in_level; });
    return in_lines;
}

} // namespace

static_assert(!std::is_copy_constructible_v<Program>);

// Construction

TEST(ApplicationImpl, LogsThroughTheLoggerThatItIsGiven)
{
    const Program program;
    EXPECT_EQ(s_szLogger, program.getAppLogger().getName());
    EXPECT_EQ(&program.getLogger(), &program.getAppLogger());
}

TEST(ApplicationImpl, LogsThroughTheLoggerOfItsFileWithoutOneOfItsOwn)
{
    EXPECT_EQ("keswardin.infra.Application", Program("gateway").getAppLogger().getName());
}

TEST(ApplicationImpl, TakesNoTextForAName)
{
    EXPECT_EQ("keswardin.infra.Application", Program(nullptr).getAppLogger().getName());
}

TEST(ApplicationImpl, ConstructionSetsTheLevelToWarn)
{
    const CapturedLog log;
    Logger().setLogLevel(DEBUG_LOG_LEVEL);
    const Program program;
    EXPECT_EQ(WARN_LOG_LEVEL, Logger().getLogLevel());
}

TEST(ApplicationImpl, ConstructionPreparesForCoreDumps)
{
    rlimit limits{RLIM_INFINITY, RLIM_INFINITY};
    if (setrlimit(RLIMIT_CORE, &limits) != 0)
        GTEST_SKIP() << "this user may not remove the limit of core files";
    limits.rlim_cur = 0;
    ASSERT_EQ(0, setrlimit(RLIMIT_CORE, &limits));
    const std::filesystem::path directory = std::filesystem::current_path();
    const Program program;
    ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &limits));
    EXPECT_EQ(RLIM_INFINITY, limits.rlim_cur);
    EXPECT_EQ(directory, std::filesystem::current_path());
}

TEST(ApplicationImpl, HasNoTimeBeforeItIsInitialised)
{
    const Program program;
    EXPECT_EQ(ACE_Time_Value::zero, program.getExitTimeout());
    EXPECT_EQ(ACE_Time_Value::zero, program.getKillTimeout());
}

TEST(ApplicationImpl, ItsConfigurationIsThatOfTheProcess)
{
    const Program program;
    const TSHandle<ROConfiguration> hConfig = program.getConfig();
    EXPECT_EQ(static_cast<const ROConfiguration*>(GlobalConfig::getInstance().get()),
              hConfig.get());
}

TEST(ApplicationImpl, NamesItsOptions)
{
    EXPECT_STREQ("setcwd", Program::getSetCwdOptionName());
    EXPECT_STREQ("putenv", Program::getPutEnvOptionName());
}

// Logging

TEST(ApplicationImpl, DefaultLoggingIsFromWarnOn)
{
    const CapturedLog log;
    Program program;
    Logger().setLogLevel(DEBUG_LOG_LEVEL);
    EXPECT_TRUE(program.configureLoggerOfFrame());
    EXPECT_EQ(WARN_LOG_LEVEL, Logger().getLogLevel());
    EXPECT_EQ(DEBUG_LOG_LEVEL, log4cplus::Logger::getRoot().getLogLevel());
}

TEST(ApplicationImpl, TracesItsInitialisation)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Program program;
    Logger().setLogLevel(TRACE_LOG_LEVEL);
    EXPECT_TRUE(program.start({}));
    const std::vector<LogLine> lines = log.linesOf(s_szLogger);
    EXPECT_EQ(traceLine(s_szLogger, "entering ApplicationImpl::initialize"), lines.front());
    EXPECT_EQ(traceLine(s_szLogger, "exiting ApplicationImpl::initialize"), lines.back());
}

TEST(ApplicationImpl, LogsTheVersionForSupport)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_TRUE(Program().start({}));
    EXPECT_THAT(
        log.linesOf("keswardin.support"),
        ElementsAre(debugLine("keswardin.support", "Version control : branch=branches/team/orrin/"
                                                   "velmora-2.1-linux, revision=17669?")));
}

TEST(ApplicationImpl, ItsLinesCarryItsIdentifiers)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    Program program;
    program.getLogger().addLoggingId("node=7");
    EXPECT_TRUE(program.start({"--build-info"}));
    EXPECT_THAT(log.linesOf(s_szLogger),
                Contains(testing::Field(&LogLine::strText, StartsWith("node=7 Build Info"))));
    EXPECT_THAT(log.linesOf(s_szLogger),
                Contains(testing::Field(&LogLine::strText, StartsWith("node=7 Start-up"))));
}

// Options

TEST(ApplicationImpl, AnOptionOfADerivedClassIsShownAndRead)
{
    const CapturedLog log;
    Program program;
    program.getAllowedOptions().add_options()("fast", "runs fast");
    EXPECT_TRUE(program.start({"--fast"}));
    EXPECT_EQ(1U, program.getVariablesMap().count("fast"));
    EXPECT_THAT(usageOf(program), HasSubstr("  --fast                runs fast\n"));
}

TEST(ApplicationImpl, AHiddenOptionIsReadAndNotShown)
{
    const CapturedLog log;
    Program program;
    program.getHiddenOptions().add_options()("secret", "keeps quiet");
    EXPECT_TRUE(program.start({"--secret"}));
    EXPECT_EQ(1U, program.getVariablesMap().count("secret"));
    EXPECT_THAT(usageOf(program), Not(HasSubstr("secret")));
}

TEST(ApplicationImpl, APositionalOptionIsRead)
{
    const CapturedLog log;
    Program program;
    program.getHiddenOptions().add_options()("input", po::value<std::string>(), "");
    program.getPositionalOptions().add("input", 1);
    EXPECT_TRUE(program.start({"a.wav"}));
    EXPECT_EQ("a.wav", program.getVariablesMap()["input"].as<std::string>());
}

TEST(ApplicationImpl, WhatADerivedClassThrowsOfItsOptionsIsAnErrorWithTheUsage)
{
    const CapturedLog log;
    Program program;
    program.m_processMore = [](const po::variables_map& in_variables)
    {
        Program::optionDependency(in_variables, "build-info", "setcwd");
        return true;
    };
    EXPECT_FALSE(program.start({"--build-info"}));
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(errorLine(s_szLogger, "Option 'build-info' requires option 'setcwd'."),
                    infoLine(s_szLogger, usageOf(program) + "\nActual command line : "
                                                            "/opt/bin/gateway.bin --build-info")));
}

TEST(ApplicationImpl, WhatADerivedClassRefusesOfItsOptionsIsAnsweredWithTheUsage)
{
    const CapturedLog log;
    Program program;
    program.m_processMore = [](const po::variables_map&) { return false; };
    EXPECT_FALSE(program.start({}));
    EXPECT_THAT(log.linesOf(s_szLogger),
                ElementsAre(infoLine(s_szLogger, usageOf(program) + "\nActual command line : "
                                                                    "/opt/bin/gateway.bin")));
}

namespace
{

/// Returns the message of the exception for options without a required one; empty if there is none.
std::string dependencyError(const std::vector<std::string>& in_arguments, const char* in_szForWhat,
                            const char* in_szRequired)
{
    return messageOf(
        [&] { Program::optionDependency(variablesOf(in_arguments), in_szForWhat, in_szRequired); });
}

} // namespace

TEST(ApplicationImpl, AnOptionMayRequireAnother)
{
    EXPECT_EQ("Option 'one' requires option 'two'.", dependencyError({"--one"}, "one", "two"));
    EXPECT_EQ("no error", dependencyError({"--one", "--two"}, "one", "two"));
    EXPECT_EQ("no error", dependencyError({"--two"}, "one", "two"));
    EXPECT_EQ("no error", dependencyError({}, "one", "two"));
}

TEST(ApplicationImpl, ADefaultNeitherRequiresNorIsWhatIsRequired)
{
    EXPECT_EQ("no error", dependencyError({}, "level", "one"));
    EXPECT_EQ("Option 'level' requires option 'one'.",
              dependencyError({"--level=5"}, "level", "one"));
    EXPECT_EQ("Option 'one' requires option 'level'.", dependencyError({"--one"}, "one", "level"));
    EXPECT_EQ("no error", dependencyError({"--one", "--level=3"}, "one", "level"));
}

TEST(ApplicationImpl, TwoOptionsMayConflict)
{
    const auto conflict = [](const std::vector<std::string>& in_arguments, const char* in_szOption1,
                             const char* in_szOption2)
    {
        return messageOf(
            [&] {
                Program::conflictingOptions(variablesOf(in_arguments), in_szOption1, in_szOption2);
            });
    };
    EXPECT_EQ("Conflicting options 'one' and 'two'.", conflict({"--one", "--two"}, "one", "two"));
    EXPECT_EQ("no error", conflict({"--one"}, "one", "two"));
    EXPECT_EQ("no error", conflict({"--two"}, "one", "two"));
    EXPECT_EQ("no error", conflict({}, "level", "colour"));
    EXPECT_EQ("no error", conflict({"--level=5"}, "level", "colour"));
    EXPECT_EQ("no error", conflict({"--colour=5"}, "level", "colour"));
    EXPECT_EQ("Conflicting options 'level' and 'colour'.",
              conflict({"--level=3", "--colour=4"}, "level", "colour"));
}

// Texts for the user

TEST(ApplicationImpl, ItsNameIsThatOfItsFile)
{
    const CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({}));
    EXPECT_EQ("gateway", program.getProgname());
}

TEST(ApplicationImpl, HasNoNameBeforeItIsInitialised)
{
    const CapturedLog log;
    const Program program;
    EXPECT_EQ("", program.getProgname());
    EXPECT_THAT(failedAssertions(log), ElementsAre(failedAssertion("!m_origArgVector.empty()",
                                                                   "ApplicationImpl", s_szLogger)));
}

TEST(ApplicationImpl, ItsHelpIsItsUsageAndPassesAtAnyLevel)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({}));
    EXPECT_THAT(usageOf(program), StartsWith("Usage : gateway [options]\nAllowed options:\n"));
    Logger().setLogLevel(FATAL_LOG_LEVEL);
    log4cplus::Logger::getRoot().setLogLevel(FATAL_LOG_LEVEL);
    log.clear();
    program.logHelpMessage();
    ASSERT_THAT(log.lines(), ElementsAre(infoLine(s_szLogger, usageOf(program))));
    EXPECT_EQ("", log.lines().front().strFile);
    EXPECT_EQ(-1, log.lines().front().iLine);
}

TEST(ApplicationImpl, ShowsItsCommandLineBehindTheUsageAtAnyLevel)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({"--putenv", "A=b c"}));
    Logger().setLogLevel(FATAL_LOG_LEVEL);
    log.clear();
    program.logUsageAndActualCommandLine();
    ASSERT_THAT(log.lines(),
                ElementsAre(infoLine(s_szLogger, usageOf(program) +
                                                     "\nActual command line : "
                                                     "/opt/bin/gateway.bin --putenv A=b c")));
    EXPECT_EQ("", log.lines().front().strFile);
    EXPECT_EQ(-1, log.lines().front().iLine);
}

TEST(ApplicationImpl, MasksTheSecretsOfItsCommandLine)
{
    const CapturedLog log;
    Program program;
    EXPECT_FALSE(program.start({"--global-confg=db://gw:hunter2@host/x", "--global-config",
                                "db://gw:hunter3@host/x", "--putenv", "PGPASSWORD=hunter4"}));
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(
            errorLine(s_szLogger, "unrecognised option '--global-confg=db://gw:***@host/x'"),
            infoLine(s_szLogger, usageOf(program) +
                                     "\nActual command line : /opt/bin/gateway.bin "
                                     "--global-confg=db://gw:***@host/x --global-config "
                                     "db://gw:***@host/x --putenv PGPASSWORD=***")));
}

TEST(ApplicationImpl, HandlesNothingThatWasNotAskedFor)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    Program program;
    EXPECT_TRUE(program.start({}));
    log.clear();
    bool bHandled = true;
    program.processHelpParamInfoOptions(bHandled);
    EXPECT_FALSE(bHandled);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ApplicationImpl, HandlesHelpBeforeParameters)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({"--help", "--get-param-info", "^$"}));
    log.clear();
    bool bHandled = false;
    program.processHelpParamInfoOptions(bHandled);
    EXPECT_TRUE(bHandled);
    EXPECT_THAT(log.lines(), ElementsAre(infoLine(s_szLogger, usageOf(program))));
}

TEST(ApplicationImpl, HandlesParametersInTheOrderOfTheCommandLine)
{
    CapturedLog log(TRACE_LOG_LEVEL);
    Program program;
    EXPECT_TRUE(
        program.start({"--get-param-info", "^keswardin.run.mode$", "--get-param-info", "^$"}));
    log.clear();
    bool bHandled = false;
    program.processHelpParamInfoOptions(bHandled);
    EXPECT_TRUE(bHandled);
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(
            traceLine(s_szLogger, "entering ApplicationImpl::getParamInfo"),
            infoLine(s_szLogger,
                     "Parameter information for regexp ^keswardin.run.mode$ : \n"
                     "name=keswardin.run.mode type=STRING default-value=production "
                     "run-time-settable=true deprecated=false description=\"The mode in which the "
                     "application runs : production|development. Currently affects logging only\""),
            infoLine(s_szLogger, "Parameter information for regexp ^$ : "),
            traceLine(s_szLogger, "exiting ApplicationImpl::getParamInfo")));
}

TEST(ApplicationImpl, LogsParametersAtAnyLevel)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({"--get-param-info", "(", "--get-param-info", "^$"}));
    Logger().setLogLevel(FATAL_LOG_LEVEL);
    log.clear();
    program.getParamInfo();
    const std::vector<LogLine> lines = log.lines();
    EXPECT_THAT(lines, ElementsAre(infoLine(s_szLogger, "NO PARAMETER FOUND for name regexp ("),
                                   infoLine(s_szLogger, "Parameter information for regexp ^$ : ")));
    for (const LogLine& line : lines)
    {
        EXPECT_EQ("", line.strFile);
        EXPECT_EQ(-1, line.iLine);
    }
}

TEST(ApplicationImpl, LogsTheBuildInfoAtAnyLevel)
{
    CapturedLog log;
    Program program;
    program.m_configureLogger = []
    {
        Logger().setLogLevel(FATAL_LOG_LEVEL);
        return true;
    };
    EXPECT_TRUE(program.start({"--build-info"}));
    ASSERT_THAT(
        log.linesOf(s_szLogger),
        ElementsAre(infoLine(s_szLogger, "Build Info :\n" + written(*BuildInfo::getInstance()))));
    EXPECT_EQ("", log.linesOf(s_szLogger).front().strFile);
    EXPECT_EQ(-1, log.linesOf(s_szLogger).front().iLine);
}

// The configuration

TEST(ApplicationImpl, AnUnknownRunModeIsFoundWithoutASource)
{
    const CapturedLog log;
    Program program;
    ASSERT_TRUE(RWGlobalConfig::getInstance()->setStringParameter("keswardin.run.mode", "test"));
    EXPECT_FALSE(program.start({}));
    ASSERT_TRUE(
        RWGlobalConfig::getInstance()->setStringParameter("keswardin.run.mode", "production"));
    EXPECT_THAT(
        linesWithout(log.linesOf(s_szLogger), TRACE_LOG_LEVEL),
        ElementsAre(errorLine(s_szLogger, "invalid run mode in Global Configuration : test")));
}

TEST(ApplicationImpl, TracesThatItConfiguresTheLoggerFromASource)
{
    const TemporaryDirectory directory;
    const std::string strSource = directory.write("gateway.cfg", "keswardin.exitTimeoutSec=7\n");
    const CapturedLog log(TRACE_LOG_LEVEL);
    Program program;
    EXPECT_FALSE(program.start({"--global-config", strSource.c_str()}))
        << "it says nothing of logs";
    EXPECT_THAT(
        log.linesOf(s_szLogger),
        testing::Contains(traceLine(s_szLogger, "Configuring the Logger from the Global Config")));
}

TEST(ApplicationImpl, LeavesTheConfigurationOpen)
{
    const CapturedLog log;
    EXPECT_TRUE(Program().start({}));
    EXPECT_TRUE(RWGlobalConfig::getInstance()->setIntParameter("keswardin.oam.webServicePort", 81));
    EXPECT_TRUE(GlobalConfig::getInstance()->addDefaults(false));
    EXPECT_THAT(log.linesOf("keswardin.infra.GlobalConfig"), IsEmpty());
}

TEST(ApplicationImpl, ATimeoutIsReadAgainAtEachInitialisation)
{
    const CapturedLog log;
    Program program;
    const TSHandle<RWGlobalConfig>& hConfig = RWGlobalConfig::getInstance();
    ASSERT_TRUE(hConfig->setIntParameter("keswardin.exitTimeoutSec", 30));
    ASSERT_TRUE(hConfig->setIntParameter("keswardin.killTimeoutSec", 0));
    EXPECT_TRUE(program.start({}));
    EXPECT_EQ(ACE_Time_Value(30), program.getExitTimeout());
    EXPECT_EQ(ACE_Time_Value::zero, program.getKillTimeout());
    ASSERT_TRUE(hConfig->setIntParameter("keswardin.exitTimeoutSec", -1));
    ASSERT_TRUE(hConfig->setIntParameter("keswardin.killTimeoutSec", -1));
    EXPECT_TRUE(program.start({}));
    EXPECT_EQ(ACE_Time_Value::max_time, program.getExitTimeout());
    EXPECT_EQ(ACE_Time_Value::max_time, program.getKillTimeout());
}

// Times

TEST(ApplicationImpl, AllTimesAreZeroWhereNobodyHasStartedTheTimer)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({}));
    log.clear();
    program.logProfileStats();
    const std::string strText =
        "Process " + std::to_string(getpid()) + " elapsed time : real=0 kernel=0 user=0 k+u=0";
    EXPECT_THAT(log.lines(), ElementsAre(debugLine(s_szLogger, strText),
                                         debugLine("keswardin.profiling", strText)));
}

TEST(ApplicationImpl, LogsTheTimesThatTheProgramHasMeasured)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({}));
    log.clear();
    program.getProfileTimer().start();
    program.getProfileTimer().stop();
    ACE_Profile_Timer::ACE_Elapsed_Time elapsed{};
    program.getProfileTimer().elapsed_time(elapsed);
    program.logProfileStats();
    const std::string strText =
        textOf("Process ", getpid(), " elapsed time : real=", elapsed.real_time,
               " kernel=", elapsed.system_time, " user=", elapsed.user_time,
               " k+u=", elapsed.system_time + elapsed.user_time);
    EXPECT_EQ(debugLine(s_szLogger, strText), log.lines().front());
}

TEST(ApplicationImpl, LogsTimesTheSameInEachLocale)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({}));
    log.clear();
    program.getProfileTimer().start();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    program.getProfileTimer().stop();
    program.logProfileStats();
    const std::string strText = log.lines().front().strText;
    const GlobalLocale locale;
    log.clear();
    program.logProfileStats();
    EXPECT_EQ(strText, log.lines().front().strText);
}

TEST(ApplicationImpl, LogsTimesOnlyToLoggersThatListen)
{
    CapturedLog log;
    Program program;
    EXPECT_TRUE(program.start({}));
    log.clear();
    Logger(s_szLogger).setLogLevel(INFO_LOG_LEVEL);
    program.logProfileStats();
    EXPECT_THAT(log.lines(),
                ElementsAre(testing::Field(&LogLine::strLogger, "keswardin.profiling")));
    log.clear();
    Logger(s_szLogger).setLogLevel(DEBUG_LOG_LEVEL);
    Logger("keswardin.profiling").setLogLevel(INFO_LOG_LEVEL);
    program.logProfileStats();
    EXPECT_THAT(log.lines(), ElementsAre(testing::Field(&LogLine::strLogger, s_szLogger)));
}

} // namespace Velmora::Test
