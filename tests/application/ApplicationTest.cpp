// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/BuildInfo.h"
#include "velmora/config/ConfigurationCheck.h"
#include "velmora/config/ParameterInfoDB.h"

#include "tests/application/StartedProgram.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;

const std::string s_strUsage =
    "Usage : application-starts [options]\n"
    "Allowed options:\n"
    "  -h [ --help ]         produce help message\n"
    "  --global-config arg   adds parameters in file arg to the global app \n"
    "                        configuration\n"
    "  --get-param-info arg  to get information on a parameter. arg can be a regexp\n"
    "  --setcwd arg          sets the current working directory. Useful to resolve \n"
    "                        relative paths\n"
    "  --putenv arg          sets process environment variables. Argument syntax is \n"
    "                        VARNAME=VALUE\n"
    "  --build-info          output the build info\n";

/// A logging section that cannot be used, and the message of log4cplus about it.
const std::string s_strLoud = "log4cplus.rootLogger=LOUD, OUT\n";
const std::string s_strErrorsOfLoud = "log4cplus:ERROR Unrecognized log level: LOUD\n";
const Texts s_aWarningsOfLoud{
    "WARN - log4cplus.rootLogger = LOUD, OUT : \"LOUD\" is no level; write OFF, FATAL, ERROR, "
    "WARN, "
    "INFO, DEBUG, TRACE or ALL",
    "WARN - log4cplus.rootLogger = LOUD, OUT : there is no appender \"OUT\"; add "
    "log4cplus.appender.OUT or remove it from the list"};

const std::string s_strReverted =
    "ERROR - failed to configure the logger from the Global Configuration. Reverted to a default "
    "logger configuration";

/// The line of the alarm that a bad configuration turns on, in the format of the default logging.
const std::string s_strAlarm = "ERROR - Alarm [system.configuration.error] : ALARM_ON";

/// Runs the program with the given deeds and command line. Expects that it writes nothing to
/// standard error except `in_strErrors`.
HelperResult start(const Texts& in_deeds, const Texts& in_arguments,
                   const std::string& in_strErrors = "")
{
    HelperResult result = startProgram(VELMORA_HELPER_APPLICATION_STARTS, in_deeds, in_arguments);
    EXPECT_EQ(in_strErrors, result.strErrors);
    return result;
}

/// Returns the same lines as `outputLines`, as one text.
std::string outputOf(const HelperResult& in_result)
{
    std::string strOutput;
    for (const std::string& strLine : outputLines(in_result))
        strOutput += strLine + '\n';
    return strOutput;
}

/// Returns the lines with the usage and the command line, which follow the line of a failure.
std::string usageAndCommandLine(const Texts& in_arguments)
{
    std::string strText =
        "INFO - " + s_strUsage + "\nActual command line : " VELMORA_HELPER_APPLICATION_STARTS;
    for (const std::string& strArgument : in_arguments)
        strText += " " + strArgument;
    return strText + "\n";
}

/// Expects that the start fails before the configuration is read: with an error, then the usage.
void expectUsageAfterError(const Texts& in_deeds, const Texts& in_arguments,
                           const std::string& in_strError)
{
    const HelperResult result = start(in_deeds, in_arguments);
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_EQ("ERROR - " + in_strError + "\n" + usageAndCommandLine(in_arguments) +
                  "initialize: 0\n",
              outputOf(result));
}

class Application : public testing::Test
{
  protected:
    /// Writes the text to a file and returns the options that load it.
    Texts configuration(const std::string& in_strText) const
    {
        return {"--global-config", m_directory.write("test.cfg", in_strText)};
    }

    [[nodiscard]] std::string path() const { return m_directory.path().string(); }

    TemporaryDirectory m_directory;
};

} // namespace

// Failures

TEST_F(Application, DoesNotStartWithoutADefaultLogger)
{
    const HelperResult result = start({"refuse-logger"}, {});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(
        outputLines(result),
        ElementsAre(MatchesRegex("ERROR - Assertion failed "
                                 "\\(configureLoggerDefault\\(in_argc, in_argv\\)\\) "
                                 "file=velmora/application/ApplicationImpl.cpp line=[0-9]+"),
                    "initialize: 0"));
}

TEST_F(Application, EndsAtAFailedAssertionWhereThatIsWanted)
{
    const HelperResult result = start({"refuse-logger", "abort-on-assert"}, {});
    EXPECT_EQ(SIGABRT, result.iSignal);
    EXPECT_THAT(result.strOutput,
                HasSubstr("FATAL - Assertion failed (configureLoggerDefault(in_argc, in_argv)) "));
    EXPECT_THAT(result.strOutput, Not(HasSubstr("initialize: ")));
}

