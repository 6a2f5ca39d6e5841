// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/ItemReader.h"

#include <ace/Time_Value.h>

#include <cstddef>
#include <map>
#include <string>

namespace Velmora
{

/// Renames a file or a directory to an old copy of itself, with a time stamp, and limits the number
/// of such copies. For the rules see `File::renameWithTimestamp`.
///
/// Thread-safety: `run` may be called on any thread.
class FileRenaming
{
  public:
    /// Returns false, with nothing renamed, if the paths or the old copies cannot be examined. If
    /// there is nothing to rename, or renaming fails, returns true.
    [[nodiscard]] static bool run(const char* in_szPath, std::size_t in_uiMaxKept,
                                  const char* in_szTargetDir);

  private:
    /// The paths of the copies by modification time, oldest first.
    using Copies = std::map<ACE_Time_Value, std::string>;

    FileRenaming(const std::string& in_strSource, bool in_bIsDirectory,
                 const std::string& in_strTarget);

    /// Deletes the oldest copies until there is room for one more. Returns false if the directory
    /// of the copies cannot be read.
    [[nodiscard]] bool prune(std::size_t in_uiMaxKept) const;
    [[nodiscard]] Copies find(ItemReader& inout_directory) const;
    void discard(const std::string& in_strPath) const;

    void rename() const;
    [[nodiscard]] std::string newName() const;

    const std::string m_strSource;
    const bool m_bIsDirectory;
    /// The directory of the old copies; empty for the working directory.
    const std::string m_strTarget;
    std::string m_strBaseName;
    /// With its dot; empty if there is none.
    std::string m_strExtension;
};

} // namespace Velmora
