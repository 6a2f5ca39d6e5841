// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/OwnedDescriptor.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace Velmora
{

/// A log file that is open for appending. The path may come to name another file, or none, at any
/// time: programs that rotate logs rename files, and administrators delete them.
///
/// Several processes may append to one file: each `write` of the system goes to the end of the file
/// as a whole.
///
/// Thread-safety: none; the owner guards it. `open` may be called concurrently with the others.
class LogFile
{
  public:
    /// Where the file is, and how it is made.
    struct Location
    {
        std::string strPath{};
        /// The permissions of a new file, whatever the umask of the process. An existing file keeps
        /// its own.
        mode_t uiMode = 0640;
        bool bMakesDirectories = false;
    };

    explicit LogFile(Location in_location);

    /// The result of `open`.
    struct Opened
    {
        OwnedDescriptor descriptor{};
        /// If it is not open: the system's error, and "cannot open", the path, the reason and what
        /// to do.
        int iError = 0;
        std::string strProblem{};
    };
    /// Opens what the path names now, or makes it. Changes nothing in this object.
    [[nodiscard]] Opened open(bool in_bTruncates) const;

    /// Writes to that file from now on. Returns the former one.
    OwnedDescriptor use(OwnedDescriptor in_descriptor) noexcept;

    [[nodiscard]] const std::string& getPath() const noexcept { return m_location.strPath; }
    [[nodiscard]] bool isOpen() const noexcept { return m_descriptor.isOpen(); }
    /// Returns whether it is a file on a disk, not a terminal or a pipe.
    [[nodiscard]] bool isRegular() const noexcept { return m_bRegular; }
    /// Returns the size in bytes, as far as this object knows: see `look`.
    [[nodiscard]] std::uint64_t getSize() const noexcept { return m_uiSize; }
    /// Returns when the file was last written to before it was opened.
    [[nodiscard]] std::time_t getTimeOfChange() const noexcept { return m_changed; }

    /// Writes bytes: with one system call, unless that is interrupted or writes only a part. In
    /// that case the rest follows at once. Returns the number of bytes written. Failure: returns
    /// less than the size, with the system's reason in `errno`.
    std::size_t write(std::string_view in_bytes) noexcept;

    /// The result of `look`.
    enum class Place
    {
        /// The path names the open file.
        same,
        /// The path names another file, or none.
        moved,
        /// The program has closed the descriptor, which may belong to another file now. It is
        /// forgotten, not closed.
        lost
    };
    /// Compares the path with the open file, and learns the file's size.
    [[nodiscard]] Place look() noexcept;

  private:
    [[nodiscard]] Opened openOrMake(bool in_bTruncates) const;

    Location m_location;
    OwnedDescriptor m_descriptor;
    dev_t m_uiDevice = 0;
    ino_t m_uiInode = 0;
    bool m_bRegular = false;
    std::uint64_t m_uiSize = 0;
    std::time_t m_changed = 0;
};

} // namespace Velmora
