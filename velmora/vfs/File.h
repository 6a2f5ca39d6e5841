#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Operations on files and directories on the disk. Logs on "keswardin.infra.File".
///
/// Thread-safety: all functions may be called on any thread. None takes a lock: two threads or
/// processes that work at one path at a time may find the other's work half done.
class VELMORA_API File
{
  public:
    File() = delete;

    /// Keeps a file or a directory as one of the old copies of it, by a new name beside it or in
    /// another directory: "report.log" becomes "report.2026_3_7_9_5_42.log", with the local time.
    /// Makes room first: of the old copies there, with the new one, no more than `in_uiMaxKept`
    /// remain, the youngest by the time of their last change; 0 keeps all. Two copies that were
    /// changed in the same second count as one, and only one of them may go.
    ///
    /// Another directory than its own is made when its parent is there. One '/' or '\' at the end
    /// of a path is left out. What is deleted for room, and the renaming itself, may fail with no
    /// sign but in the log; the renaming does from one file system to another.
    ///
    /// The old copies are found by a regular expression, in which the name and the extension stand
    /// as they are: a name with characters that are special there finds other files, or none.
    ///
    /// Failure: 0 is success, also when there is nothing to rename, as for a null path, and when
    /// the path cannot be looked at; 1 is an error. What the system refuses is an error in the log,
    /// with the path and the reason. A name that is no regular expression throws as `BoostRegex`
    /// does.
    static int renameWithTimestamp(const char* in_szPath, unsigned int in_uiMaxKept,
                                   const char* in_szTargetDir);

    /// Deletes a file, or an empty directory; recursively a directory with all that is in it. What
    /// is not there counts as deleted. With `in_bForce`, what its owner may not write and cannot be
    /// deleted gets the mode 0200 first, so that of a directory only root can then delete more.
    /// With `in_bVerbose`, a line at INFO tells each path that has gone.
    ///
    /// A symbolic link is deleted and never followed, whoever puts it there while this works. The
    /// path itself is followed up to its last name, and must not be null. A mode is changed only
    /// where `/proc` is to be had. Each level of directories takes one descriptor, and a path in
    /// the tree must not be longer than the system takes.
    ///
    /// Failure: false at the first that cannot be deleted; what has gone has gone. What cannot be
    /// looked at counts as not there. What the system refuses is an error in the log, with the path
    /// and the reason.
    static bool deleteFileDir(const char* in_szPath, bool in_bForce, bool in_bVerbose,
                              bool in_bRecursive);
};

} // namespace Velmora
