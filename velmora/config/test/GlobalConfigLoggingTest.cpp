// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigImpl.h"

#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/config/test/GlobalConfigFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using GlobalConfigLoggingTest = GlobalConfigTest;

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

TEST_F(GlobalConfigLoggingTest, WithAnUndefinedModeLoggingIsConfiguredFromTheConfiguration)
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

TEST_F(GlobalConfigLoggingTest, WithoutTheParameterOfTheModeLoggingIsConfiguredFromTheConfiguration)
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

TEST_F(GlobalConfigLoggingTest, SuccessIsLoggedInTheNewLog)
{
    loadText(m_config, fileLogging(m_directory.file("log")));
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_EQ("INFO - Logger successfully configured from Global Configuration\n",
              m_directory.read("log"));
}

TEST_F(GlobalConfigLoggingTest, TheModeChoosesTheFileOfTheLogging)
{
    const std::string strPath = write("logging", fileLogging(m_directory.file("log")));
    loadText(m_config, std::string(s_szLoggingSection) +
                           "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::production));
    EXPECT_EQ("INFO - Logger successfully configured from " + strPath + "\n",
              m_directory.read("log"));
}

TEST_F(GlobalConfigLoggingTest, TagsInTheFileOfTheLoggingStandForParametersOfTheConfiguration)
{
    const std::string strPath = write("logging", fileLogging("${log4cplus.file}"));
    loadText(m_config, "log4cplus.file=" + m_directory.file("log") +
                           "\nkeswardin.infra.Logger.PropertiesFile.development=" + strPath + "\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::development));
    EXPECT_THAT(m_directory.read("log"), HasSubstr("Logger successfully configured from "));
}

TEST_F(GlobalConfigLoggingTest, AFileOfTheLoggingThatCannotBeReadFailsWithNoSecondAttempt)
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

TEST_F(GlobalConfigLoggingTest, WhatIsWrongWithTheLoggingGoesToAStreamThatThrowsWithoutAnException)
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

TEST_F(GlobalConfigLoggingTest, WhatIsWrongWithATrieOfTheLoggingGoesToAStreamThatThrowsAsWell)
{
    BrokenBuffer buffer;
    std::ostream errors(&buffer);
    errors.exceptions(s_allStates);
    bool bOK = true;
    EXPECT_NO_THROW(bOK = m_config.configureLogger(ParameterTrie(), errors));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(s_allStates, errors.exceptions());
}

TEST_F(GlobalConfigLoggingTest, ADirectoryIsNoFileOfTheLoggingThatCanBeRead)
{
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=/tmp\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ("failed to configure logger from file /tmp: Is a directory", errors.str());
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("failed to configure logger from file /tmp"),
                            error("cannot read /tmp: Is a directory")));
}

TEST_F(GlobalConfigLoggingTest, WhatIsWrongWithTheLoggingIsLoggedAfterTheReason)
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

TEST_F(GlobalConfigLoggingTest, AFileOfTheLoggingWithAParseErrorFails)
{
    const std::string strPath = write("logging", "nonsense\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ("failed to configure logger from file " + strPath, errors.str());
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("failed to configure logger from file " + strPath)));
}

TEST_F(GlobalConfigLoggingTest, AFileOfTheLoggingWithOpenLinesFails)
{
    const std::string strPath =
        write("logging", std::string(s_szLoggingSection) + "log4cplus.a=${nowhere}\nb=${there}\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ(DEBUG_LOG_LEVEL, log4cplus::Logger::getRoot().getLogLevel());
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("Unable to complete the configuration. Unknown parameters: "
                                  "[log4cplus.a=${nowhere}] [b=${there}]"),
                            error(strPath + ":3 : no parameter and no environment variable is "
                                            "named ${nowhere} ; add the line \"nowhere = ...\", or "
                                            "correct the tag"),
                            error(strPath + ":4 : no parameter and no environment variable is "
                                            "named ${there} ; add the line \"there = ...\", or "
                                            "correct the tag")));
    EXPECT_EQ("failed to configure logger from file " + strPath +
                  ". Unknown parameters: [log4cplus.a=${nowhere}] [b=${there}]",
              errors.str());
}

TEST_F(GlobalConfigLoggingTest, AFileOfTheLoggingThatCannotBeReadIsLoggedWithItsReason)
{
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=/tmp\n");
    m_log.clear();
    EXPECT_FALSE(m_config.configureLogger(RunMode::production));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("failed to configure logger from file /tmp"),
                            error("cannot read /tmp: Is a directory"),
                            error("GlobalConfigImpl::configureLogger(production) failed : failed "
                                  "to configure logger from file /tmp: Is a directory")));
}

