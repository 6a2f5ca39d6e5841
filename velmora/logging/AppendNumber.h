// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <array>
#include <charconv>
#include <string>

namespace Velmora
{

/// Appends an integer in decimal.
template <class Number>
void appendNumber(std::string& inout_strText, Number in_number)
{
    // Large enough for a sign and 64 bits.
    std::array<char, 24> digits;
    char* const pEnd = std::to_chars(digits.data(), digits.data() + digits.size(), in_number).ptr;
    inout_strText.append(digits.data(), pEnd);
}

/// Appends a number in hexadecimal, with that many digits.
inline void appendHex(std::string& inout_strText, unsigned int in_uiNumber, int in_iDigits)
{
    for (int iShift = 4 * (in_iDigits - 1); iShift >= 0; iShift -= 4)
        inout_strText += "0123456789abcdef"[in_uiNumber >> iShift & 0xf];
}

} // namespace Velmora
