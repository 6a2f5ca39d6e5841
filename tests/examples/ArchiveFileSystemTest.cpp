// SPDX-License-Identifier: BSD-2-Clause

#include "examples/vfs-browser/ArchiveFileSystem.h"

#include "ArchiveMaker.h"
#include "examples/vfs-browser/FileSystemWalk.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

constexpr std::size_t s_uiMiB = 1024 * 1024;

std::unique_ptr<ArchiveFileSystem>
open(const std::string& in_strBytes, std::size_t in_uiLimit = ArchiveFileSystem::s_uiDefaultLimit)
{
    TextSource source(in_strBytes);
    return std::make_unique<ArchiveFileSystem>("test.tar", source, in_uiLimit);
}

std::unique_ptr<ArchiveFileSystem> open(ArchiveMaker& inout_maker)
{
    return open(inout_maker.bytes());
}

/// Returns the reason why the archive cannot be read.
std::string refusal(const std::string& in_strBytes,
                    std::size_t in_uiLimit = ArchiveFileSystem::s_uiDefaultLimit)
{
    try
    {
        open(in_strBytes, in_uiLimit);
        return "";
    }
    catch (const BadArchive& error)
    {
        return error.what();
    }
}

std::string readAll(VirtualFileSystem::File& inout_file)
{
    std::string strContent;
    std::string strBlock(7, '\0');
    while (const long iRead = inout_file.read(strBlock.data(), strBlock.size()))
    {
        EXPECT_LT(0, iRead);
        strContent.append(strBlock, 0, static_cast<std::size_t>(iRead));
    }
    return strContent;
}

/// Returns the content of a file, or the name of the error.
std::string contentOf(VirtualFileSystem& inout_fileSystem, const std::string& in_strPath,
                      int in_iFlags = O_RDONLY)
{
    errno = 0;
    const VirtualFileSystem::FileHandle hFile =
        inout_fileSystem.open(in_strPath.c_str(), in_iFlags);
    return hFile.isNull() ? strerrorname_np(errno) : readAll(*hFile);
}

/// Returns the paths of the entries of a directory, with a '/' after those of directories.
std::vector<std::string> listOf(VirtualFileSystem::Directory& inout_directory)
{
    std::vector<std::string> paths;
    while (const VirtualFileSystem::EntryHandle hEntry = inout_directory.read())
    {
        EXPECT_NE(hEntry->isFile(), hEntry->isDirectory());
        paths.push_back(std::string(hEntry->getPath()) + (hEntry->isDirectory() ? "/" : ""));
    }
    return paths;
}

/// Does the same for a path. Returns the name of the error if it cannot be opened.
std::vector<std::string> listOf(VirtualFileSystem& inout_fileSystem, const std::string& in_strPath)
{
    errno = 0;
    const VirtualFileSystem::DirectoryHandle hDirectory =
        inout_fileSystem.opendir(in_strPath.c_str());
    return hDirectory.isNull() ? std::vector<std::string>{strerrorname_np(errno)}
                               : listOf(*hDirectory);
}

/// Returns an archive in the form of a Debian package.
std::string packageWith(const std::string& in_strData,
                        const std::string& in_strName = "data.tar.xz")
{
    ArchiveMaker maker(ARCHIVE_FORMAT_AR_GNU);
    return maker.file("debian-binary", "2.0\n")
        .file("control.tar", ArchiveMaker().file("control", "Package: x\n").bytes())
        .file(in_strName, in_strData)
        .bytes();
}

std::string repeated(std::string_view in_text, std::size_t in_uiTimes)
{
    std::string strResult;
    for (std::size_t uiTime = 0; uiTime < in_uiTimes; ++uiTime)
        strResult += in_text;
    return strResult;
}

/// The beginning of each message.
const std::string s_strRefused = "cannot read the archive test.tar";

const std::string s_strDamaged = "; it is damaged or incomplete, get it again";

const std::string s_strOverLimit =
    ": it takes more than the limit of 1 MiB in memory; allow more, if it can be trusted";

} // namespace

// Paths

TEST(ArchiveFileSystem, OpensFilesByPathsFromTheRoot)
{
    const auto pArchive = open(ArchiveMaker().file("usr/bin/a", "content"));
    for (const char* const szPath :
         {"usr/bin/a", "/usr/bin/a", "./usr//bin/./a", "//usr/bin/a", "usr/bin/../../usr/bin/a"})
        EXPECT_EQ("content", contentOf(*pArchive, szPath)) << szPath;
}

TEST(ArchiveFileSystem, IsNeverLeftUpwards)
{
    const auto pArchive = open(ArchiveMaker().file("a", "content"));
    EXPECT_EQ("content", contentOf(*pArchive, "../../a"));
    EXPECT_EQ("content", contentOf(*pArchive, "/../a"));
    EXPECT_EQ("ENOENT", contentOf(*pArchive, "../../etc/passwd"));
    EXPECT_THAT(listOf(*pArchive, "/../.."), ElementsAre("/../../a"));
}

TEST(ArchiveFileSystem, GivesPathsAsTheyWereGiven)
{
    const auto pArchive = open(ArchiveMaker().file("usr/a"));
    EXPECT_STREQ("usr//a", pArchive->open("usr//a", O_RDONLY)->getPath());
    EXPECT_STREQ("/usr/.", pArchive->opendir("/usr/.")->getPath());
}

