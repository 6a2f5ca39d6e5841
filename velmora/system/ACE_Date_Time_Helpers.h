#pragma once

#include "velmora/Export.h"

#include <ace/Date_Time.h>

#include <iosfwd>

namespace Velmora
{

/// Helpers for the dates of ACE. Only year, month and day play a part. Logs on
/// "keswardin.infra.ACE_Date_Time_Helpers".
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API ACE_Date_Time_Helpers
{
  public:
    /// Reads a date such as 20260307 from the first eight characters of a number's decimal text:
    /// four for the year, two for the month, two for the day. The rest of a longer number does not
    /// count, and it is not looked whether there is such a month or day.
    /// Failure: false, and the date as it was, for a number of less than eight characters.
    [[nodiscard]] static bool intToDate_Time(int in_iDate, ACE_Date_Time& out_date);
};

// The operators stand in this namespace; code elsewhere names them in a using-declaration.

/// Whether the left date is the later one.
[[nodiscard]] VELMORA_API bool operator>(const ACE_Date_Time& in_left,
                                         const ACE_Date_Time& in_right);

/// Writes a date for the log: year, month and day without anything between them. Widths lag one
/// behind, since each is set after the number before it: the year has whatever width the stream
/// had, the month has 4, the day 2, and a width of 2 is left for what comes next. The fill is the
/// stream's.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ACE_Date_Time& in_date);

} // namespace Velmora
