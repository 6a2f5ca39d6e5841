// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigSource.h"

#include "tests/support/Locales.h"
#include "velmora/config/test/GlobalConfigFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using GlobalConfigSourceTest = GlobalConfigTest;

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

} // namespace

TEST_F(GlobalConfigSourceTest, AnEmptyListOfSourcesFailsWithoutTouchingAnything)
{
    loadText(m_config, "keswardin.exitTimeoutSec=7\n");
    m_log.clear();
    EXPECT_FALSE(m_config.load(Urls()));
    EXPECT_EQ(7, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(error("failed to load configuration to initialize Global Config "
                                  "because config URLs vector is empty")));
}

TEST_F(GlobalConfigSourceTest, TheLoadFromSourcesIsTraced)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    m_config.load(Urls());
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "entering GlobalConfigImpl::load"), testing::_,
                            traceLine(s_szLogger, "exiting GlobalConfigImpl::load")));
}

TEST_F(GlobalConfigSourceTest, AfterASourceThatCannotBeOpenedTheNextOneIsStillRead)
{
    const std::string strPath = write("b.cfg", "keswardin.exitTimeoutSec=9\n");
    EXPECT_FALSE(m_config.load(Urls{m_directory.file("none.cfg"), strPath}));
    EXPECT_EQ(9, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigSourceTest, ALineThatOneSourceLeavesOpenIsCompletedByALaterOne)
{
    EXPECT_TRUE(m_config.load(
        Urls{write("a.cfg", "log4cplus.a=${log4cplus.b}\n"), write("b.cfg", "log4cplus.b=z\n")}));
    EXPECT_EQ("z", stringOf(m_config, "log4cplus.a"));
}

TEST_F(GlobalConfigSourceTest, ALaterSourceOverwritesAnEarlierOne)
{
    const std::string strFirst = write("a.cfg", "keswardin.exitTimeoutSec=1\n");
    const std::string strSecond = write("b.cfg", "keswardin.exitTimeoutSec=2\n");
    EXPECT_TRUE(m_config.load(Urls{strFirst, strSecond}));
    EXPECT_EQ(2, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_THAT(
        m_log.linesOf(s_szTrieLogger),
        ElementsAre(warnLine(s_szTrieLogger, "Parameter keswardin.exitTimeoutSec "
                                             "redefined from 1 to 2"),
                    warnLine(s_szTrieLogger, strSecond + ":1 : replaces " + strFirst + ":1")));
}

TEST_F(GlobalConfigSourceTest, TheSchemeFileReadsAPathBehindTheHostRelativeToTheCurrentDirectory)
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

TEST_F(GlobalConfigSourceTest, TheSchemeFileWithoutAHostReadsARelativePathToo)
{
    m_config.load(Urls{"file:///etc/a.cfg"});
    EXPECT_THAT(m_log.lines(), Contains(debug("Loading Global Config from etc/a.cfg")));
}

TEST_F(GlobalConfigSourceTest, TheSchemeFileReadsAnAbsolutePathBehindAFurtherSlash)
{
    const std::string strPath = write("a.cfg", "keswardin.exitTimeoutSec=5\n");
    EXPECT_TRUE(m_config.load(Urls{"file:///" + strPath}));
    EXPECT_EQ(5, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigSourceTest, WhatIsNoUrlIsAPath)
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

TEST_F(GlobalConfigSourceTest, ASchemeWithoutTwoSlashesIsPartOfAPath)
{
    write("file:/a", "keswardin.exitTimeoutSec=3\n");
    const CurrentDirectory current(m_directory.path());
    EXPECT_TRUE(m_config.load(Urls{"file:/a"}));
    EXPECT_EQ(3, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigSourceTest, APasswordOfAUrlThatIsTakenForAPathIsNotLogged)
{
    const CurrentDirectory current(m_directory.path());
    EXPECT_FALSE(m_config.load(Urls{"db://gw:hunter2@host/x"}));
    EXPECT_THAT(
        m_log.linesOf(s_szLogger),
        ElementsAre(
            debug("GlobalConfigImpl::load : Config URL: db://gw:***@host/x"),
            debug("Loading Global Config from db://gw:***@host/x"),
            errorLine(s_szLogger, "failed to initialize Global Config : unable to open "
                                  "db://gw:***@host/x for reading"),
            errorLine(s_szLogger, "cannot open db://gw:***@host/x: No such file or directory (" +
                                      m_directory.file("db:/gw:***@host/x") + ")")));
}

// Database

TEST_F(GlobalConfigSourceTest, APasswordInTheQueryIsNotLoggedButTheDatabaseSourceIsAskedWithIt)
{
    const OneDatabase database(std::nullopt);
    EXPECT_FALSE(m_config.load(Urls{"db://host/x?password=hunter2"}));
    EXPECT_THAT(database.asked(), ElementsAre("db://host/x?password=hunter2"));
    EXPECT_THAT(
        m_log.linesOf(s_szLogger),
        ElementsAre(errorLine(s_szLogger,
                              "failed to initialize global config from db://host/x?password=***"),
                    debug("GlobalConfigImpl::load : Config URL: db://host/x?password=***"),
                    debug("Config URL prefix: db")));
}

TEST_F(GlobalConfigSourceTest, AnyOtherSchemeGoesToTheDatabaseSourceAsAWhole)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "11"}});
    EXPECT_TRUE(m_config.load(Urls{"db://x/y", "mysql://server.example/sets?a=b"}));
    EXPECT_THAT(database.asked(), ElementsAre("db://x/y", "mysql://server.example/sets?a=b"));
    EXPECT_EQ(11, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigSourceTest, WhatADatabaseGivesGoesThroughTheParserOfFiles)
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

TEST_F(GlobalConfigSourceTest, TheNumbersOfADatabaseAreReadInEachLocale)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "1234567"}});
    const GlobalLocale locale;
    EXPECT_TRUE(m_config.load(Urls{"db://host/set"}));
    EXPECT_EQ(1234567, intOf(m_config, "keswardin.exitTimeoutSec"));
}

