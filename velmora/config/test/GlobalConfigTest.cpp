#include "velmora/config/GlobalConfig.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/Logger.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <ios>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

namespace
{

/// The number of reads until one fails; -1 for no failure.
int s_iReadsBeforeError = -1;

} // namespace

// Replaces the function of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] ssize_t read(int in_iDescriptor, void* out_pBuffer,
                                                       std::size_t in_uiSize)
{
    if (s_iReadsBeforeError == 0)
    {
        errno = EIO;
        return -1;
    }
    if (s_iReadsBeforeError > 0)
        --s_iReadsBeforeError;
    return syscall(SYS_read, in_iDescriptor, out_pBuffer, in_uiSize);
}

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Urls = std::vector<std::string>;

constexpr std::ios::iostate s_allStates = std::ios::badbit | std::ios::failbit | std::ios::eofbit;

constexpr const char* s_szLogger = "keswardin.infra.GlobalConfig";
constexpr const char* s_szTrieLogger = "keswardin.infra.ParameterTrie";

LogLine error(const std::string& in_strText) { return errorLine(s_szLogger, in_strText); }
LogLine debug(const std::string& in_strText) { return debugLine(s_szLogger, in_strText); }
LogLine info(const std::string& in_strText) { return infoLine(s_szLogger, in_strText); }

bool loadText(GlobalConfig& inout_config, const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    return inout_config.load(stream);
}

std::string stringOf(const ROConfiguration& in_config, const char* in_szName)
{
    std::string strValue = "(none)";
    in_config.getStringParameter(in_szName, strValue);
    return strValue;
}

int intOf(const ROConfiguration& in_config, const char* in_szName)
{
    int iValue = -12345;
    in_config.getIntParameter(in_szName, iValue);
    return iValue;
}

/// A configuration for one test, in a temporary directory.
class GlobalConfigTest : public testing::Test
{
  protected:
    ~GlobalConfigTest() override { Logger::configureDefault(); }

    /// Writes a file and returns its path.
    std::string write(const std::string& in_strName, const std::string& in_strText)
    {
        const std::string strPath = m_directory.file(in_strName);
        std::filesystem::create_directories(std::filesystem::path(strPath).parent_path());
        std::ofstream(strPath) << in_strText;
        return strPath;
    }

    bool set(const char* in_szName, const ParameterValue& in_value)
    {
        return m_config.setParameter(in_szName, in_value);
    }

    template <class T>
    static ParameterValue valueOf(T in_value)
    {
        ParameterValue value;
        value = in_value;
        return value;
    }

    TemporaryDirectory m_directory;
    CapturedLog m_log{DEBUG_LOG_LEVEL};
    GlobalConfigImpl m_config;
};

/// Changes the current directory for a scope.
class CurrentDirectory
{
  public:
    explicit CurrentDirectory(const std::filesystem::path& in_path)
    {
        std::filesystem::current_path(in_path);
    }
    ~CurrentDirectory() { std::filesystem::current_path(m_before); }
    CurrentDirectory(const CurrentDirectory&) = delete;
    CurrentDirectory& operator=(const CurrentDirectory&) = delete;

  private:
    std::filesystem::path m_before = std::filesystem::current_path();
};

using Parameters = GlobalConfigSeam::DatabaseSource::Parameters;

/// A database source with one answer, which fills the seam for a scope.
class OneDatabase final : public GlobalConfigSeam::DatabaseSource
{
  public:
    explicit OneDatabase(std::optional<Parameters> in_parameters)
        : m_parameters(std::move(in_parameters))
    {
        GlobalConfigSeam::setDatabaseSource(this);
    }
    ~OneDatabase() { GlobalConfigSeam::setDatabaseSource(nullptr); }
    OneDatabase(const OneDatabase&) = delete;
    OneDatabase& operator=(const OneDatabase&) = delete;

    std::optional<Parameters> fetch(const std::string& in_strUrl) override
    {
        m_asked.push_back(in_strUrl);
        return m_parameters;
    }

    [[nodiscard]] const Urls& asked() const { return m_asked; }

  private:
    std::optional<Parameters> m_parameters;
    Urls m_asked;
};

/// A call logging that records the directory with which it was configured.
class OneCallLogging final : public GlobalConfigSeam::CallLogging
{
  public:
    explicit OneCallLogging(bool in_bOK) : m_bOK(in_bOK) { GlobalConfigSeam::setCallLogging(this); }
    ~OneCallLogging() { GlobalConfigSeam::setCallLogging(nullptr); }
    OneCallLogging(const OneCallLogging&) = delete;
    OneCallLogging& operator=(const OneCallLogging&) = delete;

    bool configure(const ParameterTrie& in_trie) override
    {
        m_directories.push_back(
            stringOf(in_trie, "log4cplus.appender.CALL_LOG_APPENDER.Directory"));
        return m_bOK;
    }

    [[nodiscard]] const std::vector<std::string>& directories() const { return m_directories; }

  private:
    bool m_bOK;
    std::vector<std::string> m_directories;
};

constexpr const char* s_szLoggingSection = "log4cplus.rootLogger=INFO, nowhere\n"
                                           "log4cplus.appender.nowhere=log4cplus::NullAppender\n";
constexpr const char* s_szCallLogSection =
    "log4cplus.appender.CALL_LOG_APPENDER.Directory=/var/calls\n";

} // namespace

// ---------------------------------------------------------------- loading

