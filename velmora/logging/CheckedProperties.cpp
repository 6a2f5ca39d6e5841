// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CheckedProperties.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/PropertyKind.h"
#include "velmora/system/WholeText.h"

#include <log4cplus/helpers/loglog.h>

#include <ostream>
#include <string_view>

namespace Velmora
{

bool CheckedProperties::isGiven(const char* in_szName) const
{
    if (!m_properties.exists(in_szName))
        return false;
    const KnownProperty* const pProperty = m_type.find(in_szName);
    VELMORA_PLAIN_ASSERT(pProperty != nullptr);
    const log4cplus::tstring& strValue = m_properties.getProperty(in_szName);
    if (pProperty == nullptr || pProperty->pKind->accepts(strValue))
        return pProperty != nullptr;
    log4cplus::helpers::getLogLog().error(wholeText(
        [&](std::ostream& out_stream)
        {
            out_stream << m_type.name << ": \"" << in_szName << "\" is \"" << strValue
                       << "\"; write " << pProperty->pKind->szExpected;
        }));
    return false;
}

void CheckedProperties::read(const char* in_szName, bool& inout_bValue) const
{
    if (isGiven(in_szName))
        m_properties.getBool(inout_bValue, in_szName);
}

void CheckedProperties::read(const char* in_szName, unsigned int& inout_uiValue) const
{
    if (isGiven(in_szName))
        m_properties.getUInt(inout_uiValue, in_szName);
}

void CheckedProperties::readSize(const char* in_szName, std::uint64_t& inout_uiBytes) const
{
    if (isGiven(in_szName))
        PropertyKind::parseSize(m_properties.getProperty(in_szName), inout_uiBytes);
}

void CheckedProperties::readMode(const char* in_szName, mode_t& inout_uiMode) const
{
    if (isGiven(in_szName))
        PropertyKind::parseMode(m_properties.getProperty(in_szName), inout_uiMode);
}

void CheckedProperties::readLevel(const char* in_szName, log4cplus::LogLevel& inout_level) const
{
    if (isGiven(in_szName))
        inout_level =
            log4cplus::getLogLevelManager().fromString(m_properties.getProperty(in_szName));
}

void CheckedProperties::warnOfOthers() const
{
    for (const log4cplus::tstring& strName : m_properties.propertyNames())
    {
        // Those of the layout and of the filters.
        const std::string_view first = std::string_view(strName).substr(0, strName.find('.'));
        if (first == "layout" || first == "filters" || m_type.find(strName) != nullptr)
            continue;
        log4cplus::helpers::getLogLog().warn(wholeText(
            [&](std::ostream& out_stream)
            {
                out_stream << m_type.name << ": \"" << strName
                           << "\" is no property of it and has no effect; look for a wrong letter, "
                              "or remove it. The properties are "
                           << m_type.namesOfProperties();
            }));
    }
}

} // namespace Velmora
