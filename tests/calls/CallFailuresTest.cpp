// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/Sanitizers.h"
#include "velmora/logging/CallLogger.h"
#include "velmora/logging/LogMacros.h"

#include "tests/support/CallLogging.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Lines.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr const char* s_szName = "test.call";

/// Provides a call whose file can always be written, to check that it loses no line while the files
/// of other calls fail.
class CallFailures : public testing::Test
{
  protected:
    CallFailures() : m_well(s_szName)
    {
        makeParticipant(s_szName);
        EXPECT_TRUE(configureCalls(m_directory.path().string()));
        m_well.callStart("well");
        logWell();
        m_log.clear();
        m_iWellLines = 0;
    }

    void logWell() { VELMORA_LOG(m_well, INFO_LOG_LEVEL, "well " << ++m_iWellLines); }

    /// Puts the files of later calls into a directory. With a `ReopenDelay` of 0, a file that
    /// failed is opened again at the next line.
    static void useDirectory(const std::string& in_strDirectory, const std::string& in_strMore = "")
    {
        EXPECT_TRUE(configureCalls(
            in_strDirectory, "log4cplus.appender.CALL_LOG_APPENDER.ReopenDelay=0\n" + in_strMore));
    }

    /// Expects that neither the file of the healthy call nor the main log has lost a line.
    /// `in_uiOtherLines` is the number of lines that other calls logged.
    void expectOthersWell(std::size_t in_uiOtherLines)
    {
        logWell();
        m_well.callEnd();
        // The file also has the first and the last line, and the line that the constructor logged.
        EXPECT_THAT(linesOf(m_directory.read("well")),
                    SizeIs(static_cast<std::size_t>(m_iWellLines) + 3));
        EXPECT_THAT(m_log.linesOf(s_szName),
                    SizeIs(static_cast<std::size_t>(m_iWellLines) + in_uiOtherLines));
    }

    TemporaryDirectory m_directory;
    TemporaryDirectory m_mountPoint;
    CapturedLog m_log{INFO_LOG_LEVEL};
    CallLogger m_well;
    int m_iWellLines = 0;
};

} // namespace

TEST_F(CallFailures, AFullDiskIsReportedOnceAndTheFileGoesOnWhenThereIsRoom)
{
    const SmallDisk disk(m_mountPoint.path());
    VELMORA_NEEDS_DISK(disk);
    useDirectory(disk.path());
    CallLogger logger(s_szName);
    logger.callStart("full");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "before");
    disk.fill();
    testing::internal::CaptureStderr();

    // Longer than a page of memory: a short line could still fit into the file's last page.
    const std::string strLong(8192, 'l');
    for (int iLine = 0; iLine < 5; ++iLine)
    {
        VELMORA_LOG(logger, INFO_LOG_LEVEL, strLong);
        logWell();
    }
    disk.makeRoom();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "again");
    disk.fill();
    for (int iLine = 0; iLine < 5; ++iLine)
        VELMORA_LOG(logger, INFO_LOG_LEVEL, strLong);
    disk.makeRoom();
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "and again");
    logger.callEnd();

    EXPECT_EQ("log4cplus:ERROR Unable to write file: " + disk.path() +
                  "/full\nlog4cplus:ERROR cannot write " + disk.path() +
                  "/full: No space left on device\n",
              testing::internal::GetCapturedStderr());
    EXPECT_THAT(m_mountPoint.read("full"),
                testing::StartsWith("INFO keswardin.infra.CallLogger.Appender: "
                                    "Call start : "));
    EXPECT_THAT(m_mountPoint.read("full"), HasSubstr("again\n"));
    EXPECT_THAT(m_mountPoint.read("full"), HasSubstr("and again\n"));
    EXPECT_THAT(m_mountPoint.read("full"), HasSubstr("Call end : "));
    expectOthersWell(13);
}

TEST_F(CallFailures, ADiskThatIsFullForTheLastLineIsReported)
{
    const SmallDisk disk(m_mountPoint.path());
    VELMORA_NEEDS_DISK(disk);
    // Buffered lines reach the disk when the file is closed.
    useDirectory(disk.path(), "log4cplus.appender.CALL_LOG_APPENDER.ImmediateFlush=false\n");
    CallLogger logger(s_szName);
    logger.callStart("full");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "buffered");
    disk.fill();
    testing::internal::CaptureStderr();

    logger.callEnd();

    EXPECT_EQ("log4cplus:ERROR Unable to write file: " + disk.path() +
                  "/full\nlog4cplus:ERROR cannot write " + disk.path() +
                  "/full: No space left on device\n",
              testing::internal::GetCapturedStderr());
    expectOthersWell(1);
}