TEST_F(GlobalConfigTest, AStreamIsRead)
{
    EXPECT_TRUE(loadText(m_config, "keswardin.exitTimeoutSec=7\n"));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(), ElementsAre(debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, AStreamThatHasFailedIsNotRead)
{
    std::istringstream stream("keswardin.exitTimeoutSec=7\n");
    stream.setstate(std::ios::failbit);
    EXPECT_FALSE(m_config.load(stream));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream")));
}

TEST_F(GlobalConfigTest, AStreamThatThrowsIsReadWithoutAnException)
{
    std::istringstream stream("keswardin.exitTimeoutSec=${unit}\nunit=7\nunit=s\n");
    stream.exceptions(s_allStates);
    bool bOK = false;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_TRUE(bOK);
    EXPECT_EQ("s", stringOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_EQ(std::ios::eofbit, stream.rdstate());
    EXPECT_EQ(s_allStates, stream.exceptions()) << "what the owner of the stream has asked for";
}

TEST_F(GlobalConfigTest, AStreamThatThrowsAndHasAParseErrorFailsWithoutAnException)
{
    std::istringstream stream("keswardin.exitTimeoutSec=7\nnonsense\n");
    stream.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(std::ios::failbit, stream.rdstate());
    EXPECT_EQ(s_allStates, stream.exceptions());
}

TEST_F(GlobalConfigTest, AStreamThatThrowsAndHasFailedIsNotReadWithoutAnException)
{
    std::istringstream stream("keswardin.exitTimeoutSec=7\n");
    EXPECT_THROW(stream.exceptions((stream.setstate(std::ios::failbit), s_allStates)),
                 std::ios_base::failure);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(-12345, intOf(m_config, "keswardin.exitTimeoutSec"));
}

namespace
{

/// A buffer that can be neither read nor written.
class BrokenBuffer : public std::streambuf
{
  protected:
    int_type underflow() override { throw std::runtime_error("cannot be read"); }
    int_type overflow(int_type) override { throw std::runtime_error("cannot be written"); }
};

} // namespace

TEST_F(GlobalConfigTest, AStreamThatCannotBeReadFailsWithoutAnException)
{
    BrokenBuffer buffer;
    std::istream stream(&buffer);
    stream.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.load(stream));
    EXPECT_FALSE(bOK);
    EXPECT_TRUE(stream.bad());
}

TEST_F(GlobalConfigTest, WhatWasReadBeforeAParseErrorStays)
{
    EXPECT_FALSE(loadText(m_config, "keswardin.exitTimeoutSec=7\nnonsense\n"));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream")));
}

TEST_F(GlobalConfigTest, NamesAreCheckedAgainstTheTableAndValuesGetItsTypes)
{
    EXPECT_TRUE(loadText(m_config, "keswardin.gw.recordCalls.directory=5\nkeswardin.exitTime=3\n"));
    EXPECT_EQ("5", stringOf(m_config, "keswardin.gw.recordCalls.directory"));
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger),
                ElementsAre(warnLine(s_szTrieLogger,
                                     "Unknown parameter : keswardin.exitTime. Closest known "
                                     "parameter : keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, LinesThatStayOpenAreAllLoggedInOneLine)
{
    EXPECT_FALSE(loadText(m_config, "log4cplus.a=${x}\nlog4cplus.b=c\nlog4cplus.d=${y}\n"));
    EXPECT_EQ("c", stringOf(m_config, "log4cplus.b"));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                Contains(error("Unable to complete the configuration. Unknown parameters: "
                               "[log4cplus.a=${x}] [log4cplus.d=${y}]")));
}

TEST_F(GlobalConfigTest, AFileIsRead)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=8\n");
    EXPECT_TRUE(m_config.load(strPath.c_str()));
    EXPECT_EQ(8, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(), ElementsAre(debug("Loading Global Config from " + strPath),
                                           debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, AFileThatCannotBeOpenedFails)
{
    const std::string strPath = m_directory.file("none.cfg");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(debug("Loading Global Config from " + strPath),
                            error("failed to initialize Global Config : unable to open " + strPath +
                                  " for reading"),
                            error("cannot open " + strPath + ": No such file or directory")));
}

TEST_F(GlobalConfigTest, AFileThatCannotBeOpenedFailsWithTheReason)
{
    const std::string strPath = write("a.cfg", "");
    bool bLoaded = true;
    if (!doWhileCallsFail({{SYS_openat, EMFILE}},
                          [&] { bLoaded = m_config.load(strPath.c_str()); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_FALSE(bLoaded);
    EXPECT_EQ(error("cannot open " + strPath + ": Too many open files"), m_log.lines().back());
}

TEST_F(GlobalConfigTest, ADirectoryIsNoFileThatCanBeRead)
{
    const std::string strPath = m_directory.path();
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from " + strPath),
                            debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream"),
                            error("failed to initialize global config from " + strPath),
                            error("cannot read " + strPath + ": Is a directory")));
}

TEST_F(GlobalConfigTest, AFileThatCannotBeReadToItsEndKeepsWhatWasReadAndFailsWithTheReason)
{
    // Much longer than the buffer of a stream.
    std::string strText = "keswardin.exitTimeoutSec=8\n";
    for (int i = 0; i < 10000; ++i)
        strText += "# a comment\n";
    const std::string strPath = write("a.cfg", strText);
    s_iReadsBeforeError = 1;
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    s_iReadsBeforeError = -1;
    EXPECT_EQ(8, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_EQ(error("cannot read " + strPath + ": Input/output error"), m_log.lines().back());
}

TEST_F(GlobalConfigTest, AFileThatCannotBeReadFailsWithItsPath)
{
    const std::string strPath = write("bad.cfg", "nonsense\n");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("Loading Global Config from " + strPath),
                            debug("Loading Global Config from istream"),
                            error("failed to initialize global config from istream"),
                            error("failed to initialize global config from " + strPath)));
}

TEST_F(GlobalConfigTest, AFileWithOpenLinesFails)
{
    const std::string strPath = write("open.cfg", "log4cplus.a=${x}\n");
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                Contains(error("Unable to complete the configuration. Unknown parameters: "
                               "[log4cplus.a=${x}]")));
}

TEST_F(GlobalConfigTest, AnEmptyListOfSourcesFailsWithoutTouchingAnything)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    m_log.clear();
    EXPECT_FALSE(m_config.load(Urls()));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to load configuration to initialize Global Config "
                                  "because config URLs vector is empty")));
}

