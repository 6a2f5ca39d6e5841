// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/CrashParameters.h"

namespace Velmora
{

class ROConfiguration;

/// Prepares the process for core dumps if `keswardin.infra.coreDump.writeOnCrash` is true. It
/// removes the limit on the size of core files, and changes the working directory of the whole
/// process to the directory for cores. Relative paths that are opened later start there. No signal
/// is handled: the kernel writes the core. Logs a warning if `keswardin.infra.abortOnAssert` is
/// true.
///
/// Logs on "keswardin.infra.crash".
///
/// Failure: if the limit cannot be raised, logs a warning and leaves the working directory as it
/// was. If the working directory cannot be changed, logs the reason at INFO. The result is always
/// true, since a program also starts without core dumps.
/// Thread-safety: to be called at the start of a program, before it has other threads.
VELMORA_API bool configureCrashHandling(const ROConfiguration& in_configuration);

/// Calls `configureCrashHandling` with the default values of all known parameters: cores without a
/// limit, in the directory where the program was started.
///
/// Failure, thread-safety: as `configureCrashHandling`.
VELMORA_API bool configureDefaultCrashHandling();

} // namespace Velmora
