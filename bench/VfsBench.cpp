// SPDX-License-Identifier: BSD-2-Clause

// The interface of a virtual file system on the disk, beside the system calls that it makes: a
// small file, and a walk of 10,000 entries.

#include "velmora/vfs/DiskFileSystem.h"

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

using namespace Velmora;

namespace
{

constexpr std::size_t s_uiFileSize = 1024;
constexpr int s_iDirectories = 100;
constexpr int s_iFilesEach = 99;
constexpr int s_iEntries = s_iDirectories * (s_iFilesEach + 1);

using Buffer = std::array<char, s_uiFileSize>;

/// Directories with empty files, and beside them one file that is not empty.
class Tree
{
  public:
    Tree()
    {
        char szTemplate[] = "/tmp/velmora-bench-XXXXXX";
        m_strRoot = mkdtemp(szTemplate);
        std::ofstream(file()) << std::string(s_uiFileSize, 'x');
        for (int iDirectory = 0; iDirectory < s_iDirectories; ++iDirectory)
        {
            const std::string strDirectory = top() + "/" + std::to_string(iDirectory);
            std::filesystem::create_directories(strDirectory);
            for (int iFile = 0; iFile < s_iFilesEach; ++iFile)
                std::ofstream(strDirectory + "/" + std::to_string(iFile) + ".wav");
        }
    }
    ~Tree() { std::filesystem::remove_all(m_strRoot); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    [[nodiscard]] std::string file() const { return m_strRoot + "/file"; }
    [[nodiscard]] std::string top() const { return m_strRoot + "/top"; }

  private:
    std::string m_strRoot;
};

const Tree& tree()
{
    static const Tree s_tree;
    return s_tree;
}

// A small file.

template <class Read>
void readAll(benchmark::State& out_state, Read in_read)
{
    const std::string strPath = tree().file();
    Buffer buffer{};
    for ([[maybe_unused]] const auto turn : out_state)
        if (in_read(strPath.c_str(), buffer) != static_cast<long>(buffer.size()))
        {
            out_state.SkipWithError("the file was not read");
            break;
        }
}

void smallFileOurs(benchmark::State& out_state)
{
    DiskFileSystem disk;
    VirtualFileSystem& fileSystem = disk;
    readAll(out_state,
            [&fileSystem](const char* in_szPath, Buffer& out_buffer)
            {
                const VirtualFileSystem::FileHandle hFile = fileSystem.open(in_szPath, O_RDONLY);
                return hFile.isNull() ? -1 : hFile->read(out_buffer.data(), out_buffer.size());
            });
}

void smallFileCalls(benchmark::State& out_state)
{
    readAll(out_state,
            [](const char* in_szPath, Buffer& out_buffer)
            {
                const int iDescriptor = open(in_szPath, O_RDONLY);
                const long iNumRead = read(iDescriptor, out_buffer.data(), out_buffer.size());
                close(iDescriptor);
                return iNumRead;
            });
}

// The walk.

template <class Walk>
void walkAll(benchmark::State& out_state, Walk in_walk)
{
    const std::string strPath = tree().top();
    for ([[maybe_unused]] const auto turn : out_state)
        if (in_walk(strPath) != s_iEntries)
        {
            out_state.SkipWithError("not all entries were found");
            break;
        }
}

int walk(VirtualFileSystem::Directory& inout_directory)
{
    int iEntries = 0;
    while (const VirtualFileSystem::EntryHandle hEntry = inout_directory.read())
    {
        ++iEntries;
        if (hEntry->isDirectory())
            iEntries += walk(dynamic_cast<VirtualFileSystem::Directory&>(*hEntry));
    }
    return iEntries;
}

void walkOurs(benchmark::State& out_state)
{
    DiskFileSystem disk;
    VirtualFileSystem& fileSystem = disk;
    walkAll(out_state, [&fileSystem](const std::string& in_strPath)
            { return walk(*fileSystem.opendir(in_strPath.c_str())); });
}

/// Opens each item as a directory and, if that fails, as a file.
int walk(DIR* in_pDirectory, const std::string& in_strPath)
{
    int iEntries = 0;
    while (const dirent* const pItem = readdir(in_pDirectory))
    {
        const std::string_view name = pItem->d_name;
        if (name == "." || name == "..")
            continue;
        ++iEntries;
        const std::string strPath = in_strPath + "/" + pItem->d_name;
        if (DIR* const pDirectory = opendir(strPath.c_str()))
        {
            iEntries += walk(pDirectory, strPath);
            closedir(pDirectory);
        }
        else
            close(open(strPath.c_str(), O_RDONLY));
    }
    return iEntries;
}

void walkCalls(benchmark::State& out_state)
{
    walkAll(out_state,
            [](const std::string& in_strPath)
            {
                DIR* const pDirectory = opendir(in_strPath.c_str());
                const int iEntries = walk(pDirectory, in_strPath);
                closedir(pDirectory);
                return iEntries;
            });
}

} // namespace

BENCHMARK(smallFileOurs)->Name("vfsSmallFile/ours");
BENCHMARK(smallFileCalls)->Name("vfsSmallFile/calls");

BENCHMARK(walkOurs)->Name("vfsWalk/ours");
BENCHMARK(walkCalls)->Name("vfsWalk/calls");

BENCHMARK_MAIN();
