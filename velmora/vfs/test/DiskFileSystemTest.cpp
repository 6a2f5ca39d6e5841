// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DiskFileSystem.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Surroundings.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace
{

using EntryHandle = VirtualFileSystem::EntryHandle;
using FileHandle = VirtualFileSystem::FileHandle;
using DirectoryHandle = VirtualFileSystem::DirectoryHandle;
using Texts = std::vector<std::string>;

constexpr const char* s_szLogger = "keswardin.infra.DiskFileSystem";
constexpr const char* s_szNoMode = "You must provide a mode if you are creating a new file";

static_assert(!std::is_copy_constructible_v<DiskFileSystem>);
static_assert(!std::is_copy_constructible_v<DiskFileSystem::File>);
static_assert(!std::is_copy_constructible_v<DiskFileSystem::Directory>);

LogLine notValid(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "Cannot set path " + in_strPath +
                                     " as current working directory as path is not valid");
}

LogLine notSupported(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "Current entry " + in_strPath +
                                     " is neither a file nor a directory. NOT SUPPORTED YET");
}

void makeFile(const std::string& in_strPath, const std::string& in_strContent = "")
{
    std::ofstream(in_strPath) << in_strContent;
    ASSERT_TRUE(fs::is_regular_file(in_strPath)) << in_strPath;
}

void makeFifo(const std::string& in_strPath)
{
    ASSERT_EQ(0, mkfifo(in_strPath.c_str(), 0644)) << in_strPath;
}

/// Returns the rest of a file.
std::string rest(VirtualFileSystem::File& inout_file)
{
    std::string strContent;
    std::array<char, 16> buffer{};
    while (const long iNumRead = inout_file.read(buffer.data(), buffer.size()))
    {
        if (iNumRead < 0)
            return strContent + " and then an error";
        strContent.append(buffer.data(), static_cast<std::size_t>(iNumRead));
    }
    return strContent;
}

/// Returns the paths of all entries up to a null handle.
Texts pathsOf(VirtualFileSystem::Directory& inout_directory)
{
    Texts paths;
    while (const EntryHandle hEntry = inout_directory.read())
        paths.emplace_back(hEntry->getPath());
    return paths;
}

/// Returns the descriptor of this process that is open on a path.
int descriptorOf(const std::string& in_strPath)
{
    for (const fs::directory_entry& descriptor : fs::directory_iterator("/proc/self/fd"))
        if (fs::read_symlink(descriptor) == fs::path(in_strPath))
            return std::stoi(descriptor.path().filename());
    ADD_FAILURE() << in_strPath << " is not open";
    return -1;
}

/// Returns `errno` after an operation that must fail, with `errno` cleared before it.
template <class Deed>
int errorOf(Deed in_deed)
{
    errno = 0;
    EXPECT_FALSE(in_deed());
    return errno;
}

/// Runs in an empty directory that other users may enter and that is the working directory of
/// neither the file system nor the process.
class DiskFiles : public testing::Test
{
  protected:
    DiskFiles()
    {
        fs::permissions(m_directory.path(), fs::perms(0755));
        umask(022);
    }
    ~DiskFiles() override { fs::current_path("/"); }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }
    [[nodiscard]] std::string root() const { return m_directory.path(); }

    std::string makeDirectory(const std::string& in_strName) const
    {
        fs::create_directory(path(in_strName));
        return path(in_strName);
    }

    CapturedLog m_log;
    TemporaryDirectory m_directory;
    DiskFileSystem m_fileSystem;
};

} // namespace

// Paths

TEST_F(DiskFiles, ARelativePathFollowsTheWorkingDirectory)
{
    makeFile(path("a"), "content");
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory((root() + "/").c_str()));
    const FileHandle hFile = m_fileSystem.open("a", O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ("content", rest(*hFile));
    EXPECT_STREQ("a", hFile->getPath());
}

TEST_F(DiskFiles, AnAbsolutePathIgnoresTheWorkingDirectory)
{
    makeFile(path("a"));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(makeDirectory("b").c_str()));
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(path("a"), hFile->getPath());
}

