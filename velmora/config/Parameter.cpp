// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Parameter.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/ClassicText.h"

#include <cstring>
#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Parameter)

namespace Velmora
{

bool Parameter::initNameFromText(const char*& inout_szText)
{
    if (inout_szText == nullptr)
        return false;
    inout_szText = ClassicText::skipBlanks(inout_szText);
    const char* const pEquals = std::strchr(inout_szText, '=');
    if (pEquals == nullptr)
        return false;
    m_name.assign(inout_szText, ClassicText::trimEnd(inout_szText, pEquals));
    inout_szText = pEquals + 1;
    return true;
}

ParameterInitResult Parameter::initValueFromText(const char* in_szText,
                                                 ParameterValue::Type in_bTargetType)
{
    m_value.initFromText(in_szText, in_bTargetType, true);
    if (m_value.defined())
        return INIT_OK;
    if (in_bTargetType != ParameterValue::UNDEF_TYPE)
        m_value.initFromText(in_szText, ParameterValue::UNDEF_TYPE, true);
    if (!m_value.defined())
    {
        VELMORA_FILE_LOG_WARN("Initializing parameter from \""
                              << (in_szText != nullptr ? in_szText : "")
                              << "\" resulted in an undefined parameter that will be ignored.");
        return INIT_UNDEFINED;
    }
    VELMORA_FILE_ASSERT(m_value.getType() != in_bTargetType);
    return INIT_WRONG_TYPE;
}

ParameterInitResult Parameter::initFromText(const char* in_szLine,
                                            ParameterValue::Type in_bTargetType)
{
    if (!initNameFromText(in_szLine))
        return INIT_UNDEFINED;
    return initValueFromText(in_szLine, in_bTargetType);
}

ParameterInitResult Parameter::initFromText(const char* in_szLine,
                                            const ParameterInfoDB& in_paramInfoDB)
{
    if (!initNameFromText(in_szLine))
        return INIT_UNDEFINED;
    const ParameterValue::Type type = in_paramInfoDB.retrieveType(m_name.c_str());
    const ParameterInitResult result = initValueFromText(in_szLine, type);
    return result == INIT_OK && type == ParameterValue::UNDEF_TYPE ? INIT_UNKNOWN_PARAMETER
                                                                   : result;
}

std::ostream& Parameter::dump(std::ostream& out_stream) const
{
    out_stream << "name=" << m_name << ' ';
    return m_value.dump(out_stream);
}

void Parameter::logUndefinedParameter(const char* in_szParamName, ParameterValue::Type in_type)
{
    VELMORA_FILE_LOG_ERROR("Velmora parameter " << in_szParamName << "("
                                                << ParameterValue::getTypeAsString(in_type)
                                                << ") must be defined");
}

void Parameter::logParameterUsage(const char* in_szParamName, const ParameterValue& in_value,
                                  LogLevel in_logLevel)
{
    VELMORA_FILE_LOG(in_logLevel,
                     "using keswardin parameter " << in_szParamName << " with value " << in_value);
}

std::ostream& operator<<(std::ostream& out_stream, const Parameter& in_parameter)
{
    return out_stream << in_parameter.getName() << '=' << in_parameter.getValue();
}

} // namespace Velmora