TEST(ArchiveFileSystem, OpensNothingByAPathThatLeadsNowhere)
{
    const auto pArchive = open(ArchiveMaker().file("file").directory("directory"));
    EXPECT_EQ("ENOENT", contentOf(*pArchive, ""));
    EXPECT_EQ("ENOENT", contentOf(*pArchive, "missing"));
    EXPECT_EQ("ENOENT", contentOf(*pArchive, "missing/.."));
    EXPECT_EQ("ENOENT", contentOf(*pArchive, "directory/missing"));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "file/"));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "file/."));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "file/.."));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "file/missing"));
    EXPECT_EQ("EISDIR", contentOf(*pArchive, "directory"));
    EXPECT_EQ("EISDIR", contentOf(*pArchive, "/"));
    EXPECT_THAT(listOf(*pArchive, "file"), ElementsAre("ENOTDIR"));
    EXPECT_THAT(listOf(*pArchive, "missing"), ElementsAre("ENOENT"));
    EXPECT_THAT(listOf(*pArchive, ""), ElementsAre("ENOENT"));
}

TEST(ArchiveFileSystem, OpensNothingByANullPath)
{
    const auto pArchive = open(ArchiveMaker().file("file"));
    errno = 0;
    EXPECT_TRUE(pArchive->open(nullptr, O_RDONLY).isNull());
    EXPECT_EQ(EFAULT, errno);
    errno = 0;
    EXPECT_TRUE(pArchive->opendir(nullptr).isNull());
    EXPECT_EQ(EFAULT, errno);
    EXPECT_FALSE(pArchive->exists(nullptr));
}

TEST(ArchiveFileSystem, RefusesPathsThatAreTooLong)
{
    const std::string strLongest = repeated("./", PATH_MAX / 2 - 2) + "ab";
    const std::string strLongestName(NAME_MAX, 'n');
    const auto pArchive =
        open(ArchiveMaker().file("ab", "content").file(strLongestName, "content"));
    ASSERT_EQ(PATH_MAX - 2U, strLongest.size());
    EXPECT_EQ("content", contentOf(*pArchive, "/" + strLongest));
    EXPECT_EQ("ENAMETOOLONG", contentOf(*pArchive, "./" + strLongest));
    EXPECT_EQ("content", contentOf(*pArchive, strLongestName));
    EXPECT_EQ("ENAMETOOLONG", contentOf(*pArchive, strLongestName + "n"));
}

TEST(ArchiveFileSystem, KnowsWhatExists)
{
    const auto pArchive = open(
        ArchiveMaker().file("file").directory("directory").link("link", "file").link("bad", "no"));
    for (const char* const szPath : {"/", "file", "directory", "directory/", "link"})
        EXPECT_TRUE(pArchive->exists(szPath)) << szPath;
    for (const char* const szPath : {"", "no", "bad", "file/", "directory/no"})
        EXPECT_FALSE(pArchive->exists(szPath)) << szPath;
}

// Flags

TEST(ArchiveFileSystem, RefusesToWriteAndToMakeFiles)
{
    const auto pArchive = open(ArchiveMaker().file("file", "content"));
    for (const int iFlags : {O_WRONLY, O_RDWR, O_RDONLY | O_CREAT, O_RDONLY | O_TRUNC,
                             O_WRONLY | O_APPEND, O_CREAT | O_EXCL | O_WRONLY, O_TMPFILE | O_RDWR})
        for (const char* const szPath : {"file", "new"})
        {
            EXPECT_EQ("EROFS", contentOf(*pArchive, szPath, iFlags)) << iFlags;
            errno = 0;
            EXPECT_TRUE(pArchive->open(szPath, iFlags, 0644).isNull()) << iFlags;
            EXPECT_EQ(EROFS, errno);
        }
    EXPECT_EQ("content", contentOf(*pArchive, "file"));
    EXPECT_FALSE(pArchive->exists("new"));
}

TEST(ArchiveFileSystem, TakesFlagsThatMakeNoDifference)
{
    const auto pArchive = open(ArchiveMaker().file("file", "content"));
    EXPECT_EQ("content",
              contentOf(*pArchive, "file", O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
    EXPECT_EQ("content", readAll(*pArchive->open("file", O_RDONLY, 0644)));
}

TEST(ArchiveFileSystem, HeedsFlagsThatLimitWhatIsOpened)
{
    const auto pArchive =
        open(ArchiveMaker().file("d/file", "content").link("link", "d").link("last", "d/file"));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "d/file", O_DIRECTORY));
    EXPECT_EQ("ELOOP", contentOf(*pArchive, "last", O_NOFOLLOW));
    EXPECT_EQ("content", contentOf(*pArchive, "link/file", O_NOFOLLOW));
}

// Files

TEST(ArchiveFile, IsReadInPiecesToItsEnd)
{
    const auto pArchive = open(ArchiveMaker().file("file", "0123456789"));
    const auto hFile = pArchive->open("file", O_RDONLY);
    EXPECT_TRUE(hFile->isFile());
    EXPECT_FALSE(hFile->isDirectory());
    std::string strBlock(4, '\0');
    EXPECT_EQ(4, hFile->read(strBlock.data(), 4));
    EXPECT_EQ("0123", strBlock);
    EXPECT_EQ(0, hFile->read(strBlock.data(), 0));
    EXPECT_EQ(4, hFile->read(strBlock.data(), 4));
    EXPECT_EQ(2, hFile->read(strBlock.data(), 4));
    EXPECT_EQ("8967", strBlock);
    EXPECT_EQ(0, hFile->read(strBlock.data(), 4));
    EXPECT_EQ(0, hFile->read(strBlock.data(), ULONG_MAX));
}

TEST(ArchiveFile, HoldsEachByteAsItIs)
{
    std::string strBytes;
    for (int iByte = 0; iByte < 256; ++iByte)
        strBytes += static_cast<char>(iByte);
    const std::string strLarge = repeated(strBytes, 4096);
    const auto pArchive = open(ArchiveMaker().file("file", strLarge).file("empty"));
    EXPECT_TRUE(strLarge == contentOf(*pArchive, "file"));
    EXPECT_EQ("", contentOf(*pArchive, "empty"));
}

TEST(ArchiveFile, IsNotReadToNowhere)
{
    const auto pArchive = open(ArchiveMaker().file("file", "content"));
    const auto hFile = pArchive->open("file", O_RDONLY);
    errno = 0;
    EXPECT_EQ(-1, hFile->read(nullptr, 1));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ("content", readAll(*hFile));
}

