// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora
{

class ACEBackend;

/// What the lowest classes of this room need from higher ones. Each function is defined in the
/// source that provides it.
namespace LoggingSeam
{

/// Makes the bridge from ACE, which initializes log4cplus, as `getACEBackend` does. `Logger` calls
/// it for each logger. Defined in ACEBackend.cpp.
ACEBackend* makeBridge();

/// Logs the exception that is being handled, which an appender has thrown at a line of
/// `DeferredLine`. The report goes to the logger with the given name. Defined in
/// WithoutThrowing.cpp.
void logFailureOfLine(const char* in_szLogger) noexcept;

} // namespace LoggingSeam

} // namespace Velmora
