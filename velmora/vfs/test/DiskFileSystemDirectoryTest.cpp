// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DiskFileSystem.h"

#include "tests/support/CallbackAppender.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Surroundings.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/test/DiskFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST_F(DiskFiles, ADirectoryGivesItsEntriesAndThenNull)
{
    makeFile(path("a"), "content");
    makeFile(path("b"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_TRUE(hDirectory->isDirectory());
    EXPECT_FALSE(hDirectory->isFile());
    EXPECT_EQ(root(), hDirectory->getPath());
    EXPECT_THAT(pathsOf(*hDirectory), UnorderedElementsAre(path("a"), path("b")));
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, AnEmptyDirectoryGivesNull)
{
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_TRUE(hDirectory->read().isNull());
}

TEST_F(DiskFiles, TheEndOfADirectoryLeavesTheReasonOfAFormerFailure)
{
    makeFile(path("a"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    errno = EDOM;
    EXPECT_FALSE(hDirectory->read().isNull());
    EXPECT_EQ(EDOM, errno);
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_EQ(EDOM, errno);
}

TEST_F(DiskFiles, EntriesAreOpenAndAreTheCallersToClose)
{
    makeFile(path("a"), "content");
    const std::size_t uiBefore = countDescriptors();
    {
        const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
        ASSERT_FALSE(hDirectory.isNull());
        const EntryHandle hEntry = hDirectory->read();
        ASSERT_FALSE(hEntry.isNull());
        EXPECT_EQ(uiBefore + 2, countDescriptors());
        EXPECT_TRUE(hEntry->isFile());
        EXPECT_EQ("content", rest(dynamic_cast<VirtualFileSystem::File&>(*hEntry)));
    }
    EXPECT_EQ(uiBefore, countDescriptors());
}

TEST_F(DiskFiles, ADirectoryInADirectoryIsReadOn)
{
    fs::create_directories(path("a/b"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    const EntryHandle hEntry = hDirectory->read();
    ASSERT_FALSE(hEntry.isNull());
    EXPECT_TRUE(hEntry->isDirectory());
    EXPECT_FALSE(hEntry->isFile());
    EXPECT_THAT(pathsOf(dynamic_cast<VirtualFileSystem::Directory&>(*hEntry)),
                ElementsAre(path("a/b")));
}

TEST_F(DiskFiles, PathsOfEntriesBeginWithThatOfTheirDirectoryAsGiven)
{
    makeDirectory("d");
    makeFile(path("d/a"));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    EXPECT_THAT(pathsOf(*m_fileSystem.opendir("d")), ElementsAre("d/a"));
    EXPECT_THAT(pathsOf(*m_fileSystem.opendir("d/")), ElementsAre("d/a"));
    EXPECT_THAT(pathsOf(*m_fileSystem.opendir(".//d/../d")), ElementsAre(".//d/../d/a"));
}

TEST_F(DiskFiles, EntriesOfADirectoryWithAnEmptyPathAreLookedForInTheRoot)
{
    makeFile(path("no-such-file-in-the-root"));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    const DirectoryHandle hDirectory = m_fileSystem.opendir("");
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_THAT(m_log.lines(), ElementsAre(notSupported("/no-such-file-in-the-root")));
}

TEST_F(DiskFiles, LinksAreWhatTheyLeadTo)
{
    makeDirectory("d");
    makeFile(path("d/file"));
    fs::create_directory(path("links"));
    fs::create_symlink("../d", path("links/d"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(path("links").c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_TRUE(hDirectory->read()->isDirectory());
    fs::remove(path("links/d"));
    fs::create_symlink("../d/file", path("links/file"));
    hDirectory->rewind();
    EXPECT_TRUE(hDirectory->read()->isFile());
}

TEST_F(DiskFiles, AFifoIsAFileThatIsNotWaitedFor)
{
    makeFifo(path("fifo"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    const EntryHandle hEntry = hDirectory->read();
    ASSERT_FALSE(hEntry.isNull());
    EXPECT_TRUE(hEntry->isFile());
    EXPECT_EQ("", rest(dynamic_cast<VirtualFileSystem::File&>(*hEntry)));
}

TEST_F(DiskFiles, AFileOfADirectoryIsReadAsAnyOther)
{
    makeFifo(path("fifo"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    const EntryHandle hEntry = hDirectory->read();
    const int iDescriptor = descriptorOf(path("fifo"));
    EXPECT_EQ(O_RDONLY, fcntl(iDescriptor, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    EXPECT_NE(0, fcntl(iDescriptor, F_GETFD) & FD_CLOEXEC);
}

TEST_F(DiskFiles, AnEntryThatCannotBeOpenedIsNullAndLogged)
{
    fs::create_symlink("nowhere", path("link"));
    const CallbackAppender otherReason([](const std::string&) { errno = EXFULL; });
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_EQ(ENOENT, errorOf([&] { return !!hDirectory->read(); }));
    EXPECT_THAT(m_log.lines(), ElementsAre(notSupported(path("link"))));
}

TEST_F(DiskFiles, AnEntryThatMayNotBeReadIsNullAndLogged)
{
    makeFile(path("secret"));
    fs::permissions(path("secret"), fs::perms(0200));
    const bool bDone = doAsNobody(
        [this]
        {
            const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
            ASSERT_FALSE(hDirectory.isNull());
            EXPECT_EQ(EACCES, errorOf([&] { return !!hDirectory->read(); }));
        });
    if (!bDone)
        GTEST_SKIP() << s_szNoOtherUser;
    EXPECT_THAT(m_log.lines(), ElementsAre(notSupported(path("secret"))));
}

TEST_F(DiskFiles, EntriesBehindOneThatCannotBeOpenedCanStillBeRead)
{
    fs::create_symlink("nowhere", path("link"));
    makeFile(path("a"));
    makeFile(path("b"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    Texts paths = pathsOf(*hDirectory);
    const Texts behind = pathsOf(*hDirectory);
    paths.insert(paths.end(), behind.begin(), behind.end());
    EXPECT_THAT(paths, UnorderedElementsAre(path("a"), path("b")));
}

TEST_F(DiskFiles, AnEntryThatGoesWhileTheDirectoryIsReadIsNullAndLogged)
{
    makeFile(path("a"));
    makeFile(path("b"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    const std::string strFirst = hDirectory->read()->getPath();
    const std::string strSecond = strFirst == path("a") ? path("b") : path("a");
    fs::remove(strSecond);
    EXPECT_EQ(ENOENT, errorOf([&] { return !!hDirectory->read(); }));
    EXPECT_THAT(m_log.lines(), ElementsAre(notSupported(strSecond)));
}

TEST_F(DiskFiles, ADirectoryThatHasGoneHasNoEntries)
{
    const DirectoryHandle hDirectory = m_fileSystem.opendir(makeDirectory("d").c_str());
    ASSERT_FALSE(hDirectory.isNull());
    fs::remove(path("d"));
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, ADirectoryThatCannotBeReadGivesNull)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    const bool bDone =
        doWhileCallsFail({{SYS_getdents64, EIO}},
                         [this]
                         {
                             const DirectoryHandle hDirectory =
                                 m_fileSystem.opendir(root().c_str());
                             ASSERT_FALSE(hDirectory.isNull());
                             EXPECT_EQ(EIO, errorOf([&] { return !!hDirectory->read(); }));
                         });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, ADirectoryThatCannotBeOpenedAsOneIsNoFile)
{
    makeDirectory("d");
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    const bool bDone =
        doWhileCallsFail({{SYS_openat, ENFILE, 2, O_DIRECTORY}},
                         [&] { EXPECT_EQ(ENFILE, errorOf([&] { return !!hDirectory->read(); })); });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_THAT(m_log.lines(), ElementsAre(notSupported(path("d"))));
}

TEST_F(DiskFiles, WithoutDescriptorsAnEntryIsNullAndLogged)
{
    fs::create_symlink("nowhere", path("a"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_TRUE(hDirectory->read().isNull());
    fs::remove(path("a"));
    makeFile(path("a"));
    hDirectory->rewind();
    m_log.clear();
    const std::size_t uiBefore = countDescriptors();
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        ASSERT_TRUE(limit.isSet());
        EXPECT_EQ(EMFILE, errorOf([&] { return !!hDirectory->read(); }));
    }
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_THAT(m_log.lines(), ElementsAre(notSupported(path("a"))));
    hDirectory->rewind();
    EXPECT_FALSE(hDirectory->read().isNull());
}

TEST_F(DiskFiles, ADirectoryBeginsAgain)
{
    makeFile(path("a"));
    makeFile(path("b"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    const Texts paths = pathsOf(*hDirectory);
    hDirectory->rewind();
    EXPECT_EQ(paths, pathsOf(*hDirectory));
    hDirectory->seek(0);
    EXPECT_EQ(paths, pathsOf(*hDirectory));
}

TEST_F(DiskFiles, APositionIsOneOfTheSystem)
{
    for (const char* const szName : {"a", "b", "c", "d"})
        makeFile(path(szName));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    DIR* const pSame = opendir(root().c_str());
    ASSERT_NE(nullptr, pSame);
    for (int iItem = 0; iItem < 3; ++iItem)
        EXPECT_NE(nullptr, readdir(pSame));
    hDirectory->seek(telldir(pSame));
    Texts names;
    while (const dirent* const pItem = readdir(pSame))
        if (pItem->d_name[0] != '.')
            names.push_back(path(pItem->d_name));
    closedir(pSame);
    EXPECT_EQ(names, pathsOf(*hDirectory));
}

TEST_F(DiskFiles, ADirectoryMayBeClosedAgain)
{
    const std::size_t uiBefore = countDescriptors();
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_EQ(0, hDirectory->close());
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_EQ(0, hDirectory->close());
}

TEST_F(DiskFiles, AClosedDirectoryHasNoEntries)
{
    makeFile(path("a"));
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    hDirectory->close();
    hDirectory->rewind();
    hDirectory->seek(1);
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, OpeningADirectoryAgainClosesIt)
{
    makeDirectory("d");
    makeFile(path("d/a"));
    const std::size_t uiBefore = countDescriptors();
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_EQ(0, hDirectory->open(path("d").c_str()));
    EXPECT_EQ(uiBefore + 1, countDescriptors());
    EXPECT_EQ(path("d"), hDirectory->getPath());
    EXPECT_THAT(pathsOf(*hDirectory), ElementsAre(path("d/a")));
}

TEST_F(DiskFiles, ADirectoryThatCannotBeOpenedAgainIsClosed)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    const DirectoryHandle hDirectory = m_fileSystem.opendir(root().c_str());
    ASSERT_FALSE(hDirectory.isNull());
    EXPECT_EQ(ENOTDIR, errorOf([&] { return hDirectory->open(path("a").c_str()) != -1; }));
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_EQ(root(), hDirectory->getPath());
    EXPECT_TRUE(hDirectory->read().isNull());
}

TEST_F(DiskFiles, AnEntryThatWasNeverOpenHasAnEmptyPath)
{
    DiskFileSystem::File file(m_fileSystem);
    DiskFileSystem::Directory directory(m_fileSystem);
    EXPECT_STREQ("", file.getPath());
    EXPECT_STREQ("", directory.getPath());
    EXPECT_EQ(-1, file.close());
    EXPECT_EQ(0, directory.close());
}
