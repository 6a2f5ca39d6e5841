// SPDX-License-Identifier: BSD-2-Clause

// Several threads walk a tree concurrently through the file system interface and read its files
// through streams. To run it by hand with another size: WALK_ENTRIES=100000 WALK_DEPTH=200
// vfs-FileSystemWalkTest.

#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/VfsStream.h"

#include "tests/support/AccountingProcess.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Files.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/Surroundings.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace Velmora;
using namespace Velmora::Test;

namespace
{

constexpr std::size_t s_uiThreads = 4;

/// Lines such as "f /tmp/x/a" for anything that is not a directory, and "d /tmp/x/b", sorted.
using Lines = std::vector<std::string>;

std::size_t sizeOf(const char* in_szVariable, std::size_t in_uiDefault)
{
    const char* const szValue = std::getenv(in_szVariable);
    return szValue == nullptr ? in_uiDefault : std::stoul(szValue);
}

/// Returns a text whose length depends on the number, up to the size of a few stream buffers.
std::string textOf(std::size_t in_uiNumber)
{
    constexpr std::size_t uiLengths = 9973;
    const std::string strNumber = std::to_string(in_uiNumber) + '\n';
    std::string strText;
    while (strText.size() < in_uiNumber * strNumber.size() % uiLengths)
        strText += strNumber;
    return strText;
}

/// Makes a chain of nested directories, and directories with a hundred entries each: files, a FIFO,
/// a link to a file and a link to a directory.
void makeTree(const fs::path& in_root, std::size_t in_uiEntries, std::size_t in_uiDepth)
{
    constexpr std::size_t uiEach = 100;
    fs::path deepest = in_root;
    for (std::size_t uiLevel = 0; uiLevel < in_uiDepth; ++uiLevel)
        deepest /= "deep";
    fs::create_directories(deepest);
    fs::create_directory(in_root / "empty");
    for (std::size_t uiDirectory = 0; uiDirectory < in_uiEntries / uiEach; ++uiDirectory)
    {
        const fs::path directory = in_root / std::to_string(uiDirectory);
        fs::create_directory(directory);
        for (std::size_t uiFile = 0; uiFile < uiEach - 4; ++uiFile)
            writeFile(directory / (std::to_string(uiFile) + ".wav"),
                      textOf(uiDirectory * uiEach + uiFile));
        ASSERT_EQ(0, mkfifo((directory / "fifo").c_str(), 0644));
        fs::create_symlink("0.wav", directory / "file");
        fs::create_symlink("../empty", directory / "directory");
    }
}

void walk(VirtualFileSystem::Directory& inout_directory, Lines& out_lines)
{
    while (const VirtualFileSystem::EntryHandle hEntry = inout_directory.read())
    {
        out_lines.push_back(std::string(hEntry->isDirectory() ? "d " : "f ") + hEntry->getPath());
        if (hEntry->isDirectory())
            walk(dynamic_cast<VirtualFileSystem::Directory&>(*hEntry), out_lines);
    }
}

/// Writes the contents of all files into one, in the order of the lines. A FIFO has no contents.
void copyContents(const TSHandle<VirtualFileSystem>& in_hFileSystem, const Lines& in_lines,
                  const std::string& in_strTarget)
{
    constexpr long iPermission = 0600;
    basic_vfsostream<char> target(in_hFileSystem, in_strTarget.c_str(),
                                  std::ios_base::out | std::ios_base::trunc, iPermission);
    std::array<char, 1000> piece{};
    for (const std::string& strLine : in_lines)
    {
        if (strLine.front() == 'd' || strLine.ends_with("/fifo"))
            continue;
        basic_vfsistream<char> source(in_hFileSystem, strLine.c_str() + 2, std::ios_base::in);
        EXPECT_TRUE(source.is_open()) << strLine;
        while (source.read(piece.data(), piece.size()) || source.gcount() > 0)
            target.write(piece.data(), source.gcount());
        EXPECT_FALSE(source.bad());
        source.clear();
        source.close();
        EXPECT_TRUE(source);
    }
    target.close();
    EXPECT_TRUE(target);
}

/// Walks on all threads concurrently and returns the results. Each thread writes what it reads into
/// a file of its own in another directory.
std::vector<Lines> walkOnThreads(const std::string& in_strRoot,
                                 const TemporaryDirectory& out_copies)
{
    const TSHandle<VirtualFileSystem> hFileSystem(new DiskFileSystem);
    std::vector<Lines> linesOfThreads(s_uiThreads);
    std::vector<std::thread> threads;
    for (Lines& lines : linesOfThreads)
        threads.emplace_back(
            [hFileSystem, &in_strRoot, &lines,
             strCopy = out_copies.file(std::to_string(threads.size()))]
            {
                walk(*hFileSystem->opendir(in_strRoot.c_str()), lines);
                std::sort(lines.begin(), lines.end());
                copyContents(hFileSystem, lines, strCopy);
            });
    for (std::thread& thread : threads)
        thread.join();
    return linesOfThreads;
}

/// Returns the lines that `find` gives.
Lines found(const std::string& in_strRoot)
{
    const HelperResult result =
        runHelper("/usr/bin/find", {"-L", in_strRoot, "-mindepth", "1", "(", "-type", "d",
                                    "-printf", "d %p\\n", "-o", "-printf", "f %p\\n", ")"});
    EXPECT_EQ(0, result.iExitCode);
    Lines lines = linesOf(result.strOutput);
    std::sort(lines.begin(), lines.end());
    return lines;
}

/// Returns the first word of a command's output.
std::string firstWordOf(const std::string& in_strCommand)
{
    const HelperResult result = runHelper("/bin/sh", {"-c", in_strCommand});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    return result.strOutput.substr(0, result.strOutput.find(' '));
}

} // namespace

