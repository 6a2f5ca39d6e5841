// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterValue.h"

#include <algorithm>
#include <cstring>
#include <ios>
#include <limits>
#include <locale>
#include <sstream>
#include <string>

namespace Velmora::Test
{

/// The simplest implementation of `ParameterValue::initFromText`, with the standard stream
/// extraction for numbers. Tests compare the library's results with it, and benchmarks its speed;
/// for a fair comparison it reuses one stream for all texts.
///
/// Thread-safety: an object belongs to one thread.
class StreamExtractionOracle
{
  public:
    StreamExtractionOracle() { m_stream.imbue(std::locale::classic()); }

    void initFromText(ParameterValue& out_value, const char* in_szText,
                      ParameterValue::Type in_target, bool in_bTrim)
    {
        out_value = ParameterValue();
        const char* pBegin = in_szText;
        while (in_bTrim && isBlank(*pBegin))
            ++pBegin;
        const char* pEnd = pBegin + std::strlen(pBegin);
        const char* const pFirstBlank = std::find_if(pBegin, pEnd, &isBlank);
        const bool bHasDigit = std::find_if(pBegin, pEnd, &isDigit) != pEnd;
        while (in_bTrim && pEnd != pBegin && isBlank(pEnd[-1]))
            --pEnd;
        m_strText.assign(pBegin, pEnd);
        m_target = in_target;

        const bool bHasInnerBlank = pFirstBlank < pEnd;
        if (!m_strText.empty() && !bHasInnerBlank)
        {
            if (bHasDigit && initFromNumber(out_value))
                return;
            if (initFromWord(out_value))
                return;
        }
        if (in_target > ParameterValue::STRING_TYPE)
            return;
        out_value = m_strText.c_str();
    }

  private:
    static bool isBlank(char in_character)
    {
        return std::isspace(in_character, std::locale::classic());
    }
    static bool isDigit(char in_character) { return in_character >= '0' && in_character <= '9'; }

    bool isTarget(ParameterValue::Type in_type) const
    {
        return m_target == ParameterValue::UNDEF_TYPE || m_target == in_type;
    }

    bool isStreamReadToItsEnd()
    {
        return !m_stream.fail() && m_stream.peek() == std::istringstream::traits_type::eof();
    }

    bool extractInteger(std::ios_base& (*in_base)(std::ios_base&), int& out_iValue)
    {
        m_stream.clear();
        m_stream.str(m_strText);
        long lValue = 0;
        m_stream >> in_base >> lValue;
        if (!isStreamReadToItsEnd() || lValue < std::numeric_limits<int>::min() ||
            lValue > static_cast<long>(std::numeric_limits<unsigned int>::max()))
            return false;
        out_iValue = static_cast<int>(lValue);
        return true;
    }

    bool extractFloat(float& out_fValue)
    {
        m_stream.clear();
        m_stream.str(m_strText);
        m_stream >> out_fValue;
        return isStreamReadToItsEnd();
    }

    bool initFromNumber(ParameterValue& out_value)
    {
        const char second = m_strText.size() > 1 ? m_strText[1] : '\0';
        if (m_strText[0] != '0')
            return initFromDecimal(out_value);
        if (second == '.' || second == 'e' || second == 'E')
            return initFromFloat(out_value);
        int iValue = 0;
        if (!extractInteger(second == 'x' ? &std::hex : &std::oct, iValue))
            return false;
        if (isTarget(ParameterValue::INT_TYPE))
            out_value = iValue;
        return true;
    }

    bool initFromDecimal(ParameterValue& out_value)
    {
        int iValue = 0;
        if (!extractInteger(&std::dec, iValue))
            return initFromFloat(out_value);
        if (isTarget(ParameterValue::INT_TYPE))
            out_value = iValue;
        else if (m_target == ParameterValue::FLOAT_TYPE)
            out_value = static_cast<float>(iValue);
        else
            return false;
        return true;
    }

    bool initFromFloat(ParameterValue& out_value)
    {
        float fValue = 0;
        if (!extractFloat(fValue) || !isTarget(ParameterValue::FLOAT_TYPE))
            return false;
        out_value = fValue;
        return true;
    }

    bool initFromWord(ParameterValue& out_value) const
    {
        std::string strLowerCase = m_strText;
        std::use_facet<std::ctype<char>>(std::locale::classic())
            .tolower(strLowerCase.data(), strLowerCase.data() + strLowerCase.size());
        if ((strLowerCase != "true" && strLowerCase != "false") ||
            !isTarget(ParameterValue::BOOL_TYPE))
            return false;
        out_value = strLowerCase == "true";
        return true;
    }

    std::istringstream m_stream;
    std::string m_strText;
    ParameterValue::Type m_target = ParameterValue::UNDEF_TYPE;
};

/// Returns whether two values are identical bit by bit, including undefined values and floats.
inline bool areIdentical(const ParameterValue& in_left, const ParameterValue& in_right)
{
    if (in_left.getType() != in_right.getType())
        return false;
    switch (in_left.getType())
    {
    case ParameterValue::UNDEF_TYPE:
        return true;
    case ParameterValue::FLOAT_TYPE:
        return std::memcmp(&in_left.m_payload, &in_right.m_payload, sizeof(float)) == 0;
    default:
        return in_left == in_right;
    }
}

} // namespace Velmora::Test
