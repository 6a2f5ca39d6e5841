// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Locales.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/Surroundings.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace
{

/// The time that `time` returns.
std::time_t s_now = 0;

/// The new names of files that were renamed.
std::vector<std::string> s_newNames;
std::mutex s_mutexOfNewNames;

} // namespace

// These replace the functions of the C library in the whole process.

extern "C" [[gnu::visibility("default")]] std::time_t time(std::time_t* out_pNow) noexcept
{
    if (out_pNow != nullptr)
        *out_pNow = s_now;
    return s_now;
}

extern "C" [[gnu::visibility("default")]] int rename(const char* in_szOld,
                                                     const char* in_szNew) noexcept
{
    {
        const std::scoped_lock lock(s_mutexOfNewNames);
        s_newNames.emplace_back(in_szNew);
    }
    return static_cast<int>(syscall(SYS_rename, in_szOld, in_szNew));
}

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.File";

const LogLine s_notThere =
    debugLine(s_szLogger, "The file or directory you want to rename doesn't exist.");
const LogLine s_noWorkingDirectory = errorLine(s_szLogger, "Be sure you have set pwd!!!");
const LogLine s_noBase = errorLine(s_szLogger, "The base of the target directory doesn't exist.");
const LogLine s_createsTarget = debugLine(s_szLogger, "Creating target directory.");
const LogLine s_gathersOfDirectory = debugLine(s_szLogger, "Gathering directory informations");
const LogLine s_gathersOfFile = debugLine(s_szLogger, "Gathering file informations");
const LogLine s_renames = debugLine(s_szLogger, "Renaming file or directory.");

/// 2026-03-07 09:05:42 in UTC.
constexpr std::time_t s_moment = 1772874342;
constexpr const char* s_szStamp = ".2026_3_7_9_5_42";

/// Runs in an empty directory that other users may enter, at a fixed time.
class FileRenaming : public testing::Test
{
  protected:
    FileRenaming()
    {
        fs::permissions(m_directory.path(), fs::perms(0755));
        fs::current_path(m_directory.path());
        umask(022);
        setTimeZone("UTC0");
        s_now = s_moment;
        s_newNames.clear();
    }
    ~FileRenaming() override { fs::current_path("/"); }

    static void setTimeZone(const char* in_szZone)
    {
        setenv("TZ", in_szZone, 1);
        tzset();
    }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    CapturedLog m_log;

  private:
    TemporaryDirectory m_directory;
};

/// Makes a file and its directories. Its content is its path.
void makeFile(const fs::path& in_path)
{
    if (in_path.has_parent_path())
        fs::create_directories(in_path.parent_path());
    EXPECT_TRUE(std::ofstream(in_path) << in_path.string()) << in_path;
}

/// Sets the modification time of a file or a directory, in seconds after the first one.
void setAge(const std::string& in_strPath, int in_iSeconds)
{
    const timespec when{1000000000 + in_iSeconds, 0};
    const std::array<timespec, 2> times{when, when};
    EXPECT_EQ(0, utimensat(AT_FDCWD, in_strPath.c_str(), times.data(), 0)) << in_strPath;
}

/// Makes an old copy with a modification time in seconds after the first one.
void makeCopy(const std::string& in_strPath, int in_iSeconds)
{
    makeFile(in_strPath);
    setAge(in_strPath, in_iSeconds);
}

/// Returns the name of an old copy of "report.log".
std::string copyOf(int in_iNumber)
{
    return "report.2025_1_1_0_0_" + std::to_string(in_iNumber) + ".log";
}

/// Makes copies of "report.log" with numbers from 1 on, each a second newer than the one before.
void makeCopies(int in_iNumber, const std::string& in_strDirectory = "")
{
    for (int i = 1; i <= in_iNumber; ++i)
        makeCopy(in_strDirectory + copyOf(i), i);
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

int rotate(const std::string& in_strPath, unsigned int in_uiMaxKept = 0)
{
    return File::renameWithTimestamp(in_strPath.c_str(), in_uiMaxKept, nullptr);
}

int rotateTo(const std::string& in_strTarget, unsigned int in_uiMaxKept = 0)
{
    return File::renameWithTimestamp("report.log", in_uiMaxKept, in_strTarget.c_str());
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

const std::string s_strNew = std::string("report") + s_szStamp + ".log";

} // namespace

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

TEST_F(FileRenaming, OldCopiesThatCannotBeReadAreKeptWithAnError)
{
    makeFile("report.log");
    makeCopies(2);
    int iResult = -1;
    if (!doWhileCallsFail({{SYS_getdents64, EIO}}, [&] { iResult = rotate("report.log", 1); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(0, iResult);
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(1), copyOf(2), s_strNew));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_gathersOfFile, reason("read directory .", EIO), s_renames));
}

TEST_F(FileRenaming, AnOldCopyThatCannotBeDeletedStaysWithAnError)
{
    makeFile("report.log");
    makeCopies(1);
    int iResult = -1;
    if (!doWhileCallsFail({{SYS_unlink, EROFS}}, [&] { iResult = rotate("report.log", 1); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(0, iResult);
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(1), s_strNew));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_gathersOfFile, reason("delete " + copyOf(1), EROFS), s_renames));
}

