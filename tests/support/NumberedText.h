// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <string>

namespace Velmora::Test
{

/// Returns a text of four-digit numbers from 1000 on, in which each position can be recognised.
inline std::string numberedText(std::size_t in_uiLength)
{
    std::string strText;
    for (int iNumber = 1000; strText.size() < in_uiLength; ++iNumber)
        strText += std::to_string(iNumber);
    strText.resize(in_uiLength);
    return strText;
}

} // namespace Velmora::Test