TEST(ArchiveFile, IsNeverWritten)
{
    const auto pArchive = open(ArchiveMaker().file("file", "content"));
    const auto hFile = pArchive->open("file", O_RDONLY);
    errno = 0;
    EXPECT_EQ(-1, hFile->write("x", 1));
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ("content", readAll(*hFile));
}

TEST(ArchiveFile, IsPositionedByEachWhence)
{
    const auto pArchive = open(ArchiveMaker().file("file", "0123456789"));
    const auto hFile = pArchive->open("file", O_RDONLY);
    EXPECT_EQ(3, hFile->lseek(3, SEEK_SET));
    EXPECT_EQ(5, hFile->lseek(2, SEEK_CUR));
    EXPECT_EQ(4, hFile->lseek(-1, SEEK_CUR));
    EXPECT_EQ("456789", readAll(*hFile));
    EXPECT_EQ(10, hFile->lseek(0, SEEK_CUR));
    EXPECT_EQ(8, hFile->lseek(-2, SEEK_END));
    EXPECT_EQ("89", readAll(*hFile));
    EXPECT_EQ(7, hFile->lseek(7, SEEK_DATA));
    EXPECT_EQ(10, hFile->lseek(7, SEEK_HOLE));
    EXPECT_EQ(1000, hFile->lseek(1000, SEEK_SET));
    EXPECT_EQ("", readAll(*hFile));
    EXPECT_EQ(LONG_MAX, hFile->lseek(LONG_MAX, SEEK_SET));
    EXPECT_EQ("", readAll(*hFile));
}

TEST(ArchiveFile, KeepsItsPositionWhenItCannotBePositioned)
{
    const auto pArchive = open(ArchiveMaker().file("file", "0123456789"));
    const auto hFile = pArchive->open("file", O_RDONLY);
    EXPECT_EQ(4, hFile->lseek(4, SEEK_SET));
    for (const auto& [iOffset, iWhence, iError] :
         std::vector<std::tuple<long, int, int>>{{-1, SEEK_SET, EINVAL},
                                                 {-5, SEEK_CUR, EINVAL},
                                                 {-11, SEEK_END, EINVAL},
                                                 {LONG_MIN, SEEK_END, EINVAL},
                                                 {LONG_MAX, SEEK_CUR, EOVERFLOW},
                                                 {LONG_MAX, SEEK_END, EOVERFLOW},
                                                 {10, SEEK_DATA, ENXIO},
                                                 {-1, SEEK_DATA, ENXIO},
                                                 {10, SEEK_HOLE, ENXIO},
                                                 {0, 99, EINVAL},
                                                 {0, -1, EINVAL}})
    {
        errno = 0;
        EXPECT_EQ(-1, hFile->lseek(iOffset, iWhence)) << iOffset << ' ' << iWhence;
        EXPECT_EQ(iError, errno) << iOffset << ' ' << iWhence;
    }
    EXPECT_EQ("456789", readAll(*hFile));
}

TEST(ArchiveFile, IsClosedOnce)
{
    const auto pArchive = open(ArchiveMaker().file("file", "content"));
    const auto hFile = pArchive->open("file", O_RDONLY);
    EXPECT_EQ(0, hFile->close());
    errno = 0;
    EXPECT_EQ(-1, hFile->close());
    EXPECT_EQ(EBADF, errno);
    char c = 0;
    errno = 0;
    EXPECT_EQ(-1, hFile->read(&c, 1));
    EXPECT_EQ(EBADF, errno);
    errno = 0;
    EXPECT_EQ(-1, hFile->lseek(0, SEEK_SET));
    EXPECT_EQ(EBADF, errno);
}

TEST(ArchiveFile, IsOpenedAgainFromItsBeginning)
{
    const auto pArchive = open(ArchiveMaker().file("1", "first").file("2", "second"));
    const auto hFile = pArchive->open("1", O_RDONLY);
    EXPECT_EQ("first", readAll(*hFile));
    EXPECT_EQ(0, hFile->open("2", O_RDONLY));
    EXPECT_EQ("second", readAll(*hFile));
    EXPECT_STREQ("2", hFile->getPath());
    EXPECT_EQ(0, hFile->open("1", O_RDONLY, 0));
    EXPECT_EQ("first", readAll(*hFile));
}

TEST(ArchiveFile, StaysAsItIsWhenItCannotBeOpenedAgain)
{
    const auto pArchive = open(ArchiveMaker().file("1", "first"));
    const auto hFile = pArchive->open("1", O_RDONLY);
    EXPECT_EQ(-1, hFile->open("2", O_RDONLY));
    EXPECT_EQ(-1, hFile->open("1", O_RDWR));
    EXPECT_EQ("first", readAll(*hFile));
    EXPECT_STREQ("1", hFile->getPath());
}

// Directories

TEST(ArchiveDirectory, GivesItsEntriesInTheOrderOfTheirBytes)
{
    const auto pArchive = open(
        ArchiveMaker().file("d/b").directory("d/a").file("d/B").file("d/\xC3\xBC").file("d/a.txt"));
    EXPECT_THAT(listOf(*pArchive, "d"), ElementsAre("d/B", "d/a/", "d/a.txt", "d/b", "d/\xC3\xBC"));
    EXPECT_THAT(listOf(*pArchive, "/d/"),
                ElementsAre("/d/B", "/d/a/", "/d/a.txt", "/d/b", "/d/\xC3\xBC"));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/d/"));
    EXPECT_THAT(listOf(*pArchive, "d/a"), IsEmpty());
}

