// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstdint>
#include <string>

namespace GatewayExample
{

/// The UDP ports that RTP may use. RTP takes the even ones, RTCP the odd one above each.
struct PortRange
{
    /// Reads a range such as "20000-29999".
    ///
    /// Failure: throws `std::invalid_argument` with the reason.
    [[nodiscard]] static PortRange read(const std::string& in_strText);

    /// The first even port.
    [[nodiscard]] unsigned int firstEven() const { return (uiFirst + 1U) & ~1U; }

    /// The number of even ports with the port above them in the range, which is the number of calls
    /// that the range has ports for.
    [[nodiscard]] unsigned int pairs() const
    {
        return uiLast > firstEven() ? (uiLast - firstEven() + 1U) / 2 : 0;
    }

    std::uint16_t uiFirst;
    std::uint16_t uiLast;
};

} // namespace GatewayExample