TEST_F(Application, DoesNotStartWithoutArguments)
{
    const HelperResult result = start({"no-arguments"}, {});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre(MatchesRegex("ERROR - Assertion failed \\(! m_origArgVector.empty\\(\\)"
                                         "\\) file=velmora/application/ApplicationImpl.cpp "
                                         "line=[0-9]+"),
                            "initialize: 0"));
}

TEST_F(Application, ShowsTheUsageAfterAnUnknownOption)
{
    expectUsageAfterError({}, {"--colour"}, "unrecognised option '--colour'");
}

TEST_F(Application, ShowsTheUsageAfterAnArgumentThatIsNoOption)
{
    expectUsageAfterError({}, {"a.cfg"},
                          "too many positional options have been specified on the command line");
}

TEST_F(Application, ShowsTheUsageAfterAnOptionWithoutItsArgument)
{
    expectUsageAfterError({}, {"--global-config"},
                          "the required argument for option '--global-config' is missing");
}

TEST_F(Application, ShowsTheUsageAfterASecondWorkingDirectory)
{
    expectUsageAfterError({}, {"--setcwd", "/", "--setcwd", "/tmp"},
                          "option '--setcwd' cannot be specified more than once");
}

TEST_F(Application, ShowsTheUsageAfterAWorkingDirectoryThatDoesNotExist)
{
    const std::string strNowhere = m_directory.file("nowhere");
    expectUsageAfterError({}, {"--setcwd", strNowhere},
                          "failed to set current working directory to " + strNowhere +
                              "\nERROR - cannot change to directory " + strNowhere +
                              ": No such file or directory");
}

TEST_F(Application, StaysInItsDirectoryWhereTheOtherDoesNotExist)
{
    EXPECT_THAT(outputLines(start({"directory"}, {"--setcwd", m_directory.file("nowhere")})),
                Contains("directory: " + std::filesystem::current_path().string()));
}

TEST_F(Application, ShowsTheUsageAfterAVariableThatIsRefused)
{
    expectUsageAfterError({"refuse-putenv"}, {"--putenv", "REFUSED=1"},
                          "failed to set environment variable REFUSED=1\n"
                          "ERROR - cannot put REFUSED=1 into the environment: Cannot allocate "
                          "memory");
}

TEST_F(Application, SetsNoVariableAfterOneThatIsRefused)
{
    const HelperResult result =
        start({"refuse-putenv", "env=FIRST", "env=REFUSED", "env=LAST"},
              {"--putenv", "FIRST=1", "--putenv", "REFUSED=2", "--putenv", "LAST=3"});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                IsSupersetOf(Texts{"initialize: 0", "FIRST: 1", "REFUSED: none", "LAST: none"}));
}

TEST_F(Application, DoesNotStartWithAConfigurationThatIsNotThere)
{
    const std::string strNowhere = m_directory.file("nowhere.cfg");
    const HelperResult result = start({}, {"--global-config", strNowhere});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre("ERROR - failed to initialize Global Config : unable to "
                            "open " +
                                strNowhere + " for reading",
                            "ERROR - cannot open " + strNowhere + ": No such file or directory",
                            "ERROR - failed to initialize the Global Configuration", s_strAlarm,
                            "initialize: 0"));
}

TEST_F(Application, DoesNotStartWithALineThatIsOpen)
{
    const HelperResult result =
        start({}, configuration(s_strLogging + "keswardin.sip.userAgentName=${nobody.knows}\n"));
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre("ERROR - Unable to complete the configuration. Unknown parameters: "
                            "[keswardin.sip.userAgentName=${nobody.knows}]",
                            "ERROR - " + path() +
                                "/test.cfg:6 : no parameter and no environment variable is named "
                                "${nobody.knows} ; add the line \"nobody.knows = ...\", or correct "
                                "the tag",
                            "ERROR - failed to initialize the Global Configuration", s_strAlarm,
                            "initialize: 0"));
}

TEST_F(Application, KeepsTheDefaultLoggerWhereTheConfigurationCannotBeLoaded)
{
    Texts options = configuration(s_strLogging);
    options.insert(options.end(), {"--global-config", m_directory.file("nowhere.cfg")});
    const HelperResult result = start({"levels"}, options);
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result), Contains("levels: 10000 30000"));
    EXPECT_THAT(outputLines(result), Not(Contains(HasSubstr("configured "))));
}

TEST_F(Application, DoesNotAddDefaultsToAConfigurationThatCannotBeLoaded)
{
    EXPECT_THAT(outputLines(start({"param=keswardin.configTimeoutSec"},
                                  {"--global-config", m_directory.file("nowhere.cfg")})),
                Contains("keswardin.configTimeoutSec: UNDEF"));
}

