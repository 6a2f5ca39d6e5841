// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/Directory.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/Surroundings.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/test/SystemCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace
{

/// Is called just before a directory is made, unless empty.
std::function<void(const char* in_szPath)> s_beforeMkdir;

} // namespace

// Replaces the function of the C library in the whole process.
extern "C" [[gnu::visibility("default")]] int mkdir(const char* in_szPath, mode_t in_mode) noexcept
{
    if (s_beforeMkdir)
        s_beforeMkdir(in_szPath);
    return static_cast<int>(syscall(SYS_mkdir, in_szPath, in_mode));
}

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.Directory";

/// Runs in an empty directory that other users may enter.
class DirectoryMaking : public testing::Test
{
  protected:
    DirectoryMaking()
    {
        fs::permissions(m_directory.path(), fs::perms(0755));
        fs::current_path(m_directory.path());
        umask(022);
    }
    ~DirectoryMaking() override
    {
        s_beforeMkdir = nullptr;
        fs::current_path("/");
    }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    CapturedLog m_log;

  private:
    TemporaryDirectory m_directory;
};

bool makeFile(const std::string& in_strPath) { return std::ofstream(in_strPath).good(); }

unsigned int modeOf(const std::string& in_strPath)
{
    struct stat status = {};
    EXPECT_EQ(0, stat(in_strPath.c_str(), &status)) << in_strPath;
    return status.st_mode & ALLPERMS;
}

/// Returns the names in a directory.
std::vector<std::string> namesIn(const std::string& in_strPath)
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(in_strPath))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

/// Makes a directory. Returns `errno` after a failure, 0 after success.
int errorOf(const std::string& in_strPath, bool in_bRecursive)
{
    errno = 0;
    return Directory::make(in_strPath.c_str(), 0755, in_bRecursive) ? 0 : errno;
}

constexpr bool s_bRecursive = true;
constexpr bool s_bAlone = false;

} // namespace

