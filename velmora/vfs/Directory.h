// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Makes directories on the disk. Logs to "keswardin.infra.Directory".
///
/// Thread-safety: all functions may be called on any thread, concurrently even for the same path.
/// If several callers make the same directory, all of them succeed.
/// Failure: returns false and sets `errno`. Directories that were made before the failure remain.
class VELMORA_API Directory
{
  public:
    Directory() = delete;

    /// Makes a directory unless it exists. Returns true if the directory exists afterwards.
    ///
    /// A new directory gets the mode, less the bits of the process's umask. An existing one is not
    /// changed, whatever its mode. A symbolic link to a directory counts as a directory. With
    /// `in_bRecursive`, missing parents are made too, with the same mode. An existing directory
    /// costs one system call.
    ///
    /// The path must not be null. A path that ends in two or more '/' is treated as if it had no
    /// parent: its directory is made only if the one above it exists.
    [[nodiscard]] static bool make(const char* in_szPath, unsigned int in_uiMode,
                                   bool in_bRecursive);

    /// Makes the directory of a file, with its parents: the path up to the last '/' or '\'. Returns
    /// true at once for a name without a directory and for a file in the root.
    [[nodiscard]] static bool makeFromFullFilePath(const std::string& in_strFilePath,
                                                   unsigned int in_uiMode);
};

} // namespace Velmora
