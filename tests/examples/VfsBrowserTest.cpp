// SPDX-License-Identifier: BSD-2-Clause

// Tests the example that lists directories and archives: as a program on archives that system tools
// have made, and in this process on file systems that change while they are read.

#include "ArchiveMaker.h"
#include "examples/vfs-browser/ArchiveFileSystem.h"
#include "examples/vfs-browser/Browser.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/Sanitizers.h"
#include "velmora/vfs/DiskFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

constexpr int s_iFailed = 2;
constexpr const char* s_szLogger = "keswardin.vfs-browser";
constexpr bool s_bSanitized = VELMORA_ADDRESS_SANITIZER != 0 || VELMORA_THREAD_SANITIZER != 0;
constexpr std::size_t s_uiMiB = 1024 * 1024;

class VfsBrowser : public testing::Test
{
  protected:
    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    /// Writes a file and creates its parents.
    void makeFile(const std::string& in_strName, const std::string& in_strContent) const
    {
        fs::create_directories(fs::path(path(in_strName)).parent_path());
        std::ofstream(path(in_strName)) << in_strContent;
    }

    /// Writes an archive and returns its path.
    [[nodiscard]] std::string made(ArchiveMaker& inout_maker,
                                   const std::string& in_strName = "a.tar") const
    {
        makeFile(in_strName, inout_maker.bytes());
        return path(in_strName);
    }

    /// Runs a system tool, which must succeed.
    static void tool(const std::string& in_strProgram, const std::vector<std::string>& in_arguments)
    {
        const HelperResult result = runHelper(in_strProgram, in_arguments);
        EXPECT_EQ(0, result.iExitCode) << in_strProgram << ": " << result.strErrors;
    }

    /// Builds a package of a few files and returns its path.
    std::string makePackage() const
    {
        makeFile("hello/DEBIAN/control",
                 "Package: hello\nVersion: 1\nArchitecture: all\nMaintainer: A <a@b.c>\n"
                 "Description: says hello\n");
        makeFile("hello/usr/bin/hello", "#!/bin/sh\necho hello\n");
        makeFile("hello/usr/share/doc/hello/README", "It says hello.\n");
        fs::create_symlink("hello", path("hello/usr/bin/hi"));
        fs::create_symlink("../share/doc/hello", path("hello/usr/bin/doc"));
        fs::create_symlink("missing", path("hello/usr/bin/nowhere"));
        tool("/usr/bin/dpkg-deb", {"--root-owner-group", "-b", path("hello"), path("hello.deb")});
        return path("hello.deb");
    }

    static HelperResult run(const std::vector<std::string>& in_arguments)
    {
        return runHelper(VELMORA_HELPER_VFS_BROWSER, in_arguments);
    }

    static void expectOutput(const std::vector<std::string>& in_arguments, int in_iExitCode,
                             const std::string& in_strOutput)
    {
        const HelperResult result = run(in_arguments);
        EXPECT_EQ(in_iExitCode, result.iExitCode);
        EXPECT_EQ(in_strOutput, result.strOutput);
        EXPECT_EQ("", result.strErrors);
    }

    const TemporaryDirectory m_directory;
};

const std::string s_strListingOfPackage = "INFO - + Directory /\n"
                                          "  + Directory /usr\n"
                                          "    + Directory /usr/bin\n"
                                          "      + Directory /usr/bin/doc\n"
                                          "        + File /usr/bin/doc/README\n"
                                          "      + File /usr/bin/hello\n"
                                          "      + File /usr/bin/hi\n"
                                          "    + Directory /usr/share\n"
                                          "      + Directory /usr/share/doc\n"
                                          "        + Directory /usr/share/doc/hello\n"
                                          "          + File /usr/share/doc/hello/README\n\n";