TEST_F(GlobalConfigTest, TheLoadFromSourcesIsTraced)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    m_config.load(Urls());
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "entering GlobalConfigImpl::load"), testing::_,
                            traceLine(s_szLogger, "exiting GlobalConfigImpl::load")));
}

TEST_F(GlobalConfigTest, AfterASourceThatCannotBeOpenedTheNextOneIsStillRead)
{
    const std::string strPath = write("b.cfg", "keswardin.exitTimeoutSec=9\n");
    EXPECT_FALSE(m_config.load(Urls{m_directory.file("none.cfg"), strPath}));
    EXPECT_EQ(9, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, ALineThatOneSourceLeavesOpenIsCompletedByALaterOne)
{
    EXPECT_TRUE(m_config.load(
        Urls{write("a.cfg", "log4cplus.a=${log4cplus.b}\n"), write("b.cfg", "log4cplus.b=z\n")}));
    EXPECT_EQ("z", stringOf(m_config, "log4cplus.a"));
}

TEST_F(GlobalConfigTest, ALaterSourceOverwritesAnEarlierOne)
{
    EXPECT_TRUE(m_config.load(Urls{write("a.cfg", "keswardin.exitTimeoutSec=1\n"),
                                   write("b.cfg", "keswardin.exitTimeoutSec=2\n")}));
    EXPECT_EQ(2, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger),
                ElementsAre(warnLine(s_szTrieLogger, "Parameter keswardin.exitTimeoutSec "
                                                     "redefined from 1 to 2")));
}

TEST_F(GlobalConfigTest, TheSchemeFileReadsAPathBehindTheHostRelativeToTheCurrentDirectory)
{
    write("a/b.cfg", "keswardin.exitTimeoutSec=4\n");
    const CurrentDirectory current(m_directory.path());
    EXPECT_TRUE(m_config.load(Urls{"FILE://x/a/b.cfg"}));
    EXPECT_EQ(4, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(debug("GlobalConfigImpl::load : Config URL: FILE://x/a/b.cfg"),
                            debug("Config URL prefix: FILE"),
                            debug("Loading Global Config from a/b.cfg"),
                            debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, TheSchemeFileWithoutAHostReadsARelativePathToo)
{
    m_config.load(Urls{"file:///etc/a.cfg"});
    EXPECT_THAT(m_log.lines(), Contains(debug("Loading Global Config from etc/a.cfg")));
}

TEST_F(GlobalConfigTest, TheSchemeFileReadsAnAbsolutePathBehindAFurtherSlash)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=5\n");
    EXPECT_TRUE(m_config.load(Urls{"file:///" + strPath}));
    EXPECT_EQ(5, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, WhatIsNoUrlIsAPath)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=6\n");
    const CurrentDirectory current(m_directory.path());
    EXPECT_TRUE(m_config.load(Urls{strPath, "a.cfg"}));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("GlobalConfigImpl::load : Config URL: " + strPath),
                            debug("Loading Global Config from " + strPath),
                            debug("Loading Global Config from istream"),
                            debug("GlobalConfigImpl::load : Config URL: a.cfg"),
                            debug("Loading Global Config from a.cfg"),
                            debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, ASchemeWithoutTwoSlashesIsPartOfAPath)
{
    write("file:/a", "keswardin.exitTimeoutSec=3\n");
    const CurrentDirectory current(m_directory.path());
    EXPECT_TRUE(m_config.load(Urls{"file:/a"}));
    EXPECT_EQ(3, intOf(m_config, "keswardin.exitTimeoutSec"));
}

// ---------------------------------------------------------------- database

TEST_F(GlobalConfigTest, AnyOtherSchemeGoesToTheDatabaseSourceAsAWhole)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "11"}});
    EXPECT_TRUE(m_config.load(Urls{"db://x/y", "mysql://server.example/sets?a=b"}));
    EXPECT_THAT(database.asked(), ElementsAre("db://x/y", "mysql://server.example/sets?a=b"));
    EXPECT_EQ(11, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, WhatADatabaseGivesGoesThroughTheParserOfFiles)
{
    const OneDatabase database(
        Parameters{{"log4cplus.a", "${log4cplus.b}"}, {"keswardin.nowhere", "1"}});
    EXPECT_TRUE(m_config.load(Urls{"db://x/y", write("b.cfg", "log4cplus.b=from the file\n")}));
    EXPECT_EQ("from the file", stringOf(m_config, "log4cplus.a"));
    EXPECT_THAT(
        m_log.linesOf(s_szTrieLogger),
        Contains(testing::Field(
            &LogLine::strText,
            HasSubstr("Unknown parameter : keswardin.nowhere. Closest known parameter : "))));
}

