// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/OwnedDescriptor.h"

#include <sys/types.h>

#include <string>

namespace Velmora
{

/// The result of `openTrusted`.
struct TrustedOpen
{
    /// Open if the file could be opened.
    OwnedDescriptor descriptor{};
    /// The system's error if it could not.
    int iError = 0;
    /// The path of the symbolic link that was not followed, and the user that owns it. Empty if
    /// that is not the reason.
    std::string strLink{};
    uid_t uiOwner = 0;
};

/// Opens a file as open(2) does, but follows a symbolic link only if it belongs to root or to the
/// effective user of the process. Otherwise a user who may write to a directory on the path could
/// make the process write to a file of his choice. A link to a descriptor in /proc, such as
/// /dev/stdout, is followed in the same case.
///
/// With `in_bMakesDirectories`, missing directories on the path are made, with the mode 0755 less
/// the umask of the process.
///
/// Each link on the path is checked and followed by way of descriptors, so that it cannot be
/// exchanged in between.
///
/// Thread-safety: may be called on any thread.
/// Failure: gives the error; ELOOP for a link that is not followed. Throws `std::bad_alloc`.
TrustedOpen openTrusted(const std::string& in_strPath, int in_iFlags, mode_t in_uiMode,
                        bool in_bMakesDirectories = false);

} // namespace Velmora
