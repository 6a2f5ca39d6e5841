// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Fallible.h"
#include "velmora/logging/LogLevel.h"

namespace Velmora
{

// The levels of syslog are its severities, 0 (emergency) to 7 (debug). The two conversions are not
// inverse to each other: a line that goes out at one level may come back at another.

/// Returns the severity of a named level: 2 for FATAL, then one more for each level down to 7 for
/// TRACE. Any other level, including those between the named ones, has no severity.
/// Thread-safety: may be called from any thread.
[[nodiscard]] VELMORA_API Fallible<unsigned> loglevelToSyslogLevel(LogLevel in_logLevel);

/// Returns the level of a severity: FATAL for 0, ERROR for 1 to 3, WARN for 4, INFO for 5 and 6,
/// DEBUG for 7. A larger number is not a severity, and has no level.
/// Thread-safety: may be called from any thread.
[[nodiscard]] VELMORA_API Fallible<LogLevel> syslogLevelToLoglevel(unsigned in_uiSyslogLevel);

/// Logs a line on "keswardin.infra.Syslog", for a library that reports through a function like
/// `syslog`. Takes a severity, without a facility added to it, and the arguments of `printf`.
///
/// Thread-safety: may be called from any thread.
/// Failure: a text of more than 1023 bytes, or one that cannot be formatted, is dropped, and a line
/// at ERROR is logged in its place. For a number that is not a severity, a line at ERROR is logged,
/// and the text follows at ERROR.
[[gnu::format(printf, 2, 3)]] VELMORA_API void syslogToLogger(int in_iSyslogLevel,
                                                              const char* in_szFormat, ...);

} // namespace Velmora
