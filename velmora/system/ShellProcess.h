// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/types.h>

namespace Velmora
{

/// Starts "/bin/sh -c" with a command in a child process. The child has the descriptors 0 to 2 and
/// no others, the signal mask of the caller, and the default handling of SIGCHLD. A child that
/// cannot start the shell exits with code 1.
///
/// Failure: returns -1 and sets `errno` when the child cannot be created.
/// Thread-safety: may be called on any thread; only the calling thread waits until the shell has
/// started.
[[nodiscard]] pid_t startShell(const char* in_szCommand);

} // namespace Velmora
