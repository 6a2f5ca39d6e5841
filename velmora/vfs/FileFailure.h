// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>

/// What the operations of `File` log about a system call that failed, on the logger of `File`.
///
/// Thread-safety: all functions may be called on any thread.
namespace Velmora::FileFailure
{

/// Returns whether the error of a failed `stat` means that the path does not exist.
[[nodiscard]] bool isMissing(int in_iError);

/// Logs the reason of a failure, after the line that reports the failure itself: "cannot ", what
/// was to be done, and the system's error text.
void logReason(const std::string& in_strWhat, int in_iError);

/// Logs that a path could not be examined, unless it does not exist.
void logUnseen(const std::string& in_strPath, int in_iError);

} // namespace Velmora::FileFailure