TEST_F(GlobalConfigTest, TheNumbersOfADatabaseAreReadInEachLocale)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "1234567"}});
    const GlobalLocale locale;
    EXPECT_TRUE(m_config.load(Urls{"db://host/set"}));
    EXPECT_EQ(1234567, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, WhatADatabaseGivesIsLoggedAtItsPlaceAmongTheSources)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "11"}});
    const std::string strFile = write("a.cfg", "keswardin.killTimeoutSec=2\n");
    EXPECT_TRUE(m_config.load(Urls{strFile, "db://x/y"}));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(debug("GlobalConfigImpl::load : Config URL: " + strFile),
                            debug("Loading Global Config from " + strFile),
                            debug("Loading Global Config from istream"),
                            debug("GlobalConfigImpl::load : Config URL: db://x/y"),
                            debug("Config URL prefix: db"),
                            debug("Obtained param \"keswardin.exitTimeoutSec\" value: \"11\" "
                                  "from database"),
                            debug("Loading Global Config from istream")));
}

TEST_F(GlobalConfigTest, AllDatabasesAreAskedInTheirOrderBeforeTheFirstFileIsRead)
{
    class Looking final : public GlobalConfigSeam::DatabaseSource
    {
      public:
        explicit Looking(const GlobalConfig& in_config) : m_config(in_config)
        {
            GlobalConfigSeam::setDatabaseSource(this);
        }
        ~Looking() { GlobalConfigSeam::setDatabaseSource(nullptr); }
        Looking(const Looking&) = delete;
        Looking& operator=(const Looking&) = delete;
        std::optional<Parameters> fetch(const std::string& in_strUrl) override
        {
            m_seen.push_back(in_strUrl + (m_config.parameterDefined("keswardin.killTimeoutSec")
                                              ? " after the file"
                                              : " before the file"));
            return Parameters();
        }
        Urls m_seen;

      private:
        const GlobalConfig& m_config;
    };
    const Looking source(m_config);
    EXPECT_TRUE(m_config.load(
        Urls{write("a.cfg", "keswardin.killTimeoutSec=2\n"), "db://x/first", "db://x/second"}));
    EXPECT_THAT(source.m_seen,
                ElementsAre("db://x/first before the file", "db://x/second before the file"));
}

TEST_F(GlobalConfigTest, ALineOfADatabaseThatCannotBeParsedIsReportedWithTheUrl)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "11\nnonsense"}});
    EXPECT_FALSE(m_config.load(Urls{"db://x/y"}));
    EXPECT_THAT(m_log.lines(), Contains(error("failed to initialize global config from db://x/y")));
}

TEST_F(GlobalConfigTest, ADatabaseThatFailsDoesNotKeepTheNextSourceFromBeingRead)
{
    const OneDatabase database(std::nullopt);
    EXPECT_FALSE(m_config.load(Urls{"db://x/y", write("b.cfg", "keswardin.killTimeoutSec=2\n")}));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_EQ(2, intOf(m_config, "keswardin.killTimeoutSec"));
}

TEST_F(GlobalConfigTest, WithoutADatabaseSourceItsUrlsFailAndTheNextSourceIsRead)
{
    GlobalConfigSeam::setDatabaseSource(nullptr);
    EXPECT_FALSE(m_config.load(Urls{"db://x/y", write("b.cfg", "keswardin.killTimeoutSec=2\n")}));
    EXPECT_EQ(2, intOf(m_config, "keswardin.killTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                Contains(error("failed to initialize global config from db://x/y : no database "
                               "source")));
}

// ---------------------------------------------------------------- command line

namespace
{

/// A command line in the form that `main` gets.
class CommandLine
{
  public:
    explicit CommandLine(std::vector<std::string> in_arguments)
        : m_arguments(std::move(in_arguments))
    {
        for (std::string& strArgument : m_arguments)
            m_pointers.push_back(strArgument.data());
        m_pointers.push_back(nullptr);
    }
    [[nodiscard]] int argc() const { return static_cast<int>(m_arguments.size()); }
    [[nodiscard]] char** argv() { return m_pointers.data(); }

  private:
    std::vector<std::string> m_arguments;
    std::vector<char*> m_pointers;
};

} // namespace