TEST_F(Application, DoesNotStartInAnUnknownRunMode)
{
    const HelperResult result =
        start({"levels"}, configuration(s_strLogging + "keswardin.run.mode=test\n"));
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre("ERROR - invalid run mode in Global Configuration : test", s_strAlarm,
                            "initialize: 0", "levels: 10000 30000"));
}

TEST_F(Application, AcceptsCapitalLettersInTheRunMode)
{
    const HelperResult result =
        start({"param=keswardin.run.mode"},
              configuration(s_strLogging + "keswardin.run.mode=PRODUCTION\n"));
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                IsSupersetOf(Texts{"initialize: 1", "keswardin.run.mode: PRODUCTION", "run"}));
}

TEST_F(Application, GoesBackToTheDefaultLoggerWithoutALoggingSection)
{
    const HelperResult result = start({"levels"}, configuration("keswardin.configTimeoutSec=5\n"));
    EXPECT_EQ(1, result.iExitCode);
    const std::string strCause = "failed to configure Logger, no log4cplus section could be found";
    EXPECT_THAT(outputLines(result),
                ElementsAre("ERROR - " + strCause, "ERROR - " + strCause, s_strReverted, s_strAlarm,
                            "initialize: 0", "levels: 10000 30000"));
}

TEST_F(Application, GoesBackToTheDefaultLoggerFromALoggingSectionThatCannotBeUsed)
{
    const HelperResult result = start({"levels"}, configuration(s_strLoud), s_strErrorsOfLoud);
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre(s_aWarningsOfLoud[0], s_aWarningsOfLoud[1],
                            "ERROR - log4cplus.rootLogger=LOUD, OUT : Invalid logger "
                            "configuration. Invalid rootLogger log level.",
                            s_strReverted, s_strAlarm, "initialize: 0", "levels: 10000 30000"));
}

TEST_F(Application, DoesNotFallBackFromALoggingFileThatIsNotThere)
{
    const std::string strNowhere = m_directory.file("nowhere.properties");
    const HelperResult result =
        start({}, configuration(s_strLogging + "keswardin.infra.Logger.PropertiesFile.production=" +
                                strNowhere + "\n"));
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre("ERROR - cannot open " + strNowhere + ": No such file or directory",
                            "ERROR - failed to configure logger from file " + strNowhere +
                                ". Unable to open for reading",
                            s_strReverted, s_strAlarm, "initialize: 0"));
}

TEST_F(Application, AssertsThatItCanGoBackToTheDefaultLogger)
{
    const HelperResult result =
        start({"refuse-revert"}, configuration(s_strLoud), s_strErrorsOfLoud);
    EXPECT_EQ(1, result.iExitCode);
    // Later lines come from logging without a level, which passes DEBUG, too.
    const Texts lines = outputLines(result);
    ASSERT_LE(5U, lines.size());
    EXPECT_EQ(s_aWarningsOfLoud[0], lines[0]);
    EXPECT_EQ(s_aWarningsOfLoud[1], lines[1]);
    EXPECT_THAT(lines[2],
                MatchesRegex("ERROR - Assertion failed \\(configureLoggerDefault\\(\\)\\) "
                             "file=velmora/application/ApplicationImpl.cpp line=[0-9]+"));
    EXPECT_EQ(s_strAlarm, lines[3]);
    EXPECT_EQ("initialize: 0", lines[4]);
    EXPECT_THAT(result.strOutput, Not(HasSubstr(s_strReverted)));
}

TEST_F(Application, DoesNotStartWithADeprecatedParameter)
{
    const HelperResult result =
        start({}, configuration(s_strLogging + "keswardin.sip.transport=tcp\n"
                                               "keswardin.sip.trnasport=udp\n"));
    EXPECT_EQ(1, result.iExitCode);
    const std::string strUnknown = "Unknown parameter : keswardin.sip.trnasport. Closest known "
                                   "parameter : keswardin.sip.transport";
    const std::string strAdvice = path() + "/test.cfg:7 : write \"keswardin.sip.transport = udp\"";
    // The lines are logged by the new configuration. Unknown names are not checked after a failure,
    // so the lines of the load about them are logged again.
    EXPECT_THAT(
        outputLines(result),
        ElementsAre("WARN - " + strUnknown, "WARN - " + strAdvice,
                    "configured INFO keswardin.infra.GlobalConfig: Logger successfully configured "
                    "from Global Configuration",
                    "configured WARN keswardin.infra.ParameterInfo: Parameter "
                    "keswardin.sip.transport is deprecated. Use parameter sip.userAgent.IPAddress",
                    "configured WARN keswardin.infra.ParameterInfo: " + path() +
                        "/test.cfg:6 : write \"keswardin.sip.userAgent.IPAddress = ...\" instead",
                    "configured ERROR keswardin.test.Program: the Global Configuration contains "
                    "deprecated parameters. Please update your configuration",
                    "configured WARN keswardin.infra.ParameterTrie: " + strUnknown,
                    "configured WARN keswardin.infra.ParameterTrie: " + strAdvice,
                    "configured ERROR admin.alarm: Alarm [system.configuration.error] : ALARM_ON",
                    "initialize: 0"));
}

