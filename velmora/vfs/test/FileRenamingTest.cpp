// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/Surroundings.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/test/RenamedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;

TEST_F(FileRenaming, GivesAFileANameWithTheTime)
{
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log"));
    EXPECT_THAT(namesIn("."), ElementsAre("report.2026_3_7_9_5_42.log"));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_gathersOfFile, s_renames));
}

TEST_F(FileRenaming, GivesTheSameNameInEachLocale)
{
    const GlobalLocale locale;
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log"));
    EXPECT_THAT(namesIn("."), ElementsAre("report.2026_3_7_9_5_42.log"));
}

TEST_F(FileRenaming, AMissingFileIsNothingToDo)
{
    makeCopies(3);
    const std::vector<std::string> before = namesIn(".");
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_EQ(0, File::renameWithTimestamp("report.log", 1, "target"));
    EXPECT_EQ(before, namesIn("."));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere, s_notThere));
}

TEST_F(FileRenaming, NullAndAnEmptyPathAreNothingToDo)
{
    EXPECT_EQ(0, File::renameWithTimestamp(nullptr, 1, nullptr));
    EXPECT_EQ(0, rotate("", 1));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere, s_notThere));
}

TEST_F(FileRenaming, ALinkToNothingIsNothingToDo)
{
    fs::create_symlink("nothing", "report.log");
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre("report.log"));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere));
}

TEST_F(FileRenaming, WhatIsBehindAFileIsNothingToDo)
{
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log/x", 1));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere));
}

TEST_F(FileRenaming, WhatCannotBeLookedAtIsNothingToDoWithAnError)
{
    const std::string strLong(300, 'x');
    fs::create_symlink("loop", "loop");
    EXPECT_EQ(0, rotate("loop", 1));
    EXPECT_EQ(0, rotate(strLong, 1));
    EXPECT_THAT(namesIn("."), ElementsAre("loop"));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere, unseen("loop", ELOOP), s_notThere,
                                           unseen(strLong, ENAMETOOLONG)));
}

TEST_F(FileRenaming, WhatMayNotBeLookedAtIsNothingToDoWithAnError)
{
    makeFile("d/report.log");
    fs::permissions("d", fs::perms(0700));
    int iResult = -1;
    if (!doAsNobody([&] { iResult = rotate("d/report.log", 1); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_EQ(0, iResult);
    EXPECT_THAT(namesIn("d"), ElementsAre("report.log"));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere, unseen("d/report.log", EACCES)));
}

TEST_F(FileRenaming, WhatADiskDoesNotShowIsNothingToDoWithAnError)
{
    makeFile("report.log");
    int iResult = -1;
    if (!doWhileCallsFail({{SYS_newfstatat, EIO}}, [&] { iResult = rotate("report.log", 1); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(0, iResult);
    EXPECT_THAT(m_log.lines(), ElementsAre(s_notThere, unseen("report.log", EIO)));
}

TEST_F(FileRenaming, ALinkIsRenamedItself)
{
    makeFile("real");
    fs::create_symlink("real", "report.log");
    EXPECT_EQ(0, rotate("report.log"));
    EXPECT_THAT(namesIn("."), ElementsAre("real", s_strNew));
    EXPECT_TRUE(fs::is_symlink(s_strNew));
}

TEST_F(FileRenaming, TracesItsScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    rotate("report.log");
    EXPECT_THAT(log.lines(),
                ElementsAre(traceLine(s_szLogger, "entering File::renameWithTimestamp"), s_notThere,
                            traceLine(s_szLogger, "exiting File::renameWithTimestamp")));
}

TEST_F(FileRenaming, AFileWithoutAnExtensionGetsANameThatEndsInTheSeconds)
{
    makeFile("report");
    EXPECT_EQ(0, rotate("report"));
    EXPECT_THAT(namesIn("."), ElementsAre("report.2026_3_7_9_5_42"));
}

TEST_F(FileRenaming, TheExtensionIsWhatFollowsTheLastDot)
{
    makeFile("a.b.c");
    makeFile(".profile");
    makeFile("end.");
    for (const char* const szName : {"a.b.c", ".profile", "end."})
        EXPECT_EQ(0, rotate(szName));
    EXPECT_THAT(namesIn("."), ElementsAre(".2026_3_7_9_5_42.profile", "a.b.2026_3_7_9_5_42.c",
                                          "end.2026_3_7_9_5_42."));
}

TEST_F(FileRenaming, TheTimeIsLocal)
{
    setTimeZone("WEST+10");
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log"));
    EXPECT_THAT(namesIn("."), ElementsAre("report.2026_3_6_23_5_42.log"));
}

TEST_F(FileRenaming, NumbersOfTwoDigitsAreWrittenWhole)
{
    // 2026-12-31 23:59:58
    setTime(1798761598);
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log"));
    EXPECT_THAT(namesIn("."), ElementsAre("report.2026_12_31_23_59_58.log"));
}

TEST_F(FileRenaming, TheNewNameStandsBesideTheOldOne)
{
    makeFile("d/e/report.log");
    EXPECT_EQ(0, rotate("d/e/report.log", 1));
    EXPECT_THAT(namesIn("d/e"), ElementsAre(s_strNew));
    makeFile("d/report.log");
    EXPECT_EQ(0, rotate(path("d/report.log"), 1));
    EXPECT_THAT(newNames(), ElementsAre("d/e/" + s_strNew, path("d/" + s_strNew)));
}

TEST_F(FileRenaming, TheNewNameOfABareNameIsBare)
{
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(newNames(), ElementsAre(s_strNew));
}

TEST_F(FileRenaming, ADirectoryGetsTheSameStamp)
{
    makeFile("dump.d/f");
    EXPECT_EQ(0, rotate("dump.d"));
    EXPECT_TRUE(fs::exists("dump.2026_3_7_9_5_42.d/f"));
    EXPECT_FALSE(fs::exists("dump.d"));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_gathersOfDirectory, s_renames));
}

TEST_F(FileRenaming, ASlashAtTheEndIsLeftOut)
{
    makeFile("d/f");
    EXPECT_EQ(0, rotate("d/", 1));
    EXPECT_EQ(0, rotate(path("d.2026_3_7_9_5_42/"), 1));
    EXPECT_THAT(namesIn("."), ElementsAre("d.2026_3_7_9_5_42.2026_3_7_9_5_42"));
}

TEST_F(FileRenaming, ABackslashAtTheEndIsLeftOutToo)
{
    fs::create_directory("d");
    fs::create_directory("d\\");
    EXPECT_EQ(0, rotate("d\\"));
    EXPECT_THAT(namesIn("."), ElementsAre("d.2026_3_7_9_5_42", "d\\"));
}

TEST_F(FileRenaming, AnotherDirectoryTakesTheCopy)
{
    makeFile("report.log");
    fs::create_directory("old");
    makeCopies(3, "old/");
    makeCopies(1);
    EXPECT_EQ(0, rotateTo("old", 2));
    EXPECT_THAT(namesIn("old"), ElementsAre(copyOf(3), s_strNew));
    EXPECT_THAT(namesIn("."), ElementsAre("old", copyOf(1)));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_gathersOfFile, s_renames));
}

