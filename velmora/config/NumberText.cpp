// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/NumberText.h"

#include "velmora/system/ClassicText.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace Velmora
{

namespace
{

constexpr std::uint64_t s_uiLargestUnsigned = std::numeric_limits<std::uint32_t>::max();
/// The magnitude of the smallest int.
constexpr std::uint64_t s_uiLargestNegated = std::uint64_t{1} << 31;

/// Reads one or more digits whose number is at most `in_uiLargest`.
template <unsigned int t_uiBase>
bool readDigits(std::string_view in_digits, std::uint64_t in_uiLargest, std::uint64_t& out_uiValue)
{
    if (in_digits.empty())
        return false;
    std::uint64_t uiValue = 0;
    for (const char character : in_digits)
    {
        const unsigned int uiDigit = ClassicText::valueOfHexDigit(character);
        if (uiDigit >= t_uiBase)
            return false;
        uiValue = uiValue * t_uiBase + uiDigit;
        if (uiValue > in_uiLargest)
            return false;
    }
    out_uiValue = uiValue;
    return true;
}

template <unsigned int t_uiBase>
bool readUnsigned(std::string_view in_digits, int& out_iValue)
{
    std::uint64_t uiValue = 0;
    if (!readDigits<t_uiBase>(in_digits, s_uiLargestUnsigned, uiValue))
        return false;
    // Numbers above the largest int become negative, as the low 32 bits of a long would.
    out_iValue = static_cast<int>(static_cast<std::uint32_t>(uiValue));
    return true;
}

bool readNegated(std::string_view in_digits, int& out_iValue)
{
    std::uint64_t uiValue = 0;
    if (!readDigits<10>(in_digits, s_uiLargestNegated, uiValue))
        return false;
    out_iValue = static_cast<int>(-static_cast<std::int64_t>(uiValue));
    return true;
}

bool beginsWithDigitOrPoint(std::string_view in_text)
{
    return !in_text.empty() && (ClassicText::isDigit(in_text.front()) || in_text.front() == '.');
}

/// Reads a number whose magnitude is too large or too small for a float. `std::from_chars` does not
/// report which; `strtof_l` does, but slowly.
bool readOutOfRangeFloat(std::string_view in_text, float& out_fValue)
{
    static const locale_t s_classicLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    const float fValue = strtof_l(std::string(in_text).c_str(), nullptr, s_classicLocale);
    if (std::isinf(fValue))
        return false;
    out_fValue = fValue;
    return true;
}

} // namespace

bool NumberText::readDecimal(std::string_view in_text, int& out_iValue)
{
    if (in_text.starts_with('-'))
        return readNegated(in_text.substr(1), out_iValue);
    if (in_text.starts_with('+'))
        in_text.remove_prefix(1);
    return readUnsigned<10>(in_text, out_iValue);
}

bool NumberText::readHexadecimal(std::string_view in_text, int& out_iValue)
{
    return in_text.starts_with("0x") && readUnsigned<16>(in_text.substr(2), out_iValue);
}

bool NumberText::readOctal(std::string_view in_text, int& out_iValue)
{
    return readUnsigned<8>(in_text, out_iValue);
}

bool NumberText::readFloat(std::string_view in_text, float& out_fValue)
{
    // Stream extraction accepts a plus sign and rejects "inf" and "nan"; std::from_chars does the
    // opposite.
    const bool bSign = in_text.starts_with('+') || in_text.starts_with('-');
    if (!beginsWithDigitOrPoint(in_text.substr(bSign ? 1 : 0)))
        return false;
    if (in_text.front() == '+')
        in_text.remove_prefix(1);

    const char* const pEnd = in_text.data() + in_text.size();
    float fValue = 0;
    const auto [pRest, error] = std::from_chars(in_text.data(), pEnd, fValue);
    if (pRest != pEnd)
        return false;
    if (error == std::errc::result_out_of_range)
        return readOutOfRangeFloat(in_text, out_fValue);
    out_fValue = fValue;
    return true;
}

} // namespace Velmora
