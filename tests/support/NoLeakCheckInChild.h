// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Turns LeakSanitizer off in the children that a program forks. Include it in exactly one source
// file of the program.

#include <unistd.h>

namespace Velmora::Test
{

inline const pid_t s_pidOfProgram = getpid();

} // namespace Velmora::Test

/// LeakSanitizer calls this. A child has the memory to which only the stacks of its parent's
/// threads pointed, but not the threads, so all of that memory would be reported as leaked.
// NOLINTNEXTLINE(misc-definitions-in-headers)
extern "C" [[gnu::visibility("default")]] int __lsan_is_turned_off()
{
    return getpid() == Velmora::Test::s_pidOfProgram ? 0 : 1;
}
