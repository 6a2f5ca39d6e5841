// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VirtualFileSystemTestApplication.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Listing.h"
#include "tests/support/Surroundings.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/system/test/SyscallFilter.h"
#include "velmora/vfs/DiskFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace
{

constexpr const char* s_szLogger = "keswardin.test.Program";
constexpr const char* s_szDiskLogger = "keswardin.infra.DiskFileSystem";

static_assert(std::is_base_of_v<Application, VirtualFileSystemTestApplication>);
static_assert(std::is_base_of_v<ApplicationImpl, VirtualFileSystemTestApplication>);

/// A program that leaves the log to the test's capture, and makes public what derived classes may
/// use.
class Program : public VirtualFileSystemTestApplication
{
  public:
    Program() : VirtualFileSystemTestApplication(Logger(s_szLogger), "not used") {}
    explicit Program(const char* in_szName) : VirtualFileSystemTestApplication(in_szName) {}

    using VirtualFileSystemTestApplication::getFsParameters;
    using VirtualFileSystemTestApplication::setFileSystem;

    /// Sets the disk as the file system, and a start path.
    void useDisk(const std::string& in_strPath)
    {
        setFileSystem(TSHandle<VirtualFileSystem>(new DiskFileSystem), in_strPath);
    }

    /// Initialises the program with these arguments after the program's path.
    bool start(std::initializer_list<const char*> in_arguments)
    {
        m_texts.assign(in_arguments.begin(), in_arguments.end());
        m_texts.insert(m_texts.begin(), "/opt/bin/lister");
        m_argv.clear();
        for (std::string& strText : m_texts)
            m_argv.push_back(strText.data());
        const int iArguments = static_cast<int>(m_argv.size());
        m_argv.push_back(nullptr);
        return initialize(iArguments, m_argv.data());
    }

  protected:
    bool configureLoggerDefault() override { return true; }

  private:
    std::vector<std::string> m_texts;
    std::vector<char*> m_argv;
};

/// A disk that refuses to open a file by its path.
class DiskWithoutFiles : public DiskFileSystem
{
  public:
    using DiskFileSystem::open;
    FileHandle open(const char*, int) override { return nullptr; }
};

/// A file that reports more bytes read than it was asked for.
class BoastfulFile : public DiskFileSystem::File
{
  public:
    explicit BoastfulFile(const DiskFileSystem& in_disk) : Entry(in_disk), File(in_disk) {}
    long read(void*, unsigned long in_uiCount) override
    {
        return static_cast<long>(in_uiCount) + 1;
    }
};

class DiskOfBoastfulFiles : public DiskFileSystem
{
  public:
    using DiskFileSystem::open;
    FileHandle open(const char*, int) override { return FileHandle(new BoastfulFile(*this)); }
};

LogLine missing(const std::string& in_strPath)
{
    return errorLine(s_szLogger,
                     "Path " + in_strPath +
                         " does not exist or you do not have the required permissions to read it");
}

/// Makes nested directories of the same name, deeper than a path can name if required. Returns the
/// first one's path.
std::string makeDeepDirectory(const std::string& in_strParent, const std::string& in_strName,
                              int in_iDepth)
{
    int iDirectory = open(in_strParent.c_str(), O_DIRECTORY);
    for (int iLevel = 0; iLevel < in_iDepth; ++iLevel)
    {
        EXPECT_EQ(0, mkdirat(iDirectory, in_strName.c_str(), 0755));
        const int iBelow = openat(iDirectory, in_strName.c_str(), O_DIRECTORY);
        close(iDirectory);
        iDirectory = iBelow;
    }
    EXPECT_EQ(0, close(iDirectory));
    return in_strParent + "/" + in_strName;
}

class ListingProgram : public testing::Test
{
  protected:
    [[nodiscard]] std::string root() const { return m_directory.path(); }
    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    void makeFile(const std::string& in_strName, const std::string& in_strContent = "") const
    {
        std::ofstream(path(in_strName)) << in_strContent;
    }

    /// Returns the listing of a file system. Expects this result.
    std::string list(bool in_bResult, VirtualFileSystem& inout_fileSystem,
                     const std::string& in_strPath)
    {
        std::ostringstream listing;
        EXPECT_EQ(in_bResult, m_program.runTest(inout_fileSystem, in_strPath.c_str(), listing));
        return listing.str();
    }

    CapturedLog m_log;
    TemporaryDirectory m_directory;
    Program m_program;
    DiskFileSystem m_disk;
};

} // namespace

