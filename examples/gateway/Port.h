// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstdint>
#include <string_view>

namespace GatewayExample
{

/// Reads the number of a port.
///
/// Failure: throws `std::invalid_argument` with the reason if the text is not a number from 1 to
/// 65535.
[[nodiscard]] std::uint16_t readPort(std::string_view in_strText);

} // namespace GatewayExample
