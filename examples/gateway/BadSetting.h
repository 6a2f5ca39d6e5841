// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <stdexcept>
#include <string>

namespace GatewayExample
{

/// Reports an invalid setting; `what` has the name, the value and the reason, which says what to
/// write instead.
class BadSetting : public std::runtime_error
{
  public:
    BadSetting(const std::string& in_strName, const std::string& in_strValue,
               const std::string& in_strReason);

    [[nodiscard]] const std::string& name() const { return m_strName; }
    [[nodiscard]] const std::string& value() const { return m_strValue; }
    [[nodiscard]] const std::string& reason() const { return m_strReason; }

  private:
    std::string m_strName;
    std::string m_strValue;
    std::string m_strReason;
};

} // namespace GatewayExample
