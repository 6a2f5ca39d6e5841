#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Makes directories on the disk. Logs on "keswardin.infra.Directory".
///
/// Failure: false, with the reason in `errno`; as far as it came, directories stay.
/// Thread-safety: all functions may be called on any thread, also for the same path at a time: each
/// caller succeeds, whoever was faster.
class VELMORA_API Directory
{
  public:
    Directory() = delete;

    /// Sees to it that there is a directory at a path. What it makes gets a mode, from which the
    /// process's mask of file modes takes bits away; one that is there stays as it is, whatever it
    /// permits. A link to a directory is as good. Recursively it makes the parents as well, with
    /// the same mode. One that is there costs one call of the system.
    ///
    /// The path must not be null. One that ends with more than one '/' has no parent here, and its
    /// directory is made only where the one above it is there.
    [[nodiscard]] static bool make(const char* in_szPath, unsigned int in_uiMode,
                                   bool in_bRecursive);

    /// Makes the directory of a file, with its parents: what stands before the last '/' or '\'. For
    /// a name alone nothing is to be done, nor for a file in the root.
    [[nodiscard]] static bool makeFromFullFilePath(const std::string& in_strFilePath,
                                                   unsigned int in_uiMode);
};

} // namespace Velmora
