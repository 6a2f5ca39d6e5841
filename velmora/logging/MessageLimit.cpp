// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/MessageLimit.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/CheckedProperties.h"
#include "velmora/logging/EscapedText.h"

namespace Velmora
{

MessageLimit::MessageLimit(const CheckedProperties& in_properties)
{
    in_properties.read("MaxLength", m_uiMost);
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
