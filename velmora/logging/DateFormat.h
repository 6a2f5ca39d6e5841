// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/helpers/timehelper.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

/// The date of log lines in a form of `strftime`, with `%q` for milliseconds, `%Q` for milliseconds
/// with three decimals, and `%s` for seconds since 1970, as in log4cplus's layouts. The text is
/// formatted once a second; the parts of a second are written into it for each line.
///
/// Thread-safety: none; the owner guards it.
class DateFormat
{
  public:
    enum class Zone
    {
        utc,
        local
    };

    DateFormat(std::string_view in_format, Zone in_zone);

    /// Appends the date of a time. A form that `strftime` cannot write gives no text.
    /// Failure: throws `std::bad_alloc`.
    void append(std::string& inout_strText, const log4cplus::helpers::Time& in_time);

  private:
    enum class Kind
    {
        /// Is written by `strftime`.
        format,
        milliseconds,
        millisecondsWithDecimals,
        seconds
    };
    struct Part
    {
        Kind kind;
        /// With a blank at its end, for `Kind::format`.
        std::string strFormat;
    };
    /// A place in the text of the second that is different in each line.
    struct Place
    {
        Kind kind;
        std::size_t uiOffset;
    };

    void addFormat(char in_cSign);
    void formatSecond(std::time_t in_second);
    void appendFormatted(const std::string& in_strFormat, const std::tm& in_time);

    Zone m_zone;
    std::vector<Part> m_parts;
    /// The text of `m_second`.
    std::string m_strText;
    std::vector<Place> m_places;
    bool m_bHasSecond = false;
    std::time_t m_second = 0;
};

} // namespace Velmora