TEST_F(DiskFiles, WithoutAWorkingDirectoryRelativePathsAreThoseOfTheProcess)
{
    makeFile(path("a"));
    fs::current_path(root());
    EXPECT_STREQ("a", m_fileSystem.getRealPath("a"));
    EXPECT_FALSE(m_fileSystem.open("a", O_RDONLY).isNull());
}

TEST_F(DiskFiles, TheRealPathIsTheTextOfBoth)
{
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    EXPECT_EQ(root() + "/.././a//b/", m_fileSystem.getRealPath(".././a//b/"));
    EXPECT_EQ(root() + "/", m_fileSystem.getRealPath(""));
}

TEST_F(DiskFiles, TheRealPathOfAnAbsoluteOneIsThePathItself)
{
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    const char* const szPath = "/../a";
    EXPECT_EQ(szPath, m_fileSystem.getRealPath(szPath));
    EXPECT_EQ(nullptr, m_fileSystem.getRealPath(nullptr));
}

TEST_F(DiskFiles, OpensByARealPathThatIsRelative)
{
    makeFile(path("a"), "content");
    fs::current_path(root());
    const FileHandle hFile = m_fileSystem.open(m_fileSystem.getRealPath("a"), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_STREQ("a", hFile->getPath());
}

TEST_F(DiskFiles, TheRealPathOfARelativeRealPathIsTheTextOfBothAgain)
{
    fs::create_directory(path("b"));
    fs::current_path(root());
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory("b"));
    EXPECT_STREQ("b/b/a", m_fileSystem.getRealPath(m_fileSystem.getRealPath("a")));
}

TEST_F(DiskFiles, EachFileSystemHasAWorkingDirectoryOfItsOwn)
{
    DiskFileSystem other;
    const fs::path before = fs::current_path();
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(makeDirectory("a").c_str()));
    ASSERT_TRUE(other.setWorkingDirectory(makeDirectory("b").c_str()));
    EXPECT_EQ(path("a") + "/x", m_fileSystem.getRealPath("x"));
    EXPECT_EQ(path("b") + "/x", other.getRealPath("x"));
    EXPECT_EQ(before, fs::current_path());
}

TEST_F(DiskFiles, TheWorkingDirectoryEndsInASlash)
{
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    EXPECT_EQ(root() + "/a", m_fileSystem.getRealPath("a"));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory((root() + "/").c_str()));
    EXPECT_EQ(root() + "/a", m_fileSystem.getRealPath("a"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, OnlyADirectoryBecomesTheWorkingDirectory)
{
    makeFile(path("file"));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    EXPECT_EQ(ENOTDIR, errorOf([this] { return m_fileSystem.setWorkingDirectory("file"); }));
    EXPECT_EQ(ENOENT, errorOf([this] { return m_fileSystem.setWorkingDirectory("/no/such"); }));
    EXPECT_EQ(EFAULT, errorOf([this] { return m_fileSystem.setWorkingDirectory(nullptr); }));
    EXPECT_EQ(root() + "/a", m_fileSystem.getRealPath("a"));
    EXPECT_THAT(m_log.lines(), ElementsAre(notValid("file"), notValid("/no/such"), notValid("")));
}

TEST_F(DiskFiles, ARelativeWorkingDirectoryIsLookedForInTheFormerOneAndKeptAsGiven)
{
    fs::create_directories(path("a/b"));
    makeFile(path("a/b/file"));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(path("a").c_str()));
    fs::current_path(root());
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory("b"));
    EXPECT_STREQ("b/file", m_fileSystem.getRealPath("file"));
    EXPECT_TRUE(m_fileSystem.open("file", O_RDONLY).isNull());
    fs::current_path(path("a"));
    EXPECT_FALSE(m_fileSystem.open("file", O_RDONLY).isNull());
}

TEST_F(DiskFiles, ARealPathBecomesTheWorkingDirectory)
{
    fs::create_directory(path("b"));
    fs::current_path(root());
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(m_fileSystem.getRealPath("b")));
    EXPECT_STREQ("b/a", m_fileSystem.getRealPath("a"));
}

