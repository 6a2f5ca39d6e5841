// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/Surroundings.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/test/DeletedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(FileDeletion, DeletesAFile)
{
    makeFile("f");
    EXPECT_TRUE(remove("f", s_plainly));
    EXPECT_FALSE(isThere("f"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FileDeletion, TellsWhatHasGoneWhenVerbose)
{
    makeFile("f");
    EXPECT_TRUE(remove(path("f"), {.bVerbose = true}));
    EXPECT_THAT(m_log.lines(), ElementsAre(isGone(path("f"))));
}

TEST_F(FileDeletion, WhatIsNotThereIsAsGoodAsDeletedWithAWarning)
{
    EXPECT_TRUE(remove("f", {.bForce = true, .bVerbose = true, .bRecursive = true}));
    EXPECT_TRUE(remove("", s_plainly));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("f"), notThere("f"), unlinkFailed(""), notThere("")));
}

TEST_F(FileDeletion, WhatIsBehindAFileIsAsGoodAsDeletedWithAWarning)
{
    makeFile("f");
    EXPECT_TRUE(remove("f/x", {}));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("f/x"), notThere("f/x")));
}

TEST_F(FileDeletion, WhatCannotBeLookedAtIsAsGoodAsDeletedWithAnError)
{
    const std::string strLong(300, 'x');
    fs::create_symlink("loop", "loop");
    EXPECT_TRUE(remove("loop/f", {}));
    EXPECT_TRUE(remove(strLong, {}));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("loop/f"), notThere("loop/f"),
                                           unseen("loop/f", ELOOP), unlinkFailed(strLong),
                                           notThere(strLong), unseen(strLong, ENAMETOOLONG)));
}