/// Returns a line for each file and directory, with its path relative to the start, its type, size,
/// checksum and error.
std::vector<std::string> walked(VirtualFileSystem& inout_fileSystem, const std::string& in_strStart)
{
    std::vector<std::string> lines;
    FileSystemWalk(inout_fileSystem, FileSystemWalk::Contents::READ)
        .run(in_strStart,
             [&](const FileSystemWalk::Seen& in_seen)
             {
                 lines.push_back(
                     in_seen.strPath.substr(std::min(in_strStart.size(), in_seen.strPath.size())) +
                     (in_seen.bDirectory ? " directory " : " file ") +
                     std::to_string(in_seen.uiSize) + ' ' + std::to_string(in_seen.uiChecksum) +
                     ' ' + std::to_string(in_seen.iError));
                 return true;
             });
    std::sort(lines.begin(), lines.end());
    return lines;
}

} // namespace

TEST_F(VfsBrowser, ListsAPackage) { expectOutput({makePackage()}, 0, s_strListingOfPackage); }

TEST_F(VfsBrowser, ListsTheDataOfAPackage)
{
    const std::string strPackage = makePackage();
    tool("/bin/sh",
         {"-c", "dpkg-deb --fsys-tarfile \"$0\" > \"$1\"", strPackage, path("data.tar")});
    expectOutput({path("data.tar")}, 0, s_strListingOfPackage);
}

TEST_F(VfsBrowser, ListsWhatTarHasCompressed)
{
    makePackage();
    for (const char* const szOption : {"--gzip", "--bzip2", "--xz", "--zstd"})
    {
        tool("/usr/bin/tar", {"-C", path("hello"), szOption, "-cf", path("a.tar"), "usr"});
        expectOutput({path("a.tar")}, 0, s_strListingOfPackage);
    }
}

TEST_F(VfsBrowser, ListsADirectory)
{
    makeFile("d/e/file", "content");
    const std::string strRoot = path("d");
    expectOutput({strRoot}, 0,
                 "INFO - + Directory " + strRoot + "\n  + Directory " + strRoot +
                     "/e\n    + File " + strRoot + "/e/file\n\n");
    expectOutput({strRoot, "e"}, 0,
                 "INFO - + Directory " + strRoot + "/e\n  + File " + strRoot + "/e/file\n\n");
    expectOutput({"--setcwd", m_directory.path(), "d", "e"}, 0,
                 "INFO - + Directory " + strRoot + "/e\n  + File " + strRoot + "/e/file\n\n");
}

TEST_F(VfsBrowser, BeginsAtAPathInAnArchive)
{
    const std::string strPackage = makePackage();
    for (const char* const szPath : {"usr/bin/doc", "/usr/bin/doc"})
    {
        const HelperResult result = run({strPackage, szPath});
        EXPECT_EQ(0, result.iExitCode);
        EXPECT_THAT(result.strOutput, HasSubstr("usr/bin/doc/README\n"));
        EXPECT_EQ(3U, linesOf(result.strOutput).size()) << result.strOutput;
    }
    expectOutput({strPackage, "usr/lib"}, s_iFailed,
                 "ERROR - Path /usr/lib does not exist or you do not have the required permissions "
                 "to read it\nINFO - \n");
}

TEST_F(VfsBrowser, ShowsContents)
{
    expectOutput({"--print-file-content", "--full-test",
                  made(ArchiveMaker().file("a", "content").file("d/b", std::string(101, 'b')))},
                 0,
                 "INFO - + Directory /\n  + File /a\n  Content: \"content [...]\"\n"
                 "  + Directory /d\n    + File /d/b\n    Content: \"" +
                     std::string(100, 'b') +
                     " [...]\"\n\n"
                     "INFO - 8 threads saw the same 2 directories and 2 files of 108 bytes\n");
}

TEST_F(VfsBrowser, ReadsAllFilesOnEightThreads)
{
    expectOutput({"--full-test", makePackage()}, 0,
                 s_strListingOfPackage +
                     "INFO - 8 threads saw the same 7 directories and 4 files of 72 bytes\n");
    makeFile("d/file", "content");
    expectOutput({"--full-test", path("d")}, 0,
                 "INFO - + Directory " + path("d") + "\n  + File " + path("d/file") +
                     "\n\nINFO - 8 threads saw the same 1 directories and 1 files of 7 bytes\n");
}

