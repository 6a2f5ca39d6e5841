// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Configuration.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/WithoutThrowing.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Configuration)

namespace Velmora
{

namespace
{

/// Runs the copying of a text. Returns false and logs an error if there is no memory for it.
template <class Copy>
bool hasCopied(Copy in_copy)
{
    return withoutThrowing(::liveFileScopeLogger(), "failed to copy the text of a parameter",
                           in_copy);
}

} // namespace

ROConfiguration::~ROConfiguration() = default;

bool ROConfiguration::parameterDefined(const char* in_szParamName) const
{
    ParameterValue value;
    getParameter(in_szParamName, value);
    return value.defined();
}

bool ROConfiguration::getIntParameter(const char* in_szParamName, int& out_iValue) const
{
    ParameterValue value;
    getParameter(in_szParamName, value);
    if (value.getType() != ParameterValue::INT_TYPE)
        return false;
    out_iValue = value;
    return true;
}

bool ROConfiguration::getBoolParameter(const char* in_szParamName, bool& out_bValue) const
{
    ParameterValue value;
    getParameter(in_szParamName, value);
    const bool bFound = value.getType() == ParameterValue::BOOL_TYPE;
    // The type is tested first: the conversion of another type would fail an assertion.
    out_bValue = bFound && static_cast<bool>(value);
    return bFound;
}

bool ROConfiguration::getStringParameter(const char* in_szParamName,
                                         std::string& out_strValue) const
{
    ParameterValue value;
    getParameter(in_szParamName, value);
    if (value.getType() != ParameterValue::STRING_TYPE)
        return false;
    return hasCopied([&] { out_strValue = static_cast<const char*>(value); });
}

bool ROConfiguration::getFloatParameter(const char* in_szParamName, float& out_fValue) const
{
    ParameterValue value;
    getParameter(in_szParamName, value);
    if (value.getType() != ParameterValue::FLOAT_TYPE)
        return false;
    out_fValue = value;
    return true;
}

Configuration::~Configuration() = default;

bool Configuration::setIntParameter(const char* in_szParamName, int in_iValue)
{
    ParameterValue value;
    value = in_iValue;
    return setParameter(in_szParamName, value);
}

bool Configuration::setBoolParameter(const char* in_szParamName, bool in_bValue)
{
    ParameterValue value;
    value = in_bValue;
    return setParameter(in_szParamName, value);
}

bool Configuration::setStringParameter(const char* in_szParamName, const char* in_szValue)
{
    ParameterValue value;
    return hasCopied([&] { value = in_szValue; }) && setParameter(in_szParamName, value);
}

bool Configuration::setFloatParameter(const char* in_szParamName, float in_fValue)
{
    ParameterValue value;
    value = in_fValue;
    return setParameter(in_szParamName, value);
}

} // namespace Velmora