TEST_F(Application, DoesNotStartWithoutALibraryThatItIsToLoad)
{
    const HelperResult result = start(
        {}, configuration(s_strLogging + "keswardin.startup.loadDynLibList=not-there,neither\n"));
    EXPECT_EQ(1, result.iExitCode);
    const Texts lines = outputLines(result);
    ASSERT_EQ(7U, lines.size());
    EXPECT_EQ("configured ERROR keswardin.infra.DynlibObjectFactory: Cannot find file "
              "\"libnot-there.so\" (using the LD_LIBRARY_PATH environment variable) needed to "
              "create gateway interface \"not-there\"",
              lines[1]);
    EXPECT_THAT(lines[2], HasSubstr("cannot load not-there: "));
    EXPECT_THAT(lines[3], HasSubstr("\"libneither.so\""));
    EXPECT_THAT(lines[4], HasSubstr("cannot load neither: "));
    EXPECT_EQ("configured ERROR admin.alarm: Alarm [system.configuration.error] : ALARM_ON",
              lines[5]);
    EXPECT_EQ("initialize: 0", lines[6]);
}

TEST_F(Application, StartsWithAnUnknownParameterAndWarnsOfIt)
{
    const HelperResult result =
        start({}, configuration(s_strLogging + "keswardin.sip.userAgentNaem=x\n"));
    EXPECT_EQ(0, result.iExitCode);
    const std::string strWarning = "Unknown parameter : keswardin.sip.userAgentNaem. Closest known "
                                   "parameter : keswardin.sip.userAgentName";
    const std::string strAdvice =
        path() + "/test.cfg:6 : write \"keswardin.sip.userAgentName = x\"";
    EXPECT_THAT(outputLines(result),
                ElementsAre("WARN - " + strWarning, "WARN - " + strAdvice,
                            HasSubstr("Logger successfully configured from Global Configuration"),
                            "configured WARN keswardin.infra.GlobalConfig: " + strWarning,
                            "configured WARN keswardin.infra.GlobalConfig: " + strAdvice,
                            HasSubstr(", unknown names = 1, "), "initialize: 1", "run"));
}

TEST_F(Application, StartsThoughTheLeakDetectorCannotBeConfigured)
{
    const HelperResult result = start({"refuse-detector"}, {});
    if (result.iExitCode == 4)
        GTEST_SKIP() << "code cannot be changed here";
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                ElementsAre("ERROR - failed to configure the MemLeakDetector from "
                            "the Global Configuration.",
                            "initialize: 1", "run"));
}

TEST_F(Application, DoesNotStartWhereTheProgramItselfCannotBeConfigured)
{
    const HelperResult result = start({"refuse-configure"}, {});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(outputLines(result), ElementsAre(s_strAlarm, "initialize: 0"));
}

TEST_F(Application, StartsExactlyWithAConfigurationInWhichTheCheckFindsNoError)
{
    const std::string strFile = "keswardin.infra.Logger.PropertiesFile.production=";
    const Texts configurations{
        s_strLogging,
        "",
        "keswardin.exitTimeoutSec=5\n",
        s_strLogging + "nonsense\n",
        s_strLogging + "keswardin.exitTimeoutSec=soon\nkeswardin.killTimeoutSec=010\n",
        s_strLogging + "keswardin.nowhere=1\nkeswardin.exitTimeoutSec=1\n"
                       "keswardin.exitTimeoutSec=2\n",
        s_strLogging + "keswardin.sip.userAgentName=${nobody.knows}\n",
        s_strLogging + "keswardin.sip.userAgentName=${nobody\n",
        s_strLogging + "log4cplus.a=$log4cplus.b=1\n",
        s_strLogging + "${log4cplus.a}\nlog4cplus.a=text\n",
        s_strLogging + "log4cplus.a=5\nlog4cplus.b=${log4cplus.a}\n",
        s_strLogging + "keswardin.run.mode=test\n",
        s_strLogging + "keswardin.run.mode=0\n",
        s_strLogging + "keswardin.sip.transport=udp\n",
        s_strLogging + "keswardin.infra.coreDump.writeOnCrash=false\n"
                       "keswardin.infra.coreDump.writeOnCrash.path=/\n",
        s_strLogging + strFile + m_directory.file("nowhere.cfg") + "\n",
        strFile + m_directory.write("log.cfg", s_strLogging) + "\n",
        strFile + m_directory.write("empty.cfg", "a=1\n") + "\n",
        strFile + m_directory.write("bad.cfg", s_strLogging + "nonsense\n") + "\n",
        strFile + m_directory.write("open.cfg", s_strLogging + "a=${nobody.knows}\n") + "\n",
        strFile + path() + "\n"};
    for (const std::string& strText : configurations)
    {
        const Texts options = configuration(strText);
        EXPECT_EQ(start({}, options).iExitCode != 0, ConfigurationCheck({options[1]}).hasErrors())
            << strText;
    }
}