TEST_F(GlobalConfigTest, TheValuesOfAnOptionAreTakenInTheirOrder)
{
    CommandLine line({"program", "--config", "a.cfg", "--config=b.cfg"});
    Urls values;
    GlobalConfig::getConfigOptionsFromCmdline(line.argc(), line.argv(), values, "config");
    EXPECT_THAT(values, ElementsAre("a.cfg", "b.cfg"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(GlobalConfigTest, AnotherOptionOnTheLineLeavesTheValuesAsTheyWere)
{
    CommandLine line({"program", "--config", "a.cfg", "--other"});
    Urls values{"before"};
    GlobalConfig::getConfigOptionsFromCmdline(line.argc(), line.argv(), values, "config");
    EXPECT_THAT(values, ElementsAre("before"));
    EXPECT_THAT(m_log.lines(), ElementsAre(debug("unrecognised option '--other'")));
}

TEST_F(GlobalConfigTest, InitializingLoadsWhatTheOptionNames)
{
    CommandLine line({"program", "--config", write("a.cfg", "keswardin.exitTimeoutSec=6\n")});
    EXPECT_TRUE(m_config.initialize(line.argc(), line.argv(), "config"));
    EXPECT_EQ(6, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.run.mode")) << "it adds no defaults";
}

TEST_F(GlobalConfigTest, InitializingWithoutTheOptionFails)
{
    CommandLine line({"program"});
    EXPECT_FALSE(m_config.initialize(line.argc(), line.argv(), "config"));
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(error("Failed to initialize the Global Config from command line because "
                          "option config was not set.")));
}

TEST_F(GlobalConfigTest, InitializingFromASourceThatFailsFails)
{
    CommandLine line({"program", "--config", m_directory.file("none.cfg")});
    EXPECT_FALSE(m_config.initialize(line.argc(), line.argv(), "config"));
}

// ---------------------------------------------------------------- defaults and phases

TEST_F(GlobalConfigTest, DefaultsAreAddedWithoutThoseOfDeprecatedParameters)
{
    loadText(m_config, "keswardin.gw.recordCalls.directory=here\n");
    EXPECT_TRUE(m_config.addDefaults(false));
    EXPECT_EQ("here", stringOf(m_config, "keswardin.gw.recordCalls.directory"));
    EXPECT_EQ("production", stringOf(m_config, "keswardin.run.mode"));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.sip.transport"));
}

TEST_F(GlobalConfigTest, DefaultsOfDeprecatedParametersAreAddedWhereAskedFor)
{
    EXPECT_TRUE(m_config.addDefaults(true));
    EXPECT_EQ("udp", stringOf(m_config, "keswardin.sip.transport"));
}

TEST_F(GlobalConfigTest, AProtectedConfigurationLoadsNothing)
{
    m_config.writeProtect();
    EXPECT_FALSE(loadText(m_config, "keswardin.exitTimeoutSec=7\n"));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(), ElementsAre(error("Global config is write protected. Not loading")));
}

TEST_F(GlobalConfigTest, AProtectedConfigurationLoadsNoFileAndNoUrlEither)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=8\n");
    m_config.writeProtect();
    EXPECT_FALSE(m_config.load(strPath.c_str()));
    EXPECT_FALSE(m_config.load(Urls{strPath}));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, AProtectedConfigurationTakesNoDefaults)
{
    m_config.writeProtect();
    EXPECT_FALSE(m_config.addDefaults(false));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.run.mode"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("can not set defaults in global config, it is write protected")));
}

TEST_F(GlobalConfigTest, OfAProtectedConfigurationTheErrorIsLoggedAndTheParameterIsSetAllTheSame)
{
    m_config.writeProtect();
    EXPECT_TRUE(set("keswardin.exitTimeoutSec", valueOf(3)));
    EXPECT_EQ(3, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because it is "
                                  "write protected : keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, AtRunTimeOnlyWhatIsSettableThenIsSet)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    m_log.clear();
    m_config.declareRunTime();
    EXPECT_TRUE(set("keswardin.run.mode", valueOf("development")));
    EXPECT_EQ("development", stringOf(m_config, "keswardin.run.mode"));
    EXPECT_FALSE(set("keswardin.exitTimeoutSec", valueOf(3)));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because the "
                                  "following parameter can not be set at run-time : "
                                  "keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, ProtectedAndAtRunTimeASettableParameterIsSetWithTheError)
{
    m_config.writeProtect();
    m_config.declareRunTime();
    EXPECT_TRUE(m_config.setBoolParameter("keswardin.gw.recordCalls.enabled", true));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because it is "
                                  "write protected : keswardin.gw.recordCalls.enabled")));
}

TEST_F(GlobalConfigTest, ProtectedAndAtRunTimeBothErrorsAreLogged)
{
    m_config.writeProtect();
    m_config.declareRunTime();
    EXPECT_FALSE(m_config.setIntParameter("keswardin.exitTimeoutSec", 3));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because it is "
                                  "write protected : keswardin.exitTimeoutSec"),
                            error("failed to set a Global Configuration parameter because the "
                                  "following parameter can not be set at run-time : "
                                  "keswardin.exitTimeoutSec")));
}

TEST_F(GlobalConfigTest, AtRunTimeAloneALoadAndDefaultsStillChangeThings)
{
    m_config.declareRunTime();
    EXPECT_TRUE(loadText(m_config, "keswardin.exitTimeoutSec=7\n"));
    EXPECT_TRUE(m_config.addDefaults(false));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_TRUE(m_config.parameterDefined("keswardin.run.mode"));
}

TEST_F(GlobalConfigTest, AParameterThatIsNotKnownIsNotSet)
{
    EXPECT_FALSE(set("keswardin.nowhere", valueOf(1)));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.nowhere"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because the "
                                  "following parameter is not in the database : "
                                  "keswardin.nowhere")));
}

TEST_F(GlobalConfigTest, AnIntIsNotSetForAFloat)
{
    EXPECT_FALSE(m_config.setIntParameter("keswardin.pstn.input.gain.dB", 3));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.pstn.input.gain.dB"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to set a Global Configuration parameter because the "
                                  "following parameter has the wrong type : "
                                  "keswardin.pstn.input.gain.dB")));
    EXPECT_TRUE(m_config.setFloatParameter("keswardin.pstn.input.gain.dB", 3.0F));
}

TEST_F(GlobalConfigTest, AnUnknownParameterIsRefusedForItsNameBeforeProtectionIsLookedAt)
{
    m_config.writeProtect();
    set("keswardin.nowhere", valueOf(1));
    EXPECT_THAT(m_log.lines(), testing::SizeIs(1));
}

// ---------------------------------------------------------------- observers