TEST_F(FileRenaming, AnotherDirectoryMayEndWithASlashOrABackslash)
{
    fs::create_directory("old");
    makeFile("report.log");
    EXPECT_EQ(0, rotateTo("old/", 1));
    makeFile("report.log");
    EXPECT_EQ(0, rotateTo(path("old\\"), 1));
    EXPECT_THAT(newNames(), ElementsAre("old/" + s_strNew, path("old/" + s_strNew)));
    EXPECT_THAT(namesIn("."), ElementsAre("old"));
}

TEST_F(FileRenaming, AnotherDirectoryIsMade)
{
    makeFile("report.log");
    EXPECT_EQ(0, rotateTo("old", 1));
    EXPECT_THAT(namesIn("old"), ElementsAre(s_strNew));
    EXPECT_EQ(fs::perms(0755), fs::status("old").permissions());
    EXPECT_THAT(m_log.lines(), ElementsAre(s_createsTarget, s_gathersOfFile, s_renames));
    makeFile("report.log");
    EXPECT_EQ(0, rotateTo(path("old/older")));
    EXPECT_THAT(namesIn("old/older"), ElementsAre(s_strNew));
}

TEST_F(FileRenaming, TheParentOfAnotherDirectoryIsNotMade)
{
    makeFile("report.log");
    EXPECT_EQ(1, rotateTo("old/older"));
    EXPECT_EQ(1, rotateTo(path("old/older")));
    EXPECT_THAT(namesIn("."), ElementsAre("report.log"));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_noBase, reason("look at old", ENOENT), s_noBase,
                                           reason("look at " + path("old"), ENOENT)));
}

TEST_F(FileRenaming, TheRootOfADriveIsNotLookedAt)
{
    makeFile("report.log");
    EXPECT_EQ(0, rotateTo("C:/old"));
    EXPECT_EQ(0, rotateTo("z:/old"));
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(s_createsTarget, reason("make directory C:/old", ENOENT), s_gathersOfFile,
                    s_renames, reason("rename report.log to C:/old/" + s_strNew, ENOENT),
                    s_createsTarget, reason("make directory z:/old", ENOENT), s_gathersOfFile,
                    s_renames, reason("rename report.log to z:/old/" + s_strNew, ENOENT)));
    m_log.clear();
    for (const char* const szTarget : {"CC:/old", "1:/old", "C:/x/old", "xC:/old"})
        EXPECT_EQ(1, rotateTo(szTarget));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_noBase, reason("look at CC:", ENOENT), s_noBase,
                            reason("look at 1:", ENOENT), s_noBase, reason("look at C:/x", ENOENT),
                            s_noBase, reason("look at xC:", ENOENT)));
    EXPECT_THAT(namesIn("."), ElementsAre("report.log"));
}