TEST_F(DiskFiles, AnEmptyWorkingDirectoryLeavesNone)
{
    EXPECT_FALSE(m_fileSystem.setWorkingDirectory(""));
    ASSERT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    EXPECT_TRUE(m_fileSystem.setWorkingDirectory(""));
    EXPECT_STREQ("a", m_fileSystem.getRealPath("a"));
    EXPECT_THAT(m_log.lines(), ElementsAre(notValid("")));
}

// Opening

TEST_F(DiskFiles, WhatCannotBeOpenedIsNotLogged)
{
    makeFile(path("file"));
    EXPECT_EQ(ENOENT, errorOf([this] { return !!m_fileSystem.open(path("a").c_str(), O_RDONLY); }));
    EXPECT_EQ(ENOENT,
              errorOf([this] { return !!m_fileSystem.open(path("a").c_str(), O_RDONLY, 0644); }));
    EXPECT_EQ(ENOENT, errorOf([this] { return !!m_fileSystem.opendir(path("a").c_str()); }));
    EXPECT_EQ(ENOTDIR, errorOf([this] { return !!m_fileSystem.opendir(path("file").c_str()); }));
    EXPECT_EQ(ENAMETOOLONG, errorOf(
                                [this] {
                                    return !!m_fileSystem.open(
                                        (root() + std::string(PATH_MAX, 'x')).c_str(), O_RDONLY);
                                }));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, ANullPathIsNoAddress)
{
    EXPECT_EQ(EFAULT, errorOf([this] { return !!m_fileSystem.open(nullptr, O_RDONLY); }));
    EXPECT_EQ(EFAULT, errorOf([this] { return !!m_fileSystem.open(nullptr, O_RDONLY, 0644); }));
    EXPECT_EQ(EFAULT, errorOf([this] { return !!m_fileSystem.opendir(nullptr); }));
    EXPECT_EQ(EFAULT, errorOf([this] { return m_fileSystem.exists(nullptr); }));
}

TEST_F(DiskFiles, TheReasonOfAFailureSurvivesWhatIsLoggedAfterIt)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const CallbackAppender otherReason([](const std::string&) { errno = EXFULL; });
    makeFile(path("file"));
    const std::string strMissing = path("missing");
    const char* const szMissing = strMissing.c_str();
    EXPECT_EQ(ENOENT, errorOf([&] { return !!m_fileSystem.open(szMissing, O_RDONLY); }));
    EXPECT_EQ(ENOENT, errorOf([&] { return !!m_fileSystem.open(szMissing, O_RDONLY, 0644); }));
    EXPECT_EQ(ENOENT, errorOf([&] { return !!m_fileSystem.opendir(szMissing); }));
    EXPECT_EQ(ENOENT, errorOf([&] { return m_fileSystem.exists(szMissing); }));
    EXPECT_EQ(ENOTDIR,
              errorOf([&] { return m_fileSystem.setWorkingDirectory(path("file").c_str()); }));
    EXPECT_EQ(EINVAL, errorOf([&] { return !!m_fileSystem.open(szMissing, O_CREAT | O_WRONLY); }));
}

TEST_F(DiskFiles, SuccessLeavesTheReasonOfAFormerFailure)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const CallbackAppender otherReason([](const std::string&) { errno = EXFULL; });
    makeFile(path("file"));
    errno = EDOM;
    EXPECT_FALSE(m_fileSystem.open(path("file").c_str(), O_RDONLY).isNull());
    EXPECT_FALSE(m_fileSystem.opendir(root().c_str()).isNull());
    EXPECT_TRUE(m_fileSystem.exists(path("file").c_str()));
    EXPECT_TRUE(m_fileSystem.setWorkingDirectory(root().c_str()));
    EXPECT_EQ(EDOM, errno);
}

TEST_F(DiskFiles, AFileThatIsMadeNeedsAMode)
{
    EXPECT_EQ(
        EINVAL,
        errorOf([this] { return !!m_fileSystem.open(path("a").c_str(), O_CREAT | O_WRONLY); }));
    EXPECT_FALSE(fs::exists(path("a")));
    EXPECT_THAT(m_log.lines(), ElementsAre(errorLine(s_szLogger, s_szNoMode)));
}

