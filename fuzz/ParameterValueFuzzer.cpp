// SPDX-License-Identifier: BSD-2-Clause

// Compares the value of any text for any type with stream extraction, and checks everything else
// that takes text.
//
// The first byte of the input holds the target type and the trim flag, the rest is the text.

#include "fuzz/Require.h"

#include "velmora/config/Parameter.h"
#include "velmora/config/test/StreamExtractionOracle.h"

#include <cstddef>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using Fuzz::require;

namespace
{

void checkValue(const std::string& in_strText, ParameterValue::Type in_target, bool in_bTrim)
{
    static Test::StreamExtractionOracle s_oracle;
    ParameterValue value;
    ParameterValue expected;
    value.initFromText(in_strText.c_str(), in_target, in_bTrim);
    s_oracle.initFromText(expected, in_strText.c_str(), in_target, in_bTrim);
    require(Test::areIdentical(value, expected), "differs from stream extraction", in_strText);
}

void checkName(const std::string& in_strText)
{
    const std::string strText = in_strText.substr(0, in_strText.find('\0'));
    Parameter parameter;
    const char* szRest = strText.c_str();
    const bool bHasName = parameter.initNameFromText(szRest);
    const std::size_t uiEquals = strText.find('=');
    require(bHasName == (uiEquals != std::string::npos), "name", strText);
    require(!bHasName || szRest == strText.c_str() + uiEquals + 1, "rest", strText);

    const std::string& strName = parameter.getName();
    require(strText.substr(0, uiEquals).find(strName) != std::string::npos, "not the name",
            strText);
    require(strName.empty() || (std::isspace(strName.front(), std::locale::classic()) == 0 &&
                                std::isspace(strName.back(), std::locale::classic()) == 0),
            "name not trimmed", strText);
}

void checkLine(const std::string& in_strText, ParameterValue::Type in_target)
{
    Parameter parameter;
    const ParameterInitResult result = parameter.initFromText(in_strText.c_str(), in_target);
    const ParameterValue& value = parameter.getValue();
    require((result == INIT_UNDEFINED) == !value.defined(), "undefined", in_strText);
    require(result != INIT_OK || in_target <= ParameterValue::UNDEF_TYPE ||
                value.getType() == in_target,
            "not the required type", in_strText);
    require(result != INIT_WRONG_TYPE || value.getType() != in_target, "not a wrong type",
            in_strText);
}

/// Checks that the vector holds the values of the tokens, one by one.
void checkVector(const std::string& in_strText)
{
    const std::string strText = in_strText.substr(0, in_strText.find('\0'));
    ParameterValue text;
    text = strText.c_str();
    ParameterValueVector values;
    values.initFrom(text);

    std::istringstream stream(strText);
    ParameterValue expected;
    std::size_t uiCount = 0;
    for (; stream >> expected; ++uiCount)
    {
        require(uiCount < values.size() && Test::areIdentical(values[uiCount], expected), "element",
                strText);
    }
    require(uiCount == values.size(), "number of elements", strText);
    require(!expected.defined(), "value after the end", strText);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    if (in_uiSize == 0)
        return 0;
    const auto target = static_cast<ParameterValue::Type>(in_pData[0] % 8 - 1);
    const bool bTrim = (in_pData[0] & 0x80) == 0;
    const std::string strText(reinterpret_cast<const char*>(in_pData) + 1, in_uiSize - 1);

    checkValue(strText, target, bTrim);
    checkName(strText);
    checkLine(strText, target);
    checkVector(strText);
    return 0;
}