TEST_F(VfsBrowser, WarnsOfMembersThatAreLeftOut)
{
    const std::string strArchive = made(ArchiveMaker().file("../a").file("b"));
    expectOutput({strArchive}, 0,
                 "WARN - " + strArchive +
                     ": member 1 \"../a\" is left out: its name has \"..\" in it\n"
                     "INFO - + Directory /\n  + File /b\n\n");
}

TEST_F(VfsBrowser, PrintsWhatTheReadmeShows)
{
    const std::string strArchive = path("minimal.tar.xz");
    tool("/usr/bin/tar", {"-C", VELMORA_SOURCE_DIRECTORY, "-cJf", strArchive, "examples/minimal"});
    const HelperResult result = run({"--full-test", strArchive});
    EXPECT_EQ(0, result.iExitCode);
    std::ostringstream readme;
    readme << std::ifstream(VELMORA_SOURCE_DIRECTORY "/examples/vfs-browser/README.md").rdbuf();
    EXPECT_THAT(readme.str(), HasSubstr("It prints\n\n```\n" + result.strOutput + "```\n"));
}

TEST_F(VfsBrowser, FailsOnWhatIsNoArchive)
{
    makeFile("text", "no archive");
    expectOutput({path("text")}, s_iFailed,
                 "ERROR - cannot read the archive " + path("text") +
                     ": it is neither a tar archive, plain or compressed, nor a Debian package\n");
    expectOutput({path("missing")}, s_iFailed,
                 "ERROR - cannot read the archive " + path("missing") +
                     ": No such file or directory\n");
}

TEST_F(VfsBrowser, FailsOnATruncatedPackage)
{
    const std::string strPackage = makePackage();
    fs::resize_file(strPackage, fs::file_size(strPackage) - 100);
    const HelperResult result = run({strPackage});
    EXPECT_EQ(s_iFailed, result.iExitCode);
    EXPECT_THAT(
        result.strOutput,
        testing::MatchesRegex("ERROR - cannot read the archive [^\n]*: Truncated ar archive; "
                              "it is damaged or incomplete, get it again\n"));
}

TEST_F(VfsBrowser, SaysWhatItsParametersAre)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, std::vector<std::string>{"a", "b", "c"}})
    {
        const HelperResult result = run(arguments);
        EXPECT_EQ(s_iFailed, result.iExitCode);
        EXPECT_THAT(
            result.strOutput,
            testing::StartsWith("ERROR - the parameters are a directory or an archive, and a "
                                "path in it, if it is not to be listed as a whole\n"
                                "INFO - Usage : vfs-browser [options] [fs parameters]\n"));
    }
}

TEST_F(VfsBrowser, HelpsWithoutParameters)
{
    const HelperResult result = run({"--help"});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strOutput, testing::StartsWith("INFO - Usage : vfs-browser [options]"));
    EXPECT_THAT(result.strOutput,
                HasSubstr("  --memory-limit arg (=512) what an archive may take in "
                          "memory, in MiB\n"
                          "  --listing-limit arg (=64) how long the listing may be, "
                          "in MiB\n"));
}

TEST_F(VfsBrowser, EndsALinkThatLeadsUpwardsAsTheSystemDoes)
{
    const HelperResult result = run({"--full-test", made(ArchiveMaker().link("up", "."))});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_THAT(result.strOutput, HasSubstr("8 threads saw the same 41 directories and 0 files"));
}

