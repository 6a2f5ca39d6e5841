// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstdarg>
#include <string>

namespace Velmora
{

/// Formats like `printf` into a string that grows as needed. `out_strText` must not be among the
/// arguments.
///
/// The first size that is tried is the string's capacity, at least 128. Then the size is doubled as
/// long as the result is not above `in_uiMaxSize`. A size includes the terminator. So a text that
/// fits the limit may still fail: with a limit of 200, a text of 150 characters fails, because 128
/// is too small and 256 is above the limit. The first size is tried whatever the limit is. No text
/// is longer than the largest int.
///
/// Failure: returns false and sets the text "???" for a text that does not fit, or that cannot be
/// formatted.
/// Thread-safety: may be called on any thread; a string belongs to one thread at a time.
[[gnu::format(printf, 3, 0)]] VELMORA_API bool vformat(std::string& out_strText,
                                                       unsigned long in_uiMaxSize,
                                                       const char* in_szFormat,
                                                       std::va_list in_args);

/// Calls `vformat` with these arguments.
[[gnu::format(printf, 3, 4)]] VELMORA_API bool
format(std::string& out_strText, unsigned long in_uiMaxSize, const char* in_szFormat, ...);

/// Calls `vformat` with these arguments and a limit of 4096.
[[gnu::format(printf, 2, 3)]] VELMORA_API bool format(std::string& out_strText,
                                                      const char* in_szFormat, ...);

} // namespace Velmora