TEST_F(GlobalConfigTest, ObserversComeAndGoAndAreNotNotified)
{
    // Not an object: any use of it would crash the process.
    alignas(16) static char s_noObserver[16];
    const LimitedObjPtr<ConfigurationObserver> pObserver(
        reinterpret_cast<ConfigurationObserver*>(s_noObserver));
    m_config.addObserver("keswardin.run.mode", pObserver);
    EXPECT_TRUE(set("keswardin.run.mode", valueOf("development")));
    m_config.removeObserver(pObserver);
    EXPECT_EQ("development", stringOf(m_config, "keswardin.run.mode"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// ---------------------------------------------------------------- unknown names

TEST_F(GlobalConfigTest, OnlyKnownNamesAndThoseOfTheLoggingDrawNoWarning)
{
    loadText(m_config, "log4cplus.rootLogger=INFO\nkeswardin.exitTimeoutSec=7\n");
    m_log.clear();
    EXPECT_TRUE(m_config.warnOnUnknownParameterNames());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(GlobalConfigTest, AnUnknownNameDrawsAWarningWithTheClosestKnownOne)
{
    loadText(m_config, "keswardin.run.mods=5\n");
    m_log.clear();
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    EXPECT_EQ(5, intOf(m_config, "keswardin.run.mods")) << "nothing is removed";
    EXPECT_THAT(m_log.lines(),
                ElementsAre(warnLine(s_szLogger, "Unknown parameter : keswardin.run.mods. Closest "
                                                 "known parameter : keswardin.run.mode")));
}

TEST_F(GlobalConfigTest, TheParameterWithoutANameIsUnknown)
{
    loadText(m_config, "=5\n");
    m_log.clear();
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    ASSERT_THAT(m_log.lines(), testing::SizeIs(1));
    EXPECT_THAT(m_log.lines()[0].strText,
                testing::StartsWith("Unknown parameter : . Closest known parameter : "));
}

TEST_F(GlobalConfigTest, ANameThatOnlyBeginsLikeLoggingIsSilentAtLoadAndWarnedOfLater)
{
    loadText(m_config, "log4cplusX=5\n");
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger), IsEmpty());
    m_log.clear();
    EXPECT_FALSE(m_config.warnOnUnknownParameterNames());
    ASSERT_THAT(m_log.lines(), testing::SizeIs(1));
    EXPECT_THAT(m_log.lines()[0].strText,
                testing::StartsWith("Unknown parameter : log4cplusX. Closest known parameter : "));
}

// ---------------------------------------------------------------- export

TEST_F(GlobalConfigTest, APrefixGivesThePartBehindItWithoutItsName)
{
    loadText(m_config, "keswardin.infra.CallLogger.log1CallOutOf=3\nkeswardin.exitTimeoutSec=7\n");
    ParameterTrie part;
    m_config.convertTo(part, "keswardin.infra");
    EXPECT_EQ(3, intOf(part, "CallLogger.log1CallOutOf"));
    EXPECT_FALSE(part.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_FALSE(part.parameterDefined("exitTimeoutSec"));
}

TEST_F(GlobalConfigTest, TheEmptyPrefixGivesEverything)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    ParameterTrie all;
    m_config.convertTo(all, "");
    EXPECT_EQ(7, intOf(all, "keswardin.exitTimeoutSec"));
    loadText(m_config, "keswardin.exitTimeoutSec=8\n");
    EXPECT_EQ(7, intOf(all, "keswardin.exitTimeoutSec")) << "it is a copy";
}

TEST_F(GlobalConfigTest, APrefixThatIsNotThereClearsTheOutput)
{
    ParameterTrie part;
    part.setIntParameter("before", 1);
    part.setIntParameter("", 2);
    m_config.convertTo(part, "keswardin.infra");
    std::ostringstream text;
    text << part;
    EXPECT_EQ("", text.str());
}

TEST_F(GlobalConfigTest, ItIsWrittenAsItsTextReads)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    std::ostringstream text;
    text << m_config;
    EXPECT_EQ("keswardin.exitTimeoutSec=7", text.str());
}

TEST_F(GlobalConfigTest, AStreamThatThrowsAndCannotBeWrittenIsInABadStateWithoutAnException)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    BrokenBuffer buffer;
    std::ostream stream(&buffer);
    stream.exceptions(s_allStates);
    EXPECT_NO_THROW(m_config.write(stream));
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(s_allStates, stream.exceptions());
}

TEST_F(GlobalConfigTest, TheSummaryCountsParametersAndWarningsByKind)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n"
                       "keswardin.exitTimeoutSec=8\n"
                       "keswardin.nowhere=1\n"
                       "keswardin.neither=1\n"
                       "keswardin.traceShutdown=5\n");
    loadText(m_config, "keswardin.exitTimeoutSec=9\n");
    const LoadSummary summary = m_config.getLoadSummary();
    EXPECT_EQ(4U, summary.m_uiParameters);
    EXPECT_EQ(2U, summary.m_uiUnknownNames);
    EXPECT_EQ(1U, summary.m_uiWrongTypes);
    EXPECT_EQ(2U, summary.m_uiRedefinitions);
}

// ---------------------------------------------------------------- logging

TEST_F(GlobalConfigTest, WithAnUndefinedModeLoggingIsConfiguredFromTheConfiguration)
{
    loadText(m_config, std::string(s_szLoggingSection) +
                           "keswardin.infra.Logger.PropertiesFile.production=none\n"
                           "keswardin.infra.Logger.PropertiesFile.development=none\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_TRUE(m_config.configureLogger(errors, RunMode::undefined));
    EXPECT_EQ("", errors.str());
    EXPECT_EQ(INFO_LOG_LEVEL, log4cplus::Logger::getRoot().getLogLevel());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(info("Logger will be configured from the Global Configuration because "
                                 "the run mode is undefined")));
}

