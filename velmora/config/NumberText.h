// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string_view>

namespace Velmora
{

/// Parses numbers by the rules of the standard stream extraction in the classic locale, without the
/// cost of a stream. A text is accepted only if all of it is one number; blanks are not part of a
/// number.
///
/// An integer is accepted if it fits into 32 bits, signed or unsigned, and is then truncated to 32
/// bits: 4294967295 reads as -1.
///
/// Failure: returns false and leaves the output unchanged.
/// Thread-safety: all operations may be called on any thread.
class NumberText
{
  public:
    /// Reads decimal digits, with or without a sign.
    [[nodiscard]] static bool readDecimal(std::string_view in_text, int& out_iValue);

    /// Reads hexadecimal digits of either case behind the prefix "0x".
    [[nodiscard]] static bool readHexadecimal(std::string_view in_text, int& out_iValue);

    /// Reads octal digits without a sign.
    [[nodiscard]] static bool readOctal(std::string_view in_text, int& out_iValue);

    /// Reads a decimal fraction, with or without an exponent, rounded to the nearest float. A
    /// number that is too small for a float reads as 0; one that is too large is rejected.
    [[nodiscard]] static bool readFloat(std::string_view in_text, float& out_fValue);
};

} // namespace Velmora
