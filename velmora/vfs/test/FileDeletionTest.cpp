// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/Surroundings.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace
{

/// Is called just before a name is opened, deleted as a file or as a directory, or gets a mode,
/// unless empty.
std::function<void(const std::string& in_strCall, const std::string& in_strName)> s_before;

/// Makes calls that set a mode report success without setting it.
bool s_bModesStay = false;

void reportCall(const char* in_szCall, const char* in_szName)
{
    // Calls that `s_before` makes itself are not reported.
    static thread_local bool s_bInside = false;
    if (!s_before || s_bInside)
        return;
    s_bInside = true;
    s_before(in_szCall, in_szName);
    s_bInside = false;
}

} // namespace

// These replace the functions of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] int openat(int in_iDirectory, const char* in_szName,
                                                     int in_iFlags, ...)
{
    std::va_list args;
    va_start(args, in_iFlags);
    const mode_t mode = (in_iFlags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    reportCall("openat", in_szName);
    return static_cast<int>(syscall(SYS_openat, in_iDirectory, in_szName, in_iFlags, mode));
}

extern "C" [[gnu::visibility("default")]] int unlinkat(int in_iDirectory, const char* in_szName,
                                                       int in_iFlags) noexcept
{
    reportCall(in_iFlags == AT_REMOVEDIR ? "rmdir" : "unlink", in_szName);
    return static_cast<int>(syscall(SYS_unlinkat, in_iDirectory, in_szName, in_iFlags));
}

extern "C" [[gnu::visibility("default")]] int fchmodat(int in_iDirectory, const char* in_szName,
                                                       mode_t in_mode, int in_iFlags) noexcept
{
    static const auto s_pReal = reinterpret_cast<decltype(&fchmodat)>(dlsym(RTLD_NEXT, "fchmodat"));
    reportCall("chmod", in_szName);
    return s_bModesStay ? 0 : s_pReal(in_iDirectory, in_szName, in_mode, in_iFlags);
}

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.File";

LogLine unlinkFailed(const std::string& in_strPath)
{
    return debugLine(s_szLogger, "File::deleteFileDir : unlink failed on " + in_strPath);
}
LogLine notThere(const std::string& in_strPath)
{
    return warnLine(s_szLogger,
                    "File::deleteFileDir : failed to stat " + in_strPath + ". Skipping.");
}
LogLine mayNotWrite(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : no write permission on " + in_strPath);
}
LogLine willSetMode(const std::string& in_strPath)
{
    return debugLine(s_szLogger, "File::deleteFileDir : no write permission on " + in_strPath);
}
LogLine cannotSetMode(const std::string& in_strPath)
{
    return errorLine(s_szLogger,
                     "File::deleteFileDir : failed to acquire write permission on " + in_strPath);
}
LogLine unknownError(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : " + in_strPath + " unknown error");
}
/// Returns the line that gives the reason, which follows the line of the failure.
LogLine reason(const std::string& in_strWhat, int in_iError)
{
    return errorLine(s_szLogger, "cannot " + in_strWhat + ": " + std::strerror(in_iError));
}
LogLine unseen(const std::string& in_strPath, int in_iError)
{
    return errorLine(s_szLogger, "cannot look at " + in_strPath + ": " + std::strerror(in_iError) +
                                     "; it is left as it is");
}
LogLine isDirectory(const std::string& in_strPath)
{
    return debugLine(s_szLogger, "File::deleteFileDir : " + in_strPath + " is a directory");
}
LogLine cannotOpen(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : failed to open directory " + in_strPath);
}
LogLine cannotRemove(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : failed to rmdir " + in_strPath);
}
LogLine isGone(const std::string& in_strPath) { return infoLine(s_szLogger, in_strPath); }

/// Runs in an empty directory that other users may enter.
class FileDeletion : public testing::Test
{
  protected:
    FileDeletion()
    {
        fs::permissions(m_directory.path(), fs::perms(0755));
        fs::current_path(m_directory.path());
        umask(022);
    }
    ~FileDeletion() override
    {
        s_before = nullptr;
        makeDirectoriesWritable(".");
        fs::current_path("/");
    }

    /// Makes all directories writable, so that the remains of a test can be deleted by any user.
    static void makeDirectoriesWritable(const fs::path& in_path)
    {
        std::error_code error;
        fs::permissions(in_path, fs::perms::owner_all, fs::perm_options::add, error);
        for (const fs::directory_entry& entry : fs::directory_iterator(in_path, error))
            if (entry.symlink_status(error).type() == fs::file_type::directory)
                makeDirectoriesWritable(entry.path());
    }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    /// Expects that these are the last two lines.
    void expectLast(const LogLine& in_line, const LogLine& in_reason) const
    {
        const std::vector<LogLine> lines = m_log.lines();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(in_line, lines[lines.size() - 2]);
        EXPECT_EQ(in_reason, lines.back());
    }

    CapturedLog m_log;

  private:
    TemporaryDirectory m_directory;
};

/// Makes a file and its directories.
void makeFile(const fs::path& in_path)
{
    if (in_path.has_parent_path())
        fs::create_directories(in_path.parent_path());
    EXPECT_TRUE(std::ofstream(in_path) << "text") << in_path;
}

void setMode(const std::string& in_strPath, unsigned int in_uiMode)
{
    EXPECT_EQ(0, chmod(in_strPath.c_str(), in_uiMode)) << in_strPath;
}

unsigned int modeOf(const std::string& in_strPath)
{
    struct stat status = {};
    EXPECT_EQ(0, lstat(in_strPath.c_str(), &status)) << in_strPath;
    return status.st_mode & ALLPERMS;
}

/// Returns whether the path exists; a dangling link exists.
bool isThere(const std::string& in_strPath)
{
    return fs::symlink_status(in_strPath).type() != fs::file_type::not_found;
}

struct Flags
{
    bool bForce = false;
    bool bVerbose = false;
    bool bRecursive = false;
};

bool remove(const std::string& in_strPath, const Flags& in_flags)
{
    return File::deleteFileDir(in_strPath.c_str(), in_flags.bForce, in_flags.bVerbose,
                               in_flags.bRecursive);
}

constexpr Flags s_plainly{};
constexpr Flags s_withForce{.bForce = true};
constexpr Flags s_recursively{.bRecursive = true};
constexpr Flags s_recursivelyWithForce{.bForce = true, .bRecursive = true};

} // namespace

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
    s_before = [&modes](const std::string& in_strCall, const std::string& in_strName)
    {
        if (in_strCall == "openat" && in_strName == "e")
            modes.push_back(modeOf("d/e"));
    };
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
    s_bModesStay = true;
    const bool bRemoved = remove("d", s_withForce);
    s_bModesStay = false;
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