TEST_F(GlobalConfigLoggingTest, AFileOfTheLoggingWithOpenLinesIsLoggedWithItsReason)
{
    const std::string strPath = write("logging", "log4cplus.a=${nowhere}\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    EXPECT_FALSE(m_config.configureLogger(RunMode::production));
    EXPECT_THAT(m_log.linesOf(s_szLogger),
                ElementsAre(error("Unable to complete the configuration. Unknown parameters: "
                                  "[log4cplus.a=${nowhere}]"),
                            error(strPath + ":1 : no parameter and no environment variable is "
                                            "named ${nowhere} ; add the line \"nowhere = ...\", or "
                                            "correct the tag"),
                            error("GlobalConfigImpl::configureLogger(production) failed : failed "
                                  "to configure logger from file " +
                                  strPath + ". Unknown parameters: [log4cplus.a=${nowhere}]")));
}

TEST_F(GlobalConfigLoggingTest, AFileOfTheLoggingWithoutItsSectionFails)
{
    const std::string strPath = write("logging", "a=1\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::production));
    EXPECT_EQ("failed to configure Logger, no log4cplus section could be found", errors.str());
}

TEST_F(GlobalConfigLoggingTest, TheNamesInAFileOfTheLoggingAreNotCheckedAgainstTheTable)
{
    const std::string strPath =
        write("logging", std::string(s_szLoggingSection) + "unknown.name=1\n");
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    m_log.clear();
    EXPECT_TRUE(m_config.configureLogger(RunMode::production));
    EXPECT_THAT(m_log.linesOf(s_szTrieLogger), IsEmpty());
}

TEST_F(GlobalConfigLoggingTest, CallLoggingIsConfiguredWhenADirectoryIsNamed)
{
    OneCallLogging callLogging(true);
    loadText(m_config, std::string(s_szLoggingSection) + s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_THAT(callLogging.directories(), ElementsAre("/var/calls"));
}

TEST_F(GlobalConfigLoggingTest, TheConfigurationOfCallLoggingIsLoggedAtDebug)
{
    const OneCallLogging callLogging(true);
    loadText(m_config, fileLogging(m_directory.file("log")) + s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_THAT(m_directory.read("log"),
                HasSubstr("DEBUG - Configuring the Call Logging Facility\n"));
}

TEST_F(GlobalConfigLoggingTest, CallLoggingIsLeftAloneWhenNoDirectoryIsNamed)
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

constexpr const char* s_szMarkerWithoutDirectory =
    "log4cplus.logger.calls=INFO, CALL_LOG_APPENDER\n"
    "log4cplus.appender.CALL_LOG_APPENDER=log4cplus::NullAppender\n"
    "log4cplus.appender.CALL_LOG_APPENDER.layout=log4cplus::TTCCLayout\n";

constexpr const char* s_szWarningOfNoDirectory =
    "WARN keswardin.infra.GlobalConfig: log4cplus.appender.CALL_LOG_APPENDER is configured without "
    "a directory, so no call gets a log file from this configuration. Set "
    "log4cplus.appender.CALL_LOG_APPENDER.Directory to the directory of these files\n";

} // namespace

TEST_F(GlobalConfigLoggingTest, TheSectionOfCallFilesWithoutADirectoryDrawsAWarning)
{
    OneCallLogging callLogging(true);
    loadText(m_config, warningsInFile(m_directory.file("log")) + s_szMarkerWithoutDirectory);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_EQ(s_szWarningOfNoDirectory, m_directory.read("log"));
    EXPECT_THAT(callLogging.directories(), IsEmpty());
}

TEST_F(GlobalConfigLoggingTest, TheSectionOfCallFilesInAFileOfTheLoggingDrawsTheWarningToo)
{
    const OneCallLogging callLogging(true);
    const std::string strPath =
        write("logging", warningsInFile(m_directory.file("log")) + s_szMarkerWithoutDirectory);
    loadText(m_config, "keswardin.infra.Logger.PropertiesFile.production=" + strPath + "\n");
    EXPECT_TRUE(m_config.configureLogger(RunMode::production));
    EXPECT_EQ(s_szWarningOfNoDirectory, m_directory.read("log"));
}

TEST_F(GlobalConfigLoggingTest, WithADirectoryOrWithoutTheSectionOfCallFilesThereIsNoWarning)
{
    const OneCallLogging callLogging(true);
    loadText(m_config, warningsInFile(m_directory.file("log")));
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    loadText(m_config, s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
    EXPECT_EQ("", m_directory.read("log"));
}

TEST_F(GlobalConfigLoggingTest, CallLoggingThatCannotBeConfiguredFails)
{
    const OneCallLogging callLogging(false);
    loadText(m_config, std::string(s_szLoggingSection) + s_szCallLogSection);
    std::ostringstream errors;
    EXPECT_FALSE(m_config.configureLogger(errors, RunMode::undefined));
    EXPECT_EQ("failed to configure the Call Logging facility", errors.str());
}

TEST_F(GlobalConfigLoggingTest, WithoutCallLoggingItsStepIsSkipped)
{
    GlobalConfigSeam::setCallLogging(nullptr);
    loadText(m_config, std::string(s_szLoggingSection) + s_szCallLogSection);
    EXPECT_TRUE(m_config.configureLogger(RunMode::undefined));
}

} // namespace Velmora::Test
