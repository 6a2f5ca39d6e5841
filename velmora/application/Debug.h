#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Logs "aborting" at FATAL if logging is configured, closes all appenders and flushes standard
/// output, so that nothing that they buffer is lost, and ends the process with SIGABRT. Works until
/// static destructors have ended logging, also once the exit list has run.
///
/// Thread-safety: may be called on any thread.
[[noreturn]] VELMORA_API void abort() noexcept;

} // namespace Velmora