TEST(ArchiveDirectory, GivesOpenEntries)
{
    const auto pArchive = open(ArchiveMaker().file("d/a/deep").file("d/b", "content"));
    const auto hDirectory = pArchive->opendir("d");
    EXPECT_FALSE(hDirectory->isFile());
    EXPECT_TRUE(hDirectory->isDirectory());
    const VirtualFileSystem::EntryHandle hFirst = hDirectory->read();
    EXPECT_THAT(listOf(dynamic_cast<VirtualFileSystem::Directory&>(*hFirst)),
                ElementsAre("d/a/deep"));
    const VirtualFileSystem::EntryHandle hSecond = hDirectory->read();
    EXPECT_EQ("content", readAll(dynamic_cast<VirtualFileSystem::File&>(*hSecond)));
    errno = 7;
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_EQ(7, errno);
}

TEST(ArchiveDirectory, PassesOverLinksThatLeadNowhere)
{
    const auto pArchive = open(ArchiveMaker()
                                   .link("d/1", "missing")
                                   .link("d/2", "2")
                                   .link("d/3", "../../outside")
                                   .file("d/4"));
    errno = 7;
    const auto hDirectory = pArchive->opendir("d");
    EXPECT_THAT(listOf(*hDirectory), ElementsAre("d/4"));
    EXPECT_EQ(7, errno);
}

TEST(ArchiveDirectory, IsReadAgainFromAnyPosition)
{
    const auto pArchive = open(ArchiveMaker().file("d/a").file("d/b").file("d/c"));
    const auto hDirectory = pArchive->opendir("d");
    EXPECT_EQ(3U, listOf(*hDirectory).size());
    hDirectory->rewind();
    EXPECT_EQ(3U, listOf(*hDirectory).size());
    hDirectory->seek(1);
    EXPECT_THAT(listOf(*hDirectory), ElementsAre("d/b", "d/c"));
    for (const long iPosition : {3L, 4L, -1L, LONG_MAX, LONG_MIN})
    {
        hDirectory->seek(iPosition);
        EXPECT_THAT(listOf(*hDirectory), IsEmpty()) << iPosition;
    }
}

TEST(ArchiveDirectory, GivesNothingWhenItIsClosed)
{
    const auto pArchive = open(ArchiveMaker().file("d/a"));
    const auto hDirectory = pArchive->opendir("d");
    EXPECT_EQ(0, hDirectory->close());
    EXPECT_EQ(0, hDirectory->close());
    errno = 0;
    hDirectory->rewind();
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_EQ(EBADF, errno);
}

TEST(ArchiveDirectory, IsOpenedAgain)
{
    const auto pArchive = open(ArchiveMaker().file("d/a").file("e/b"));
    const auto hDirectory = pArchive->opendir("d");
    EXPECT_EQ(0, hDirectory->open("e"));
    EXPECT_THAT(listOf(*hDirectory), ElementsAre("e/b"));
    EXPECT_EQ(-1, hDirectory->open("f"));
    EXPECT_TRUE(hDirectory->read().isNull());
    EXPECT_STREQ("e", hDirectory->getPath());
}

TEST(ArchiveEntry, OutlivesItsFileSystem)
{
    auto pArchive = open(ArchiveMaker().file("d/a", "content"));
    const auto hFile = pArchive->open("d/a", O_RDONLY);
    const auto hDirectory = pArchive->opendir("d");
    pArchive.reset();
    EXPECT_EQ("content", readAll(*hFile));
    EXPECT_THAT(listOf(*hDirectory), ElementsAre("d/a"));
    EXPECT_EQ(0, hDirectory->open("/"));
}

// Links

TEST(ArchiveLink, LeadsWhereItDoesOnTheDisk)
{
    const auto pArchive = open(ArchiveMaker()
                                   .file("d/file", "content")
                                   .link("relative", "d/file")
                                   .link("d/sibling", "file")
                                   .link("d/upwards", "../d/../d/file")
                                   .link("absolute", "/d/file")
                                   .link("directory", "d/")
                                   .link("chain", "directory/sibling")
                                   .link("file-as-directory", "d/file/"));
    for (const char* const szPath :
         {"relative", "d/sibling", "d/upwards", "absolute", "directory/file", "chain"})
        EXPECT_EQ("content", contentOf(*pArchive, szPath)) << szPath;
    EXPECT_EQ("content", contentOf(*pArchive, "directory/../d/file"));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "relative/"));
    EXPECT_EQ("ENOTDIR", contentOf(*pArchive, "file-as-directory"));
    EXPECT_THAT(listOf(*pArchive, "directory"),
                ElementsAre("directory/file", "directory/sibling", "directory/upwards"));
}

TEST(ArchiveLink, LeadsNowhereOutsideTheArchive)
{
    const auto pArchive = open(ArchiveMaker()
                                   .file("a", "content")
                                   .link("up", "../a")
                                   .link("d/up", "../../a")
                                   .link("absolute", "/etc/passwd")
                                   .link("parent", ".."));
    for (const char* const szPath : {"up", "d/up", "absolute", "parent", "parent/a"})
        EXPECT_EQ("ENOENT", contentOf(*pArchive, szPath)) << szPath;
}

TEST(ArchiveLink, OfACircleIsRefused)
{
    const auto pArchive =
        open(ArchiveMaker().link("self", "self").link("a", "b").link("b", "a").link("d", "d/d"));
    for (const char* const szPath : {"self", "a", "b", "self/x", "d"})
    {
        EXPECT_EQ("ELOOP", contentOf(*pArchive, szPath)) << szPath;
        EXPECT_THAT(listOf(*pArchive, szPath), ElementsAre("ELOOP")) << szPath;
    }
}

TEST(ArchiveLink, IsFollowedFortyTimes)
{
    ArchiveMaker maker;
    maker.file("0", "content");
    for (int iLink = 1; iLink <= 41; ++iLink)
        maker.link(std::to_string(iLink), std::to_string(iLink - 1));
    maker.link("here", ".");
    const auto pArchive = open(maker);
    EXPECT_EQ("content", contentOf(*pArchive, "40"));
    EXPECT_EQ("ELOOP", contentOf(*pArchive, "41"));
    EXPECT_EQ("content", contentOf(*pArchive, repeated("here/", 40) + "0"));
    EXPECT_EQ("ELOOP", contentOf(*pArchive, repeated("here/", 41) + "0"));
}

