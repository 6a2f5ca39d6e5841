// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationCheck.h"

#include "velmora/config/Configuration.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/logging/LogLevel.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextOf.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace
{

/// The number of sockets that were made.
int s_iSockets = 0;

} // namespace

/// Replaces the function of the C library.
extern "C" __attribute__((visibility("default"))) int socket(int in_iDomain, int in_iType,
                                                             int in_iProtocol) noexcept
{
    using Function = int (*)(int, int, int);
    static const auto s_pReal = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "socket"));
    ++s_iSockets;
    return s_pReal(in_iDomain, in_iType, in_iProtocol);
}

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

class ConfigurationCheckTest : public testing::Test
{
  protected:
    ConfigurationCheckTest()
    {
        unsetenv("nowhere");
        std::filesystem::current_path(m_directory.path());
    }
    ~ConfigurationCheckTest() override { std::filesystem::current_path("/"); }

    /// Returns the problems of the sources, one line each, without those of the rule "logging":
    /// most tests have lines below "log4cplus" that mean nothing.
    static Texts linesOf(const ConfigurationCheck& in_check)
    {
        return linesIf(in_check,
                       [](const std::string& in_strRule) { return in_strRule != "logging"; });
    }

    template <class Condition>
    static Texts linesIf(const ConfigurationCheck& in_check, Condition in_condition)
    {
        Texts lines;
        for (const ConfigurationProblem& problem : in_check.problems())
            if (in_condition(problem.strRule))
                lines.push_back(textOf(problem));
        return lines;
    }

    /// Returns the problems of a file "a.cfg" with a section of logging behind the text.
    // NOLINTNEXTLINE(modernize-use-nodiscard): some tests look at what it leaves alone.
    Texts check(const std::string& in_strText) const
    {
        m_directory.write("a.cfg", in_strText + s_szLogging);
        return linesOf(ConfigurationCheck({"a.cfg"}));
    }

    static constexpr const char* s_szLogging = "log4cplus.rootLogger=INFO, OUT\n";

    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(ConfigurationCheckTest, FindsNothingInAConfigurationThatIsRight)
{
    EXPECT_THAT(check("# a comment\n\nkeswardin.exitTimeoutSec = 5\r\n"), IsEmpty());
}

TEST_F(ConfigurationCheckTest, FindsNothingWithoutSources)
{
    const ConfigurationCheck check({});
    EXPECT_THAT(linesOf(check), IsEmpty());
    EXPECT_FALSE(check.hasErrors());
    std::string strMode;
    EXPECT_TRUE(check.configuration().getStringParameter("keswardin.run.mode", strMode));
    EXPECT_EQ("production", strMode);
}

// The rules

TEST_F(ConfigurationCheckTest, FindsAFileThatDoesNotExistAndResolvesItsPath)
{
    m_directory.write("b.cfg", std::string("keswardin.exitTimeoutSec=soon\n") + s_szLogging);
    const ConfigurationCheck check({"a.cfg", "b.cfg"});
    EXPECT_THAT(
        linesOf(check),
        ElementsAre(
            "a.cfg: error: the file cannot be opened: No such file or directory (" +
                m_directory.file("a.cfg") +
                "); correct the path, or make the file [unreadable-file]",
            "b.cfg:1: warning: keswardin.exitTimeoutSec = soon is STRING and has no effect; "
            "write an INT, a whole number without a unit, as in "
            "\"keswardin.exitTimeoutSec = 60\", instead of \"soon\" [wrong-type]"));
    EXPECT_TRUE(check.hasErrors());
}

TEST_F(ConfigurationCheckTest, FindsADirectoryInPlaceOfAFile)
{
    m_directory.write("b.cfg", s_szLogging);
    EXPECT_THAT(linesOf(ConfigurationCheck({m_directory.path().string(), "b.cfg"})),
                ElementsAre(m_directory.path().string() +
                            ": error: the file cannot be read: Is a directory; correct the path, "
                            "or make the file [unreadable-file]"));
}

TEST_F(ConfigurationCheckTest, FindsAFileThatMayNotBeRead)
{
    m_directory.write("a.cfg", s_szLogging);
    const std::string strPath = m_directory.file("a.cfg");
    Texts lines;
    if (!doWhileCallsFail({{SYS_openat, EACCES}},
                          [&] { lines = linesOf(ConfigurationCheck({strPath})); }))
        GTEST_SKIP() << s_szNoFilter;
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(strPath + ": error: the file cannot be opened: Permission denied; correct the path, "
                        "or make the file [unreadable-file]",
              lines.front());
}

/// The database source of the process for a scope.
class OneDatabase final : public GlobalConfigSeam::DatabaseSource
{
  public:
    explicit OneDatabase(std::optional<Parameters> in_parameters, std::string in_strWarning = {})
        : m_parameters(std::move(in_parameters)), m_strWarning(std::move(in_strWarning))
    {
        GlobalConfigSeam::setDatabaseSource(this);
    }
    ~OneDatabase() { GlobalConfigSeam::setDatabaseSource(m_pFormer); }
    OneDatabase(const OneDatabase&) = delete;
    OneDatabase& operator=(const OneDatabase&) = delete;