// The alarm of a configuration that cannot be used

TEST_F(Application, HasItsAlarmOffWhenItHasStarted)
{
    EXPECT_THAT(outputLines(start({"alarm"}, {})),
                ElementsAre("initialize: 1", "alarm: ALARM_OFF", "run"));
}

TEST_F(Application, HasItsAlarmOnWhenItsConfigurationCannotBeLoaded)
{
    EXPECT_THAT(outputLines(start({"alarm"}, {"--global-config", m_directory.file("nowhere.cfg")})),
                Contains("alarm: ALARM_ON"));
}

TEST_F(Application, HasItsAlarmOffAfterAnUnknownOption)
{
    EXPECT_THAT(outputLines(start({"alarm"}, {"--colour"})), Contains("alarm: ALARM_OFF"));
}

TEST_F(Application, HasItsAlarmOffAfterAWorkingDirectoryThatDoesNotExist)
{
    EXPECT_THAT(outputLines(start({"alarm"}, {"--setcwd", m_directory.file("nowhere")})),
                Contains("alarm: ALARM_OFF"));
}

TEST_F(Application, HasItsAlarmOffAfterAVariableThatIsRefused)
{
    EXPECT_THAT(outputLines(start({"alarm", "refuse-putenv"}, {"--putenv", "REFUSED=1"})),
                Contains("alarm: ALARM_OFF"));
}

TEST_F(Application, HasItsAlarmOffWithoutADefaultLogger)
{
    EXPECT_THAT(outputLines(start({"alarm", "refuse-logger"}, {})), Contains("alarm: ALARM_OFF"));
}

TEST_F(Application, DoesNotStartWithoutItsAlarm)
{
    const HelperResult result = start({"other-alarm"}, {});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(
        outputLines(result),
        ElementsAre(MatchesRegex("ERROR - Assertion failed \\(! \"alarm is not unique\"\\) "
                                 "file=velmora/alarm/AlarmRegistryImpl.cpp line=[0-9]+"),
                    MatchesRegex("ERROR - Assertion failed "
                                 "\\(! m_pSysConfigErrorAlarm.isNull\\(\\)\\) "
                                 "file=velmora/application/ApplicationImpl.cpp line=[0-9]+"),
                    "initialize: 0"));
}

// Without a configuration

TEST_F(Application, StartsAndEndsWellWithoutAnything)
{
    const HelperResult result = start({}, {});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_THAT(outputLines(result), ElementsAre("initialize: 1", "run"));
}

TEST_F(Application, HasTheDefaultsAndTheDefaultLoggerWithoutAConfiguration)
{
    EXPECT_THAT(outputLines(start({"param=keswardin.configTimeoutSec", "param=keswardin.run.mode",
                                   "param=keswardin.sip.transport", "levels"},
                                  {})),
                ElementsAre("initialize: 1", "levels: 10000 30000",
                            "keswardin.configTimeoutSec: 60", "keswardin.run.mode: production",
                            "keswardin.sip.transport: UNDEF", "run"));
}

TEST_F(Application, LogsTheStepsOfAStartWithoutAConfiguration)
{
    const std::string strProgram = "keswardin.test.Program: ";
    Texts lines = outputLines(start({"verbose"}, {}));
    std::erase_if(lines,
                  [](const std::string& in_strLine)
                  {
                      return in_strLine.find(" keswardin.test.Program: ") == std::string::npos &&
                             in_strLine.find(" keswardin.support: ") == std::string::npos;
                  });
    EXPECT_THAT(
        lines,
        ElementsAre("TRACE " + strProgram + "Initializing the Global Config",
                    "TRACE " + strProgram +
                        "Configuring the MemLeakDetector from the Global "
                        "Config",
                    "DEBUG keswardin.support: Version control : "
                    "branch=branches/team/orrin/velmora-2.1-linux, revision=17669?",
                    "TRACE " + strProgram + "entering ApplicationImpl::getParamInfo",
                    "TRACE " + strProgram + "exiting ApplicationImpl::getParamInfo",
                    MatchesRegex("INFO " + strProgram +
                                 "Start-up complete : sources = none, parameters = [1-9][0-9]*, "
                                 "unknown names = 0, wrong types = 0, redefinitions = 0, time = "
                                 "[0-9]+ ms")));
}

