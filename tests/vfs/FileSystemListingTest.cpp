// SPDX-License-Identifier: BSD-2-Clause

// Starts a program that lists the disk through the file system interface, with each command line
// that makes a difference, and compares its whole output.

#include "tests/support/HelperProcess.h"
#include "tests/support/Listing.h"
#include "tests/support/NumberedText.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora::Test;

namespace
{

constexpr int s_iNotInitialized = 1;
constexpr int s_iFailed = 2;

const std::string s_strUsage =
    "INFO - Usage : vfs-lists-disk [options] [fs parameters]\n"
    "Allowed options:\n"
    "  -h [ --help ]         produce help message\n"
    "  --global-config arg   adds parameters in file arg to the global app \n"
    "                        configuration\n"
    "  --get-param-info arg  to get information on a parameter. arg can be a regexp\n"
    "  --setcwd arg          sets the current working directory. Useful to resolve \n"
    "                        relative paths\n"
    "  --putenv arg          sets process environment variables. Argument syntax is \n"
    "                        VARNAME=VALUE\n"
    "  --build-info          output the build info\n"
    "  --functional-test     only test read operations from file system (default)\n"
    "  --full-test           test read operation in multi-users/multi-threads \n"
    "                        conditions\n"
    "  --print-file-content  print file content of file listed\n";

class FileSystemListing : public testing::Test
{
  protected:
    [[nodiscard]] std::string root() const { return m_directory.path(); }
    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    void makeFile(const std::string& in_strName, const std::string& in_strContent) const
    {
        m_directory.write(in_strName, in_strContent);
    }

    /// Expects the program to end with this exit code and output, and with nothing on standard
    /// error.
    static void expectOutput(const std::vector<std::string>& in_arguments, int in_iExitCode,
                             const std::string& in_strOutput)
    {
        const HelperResult result = runHelper(VELMORA_HELPER_VFS_LISTS_DISK, in_arguments);
        EXPECT_EQ(in_iExitCode, result.iExitCode);
        EXPECT_EQ(in_strOutput, result.strOutput);
        EXPECT_EQ("", result.strErrors);
    }

  private:
    TemporaryDirectory m_directory;
};

/// Returns the log line of a listing. A listing is one line of the log, with a line end after its
/// own last line.
std::string logged(const std::string& in_strListing) { return "INFO - " + in_strListing + "\n"; }

} // namespace

TEST_F(FileSystemListing, ShowsAllThatIsBelowADirectory)
{
    fs::create_directories(path("a/b/c"));
    fs::create_directories(path("d"));
    for (const char* const szName : {"1", "a/2", "a/b/3", "a/b/c/4", "d/5", "d/6"})
        makeFile(szName, "content");
    expectOutput({root()}, 0, logged(listingOf(root())));
}

TEST_F(FileSystemListing, GoesTwoBlanksInForEachLevel)
{
    fs::create_directories(path("a/b"));
    makeFile("a/b/c", "");
    expectOutput({root()}, 0,
                 "INFO - + Directory " + root() + "\n  + Directory " + path("a") +
                     "\n    + Directory " + path("a/b") + "\n      + File " + path("a/b/c") +
                     "\n\n");
}

TEST_F(FileSystemListing, OfAnEmptyDirectoryIsItsOwnLine)
{
    expectOutput({root()}, 0, "INFO - + Directory " + root() + "\n\n");
}

TEST_F(FileSystemListing, OfAPathThatIsNotThereIsAnErrorAndEmpty)
{
    expectOutput({path("missing")}, s_iFailed,
                 "ERROR - Path " + path("missing") +
                     " does not exist or you do not have the required permissions to read it\n"
                     "INFO - \n");
}

TEST_F(FileSystemListing, BeginsWithADirectory)
{
    makeFile("file", "");
    expectOutput({path("file")}, s_iFailed,
                 "ERROR - Path " + path("file") +
                     " does not exist or you do not have the required permissions to read it\n"
                     "INFO - \n");
}

TEST_F(FileSystemListing, ShowsPathsAsTheFileSystemGivesThem)
{
    fs::create_directories(path("a"));
    makeFile("a/b", "");
    expectOutput({"a", root()}, 0, "INFO - + Directory a\n  + File a/b\n\n");
}

TEST_F(FileSystemListing, ShowsContentsWhenAskedTo)
{
    makeFile("a", "two\nlines\n");
    expectOutput({"--print-file-content", root()}, 0,
                 "INFO - + Directory " + root() + "\n  + File " + path("a") +
                     "\n  Content: \"two\nlines\n [...]\"\n\n");
}

TEST_F(FileSystemListing, ShowsHundredBytesOfALongFile)
{
    makeFile("a", numberedText(101));
    expectOutput({root(), "--print-file-content"}, 0,
                 "INFO - + Directory " + root() + "\n  + File " + path("a") + "\n  Content: \"" +
                     numberedText(100) + " [...]\"\n\n");
}

TEST_F(FileSystemListing, ShowsThatAFileIsEmpty)
{
    makeFile("a", "");
    expectOutput({root(), "--print-file-content"}, 0,
                 "INFO - + Directory " + root() + "\n  + File " + path("a") +
                     "\n  Content: \" [...]\"\n\n");
}

TEST_F(FileSystemListing, ShowsBytesAsTheyAre)
{
    const std::string strBytes("\0\x01\xFF\"", 4);
    makeFile("a", strBytes);
    expectOutput({root(), "--print-file-content"}, 0,
                 "INFO - + Directory " + root() + "\n  + File " + path("a") + "\n  Content: \"" +
                     strBytes + " [...]\"\n\n");
}

TEST_F(FileSystemListing, OfTheFunctionalTestIsTheSame)
{
    expectOutput({"--functional-test", root()}, 0, "INFO - + Directory " + root() + "\n\n");
}

TEST_F(FileSystemListing, ComesBeforeTheTestWithThreads)
{
    expectOutput({"--full-test", root()}, 0, "INFO - + Directory " + root() + "\n\nthreads\n");
}

TEST_F(FileSystemListing, FailsWhenTheTestWithThreadsFails)
{
    expectOutput({"--full-test", root(), root(), "fail"}, s_iFailed,
                 "INFO - + Directory " + root() + "\n\nthreads\n");
}

TEST_F(FileSystemListing, FailsWhenOnlyTheTestWithThreadsDoesNot)
{
    expectOutput({"--full-test", path("missing")}, s_iFailed,
                 "ERROR - Path " + path("missing") +
                     " does not exist or you do not have the required permissions to read it\n"
                     "INFO - \nthreads\n");
}

TEST_F(FileSystemListing, IsRefusedWithBothTests)
{
    expectOutput({"--functional-test", "--full-test", root()}, s_iNotInitialized,
                 "ERROR - You cannot use both --functional-test and --full-test options\n" +
                     s_strUsage +
                     "\nActual command line : " + std::string(VELMORA_HELPER_VFS_LISTS_DISK) +
                     " --functional-test --full-test " + root() + "\n");
}

TEST_F(FileSystemListing, IsRefusedWithAnUnknownOption)
{
    expectOutput({"--no-such-option"}, s_iNotInitialized,
                 "ERROR - unrecognised option '--no-such-option'\n" + s_strUsage +
                     "\nActual command line : " + std::string(VELMORA_HELPER_VFS_LISTS_DISK) +
                     " --no-such-option\n");
}