TEST_F(FileRenaming, AnOldCopyThatCannotBeLookedAtStaysWithAnError)
{
    makeFile("report.log");
    fs::create_symlink(copyOf(1), copyOf(1));
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(1), s_strNew));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_gathersOfFile, unseen(copyOf(1), ELOOP), s_renames));
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
    s_now = 1798761598;
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
    EXPECT_THAT(s_newNames, ElementsAre("d/e/" + s_strNew, path("d/" + s_strNew)));
}

TEST_F(FileRenaming, TheNewNameOfABareNameIsBare)
{
    makeFile("report.log");
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(s_newNames, ElementsAre(s_strNew));
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

TEST_F(FileRenaming, ZeroKeepsEveryOldCopy)
{
    makeFile("report.log");
    makeCopies(20);
    EXPECT_EQ(0, rotate("report.log", 0));
    EXPECT_THAT(namesIn("."), SizeIs(21));
}

TEST_F(FileRenaming, OneKeepsJustTheNewCopy)
{
    makeFile("report.log");
    makeCopies(5);
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre(s_strNew));
    EXPECT_THAT(m_log.lines(), ElementsAre(s_gathersOfFile, s_renames));
}

TEST_F(FileRenaming, OfTenNothingIsDeletedWhileThereAreNine)
{
    makeFile("report.log");
    makeCopies(9);
    EXPECT_EQ(0, rotate("report.log", 10));
    EXPECT_THAT(namesIn("."), SizeIs(10));
}

TEST_F(FileRenaming, OfTenTheOldestGoesWhenThereAreTen)
{
    makeFile("report.log");
    makeCopies(10);
    EXPECT_EQ(0, rotate("report.log", 10));
    EXPECT_THAT(namesIn("."), SizeIs(10));
    EXPECT_FALSE(fs::exists(copyOf(1)));
    EXPECT_TRUE(fs::exists(copyOf(2)));
}

TEST_F(FileRenaming, AllThatAreTooManyGo)
{
    makeFile("report.log");
    makeCopies(5);
    EXPECT_EQ(0, rotate("report.log", 3));
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(4), copyOf(5), s_strNew));
}

TEST_F(FileRenaming, HowOldACopyIsTellsTheTimeOfItsChangeAndNotItsName)
{
    makeFile("report.log");
    makeCopy(copyOf(1), 9);
    makeCopy(copyOf(2), 5);
    EXPECT_EQ(0, rotate("report.log", 2));
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(1), s_strNew));
}

TEST_F(FileRenaming, CopiesOfOneSecondCountAsOne)
{
    makeFile("report.log");
    for (const int iNumber : {1, 2, 3})
        makeCopy(copyOf(iNumber), 7);
    EXPECT_EQ(0, rotate("report.log", 2));
    EXPECT_THAT(namesIn("."), SizeIs(4));
}

TEST_F(FileRenaming, OfCopiesOfOneSecondOnlyOneGoes)
{
    makeFile("report.log");
    for (const int iNumber : {1, 2, 3})
        makeCopy(copyOf(iNumber), 7);
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), SizeIs(3));
}

TEST_F(FileRenaming, OldCopiesInADirectoryAreFound)
{
    makeFile("d/report.log");
    makeCopies(2, "d/");
    makeCopies(2);
    EXPECT_EQ(0, rotate("d/report.log", 1));
    EXPECT_THAT(namesIn("d"), ElementsAre(s_strNew));
    makeFile("d/report.log");
    makeCopies(2, "d/");
    EXPECT_EQ(0, rotate(path("d/report.log"), 3));
    EXPECT_THAT(namesIn("d"), ElementsAre(copyOf(2), s_strNew));
    EXPECT_THAT(namesIn("."), ElementsAre("d", copyOf(1), copyOf(2)));
}

TEST_F(FileRenaming, OnlyWholeNamesWithAStampAreOldCopies)
{
    const std::vector<std::string> others{
        "myreport.2025_1_1_0_0_1.log",  "report.2025_1_1_0_0.log",     "report.2025_1_1_0_0_1",
        "report.2025_1_1_0_0_1.log.gz", "report.2025_1_1_0_0_1_1.log", "report.202_1_1_0_0_1.log",
        "report.2025_1_1_0_0_x.log",    "report2025_1_1_0_0_1.log"};
    for (const std::string& strName : others)
        makeFile(strName);
    makeFile("report.log");
    makeCopies(1);
    EXPECT_EQ(0, rotate("report.log", 1));
    std::vector<std::string> expected = others;
    expected.push_back(s_strNew);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, namesIn("."));
}

TEST_F(FileRenaming, WhatStandsForADotMayBeAnyCharacter)
{
    makeFile("report.log");
    makeFile("report-2025_1_1_0_0_1-log");
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre(s_strNew));
}