TEST_F(DiskFiles, MakesAFileWithAMode)
{
    umask(027);
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_CREAT | O_WRONLY, 0777);
    ASSERT_FALSE(hFile.isNull());
    struct stat status = {};
    ASSERT_EQ(0, stat(path("a").c_str(), &status));
    EXPECT_EQ(0750U, status.st_mode & ALLPERMS);
}

TEST_F(DiskFiles, TheFlagsAreThoseOfTheCaller)
{
    makeFifo(path("fifo"));
    const FileHandle hFile = m_fileSystem.open(path("fifo").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_FALSE(hFile.isNull());
    const int iDescriptor = descriptorOf(path("fifo"));
    EXPECT_NE(0, fcntl(iDescriptor, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(0, fcntl(iDescriptor, F_GETFD) & FD_CLOEXEC);
}

TEST_F(DiskFiles, OpeningWaitsForTheOtherEndOfAFifo)
{
    makeFifo(path("fifo"));
    std::thread writer([this] { std::ofstream(path("fifo")) << "content"; });
    const FileHandle hFile = m_fileSystem.open(path("fifo").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ("content", rest(*hFile));
    writer.join();
}

TEST_F(DiskFiles, WithoutDescriptorsNothingIsOpened)
{
    makeFile(path("a"));
    const std::string strFile = path("a");
    const std::string strDirectory = root();
    EXPECT_TRUE(m_fileSystem.exists(strFile.c_str()));
    const std::size_t uiBefore = countDescriptors();
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        ASSERT_TRUE(limit.isSet());
        EXPECT_EQ(EMFILE, errorOf([&] { return !!m_fileSystem.open(strFile.c_str(), O_RDONLY); }));
        EXPECT_EQ(EMFILE, errorOf([&] { return !!m_fileSystem.opendir(strDirectory.c_str()); }));
        EXPECT_EQ(EMFILE, errorOf([&] { return m_fileSystem.exists(strFile.c_str()); }));
    }
    EXPECT_EQ(uiBefore, countDescriptors());
}

// Existence

TEST_F(DiskFiles, AFileAndADirectoryExist)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    EXPECT_TRUE(m_fileSystem.exists(path("a").c_str()));
    EXPECT_TRUE(m_fileSystem.exists(root().c_str()));
    EXPECT_EQ(ENOENT, errorOf([this] { return m_fileSystem.exists(path("b").c_str()); }));
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DiskFiles, AFileThatMayNotBeReadDoesNotExist)
{
    makeFile(path("secret"));
    fs::permissions(path("secret"), fs::perms(0200));
    fs::permissions(makeDirectory("hidden"), fs::perms(0700));
    const bool bDone = doAsNobody(
        [this]
        {
            EXPECT_EQ(EACCES,
                      errorOf([this] { return m_fileSystem.exists(path("secret").c_str()); }));
            EXPECT_EQ(EACCES,
                      errorOf([this] { return m_fileSystem.exists(path("hidden").c_str()); }));
        });
    if (!bDone)
        GTEST_SKIP() << s_szNoOtherUser;
}

TEST_F(DiskFiles, AFifoExistsAndIsNotWaitedFor)
{
    makeFifo(path("fifo"));
    EXPECT_TRUE(m_fileSystem.exists(path("fifo").c_str()));
}

TEST_F(DiskFiles, WhatCannotBeOpenedDoesNotExist)
{
    fs::create_symlink("nowhere", path("link"));
    const int iSocket = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(iSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    EXPECT_EQ(ENOENT, errorOf([this] { return m_fileSystem.exists(path("link").c_str()); }));
    EXPECT_EQ(ENXIO, errorOf([this] { return m_fileSystem.exists(path("socket").c_str()); }));
    close(iSocket);
}

// Files

TEST_F(DiskFiles, AFileIsReadWrittenAndPositioned)
{
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_CREAT | O_RDWR, 0644);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_TRUE(hFile->isFile());
    EXPECT_FALSE(hFile->isDirectory());
    EXPECT_EQ(7, hFile->write("content", 7));
    EXPECT_EQ(3, hFile->lseek(3, SEEK_SET));
    EXPECT_EQ("tent", rest(*hFile));
    EXPECT_EQ(7, hFile->lseek(0, SEEK_CUR));
    EXPECT_EQ(6, hFile->lseek(-1, SEEK_END));
    EXPECT_EQ("content", m_directory.read("a"));
}

TEST_F(DiskFiles, WhatTheSystemRefusesIsMinusOne)
{
    makeFile(path("a"));
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->write("x", 1) != -1; }));
    EXPECT_EQ(EINVAL, errorOf([&] { return hFile->lseek(-1, SEEK_SET) != -1; }));
    EXPECT_EQ(EINVAL, errorOf([&] { return hFile->lseek(0, 99) != -1; }));
    const FileHandle hFull = m_fileSystem.open("/dev/full", O_WRONLY);
    ASSERT_FALSE(hFull.isNull());
    EXPECT_EQ(ENOSPC, errorOf([&] { return hFull->write("x", 1) != -1; }));
}