// With a configuration

TEST_F(Application, EndsItsStartWithOneLineAboutWhatItHasRead)
{
    const std::string strFirst =
        m_directory.write("first.cfg", s_strLogging + "keswardin.exitTimeoutSec=5\n"
                                                      "no.such.name=1\n");
    const std::string strSecond =
        m_directory.write("second.cfg", "keswardin.exitTimeoutSec=6\n"
                                        "keswardin.exitTimeoutSec=7\n"
                                        "keswardin.killTimeoutSec=soon\n");
    const HelperResult result =
        start({}, {"--global-config", strFirst, "--global-config", strSecond});
    EXPECT_EQ(0, result.iExitCode);
    const Texts lines = outputLines(result);
    ASSERT_LE(3U, lines.size());
    EXPECT_THAT(lines[lines.size() - 3],
                MatchesRegex("configured INFO keswardin.test.Program: Start-up complete : sources "
                             "= \\[" +
                             strFirst + "\\] \\[" + strSecond +
                             "\\], parameters = [1-9][0-9]*, unknown names = 1, wrong types = 1, "
                             "redefinitions = 2, time = [0-9]+ ms"));
    EXPECT_EQ(1, std::count_if(lines.begin(), lines.end(),
                               [](const std::string& in_strLine)
                               { return in_strLine.find("Start-up") != std::string::npos; }));
}

TEST_F(Application, MasksTheSecretsOfItsSourcesInTheLineThatEndsItsStart)
{
    const std::string strSource = m_directory.write("password=hunter2", s_strLogging);
    const HelperResult result = start({}, {"--global-config", strSource});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strOutput, HasSubstr("Start-up complete : sources = [" +
                                            m_directory.file("password=***") + "], "));
    EXPECT_THAT(result.strOutput, Not(HasSubstr("hunter2")));
}

TEST_F(Application, ConfiguresLoggingFromTheFileOfItsRunMode)
{
    const std::string strProperties = m_directory.write("development.properties", s_strLogging);
    const HelperResult result =
        start({}, configuration("keswardin.run.mode=development\n"
                                "keswardin.infra.Logger.PropertiesFile.development=" +
                                strProperties + "\n"));
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                Contains("configured INFO keswardin.infra.GlobalConfig: Logger "
                         "successfully configured from " +
                         strProperties));
}

TEST_F(Application, LoadsTheLibrariesOfTheConfiguration)
{
    const std::string strLibrary = VELMORA_HELPER_DYNLIB_A;
    const std::size_t uiNameBegin = strLibrary.rfind('/') + 4;
    const std::string strName = strLibrary.substr(uiNameBegin, strLibrary.rfind('.') - uiNameBegin);
    Texts arguments{"--"};
    const Texts options = configuration(s_strLogging +
                                        "log4cplus.logger.keswardin.infra.DynLibsLoader=DEBUG\n"
                                        "keswardin.startup.loadDynLibList=" +
                                        strName + "\n");
    arguments.insert(arguments.end(), options.begin(), options.end());
    const HelperResult result =
        runHelper(VELMORA_HELPER_APPLICATION_STARTS, arguments,
                  {{"LD_LIBRARY_PATH", strLibrary.substr(0, strLibrary.rfind('/'))}});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                Contains("configured DEBUG keswardin.infra.DynLibsLoader: Loading "
                         "dynamic library " +
                         strName));
}

TEST_F(Application, PreparesForCoreDumpsAsTheConfigurationSays)
{
    const HelperResult result =
        start({"directory"},
              configuration(s_strLogging + "keswardin.infra.coreDump.writeOnCrash.path=" + path() +
                            "\n"));
    EXPECT_EQ(0, result.iExitCode);
    if (result.strOutput.find("setrlimit failed") != std::string::npos)
        GTEST_SKIP() << "this user may not raise the limit of core files";
    EXPECT_THAT(outputLines(result), Contains("directory: " + path()));
}

TEST_F(Application, KeepsTheTimeoutsOfTheConfiguration)
{
    EXPECT_THAT(outputLines(start({"timeouts"},
                                  configuration(s_strLogging + "keswardin.exitTimeoutSec=30\n"
                                                               "keswardin.killTimeoutSec=0\n"))),
                IsSupersetOf(Texts{"exit time-out: 30 s", "kill time-out: 0 s"}));
}