TEST(ArchiveHardLink, IsAnotherNameOfTheFile)
{
    const auto pArchive = open(ArchiveMaker()
                                   .file("d/a", "content")
                                   .hardLink("b", "d/a")
                                   .hardLink("c", "b")
                                   .link("link", "c")
                                   .hardLink("link2", "link"));
    EXPECT_EQ("content", contentOf(*pArchive, "b"));
    EXPECT_EQ("content", contentOf(*pArchive, "c"));
    EXPECT_EQ("content", contentOf(*pArchive, "link2"));
    EXPECT_EQ("ELOOP", contentOf(*pArchive, "link2", O_NOFOLLOW));
}

TEST(ArchiveHardLink, KeepsTheFileWhoseNameIsTakenByAnother)
{
    const auto pArchive =
        open(ArchiveMaker().file("a", "first").hardLink("b", "a").file("a", "second"));
    EXPECT_EQ("second", contentOf(*pArchive, "a"));
    EXPECT_EQ("first", contentOf(*pArchive, "b"));
}

TEST(ArchiveHardLink, ToWhatIsNotThereIsLeftOut)
{
    const auto pArchive = open(ArchiveMaker()
                                   .directory("d")
                                   .hardLink("a", "b")
                                   .file("b", "content")
                                   .hardLink("c", "d")
                                   .hardLink("self", "self")
                                   .hardLink("out", "../../etc/passwd"));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/b", "/d/"));
    EXPECT_THAT(
        pArchive->getRemarks(),
        ElementsAre("member 2 \"a\" is left out: it is a hard link to what is not there",
                    "member 4 \"c\" is left out: it is a hard link to a directory",
                    "member 5 \"self\" is left out: it is a hard link to what is not there",
                    "member 6 \"out\" is left out: it is a hard link to what is not there"));
}

// Members

TEST(ArchiveMember, HasItsParentsMade)
{
    const auto pArchive = open(ArchiveMaker().file("a/b/c", "content").directory("a"));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/a/"));
    EXPECT_THAT(listOf(*pArchive, "/a"), ElementsAre("/a/b/"));
    EXPECT_THAT(listOf(*pArchive, "/a/b"), ElementsAre("/a/b/c"));
}

TEST(ArchiveMember, TakesThePlaceOfAnEarlierOne)
{
    const auto pArchive = open(ArchiveMaker()
                                   .file("file", "first")
                                   .file("./file", "second")
                                   .directory("empty")
                                   .file("empty", "now a file")
                                   .file("was-file")
                                   .directory("was-file")
                                   .file("was-file/in", "in")
                                   .link("was-link", "file")
                                   .file("was-link", "no link"));
    EXPECT_EQ("second", contentOf(*pArchive, "file"));
    EXPECT_EQ("now a file", contentOf(*pArchive, "empty"));
    EXPECT_EQ("in", contentOf(*pArchive, "was-file/in"));
    EXPECT_EQ("in", contentOf(*pArchive, "was-file/../was-file/in"));
    EXPECT_EQ("no link", contentOf(*pArchive, "was-link"));
    EXPECT_THAT(pArchive->getRemarks(), IsEmpty());
}

TEST(ArchiveMember, IsPutWhereLinksOfItsNameLead)
{
    const auto pArchive = open(
        ArchiveMaker().directory("d").link("l", "d").file("l/a", "content").file("l/sub/b", "b"));
    EXPECT_EQ("content", contentOf(*pArchive, "d/a"));
    EXPECT_EQ("b", contentOf(*pArchive, "d/sub/b"));
    EXPECT_THAT(pArchive->getRemarks(), IsEmpty());
}

TEST(ArchiveMember, IsLeftOutWhereItCannotBe)
{
    const auto pArchive = open(ArchiveMaker()
                                   .file("file", "content")
                                   .file("file/in")
                                   .file("d/in")
                                   .file("d", "no")
                                   .link("out", "..")
                                   .file("out/in")
                                   .link("circle", "circle")
                                   .file("circle/in"));
    EXPECT_EQ("content", contentOf(*pArchive, "file"));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/d/", "/file"));
    EXPECT_THAT(
        pArchive->getRemarks(),
        ElementsAre("member 2 \"file/in\" is left out: what it should be in is no directory",
                    "member 4 \"d\" is left out: a directory with entries has its name",
                    "member 6 \"out/in\" is left out: what it should be in is no directory",
                    "member 8 \"circle/in\" is left out: what it should be in is no "
                    "directory"));
}

TEST(ArchiveMember, IsInTheRootWhenItsNameIsAbsolute)
{
    const auto pArchive = open(ArchiveMaker().file("/etc/passwd", "of the archive"));
    EXPECT_EQ("of the archive", contentOf(*pArchive, "/etc/passwd"));
    EXPECT_EQ("of the archive", contentOf(*pArchive, "etc/passwd"));
}

TEST(ArchiveMember, IsLeftOutWhenItsNameLeadsUpwards)
{
    const auto pArchive =
        open(ArchiveMaker().file("../a").file("d/../../b").file("d/..").file("..c", "a name"));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/..c"));
    EXPECT_THAT(pArchive->getRemarks(),
                ElementsAre("member 1 \"../a\" is left out: its name has \"..\" in it",
                            "member 2 \"d/../../b\" is left out: its name has \"..\" in it",
                            "member 3 \"d/..\" is left out: its name has \"..\" in it"));
}

