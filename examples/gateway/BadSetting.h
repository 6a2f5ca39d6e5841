// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <stdexcept>
#include <string>

namespace GatewayExample
{

/// Reports an invalid setting; `what` has the name, the value and the reason.
class BadSetting : public std::runtime_error
{
  public:
    BadSetting(const std::string& in_strName, const std::string& in_strValue,
               const std::string& in_strReason);
};

} // namespace GatewayExample
