// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/Configuration.h"

#include <string>

namespace GatewayExample
{

// Return the value of a parameter without which the gateway does not start.
//
// Failure: throw `BadSetting` if the parameter is missing; `requiredPositiveInt` also if it is not
// above 0.

[[nodiscard]] std::string requiredString(const Velmora::ROConfiguration& in_config,
                                         const std::string& in_strName);
[[nodiscard]] int requiredInt(const Velmora::ROConfiguration& in_config,
                              const std::string& in_strName);
[[nodiscard]] int requiredPositiveInt(const Velmora::ROConfiguration& in_config,
                                      const std::string& in_strName);
[[nodiscard]] float requiredFloat(const Velmora::ROConfiguration& in_config,
                                  const std::string& in_strName);

} // namespace GatewayExample