TEST_F(Application, HasNoTimeoutWithoutOneInTheConfiguration)
{
    EXPECT_THAT(outputLines(start({"timeouts"}, {})),
                ElementsAre("initialize: 1", "exit time-out: none", "kill time-out: none", "run"));
}

TEST_F(Application, HasNoTimeoutWhereItIsNegative)
{
    EXPECT_THAT(outputLines(start({"timeouts"},
                                  configuration(s_strLogging + "keswardin.exitTimeoutSec=-1\n"
                                                               "keswardin.killTimeoutSec=-30\n"))),
                IsSupersetOf(Texts{"exit time-out: none", "kill time-out: none"}));
}

// Options

TEST_F(Application, ChangesItsDirectoryBeforeItReadsTheConfiguration)
{
    m_directory.write("relative.cfg", s_strLogging + "keswardin.exitTimeoutSec=30\n");
    const HelperResult result =
        start({"directory", "timeouts"}, {"--global-config", "relative.cfg", "--setcwd", path()});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                IsSupersetOf(Texts{"exit time-out: 30 s", "directory: " + path()}));
}

TEST_F(Application, LogsItsChangeOfDirectory)
{
    EXPECT_THAT(outputLines(start({"verbose"}, {"--setcwd", path()})),
                Contains("DEBUG keswardin.test.Program: Set current working directory to " +
                         path() + " according to setcwd switch"));
}

TEST_F(Application, SetsVariablesBeforeItReadsTheConfiguration)
{
    Texts options = configuration(s_strLogging + "keswardin.sip.userAgentName=${AGENT_OF_TEST}\n");
    options.insert(options.end(), {"--putenv", "AGENT_OF_TEST=an agent"});
    const HelperResult result = start({"param=keswardin.sip.userAgentName"}, options);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result), Contains("keswardin.sip.userAgentName: an agent"));
}

TEST_F(Application, LogsTheVariablesThatItSets)
{
    Texts lines = outputLines(start({"verbose"}, {"--putenv", "ONE=1", "--putenv", "TWO=2"}));
    std::erase_if(lines, [](const std::string& in_strLine)
                  { return in_strLine.find("environment") == std::string::npos; });
    EXPECT_THAT(lines, ElementsAre("DEBUG keswardin.test.Program: Set environment variable ONE=1",
                                   "DEBUG keswardin.test.Program: Set environment variable TWO=2"));
}