TEST_F(GlobalConfigSourceTest, WhatADatabaseGivesIsLoggedAtItsPlaceAmongTheSources)
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

TEST_F(GlobalConfigSourceTest, AllDatabasesAreAskedInTheirOrderBeforeTheFirstFileIsRead)
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

TEST_F(GlobalConfigSourceTest, ALineOfADatabaseThatCannotBeParsedIsReportedWithTheUrl)
{
    const OneDatabase database(Parameters{{"keswardin.exitTimeoutSec", "11\nnonsense"}});
    EXPECT_FALSE(m_config.load(Urls{"db://x/y"}));
    EXPECT_THAT(m_log.lines(), Contains(error("failed to initialize global config from db://x/y")));
}

TEST_F(GlobalConfigSourceTest, ADatabaseThatFailsDoesNotKeepTheNextSourceFromBeingRead)
{
    const OneDatabase database(std::nullopt);
    EXPECT_FALSE(m_config.load(Urls{"db://x/y", write("b.cfg", "keswardin.killTimeoutSec=2\n")}));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.exitTimeoutSec"));
    EXPECT_EQ(2, intOf(m_config, "keswardin.killTimeoutSec"));
}

TEST_F(GlobalConfigSourceTest, WithoutADatabaseSourceItsUrlsFailAndTheNextSourceIsRead)
{
    GlobalConfigSeam::setDatabaseSource(nullptr);
    EXPECT_FALSE(m_config.load(Urls{"db://x/y", write("b.cfg", "keswardin.killTimeoutSec=2\n")}));
    EXPECT_EQ(2, intOf(m_config, "keswardin.killTimeoutSec"));
    EXPECT_THAT(m_log.lines(),
                Contains(error("failed to initialize global config from db://x/y : no database "
                               "source")));
}

// Command line

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

TEST_F(GlobalConfigSourceTest, TheValuesOfAnOptionAreTakenInTheirOrder)
{
    CommandLine line({"program", "--config", "a.cfg", "--config=b.cfg"});
    Urls values;
    GlobalConfig::getConfigOptionsFromCmdline(line.argc(), line.argv(), values, "config");
    EXPECT_THAT(values, ElementsAre("a.cfg", "b.cfg"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(GlobalConfigSourceTest, AnotherOptionOnTheLineLeavesTheValuesAsTheyWere)
{
    CommandLine line({"program", "--config", "a.cfg", "--other"});
    Urls values{"before"};
    GlobalConfig::getConfigOptionsFromCmdline(line.argc(), line.argv(), values, "config");
    EXPECT_THAT(values, ElementsAre("before"));
    EXPECT_THAT(m_log.lines(), ElementsAre(debug("unrecognised option '--other'")));
}

TEST_F(GlobalConfigSourceTest, APasswordInAnotherOptionIsNotLogged)
{
    CommandLine line({"program", "--other=db://gw:hunter2@host/x"});
    Urls values;
    GlobalConfig::getConfigOptionsFromCmdline(line.argc(), line.argv(), values, "config");
    EXPECT_THAT(m_log.lines(),
                ElementsAre(debug("unrecognised option '--other=db://gw:***@host/x'")));
}

TEST_F(GlobalConfigSourceTest, InitializingLoadsWhatTheOptionNames)
{
    CommandLine line({"program", "--config", write("a.cfg", "keswardin.exitTimeoutSec=6\n")});
    EXPECT_TRUE(m_config.initialize(line.argc(), line.argv(), "config"));
    EXPECT_EQ(6, intOf(m_config, "keswardin.exitTimeoutSec"));
    EXPECT_FALSE(m_config.parameterDefined("keswardin.run.mode")) << "it adds no defaults";
}

TEST_F(GlobalConfigSourceTest, InitializingWithoutTheOptionFails)
{
    CommandLine line({"program"});
    EXPECT_FALSE(m_config.initialize(line.argc(), line.argv(), "config"));
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(error("Failed to initialize the Global Config from command line because "
                          "option config was not set.")));
}

TEST_F(GlobalConfigSourceTest, InitializingFromASourceThatFailsFails)
{
    CommandLine line({"program", "--config", m_directory.file("none.cfg")});
    EXPECT_FALSE(m_config.initialize(line.argc(), line.argv(), "config"));
}

} // namespace Velmora::Test
