#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Prepares to write a core of the running process, but does not write one: that is not
/// implemented. A file or directory at the path, such as an earlier core, is renamed with the time
/// (see `File::renameWithTimestamp`). Ten such files are kept. Then an assertion fails.
///
/// Logs on "keswardin.infra.CoreDump".
///
/// Failure: always returns false. A name that is not a regular expression throws as `BoostRegex`
/// does.
/// Thread-safety: may be called on any thread.
VELMORA_API bool dumpCore(const char* in_szPath);

} // namespace Velmora