TEST_F(DiskFiles, AClosedFileHasNothingToRead)
{
    makeFile(path("a"), "content");
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDWR);
    ASSERT_FALSE(hFile.isNull());
    ASSERT_EQ(0, hFile->close());
    char cRead = 0;
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->read(&cRead, 1) != -1; }));
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->write("x", 1) != -1; }));
    EXPECT_EQ(EBADF, errorOf([&] { return hFile->lseek(0, SEEK_SET) != -1; }));
}

TEST_F(DiskFiles, AFileIsClosedOnce)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(uiBefore + 1, countDescriptors());
    EXPECT_EQ(0, hFile->close());
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_EQ(-1, hFile->close());
}

TEST_F(DiskFiles, AFileThatIsNotClosedWellIsClosed)
{
    makeFile(path("a"));
    const bool bDone = doWhileCallsFail(
        {{SYS_close, EIO}},
        [this]
        {
            const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
            ASSERT_FALSE(hFile.isNull());
            EXPECT_EQ(EIO, errorOf([&] { return hFile->close() != -1; }));
            char cRead = 0;
            EXPECT_EQ(EBADF, errorOf([&] { return hFile->read(&cRead, 1) != -1; }));
        });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
}

TEST_F(DiskFiles, TheLastHandleClosesTheFile)
{
    makeFile(path("a"));
    const std::size_t uiBefore = countDescriptors();
    {
        FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
        const EntryHandle hSame = hFile;
        hFile = nullptr;
        EXPECT_EQ(uiBefore + 1, countDescriptors());
    }
    EXPECT_EQ(uiBefore, countDescriptors());
}

TEST_F(DiskFiles, AFileIsOpenedAgainUnderAnotherPath)
{
    makeFile(path("a"), "first");
    makeFile(path("b"), "second");
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    ASSERT_EQ(0, hFile->close());
    EXPECT_EQ(0, hFile->open(path("b").c_str(), O_RDONLY));
    EXPECT_EQ(path("b"), hFile->getPath());
    EXPECT_EQ("second", rest(*hFile));
}

TEST_F(DiskFiles, OpeningAFileAgainDoesNotCloseIt)
{
    makeFile(path("a"));
    makeFile(path("b"), "second");
    const std::size_t uiBefore = countDescriptors();
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    const int iFirst = descriptorOf(path("a"));
    EXPECT_EQ(0, hFile->open(path("b").c_str(), O_RDONLY, 0));
    EXPECT_EQ(uiBefore + 2, countDescriptors());
    EXPECT_EQ("second", rest(*hFile));
    EXPECT_EQ(0, hFile->close());
    EXPECT_EQ(iFirst, descriptorOf(path("a")));
    close(iFirst);
}

TEST_F(DiskFiles, AFileThatCannotBeOpenedAgainIsAsItWas)
{
    makeFile(path("a"), "content");
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    EXPECT_EQ(ENOENT, errorOf([&] { return hFile->open(path("b").c_str(), O_RDONLY) != -1; }));
    EXPECT_EQ(EINVAL, errorOf([&] { return hFile->open(path("b").c_str(), O_CREAT) != -1; }));
    EXPECT_EQ(path("a"), hFile->getPath());
    EXPECT_EQ("content", rest(*hFile));
}

