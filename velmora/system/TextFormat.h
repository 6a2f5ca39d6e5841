#pragma once

#include "velmora/Export.h"

#include <cstdarg>
#include <string>

namespace Velmora
{

/// Formats as `printf` does, into a string that grows as the text needs. `out_strText` must not be
/// among the arguments.
///
/// The string is tried at its capacity, or at 128 characters if that is not above 128, and then at
/// twice the size before, as long as that is not above `in_uiMaxSize`; a size also holds the
/// terminator. So it is not the limit itself that a text must fit: one of 150 characters fails with
/// a limit of 200, since 128 is too little and 256 too much. The first size is tried whatever the
/// limit. No text is longer than the largest int.
///
/// Failure: false, and the text "???", for a text that does not fit, and for one that cannot be
/// formatted.
/// Thread-safety: may be called on any thread; a string belongs to one thread at a time.
[[gnu::format(printf, 3, 0)]] VELMORA_API bool vformat(std::string& out_strText,
                                                       unsigned long in_uiMaxSize,
                                                       const char* in_szFormat,
                                                       std::va_list in_args);

/// `vformat` with its arguments.
[[gnu::format(printf, 3, 4)]] VELMORA_API bool
format(std::string& out_strText, unsigned long in_uiMaxSize, const char* in_szFormat, ...);

/// `vformat` with its arguments and a limit of 4096.
[[gnu::format(printf, 2, 3)]] VELMORA_API bool format(std::string& out_strText,
                                                      const char* in_szFormat, ...);

} // namespace Velmora
