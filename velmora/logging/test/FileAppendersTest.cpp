// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileAppenders.h"

#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/Lines.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using log4cplus::helpers::Properties;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The id of the user "nobody".
constexpr uid_t s_nobody = 65534;

/// Sets one of the flags that `chattr` sets on a file or a directory, for the life of this object.
/// Such a flag holds for root too.
///
/// Failure: `isSet` returns false if the file system or the user does not allow it.
class FileFlag
{
  public:
    FileFlag(const std::string& in_strPath, int in_iFlag)
        : m_iDescriptor(open(in_strPath.c_str(), O_RDONLY | O_CLOEXEC))
    {
        int iFlags = 0;
        if (ioctl(m_iDescriptor, FS_IOC_GETFLAGS, &iFlags) != 0)
            return;
        m_iFormer = iFlags;
        iFlags |= in_iFlag;
        m_bSet = ioctl(m_iDescriptor, FS_IOC_SETFLAGS, &iFlags) == 0;
    }
    ~FileFlag()
    {
        if (m_bSet)
            ioctl(m_iDescriptor, FS_IOC_SETFLAGS, &m_iFormer);
        close(m_iDescriptor);
    }
    FileFlag(const FileFlag&) = delete;
    FileFlag& operator=(const FileFlag&) = delete;

    [[nodiscard]] bool isSet() const { return m_bSet; }

  private:
    int m_iDescriptor;
    int m_iFormer = 0;
    bool m_bSet = false;
};

#define VELMORA_NEEDS_FLAG(flag) \
    if (!(flag).isSet())         \
    GTEST_SKIP() << "this file system or user sets no such flag"

/// Makes the test run as the user "nobody" for the life of this object.
///
/// Failure: `isSet` returns false if the test may not change its user.
class OtherUser
{
  public:
    OtherUser() : m_bSet(seteuid(s_nobody) == 0) {}
    ~OtherUser()
    {
        if (m_bSet && seteuid(0) != 0)
            ADD_FAILURE() << "cannot become root again";
    }
    OtherUser(const OtherUser&) = delete;
    OtherUser& operator=(const OtherUser&) = delete;

    [[nodiscard]] bool isSet() const { return m_bSet; }

  private:
    bool m_bSet;
};

#define VELMORA_NEEDS_USER(user) \
    if (!(user).isSet())         \
    GTEST_SKIP() << "only root becomes another user"

/// Provides a directory and the properties of an appender, MAIN, that rolls over a file in it.
class RollingAppender : public testing::Test
{
  protected:
    RollingAppender() : m_strDirectory(m_parent.file("logs"))
    {
        std::filesystem::create_directory(m_strDirectory);
        // The user of `OtherUser` must be able to search it.
        chmod(m_parent.path().c_str(), 0755);
        set("", "log4cplus::RollingFileAppender");
        set(".File", file());
    }

    void set(const std::string& in_strKey, const std::string& in_strValue)
    {
        m_properties.setProperty("log4cplus.appender.MAIN" + in_strKey, in_strValue);
    }

    [[nodiscard]] std::string file(const std::string& in_strName = "main.log") const
    {
        return m_strDirectory + '/' + in_strName;
    }

    void makeFile(const std::string& in_strName = "main.log") const
    {
        writeFile(file(in_strName), "a line\n");
    }

    /// Returns the line for an operator about a file that cannot be renamed or made.
    [[nodiscard]] std::string problemAt(const std::string& in_strPath,
                                        const std::string& in_strDirectory, int in_iReason) const
    {
        return "appender MAIN cannot roll over : " + in_strPath +
               " cannot be renamed or made in directory " + in_strDirectory + ": " +
               std::strerror(in_iReason) +
               "; lines will be lost at each rollover. Give the directory and the files in it to "
               "the user of this process, or log to another one";
    }

    [[nodiscard]] std::vector<std::string> problems() const
    {
        return FileAppenders::rolloverProblems(m_properties);
    }

    [[nodiscard]] const std::string& directory() const { return m_strDirectory; }

  private:
    TemporaryDirectory m_parent;
    std::string m_strDirectory;
    Properties m_properties;
};

/// Configures logging with one appender, MAIN, whose properties are given.
bool configureMain(const std::string& in_strLines)
{
    return Logger::configure(trieOf("log4cplus.rootLogger=INFO, MAIN\n" + in_strLines));
}

std::string mainAppender(const std::string& in_strType, const std::string& in_strFile)
{
    return "log4cplus.appender.MAIN=log4cplus::" + in_strType +
           "\nlog4cplus.appender.MAIN.File=" + in_strFile +
           "\nlog4cplus.appender.MAIN.layout=log4cplus::PatternLayout"
           "\nlog4cplus.appender.MAIN.layout.ConversionPattern=%m%n\n";
}

