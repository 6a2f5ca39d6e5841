#pragma once

#include "velmora/Export.h"

namespace Velmora
{

class ROConfiguration;

/// Whether the process prepares for core dumps: a bool, true by default.
inline constexpr const char* s_szINFRA_COREDUMP_WRITEONCRASH_PARAM =
    "keswardin.infra.coreDump.writeOnCrash";

/// The directory where core dumps land: a string without a default. Without it they land in the
/// current directory.
inline constexpr const char* s_szINFRA_COREDUMP_WRITEONCRASH_PATH_PARAM =
    "keswardin.infra.coreDump.writeOnCrash.path";

/// Prepares the process for core dumps, where `keswardin.infra.coreDump.writeOnCrash` is true: the
/// size of a core file is no longer limited, and the working directory of the whole process becomes
/// the directory where cores are to land, so that relative paths that are opened later start there.
/// No signal is handled: the kernel writes the core. Warns where `keswardin.infra.abortOnAssert` is
/// true.
///
/// Logs on "keswardin.infra.crash".
///
/// Failure: a limit that cannot be raised is a warning, and the working directory then stays; so it
/// does where it cannot be changed, which the log tells at INFO. The result is always true, since
/// no program refuses to start for want of core dumps.
/// Thread-safety: for the start of a program, before it has other threads.
VELMORA_API bool configureCrashHandling(const ROConfiguration& in_configuration);

/// `configureCrashHandling` with the default values of all known parameters: cores without limit in
/// the directory where the program was started.
///
/// Failure, thread-safety: as `configureCrashHandling`.
VELMORA_API bool configureDefaultCrashHandling();

} // namespace Velmora
