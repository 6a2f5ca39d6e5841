// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstdint>

namespace GatewayExample
{

/// The UDP ports that RTP may use. RTP takes the even ones, RTCP the odd one above each.
struct PortRange
{
    std::uint16_t uiFirst;
    std::uint16_t uiLast;
};

} // namespace GatewayExample