TEST_F(Application, TakesAVariableWithoutAnEqualsSignOutOfTheEnvironment)
{
    const HelperResult result =
        start({"verbose", "env=OF_TEST"}, {"--putenv", "OF_TEST=there", "--putenv", "OF_TEST"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(outputLines(result),
                IsSupersetOf(Texts{"DEBUG keswardin.test.Program: Set environment variable OF_TEST",
                                   "initialize: 1", "OF_TEST: none"}));
}

TEST_F(Application, KeepsVariablesToTheEndOfTheProcess)
{
    const std::string strLong(200, 'x');
    const Texts lines = outputLines(start({"env=SHORT", "env-at-exit=SHORT", "env-at-exit=LONG"},
                                          {"--putenv", "SHORT=1", "--putenv", "LONG=" + strLong}));
    EXPECT_THAT(lines,
                ElementsAre("initialize: 1", "SHORT: 1", "run", "SHORT: 1", "LONG: " + strLong));
}

TEST_F(Application, ShowsTheBuildInfoAndRuns)
{
    const HelperResult result = start({}, {"--build-info"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("INFO - Build Info :\n" + written(*BuildInfo::getInstance()) +
                  "\ninitialize: 1\nrun\n",
              outputOf(result));
}

TEST_F(Application, ShowsWhatIsKnownOfParametersAndRuns)
{
    const HelperResult result =
        start({}, {"--get-param-info", "TimeoutSec$", "--get-param-info", "^no.such.name$"});
    EXPECT_EQ(0, result.iExitCode);
    std::string strExpected = "INFO - Parameter information for regexp TimeoutSec$ : ";
    std::vector<ParameterInfoWithName> infos;
    ASSERT_TRUE(ParameterInfoDB::getInstance().retrieve("TimeoutSec$", infos));
    ASSERT_LT(1U, infos.size());
    for (const ParameterInfoWithName& info : infos)
        strExpected += "\nname=" + info.m_strName + " " + textOf(info);
    EXPECT_EQ(strExpected + "\nINFO - Parameter information for regexp ^no.such.name$ : \n"
                            "initialize: 1\nrun\n",
              outputOf(result));
}

TEST_F(Application, SaysThatABadExpressionFindsNoParameterAndRuns)
{
    const HelperResult result = start({}, {"--get-param-info", "("});
    EXPECT_EQ(0, result.iExitCode);
    const Texts lines = outputLines(result);
    ASSERT_LE(3U, lines.size());
    EXPECT_EQ((Texts{"INFO - NO PARAMETER FOUND for name regexp (", "initialize: 1", "run"}),
              Texts(lines.end() - 3, lines.end()));
}

TEST_F(Application, DoesNotShowTheHelpByItself)
{
    const HelperResult result = start({}, {"--help"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("initialize: 1\nrun\n", outputOf(result));
}

TEST_F(Application, ShowsTheHelpWhereTheProgramSaysSo)
{
    const HelperResult result = start({"handle-help"}, {"-h"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ("initialize: 1\nINFO - " + s_strUsage + "\nhandled: 1\nrun\n", outputOf(result));
}

TEST_F(Application, ItsHelpFitsATerminal)
{
    const Texts lines = linesOf(outputOf(start({"handle-help"}, {"--help"})));
    EXPECT_LT(10U, lines.size());
    EXPECT_THAT(lines, Each(testing::ResultOf([](const std::string& in_strLine)
                                              { return in_strLine.size(); },
                                              testing::Le(80U))));
}

TEST_F(Application, ShowsParametersInsteadOfTheHelpOnlyWithoutHelp)
{
    const std::string strInfo = "INFO - Parameter information for regexp ^$ : \n";
    EXPECT_EQ(strInfo + "initialize: 1\nINFO - " + s_strUsage + "\nhandled: 1\nrun\n",
              outputOf(start({"handle-help"}, {"--help", "--get-param-info", "^$"})));
    EXPECT_EQ(strInfo + "initialize: 1\n" + strInfo + "handled: 1\nrun\n",
              outputOf(start({"handle-help"}, {"--get-param-info", "^$"})));
    EXPECT_EQ("initialize: 1\nhandled: 0\nrun\n", outputOf(start({"handle-help"}, {})));
}

// A second start

TEST_F(Application, AnotherStartGoesByItsOwnCommandLine)
{
    const TemporaryDirectory other;
    const HelperResult result = runHelper(
        VELMORA_HELPER_APPLICATION_STARTS,
        {"directory", "env=OF_TEST", "--", "--setcwd", path(), "--putenv", "OF_TEST=1",
         "--build-info", "--", "--setcwd", other.path().string(), "--putenv", "OF_TEST=2", "--"});
    EXPECT_EQ(0, result.iExitCode);
    Texts lines = outputLines(result);
    std::erase_if(lines,
                  [](const std::string& in_strLine) {
                      return !in_strLine.starts_with("directory") && !in_strLine.starts_with("OF_");
                  });
    const std::string strOther = "directory: " + other.path().string();
    EXPECT_THAT(lines, ElementsAre("directory: " + path(), "OF_TEST: 1", strOther, "OF_TEST: 2",
                                   strOther, "OF_TEST: 2"));
    EXPECT_EQ(result.strOutput.find("Build Info"), result.strOutput.rfind("Build Info"));
}

TEST_F(Application, AnotherStartLoadsOnlyTheSourcesOfItsOwnCommandLine)
{
    const std::string strConfiguration = m_directory.write("test.cfg", s_strLogging);
    const HelperResult result = runHelper(
        VELMORA_HELPER_APPLICATION_STARTS,
        {"verbose", "--", "--global-config", strConfiguration, "--get-param-info", "^$", "--"});
    EXPECT_EQ(0, result.iExitCode);
    const std::size_t uiSecond = result.strOutput.find("initialize: 1");
    ASSERT_NE(std::string::npos, uiSecond);
    EXPECT_THAT(result.strOutput.substr(uiSecond), HasSubstr("sources = none"));
    EXPECT_THAT(result.strOutput.substr(uiSecond), Not(HasSubstr("regexp")));
}

TEST_F(Application, AnotherStartShowsTheNewCommandLine)
{
    const HelperResult result =
        runHelper(VELMORA_HELPER_APPLICATION_STARTS, {"--", "--wrong", "--", "--bad"});
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(result.strOutput,
                HasSubstr("Actual command line : " VELMORA_HELPER_APPLICATION_STARTS " --bad\n"));
}

// The end

TEST_F(Application, LeavesNothingBehindWhenItEnds)
{
    Texts arguments{"--"};
    const Texts options = configuration(s_strLogging);
    arguments.insert(arguments.end(), options.begin(), options.end());
    const HelperResult result =
        runHelper(VELMORA_HELPER_APPLICATION_STARTS, arguments, {{"VELMORA_MEM_ACCOUNTING", "1"}});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    EXPECT_THAT(outputLines(result),
                ElementsAre(HasSubstr("Logger successfully configured from Global Configuration"),
                            HasSubstr("Start-up complete"), "initialize: 1", "run"));
}

} // namespace Velmora::Test
