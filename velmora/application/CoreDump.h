#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Would write a core of the running process to a file, which does not exist yet: an assertion
/// fails and nothing is written. The path is not used.
///
/// Logs on "keswardin.infra.CoreDump".
///
/// Failure: always false.
/// Thread-safety: may be called on any thread.
VELMORA_API bool dumpCore(const char* in_szPath);

} // namespace Velmora