TEST_F(DirectoryMaking, MakesADirectory)
{
    EXPECT_TRUE(Directory::make("a", 0755, s_bAlone));
    EXPECT_TRUE(fs::is_directory("a"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, TheModeIsTheGivenOneUnderTheMaskOfTheProcess)
{
    EXPECT_TRUE(Directory::make("a", 0770, s_bAlone));
    EXPECT_EQ(0750U, modeOf("a"));
    EXPECT_TRUE(Directory::make("b/c", 0711, s_bRecursive));
    EXPECT_EQ(0711U, modeOf("b"));
    EXPECT_EQ(0711U, modeOf("b/c"));
}

TEST_F(DirectoryMaking, OneThatIsThereIsEnough)
{
    fs::create_directory("a");
    EXPECT_TRUE(Directory::make("a", 0700, s_bAlone));
    EXPECT_TRUE(Directory::make("a", 0700, s_bRecursive));
    EXPECT_TRUE(Directory::make("/", 0700, s_bRecursive));
    EXPECT_TRUE(Directory::make(".", 0700, s_bRecursive));
    EXPECT_EQ(0755U, modeOf("a"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, OneThatIsThereIsEnoughWhateverItPermits)
{
    fs::create_directory("a");
    fs::permissions("a", fs::perms::none);
    bool bMade = false;
    if (!doAsNobody([&] { bMade = Directory::make("a", 0755, s_bAlone); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_TRUE(bMade);
    EXPECT_EQ(0U, modeOf("a"));
}

TEST_F(DirectoryMaking, APlainFileInTheWayIsAFailureWithoutALine)
{
    ASSERT_TRUE(makeFile("a"));
    EXPECT_EQ(EEXIST, errorOf("a", s_bAlone));
    EXPECT_EQ(EEXIST, errorOf("a", s_bRecursive));
    EXPECT_TRUE(fs::is_regular_file("a"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, ALinkToADirectoryIsAsGood)
{
    fs::create_directory("a");
    fs::create_symlink("a", "b");
    EXPECT_TRUE(Directory::make("b", 0755, s_bAlone));
    EXPECT_TRUE(Directory::make("b/c", 0755, s_bAlone));
    EXPECT_TRUE(fs::is_directory("a/c"));
}

TEST_F(DirectoryMaking, ALinkToNothingIsTold)
{
    fs::create_symlink("nothing", "a");
    EXPECT_EQ(ENOENT, errorOf("a", s_bAlone));
    EXPECT_EQ(ENOENT, errorOf("a", s_bRecursive));
    const LogLine line = errorLine(s_szLogger, "a No such file or directory");
    EXPECT_THAT(m_log.lines(), ElementsAre(line, line));
}

TEST_F(DirectoryMaking, OneInAClosedDirectoryIsTold)
{
    fs::create_directories("closed/a");
    fs::permissions("closed", fs::perms(0700));
    int iError = 0;
    if (!doAsNobody([&] { iError = errorOf("closed/a", s_bRecursive); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_EQ(EACCES, iError);
    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szLogger, "closed/a Permission denied")));
}

TEST_F(DirectoryMaking, OneThatMayNotBeMadeIsTold)
{
    int iError = 0;
    if (!doAsNobody([&] { iError = errorOf("a", s_bRecursive); }))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_EQ(EACCES, iError);
    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szLogger, "a Permission denied")));
}

TEST_F(DirectoryMaking, OneThatIsNotPermittedIsTold)
{
    int iError = 0;
    if (!doWhileCallsFail({{SYS_mkdir, EPERM}}, [&] { iError = errorOf("a", s_bRecursive); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(EPERM, iError);
    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szLogger, "a Operation not permitted")));
}

TEST_F(DirectoryMaking, AloneItNeedsItsParent)
{
    EXPECT_EQ(ENOENT, errorOf("a/b", s_bAlone));
    EXPECT_THAT(namesIn("."), IsEmpty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, RecursivelyItMakesAllParents)
{
    EXPECT_TRUE(Directory::make("a/b/c", 0755, s_bRecursive));
    EXPECT_TRUE(fs::is_directory("a/b/c"));
    EXPECT_TRUE(Directory::make(path("d/e/f").c_str(), 0755, s_bRecursive));
    EXPECT_TRUE(fs::is_directory("d/e/f"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, ASlashAtTheEndAndDoubledOnesWithinDoNotMatter)
{
    EXPECT_TRUE(Directory::make("a/b/", 0755, s_bRecursive));
    EXPECT_TRUE(fs::is_directory("a/b"));
    EXPECT_TRUE(Directory::make("c//d///e", 0755, s_bRecursive));
    EXPECT_TRUE(fs::is_directory("c/d/e"));
}

TEST_F(DirectoryMaking, APathWithTwoSlashesAtTheEndHasNoParent)
{
    EXPECT_EQ(ENOENT, errorOf("a/b//", s_bRecursive));
    EXPECT_THAT(namesIn("."), IsEmpty());
    EXPECT_TRUE(Directory::make("a//", 0755, s_bRecursive));
    EXPECT_TRUE(fs::is_directory("a"));
}

TEST_F(DirectoryMaking, AnEmptyPathIsNone)
{
    EXPECT_EQ(ENOENT, errorOf("", s_bAlone));
    EXPECT_EQ(ENOENT, errorOf("", s_bRecursive));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, ABareNameHasNoParent)
{
    int iError = 0;
    if (!doWhileCallsFail({{SYS_mkdir, ENOSPC}}, [&] { iError = errorOf("a", s_bRecursive); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(ENOSPC, iError);
}

TEST_F(DirectoryMaking, TheParentOfANameInTheRootIsThere)
{
    int iNumCalls = 0;
    s_beforeMkdir = [&iNumCalls](const char* in_szPath)
    {
        EXPECT_STREQ("/velmora-directory-test", in_szPath);
        ++iNumCalls;
    };
    int iError = 0;
    if (!doWhileCallsFail({{SYS_mkdir, ENOSPC}},
                          [&] { iError = errorOf("/velmora-directory-test", s_bRecursive); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(ENOSPC, iError);
    EXPECT_EQ(2, iNumCalls);
}

TEST_F(DirectoryMaking, AFailureOfAParentIsOneOfTheWhole)
{
    ASSERT_TRUE(makeFile("a"));
    EXPECT_EQ(EEXIST, errorOf("a/b", s_bRecursive));
    EXPECT_EQ(EEXIST, errorOf("a/b/c", s_bRecursive));
    EXPECT_THAT(namesIn("."), ElementsAre("a"));
}

TEST_F(DirectoryMaking, ANameThatIsTooLongLeavesTheParentsMade)
{
    const std::string strName(NAME_MAX + 1, 'n');
    EXPECT_EQ(ENAMETOOLONG, errorOf("a/b/" + strName, s_bRecursive));
    EXPECT_THAT(namesIn("a/b"), IsEmpty());
}

TEST_F(DirectoryMaking, APathThatIsTooLongMakesNothing)
{
    std::string strPath = "a";
    for (int i = 0; i < 1000000; ++i)
        strPath += "/a";
    EXPECT_EQ(ENAMETOOLONG, errorOf(strPath, s_bRecursive));
    EXPECT_THAT(namesIn("."), IsEmpty());
}

TEST_F(DirectoryMaking, TheLongestPathIsMade)
{
    std::string strPath = "a";
    while (strPath.size() + 3 < PATH_MAX)
        strPath += "/a";
    EXPECT_TRUE(Directory::make(strPath.c_str(), 0755, s_bRecursive));
    EXPECT_TRUE(fs::is_directory(strPath));
}

TEST_F(DirectoryMaking, InAWorkingDirectoryThatHasGoneNothingIsMade)
{
    fs::create_directory("gone");
    fs::current_path("gone");
    fs::remove(path("gone"));
    EXPECT_EQ(ENOENT, errorOf("a", s_bRecursive));
    EXPECT_EQ(ENOENT, errorOf("a/b", s_bRecursive));
    EXPECT_TRUE(Directory::make(path("c/d").c_str(), 0755, s_bRecursive));
}

TEST_F(DirectoryMaking, OnAFileSystemThatIsReadOnlyOnlyWhatIsThereIsThere)
{
    fs::create_directory("m");
    std::vector<int> errors;
    const auto work = [&]
    {
        for (const char* const szPath : {"m", "m/there", "m/new", "m/there/new", "m/new/new"})
            errors.push_back(errorOf(szPath, s_bRecursive));
    };
    if (!doWithReadOnlyDisk(
            path("m"), [] { fs::create_directory("m/there"); }, work))
        GTEST_SKIP() << s_szNoMount;
    EXPECT_THAT(errors, ElementsAre(0, 0, EROFS, EROFS, EROFS));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, OnAFullDiskWhatIsThereIsThere)
{
    fs::create_directory("m");
    std::vector<int> errors;
    const auto work = [&]
    {
        for (const char* const szPath : {"m/there", "m/new", "m/there/new/new"})
            errors.push_back(errorOf(szPath, s_bRecursive));
    };
    if (!doWithDisk(
            path("m"), "nr_inodes=2", [] { fs::create_directory("m/there"); }, work))
        GTEST_SKIP() << s_szNoMount;
    EXPECT_THAT(errors, ElementsAre(0, ENOSPC, ENOSPC));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

namespace
{

/// Simulates another process that puts something at a path once its parent has been made.
void putBeforeSecondTry(const std::string& in_strPath, const std::function<void()>& in_put)
{
    s_beforeMkdir = [strPath = in_strPath, put = in_put](const char* in_szPath)
    {
        if (in_szPath == strPath && fs::exists(fs::path(strPath).parent_path()))
            put();
    };
}

} // namespace

TEST_F(DirectoryMaking, SomebodyElseMayBeFaster)
{
    putBeforeSecondTry("a/b", [] { syscall(SYS_mkdir, "a/b", 0700); });
    EXPECT_TRUE(Directory::make("a/b", 0755, s_bRecursive));
    EXPECT_EQ(0700U, modeOf("a/b"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, SomebodyElseMayBeFasterWithAFile)
{
    putBeforeSecondTry("a/b", [] { makeFile("a/b"); });
    EXPECT_EQ(EEXIST, errorOf("a/b", s_bRecursive));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, SomebodyElseMayBeFasterWithALinkToNothing)
{
    putBeforeSecondTry("a/b", [] { fs::create_symlink("nothing", "a/b"); });
    EXPECT_EQ(ENOENT, errorOf("a/b", s_bRecursive));
    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szLogger, "a/b No such file or directory")));
}

TEST_F(DirectoryMaking, WhatIsRefusedOnceTheParentIsMadeFailsWithoutALine)
{
    putBeforeSecondTry("a/b", [] { fs::remove("a"); });
    EXPECT_EQ(ENOENT, errorOf("a/b", s_bRecursive));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, ThreadsThatMakeTheSameDirectoriesAllSucceed)
{
    constexpr int iNumRounds = 300;
    constexpr int iNumThreads = 2;
    std::array<std::atomic<int>, iNumRounds> arrived{};
    std::atomic<int> iNumMade = 0;
    const auto makeAll = [&]
    {
        for (int iRound = 0; iRound < iNumRounds; ++iRound)
        {
            const std::string strPath = std::to_string(iRound) + "/a/b/c/d/e";
            ++arrived[static_cast<std::size_t>(iRound)];
            while (arrived[static_cast<std::size_t>(iRound)] != iNumThreads)
                std::this_thread::yield();
            iNumMade += Directory::make(strPath.c_str(), 0755, s_bRecursive) ? 1 : 0;
        }
    };
    std::thread other(makeAll);
    makeAll();
    other.join();
    EXPECT_EQ(iNumThreads * iNumRounds, iNumMade);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DirectoryMaking, OneThatIsThereCostsOneSystemCall)
{
    fs::create_directories("a/b");
    if (systemCallsOf([] { syscall(SYS_getuid); }).empty())
        GTEST_SKIP() << "this process may not trace another";
    const auto make = [] { EXPECT_TRUE(Directory::make("a/b", 0755, s_bRecursive)); };
    EXPECT_THAT(systemCallsOf(make), ElementsAre(SYS_newfstatat));
}

TEST_F(DirectoryMaking, TheDirectoryOfAFileIsMadeWithItsParents)
{
    EXPECT_TRUE(Directory::makeFromFullFilePath("a/b/name.log", 0711));
    EXPECT_EQ(0711U, modeOf("a"));
    EXPECT_EQ(0711U, modeOf("a/b"));
    EXPECT_THAT(namesIn("a/b"), IsEmpty());
    EXPECT_TRUE(Directory::makeFromFullFilePath(path("c/d/name.log"), 0755));
    EXPECT_TRUE(fs::is_directory("c/d"));
}

TEST_F(DirectoryMaking, ForANameAloneNothingIsMade)
{
    EXPECT_TRUE(Directory::makeFromFullFilePath("name.log", 0755));
    EXPECT_TRUE(Directory::makeFromFullFilePath("", 0755));
    EXPECT_THAT(namesIn("."), IsEmpty());
}

TEST_F(DirectoryMaking, ABackslashSeparatesAFileFromItsDirectory)
{
    EXPECT_TRUE(Directory::makeFromFullFilePath("a\\name.log", 0755));
    EXPECT_TRUE(Directory::makeFromFullFilePath("b/c\\name.log", 0755));
    EXPECT_TRUE(Directory::makeFromFullFilePath("d\\e/name.log", 0755));
    EXPECT_THAT(namesIn("."), ElementsAre("a", "b", "d\\e"));
    EXPECT_THAT(namesIn("b"), ElementsAre("c"));
}

TEST_F(DirectoryMaking, OfAFileInTheRootTheDirectoryIsThere)
{
    EXPECT_TRUE(Directory::makeFromFullFilePath("/name.log", 0755));
}

TEST_F(DirectoryMaking, ABackslashAtTheBeginningLeavesNoDirectoryToMake)
{
    EXPECT_FALSE(Directory::makeFromFullFilePath("\\name.log", 0755));
    EXPECT_THAT(namesIn("."), IsEmpty());
}

TEST_F(DirectoryMaking, AFileInPlaceOfTheDirectoryOfAFileIsAFailure)
{
    ASSERT_TRUE(makeFile("a"));
    EXPECT_FALSE(Directory::makeFromFullFilePath("a/name.log", 0755));
}
