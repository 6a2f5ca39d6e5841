// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/EarlierCallFile.h"

#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace
{

/// If it is not 0, the error of each rename that must not replace a file.
int g_iErrorOfRename = 0;
/// If it is not 0, the error of each rename that may replace a file.
int g_iErrorOfReplacing = 0;

} // namespace

/// Takes the place of the function in the C library.
extern "C" int renameat2(int in_iFrom, const char* in_szFrom, int in_iTo, const char* in_szTo,
                         unsigned int in_uiFlags) noexcept
{
    if (g_iErrorOfRename == 0)
        return static_cast<int>(
            syscall(SYS_renameat2, in_iFrom, in_szFrom, in_iTo, in_szTo, in_uiFlags));
    errno = g_iErrorOfRename;
    return -1;
}

extern "C" int renameat(int in_iFrom, const char* in_szFrom, int in_iTo,
                        const char* in_szTo) noexcept
{
    if (g_iErrorOfReplacing == 0)
        return static_cast<int>(syscall(SYS_renameat, in_iFrom, in_szFrom, in_iTo, in_szTo));
    errno = g_iErrorOfReplacing;
    return -1;
}

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// 2026-11-23 08:15:00 UTC.
constexpr std::time_t s_changed = 1795421700;
const std::string s_strEnd = ".2026-11-23T081500Z";

/// A directory with the files of calls. With the parameter true, its file system cannot rename a
/// file only if the new name does not exist.
class EarlierFiles : public testing::TestWithParam<bool>
{
  protected:
    EarlierFiles() { g_iErrorOfRename = GetParam() ? EINVAL : 0; }
    ~EarlierFiles() override { g_iErrorOfRename = 0; }

    [[nodiscard]] EarlierCallFile earlier(const std::string& in_strId = "abc") const
    {
        return {m_directory.path(), CallFileName("", ".log"), in_strId};
    }

    /// Writes a file that was last changed at the given time.
    void write(const std::string& in_strName, const std::string& in_strText,
               std::time_t in_changed = s_changed) const
    {
        m_directory.write(in_strName, in_strText);
        setTime(in_strName, in_changed);
    }

    void setTime(const std::string& in_strName, std::time_t in_changed) const
    {
        const timespec times[] = {{in_changed, 0}, {in_changed, 999999999}};
        ASSERT_EQ(0, utimensat(AT_FDCWD, m_directory.file(in_strName).c_str(), times,
                               AT_SYMLINK_NOFOLLOW));
    }

    /// Returns the paths of all files, relative to the directory.
    [[nodiscard]] std::set<std::string> files() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_directory.path()))
            if (!entry.is_directory())
                names.insert(entry.path().lexically_relative(m_directory.path()));
        return names;
    }

    TemporaryDirectory m_directory;
};
INSTANTIATE_TEST_SUITE_P(, EarlierFiles, testing::Bool(),
                         [](const auto& in_info)
                         { return in_info.param ? "WithoutTheFlag" : "WithTheFlag"; });

} // namespace

TEST_P(EarlierFiles, AreNotThereForANewId)
{
    EarlierCallFile file = earlier();
    EXPECT_TRUE(file.keep());
    EXPECT_EQ("", file.getPath());
    EXPECT_THAT(files(), IsEmpty());
}

TEST_P(EarlierFiles, AreRenamed)
{
    write("abc.log", "earlier");
    EarlierCallFile file = earlier();
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(m_directory.file("abc.log" + s_strEnd), file.getPath());
    EXPECT_EQ("earlier", m_directory.read("abc.log" + s_strEnd));
    EXPECT_THAT(files(), ElementsAre("abc.log" + s_strEnd));
}

TEST_P(EarlierFiles, GetANumberIfTheNameIsTaken)
{
    for (const char* const szText : {"first", "second", "third"})
    {
        write("abc.log", szText);
        EXPECT_TRUE(earlier().keep());
    }
    EXPECT_EQ("first", m_directory.read("abc.log" + s_strEnd));
    EXPECT_EQ("second", m_directory.read("abc.log" + s_strEnd + "-1"));
    EXPECT_EQ("third", m_directory.read("abc.log" + s_strEnd + "-2"));
}

TEST_P(EarlierFiles, OfALongIdMoveToTheDirectoriesOfItsPieces)
{
    const std::string strId(250, 'a');
    write(strId + ".log", "earlier");
    EXPECT_TRUE(earlier(strId).keep());
    const std::set<std::string> names = files();
    ASSERT_THAT(names, ElementsAre('%' + strId + "%/%.log" + s_strEnd));
    EXPECT_EQ(strId, CallFileName("", ".log").callIdOf(*names.begin()));
}

TEST_P(EarlierFiles, InDirectoriesOfPiecesAreRenamedThere)
{
    const std::string strId(300, 'a');
    const CallFileName names("", ".log");
    std::filesystem::create_directory(m_directory.file(names.partsOf(strId).strDirectory));
    write(names.nameOf(strId), "earlier");
    EXPECT_TRUE(earlier(strId).keep());
    EXPECT_THAT(files(), ElementsAre(names.nameOf(strId) + s_strEnd));
}

