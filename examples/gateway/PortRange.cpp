// SPDX-License-Identifier: BSD-2-Clause

#include "PortRange.h"

#include "Port.h"

#include <stdexcept>
#include <string_view>

namespace GatewayExample
{

PortRange PortRange::read(const std::string& in_strText)
{
    const std::string_view strText = in_strText;
    const std::size_t uiDash = strText.find('-');
    if (uiDash == 0 || uiDash == std::string_view::npos || uiDash + 1 == strText.size())
        throw std::invalid_argument("a range of ports is like 20000-29999");
    const PortRange range{.uiFirst = readPort(strText.substr(0, uiDash)),
                          .uiLast = readPort(strText.substr(uiDash + 1))};
    if (range.uiLast < range.uiFirst)
        throw std::invalid_argument("the range ends before it begins ; write " +
                                    std::to_string(range.uiLast) + '-' +
                                    std::to_string(range.uiFirst));
    if (range.pairs() == 0)
        throw std::invalid_argument("the range has no even port with the odd port above it ; a "
                                    "range of ports is like 20000-29999");
    return range;
}

} // namespace GatewayExample
