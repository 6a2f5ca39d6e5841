#pragma once

#include <sys/types.h>

namespace Velmora
{

/// Starts "/bin/sh -c" with a command in a child process, which has the descriptors 0 to 2 and no
/// other, the signal mask of the caller, and SIGCHLD at its default. A child that cannot start the
/// shell ends with exit code 1.
///
/// Failure: -1, with `errno`, when there is no child.
/// Thread-safety: may be called on any thread; only that one waits until the shell has started.
[[nodiscard]] pid_t startShell(const char* in_szCommand);

} // namespace Velmora
