// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/VirtualFileSystem.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

/// Walks through everything below a directory of a file system, in the order of the listing of
/// `VirtualFileSystemTestApplication`. Like that listing, it opens each entry again by its path.
///
///     FileSystemWalk walk(fileSystem, FileSystemWalk::Contents::READ);
///     const bool bToTheEnd = walk.run("/", [](const Seen& in_seen) { ...; return true; });
///
/// Does not wait for the other end of a FIFO. A file without an end, such as some devices, is read
/// forever.
///
/// Thread-safety: any number of threads may walk one file system if it allows concurrent use.
class FileSystemWalk
{
  public:
    /// A directory or a file that the walk has reached.
    struct Seen
    {
        std::string strPath;
        bool bDirectory = true;
        /// The number of directories that it is in, counted from the start of the walk.
        std::size_t uiDepth = 0;
        /// The value of `errno` if it could not be opened or read, else 0.
        int iError = 0;

        // Set for a file, with `Contents::READ`.

        std::uint64_t uiSize = 0;
        /// The 64-bit FNV-1a hash of the contents.
        std::uint64_t uiChecksum = 0;

        [[nodiscard]] bool operator==(const Seen&) const = default;
    };

    enum class Contents
    {
        LEFT,
        READ
    };

    /// Is called for each item. Returns false to end the walk.
    using Visitor = std::function<bool(const Seen&)>;

    FileSystemWalk(Velmora::VirtualFileSystem& inout_fileSystem, Contents in_contents)
        : m_fileSystem(inout_fileSystem), m_contents(in_contents)
    {
    }

    /// Walks from a directory on. Returns false if the visitor ended the walk.
    bool run(const std::string& in_strPath, const Visitor& in_visitor) const;

  private:
    [[nodiscard]] Seen readFile(const std::string& in_strPath, std::size_t in_uiDepth) const;

    Velmora::VirtualFileSystem& m_fileSystem;
    Contents m_contents;
};
