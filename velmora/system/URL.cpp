// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/URL.h"

#include "velmora/system/ClassicText.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

namespace Velmora
{

namespace
{

bool isHexDigit(char in_character)
{
    return ClassicText::valueOfHexDigit(in_character) != ClassicText::s_uiNoDigit;
}

/// Returns whether a '%' at this position begins an encoded byte.
bool isByteAt(const std::string& in_strText, std::size_t in_uiPosition)
{
    return in_strText.size() - in_uiPosition > 2 && isHexDigit(in_strText[in_uiPosition + 1]) &&
           isHexDigit(in_strText[in_uiPosition + 2]);
}

char byteAt(const std::string& in_strText, std::size_t in_uiPosition)
{
    const char szDigits[] = {in_strText[in_uiPosition + 1], in_strText[in_uiPosition + 2], '\0'};
    return static_cast<char>(std::strtol(szDigits, nullptr, 16));
}

} // namespace

void URL::decode(const std::string& in_strEncoded, std::string& out_strDecoded)
{
    // Built apart from the output, which may be the input.
    std::string strDecoded;
    strDecoded.reserve(in_strEncoded.size());
    for (std::size_t i = 0; i < in_strEncoded.size(); ++i)
    {
        if (in_strEncoded[i] == '+')
            strDecoded += ' ';
        else if (in_strEncoded[i] == '%' && isByteAt(in_strEncoded, i))
        {
            strDecoded += byteAt(in_strEncoded, i);
            i += 2;
        }
        else
            strDecoded += in_strEncoded[i];
    }
    out_strDecoded = std::move(strDecoded);
}

} // namespace Velmora
