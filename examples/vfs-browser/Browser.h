#pragma once

#include "FileSystemWalk.h"

#include "velmora/vfs/VirtualFileSystemTestApplication.h"

#include <cstddef>
#include <string>
#include <vector>

/// Lists a directory of the disk, or an archive: `vfs-browser [options] <directory or archive>
/// [path]`. The path begins in the directory or at the root of the archive. Besides the options of
/// `VirtualFileSystemTestApplication` it knows these:
///
/// | Option | What it bounds, and without it |
/// |---|---|
/// | `--memory-limit MIB` | what an archive may take in memory, see `readArchive`; 512 |
/// | `--listing-limit MIB` | the listing; 64 |
///
/// With `--full-test`, eight threads then walk concurrently and read all files to their ends. The
/// test passes if each thread sees what the first walk, on the main thread, has seen: the same
/// paths in the same order, and the same contents. That walk must give the lines of the listing.
///
/// Logs through "keswardin.vfs-browser": what is wrong as an ERROR, members of an archive that are
/// left out as WARNs.
class Browser : public Velmora::VirtualFileSystemTestApplication
{
  public:
    Browser();

    /// See `hasPassed`.
    void run() override;

    /// Whether `run` did all it was asked for, without a failure.
    [[nodiscard]] bool hasPassed() const { return m_bPassed; }

    /// Failure: false, and an error for each thread that saw something else.
    bool runMultiThreadsTest() override;

  protected:
    /// What is to be listed; null, and an error in the log, if it cannot be read.
    [[nodiscard]] virtual Velmora::TSHandle<Velmora::VirtualFileSystem> openFileSystem() const;

  private:
    /// False, and an error in the log, for parameters or options that make no sense.
    [[nodiscard]] bool hasGoodParameters() const;
    [[nodiscard]] std::size_t bytesOf(const char* in_szOption) const;

    [[nodiscard]] Velmora::TSHandle<Velmora::VirtualFileSystem> openArchive() const;
    [[nodiscard]] std::string startPath() const;
    [[nodiscard]] bool isDirectory() const;

    /// False, and an error in the log, if links lead round in circles or the like.
    [[nodiscard]] bool isListingBounded() const;

    using Walked = std::vector<FileSystemWalk::Seen>;
    [[nodiscard]] bool matchesListing(const Walked& in_walked);
    [[nodiscard]] bool isReadable(const Walked& in_walked) const;
    [[nodiscard]] bool doThreadsSee(const Walked& in_walked) const;
    [[nodiscard]] std::string contentLineOf(const FileSystemWalk::Seen& in_seen) const;
    /// Empty if there is none. On any thread.
    [[nodiscard]] std::string findDifference(Velmora::VirtualFileSystem& inout_fileSystem,
                                             const Walked& in_walked) const;

    Velmora::TSHandle<Velmora::VirtualFileSystem> m_hFileSystem;
    std::string m_strStart;
    bool m_bPassed = false;
};
