// SPDX-License-Identifier: BSD-2-Clause

#include "BadSetting.h"

namespace GatewayExample
{

BadSetting::BadSetting(const std::string& in_strName, const std::string& in_strValue,
                       const std::string& in_strReason)
    : std::runtime_error(in_strName + " = \"" + in_strValue + "\" : " + in_strReason),
      m_strName(in_strName), m_strValue(in_strValue), m_strReason(in_strReason)
{
}

} // namespace GatewayExample
