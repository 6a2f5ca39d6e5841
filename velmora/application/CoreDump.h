#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Would write a core of the running process to a file, which does not exist yet. What there is of
/// it: a file or a directory at the path, an earlier core, gets a name with the time, as by
/// `File::renameWithTimestamp`, and of such cores ten are kept. Then an assertion fails and nothing
/// is written.
///
/// Logs on "keswardin.infra.CoreDump".
///
/// Failure: always false. A name that is no regular expression throws as `BoostRegex` does.
/// Thread-safety: may be called on any thread.
VELMORA_API bool dumpCore(const char* in_szPath);

} // namespace Velmora
