// SPDX-License-Identifier: BSD-2-Clause

#include "RequiredParameters.h"

#include "BadSetting.h"

#include <sstream>

using Velmora::ParameterValue;
using Velmora::ROConfiguration;

namespace GatewayExample
{

namespace
{

/// Says why a parameter could not be read: it is missing, or it has another type.
[[noreturn]] void refuse(const ROConfiguration& in_config, const std::string& in_strName,
                         const char* in_szWanted)
{
    ParameterValue value;
    in_config.getParameter(in_strName.c_str(), value);
    if (!value.defined())
        throw BadSetting(in_strName, "", std::string("it is not set ; write ") + in_szWanted);
    std::ostringstream text;
    text << value;
    throw BadSetting(in_strName, text.str(), std::string("it must be ") + in_szWanted);
}

} // namespace

std::string requiredString(const ROConfiguration& in_config, const std::string& in_strName)
{
    std::string strValue;
    if (!in_config.getStringParameter(in_strName.c_str(), strValue))
        refuse(in_config, in_strName, "a text");
    return strValue;
}

int requiredInt(const ROConfiguration& in_config, const std::string& in_strName)
{
    int iValue = 0;
    if (!in_config.getIntParameter(in_strName.c_str(), iValue))
        refuse(in_config, in_strName, "an integer, such as 500");
    return iValue;
}

int requiredPositiveInt(const ROConfiguration& in_config, const std::string& in_strName)
{
    const int iValue = requiredInt(in_config, in_strName);
    if (iValue <= 0)
        throw BadSetting(in_strName, std::to_string(iValue), "it must be above 0");
    return iValue;
}

float requiredFloat(const ROConfiguration& in_config, const std::string& in_strName)
{
    float fValue = 0;
    if (!in_config.getFloatParameter(in_strName.c_str(), fValue))
        refuse(in_config, in_strName, "a number with a decimal point, such as 85.0");
    return fValue;
}

} // namespace GatewayExample