/// Logs lines, the second of them while the disk is full, and returns the lines of the file.
std::vector<std::string> linesAroundAFullDisk(const SmallDisk& in_disk,
                                              const std::string& in_strLog)
{
    const Logger logger("keswardin.test");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "before");
    in_disk.fill();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, std::string(8000, 'x'));
    in_disk.makeRoom();
    for (int i = 1; i <= 3; ++i)
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "after " << i);
    Logger::configureDefault();
    return linesOf(readFile(in_strLog));
}

/// Removes the line that failed. The disk had room for a part of it, which is in front of the next
/// line.
std::vector<std::string> withoutTheLineThatFailed(std::vector<std::string> in_lines)
{
    for (std::string& strLine : in_lines)
        std::erase(strLine, 'x');
    std::erase(in_lines, "");
    return in_lines;
}

} // namespace

TEST(FileAppenders, GetNoDelayUnlessTheConfigurationNamesOne)
{
    Properties properties;
    properties.setProperty("log4cplus.appender.ONE", "log4cplus::FileAppender");
    properties.setProperty("log4cplus.appender.TWO", "log4cplus::RollingFileAppender");
    properties.setProperty("log4cplus.appender.TWO.ReopenDelay", "7");
    properties.setProperty("log4cplus.appender.THREE", "log4cplus::DailyRollingFileAppender");
    properties.setProperty("log4cplus.appender.FOUR", "log4cplus::TimeBasedRollingFileAppender");
    FileAppenders::addDefaultsToAll(properties);
    EXPECT_EQ("0", properties.getProperty("log4cplus.appender.ONE.ReopenDelay"));
    EXPECT_EQ("7", properties.getProperty("log4cplus.appender.TWO.ReopenDelay"));
    EXPECT_EQ("0", properties.getProperty("log4cplus.appender.THREE.ReopenDelay"));
    EXPECT_EQ("0", properties.getProperty("log4cplus.appender.FOUR.ReopenDelay"));
    EXPECT_EQ(8U, properties.size());
}

TEST(FileAppenders, AreThoseOfAProgramThatNameAFileToo)
{
    Properties properties;
    properties.setProperty("log4cplus.appender.OWN", "gateway::CompressingAppender");
    properties.setProperty("log4cplus.appender.OWN.File", "a.log");
    FileAppenders::addDefaultsToAll(properties);
    EXPECT_EQ("0", properties.getProperty("log4cplus.appender.OWN.ReopenDelay"));
}

TEST(FileAppenders, AreThoseWithinAnotherToo)
{
    Properties properties;
    properties.setProperty("log4cplus.appender.OUTER", "log4cplus::AsyncAppender");
    properties.setProperty("log4cplus.appender.OUTER.Appender", "log4cplus::FileAppender");
    properties.setProperty("log4cplus.appender.OUTER.Appender.File", "a.log");
    FileAppenders::addDefaultsToAll(properties);
    EXPECT_EQ("0", properties.getProperty("log4cplus.appender.OUTER.Appender.ReopenDelay"));
    EXPECT_FALSE(properties.exists("log4cplus.appender.OUTER.ReopenDelay"));
}

TEST(FileAppenders, AreNoneOfOtherKinds)
{
    Properties properties;
    properties.setProperty("log4cplus.appender.CONSOLE", "log4cplus::ConsoleAppender");
    properties.setProperty("log4cplus.rootLogger", "INFO, CONSOLE");
    FileAppenders::addDefaultsToAll(properties);
    EXPECT_EQ(2U, properties.size());
}

TEST(FileAppenders, AConfiguredLogLosesNoLineBehindOneThatFailed)
{
    const TemporaryDirectory directory;
    const SmallDisk disk(directory.path());
    VELMORA_NEEDS_DISK(disk);
    const std::string strLog = directory.file("main.log");
    for (const auto& [strType, strMore] : std::vector<std::pair<std::string, std::string>>{
             {"FileAppender", ""},
             {"RollingFileAppender", ""},
             {"DailyRollingFileAppender", "log4cplus.appender.MAIN.Schedule=DAILY\n"
                                          "log4cplus.appender.MAIN.RollOnClose=false\n"}})
    {
        SCOPED_TRACE(strType);
        ASSERT_TRUE(configureMain(mainAppender(strType, strLog) + strMore));
        EXPECT_THAT(withoutTheLineThatFailed(linesAroundAFullDisk(disk, strLog)),
                    ElementsAre("before", "after 1", "after 2", "after 3"));
        std::filesystem::remove(strLog);
    }
}

