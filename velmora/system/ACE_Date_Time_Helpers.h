// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <ace/Date_Time.h>

#include <iosfwd>

namespace Velmora
{

/// Functions for the dates of ACE. They use only year, month and day. Logs on
/// "keswardin.infra.ACE_Date_Time_Helpers".
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API ACE_Date_Time_Helpers
{
  public:
    /// Reads a date such as 20260307 from the first eight characters of a number's decimal text:
    /// four for the year, two for the month, two for the day. Further characters are ignored. Month
    /// and day are not checked.
    /// Failure: returns false for a number of less than eight characters; the date is unchanged.
    [[nodiscard]] static bool intToDate_Time(int in_iDate, ACE_Date_Time& out_date);
};

// The operators are in this namespace; code in other namespaces names them in a using-declaration.

/// Returns whether the left date is later.
[[nodiscard]] VELMORA_API bool operator>(const ACE_Date_Time& in_left,
                                         const ACE_Date_Time& in_right);

/// Writes a date for the log: year, month and day without separators. Each width is set after the
/// number before it, so widths apply one field late: the year has the width that the stream had,
/// the month has 4, the day has 2, and a width of 2 is left for the next output. The fill character
/// is the stream's.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ACE_Date_Time& in_date);

} // namespace Velmora