TEST_F(FileRenaming, AnEmptyOtherDirectoryIsTheWorkingDirectory)
{
    makeFile("d/report.log");
    makeCopies(1);
    EXPECT_EQ(0, File::renameWithTimestamp("d/report.log", 1, ""));
    EXPECT_THAT(namesIn("."), ElementsAre("d", s_strNew));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_createsTarget, s_gathersOfFile, s_renames));
}

TEST_F(FileRenaming, ARenamingThatFailsGivesZeroWithAnError)
{
    fs::create_directory("m");
    makeFile("report.log");
    int iToOtherFileSystem = -1;
    int iOnReadOnly = -1;
    const auto work = [&]
    {
        iToOtherFileSystem = rotateTo("m/d", 1);
        iOnReadOnly = rotate("m/report.log", 1);
        EXPECT_TRUE(fs::exists("m/report.log"));
    };
    if (!doWithReadOnlyDisk(
            path("m"),
            []
            {
                makeFile("m/report.log");
                fs::create_directory("m/d");
            },
            work))
        GTEST_SKIP() << s_szNoMount;
    EXPECT_EQ(0, iToOtherFileSystem);
    EXPECT_EQ(0, iOnReadOnly);
    EXPECT_THAT(namesIn("."), ElementsAre("m", "report.log"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_gathersOfFile, s_renames,
                            reason("rename report.log to m/d/" + s_strNew, EXDEV), s_gathersOfFile,
                            s_renames, reason("rename m/report.log to m/" + s_strNew, EROFS)));
}

TEST_F(FileRenaming, InTheRootTheNewNameStandsInTheRoot)
{
    makeFile("old/f");
    makeFile("report.log");
    makeCopies(1);
    bool bHasRoot = false;
    std::thread(
        [&]
        {
            bHasRoot = unshare(CLONE_FS) == 0 && chroot(".") == 0 && chdir("/old") == 0;
            if (!bHasRoot)
                return;
            EXPECT_EQ(0, rotate("/report.log", 1));
            EXPECT_EQ(0, File::renameWithTimestamp("f", 1, "/"));
            EXPECT_EQ(0, File::renameWithTimestamp("/f.2026_3_7_9_5_42", 1, "/newer"));
        })
        .join();
    if (!bHasRoot)
        GTEST_SKIP() << "this process may not have a root directory of its own";
    EXPECT_THAT(newNames(), ElementsAre("/" + s_strNew, "/f.2026_3_7_9_5_42",
                                        "/newer/f.2026_3_7_9_5_42.2026_3_7_9_5_42"));
    EXPECT_THAT(namesIn("."), ElementsAre("newer", "old", s_strNew));
}

TEST_F(FileRenaming, ARelativePathNeedsAWorkingDirectory)
{
    fs::create_directory("gone");
    makeFile("report.log");
    fs::current_path("gone");
    fs::remove(path("gone"));
    EXPECT_EQ(1, rotate(".", 1));
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_noWorkingDirectory, reason("name the working directory", ENOENT),
                            s_notThere));
    EXPECT_EQ(0, rotate(path("report.log"), 1));
    fs::current_path(path(""));
    EXPECT_THAT(namesIn("."), ElementsAre(s_strNew));
}

TEST_F(FileRenaming, ARelativePathNeedsAWorkingDirectoryThatCanBeNamed)
{
    constexpr int iLevels = 25;
    const std::string strName(200, 'd');
    for (int i = 0; i < iLevels; ++i)
    {
        ASSERT_EQ(0, mkdir(strName.c_str(), 0755));
        ASSERT_EQ(0, chdir(strName.c_str()));
    }
    makeFile("report.log");
    EXPECT_EQ(1, rotate("report.log"));
    EXPECT_TRUE(fs::exists("report.log"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_noWorkingDirectory, reason("name the working directory", ERANGE)));
    ASSERT_EQ(0, unlink("report.log"));
    for (int i = 0; i < iLevels; ++i)
    {
        ASSERT_EQ(0, chdir(".."));
        ASSERT_EQ(0, rmdir(strName.c_str()));
    }
}

TEST_F(FileRenaming, ThreadsMayRotateTheirOwnFilesInOneDirectory)
{
    constexpr int iNumRounds = 50;
    const auto rotateAll = [](const std::string& in_strName)
    {
        for (int i = 0; i < iNumRounds; ++i)
        {
            makeFile(in_strName);
            EXPECT_EQ(0, File::renameWithTimestamp(in_strName.c_str(), 2, "old"));
        }
    };
    // Each copy replaces the one before, as the time does not advance.
    std::thread other(rotateAll, "a.log");
    rotateAll("b.log");
    other.join();
    EXPECT_THAT(namesIn("old"), ElementsAre("a.2026_3_7_9_5_42.log", "b.2026_3_7_9_5_42.log"));
}
