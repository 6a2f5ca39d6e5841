// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/stat.h>

#include <string>

namespace Velmora
{

/// Deletes the item at a path, with its contents if it is a directory. For the rules see
/// `File::deleteFileDir`.
///
/// Each item is addressed by its name in the descriptor of its directory, never by its path:
/// another process may at any time replace a directory on the path by a symbolic link.
///
/// Thread-safety: may be used by one thread at a time.
class FileDeletion
{
  public:
    FileDeletion(bool in_bForce, bool in_bVerbose, bool in_bRecursive);

    /// Returns false at the first item that cannot be deleted.
    bool run(const char* in_szPath);

  private:
    bool remove(int in_iDirectory, const char* in_szName, bool in_bModeWasSet);
    bool setMode(int in_iDirectory, const char* in_szName, bool in_bModeWasSet);
    bool removeDirectory(int in_iDirectory, const char* in_szName, const struct stat& in_status);
    bool removeItems(int in_iDirectory, const char* in_szName, const struct stat& in_status);
    [[nodiscard]] bool isTooLong() const;
    void logDeleted() const;

    /// The path of the current item, for the log.
    std::string m_strPath;
    const bool m_bForce;
    const bool m_bVerbose;
    const bool m_bRecursive;
};

} // namespace Velmora