TEST_F(GlobalConfigTest, WithoutTheParameterOfTheModeLoggingIsConfiguredFromTheConfiguration)
{
    loadText(m_config, s_szLoggingSection);
    m_log.clear();
    EXPECT_TRUE(m_config.configureLogger(RunMode::development));
    EXPECT_EQ(INFO_LOG_LEVEL, log4cplus::Logger::getRoot().getLogLevel());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(info("Logger will be configured from the Global Configuration because "
                                 "the following parameter is undefined : "
                                 "keswardin.infra.Logger.PropertiesFile.development")));
}

namespace
{

/// Returns a logging configuration that writes "LEVEL - text" into a file.
std::string fileLogging(const std::string& in_strPath)
{
    return "log4cplus.rootLogger=DEBUG, file\n"
           "log4cplus.appender.file=log4cplus::FileAppender\n"
           "log4cplus.appender.file.File=" +
           in_strPath +
           "\n"
           "log4cplus.appender.file.layout=log4cplus::SimpleLayout\n";
}

} // namespace

TEST_F(GlobalConfigTest, SuccessIsLoggedInTheNewLog)
{
    loadText(m_config, fileLogging(m_directory.file("log")));
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_EQ("INFO - Logger successfully configured from Global Configuration\n",
              m_directory.read("log"));
}

TEST_F(GlobalConfigTest, TheModeChoosesTheFileOfTheLogging)
{
    const std::string strPath = write("logging", fileLogging(m_directory.file("log")));
    loadText(m_config, std::string(s_szLoggingSection) +
                           "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::production));
    EXPECT_EQ("INFO - Logger successfully configured from " + strPath + "\n",
              m_directory.read("log"));
}

TEST_F(GlobalConfigTest, TagsInTheFileOfTheLoggingStandForParametersOfTheConfiguration)
{
    const std::string strPath = write("logging", fileLogging("${log4cplus.file}"));
    loadText(m_config, "log4cplus.file=" + m_directory.file("log") +
                           "\nkeswardin.infra.Logger.PropertiesFile.development=" + strPath + "\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::development));
    EXPECT_THAT(m_directory.read("log"), HasSubstr("Logger successfully configured from "));
}

TEST_F(GlobalConfigTest, AFileOfTheLoggingThatCannotBeReadFailsWithNoSecondAttempt)
{
    loadText(m_config, std::string(s_szLoggingSection) +
                           "keswardin.infra.Logger.PropertiesFile.production=/nowhere/logging\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ("failed to configure logger from file /nowhere/logging. Unable to open for reading",
              errors.str());
    EXPECT_EQ(DEBUG_LOG_LEVEL, log4cplus::Logger::getRoot().getLogLevel());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("cannot open /nowhere/logging: No such file or directory")));
}

TEST_F(GlobalConfigTest, WhatIsWrongWithTheLoggingGoesToAStreamThatThrowsWithoutAnException)
{
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=/nowhere/logging\n");
    BrokenBuffer buffer;
    std::ostream errors(&buffer);
    errors.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.configureLogger(errors, RunMode::production));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(s_allStates, errors.exceptions());
}

TEST_F(GlobalConfigTest, WhatIsWrongWithATrieOfTheLoggingGoesToAStreamThatThrowsAsWell)
{
    BrokenBuffer buffer;
    std::ostream errors(&buffer);
    errors.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.configureLogger(ParameterTrie(), errors));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(s_allStates, errors.exceptions());
}

TEST_F(GlobalConfigTest, ADirectoryIsNoFileOfTheLoggingThatCanBeRead)
{
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=/tmp\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ("", errors.str());
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("failed to configure logger from file /tmp"),
                            error("cannot read /tmp: Is a directory")));
}

TEST_F(GlobalConfigTest, WhatIsWrongWithTheLoggingIsLoggedAfterTheReason)
{
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=/nowhere/logging\n");
    m_log.clear();
    EXPECT_FALSE(m_config.configureLogger(RunMode::production));
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(error("cannot open /nowhere/logging: No such file or directory"),
                    error("GlobalConfigImpl::configureLogger(production) failed : failed to "
                          "configure logger from file /nowhere/logging. Unable to open for "
                          "reading")));
}

TEST_F(GlobalConfigTest, AFileOfTheLoggingWithAParseErrorFails)
{
    const std::string strPath = write("logging", "nonsense\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("failed to configure logger from file " + strPath)));
}

TEST_F(GlobalConfigTest, AFileOfTheLoggingWithOpenLinesFails)
{
    const std::string strPath =
        write("logging", std::string(s_szLoggingSection) + "log4cplus.a=${nowhere}\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ(DEBUG_LOG_LEVEL, log4cplus::Logger::getRoot().getLogLevel());
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("Unable to complete the configuration. Unknown parameters: "
                                  "[log4cplus.a=${nowhere}]")));
}

TEST_F(GlobalConfigTest, AFileOfTheLoggingWithoutItsSectionFails)
{
    const std::string strPath = write("logging", "a=1\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ("failed to configure Logger, no log4cplus section could be found", errors.str());
}

TEST_F(GlobalConfigTest, TheNamesInAFileOfTheLoggingAreNotCheckedAgainstTheTable)
{
    const std::string strPath =
        write("logging", std::string(s_szLoggingSection) + "unknown.name=1\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    EXPECT_TRUE(m_config.configureLogger(RunMode::production));
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger), IsEmpty());
}