TEST_F(DiskFiles, AFileThatIsCutWhileItIsReadEndsThere)
{
    makeFile(path("a"), std::string(100, 'x'));
    const FileHandle hFile = m_fileSystem.open(path("a").c_str(), O_RDONLY);
    ASSERT_FALSE(hFile.isNull());
    std::array<char, 60> buffer{};
    EXPECT_EQ(60, hFile->read(buffer.data(), buffer.size()));
    fs::resize_file(path("a"), 80);
    EXPECT_EQ(20, hFile->read(buffer.data(), buffer.size()));
    fs::resize_file(path("a"), 10);
    EXPECT_EQ(0, hFile->read(buffer.data(), buffer.size()));
}

TEST_F(DiskFiles, ADiskThatCannotBeReadIsAFailedRead)
{
    makeFile(path("a"), "content");
    const std::size_t uiBefore = countDescriptors();
    const bool bDone =
        doWhileCallsFail({{SYS_read, EIO}},
                         [this]
                         {
                             const FileHandle hFile =
                                 m_fileSystem.open(path("a").c_str(), O_RDONLY);
                             ASSERT_FALSE(hFile.isNull());
                             char cRead = 0;
                             EXPECT_EQ(EIO, errorOf([&] { return hFile->read(&cRead, 1) != -1; }));
                         });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

// Directories

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

// The end of a file system

TEST(DiskFileSystem, EndsInSilenceWithoutEntries)
{
    const CapturedLog log;
    {
        DiskFileSystem fileSystem;
        EXPECT_FALSE(fileSystem.opendir("/").isNull());
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DiskFileSystem, AnEntryThatIsLeftFailsAnAssertion)
{
    const CapturedLog log;
    auto pFileSystem = std::make_unique<DiskFileSystem>();
    const DirectoryHandle hDirectory = pFileSystem->opendir("/");
    const EntryHandle hSame = hDirectory;
    pFileSystem.reset();
    EXPECT_THAT(failedAssertions(log), ElementsAre(failedAssertion("m_uiNbOfEntriesOpen == 0",
                                                                   "DiskFileSystem", s_szLogger)));
}

TEST(DiskFileSystem, AnEntryThatIsLeftDoesNotTouchIt)
{
    const CapturedLog log;
    const TemporaryDirectory directory;
    makeFile(directory.file("a"), "content");
    const std::size_t uiBefore = countDescriptors();
    {
        auto pFileSystem = std::make_unique<DiskFileSystem>();
        const FileHandle hFile = pFileSystem->open(directory.file("a").c_str(), O_RDONLY);
        const DirectoryHandle hDirectory = pFileSystem->opendir(directory.path().c_str());
        ASSERT_FALSE(hFile.isNull());
        ASSERT_FALSE(hDirectory.isNull());
        pFileSystem.reset();
        EXPECT_EQ(directory.file("a"), hFile->getPath());
        EXPECT_EQ("content", rest(*hFile));
        EXPECT_EQ(ENODEV, errorOf([&] { return hFile->open("/dev/null", O_RDONLY) != -1; }));
        EXPECT_EQ(ENODEV, errorOf([&] { return !!hDirectory->read(); }));
        EXPECT_EQ(ENODEV, errorOf([&] { return hDirectory->open("/") != -1; }));
        EXPECT_EQ(0, hFile->close());
    }
    EXPECT_EQ(uiBefore, countDescriptors());
}

// Threads

TEST(DiskFileSystem, ThreadsShareOneByAbsolutePaths)
{
    constexpr int iThreads = 4;
    constexpr int iTurns = 200;
    const CapturedLog log;
    const TemporaryDirectory directory;
    makeFile(directory.file("a"), "content");
    const std::size_t uiBefore = countDescriptors();
    {
        const TSHandle<VirtualFileSystem> hFileSystem(new DiskFileSystem);
        std::vector<std::thread> threads;
        for (int iThread = 0; iThread < iThreads; ++iThread)
            threads.emplace_back(
                [hFileSystem, &directory]
                {
                    const std::string strFile = directory.file("a");
                    const std::string strDirectory = directory.path();
                    for (int iTurn = 0; iTurn < iTurns; ++iTurn)
                    {
                        EXPECT_EQ("content", rest(*hFileSystem->open(strFile.c_str(), O_RDONLY)));
                        EXPECT_THAT(pathsOf(*hFileSystem->opendir(strDirectory.c_str())),
                                    ElementsAre(strFile));
                        EXPECT_TRUE(hFileSystem->exists(strFile.c_str()));
                    }
                });
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(uiBefore, countDescriptors());
}

// The log

TEST(DiskFileSystem, TracesWhatItDoes)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    const TemporaryDirectory directory;
    makeFile(directory.file("a"));
    {
        DiskFileSystem fileSystem;
        EXPECT_TRUE(fileSystem.setWorkingDirectory(directory.path().c_str()));
        EXPECT_TRUE(fileSystem.exists("a"));
        EXPECT_FALSE(fileSystem.open("a", O_RDONLY, 0).isNull());
    }
    Texts texts;
    for (const LogLine& line : log.linesOf(s_szLogger))
    {
        EXPECT_EQ(TRACE_LOG_LEVEL, line.level);
        texts.push_back(line.strText);
    }
    EXPECT_THAT(texts,
                ElementsAre("entering DiskFileSystem ctor", "exiting DiskFileSystem ctor",
                            "entering DiskFileSystem::setWorkingDirectory",
                            "entering DiskFileSystem::opendir", "exiting DiskFileSystem::opendir",
                            "exiting DiskFileSystem::setWorkingDirectory",
                            "entering DiskFileSystem::exists", "entering DiskFileSystem::opendir",
                            "exiting DiskFileSystem::opendir", "entering DiskFileSystem::open",
                            "exiting DiskFileSystem::open", "exiting DiskFileSystem::exists",
                            "entering DiskFileSystem::open", "exiting DiskFileSystem::open",
                            "entering DiskFileSystem dtor", "exiting DiskFileSystem dtor"));
}

// Memory

namespace
{

class BareEntry : public DiskFileSystem::Entry
{
  public:
    explicit BareEntry(const DiskFileSystem& in_fileSystem) : Entry(in_fileSystem) {}
    ~BareEntry() override = default;
    [[nodiscard]] bool isFile() const override { return false; }
    [[nodiscard]] bool isDirectory() const override { return false; }
};

} // namespace

TEST(DiskFileSystem, ItsObjectsHaveAccountsWhoseNamesAreInQuotes)
{
    inAccountingProcess(
        []
        {
            const TSHandle<VirtualFileSystem> hFileSystem(new DiskFileSystem);
            EXPECT_EQ(int{sizeof(DiskFileSystem)}, bytesHeld("DiskFileSystem"));
            const auto& fileSystem = dynamic_cast<const DiskFileSystem&>(*hFileSystem);
            {
                const FileHandle hFile = hFileSystem->open("/dev/null", O_RDONLY);
                const DirectoryHandle hDirectory = hFileSystem->opendir("/");
                const EntryHandle hEntry(new BareEntry(fileSystem));
                EXPECT_EQ(int{sizeof(DiskFileSystem::File)}, bytesHeld("\"DiskFileSystem::File\""));
                EXPECT_EQ(int{sizeof(DiskFileSystem::Directory)},
                          bytesHeld("\"DiskFileSystem::Directory\""));
                EXPECT_EQ(int{sizeof(BareEntry)}, bytesHeld("\"DiskFileSystem::Entry\""));
                EXPECT_EQ(int{4 * sizeof(TSReferenceCount)}, bytesHeld("TSReferenceCount"));
            }
            EXPECT_EQ(0, bytesHeld("\"DiskFileSystem::File\""));
            EXPECT_EQ(0, bytesHeld("\"DiskFileSystem::Directory\""));
            EXPECT_EQ(0, bytesHeld("\"DiskFileSystem::Entry\""));
            EXPECT_EQ(int{sizeof(TSReferenceCount)}, bytesHeld("TSReferenceCount"));
        });
}