// The command line

TEST_F(ListingProgram, LogsThroughItsLogger)
{
    EXPECT_EQ(s_szLogger, m_program.getAppLogger().getName());
}

TEST(VirtualFileSystemTestApplication, LogsAsAnyApplicationWithoutALogger)
{
    EXPECT_EQ("keswardin.infra.Application", Program("lister").getAppLogger().getName());
}

TEST_F(ListingProgram, TakesWhatHasNoOptionAsParametersOfTheFileSystem)
{
    ASSERT_TRUE(m_program.start({"one", "--functional-test", "two", "three"}));
    EXPECT_THAT(m_program.getFsParameters(), ElementsAre("one", "two", "three"));
    ASSERT_TRUE(m_program.start({"--fs-parameters", "four"}));
    EXPECT_THAT(m_program.getFsParameters(), ElementsAre("four"));
    ASSERT_TRUE(m_program.start({}));
    EXPECT_THAT(m_program.getFsParameters(), IsEmpty());
}

TEST_F(ListingProgram, RefusesBothTests)
{
    EXPECT_FALSE(m_program.start({"one", "--full-test", "--functional-test"}));
    EXPECT_EQ(
        errorLine(s_szLogger, "You cannot use both --functional-test and --full-test options"),
        m_log.linesOf(s_szLogger).front());
    EXPECT_TRUE(m_program.start({"--full-test"}));
}

TEST_F(ListingProgram, DoesWhatAnyApplicationDoesWithTheCommandLine)
{
    EXPECT_FALSE(m_program.start({"--setcwd", "/no/such/directory"}));
}

// Running

TEST_F(ListingProgram, LogsTheListingAsOneLine)
{
    fs::create_directories(path("a/b"));
    makeFile("a/file");
    m_program.useDisk(root());
    EXPECT_FALSE(m_program.getResult());
    m_program.run();
    EXPECT_TRUE(m_program.getResult());
    EXPECT_THAT(m_log.lines(), ElementsAre(infoLine(s_szLogger, listingOf(root()))));
}

TEST_F(ListingProgram, LogsFromInfoOnOnceItRuns)
{
    m_program.useDisk(root());
    m_program.getLogger().setLogLevel(ERROR_LOG_LEVEL);
    EXPECT_TRUE(m_program.runSingleUserTest());
    EXPECT_THAT(m_log.lines(), IsEmpty());
    m_program.run();
    EXPECT_EQ(INFO_LOG_LEVEL, m_program.getLogger().getLogLevel());
    EXPECT_THAT(m_log.lines(), ElementsAre(infoLine(s_szLogger, listingOf(root()))));
}

TEST_F(ListingProgram, ListsAnewEachTime)
{
    m_program.useDisk(root());
    m_program.run();
    makeFile("a");
    m_log.clear();
    m_program.run();
    EXPECT_THAT(m_log.lines(), ElementsAre(infoLine(s_szLogger, listingOf(root()))));
}

TEST_F(ListingProgram, FailsOnAMissingPathAndLogsAnEmptyListing)
{
    m_program.useDisk(path("missing"));
    m_program.run();
    EXPECT_FALSE(m_program.getResult());
    EXPECT_THAT(m_log.lines(), ElementsAre(missing(path("missing")), infoLine(s_szLogger, "")));
}

TEST_F(ListingProgram, HasATestWithThreadsThatDoesNothing)
{
    EXPECT_TRUE(m_program.runMultiThreadsTest());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ListingProgram, AssertsThatItHasAFileSystem)
{
    m_program.run();
    EXPECT_FALSE(m_program.getResult());
    EXPECT_THAT(failedAssertions(m_log),
                ElementsAre(failedAssertion("!m_hFileSystem.isNull()",
                                            "VirtualFileSystemTestApplication", s_szLogger)));
}

// Listings

TEST_F(ListingProgram, WritesTheListingToAnyStream)
{
    fs::create_directories(path("a/b"));
    EXPECT_EQ(listingOf(root()), list(true, m_disk, root()));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ListingProgram, TakesANullPathForAnEmptyOne)
{
    std::ostringstream listing;
    EXPECT_FALSE(m_program.runTest(m_disk, nullptr, listing));
    EXPECT_EQ("", listing.str());
    EXPECT_THAT(m_log.lines(), ElementsAre(missing("")));
}

