#pragma once

#include "velmora/Export.h"
#include "velmora/application/Fallible.h"
#include "velmora/logging/LogLevel.h"

namespace Velmora
{

// The levels of syslog are its severities, 0 (emergency) to 7 (debug). The two maps are not inverse
// to each other: what goes out at one level may come back at another.

/// The severity of a line of one of the named levels: 2 for FATAL, then one more for each level
/// down to 7 for TRACE. Any other level has none, those between the named ones among them.
/// Thread-safety: may be called on any thread.
[[nodiscard]] VELMORA_API Fallible<unsigned> loglevelToSyslogLevel(LogLevel in_logLevel);

/// The level of a severity: FATAL for 0, ERROR for 1 to 3, WARN for 4, INFO for 5 and 6, DEBUG for
/// 7. A larger number is no severity.
/// Thread-safety: may be called on any thread.
[[nodiscard]] VELMORA_API Fallible<LogLevel> syslogLevelToLoglevel(unsigned in_uiSyslogLevel);

/// Logs a line on "keswardin.infra.Syslog", for a library that reports through a call like that of
/// syslog: a severity, without a facility added to it, and what `printf` takes.
///
/// Thread-safety: may be called on any thread.
/// Failure: a text of more than 1023 bytes, or one that cannot be formatted, is dropped, with a
/// line at ERROR in its place. A number that is no severity draws a line at ERROR, and the text
/// follows at ERROR.
[[gnu::format(printf, 2, 3)]] VELMORA_API void syslogToLogger(int in_iSyslogLevel,
                                                              const char* in_szFormat, ...);

} // namespace Velmora
