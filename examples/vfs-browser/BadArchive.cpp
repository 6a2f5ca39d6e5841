// SPDX-License-Identifier: BSD-2-Clause

#include "BadArchive.h"

std::string BadArchive::printable(std::string_view in_text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr unsigned char ucFirstPrintable = ' ';
    constexpr unsigned char ucDelete = 0x7F;
    std::string strResult;
    for (const char c : in_text)
    {
        const auto uc = static_cast<unsigned char>(c);
        if (uc >= ucFirstPrintable && uc != ucDelete)
            strResult += c;
        else
            strResult += {'\\', 'x', digits[uc / digits.size()], digits[uc % digits.size()]};
    }
    return strResult;
}
