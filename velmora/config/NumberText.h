#pragma once

#include <string_view>

namespace Velmora
{

/// Reads numbers out of text by the rules of the standard stream extraction in the classic locale,
/// without its cost. A text is read when the whole of it is one number; blanks are no part of a
/// number.
///
/// An integer is read when it fits a signed or an unsigned integer of 32 bits, and is then
/// truncated to 32 bits: 4294967295 reads as -1.
///
/// Failure: false, with the output as it was.
/// Thread-safety: all operations may be called on any thread.
class NumberText
{
  public:
    /// Decimal digits, with a sign or without.
    [[nodiscard]] static bool readDecimal(std::string_view in_text, int& out_iValue);

    /// Hexadecimal digits of either case behind the prefix "0x".
    [[nodiscard]] static bool readHexadecimal(std::string_view in_text, int& out_iValue);

    /// Octal digits without a sign.
    [[nodiscard]] static bool readOctal(std::string_view in_text, int& out_iValue);

    /// A decimal fraction with an exponent or without, rounded to the nearest float. What is too
    /// small for a float reads as 0; what is too large is not read.
    [[nodiscard]] static bool readFloat(std::string_view in_text, float& out_fValue);
};

} // namespace Velmora