TEST_F(VfsBrowser, RefusesAListingThatWouldNotEnd)
{
    const std::string strArchive = made(ArchiveMaker().link("a", ".").link("b", "."));
    const std::string strReason =
        " is longer than the limit of 1 MiB: its symbolic links may lead round in circles; give a "
        "path further down, or allow more by --listing-limit\n";
    expectOutput({"--listing-limit", "1", "--full-test", strArchive}, s_iFailed,
                 "ERROR - the listing of " + strArchive + strReason);
    fs::create_directory(path("d"));
    fs::create_symlink(".", path("d/a"));
    fs::create_symlink(".", path("d/b"));
    const HelperResult result = run({"--listing-limit", "1", path("d")});
    EXPECT_EQ(s_iFailed, result.iExitCode);
    EXPECT_THAT(result.strOutput,
                testing::EndsWith("ERROR - the listing of " + path("d") + strReason));
}

TEST_F(VfsBrowser, WritesNothing)
{
    makeFile("d/file", "content");
    const std::string strArchive = made(ArchiveMaker()
                                            .file("../d/file", "changed")
                                            .file(path("d/absolute"), "new")
                                            .link("out", path("d"))
                                            .file("out/file", "changed")
                                            .link("up", "../d")
                                            .file("up/file", "changed"));
    EXPECT_EQ(0, run({"--setcwd", path("d"), "--full-test", strArchive}).iExitCode);
    EXPECT_EQ("content", m_directory.read("d/file"));
    EXPECT_EQ(1, std::distance(fs::directory_iterator(path("d")), fs::directory_iterator()));
    EXPECT_EQ(2,
              std::distance(fs::directory_iterator(m_directory.path()), fs::directory_iterator()));
}

// Memory

namespace
{

/// Runs the program with a limit on its address space, in MiB.
HelperResult runWithin(std::size_t in_uiMiB, const std::vector<std::string>& in_arguments)
{
    std::vector<std::string> arguments{"-c", "ulimit -v $0 && exec \"$@\"",
                                       std::to_string(in_uiMiB * 1024), VELMORA_HELPER_VFS_BROWSER};
    arguments.insert(arguments.end(), in_arguments.begin(), in_arguments.end());
    return runHelper("/bin/sh", arguments);
}

} // namespace

TEST_F(VfsBrowser, DoesNotTakeTheMemoryOfABomb)
{
    if (s_bSanitized)
        GTEST_SKIP() << "a sanitizer reserves more addresses than a limit leaves";
    // 10 GiB of zeros: in one member, and in 160 members.
    const std::string strZeros = compressed(std::string(64 * s_uiMiB, '\0'), ARCHIVE_FILTER_GZIP);
    const std::string strHeader = compressed(tarHeader("zeros", 64 * s_uiMiB), ARCHIVE_FILTER_GZIP);
    std::string strOne = compressed(tarHeader("zeros", 10240 * s_uiMiB), ARCHIVE_FILTER_GZIP);
    std::string strMany;
    for (int iPart = 0; iPart < 160; ++iPart)
    {
        strOne += strZeros;
        strMany += strHeader + strZeros;
    }
    makeFile("one.tar.gz", strOne);
    makeFile("many.tar.gz", strMany);
    const std::string strReason =
        ": it takes more than the limit of 512 MiB in memory; allow more, "
        "if it can be trusted\n";

    const HelperResult ofOne = runWithin(2048, {path("one.tar.gz")});
    EXPECT_EQ(s_iFailed, ofOne.iExitCode);
    EXPECT_EQ("ERROR - cannot read the archive " + path("one.tar.gz") + " at member 1 \"zeros\"" +
                  strReason,
              ofOne.strOutput);
    const HelperResult ofMany = runWithin(2048, {path("many.tar.gz")});
    EXPECT_EQ(s_iFailed, ofMany.iExitCode);
    EXPECT_EQ("ERROR - cannot read the archive " + path("many.tar.gz") + " at member 8 \"zeros\"" +
                  strReason,
              ofMany.strOutput);
}

