// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/vfs/DiskFileSystem.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

using EntryHandle = VirtualFileSystem::EntryHandle;
using FileHandle = VirtualFileSystem::FileHandle;
using DirectoryHandle = VirtualFileSystem::DirectoryHandle;
using Texts = std::vector<std::string>;

inline constexpr const char* s_szLogger = "keswardin.infra.DiskFileSystem";
inline constexpr const char* s_szNoMode = "You must provide a mode if you are creating a new file";

inline LogLine notValid(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "Cannot set path " + in_strPath +
                                     " as current working directory as path is not valid");
}

inline LogLine notSupported(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "Current entry " + in_strPath +
                                     " is neither a file nor a directory. NOT SUPPORTED YET");
}

inline void makeFile(const std::string& in_strPath, const std::string& in_strContent = "")
{
    std::ofstream(in_strPath) << in_strContent;
    ASSERT_TRUE(std::filesystem::is_regular_file(in_strPath)) << in_strPath;
}

inline void makeFifo(const std::string& in_strPath)
{
    ASSERT_EQ(0, mkfifo(in_strPath.c_str(), 0644)) << in_strPath;
}

/// Returns the rest of a file.
inline std::string rest(VirtualFileSystem::File& inout_file)
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
inline Texts pathsOf(VirtualFileSystem::Directory& inout_directory)
{
    Texts paths;
    while (const EntryHandle hEntry = inout_directory.read())
        paths.emplace_back(hEntry->getPath());
    return paths;
}

/// Returns the descriptor of this process that is open on a path.
inline int descriptorOf(const std::string& in_strPath)
{
    for (const std::filesystem::directory_entry& descriptor :
         std::filesystem::directory_iterator("/proc/self/fd"))
        if (std::filesystem::read_symlink(descriptor) == std::filesystem::path(in_strPath))
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
        std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0755));
        umask(022);
    }
    ~DiskFiles() override { std::filesystem::current_path("/"); }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }
    [[nodiscard]] std::string root() const { return m_directory.path(); }

    std::string makeDirectory(const std::string& in_strName) const
    {
        std::filesystem::create_directory(path(in_strName));
        return path(in_strName);
    }

    CapturedLog m_log;
    TemporaryDirectory m_directory;
    DiskFileSystem m_fileSystem;
};

} // namespace Velmora::Test