TEST_F(FileDeletion, ALinkIsDeletedAndNotWhatItLeadsTo)
{
    makeFile("outside/f");
    fs::create_symlink("outside", "link");
    fs::create_symlink("outside/f", "link-to-file");
    fs::create_symlink("nothing", "link-to-nothing");
    EXPECT_TRUE(remove("link", s_recursivelyWithForce));
    EXPECT_TRUE(remove("link-to-file", s_recursivelyWithForce));
    EXPECT_TRUE(remove("link-to-nothing", s_recursivelyWithForce));
    EXPECT_FALSE(isThere("link"));
    EXPECT_FALSE(isThere("link-to-file"));
    EXPECT_FALSE(isThere("link-to-nothing"));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FileDeletion, ALinkInATreeIsDeletedAndNotWhatItLeadsTo)
{
    makeFile("outside/f");
    fs::create_directory("d");
    fs::create_symlink(path("outside"), "d/link");
    fs::create_symlink("..", "d/up");
    EXPECT_TRUE(remove("d", s_recursivelyWithForce));
    EXPECT_FALSE(isThere("d"));
    EXPECT_TRUE(isThere("outside/f"));
}

TEST_F(FileDeletion, ASlashAtTheEndOfALinkDoesNotLeadThroughIt)
{
    makeFile("outside/f");
    setMode("outside", 0555);
    fs::create_symlink("outside", "link");
    EXPECT_FALSE(remove("link/", s_recursivelyWithForce));
    EXPECT_FALSE(remove("link//", s_recursivelyWithForce));
    EXPECT_TRUE(isThere("link"));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_EQ(0555U, modeOf("outside"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("link/"), unknownError("link/"),
                            reason("delete link/", ENOTDIR), unlinkFailed("link//"),
                            unknownError("link//"), reason("delete link//", ENOTDIR)));
}

TEST_F(FileDeletion, TheWayToWhatIsDeletedMayLeadThroughALink)
{
    makeFile("real/d/f");
    fs::create_symlink("real", "link");
    EXPECT_TRUE(remove("link/d", s_recursively));
    EXPECT_FALSE(isThere("real/d"));
}