TEST(ArchiveMember, IsLeftOutWithoutAName)
{
    const auto pArchive = open(tarHeader("", 0) + tarHeader("./", 0, '5') + tarHeader("/", 0, '2') +
                               tarHeader("a", 0) + std::string(1024, '\0'));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/a"));
    EXPECT_THAT(pArchive->getRemarks(),
                ElementsAre("member 1 \"\" is left out: it has no name",
                            "member 3 \"/\" is left out: it is a link to nowhere"));
}

TEST(ArchiveMember, IsLeftOutWhenItsNameIsTooLong)
{
    const std::string strLongPart = "d/" + std::string(NAME_MAX + 1, 'n');
    const std::string strLong = repeated("n/", PATH_MAX / 2 - 1) + "nn";
    const auto pArchive = open(
        ArchiveMaker().file(strLongPart).file(strLong).file(strLong.substr(1)).link("l", strLong));
    EXPECT_THAT(
        pArchive->getRemarks(),
        ElementsAre(
            "member 1 \"" + strLongPart + "\" is left out: its name is longer than a path may be",
            "member 2 \"" + strLong + "\" is left out: its name is longer than a path may be",
            "member 4 \"l\" is left out: it is a link to more than a path may be"));
    EXPECT_EQ("", contentOf(*pArchive, strLong.substr(1)));
}

TEST(ArchiveMember, IsShownInOneLineWhateverItsName)
{
    const auto pArchive = open(ArchiveMaker().file("../a\nERROR - b\x1B[2J\x7F").file("\n", "c"));
    EXPECT_THAT(pArchive->getRemarks(),
                ElementsAre("member 1 \"../a\\x0AERROR - b\\x1B[2J\\x7F\" is left out: its name "
                            "has \"..\" in it"));
    EXPECT_EQ("c", contentOf(*pArchive, "/\n"));
}

TEST(ArchiveMember, HasTheNameInFrontOfAZeroByte)
{
    const std::string strRecord("18 path=ab\0../cd\n", 17);
    const auto pArchive =
        open(tarHeader("pax", 18, 'x') + tarBlocks("1" + strRecord.substr(1) + "\n") +
             tarHeader("short", 2) + tarBlocks("ok") + std::string(1024, '\0'));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/ab"));
}

TEST(ArchiveMember, HasItsNameInUtf8WhateverTheLocale)
{
    for (const auto& [szName, szExpected] :
         std::vector<std::pair<const char*, const char*>>{{"\xC3\xBC", "\xC3\xBC"},
                                                          {"\xE4\xB8\xAD", "\xE4\xB8\xAD"},
                                                          {"\xFF", "\xFF"},
                                                          // libarchive composes characters.
                                                          {"u\xCC\x88", "\xC3\xBC"}})
    {
        // A record begins with its length, which has two digits here.
        const std::string strRecord = std::string(" path=d/") + szName + "\n";
        const std::string strHeader = std::to_string(strRecord.size() + 2) + strRecord;
        const auto pArchive = open(tarHeader("pax", strHeader.size(), 'x') + tarBlocks(strHeader) +
                                   tarHeader("short", 0) + std::string(1024, '\0'));
        EXPECT_THAT(listOf(*pArchive, "/d"), ElementsAre(std::string("/d/") + szExpected));
    }
}

TEST(ArchiveMember, IsLeftOutWhenItIsNoFileDirectoryOrLink)
{
    const auto pArchive = open(ArchiveMaker().fifo("fifo").file("a"));
    EXPECT_THAT(listOf(*pArchive, "/"), ElementsAre("/a"));
    EXPECT_THAT(pArchive->getRemarks(),
                ElementsAre("member 1 \"fifo\" is left out: it is a device, a FIFO or a socket"));
}

TEST(ArchiveMember, OfWhichManyAreLeftOutIsCounted)
{
    ArchiveMaker maker;
    for (int iMember = 0; iMember < 1000; ++iMember)
        maker.fifo("fifo");
    const auto pArchive = open(maker);
    ASSERT_EQ(11U, pArchive->getRemarks().size());
    EXPECT_EQ("990 more members are left out", pArchive->getRemarks().back());
}

// Forms

namespace
{

class ArchiveForm : public testing::TestWithParam<int>
{
};

} // namespace

TEST_P(ArchiveForm, IsReadInATarAndInAPackage)
{
    const std::string strText = repeated("0123456789abcdef", 10000);
    const std::string strArchive = ArchiveMaker(ARCHIVE_FORMAT_TAR_GNUTAR, GetParam())
                                       .file("d/a", strText)
                                       .link("l", "d/a")
                                       .bytes();
    EXPECT_TRUE(strText == contentOf(*open(strArchive), "l"));
    EXPECT_TRUE(strText == contentOf(*open(packageWith(strArchive)), "l"));
}

TEST_P(ArchiveForm, IsRefusedWhenItIsTruncated)
{
    const std::string strArchive = ArchiveMaker(ARCHIVE_FORMAT_TAR_GNUTAR, GetParam())
                                       .file("a", repeated("0123456789abcdef", 10000))
                                       .bytes();
    const std::string strHalf = strArchive.substr(0, strArchive.size() / 2);
    EXPECT_THAT(refusal(strHalf), StartsWith(s_strRefused));
    EXPECT_THAT(refusal(packageWith(strArchive).substr(0, strArchive.size() / 2)),
                StartsWith(s_strRefused));
}

TEST_P(ArchiveForm, IsReadOrRefusedWhereverItIsBroken)
{
    const std::string strArchive = packageWith(
        ArchiveMaker(ARCHIVE_FORMAT_TAR_GNUTAR, GetParam()).file("a", "content").bytes());
    int iRefused = 0;
    for (std::size_t uiSize = 0; uiSize < strArchive.size(); uiSize += 7)
    {
        iRefused += refusal(strArchive.substr(0, uiSize)).empty() ? 0 : 1;
        std::string strBroken = strArchive;
        strBroken[uiSize] = static_cast<char>(~strBroken[uiSize]);
        iRefused += refusal(strBroken).empty() ? 0 : 1;
    }
    EXPECT_LT(10, iRefused);
}

