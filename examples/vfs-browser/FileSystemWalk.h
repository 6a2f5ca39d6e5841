#pragma once

#include "velmora/vfs/VirtualFileSystem.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

/// Goes through all that is below a directory of a file system, in the order in which a listing of
/// `VirtualFileSystemTestApplication` does, and as that one opens what it meets once more by its
/// path.
///
///     FileSystemWalk walk(fileSystem, FileSystemWalk::Contents::READ);
///     const bool bToTheEnd = walk.run("/", [](const Seen& in_seen) { ...; return true; });
///
/// A file is opened without waiting for a FIFO's other end. A file that has no end, as some
/// devices, is read for ever.
///
/// Thread-safety: any number of threads may walk one file system that allows it.
class FileSystemWalk
{
  public:
    /// What the walk has come to: a directory, or a file.
    struct Seen
    {
        std::string strPath;
        bool bDirectory = true;
        /// How many directories it is in, counted from where the walk begins.
        std::size_t uiDepth = 0;
        /// The number of `errno` if it could not be opened or read, else 0.
        int iError = 0;

        // Of a file, with `Contents::READ`.

        std::uint64_t uiSize = 0;
        /// FNV-1a, of 64 bits.
        std::uint64_t uiChecksum = 0;

        [[nodiscard]] bool operator==(const Seen&) const = default;
    };

    enum class Contents
    {
        LEFT,
        READ
    };

    /// Gives false to end the walk.
    using Visitor = std::function<bool(const Seen&)>;

    FileSystemWalk(Velmora::VirtualFileSystem& inout_fileSystem, Contents in_contents)
        : m_fileSystem(inout_fileSystem), m_contents(in_contents)
    {
    }

    /// False if the visitor ended it.
    bool run(const std::string& in_strPath, const Visitor& in_visitor) const;

  private:
    [[nodiscard]] Seen readFile(const std::string& in_strPath, std::size_t in_uiDepth) const;

    Velmora::VirtualFileSystem& m_fileSystem;
    Contents m_contents;
};