TEST_F(FileRenaming, ANameIsAnExpressionInTheSearchForOldCopies)
{
    makeFile("a+.log");
    makeFile("a+.2025_1_1_0_0_1.log");
    makeFile("aaa.2025_1_1_0_0_1.log");
    EXPECT_EQ(0, rotate("a+.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre("a+.2025_1_1_0_0_1.log", "a+.2026_3_7_9_5_42.log"));
}

TEST_F(FileRenaming, ANameThatIsNoExpressionThrows)
{
    makeFile("a(b.log");
    const std::size_t uiBefore = countDescriptors();
    EXPECT_THROW(rotate("a(b.log", 1), std::runtime_error);
    EXPECT_EQ(uiBefore, countDescriptors());
    makeFile("b.[");
    EXPECT_THROW(rotate("b.[", 1), std::runtime_error);
    EXPECT_THAT(namesIn("."), ElementsAre("a(b.log", "b.["));
}

TEST_F(FileRenaming, ANameThatIsNoExpressionIsRenamedWhereAllIsKept)
{
    makeFile("a(b.log");
    EXPECT_EQ(0, rotate("a(b.log"));
    EXPECT_THAT(namesIn("."), ElementsAre("a(b.2026_3_7_9_5_42.log"));
}

TEST_F(FileRenaming, TheDirectoryItselfAndItsParentAreNoOldCopies)
{
    makeFile("d/f");
    makeFile("d/..|x");
    makeFile("f");
    EXPECT_EQ(0, rotate("d/..|x", 1));
    EXPECT_TRUE(fs::exists("f"));
    EXPECT_TRUE(fs::exists("d/f"));
}

TEST_F(FileRenaming, AnItemThatCannotBeLookedAtIsNoOldCopy)
{
    makeFile("report.log");
    fs::create_symlink("nothing", copyOf(1));
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(1), s_strNew));
}

TEST_F(FileRenaming, OldCopiesOfADirectoryAreDeletedWithAllThatIsInThem)
{
    makeFile("dump/f");
    makeFile("dump.2025_1_1_0_0_1/e/f");
    makeFile("dump.2025_1_1_0_0_2/f");
    setAge("dump.2025_1_1_0_0_1", 1);
    setAge("dump.2025_1_1_0_0_2", 2);
    EXPECT_EQ(0, rotate("dump", 2));
    EXPECT_THAT(namesIn("."), ElementsAre("dump.2025_1_1_0_0_2", "dump.2026_3_7_9_5_42"));
    for (const LogLine& line : m_log.lines())
        EXPECT_EQ(DEBUG_LOG_LEVEL, line.level) << line;
}

TEST_F(FileRenaming, OldCopiesOfADirectoryAreDeletedWithForce)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root reads a directory of mode 0200";
    fs::create_directory("dump");
    makeFile("dump.2025_1_1_0_0_1/f");
    fs::permissions("dump.2025_1_1_0_0_1", fs::perms(0555));
    EXPECT_EQ(0, rotate("dump", 1));
    EXPECT_THAT(namesIn("."), ElementsAre("dump.2026_3_7_9_5_42"));
}

TEST_F(FileRenaming, ADirectoryAmongTheOldCopiesOfAFileStays)
{
    makeFile("report.log");
    fs::create_directory(copyOf(1));
    EXPECT_EQ(0, rotate("report.log", 1));
    EXPECT_THAT(namesIn("."), ElementsAre(copyOf(1), s_strNew));
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
    EXPECT_THAT(s_newNames, ElementsAre("old/" + s_strNew, path("old/" + s_strNew)));
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

TEST_F(FileRenaming, OldCopiesThatCannotBeLookedForAreAnError)
{
    makeFile("report.log");
    makeFile("old");
    EXPECT_EQ(1, rotateTo("old", 1));
    EXPECT_EQ(1, rotateTo("C:/old", 1));
    EXPECT_THAT(namesIn("."), ElementsAre("old", "report.log"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(s_gathersOfFile, reason("open directory old", ENOTDIR), s_createsTarget,
                            reason("make directory C:/old", ENOENT), s_gathersOfFile,
                            reason("open directory C:/old", ENOENT)));
}

TEST_F(FileRenaming, OldCopiesAreNotLookedForWithoutADescriptor)
{
    // A sanitizer opens descriptors when it sees a class for the first time, so that happens here.
    makeFile("d/before");
    EXPECT_EQ(0, rotate("d/before", 1));
    fs::remove_all("d");
    makeFile("report.log");
    int iResult = -1;
    int iResultWithoutSearch = -1;
    {
        const DescriptorLimit none(0);
        iResult = rotate("report.log", 1);
        iResultWithoutSearch = rotate("report.log");
    }
    EXPECT_EQ(1, iResult);
    EXPECT_EQ(0, iResultWithoutSearch);
    EXPECT_THAT(namesIn("."), ElementsAre(s_strNew));
    EXPECT_THAT(m_log.lines(), Contains(reason("open directory .", EMFILE)));
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
    EXPECT_THAT(s_newNames, ElementsAre("/" + s_strNew, "/f.2026_3_7_9_5_42",
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
