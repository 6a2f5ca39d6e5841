// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <ios>
#include <ostream>
#include <string_view>

namespace Velmora
{

/// A number in the form from which a value is read: the locale and the base of a stream have no
/// effect.
class NumberWritten
{
  public:
    template <class T>
    explicit NumberWritten(T in_iNumber) : m_end(toChars(in_iNumber))
    {
    }

    /// Formats a float with the notation and the precision of a stream.
    NumberWritten(float in_fNumber, const std::ios_base& in_stream)
        : m_end(toChars(in_fNumber, notationOf(in_stream),
                        static_cast<int>(std::min(in_stream.precision(), s_iMostDigits))))
    {
    }

    // `m_end` points into the object itself.
    NumberWritten(const NumberWritten&) = delete;
    NumberWritten& operator=(const NumberWritten&) = delete;

    friend std::ostream& operator<<(std::ostream& out_stream, const NumberWritten& in_number)
    {
        return out_stream << std::string_view(in_number.m_text.data(), in_number.m_end);
    }

  private:
    /// The largest number of digits of a float behind the point; further digits would be zeros.
    static constexpr std::streamsize s_iMostDigits = 149;

    static std::chars_format notationOf(const std::ios_base& in_stream)
    {
        const std::ios_base::fmtflags notation = in_stream.flags() & std::ios_base::floatfield;
        if (notation == std::ios_base::fixed)
            return std::chars_format::fixed;
        return notation == std::ios_base::scientific ? std::chars_format::scientific
                                                     : std::chars_format::general;
    }

    template <class... Arguments>
    char* toChars(Arguments... in_arguments)
    {
        return std::to_chars(m_text.data(), m_text.data() + m_text.size(), in_arguments...).ptr;
    }

    /// Large enough for the largest float in fixed notation with `s_iMostDigits` digits behind the
    /// point.
    std::array<char, 200> m_text;
    char* m_end;
};

} // namespace Velmora
