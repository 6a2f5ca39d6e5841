// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// The severity of a log line; the numbers are those of log4cplus. A logger passes the lines whose
/// level is not below its own. Values between the named ones are legal.
enum LogLevel : int
{
    FATAL_LOG_LEVEL = 50000,
    ERROR_LOG_LEVEL = 40000,
    WARN_LOG_LEVEL = 30000,
    INFO_LOG_LEVEL = 20000,
    DEBUG_LOG_LEVEL = 10000,
    TRACE_LOG_LEVEL = 0,
    /// No level.
    NOT_SET_LOG_LEVEL = -1
};

/// Returns the level with the given name, such as "WARN_LOG_LEVEL", regardless of case. Returns
/// `NOT_SET_LOG_LEVEL` for any other text, including the names of log4cplus's levels for
/// "everything" and "nothing", and for a null pointer.
/// Thread-safety: may be called from any thread.
[[nodiscard]] VELMORA_API LogLevel parseLogLevelString(const char* in_szLogLevel);

} // namespace Velmora
