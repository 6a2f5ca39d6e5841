// SPDX-License-Identifier: BSD-2-Clause

#include "RequiredParameters.h"

#include "BadSetting.h"

using Velmora::ROConfiguration;

namespace GatewayExample
{

namespace
{

void require(bool in_bSet, const std::string& in_strName)
{
    if (!in_bSet)
        throw BadSetting(in_strName, "", "it is not set");
}

} // namespace

std::string requiredString(const ROConfiguration& in_config, const std::string& in_strName)
{
    std::string strValue;
    require(in_config.getStringParameter(in_strName.c_str(), strValue), in_strName);
    return strValue;
}

int requiredInt(const ROConfiguration& in_config, const std::string& in_strName)
{
    int iValue = 0;
    require(in_config.getIntParameter(in_strName.c_str(), iValue), in_strName);
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
    require(in_config.getFloatParameter(in_strName.c_str(), fValue), in_strName);
    return fValue;
}

} // namespace GatewayExample
