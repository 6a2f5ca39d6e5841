// SPDX-License-Identifier: BSD-2-Clause

// Reads any text as an escaped one. What was read must be read again from its own escaped form, and
// a text that is refused must leave the output as it was.

#include "velmora/logging/EscapedText.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace Velmora;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    const std::string_view input(reinterpret_cast<const char*>(in_pData), in_uiSize);
    std::string strText = "before";
    if (!EscapedText::read(strText, input))
    {
        if (strText != "before")
            std::abort();
        return 0;
    }
    std::string strEscaped;
    EscapedText::append(strEscaped, strText);
    std::string strAgain;
    if (!EscapedText::read(strAgain, strEscaped) || strAgain != strText)
        std::abort();
    // The lengths of its characters add up.
    std::size_t uiLength = 0;
    while (uiLength < strEscaped.size())
        uiLength += EscapedText::lengthOfFirst(std::string_view(strEscaped).substr(uiLength));
    if (uiLength != strEscaped.size())
        std::abort();
    return 0;
}