TEST_F(FileDeletion, WhatMayNotBeLookedAtIsAsGoodAsDeletedWithAnError)
{
    makeFile("d/f");
    setMode("d", 0700);
    bool bRemoved = false;
    if (!doAsNobody([&] { bRemoved = remove("d/f", {}); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_TRUE(bRemoved);
    EXPECT_TRUE(isThere("d/f"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("d/f"), notThere("d/f"), unseen("d/f", EACCES)));
}

TEST_F(FileDeletion, WhatADiskDoesNotShowIsAsGoodAsDeletedWithAnError)
{
    makeFile("d/f");
    bool bRemoved = false;
    if (!doWhileCallsFail({{SYS_newfstatat, EIO}}, [&] { bRemoved = remove("d", {}); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_TRUE(bRemoved);
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), notThere("d"), unseen("d", EIO)));
}

TEST_F(FileDeletion, ADirectoryThatCannotBeReadStaysWithAnError)
{
    makeFile("d/f");
    bool bRemoved = true;
    if (!doWhileCallsFail({{SYS_getdents64, EIO}}, [&] { bRemoved = remove("d", s_recursively); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_FALSE(bRemoved);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("d"), isDirectory("d"), reason("read directory d", EIO),
                            cannotRemove("d"), reason("delete d", ENOTEMPTY)));
}

TEST_F(FileDeletion, DeletesAnEmptyDirectory)
{
    fs::create_directory("d");
    EXPECT_TRUE(remove("d", {.bVerbose = true}));
    EXPECT_FALSE(isThere("d"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), isDirectory("d"), isGone("d")));
}

TEST_F(FileDeletion, NeedsToBeRecursiveForADirectoryThatIsNotEmpty)
{
    makeFile("d/f");
    EXPECT_FALSE(remove("d", s_withForce));
    EXPECT_TRUE(isThere("d/f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), isDirectory("d"), cannotRemove("d"),
                                           reason("delete d", ENOTEMPTY)));
}

TEST_F(FileDeletion, RecursivelyDeletesAllThatIsInADirectory)
{
    makeFile("d/e/f");
    makeFile("d/e/.hidden");
    makeFile("d/g");
    fs::create_directory("d/empty");
    ASSERT_EQ(0, mkfifo("d/pipe", 0644));
    EXPECT_TRUE(remove("d", s_recursively));
    EXPECT_FALSE(isThere("d"));
    for (const LogLine& line : m_log.lines())
        EXPECT_EQ(DEBUG_LOG_LEVEL, line.level) << line;
}

TEST_F(FileDeletion, TellsWhatIsInADirectoryBeforeTheDirectory)
{
    makeFile("d/e/f");
    EXPECT_TRUE(remove("d", {.bVerbose = true, .bRecursive = true}));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("d"), isDirectory("d"), unlinkFailed("d/e"),
                            isDirectory("d/e"), isGone("d/e/f"), isGone("d/e"), isGone("d")));
}

TEST_F(FileDeletion, TracesEachItem)
{
    makeFile("d/f");
    const CapturedLog log(TRACE_LOG_LEVEL);
    EXPECT_TRUE(remove("d", s_recursively));
    const LogLine entering = traceLine(s_szLogger, "entering File::deleteFileDir");
    const LogLine exiting = traceLine(s_szLogger, "exiting File::deleteFileDir");
    EXPECT_THAT(log.lines(), ElementsAre(entering, unlinkFailed("d"), isDirectory("d"), entering,
                                         exiting, exiting));
}

TEST_F(FileDeletion, ASlashAtTheEndNamesADirectory)
{
    makeFile("d/f");
    EXPECT_TRUE(remove("d/", {.bVerbose = true, .bRecursive = true}));
    EXPECT_FALSE(isThere("d"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("d/"), isDirectory("d/"), isGone("d//f"), isGone("d/")));
}

TEST_F(FileDeletion, ASlashAtTheEndDoesNotNameAFile)
{
    makeFile("f");
    EXPECT_TRUE(remove("f/", s_recursivelyWithForce));
    EXPECT_TRUE(isThere("f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("f/"), notThere("f/")));
}

TEST_F(FileDeletion, TheWorkingDirectoryIsEmptiedAndStays)
{
    makeFile("f");
    EXPECT_FALSE(remove(".", s_recursively));
    EXPECT_FALSE(isThere("f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("."), isDirectory("."), cannotRemove("."),
                                           reason("delete .", EINVAL)));
}

TEST_F(FileDeletion, WithoutForceADirectoryThatMayNotBeWrittenStays)
{
    makeFile("d/f");
    setMode("d", 0555);
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("d/f"));
    EXPECT_EQ(0555U, modeOf("d"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), mayNotWrite("d")));
}

TEST_F(FileDeletion, TheFirstItemThatStaysEndsIt)
{
    fs::create_directories("d/e");
    setMode("d/e", 0555);
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("d/e"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), isDirectory("d"), unlinkFailed("d/e"),
                                           mayNotWrite("d/e")));
}

TEST_F(FileDeletion, NothingIsTriedAfterTheFirstItemThatStays)
{
    for (const char* const szPath : {"d/e", "d/f"})
    {
        fs::create_directories(szPath);
        setMode(szPath, 0555);
    }
    EXPECT_FALSE(remove("d", s_recursively));
    ASSERT_EQ(4U, m_log.lines().size());
    EXPECT_THAT(m_log.lines().back(), AnyOf(mayNotWrite("d/e"), mayNotWrite("d/f")));
}

TEST_F(FileDeletion, WithForceADirectoryThatMayNotBeWrittenIsDeletedByRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root reads a directory of mode 0200";
    makeFile("d/e/f");
    setMode("d/e", 0555);
    std::vector<unsigned int> modes;
    beforeCalls(
        [&modes](const std::string& in_strCall, const std::string& in_strName)
        {
            if (in_strCall == "openat" && in_strName == "e")
                modes.push_back(modeOf("d/e"));
        });
    EXPECT_TRUE(remove("d", s_recursivelyWithForce));
    EXPECT_FALSE(isThere("d"));
    EXPECT_THAT(modes, ElementsAre(0200U));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("d"), isDirectory("d"), unlinkFailed("d/e"),
                            willSetMode("d/e"), unlinkFailed("d/e"), isDirectory("d/e")));
}