TEST_F(GlobalConfigTest, CallLoggingIsConfiguredWhenADirectoryIsNamed)
{
    OneCallLogging callLogging(true);
    loadText(m_config, std::string(s_szLoggingSection) + s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_THAT(callLogging.directories(), ElementsAre("/var/calls"));
}

TEST_F(GlobalConfigTest, TheConfigurationOfCallLoggingIsLoggedAtDebug)
{
    const OneCallLogging callLogging(true);
    loadText(m_config, fileLogging(m_directory.file("log")) + s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_THAT(m_directory.read("log"),
                HasSubstr("DEBUG - Configuring the Call Logging Facility\n"));
}

TEST_F(GlobalConfigTest, CallLoggingIsLeftAloneWhenNoDirectoryIsNamed)
{
    const OneCallLogging callLogging(true);
    loadText(m_config, s_szLoggingSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_THAT(callLogging.directories(), IsEmpty());
}

namespace
{

/// Returns a logging configuration that writes "LEVEL logger: text" into a file, from WARN on.
std::string warningsInFile(const std::string& in_strPath)
{
    return "log4cplus.rootLogger=WARN, file\n"
           "log4cplus.appender.file=log4cplus::FileAppender\n"
           "log4cplus.appender.file.File=" +
           in_strPath +
           "\n"
           "log4cplus.appender.file.layout=log4cplus::PatternLayout\n"
           "log4cplus.appender.file.layout.ConversionPattern=%p %c: %m%n\n";
}

constexpr const char* s_szWarningOfNoDirectory =
    "WARN keswardin.infra.GlobalConfig: log4cplus.appender.CALL_LOG_APPENDER is configured without "
    "a directory, so no call gets a log file from this configuration. Set "
    "log4cplus.appender.CALL_LOG_APPENDER.Directory to the directory of these files\n";

} // namespace

TEST_F(GlobalConfigTest, TheSectionOfCallFilesWithoutADirectoryDrawsAWarning)
{
    OneCallLogging callLogging(true);
    loadText(m_config, warningsInFile(m_directory.file("log")) +
                           "log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender\n"
                           "log4cplus.appender.CALL_LOG_APPENDER.layout=log4cplus::TTCCLayout\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_EQ(s_szWarningOfNoDirectory, m_directory.read("log"));
    EXPECT_THAT(callLogging.directories(), IsEmpty());
}

TEST_F(GlobalConfigTest, TheSectionOfCallFilesInAFileOfTheLoggingDrawsTheWarningToo)
{
    const OneCallLogging callLogging(true);
    const std::string strPath =
        write("logging", warningsInFile(m_directory.file("log")) +
                             "log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::production));
    EXPECT_EQ(s_szWarningOfNoDirectory, m_directory.read("log"));
}

TEST_F(GlobalConfigTest, WithADirectoryOrWithoutTheSectionOfCallFilesThereIsNoWarning)
{
    const OneCallLogging callLogging(true);
    loadText(m_config, warningsInFile(m_directory.file("log")));
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    loadText(m_config, s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_EQ("", m_directory.read("log"));
}

TEST_F(GlobalConfigTest, CallLoggingThatCannotBeConfiguredFails)
{
    const OneCallLogging callLogging(false);
    loadText(m_config, std::string(s_szLoggingSection) + s_szCallLogSection);
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::undefined));
    EXPECT_EQ("failed to configure the Call Logging facility", errors.str());
}

TEST_F(GlobalConfigTest, WithoutCallLoggingItsStepIsSkipped)
{
    GlobalConfigSeam::setCallLogging(nullptr);
    loadText(m_config, std::string(s_szLoggingSection) + s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
}

// ---------------------------------------------------------------- the configuration of the process

TEST(GlobalConfigOfProcess, BothInterfacesHaveTheSameObjectAndCount)
{
    const TSHandle<GlobalConfig>& hRead = GlobalConfig::getInstance();
    const TSHandle<RWGlobalConfig>& hWrite = RWGlobalConfig::getInstance();
    ASSERT_FALSE(hRead.isNull());
    EXPECT_EQ(static_cast<GlobalConfig*>(hWrite.get()), hRead.get());
    EXPECT_EQ(&GlobalConfig::getInstance(), &hRead) << "the handle stays the same one";
    EXPECT_NE(nullptr, dynamic_cast<GlobalConfigImpl*>(hRead.get()));
}

TEST(GlobalConfigOfProcess, ItLivesInAnAccountOfItsOwn)
{
    inAccountingProcess(
        []
        {
            const auto* const pConfig = new GlobalConfigImpl;
            EXPECT_EQ(static_cast<int>(sizeof(GlobalConfigImpl)), bytesHeld("GlobalConfigImpl"));
            delete pConfig;
            EXPECT_EQ(0, bytesHeld("GlobalConfigImpl"));
        });
}

TEST(GlobalConfigOfProcess, AnAssertionReadsItsParameterInIt)
{
    const CapturedLog log;
    EXPECT_TRUE(
        RWGlobalConfig::getInstance()->setBoolParameter("keswardin.infra.abortOnAssert", false));
    bool bValue = true;
    EXPECT_TRUE(AssertionSeam::getBoolParameters()->getBoolParameter(
        "keswardin.infra.abortOnAssert", bValue));
    EXPECT_FALSE(bValue);
}

TEST(GlobalConfigOfProcess, AbortingOnAnAssertionIsSetInIt)
{
    const CapturedLog log;
    EXPECT_TRUE(Assertion::setAbortOnAssert(true));
    bool bValue = false;
    GlobalConfig::getInstance()->getBoolParameter("keswardin.infra.abortOnAssert", bValue);
    EXPECT_TRUE(bValue);
    EXPECT_TRUE(Assertion::setAbortOnAssert(false));
}

} // namespace Velmora::Test