TEST(FileSystemWalk, OfSeveralThreadsFindsAndReadsWhatThereIsAndLeavesNothing)
{
    inAccountingProcess(
        []
        {
            const std::size_t uiDepth = sizeOf("WALK_DEPTH", 50);
            const TemporaryDirectory directory;
            const std::string strRoot = directory.path();
            const TemporaryDirectory copies;
            makeTree(strRoot, sizeOf("WALK_ENTRIES", 2000), uiDepth);
            const Lines expected = found(strRoot);
            ASSERT_GT(expected.size(), uiDepth);

            const std::size_t uiBefore = countDescriptors();
            {
                constexpr std::size_t uiOthers = 100;
                const DescriptorLimit limit(s_uiThreads * (uiDepth + 2) + uiOthers);
                ASSERT_TRUE(limit.isSet());
                for (const Lines& lines : walkOnThreads(strRoot, copies))
                    EXPECT_TRUE(expected == lines) << lines.size() << " of " << expected.size();
            }
            const std::string strSum = firstWordOf("find -L " + strRoot +
                                                   " -type f -print0 | LC_ALL=C sort -z | "
                                                   "xargs -0 cat | sha256sum");
            for (std::size_t uiThread = 0; uiThread < s_uiThreads; ++uiThread)
                EXPECT_EQ(strSum,
                          firstWordOf("sha256sum < " + copies.file(std::to_string(uiThread))));
            EXPECT_EQ(uiBefore, countDescriptors());
            for (const char* const szAccount :
                 {"DiskFileSystem", "\"DiskFileSystem::Entry\"", "\"DiskFileSystem::File\"",
                  "\"DiskFileSystem::Directory\"", "TSReferenceCount"})
            {
                EXPECT_EQ(0, bytesHeld(szAccount)) << szAccount;
            }
            EXPECT_GE(mostBytesHeld("\"DiskFileSystem::Directory\""),
                      static_cast<int>(uiDepth * sizeof(DiskFileSystem::Directory)));
        });
}