TEST(FileAppenders, AConfiguredLogWithADelayOfItsOwnKeepsIt)
{
    const TemporaryDirectory directory;
    const SmallDisk disk(directory.path());
    VELMORA_NEEDS_DISK(disk);
    const std::string strLog = directory.file("main.log");
    ASSERT_TRUE(configureMain(mainAppender("FileAppender", strLog) +
                              "log4cplus.appender.MAIN.ReopenDelay=600\n"));
    EXPECT_THAT(withoutTheLineThatFailed(linesAroundAFullDisk(disk, strLog)),
                ElementsAre("before"));
}

/// Logs a line of a call to a full disk, with others before and after it. Returns the lines of the
/// call's file.
std::vector<std::string> linesOfCallAroundAFullDisk(const SmallDisk& in_disk,
                                                    const TemporaryDirectory& in_directory,
                                                    const std::string& in_strFailing)
{
    const CapturedLog log(FATAL_LOG_LEVEL);
    EXPECT_TRUE(configureCalls(in_directory.path()));
    makeParticipant("keswardin.test");
    CallLogger logger("keswardin.test");
    logger.callStart("one");
    const auto logLine = [&logger](const std::string& in_strText)
    { logger.forcedLog(INFO_LOG_LEVEL, in_strText, nullptr, -1); };
    logLine("before");
    in_disk.fill();
    logLine(in_strFailing);
    in_disk.makeRoom();
    logLine("after 1");
    logLine("after 2");
    logger.callEnd();
    return linesOf(in_directory.read("one"));
}

TEST(FileAppenders, TheFileOfACallGetsTheRestOfALineThatFailedWhenThereIsRoom)
{
    const TemporaryDirectory directory;
    const SmallDisk disk(directory.path());
    VELMORA_NEEDS_DISK(disk);
    // The line fits into the buffer, where the part stays for which the disk had no room.
    const std::string strFailing(8000, 'x');
    EXPECT_THAT(linesOfCallAroundAFullDisk(disk, directory, strFailing),
                ElementsAre(HasSubstr("Call start : "), "INFO keswardin.test: before",
                            "INFO keswardin.test: " + strFailing, "INFO keswardin.test: after 1",
                            "INFO keswardin.test: after 2", HasSubstr("Call end : ")));
}

TEST(FileAppenders, TheFileOfACallLosesNoLineBehindALongOneThatFailed)
{
    const TemporaryDirectory directory;
    const SmallDisk disk(directory.path());
    VELMORA_NEEDS_DISK(disk);
    // The line does not fit into the buffer, so its end is lost.
    EXPECT_THAT(withoutTheLineThatFailed(
                    linesOfCallAroundAFullDisk(disk, directory, std::string(20000, 'x'))),
                ElementsAre(HasSubstr("Call start : "), "INFO keswardin.test: before",
                            HasSubstr("INFO keswardin.test: after 1"),
                            "INFO keswardin.test: after 2", HasSubstr("Call end : ")));
}

TEST_F(RollingAppender, InADirectoryOfItsOwnIsNotReported)
{
    EXPECT_THAT(problems(), IsEmpty());
    makeFile();
    makeFile("main.log.1");
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(file()));
    EXPECT_TRUE(std::filesystem::exists(file("main.log.1")));
}

TEST_F(RollingAppender, InADirectoryThatIsNotThereIsNotReported)
{
    set(".File", file("deeper/main.log"));
    set(".CreateDirs", "true");
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RollingAppender, InADirectoryThatNobodyMayChangeIsReported)
{
    makeFile();
    const FileFlag flag(directory(), FS_IMMUTABLE_FL);
    VELMORA_NEEDS_FLAG(flag);
    const std::string strProblem = problemAt(file(), directory(), EPERM);
    EXPECT_THAT(problems(), ElementsAre(strProblem));
    set("", "log4cplus::DailyRollingFileAppender");
    EXPECT_THAT(problems(), ElementsAre(strProblem));
    set("", "log4cplus::TimeBasedRollingFileAppender");
    EXPECT_THAT(problems(), ElementsAre(strProblem));
    set("", "log4cplus::FileAppender");
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RollingAppender, InADirectoryThatOnlyGrowsIsReported)
{
    makeFile();
    const FileFlag flag(directory(), FS_APPEND_FL);
    VELMORA_NEEDS_FLAG(flag);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file(), directory(), EPERM)));
}