TEST_P(EarlierFiles, ThatAreLinksAreRenamedAndNotFollowed)
{
    m_directory.write("target", "text");
    std::filesystem::create_symlink(m_directory.file("target"), m_directory.file("abc.log"));
    setTime("abc.log", s_changed);
    EXPECT_TRUE(earlier().keep());
    EXPECT_THAT(files(), UnorderedElementsAre("target", "abc.log" + s_strEnd));
    EXPECT_TRUE(std::filesystem::is_symlink(m_directory.file("abc.log" + s_strEnd)));
}

TEST_P(EarlierFiles, ALinkWithTheNewNameIsNotReplaced)
{
    write("abc.log", "earlier");
    std::filesystem::create_symlink("nowhere", m_directory.file("abc.log" + s_strEnd));
    EXPECT_TRUE(earlier().keep());
    EXPECT_EQ("earlier", m_directory.read("abc.log" + s_strEnd + "-1"));
    EXPECT_TRUE(std::filesystem::is_symlink(m_directory.file("abc.log" + s_strEnd)));
}

TEST_P(EarlierFiles, WhatIsNoFileStays)
{
    std::filesystem::create_directory(m_directory.file("abc.log"));
    EarlierCallFile file = earlier();
    EXPECT_TRUE(file.keep());
    EXPECT_EQ("", file.getPath());
    EXPECT_TRUE(std::filesystem::is_directory(m_directory.file("abc.log")));
}

TEST_P(EarlierFiles, StayIfTheNewDirectoryCannotBeMade)
{
    const std::string strId(250, 'a');
    write(strId + ".log", "earlier");
    m_directory.write('%' + strId + '%', "in the way");
    EarlierCallFile file = earlier(strId);
    EXPECT_FALSE(file.keep());
    EXPECT_EQ("Not a directory", file.getProblem());
    EXPECT_EQ("earlier", m_directory.read(strId + ".log"));
}

TEST_P(EarlierFiles, StayBehindALinkOfAnotherUser)
{
    constexpr uid_t uiOther = 65534;
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give a link to another user";
    std::filesystem::create_directory(m_directory.file("target"));
    write("target/abc.log", "earlier");
    const std::string strLink = m_directory.file("link");
    std::filesystem::create_symlink(m_directory.file("target"), strLink);
    ASSERT_EQ(0, lchown(strLink.c_str(), uiOther, uiOther));
    EarlierCallFile file(strLink, CallFileName("", ".log"), "abc");
    EXPECT_FALSE(file.keep());
    EXPECT_EQ(strLink + " is a symbolic link of the user with the number 65534", file.getProblem());
    ASSERT_EQ(0, lchown(strLink.c_str(), 0, 0));
    EXPECT_TRUE(file.keep());
}

TEST_P(EarlierFiles, AreAllKeptBySeveralProcesses)
{
    constexpr int iProcesses = 4;
    constexpr int iRounds = 50;
    std::vector<pid_t> children;
    for (int iProcess = 0; iProcess != iProcesses; ++iProcess)
    {
        const pid_t child = fork();
        ASSERT_NE(-1, child);
        if (child == 0)
        {
            bool bOK = true;
            for (int iRound = 0; bOK && iRound != iRounds; ++iRound)
            {
                bOK = earlier().keep();
                std::ofstream file(m_directory.file("abc.log"), std::ios::app);
                file << iProcess << ' ' << iRound << std::endl;
                bOK = bOK && file.good();
            }
            _exit(bOK ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children)
    {
        int iStatus = -1;
        EXPECT_EQ(child, waitpid(child, &iStatus, 0));
        EXPECT_EQ(0, iStatus);
    }
    std::set<std::string> lines;
    for (const std::string& strName : files())
    {
        std::ifstream file(m_directory.file(strName));
        for (std::string strLine; std::getline(file, strLine);)
            EXPECT_TRUE(lines.insert(strLine).second) << strLine;
    }
    EXPECT_EQ(static_cast<std::size_t>(iProcesses * iRounds), lines.size());
}

TEST(EarlierFilesThatCannotBeRenamed, Stay)
{
    const TemporaryDirectory directory;
    directory.write("abc.log", "earlier");
    EarlierCallFile file(directory.path(), CallFileName("", ".log"), "abc");
    g_iErrorOfRename = EACCES;
    EXPECT_FALSE(file.keep());
    g_iErrorOfRename = 0;
    EXPECT_EQ("Permission denied", file.getProblem());
    EXPECT_EQ("", file.getPath());
    EXPECT_EQ("earlier", directory.read("abc.log"));
}

TEST(EarlierFilesThatCannotBeRenamed, LeaveNoOtherFile)
{
    const TemporaryDirectory directory;
    directory.write("abc.log", "earlier");
    EarlierCallFile file(directory.path(), CallFileName("", ".log"), "abc");
    g_iErrorOfRename = EINVAL;
    g_iErrorOfReplacing = ENOSPC;
    EXPECT_FALSE(file.keep());
    g_iErrorOfRename = 0;
    g_iErrorOfReplacing = 0;
    EXPECT_EQ("No space left on device", file.getProblem());
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(directory.path()),
                               std::filesystem::directory_iterator()));
    EXPECT_EQ("earlier", directory.read("abc.log"));
}

} // namespace Velmora::Test