TEST_F(VfsBrowser, SaysThatThereIsNoMemory)
{
    if (s_bSanitized)
        GTEST_SKIP() << "a sanitizer reserves more addresses than a limit leaves";
    makeFile("a.tar", tarHeader("zeros", 8192 * s_uiMiB));
    const HelperResult result = runWithin(2048, {"--memory-limit", "10000", path("a.tar")});
    EXPECT_EQ(s_iFailed, result.iExitCode);
    EXPECT_EQ(
        "ERROR - cannot read the archive " + path("a.tar") +
            " at member 1 \"zeros\": no memory is left; allow less or give the program more\n",
        result.strOutput);
}

TEST_F(VfsBrowser, SaysThatThereIsNoMemoryForADecompressor)
{
    if (s_bSanitized)
        GTEST_SKIP() << "a sanitizer reserves more addresses than a limit leaves";
    const std::string strArchive =
        VELMORA_SOURCE_DIRECTORY "/tests/examples/archives/large-window.tar.xz";
    // The decompressor requests a window of 1.5 GiB.
    EXPECT_EQ(0, runWithin(4096, {strArchive}).iExitCode);
    const HelperResult result = runWithin(1200, {strArchive});
    EXPECT_EQ(s_iFailed, result.iExitCode);
    EXPECT_EQ("ERROR - cannot read the archive " + strArchive +
                  ": no memory is left; allow less or give the program more\n",
              result.strOutput);
}

// Comparison with the disk

namespace
{

/// Adds a random tree with duplicates, links and parents without members of their own. Each link
/// leads to an existing member, because a listing of the disk ends at a link that does not.
void addRandomMembers(ArchiveMaker& inout_maker, unsigned int in_uiSeed)
{
    std::minstd_rand random(in_uiSeed);
    std::vector<std::string> directories{""};
    // All names that can be opened as files, and those of them that are not symbolic links: a hard
    // link to a symbolic link would lead elsewhere.
    std::vector<std::string> files;
    std::vector<std::string> plainFiles;
    const auto anyOf = [&](const std::vector<std::string>& in_texts)
    { return in_texts[random() % in_texts.size()]; };
    for (int iMember = 0; iMember < 60; ++iMember)
    {
        const std::string strName = anyOf(directories) + std::to_string(random() % 40);
        const auto isNew = [&](const std::vector<std::string>& in_texts,
                               const char* in_szBehind = "") {
            return std::find(in_texts.begin(), in_texts.end(), strName + in_szBehind) ==
                   in_texts.end();
        };
        const unsigned int uiKind = random() % 6;
        const bool bNew = isNew(directories, "/") && isNew(files);
        if (uiKind == 0 && isNew(files))
        {
            inout_maker.directory(strName);
            directories.push_back(strName + "/");
        }
        else if (uiKind == 1 && isNew(files))
        {
            inout_maker.file(strName + "/parent/file", "made with its parents");
            directories.push_back(strName + "/");
            files.push_back(strName + "/parent/file");
            plainFiles.push_back(files.back());
        }
        else if (uiKind == 2 && bNew && !plainFiles.empty())
        {
            inout_maker.hardLink(strName, anyOf(plainFiles));
            files.push_back(strName);
            plainFiles.push_back(strName);
        }
        else if (uiKind == 3 && bNew && !files.empty())
        {
            // The target is relative to the directory of the link.
            std::string strTarget = anyOf(files);
            for (const char c : strName)
                strTarget = c == '/' ? "../" + strTarget : strTarget;
            inout_maker.link(strName, strTarget);
            files.push_back(strName);
        }
        else if (uiKind > 3 && isNew(directories, "/"))
        {
            inout_maker.file(strName, std::to_string(random()));
            files.push_back(strName);
            plainFiles.push_back(strName);
        }
    }
}

} // namespace

