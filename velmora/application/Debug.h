// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Ends the process with SIGABRT. Before that it logs "aborting" at FATAL if logging is configured,
/// closes all appenders and flushes standard output, so that no buffered line is lost. Works until
/// static destructors have ended logging, also after the exit list has run.
///
/// Thread-safety: may be called on any thread.
[[noreturn]] VELMORA_API void abort() noexcept;

} // namespace Velmora