TEST_F(FileDeletion, ALinkThatCannotBeDeletedIsNotFollowed)
{
    makeFile("outside/f");
    setMode("outside", 0555);
    chown("outside", 65534, 65534);
    fs::create_symlink("outside", "link");
    fs::create_symlink("nothing", "link-to-nothing");
    const auto work = [&]
    {
        EXPECT_FALSE(remove("link", s_recursivelyWithForce));
        EXPECT_FALSE(remove("link-to-nothing", s_recursivelyWithForce));
    };
    if (!doAsNobody(work))
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_TRUE(isThere("link"));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_EQ(0555U, modeOf("outside"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(unlinkFailed("link"), unknownError("link"),
                            reason("delete link", EACCES), unlinkFailed("link-to-nothing"),
                            unknownError("link-to-nothing"),
                            reason("delete link-to-nothing", EACCES)));
}

namespace
{

/// Simulates another process that moves "d/e" away and puts a link to "outside" in its place, just
/// before a call.
void putLinkBefore(const std::string& in_strCall, const std::string& in_strName)
{
    s_before = [strCall = in_strCall, strName = in_strName, bDone = false](
                   const std::string& in_strThisCall, const std::string& in_strThisName) mutable
    {
        if (bDone || in_strThisCall != strCall || in_strThisName != strName)
            return;
        bDone = true;
        fs::rename("d/e", "moved");
        fs::create_directory_symlink(fs::absolute("outside"), "d/e");
    };
}

} // namespace

TEST_F(FileDeletion, ALinkInPlaceOfADirectoryIsNotOpened)
{
    makeFile("outside/f");
    makeFile("d/e/f");
    putLinkBefore("openat", "e");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_TRUE(isThere("moved/f"));
    expectLast(cannotOpen("d/e"), reason("open directory d/e", ENOTDIR));
}

TEST_F(FileDeletion, AnotherDirectoryInPlaceOfTheOneThatWasSeenIsNotDeleted)
{
    makeFile("other/f");
    makeFile("d/e/f");
    s_before = [](const std::string& in_strCall, const std::string& in_strName)
    {
        if (in_strCall != "openat" || in_strName != "e")
            return;
        fs::rename("d/e", "moved");
        fs::rename("other", "d/e");
    };
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("d/e/f"));
    EXPECT_TRUE(isThere("moved/f"));
    expectLast(cannotOpen("d/e"), reason("open directory d/e", ESTALE));
}

TEST_F(FileDeletion, LeavesNoDescriptorOpenHoweverItEnds)
{
    fs::create_directories("other");
    makeFile("d/e/f");
    makeFile("g/h/f");
    setMode("g/h", 0555);
    s_before = [](const std::string& in_strCall, const std::string& in_strName)
    {
        if (in_strCall != "openat" || in_strName != "e")
            return;
        fs::rename("d/e", "moved");
        fs::rename("other", "d/e");
    };
    const std::size_t uiBefore = countDescriptors();
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_FALSE(remove("g", s_recursively));
    EXPECT_TRUE(remove("moved", s_recursively));
    EXPECT_EQ(uiBefore, countDescriptors());
}

TEST_F(FileDeletion, ALinkInPlaceOfADirectoryThatIsOpenIsNotFollowed)
{
    makeFile("outside/f");
    makeFile("d/e/f");
    putLinkBefore("unlink", "f");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside/f"));
    EXPECT_FALSE(isThere("moved/f"));
    expectLast(cannotRemove("d/e"), reason("delete d/e", ENOTDIR));
}

TEST_F(FileDeletion, ALinkInPlaceOfADirectoryOnTheWayIsNotFollowed)
{
    makeFile("outside/g/f");
    makeFile("d/e/g/f");
    putLinkBefore("openat", "g");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside/g/f"));
    EXPECT_FALSE(isThere("moved/g"));
    expectLast(cannotRemove("d/e"), reason("delete d/e", ENOTDIR));
}

TEST_F(FileDeletion, ALinkInPlaceOfAnEmptiedDirectoryIsNotFollowed)
{
    fs::create_directory("outside");
    makeFile("d/e/f");
    putLinkBefore("rmdir", "e");
    EXPECT_FALSE(remove("d", s_recursively));
    EXPECT_TRUE(isThere("outside"));
    EXPECT_TRUE(isThere("d/e"));
    expectLast(cannotRemove("d/e"), reason("delete d/e", ENOTDIR));
}

TEST_F(FileDeletion, TheModeOfWhatALinkLeadsToIsNotSet)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root moves a directory that it may not write";
    makeFile("outside/f");
    makeFile("d/e/f");
    setMode("d/e", 0555);
    putLinkBefore("chmod", "e");
    EXPECT_FALSE(remove("d", s_recursivelyWithForce));
    EXPECT_EQ(0755U, modeOf("outside"));
    EXPECT_TRUE(isThere("outside/f"));
    expectLast(cannotSetMode("d/e"), reason("change the mode of d/e", EOPNOTSUPP));
}

TEST_F(FileDeletion, ALinkThatComesAndGoesAllTheTimeIsNeverFollowed)
{
    constexpr int iNumRounds = 100;
    constexpr int iNumFiles = 20;
    makeFile("outside/0");
    const CapturedLog log(FATAL_LOG_LEVEL);
    for (int iRound = 0; iRound < iNumRounds; ++iRound)
    {
        for (int iFile = 0; iFile < iNumFiles; ++iFile)
            makeFile("d/e/" + std::to_string(iFile));
        fs::create_symlink("../outside", "d/link");
        std::atomic<bool> bBegun = false;
        std::atomic<bool> bEnd = false;
        std::thread swaps(
            [&]
            {
                for (; !bEnd; bBegun = true)
                    renameat2(AT_FDCWD, "d/link", AT_FDCWD, "d/e", RENAME_EXCHANGE);
            });
        while (!bBegun)
            std::this_thread::yield();
        remove("d/e", s_recursivelyWithForce);
        remove("d", s_recursivelyWithForce);
        bEnd = true;
        swaps.join();
        fs::remove_all("d");
        ASSERT_TRUE(isThere("outside/0")) << "round " << iRound;
    }
}
