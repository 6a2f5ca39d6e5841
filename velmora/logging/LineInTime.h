// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Logger.h"

#include <string>

namespace Velmora
{

/// Logs a line. Writes it to standard error instead if an appender of the logger has been busy with
/// another line for a second. Used to report that something hangs, which must not hang itself.
///
/// Thread-safety: may be called from any thread.
/// Failure: does not throw. A line that can be neither logged nor written is lost.
void logInTime(const Logger& in_logger, LogLevel in_logLevel, const std::string& in_strText,
               const char* in_szFile, int in_iLine) noexcept;

} // namespace Velmora
