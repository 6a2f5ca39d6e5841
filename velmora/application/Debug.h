#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Logs "aborting" at FATAL if logging is configured, closes all appenders so that nothing that
/// they buffer is lost, and ends the process with SIGABRT.
///
/// Thread-safety: may be called on any thread.
[[noreturn]] VELMORA_API void abort();

} // namespace Velmora
