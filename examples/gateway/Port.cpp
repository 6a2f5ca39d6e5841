// SPDX-License-Identifier: BSD-2-Clause

#include "Port.h"

#include <charconv>
#include <stdexcept>
#include <string>

namespace GatewayExample
{

std::uint16_t readPort(std::string_view in_strText)
{
    std::uint16_t uiPort = 0;
    const char* const pEnd = in_strText.data() + in_strText.size();
    const auto read = std::from_chars(in_strText.data(), pEnd, uiPort);
    if (read.ec != std::errc() || read.ptr != pEnd || uiPort == 0)
        throw std::invalid_argument("port " + std::string(in_strText) +
                                    " is not a number from 1 to 65535");
    return uiPort;
}

} // namespace GatewayExample