TEST_F(FileDeletion, WithForceADirectoryThatMayNotBeWrittenIsLeftWithTheModeThatItGot)
{
    fs::create_directory("d");
    setMode("d", 0755);
    setMode(".", 0777);
    bool bRemoved = true;
    const auto work = [&]
    {
        fs::create_directory("mine");
        setMode("mine", 0555);
        bRemoved = remove("mine", s_recursivelyWithForce);
    };
    if (!doAsNobody(work))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_FALSE(bRemoved);
    EXPECT_EQ(0200U, modeOf("mine"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("mine"), willSetMode("mine"), unlinkFailed("mine"),
                            isDirectory("mine"), cannotOpen("mine"),
                            reason("open directory mine", EACCES)));
}

TEST_F(FileDeletion, ADirectoryOfAnotherUserThatCannotBeReadStaysAsItIs)
{
    makeFile("d/f");
    setMode("d", 0200);
    bool bRemoved = true;
    if (!doAsNobody([&] { bRemoved = remove("d", s_recursivelyWithForce); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_FALSE(bRemoved);
    EXPECT_EQ(0200U, modeOf("d"));
    EXPECT_TRUE(isThere("d/f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), isDirectory("d"), cannotOpen("d"),
                                           reason("open directory d", EACCES)));
}

TEST_F(FileDeletion, TheModeOfADirectoryOfAnotherUserCannotBeSet)
{
    makeFile("d/f");
    setMode("d", 0555);
    bool bRemoved = true;
    if (!doAsNobody([&] { bRemoved = remove("d", s_recursivelyWithForce); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_FALSE(bRemoved);
    EXPECT_EQ(0555U, modeOf("d"));
    EXPECT_TRUE(isThere("d/f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), willSetMode("d"), cannotSetMode("d"),
                                           reason("change the mode of d", EPERM)));
}

TEST_F(FileDeletion, AFileThatCannotBeDeletedIsAnUnknownError)
{
    makeFile("f");
    bool bRemoved = true;
    if (!doAsNobody([&] { bRemoved = remove("f", s_recursivelyWithForce); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_FALSE(bRemoved);
    EXPECT_TRUE(isThere("f"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("f"), unknownError("f"), reason("delete f", EACCES)));
}

TEST_F(FileDeletion, ToSetTheModeDoesNotHelpWhereTheDirectoryMayNotBeWritten)
{
    makeFile("f");
    setMode("f", 0444);
    if (chown("f", 65534, 65534) != 0)
        GTEST_SKIP() << s_szNoOtherUser;
    bool bRemoved = true;
    if (!doAsNobody([&] { bRemoved = remove("f", s_withForce); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_FALSE(bRemoved);
    EXPECT_EQ(0200U, modeOf("f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("f"), willSetMode("f"), unlinkFailed("f"),
                                           unknownError("f"), reason("delete f", EACCES)));
}

TEST_F(FileDeletion, AModeThatWasSetInVainIsSetOnce)
{
    fs::create_directory("d");
    setMode("d", 0555);
    setModesStay(true);
    const bool bRemoved = remove("d", s_withForce);
    setModesStay(false);
    EXPECT_FALSE(bRemoved);
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), willSetMode("d"), unlinkFailed("d"),
                                           willSetMode("d"), cannotSetMode("d")));
}

TEST_F(FileDeletion, OnAFileSystemThatIsReadOnlyNothingIsDeleted)
{
    fs::create_directory("m");
    bool bRemoved = true;
    const auto work = [&] { bRemoved = remove("m/d", s_recursivelyWithForce); };
    if (!doWithReadOnlyDisk(
            path("m"), [] { makeFile("m/d/f"); }, work))
        GTEST_SKIP() << s_szNoMount;
    EXPECT_FALSE(bRemoved);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("m/d"), isDirectory("m/d"), unlinkFailed("m/d/f"),
                            unknownError("m/d/f"), reason("delete m/d/f", EROFS)));
}

namespace
{

/// Makes nested directories "a" below the working directory, however long their path is.
void makeDeep(int in_iLevels)
{
    int iDirectory = open(".", O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < in_iLevels; ++i)
    {
        ASSERT_EQ(0, mkdirat(iDirectory, "a", 0755));
        const int iNext = openat(iDirectory, "a", O_RDONLY | O_DIRECTORY);
        close(iDirectory);
        iDirectory = iNext;
    }
    close(iDirectory);
}

} // namespace

TEST_F(FileDeletion, WithoutADescriptorADirectoryCannotBeOpened)
{
    makeFile("before/f");
    EXPECT_TRUE(remove("before", s_recursively));
    m_log.clear();
    makeFile("d/f");
    bool bRemoved = true;
    {
        const DescriptorLimit none(0);
        bRemoved = remove("d", s_recursively);
    }
    EXPECT_FALSE(bRemoved);
    EXPECT_TRUE(isThere("d/f"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), isDirectory("d"), cannotOpen("d"),
                                           reason("open directory d", EMFILE)));
    EXPECT_TRUE(remove("d", s_recursively));
}

TEST_F(FileDeletion, WithoutADescriptorNoModeIsSet)
{
    makeFile("before/f");
    EXPECT_TRUE(remove("before", s_recursively));
    m_log.clear();
    makeFile("d/f");
    setMode("d", 0555);
    bool bRemoved = true;
    {
        const DescriptorLimit none(0);
        bRemoved = remove("d", s_recursivelyWithForce);
    }
    EXPECT_FALSE(bRemoved);
    EXPECT_EQ(0555U, modeOf("d"));
    EXPECT_THAT(m_log.lines(), ElementsAre(unlinkFailed("d"), willSetMode("d"), cannotSetMode("d"),
                                           reason("change the mode of d", EMFILE)));
}

TEST_F(FileDeletion, ATreeThatIsDeeperThanThereAreDescriptorsStays)
{
    makeDeep(100);
    {
        const DescriptorLimit limit(64);
        EXPECT_FALSE(remove("a", s_recursively));
    }
    const LogLine last = m_log.lines().back();
    EXPECT_EQ(ERROR_LOG_LEVEL, last.level);
    EXPECT_THAT(last.strText, StartsWith("cannot open directory a/a/a"));
    EXPECT_THAT(last.strText, EndsWith("a: Too many open files"));
    EXPECT_TRUE(remove("a", s_recursively));
    EXPECT_FALSE(isThere("a"));
}

TEST_F(FileDeletion, ATreeWithAPathThatIsTooLongStays)
{
    constexpr int iLevels = PATH_MAX / 2 + 20;
    if (!DescriptorLimit(iLevels).isSet())
        GTEST_SKIP() << "this process may not have enough descriptors";
    makeDeep(iLevels);
    {
        const DescriptorLimit limit(iLevels);
        EXPECT_FALSE(remove("a", s_recursively));
    }
    EXPECT_TRUE(isThere("a"));
    std::string strTooLong = "a";
    while (strTooLong.size() < PATH_MAX)
        strTooLong += "/a";
    EXPECT_THAT(m_log.lines(), Contains(notThere(strTooLong)));
    EXPECT_THAT(m_log.lines(), Contains(unseen(strTooLong, ENAMETOOLONG)));
    strTooLong.resize(strTooLong.size() - 2);
    expectLast(cannotRemove(strTooLong), reason("delete " + strTooLong, ENOTEMPTY));
    // `TemporaryDirectory` could not delete these either, since it deletes by paths.
    for (int i = 0; i < iLevels; ++i)
        fs::current_path("a");
    for (int i = 0; i < iLevels; ++i)
    {
        ASSERT_EQ(0, chdir(".."));
        ASSERT_EQ(0, rmdir("a"));
    }
}
