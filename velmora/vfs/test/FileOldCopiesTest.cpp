// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Surroundings.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/test/RenamedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

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
