// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DiskFileSystem.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/CallbackAppender.h"
#include "tests/support/CapturedAssertions.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Surroundings.h"
#include "velmora/vfs/test/DiskFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<DiskFileSystem>);
static_assert(!std::is_copy_constructible_v<DiskFileSystem::File>);
static_assert(!std::is_copy_constructible_v<DiskFileSystem::Directory>);

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
