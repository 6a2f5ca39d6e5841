// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterRow.h"

#include <ostream>
#include <string>
#include <string_view>

namespace Velmora
{

/// Rows are equal if all their fields are.
inline bool operator==(const ParameterRow& in_left, const ParameterRow& in_right)
{
    const auto isSame = [](const char* in_szLeft, const char* in_szRight)
    {
        return in_szLeft == nullptr || in_szRight == nullptr
                   ? in_szLeft == in_szRight
                   : std::string_view(in_szLeft) == in_szRight;
    };
    return isSame(in_left.szName, in_right.szName) && in_left.type == in_right.type &&
           isSame(in_left.szDefault, in_right.szDefault) &&
           in_left.bRunTimeSettable == in_right.bRunTimeSettable &&
           in_left.bDeprecated == in_right.bDeprecated &&
           isSame(in_left.szDescription, in_right.szDescription);
}

inline std::ostream& operator<<(std::ostream& out_stream, const ParameterRow& in_row)
{
    const auto text = [](const char* in_szText)
    { return in_szText != nullptr ? '"' + std::string(in_szText) + '"' : std::string("none"); };
    return out_stream << text(in_row.szName) << ' ' << ParameterValue::getTypeAsString(in_row.type)
                      << ' ' << text(in_row.szDefault) << ' ' << in_row.bRunTimeSettable << ' '
                      << in_row.bDeprecated << ' ' << text(in_row.szDescription);
}

} // namespace Velmora