    std::optional<Parameters> fetch(const std::string& in_strUrl) override
    {
        urls.push_back(in_strUrl);
        EXPECT_TRUE(GlobalConfigSeam::isCheck());
        if (!m_strWarning.empty())
            GlobalConfigSeam::warnOfSource(m_strWarning);
        return m_parameters;
    }

    Texts urls;

  private:
    const std::optional<Parameters> m_parameters;
    const std::string m_strWarning;
    DatabaseSource* const m_pFormer = GlobalConfigSeam::getDatabaseSource();
};

TEST_F(ConfigurationCheckTest, ReadsADatabaseAsAStartDoes)
{
    m_directory.write("a.cfg", std::string(s_szLogging) + "keswardin.exitTimeoutSec = 12\n"
                                                          "log4cplus.b = ${log4cplus.c}/x\n");
    OneDatabase database({{{"keswardin.exitTimeoutSec", "11"},
                           {"keswardin.killTimeoutSec", "soon"},
                           {"log4cplus.a", "${nowhere}"},
                           {"log4cplus.c", "x\nlog4cplus.c=y"}}});
    const ConfigurationCheck check({"db://host/set?password=pw", "a.cfg"});
    EXPECT_THAT(database.urls, ElementsAre("db://host/set?password=pw"));
    EXPECT_FALSE(GlobalConfigSeam::isCheck());
    EXPECT_THAT(
        linesOf(check),
        ElementsAre(
            "db://host/set?password=***: warning: keswardin.killTimeoutSec = soon is STRING and "
            "has no effect; write an INT, a whole number without a unit, as in "
            "\"keswardin.killTimeoutSec = 60\", instead of \"soon\" [wrong-type]",
            "db://host/set?password=***: warning: log4cplus.c = y replaces the value x of "
            "db://host/set?password=***; delete one of the two lines [redefinition]",
            "db://host/set?password=***: error: log4cplus.a = ${nowhere} has a tag without a "
            "value: no "
            "parameter and no environment variable is named ${nowhere} ; add the line \"nowhere = "
            "...\", or correct the tag [unresolved-tag]",
            "a.cfg:2: note: keswardin.exitTimeoutSec = 12 replaces the value 11 of "
            "db://host/set?password=*** [redefinition]"));
    std::string strValue;
    EXPECT_TRUE(check.configuration().getStringParameter("log4cplus.b", strValue));
    EXPECT_EQ("y/x", strValue);
    EXPECT_EQ("db://host/set?password=***", check.place("log4cplus.c").text());
}

TEST_F(ConfigurationCheckTest, ADatabaseThatCannotBeReadIsAnError)
{
    m_directory.write("a.cfg", s_szLogging);
    {
        const OneDatabase database(std::nullopt);
        EXPECT_THAT(linesOf(ConfigurationCheck({"db://host/set", "a.cfg"})),
                    ElementsAre("db://host/set: error: the database cannot be read, for the reason "
                                "that is logged [unreadable-database]"));
    }
    GlobalConfigSeam::setDatabaseSource(nullptr);
    EXPECT_THAT(
        linesOf(ConfigurationCheck({"db://host/set", "a.cfg"})),
        ElementsAre("db://host/set: error: there is no database source [unreadable-database]"));
}

TEST_F(ConfigurationCheckTest, FindsWhatADatabaseWarnsOfAndLogsNothing)
{
    m_directory.write("a.cfg", s_szLogging);
    const OneDatabase database({{}}, "an old\nsnapshot");
    const CapturedLog log(TRACE_LOG_LEVEL);
    const ConfigurationCheck check({"db://host/set", "a.cfg"});
    EXPECT_THAT(linesOf(check),
                ElementsAre("db://host/set: warning: an old\\nsnapshot [database]"));
    EXPECT_FALSE(check.hasErrors());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ConfigurationCheckTest, FindsLinesOfLoggingThatHaveNoEffect)
{
    m_directory.write("logging.cfg", "log4cplus.rootLogger = INFO, main\n"
                                     "log4cplus.appender.main = velmora::FileAppender\n"
                                     "log4cplus.appender.main.File = a.log\n"
                                     "log4cplus.appender.main.MaxFilSize = 20MB\n"
                                     "log4cplus.loger.x = INFO\n");
    m_directory.write("a.cfg", "keswardin.infra.Logger.PropertiesFile.production = logging.cfg\n");
    const ConfigurationCheck check({"a.cfg"});
    EXPECT_FALSE(check.hasErrors());
    EXPECT_THAT(
        linesIf(check, [](const std::string&) { return true; }),
        ElementsAre(
            "logging.cfg:2: warning: log4cplus.appender.main = velmora::FileAppender has no "
            "layout, so its lines are only the level and the text, without a time; add "
            "log4cplus.appender.main.layout with its class [logging]",
            "logging.cfg:4: warning: log4cplus.appender.main.MaxFilSize = 20MB has no "
            "effect: velmora::FileAppender has no property \"MaxFilSize\"; write "
            "log4cplus.appender.main.MaxFileSize [logging]",
            "logging.cfg:5: warning: log4cplus.loger.x = INFO has no effect: log4cplus has "
            "no \"loger.x\"; write log4cplus.logger.x [logging]"));
}

TEST_F(ConfigurationCheckTest, FindsADirectoryOfALogThatIsMissing)
{
    const std::string strFile = "log4cplus.appender.OUT.File=logs/main.log\n";
    EXPECT_THAT(check(strFile),
                ElementsAre("a.cfg:1: warning: log4cplus.appender.OUT.File = logs/main.log : the "
                            "directory logs cannot be used: No such file or directory; make it, "
                            "or let the program make it: "
                            "log4cplus.appender.OUT.CreateDirs = true [directory]"));
    EXPECT_THAT(check(strFile + "log4cplus.appender.OUT.CreateDirs=true\n"), IsEmpty());
    EXPECT_THAT(check("log4cplus.appender.OUT.File=main.log\n"), IsEmpty());
    std::filesystem::create_directory("logs");
    EXPECT_THAT(check(strFile), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty("logs"));
}

TEST_F(ConfigurationCheckTest, FindsADirectoryOfCallsThatCannotBeMade)
{
    const std::string strDirectory = "log4cplus.appender.CALL_LOG_APPENDER.Directory=";
    EXPECT_THAT(check(strDirectory + "calls/of/today\n"), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists("calls"));
    m_directory.write("file", "");
    EXPECT_THAT(check(strDirectory + "file/calls\n"),
                ElementsAre("a.cfg:1: error: log4cplus.appender.CALL_LOG_APPENDER.Directory = "
                            "file/calls : the directory file/calls cannot be used: Not a "
                            "directory; let the user of the program write there, or choose another "
                            "one [directory]"));
}

TEST_F(ConfigurationCheckTest, FindsADirectoryOfALogThatIsNotWritable)
{
    const std::string strDisk = m_directory.file("disk");
    std::filesystem::create_directory(strDisk);
    Texts lines;
    const bool bDone = doWithReadOnlyDisk(
        strDisk, [] {},
        [&] { lines = check("log4cplus.appender.OUT.File=" + strDisk + "/main.log\n"); });
    if (!bDone)
        GTEST_SKIP() << s_szNoMount;
    EXPECT_THAT(lines, ElementsAre("a.cfg:1: warning: log4cplus.appender.OUT.File = " + strDisk +
                                   "/main.log : the directory " + strDisk +
                                   " cannot be used: Read-only file system; let the user of the "
                                   "program write there, or choose another one [directory]"));
}

TEST_F(ConfigurationCheckTest, FindsEveryLineThatIsNoParameterAndReadsOn)
{
    EXPECT_THAT(check("first\nkeswardin.exitTimeoutSec=5\n\x1b[2Jsecond\xff\n"),
                ElementsAre("a.cfg:1: error: the line is no parameter; write \"name = value\" "
                            "instead of \"first\" [parse-error]",
                            "a.cfg:3: error: the line is no parameter; write \"name = value\" "
                            "instead of \"\\x1b[2Jsecond\\xff\" [parse-error]"));
    const ConfigurationCheck again({"a.cfg"});
    EXPECT_EQ(2U, again.place("keswardin.exitTimeoutSec").uiLine);
}

TEST_F(ConfigurationCheckTest, FindsALineThatTheValueOfALaterOneMakesNoParameter)
{
    const Texts lines = check("${log4cplus.a}\nlog4cplus.a=text\n");
    EXPECT_THAT(lines, ElementsAre("a.cfg:1: warning: the line is no parameter with its tags "
                                   "replaced; write \"name = value\" instead of \"text\" "
                                   "[parse-error]"));
}

TEST_F(ConfigurationCheckTest, FindsATagThatIsNotClosed)
{
    EXPECT_THAT(check("log4cplus.a=${b\n"),
                ElementsAre("a.cfg:1: error: a tag is not closed, so the text before it is "
                            "dropped; close the tag that begins with \"${b\" in "
                            "\"log4cplus.a=${b\" [unclosed-tag]"));
}

TEST_F(ConfigurationCheckTest, WarnsOfADollarBeforeWhichTextIsDropped)
{
    EXPECT_THAT(check("log4cplus.a=$log4cplus.b=5\n"),
                ElementsAre("a.cfg:1: warning: a \"$\" opens no tag, so the text before it is "
                            "dropped; remove the \"$\" in \"$log4cplus.b=5\" from "
                            "\"log4cplus.a=$log4cplus.b=5\", or write a tag as ${name} "
                            "[stray-dollar]"));
}

TEST_F(ConfigurationCheckTest, FindsATagWithoutAValue)
{
    EXPECT_THAT(check("keswardin.sip.userAgentName=${nowhere}\n"),
                ElementsAre("a.cfg:1: error: keswardin.sip.userAgentName = ${nowhere} has a tag "
                            "without a value: no parameter and no environment variable is named "
                            "${nowhere} ; add the line \"nowhere = ...\", or correct the tag "
                            "[unresolved-tag]"));
}

TEST_F(ConfigurationCheckTest, FindsATagOfAParameterThatIsNoString)
{
    EXPECT_THAT(check("log4cplus.a=5\nlog4cplus.b=<${log4cplus.a}>\n"),
                ElementsAre("a.cfg:2: warning: the tag ${log4cplus.a} is replaced by nothing, "
                            "because its parameter is INT and not STRING ; write the value itself "
                            "[tag-type]"));
}

TEST_F(ConfigurationCheckTest, ATagOfNoStringIsAnErrorWhereItsAssertionEndsTheProcess)
{
    EXPECT_THAT(check("keswardin.infra.abortOnAssert=true\nlog4cplus.a=5\n"
                      "log4cplus.b=<${log4cplus.a}>\n"),
                ElementsAre(testing::StartsWith("a.cfg:3: error: the tag ")));
}

TEST_F(ConfigurationCheckTest, FindsALineThatBecomesTooLong)
{
    std::string strText = "log4cplus.x0=0123456789abcdef\n";
    for (int i = 1; i <= 17; ++i)
    {
        const std::string strTag = "${log4cplus.x" + std::to_string(i - 1) + "}";
        strText += "log4cplus.x" + std::to_string(i) + "=" + strTag + strTag + "\n";
    }
    EXPECT_THAT(check(strText),
                testing::Contains("a.cfg:18: error: the line becomes too long with its tags "
                                  "replaced; shorten the line, or the values of its tags "
                                  "[too-long]"));
}

TEST_F(ConfigurationCheckTest, FindsOctalNumbers)
{
    EXPECT_THAT(check("keswardin.sip.TimerT1 = 0500\nkeswardin.exitTimeoutSec=0123\n"
                      "keswardin.killTimeoutSec=007\nkeswardin.startTimeoutSec=0\n"),
                ElementsAre("a.cfg:1: warning: keswardin.sip.TimerT1 = 0500 is 320, because a "
                            "number that begins with 0 is octal; write 500 [octal]",
                            "a.cfg:2: warning: keswardin.exitTimeoutSec = 0123 is 83, because a "
                            "number that begins with 0 is octal; write 123 [octal]"));
}

TEST_F(ConfigurationCheckTest, TheModeOfAFileMayBeOctal)
{
    EXPECT_THAT(check("log4cplus.appender.OUT.Mode=0640\n"), IsEmpty());
    EXPECT_THAT(check("log4cplus.appender.OUT.Number=0640\n"), testing::SizeIs(1));
}

TEST_F(ConfigurationCheckTest, FindsNumbersThatAreTooLargeForAnInt)
{
    EXPECT_THAT(check("keswardin.exitTimeoutSec=4294967295\nkeswardin.killTimeoutSec=-1\n"),
                ElementsAre("a.cfg:1: warning: keswardin.exitTimeoutSec = 4294967295 is -1, "
                            "because an INT has 32 bits; write a number up to 2147483647 "
                            "[overflow]"));
}

TEST_F(ConfigurationCheckTest, FindsUnknownNames)
{
    EXPECT_THAT(check("keswardin.exitTimeoutSecs=5\nnowhere.at.all=6\nlog4cplusX=7\n=8\n"),
                ElementsAre("a.cfg:1: warning: keswardin.exitTimeoutSecs = 5 is unknown; write "
                            "\"keswardin.exitTimeoutSec = 5\" [unknown-name]",
                            "a.cfg:2: warning: nowhere.at.all = 6 is unknown; correct the name "
                            "\"nowhere.at.all\", or delete the line [unknown-name]",
                            "a.cfg:3: warning: log4cplusX = 7 is unknown; correct the name "
                            "\"log4cplusX\", or delete the line [unknown-name]",
                            "a.cfg:4: warning: the line has no name; correct the name \"\", or "
                            "delete the line [unknown-name]"));
}

TEST_F(ConfigurationCheckTest, FindsDeprecatedNames)
{
    EXPECT_THAT(check("keswardin.sip.userAgentPort=5060\nkeswardin.b2bua.doDlgcCPD=true\n"),
                ElementsAre("a.cfg:1: error: keswardin.sip.userAgentPort = 5060 is deprecated; "
                            "write \"keswardin.sip.userAgent.IPAddress = ...\" instead "
                            "[deprecated]",
                            "a.cfg:2: error: keswardin.b2bua.doDlgcCPD = true is deprecated; "
                            "delete the line [deprecated]"));
}

TEST_F(ConfigurationCheckTest, FindsValuesOutOfBounds)
{
    static constexpr ProgramParameter s_parameters[] = {{.szName = "monitor.port",
                                                         .type = ParameterValue::INT_TYPE,
                                                         .szDefault = "8090",
                                                         .szLowest = "1",
                                                         .szHighest = "65535"}};
    ASSERT_TRUE(ParameterInfoDB::registerParameters(s_parameters));
    m_directory.write("a.cfg", std::string("monitor.port=70000\n") + s_szLogging);
    const ConfigurationCheck check({"a.cfg"});
    EXPECT_THAT(linesOf(check),
                ElementsAre("a.cfg:1: warning: monitor.port = 70000 is out of bounds, so the line "
                            "is skipped; write a value that is from 1 to 65535 instead of "
                            "\"70000\" [out-of-bounds]"));
    int iPort = 0;
    EXPECT_TRUE(check.configuration().getIntParameter("monitor.port", iPort));
    EXPECT_EQ(8090, iPort);
    EXPECT_EQ("default", check.place("monitor.port").text());
}

TEST_F(ConfigurationCheckTest, DoesNotEndTheRegistrationOfParameters)
{
    static constexpr ProgramParameter s_parameters[] = {
        {.szName = "monitor.late", .type = ParameterValue::INT_TYPE}};
    check("");
    EXPECT_TRUE(ParameterInfoDB::registerParameters(s_parameters));
}

TEST_F(ConfigurationCheckTest, WarnsOfASecondLineInTheSameFileAndNotesAnOverride)
{
    m_directory.write("a.cfg", std::string("log4cplus.a=1\nlog4cplus.a=2\n") + s_szLogging);
    m_directory.write("b.cfg", "log4cplus.a=3\n");
    EXPECT_THAT(linesOf(ConfigurationCheck({"a.cfg", "b.cfg"})),
                ElementsAre("a.cfg:2: warning: log4cplus.a = 2 replaces the value 1 of a.cfg:1; "
                            "delete one of the two lines [redefinition]",
                            "b.cfg:1: note: log4cplus.a = 3 replaces the value 2 of a.cfg:2 "
                            "[redefinition]"));
}

TEST_F(ConfigurationCheckTest, WarnsWhereALineWithATagReplacesThatOfALaterFile)
{
    m_directory.write("a.cfg", std::string("log4cplus.a=${log4cplus.b}\n") + s_szLogging);
    m_directory.write("b.cfg", "log4cplus.a=3\nlog4cplus.b=x\n");
    EXPECT_THAT(linesOf(ConfigurationCheck({"a.cfg", "b.cfg"})),
                ElementsAre("a.cfg:1: warning: log4cplus.a = x replaces the value 3 of b.cfg:1; "
                            "delete one of the two lines [redefinition]"));
}

TEST_F(ConfigurationCheckTest, NotesAByteOrderMark)
{
    EXPECT_THAT(check("\xEF\xBB\xBFkeswardin.exitTimeoutSec=5\n"),
                ElementsAre("a.cfg:1: note: the file begins with a UTF-8 byte order mark, which is "
                            "skipped; save it as UTF-8 without one [byte-order-mark]"));
}

TEST_F(ConfigurationCheckTest, FindsASettingOfCoreDumpsThatAreSwitchedOff)
{
    EXPECT_THAT(check("keswardin.infra.coreDump.writeOnCrash=false\n"
                      "keswardin.infra.coreDump.writeOnCrash.path=/var/core\n"),
                ElementsAre("a.cfg:2: warning: keswardin.infra.coreDump.writeOnCrash.path = "
                            "/var/core has no effect, because "
                            "keswardin.infra.coreDump.writeOnCrash is false; write "
                            "\"keswardin.infra.coreDump.writeOnCrash = true\", or delete the line "
                            "[core-size]"));
    EXPECT_THAT(check("keswardin.infra.coreDump.writeOnCrash.path=/var/core\n"), IsEmpty());
}

TEST_F(ConfigurationCheckTest, FindsAnUnknownRunMode)
{
    EXPECT_THAT(check("keswardin.run.mode = test\n"),
                ElementsAre("a.cfg:1: error: keswardin.run.mode = test is no run mode; write "
                            "production or development [run-mode]"));
    EXPECT_THAT(check("keswardin.run.mode = DEVELOPMENT\n"), IsEmpty());
}

TEST_F(ConfigurationCheckTest, FindsAMissingFileOfLoggingAtTheLineThatNamesIt)
{
    EXPECT_THAT(check("keswardin.infra.Logger.PropertiesFile.production = log.cfg\n"),
                ElementsAre("a.cfg:1: error: keswardin.infra.Logger.PropertiesFile.production = "
                            "log.cfg cannot be read: No such file or directory (" +
                            m_directory.file("log.cfg") +
                            "); correct the path, or make the file [logging-file]"));
    EXPECT_THAT(check("keswardin.infra.Logger.PropertiesFile.development = log.cfg\n"), IsEmpty());
}

TEST_F(ConfigurationCheckTest, FindsThatLoggingIsConfiguredNowhere)
{
    m_directory.write("b.cfg", "keswardin.exitTimeoutSec=5\n");
    EXPECT_THAT(linesOf(ConfigurationCheck({"b.cfg"})),
                ElementsAre("default: error: log4cplus has no line, so logging cannot be "
                            "configured; write the level and the appender of the root logger, as "
                            "in \"log4cplus.rootLogger = INFO, file\", and the properties of that "
                            "appender [no-logging]"));
}

TEST_F(ConfigurationCheckTest, ReadsTheFileOfLoggingWithTheTagsOfTheConfiguration)
{
    const std::string strFile = m_directory.write(
        "log.cfg", "\nlog4cplus.rootLogger = INFO, ${keswardin.sip.userAgentName}\n"
                   "log4cplus.a = 1\nlog4cplus.a = 2\nunknown.name = 1\nbad\n"
                   "log4cplus.b = ${nowhere}\n");
    m_directory.write("a.cfg", "keswardin.run.mode=development\n"
                               "keswardin.sip.userAgentName=OUT\nlog4cplus.a=3\n"
                               "keswardin.infra.Logger.PropertiesFile.development=log.cfg\n");
    const ConfigurationCheck check({"a.cfg"});
    EXPECT_THAT(
        linesOf(check),
        ElementsAre("log.cfg:4: warning: log4cplus.a = 2 replaces the value 1 of log.cfg:3; delete "
                    "one of the two lines [redefinition]",
                    "log.cfg:6: error: the line is no parameter; write \"name = value\" instead of "
                    "\"bad\" [parse-error]",
                    "log.cfg:7: error: log4cplus.b = ${nowhere} has a tag without a value: no "
                    "parameter and no environment variable is named ${nowhere} ; add the line "
                    "\"nowhere = ...\", or correct the tag [unresolved-tag]"));
    std::string strRoot;
    EXPECT_TRUE(check.loggingConfiguration().getStringParameter("log4cplus.rootLogger", strRoot));
    EXPECT_EQ("INFO, OUT", strRoot);
    EXPECT_EQ("log.cfg:4", check.place("log4cplus.a").text());
}

// What a program adds

TEST_F(ConfigurationCheckTest, AProgramReportsAtTheLineOfTheValue)
{
    m_directory.write("a.cfg",
                      std::string("\nkeswardin.media.rtp.udpPortRange = 3\n") + s_szLogging);
    ConfigurationCheck check({"a.cfg"});
    EXPECT_EQ("a.cfg:2", check.place("keswardin.media.rtp.udpPortRange").text());
    check.report(ConfigurationCheck::Severity::ERROR, "ports", "keswardin.media.rtp.udpPortRange",
                 "is no range\nof ports");
    check.report(ConfigurationCheck::Severity::WARNING, "mode", "keswardin.run.mode",
                 "is a default");
    check.report(ConfigurationCheck::Severity::NOTE, "kill", "keswardin.killTimeoutSec",
                 "is not set");
    check.report(ConfigurationCheck::Severity::NOTE, "root", "log4cplus.rootLogger", "is short");
    EXPECT_THAT(linesOf(check),
                ElementsAre("a.cfg:2: error: keswardin.media.rtp.udpPortRange = 3 is no range\\nof "
                            "ports [ports]",
                            "a.cfg:3: note: log4cplus.rootLogger = INFO, OUT is short [root]",
                            "default: warning: keswardin.run.mode = production is a default "
                            "[mode]",
                            "default: note: keswardin.killTimeoutSec is not set [kill]"));
    EXPECT_TRUE(check.hasErrors());
}

TEST_F(ConfigurationCheckTest, TheConfigurationHasTheDefaultsAndNoDeprecatedOnes)
{
    check("keswardin.exitTimeoutSec=5\n");
    const ConfigurationCheck check({"a.cfg"});
    int iTimeout = 0;
    EXPECT_TRUE(check.configuration().getIntParameter("keswardin.exitTimeoutSec", iTimeout));
    EXPECT_EQ(5, iTimeout);
    EXPECT_TRUE(check.configuration().getIntParameter("keswardin.configTimeoutSec", iTimeout));
    EXPECT_EQ(60, iTimeout);
    EXPECT_FALSE(check.configuration().parameterDefined("keswardin.sip.transport"));
}

TEST_F(ConfigurationCheckTest, ProblemsAreInTheOrderOfSourcesAndLines)
{
    m_directory.write("z.cfg",
                      std::string("x1=1\nkeswardin.sip.transport=udp\nx3=1\n") + s_szLogging);
    m_directory.write("a.cfg", "x4=1\n");
    Texts places;
    for (const ConfigurationProblem& problem : ConfigurationCheck({"z.cfg", "a.cfg"}).problems())
    {
        if (problem.strRule != "logging")
            places.push_back(problem.strFile + std::to_string(problem.uiLine));
    }
    EXPECT_THAT(places, ElementsAre("z.cfg1", "z.cfg2", "z.cfg3", "a.cfg1"));
}

TEST_F(ConfigurationCheckTest, LongValuesAreCut)
{
    EXPECT_THAT(check("keswardin.exitTimeoutSec=" + std::string(300, 'x') + "\n"),
                ElementsAre(testing::StartsWith("a.cfg:1: warning: keswardin.exitTimeoutSec = " +
                                                std::string(200, 'x') + "... is STRING")));
}

// What it leaves alone

TEST_F(ConfigurationCheckTest, LogsNothing)
{
    m_directory.write("log.cfg", "a=${b}\nb=${c}\nbad\n");
    const CapturedLog log(TRACE_LOG_LEVEL);
    check("keswardin.infra.Logger.PropertiesFile.production=log.cfg\nbad\n"
          "a=${b}\nb=<${nowhere}>\nlog4cplus.i=5\nlog4cplus.a=${log4cplus.i}\n"
          "keswardin.exitTimeoutSec=soon\nkeswardin.exitTimeoutSec=0500\nx=${a\n"
          "keswardin.sip.transport=udp\n");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ConfigurationCheckTest, LeavesTheConfigurationOfTheProcessAlone)
{
    check("keswardin.exitTimeoutSec=5\n");
    EXPECT_FALSE(GlobalConfig::getInstance()->parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_FALSE(GlobalConfig::getInstance()->parameterDefined("keswardin.configTimeoutSec"));
}

TEST_F(ConfigurationCheckTest, OpensNoSocketAndWritesNoFile)
{
    const std::string strPath =
        m_directory.write("a.cfg", "log4cplus.rootLogger=INFO, syslog, file\n"
                                   "log4cplus.appender.syslog=velmora::RemoteSyslogAppender\n"
                                   "log4cplus.appender.syslog.Hostname=127.0.0.1\n"
                                   "log4cplus.appender.syslog.Port=9\n"
                                   "log4cplus.appender.syslog.Facility=1\n"
                                   "log4cplus.appender.syslog.layout=log4cplus::SimpleLayout\n"
                                   "log4cplus.appender.file=log4cplus::FileAppender\n"
                                   "log4cplus.appender.file.File=made.log\n"
                                   "log4cplus.appender.file.layout=log4cplus::SimpleLayout\n");
    s_iSockets = 0;
    EXPECT_THAT(linesOf(ConfigurationCheck({strPath})), IsEmpty());
    EXPECT_EQ(0, s_iSockets);
    EXPECT_FALSE(std::filesystem::exists("made.log"));
    // A start does both.
    GlobalConfigImpl config;
    EXPECT_TRUE(config.load(strPath.c_str()));
    EXPECT_TRUE(config.configureLogger(RunMode::undefined));
    EXPECT_LT(0, s_iSockets);
    EXPECT_TRUE(std::filesystem::exists("made.log"));
    Logger::configureDefault();
}

} // namespace Velmora::Test