INSTANTIATE_TEST_SUITE_P(Each, ArchiveForm,
                         testing::Values(ARCHIVE_FILTER_NONE, ARCHIVE_FILTER_GZIP,
                                         ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_COMPRESS,
                                         ARCHIVE_FILTER_LZMA, ARCHIVE_FILTER_XZ,
                                         ARCHIVE_FILTER_LZIP, ARCHIVE_FILTER_LZ4,
                                         ARCHIVE_FILTER_ZSTD));

TEST(ArchiveReader, GivesTheReasonOfTheDecompressor)
{
    const std::string strArchive =
        ArchiveMaker(ARCHIVE_FORMAT_TAR_GNUTAR, ARCHIVE_FILTER_GZIP).file("a").bytes();
    EXPECT_EQ(s_strRefused + ": truncated gzip input" + s_strDamaged,
              refusal(strArchive.substr(0, strArchive.size() / 2)));
}

TEST(ArchiveReader, NamesTheMemberThatIsTruncated)
{
    EXPECT_EQ(s_strRefused + " at member 2 \"b\": Truncated tar archive" + s_strDamaged,
              refusal(tarHeader("a", 0) + tarHeader("b", 1000) + "only this"));
}

TEST(ArchiveReader, RefusesADamagedHeader)
{
    std::string strHeader = tarHeader("b", 0);
    strHeader[0] = 'c';
    EXPECT_EQ(s_strRefused + " behind member 1 \"a\": Damaged tar archive" + s_strDamaged,
              refusal(tarHeader("a", 0) + strHeader + std::string(1024, '\0')));
}

TEST(ArchiveReader, RefusesWhatIsNoArchive)
{
    const std::string strRefusal =
        s_strRefused + ": it is neither a tar archive, plain or compressed, nor a Debian package";
    EXPECT_EQ(strRefusal, refusal(""));
    EXPECT_EQ(strRefusal, refusal("x"));
    EXPECT_EQ(strRefusal, refusal(repeated("no archive ", 10000)));
    EXPECT_EQ(strRefusal, refusal(compressed(repeated("none ", 10000), ARCHIVE_FILTER_GZIP)));
    EXPECT_EQ(strRefusal, refusal(packageWith("none")));
}

TEST(ArchiveReader, RefusesAnArWithoutData)
{
    EXPECT_EQ(s_strRefused + ": it is an ar archive without data.tar, and so no Debian package",
              refusal(packageWith("x", "other")));
}

TEST(ArchiveReader, RefusesWhatIsCompressedTwice)
{
    const std::string strArchive =
        ArchiveMaker(ARCHIVE_FORMAT_TAR_GNUTAR, ARCHIVE_FILTER_GZIP).file("a").bytes();
    EXPECT_EQ(s_strRefused + ": it is compressed more than once; decompress it first",
              refusal(compressed(strArchive, ARCHIVE_FILTER_XZ)));
}

TEST(ArchiveReader, RefusesASparseFileWhosePartsAreOutOfOrder)
{
    const std::string strRecords =
        "22 GNU.sparse.major=1\n22 GNU.sparse.minor=0\n27 GNU.sparse.realsize=200\n";
    const std::string strMap = tarBlocks("2\n100\n3\n0\n3\n");
    EXPECT_EQ(s_strRefused + " at member 1 \"a\": its contents do not fit its size" + s_strDamaged,
              refusal(tarHeader("pax", strRecords.size(), 'x') + tarBlocks(strRecords) +
                      tarHeader("a", strMap.size() + 6) + strMap + tarBlocks("abcdef") +
                      std::string(1024, '\0')));
}

TEST(ArchiveReader, ReadsAnArchiveWithoutMembers)
{
    const auto pArchive = open(std::string(10240, '\0'));
    EXPECT_THAT(listOf(*pArchive, "/"), IsEmpty());
}

TEST(ArchiveReader, RefusesFilesThatCannotBeRead)
{
    const TemporaryDirectory directory;
    const auto reason = [](const std::string& in_strPath)
    {
        try
        {
            const ArchiveFileSystem archive(in_strPath);
            return std::string();
        }
        catch (const BadArchive& error)
        {
            return std::string(error.what());
        }
    };
    const std::string strFifo = directory.file("fifo");
    ASSERT_EQ(0, mkfifo(strFifo.c_str(), 0600));
    EXPECT_EQ("cannot read the archive " + strFifo + ": it is no regular file", reason(strFifo));
    EXPECT_EQ("cannot read the archive " + directory.path().string() + ": it is no regular file",
              reason(directory.path()));
    EXPECT_EQ("cannot read the archive " + directory.file("no") + ": No such file or directory",
              reason(directory.file("no")));
}

// Limits

TEST(ArchiveLimit, CountsContents)
{
    const std::string strBytes = ArchiveMaker()
                                     .file("a", std::string(s_uiMiB / 2, 'a'))
                                     .file("b", std::string(s_uiMiB / 2, 'b'))
                                     .bytes();
    EXPECT_EQ("", refusal(strBytes, 2 * s_uiMiB));
    EXPECT_EQ(s_strRefused + " at member 2 \"b\"" + s_strOverLimit, refusal(strBytes, s_uiMiB));
}

TEST(ArchiveLimit, RefusesASizeThatLiesBeforeItIsRead)
{
    EXPECT_EQ(s_strRefused + " at member 1 \"a\"" + s_strOverLimit,
              refusal(tarHeader("a", ULLONG_MAX / 4) + "little", s_uiMiB));
    EXPECT_EQ(s_strRefused + " at member 1 \"a\": Truncated tar archive" + s_strDamaged,
              refusal(tarHeader("a", s_uiMiB / 2) + "little", s_uiMiB));
    EXPECT_THAT(refusal(tarHeader("a", ULLONG_MAX) + "little", s_uiMiB), StartsWith(s_strRefused));
}