TEST_F(VfsBrowser, SeesInAnArchiveWhatIsThereWhenTarHasUnpackedIt)
{
    for (const int iFormat :
         {ARCHIVE_FORMAT_TAR_GNUTAR, ARCHIVE_FORMAT_TAR_PAX_INTERCHANGE, ARCHIVE_FORMAT_TAR_USTAR})
        for (unsigned int uiSeed = 1; uiSeed <= 10; ++uiSeed)
        {
            const std::string strName = std::to_string(iFormat) + "-" + std::to_string(uiSeed);
            ArchiveMaker maker(iFormat);
            addRandomMembers(maker, uiSeed);
            const std::string strArchive = made(maker, strName + ".tar");
            fs::create_directory(path(strName));
            // Without -P, tar creates links that lead upwards last, even if another member has
            // taken their names.
            tool("/usr/bin/tar", {"-C", path(strName), "-xPf", strArchive});
            ArchiveFileSystem archive(strArchive);
            DiskFileSystem disk;
            const std::vector<std::string> expected = walked(disk, path(strName) + "/");
            EXPECT_LT(20U, expected.size());
            EXPECT_EQ(expected, walked(archive, "/")) << strName;
            EXPECT_THAT(archive.getRemarks(), testing::IsEmpty());
        }
}

TEST_F(VfsBrowser, ListsAnArchiveAsTheDirectoryThatItIsOf)
{
    makePackage();
    fs::remove(path("hello/usr/bin/nowhere"));
    fs::create_directory_symlink(".", path("hello/usr/share/here"));
    tool("/usr/bin/tar", {"-C", path("hello"), "-cJf", path("a.tar.xz"), "."});
    const auto linesOfListing = [&](const std::string& in_strWhat, const std::string& in_strRoot)
    {
        std::vector<std::string> lines =
            linesOf(run({"--print-file-content", in_strWhat}).strOutput);
        for (std::string& strLine : lines)
            if (strLine.find("+ ") != std::string::npos)
                strLine.replace(strLine.find(in_strRoot), in_strRoot.size(), "");
        std::sort(lines.begin(), lines.end());
        return lines;
    };
    std::vector<std::string> expected = linesOfListing(path("hello") + "/", path("hello") + "/");
    // The errors of the disk at the end of the cycle of links.
    std::erase_if(expected,
                  [](const std::string& in_strLine) { return in_strLine.starts_with("ERROR"); });
    EXPECT_LT(100U, expected.size());
    EXPECT_EQ(expected, linesOfListing(path("a.tar.xz"), "/"));
}

// In this process

namespace
{

/// A disk on which one path leads to another path while a condition holds.
class UnsteadyDisk : public DiskFileSystem
{
  public:
    using When = std::function<bool()>;

    UnsteadyDisk(std::string in_strPath, std::string in_strOther, When in_when)
        : m_strPath(std::move(in_strPath)), m_strOther(std::move(in_strOther)),
          m_when(std::move(in_when))
    {
    }

    using DiskFileSystem::open;

    FileHandle open(const char* in_szPath, int in_iFlags) override
    {
        return DiskFileSystem::open(resolve(in_szPath), in_iFlags);
    }
    DirectoryHandle opendir(const char* in_szPath) override
    {
        return DiskFileSystem::opendir(resolve(in_szPath));
    }

  private:
    const char* resolve(const char* in_szPath) const
    {
        return m_strPath == in_szPath && m_when() ? m_strOther.c_str() : in_szPath;
    }

    const std::string m_strPath;
    const std::string m_strOther;
    const When m_when;
};

/// The program on such a disk.
class BrowserOfUnsteadyDisk : public Browser
{
  public:
    BrowserOfUnsteadyDisk(const std::string& in_strPath, const std::string& in_strOther,
                          const UnsteadyDisk::When& in_when)
        : m_hDisk(new UnsteadyDisk(in_strPath, in_strOther, in_when))
    {
    }