TEST_F(CallFailures, ADirectoryThatVanishesIsThereAgainForTheNextCall)
{
    const std::string strCalls = m_directory.file("calls");
    useDirectory(strCalls);
    CallLogger logger(s_szName);
    logger.callStart("first");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "before");
    testing::internal::CaptureStderr();
    std::filesystem::remove_all(strCalls);

    VELMORA_LOG(logger, INFO_LOG_LEVEL, "into nowhere");
    logger.callStart("second");
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();

    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_FALSE(std::filesystem::exists(strCalls + "/first"));
    EXPECT_THAT(linesOf(m_directory.read("calls/second")), SizeIs(3));
    expectOthersWell(3);
}

TEST_F(CallFailures, WithoutADescriptorACallHasNoFileUntilThereIsOne)
{
#if VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "the sanitizer looks at memory through pipes of its own";
#endif
    useDirectory(m_directory.path().string());
    testing::internal::CaptureStderr();
    CallLogger logger(s_szName);
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        logger.callStart("late");
        for (int iLine = 0; iLine < 5; ++iLine)
        {
            VELMORA_LOG(logger, INFO_LOG_LEVEL, "without");
            logWell();
        }
    }
    VELMORA_LOG(logger, INFO_LOG_LEVEL, "with");
    logger.callEnd();

    EXPECT_EQ("log4cplus:ERROR Unable to open file: " + m_directory.file("late") +
                  "\nlog4cplus:ERROR cannot open " + m_directory.file("late") +
                  ": Too many open files\n",
              testing::internal::GetCapturedStderr());
    // A file that is opened late lacks the line "Call start".
    EXPECT_THAT(linesOf(m_directory.read("late")),
                ElementsAre("INFO test.call: with", HasSubstr("Call end : ")));
    expectOthersWell(6);
}

TEST_F(CallFailures, OnAReadOnlyFileSystemEachCallIsReportedOnce)
{
    const SmallDisk disk(m_mountPoint.path());
    VELMORA_NEEDS_DISK(disk);
    useDirectory(disk.path());
    ASSERT_TRUE(disk.makeReadOnly());
    testing::internal::CaptureStderr();

    for (const char* const szId : {"first", "second"})
    {
        CallLogger logger(s_szName);
        logger.callStart(szId);
        for (int iLine = 0; iLine < 3; ++iLine)
            VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
        logWell();
    }

    EXPECT_THAT(
        linesOf(testing::internal::GetCapturedStderr()),
        ElementsAre("log4cplus:ERROR Unable to open file: " + disk.path() + "/first",
                    "log4cplus:ERROR cannot open " + disk.path() + "/first: Read-only file system",
                    "log4cplus:ERROR Unable to open file: " + disk.path() + "/second",
                    "log4cplus:ERROR cannot open " + disk.path() +
                        "/second: Read-only file system"));
    expectOthersWell(6);
}

TEST_F(CallFailures, OnAReadOnlyFileSystemNoDirectoryIsMadeAndEachCallIsReportedOnce)
{
    const SmallDisk disk(m_mountPoint.path());
    VELMORA_NEEDS_DISK(disk);
    useDirectory(disk.path(), "keswardin.infra.CallLogger.dateTimeDirectory=true\n");
    ASSERT_TRUE(disk.makeReadOnly());

    CallLogger logger(s_szName);
    logger.callStart("first");
    for (int iLine = 0; iLine < 3; ++iLine)
        VELMORA_LOG(logger, INFO_LOG_LEVEL, "line");
    logger.callEnd();

    std::vector<std::string> reported;
    for (const LogLine& line : m_log.linesOf("keswardin.infra.CallAppender"))
        reported.push_back(line.strText);
    ASSERT_THAT(reported, SizeIs(1));
    EXPECT_THAT(reported.front(),
                testing::MatchesRegex("failed to create call logging directory " + disk.path() +
                                      "/.*\\. Read-only file system"));
    EXPECT_EQ(ERROR_LOG_LEVEL, m_log.linesOf("keswardin.infra.CallAppender").front().level);
    expectOthersWell(3);
}

} // namespace Velmora::Test