TEST(ArchiveLimit, CountsHolesInSparseFiles)
{
    const auto sparseFile = [](const std::string& in_strSize)
    {
        std::string strRecords = "22 GNU.sparse.major=1\n22 GNU.sparse.minor=0\n";
        std::string strSize = " GNU.sparse.realsize=" + in_strSize + "\n";
        strRecords += std::to_string(strSize.size() + 2) + strSize;
        const std::string strMap = tarBlocks("1\n0\n3\n");
        return tarHeader("pax", strRecords.size(), 'x') + tarBlocks(strRecords) +
               tarHeader("a", strMap.size() + 3) + strMap + tarBlocks("abc");
    };
    const auto sparse = [&](const std::string& in_strSize)
    { return sparseFile(in_strSize) + std::string(1024, '\0'); };
    EXPECT_EQ(std::string("abc\0\0\0", 6), contentOf(*open(sparse("6")), "a"));
    EXPECT_EQ(s_strRefused + " at member 1 \"a\"" + s_strOverLimit,
              refusal(sparse("2000000"), s_uiMiB));
    EXPECT_EQ(s_strRefused + " at member 2 \"a\"" + s_strOverLimit,
              refusal(sparseFile("600000") + sparse("600000"), s_uiMiB));
    EXPECT_EQ(s_strRefused + " at member 1 \"a\"" + s_strOverLimit,
              refusal(sparse("9223372036854775807"), s_uiMiB));
}

TEST(ArchiveLimit, CountsEachMember)
{
    ArchiveMaker maker;
    for (int iMember = 0; iMember < 3000; ++iMember)
        maker.file(std::to_string(iMember));
    const std::string strBytes = maker.bytes();
    EXPECT_EQ("", refusal(strBytes, 4 * s_uiMiB));
    EXPECT_THAT(refusal(strBytes, s_uiMiB), testing::EndsWith(s_strOverLimit));
}

TEST(ArchiveLimit, CountsParentsThatAreMade)
{
    ArchiveMaker maker;
    for (char cName = 'a'; cName <= 'z'; ++cName)
        maker.directory(repeated(std::string(1, cName) + '/', 2000));
    EXPECT_THAT(refusal(maker.bytes(), s_uiMiB), testing::EndsWith(s_strOverLimit));
}

TEST(ArchiveLimit, BoundsTheHeadersOfAMember)
{
    // The map of a sparse file is held in memory, also if the contents of the member are not.
    const std::string strRecords = "22 GNU.sparse.major=1\n22 GNU.sparse.minor=0\n";
    const std::string strMap = "4000000\n" + repeated("0\n0\n", 2 * s_uiMiB);
    EXPECT_EQ(s_strRefused + ": more than 4 MiB in a row hold headers or nothing" + s_strDamaged,
              refusal(tarHeader("pax", strRecords.size(), 'x') + tarBlocks(strRecords) +
                      tarHeader("a", strMap.size()) + strMap));
}

TEST(ArchiveLimit, OfWhatIsCompressedIsReachedWithoutDecompressingTheRest)
{
    // 10 GiB of zeros, compressed to a few MiB.
    const std::string strZeros = compressed(std::string(64 * s_uiMiB, '\0'), ARCHIVE_FILTER_GZIP);
    const std::string strBomb =
        compressed(tarHeader("bomb", 10240 * s_uiMiB), ARCHIVE_FILTER_GZIP) +
        repeated(strZeros, 160);
    EXPECT_LT(strBomb.size(), 16 * s_uiMiB);
    EXPECT_EQ(s_strRefused + " at member 1 \"bomb\"" + s_strOverLimit, refusal(strBomb, s_uiMiB));
}

TEST(ArchiveTreeDepth, IsThatOfALongestPath)
{
    // Links create trees that are deeper than the longest path.
    ArchiveMaker maker;
    const std::string strDeep = repeated("d/", 2000);
    maker.directory(strDeep).link("l0", strDeep);
    for (int iLink = 1; iLink <= 30; ++iLink)
        maker.directory("l" + std::to_string(iLink - 1) + "/" + strDeep)
            .link("l" + std::to_string(iLink), "l" + std::to_string(iLink - 1) + "/" + strDeep);
    maker.file("l30/bottom", "content");
    const auto pArchive = open(maker);
    EXPECT_EQ("content", contentOf(*pArchive, "l30/bottom"));
    EXPECT_THAT(pArchive->getRemarks(), IsEmpty());
}

// Threads

TEST(ArchiveFileSystem, IsUsedByManyThreadsAtOnce)
{
    ArchiveMaker maker;
    for (int iFile = 0; iFile < 300; ++iFile)
        maker.file("d" + std::to_string(iFile % 17) + "/" + std::to_string(iFile),
                   std::to_string(iFile));
    maker.link("d1/link", "../d2").hardLink("hard", "d0/0");
    const auto pArchive = open(maker);
    const auto walk = [&pArchive]
    {
        std::vector<FileSystemWalk::Seen> seen;
        FileSystemWalk(*pArchive, FileSystemWalk::Contents::READ)
            .run("/",
                 [&](const FileSystemWalk::Seen& in_seen)
                 {
                     seen.push_back(in_seen);
                     return true;
                 });
        return seen;
    };
    const std::vector<FileSystemWalk::Seen> expected = walk();
    EXPECT_EQ(1U + 17U + 300U + 1U + 1U + 18U, expected.size());
    std::vector<std::vector<FileSystemWalk::Seen>> seen(8);
    {
        std::vector<std::jthread> threads;
        for (auto& ofThread : seen)
            threads.emplace_back([&] { ofThread = walk(); });
    }
    for (const auto& ofThread : seen)
        EXPECT_TRUE(expected == ofThread);
}
