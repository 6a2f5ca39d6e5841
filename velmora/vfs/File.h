// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Operations on files and directories on the disk. Logs to "keswardin.infra.File".
///
/// Thread-safety: all functions may be called on any thread. They take no lock: two threads or
/// processes that work on the same path concurrently may see each other's work half done.
class VELMORA_API File
{
  public:
    File() = delete;

    /// Renames a file or a directory to an old copy of itself, beside it or in another directory:
    /// "report.log" becomes "report.2026_3_7_9_5_42.log", with the local time.
    ///
    /// Deletes the oldest copies first, by modification time, so that at most `in_uiMaxKept` copies
    /// remain, including the new one; 0 keeps all. Of several copies that were modified in the same
    /// second, only one is counted and only that one can be deleted.
    ///
    /// `in_szTargetDir` is made if its parent exists; null is the file's own directory. One '/' or
    /// '\' at the end of a path is ignored. Failures to delete an old copy and to rename are
    /// logged, but success is returned. Renaming fails from one file system to another.
    ///
    /// Old copies are found by a regular expression that contains the file's name and extension
    /// unescaped: a name with special characters matches other files, or none.
    ///
    /// Failure: returns 0 on success and 1 on an error. A path that does not exist, is null or
    /// cannot be examined counts as success. If a system call fails, an error with the path and the
    /// reason is logged. If the name makes no valid regular expression, throws as `BoostRegex`
    /// does.
    static int renameWithTimestamp(const char* in_szPath, unsigned int in_uiMaxKept,
                                   const char* in_szTargetDir);

    /// Deletes a file or an empty directory; with `in_bRecursive`, a directory with all its
    /// contents. A path that does not exist counts as deleted. With `in_bForce`, an item that
    /// cannot be deleted and that its owner may not write gets the mode 0200 first. A directory
    /// with that mode can be read by root only, so for other users the deletion then fails. With
    /// `in_bVerbose`, each deleted path is logged at INFO.
    ///
    /// Symbolic links are deleted and never followed, even if another process creates them
    /// concurrently. Only the directory part of `in_szPath` itself is followed. `in_szPath` must
    /// not be null. A mode can be changed only if `/proc` is mounted. Each level of directories
    /// takes one descriptor, and a path in the tree must be shorter than PATH_MAX.
    ///
    /// Failure: returns false at the first item that cannot be deleted; items that were deleted
    /// before are gone. An item that cannot be examined counts as deleted. If a system call fails,
    /// an error with the path and the reason is logged.
    static bool deleteFileDir(const char* in_szPath, bool in_bForce, bool in_bVerbose,
                              bool in_bRecursive);
};

} // namespace Velmora
