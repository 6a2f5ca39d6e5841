// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// Splits a text into its lines.
inline std::vector<std::string> linesOf(const std::string& in_strText)
{
    std::vector<std::string> result;
    std::istringstream text(in_strText);
    for (std::string line; std::getline(text, line);)
        result.push_back(line);
    return result;
}

} // namespace Velmora::Test