    /// Runs a test with threads on a directory and returns the lines after the listing.
    std::vector<LogLine> test(std::string in_strDirectory)
    {
        const CapturedLog log(INFO_LOG_LEVEL);
        std::string strProgram = "vfs-browser";
        std::string strOption = "--full-test";
        std::vector<char*> arguments{strProgram.data(), strOption.data(), in_strDirectory.data(),
                                     nullptr};
        EXPECT_TRUE(initialize(3, arguments.data()));
        run();
        std::vector<LogLine> lines = log.linesOf(s_szLogger);
        std::erase_if(lines,
                      [](const LogLine& in_line)
                      {
                          return in_line.strText.starts_with("Start-up complete") ||
                                 in_line.strText.starts_with("+ Directory ");
                      });
        return lines;
    }

  protected:
    bool configureLoggerDefault() override { return true; }
    TSHandle<VirtualFileSystem> openFileSystem() const override { return m_hDisk; }

  private:
    const TSHandle<VirtualFileSystem> m_hDisk;
};

/// Returns a condition that holds on all threads except the one that creates it.
UnsteadyDisk::When onOtherThreads()
{
    return [main = std::this_thread::get_id()] { return std::this_thread::get_id() != main; };
}

/// Returns the lines that the eight threads log.
std::vector<LogLine> eightTimes(const std::string& in_strDifference)
{
    std::vector<LogLine> lines;
    for (int iThread = 1; iThread <= 8; ++iThread)
        lines.push_back(errorLine(s_szLogger, "thread " + std::to_string(iThread) + " of 8 saw " +
                                                  in_strDifference));
    return lines;
}

const std::string s_strOfContent = " (7 bytes, checksum 420c75b526b35282)";

} // namespace

TEST_F(VfsBrowser, FailsWhenThreadsReadSomethingElse)
{
    makeFile("d/file", "content");
    BrowserOfUnsteadyDisk browser(path("d/file"), "/dev/null", onOtherThreads());
    EXPECT_EQ(eightTimes("the file " + path("d/file") +
                         " (0 bytes, checksum cbf29ce484222325) in place of the file " +
                         path("d/file") + s_strOfContent),
              browser.test(path("d")));
    EXPECT_FALSE(browser.hasPassed());
}

TEST_F(VfsBrowser, FailsWhenThreadsSeeLess)
{
    makeFile("d/file", "content");
    fs::create_directory(path("empty"));
    BrowserOfUnsteadyDisk browser(path("d"), path("empty"), onOtherThreads());
    EXPECT_EQ(eightTimes("nothing in place of the file " + path("d/file") + s_strOfContent),
              browser.test(path("d")));
    EXPECT_FALSE(browser.hasPassed());
}

TEST_F(VfsBrowser, FailsWhenThreadsSeeMore)
{
    makeFile("more/file", "content");
    fs::create_directory(path("d"));
    BrowserOfUnsteadyDisk browser(path("d"), path("more"), onOtherThreads());
    EXPECT_EQ(eightTimes("the file " + path("more/file") + s_strOfContent + " at the end"),
              browser.test(path("d")));
    EXPECT_FALSE(browser.hasPassed());
}

TEST_F(VfsBrowser, FailsWhenTheListingIsSomethingElse)
{
    makeFile("d/file", "content");
    fs::create_directory(path("empty"));
    // The program measures, lists and walks the directory, and lists it again for the comparison.
    BrowserOfUnsteadyDisk browser(path("d"), path("empty"),
                                  [iTimes = 0]() mutable { return ++iTimes == 4; });
    EXPECT_THAT(browser.test(path("d")),
                ElementsAre(errorLine(s_szLogger, "the listing of " + path("d") +
                                                      " is not what a walk sees: did it change "
                                                      "during the test?")));
    EXPECT_FALSE(browser.hasPassed());
}

TEST_F(VfsBrowser, FailsWhenAFileCannotBeRead)
{
    makeFile("d/file", "content");
    fs::create_symlink("/proc/self/mem", path("d/memory"));
    const HelperResult result = run({"--full-test", path("d")});
    EXPECT_EQ(s_iFailed, result.iExitCode);
    EXPECT_THAT(result.strOutput, testing::EndsWith("\n\nERROR - cannot read the file " +
                                                    path("d/memory") + " (Input/output error)\n"));
}
