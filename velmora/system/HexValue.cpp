// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/HexValue.h"

#include "velmora/system/StringHelpers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <ios>
#include <ostream>
#include <string>

namespace Velmora
{

namespace
{

/// Returns the digits as text, so that no locale groups them, with the prefix if the stream shows
/// it.
std::string textOf(const HexValue& in_value, std::ios_base::fmtflags in_flags)
{
    std::array<char, 2 * sizeof(unsigned long)> digits{};
    char* const pEnd =
        std::to_chars(digits.data(), digits.data() + digits.size(), in_value.getValue(), 16).ptr;
    std::string strText(digits.data(), pEnd);
    if ((in_flags & std::ios_base::showbase) != 0 && in_value.getValue() != 0)
    {
        // The fill comes between the prefix and the digits. A stream does that for numbers, but not
        // for a text.
        const auto uiWidth = static_cast<std::size_t>(std::max(in_value.getWidth(), 2) - 2);
        if ((in_flags & std::ios_base::adjustfield) == std::ios_base::internal)
            strText.insert(0, uiWidth - std::min(uiWidth, strText.size()), '0');
        strText.insert(0, "0x");
    }
    if ((in_flags & std::ios_base::uppercase) != 0)
        strToUpper(strText);
    return strText;
}

} // namespace

std::ostream& operator<<(std::ostream& out_stream, const HexValue& in_value)
{
    const char cFill = out_stream.fill('0');
    out_stream.width(in_value.getWidth());
    out_stream << textOf(in_value, out_stream.flags());
    out_stream.fill(cFill);
    return out_stream;
}

} // namespace Velmora
