// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterValue.h"

#include "tests/support/CapturedAssertions.h"

#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

inline const std::string s_strLogger = "keswardin.infra.Parameter";

template <class T>
ParameterValue valueOf(T in_value)
{
    ParameterValue value;
    value = in_value;
    return value;
}

inline ParameterValue valueOfType(int in_iType)
{
    ParameterValue value;
    value.m_type = static_cast<ParameterValue::Type>(in_iType);
    return value;
}

inline constexpr int s_iNoType = 6;

inline ParameterValue read(const char* in_szText,
                           ParameterValue::Type in_target = ParameterValue::UNDEF_TYPE,
                           bool in_bTrim = true)
{
    ParameterValue value;
    value.initFromText(in_szText, in_target, in_bTrim);
    return value;
}

inline std::string dumped(const ParameterValue& in_value)
{
    std::ostringstream stream;
    in_value.dump(stream);
    return stream.str();
}

inline std::string written(const ParameterValue& in_value)
{
    std::ostringstream stream;
    stream << in_value;
    return stream.str();
}

/// Returns the result of reading a text with a target, in the form of `dump`.
inline std::string outcome(const char* in_szText,
                           ParameterValue::Type in_target = ParameterValue::UNDEF_TYPE,
                           bool in_bTrim = true)
{
    return dumped(read(in_szText, in_target, in_bTrim));
}

inline FailedAssertion assertionHere(const std::string& in_strCondition)
{
    const bool bOfAccess = in_strCondition.starts_with("m_type");
    return failedAssertion(in_strCondition, bOfAccess ? "ParameterValueAccess" : "ParameterValue",
                           s_strLogger);
}

inline std::vector<FailedAssertion> assertionsHere(const std::string& in_strCondition)
{
    return {assertionHere(in_strCondition)};
}

} // namespace Velmora::Test