TEST_F(ListingProgram, EndsADirectoryAtAnEntryThatCannotBeOpened)
{
    fs::create_symlink("nowhere", path("link"));
    EXPECT_EQ("+ Directory " + root() + "\n", list(true, m_disk, root()));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szDiskLogger, "Current entry " + path("link") +
                                                          " is neither a file nor a directory. "
                                                          "NOT SUPPORTED YET")));
}

TEST_F(ListingProgram, GoesOnAfterAFileThatCannotBeOpened)
{
    fs::create_directory(path("a"));
    fs::create_directory(path("b"));
    makeFile("a/1");
    makeFile("b/2");
    ASSERT_TRUE(m_program.start({"--print-file-content"}));
    m_log.clear();
    DiskWithoutFiles disk;
    EXPECT_EQ(listingOf(root()), list(false, disk, root()));
    EXPECT_THAT(m_log.lines(),
                testing::UnorderedElementsAre(
                    errorLine(s_szLogger, "Could not open file " + path("a/1") + " for reading"),
                    errorLine(s_szLogger, "Could not open file " + path("b/2") + " for reading")));
}

TEST_F(ListingProgram, FailsOnAFileThatCannotBeRead)
{
    makeFile("a");
    ASSERT_TRUE(m_program.start({"--print-file-content"}));
    m_log.clear();
    const std::size_t uiBefore = countDescriptors();
    const bool bDone = doWhileCallsFail(
        {{SYS_read, EIO}}, [this] { EXPECT_EQ(listingOf(root()), list(false, m_disk, root())); });
    if (!bDone)
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_EQ(uiBefore, countDescriptors());
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szLogger, "Failed to read file " + path("a"))));
}

TEST_F(ListingProgram, FailsOnAFileThatReadsMoreThanItWasAskedFor)
{
    makeFile("a");
    ASSERT_TRUE(m_program.start({"--print-file-content"}));
    m_log.clear();
    DiskOfBoastfulFiles disk;
    EXPECT_EQ(listingOf(root()), list(false, disk, root()));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szLogger, "Failed to read file " + path("a"))));
}

TEST_F(ListingProgram, TakesOneDescriptorForEachLevel)
{
    constexpr int iDepth = 200;
    const std::string strTop = makeDeepDirectory(root(), "d", iDepth);
    const std::string strExpected = listingOf(strTop);
    const auto uiUsed = static_cast<rlim_t>(countDescriptors());
    const DescriptorLimit limit(uiUsed + iDepth);
    ASSERT_TRUE(limit.isSet());
    EXPECT_EQ(strExpected, list(true, m_disk, strTop));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ListingProgram, EndsWhereAPathBecomesTooLong)
{
    const std::string strName(NAME_MAX, 'd');
    const std::string strTop = makeDeepDirectory(root(), strName, PATH_MAX / NAME_MAX);
    std::string strLast = strTop;
    while (strLast.size() + 1 + strName.size() < PATH_MAX)
        strLast += "/" + strName;
    EXPECT_THAT(list(true, m_disk, strTop), EndsWith("+ Directory " + strLast + "\n"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szDiskLogger, "Current entry " + strLast + "/" + strName +
                                                          " is neither a file nor a directory. "
                                                          "NOT SUPPORTED YET")));
}

TEST_F(ListingProgram, EndsALinkThatLeadsToItsOwnParent)
{
    constexpr int iMostLinks = 40;
    fs::create_directory_symlink(".", path("up"));
    std::string strExpected;
    std::string strPath = fs::canonical(root());
    const std::string strTop = strPath;
    for (int iLinks = 0; iLinks <= iMostLinks; ++iLinks, strPath += "/up")
        strExpected += std::string(2 * static_cast<std::size_t>(iLinks), ' ') + "+ Directory " +
                       strPath + "\n";
    EXPECT_EQ(strExpected, list(true, m_disk, strTop));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(errorLine(s_szDiskLogger, "Current entry " + strPath +
                                                          " is neither a file nor a directory. "
                                                          "NOT SUPPORTED YET")));
}
