// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <string_view>

namespace GatewayExample
{

/// Returns whether two texts are the same, in any case. The names of SIP and of session
/// descriptions are of ASCII, so no locale has a say.
constexpr bool equalsIgnoringCase(std::string_view in_strOne, std::string_view in_strOther)
{
    constexpr auto lower = [](char in_c)
    { return in_c >= 'A' && in_c <= 'Z' ? static_cast<char>(in_c - 'A' + 'a') : in_c; };
    return std::ranges::equal(in_strOne, in_strOther, {}, lower, lower);
}

} // namespace GatewayExample