TEST_F(RollingAppender, WithAFileThatOnlyGrowsIsReported)
{
    makeFile();
    const FileFlag flag(file(), FS_APPEND_FL);
    VELMORA_NEEDS_FLAG(flag);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file(), directory(), EPERM)));
}

TEST_F(RollingAppender, InADirectoryOfAnotherUserIsReported)
{
    makeFile();
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file(), directory(), EACCES)));
}

TEST_F(RollingAppender, InADirectoryOfAnotherUserWithoutAFileIsReported)
{
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file(), directory(), EACCES)));
}

TEST_F(RollingAppender, WithAForeignFileInAStickyDirectoryIsReported)
{
    makeFile();
    ASSERT_EQ(0, chmod(file().c_str(), 0666));
    ASSERT_EQ(0, chmod(directory().c_str(), 01777));
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file(), directory(), EPERM)));
}

TEST_F(RollingAppender, WithAFileOfItsOwnInAStickyDirectoryIsNotReported)
{
    makeFile();
    ASSERT_EQ(0, chmod(directory().c_str(), 01777));
    if (chown(file().c_str(), s_nobody, s_nobody) != 0)
        GTEST_SKIP() << "only root gives files away";
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(RollingAppender, WithAForeignBackupInAStickyDirectoryIsReported)
{
    makeFile("main.log.1");
    ASSERT_EQ(0, chmod(directory().c_str(), 01777));
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file("main.log.1"), directory(), EPERM)));
}

TEST_F(RollingAppender, WithADirectoryInPlaceOfABackupIsReported)
{
    makeFile();
    std::filesystem::create_directory(file("main.log.1"));
    EXPECT_THAT(problems(), ElementsAre(problemAt(file("main.log.1"), directory(), EISDIR)));
    EXPECT_TRUE(std::filesystem::exists(file("main.log.1")));
}

TEST_F(RollingAppender, WithABackupIndexOf0HasOneBackup)
{
    set(".MaxBackupIndex", "0");
    makeFile("main.log.1");
    makeFile("main.log.2");
    ASSERT_EQ(0, chmod(directory().c_str(), 01777));
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file("main.log.1"), directory(), EPERM)));
}

TEST_F(RollingAppender, IsAskedForBackupsUpToTheirNumber)
{
    set(".MaxBackupIndex", "2");
    makeFile("main.log.1");
    if (chown(file("main.log.1").c_str(), s_nobody, s_nobody) != 0)
        GTEST_SKIP() << "only root gives files away";
    makeFile("main.log.2");
    makeFile("main.log.3");
    ASSERT_EQ(0, chmod(directory().c_str(), 01777));
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(), ElementsAre(problemAt(file("main.log.2"), directory(), EPERM)));
}

TEST_F(RollingAppender, WithARelativeNameIsLookedForInTheWorkingDirectory)
{
    makeFile();
    set(".File", "main.log");
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(directory());
    {
        const OtherUser user;
        VELMORA_NEEDS_USER(user);
        EXPECT_THAT(problems(), ElementsAre(problemAt("main.log", directory(), EACCES)));
    }
    std::filesystem::current_path(former);
}

TEST_F(RollingAppender, ByTimeWithAPatternIsLookedForInItsDirectory)
{
    set("", "log4cplus::TimeBasedRollingFileAppender");
    set(".File", "");
    set(".FilenamePattern", file("%d{yyyy-MM-dd}/main.log"));
    EXPECT_THAT(problems(), IsEmpty());
    const OtherUser user;
    VELMORA_NEEDS_USER(user);
    EXPECT_THAT(problems(),
                ElementsAre(problemAt(file("%d{yyyy-MM-dd}/main.log"), directory(), EACCES)));
}

TEST_F(RollingAppender, IsReportedWhenItIsConfigured)
{
    makeFile();
    std::filesystem::create_directory(file("main.log.1"));
    ASSERT_TRUE(configureMain(mainAppender("RollingFileAppender", file()) +
                              "log4cplus.appender.MAIN.Append=true\n"));
    const Logger logger("keswardin.test");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "goes on");
    Logger::configureDefault();
    EXPECT_THAT(
        linesOf(readFile(file())),
        ElementsAre("a line", problemAt(file("main.log.1"), directory(), EISDIR), "goes on"));
}

TEST_F(RollingAppender, InAGoodDirectoryIsConfiguredWithoutALine)
{
    ASSERT_TRUE(configureMain(mainAppender("RollingFileAppender", file("deeper/main.log")) +
                              "log4cplus.appender.MAIN.CreateDirs=true\n"));
    Logger::configureDefault();
    EXPECT_EQ(0U, std::filesystem::file_size(file("deeper/main.log")));
}

} // namespace Velmora::Test
