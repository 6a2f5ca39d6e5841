// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LayoutProperties.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/system/WholeText.h"

#include <log4cplus/helpers/loglog.h>

#include <ostream>

namespace Velmora
{

void LayoutProperties::read(const char* in_szName, bool& inout_bValue) const
{
    if (m_properties.exists(in_szName) && !m_properties.getBool(inout_bValue, in_szName))
        report(in_szName, "\"true\" or \"false\"");
}

void LayoutProperties::read(const char* in_szName, unsigned int& inout_uiValue,
                            const char* in_szExpected) const
{
    if (!m_properties.exists(in_szName))
        return;
    unsigned int uiValue = 0;
    // log4cplus reads a negative number as a large one.
    const bool bIsNegative =
        m_properties.getProperty(in_szName).find('-') != log4cplus::tstring::npos;
    if (!bIsNegative && m_properties.getUInt(uiValue, in_szName))
        inout_uiValue = uiValue;
    else
        report(in_szName, in_szExpected);
}

void LayoutProperties::report(const char* in_szName, const char* in_szExpected) const
{
    log4cplus::helpers::getLogLog().error(wholeText(
        [&](std::ostream& out_stream)
        {
            out_stream << m_szTypeName << ": \"" << in_szName << "\" is \""
                       << m_properties.getProperty(in_szName) << "\"; write " << in_szExpected;
        }));
}

MessageLimit::MessageLimit(const LayoutProperties& in_properties)
{
    in_properties.read("MaxLength", m_uiMost, "a number of bytes, or 0 for no limit");
}

std::string_view MessageLimit::keptOf(std::string_view in_message) const
{
    if (m_uiMost == 0 || in_message.size() <= m_uiMost) [[likely]]
        return in_message;
    return in_message.substr(0, EscapedText::lengthOfWholeCharacters(in_message, m_uiMost));
}

void MessageLimit::appendRest(std::string& inout_strText, std::size_t in_uiBytes)
{
    inout_strText += "... (";
    appendNumber(inout_strText, in_uiBytes);
    inout_strText += " bytes more)";
}

} // namespace Velmora
