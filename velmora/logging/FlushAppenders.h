// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace Velmora
{

/// Writes what the file appenders of all loggers have buffered: those of the library and of
/// log4cplus.
///
/// Thread-safety: may be called on any thread, as a log line.
void flushAppenders();

} // namespace Velmora
