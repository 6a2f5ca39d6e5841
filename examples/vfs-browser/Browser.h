// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "FileSystemWalk.h"

#include "velmora/vfs/VirtualFileSystemTestApplication.h"

#include <cstddef>
#include <string>
#include <vector>

/// Lists a directory on the disk, or an archive: `vfs-browser [options] <directory or archive>
/// [path]`. The path begins in the directory or at the root of the archive. In addition to the
/// options of `VirtualFileSystemTestApplication` it has these:
///
/// | Option | What it limits, and the default |
/// |---|---|
/// | `--memory-limit MIB` | the memory that an archive may take, see `readArchive`; 512 |
/// | `--listing-limit MIB` | the length of the listing; 64 |
///
/// With `--full-test`, eight threads then walk concurrently and read all files to their ends. The
/// test passes if each thread sees the same paths in the same order with the same contents as a
/// first walk on the main thread. That walk must also match the listing.
///
/// Logs to "keswardin.vfs-browser": failures at ERROR, members of an archive that are left out at
/// WARN.
class Browser : public Velmora::VirtualFileSystemTestApplication
{
  public:
    Browser();

    /// Lists and tests what the command line asks for. For the result see `hasPassed`.
    void run() override;

    /// Returns whether `run` did all that was asked for without a failure.
    [[nodiscard]] bool hasPassed() const { return m_bPassed; }

    /// Runs the test with threads.
    /// Failure: returns false and logs an error for each thread that saw something else.
    bool runMultiThreadsTest() override;

  protected:
    /// Returns the file system to be listed. Returns null and logs an error if it cannot be read.
    [[nodiscard]] virtual Velmora::TSHandle<Velmora::VirtualFileSystem> openFileSystem() const;

  private:
    /// Returns false and logs an error unless there are one or two parameters.
    [[nodiscard]] bool hasGoodParameters() const;
    [[nodiscard]] std::size_t bytesOf(const char* in_szOption) const;

    [[nodiscard]] Velmora::TSHandle<Velmora::VirtualFileSystem> openArchive() const;
    [[nodiscard]] std::string startPath() const;
    [[nodiscard]] bool isDirectory() const;

    /// Returns false and logs an error if the listing exceeds its limit, for example because of
    /// circular links.
    [[nodiscard]] bool isListingBounded() const;

    using Walked = std::vector<FileSystemWalk::Seen>;
    [[nodiscard]] bool matchesListing(const Walked& in_walked);
    [[nodiscard]] bool isReadable(const Walked& in_walked) const;
    [[nodiscard]] bool doThreadsSee(const Walked& in_walked) const;
    [[nodiscard]] std::string contentLineOf(const FileSystemWalk::Seen& in_seen) const;
    /// Returns the first difference that a walk finds; empty if there is none. Runs on any thread.
    [[nodiscard]] std::string findDifference(Velmora::VirtualFileSystem& inout_fileSystem,
                                             const Walked& in_walked) const;

    Velmora::TSHandle<Velmora::VirtualFileSystem> m_hFileSystem;
    std::string m_strStart;
    bool m_bPassed = false;
};
