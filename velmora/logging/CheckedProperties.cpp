// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CheckedProperties.h"

#include "velmora/system/WholeText.h"

#include <log4cplus/helpers/loglog.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <ostream>
#include <utility>

namespace Velmora
{

namespace
{

/// Reads a whole number at the beginning of a text, and removes it from the text. Returns false,
/// and changes nothing, if there is none.
template <class Number>
bool takeNumber(std::string_view& inout_text, Number& out_number, int in_iBase)
{
    const auto [pRest, error] = std::from_chars(
        inout_text.data(), inout_text.data() + inout_text.size(), out_number, in_iBase);
    if (error != std::errc())
        return false;
    inout_text.remove_prefix(static_cast<std::size_t>(pRest - inout_text.data()));
    return true;
}

/// Returns the number of bytes in a unit; 0 if the text is no unit.
std::uint64_t bytesIn(std::string_view in_unit)
{
    static constexpr std::array<std::pair<std::string_view, std::uint64_t>, 4> units{
        {{"", 1}, {"KB", 1024}, {"MB", 1024 * 1024}, {"GB", 1024 * 1024 * 1024}}};
    const auto isUnit = [in_unit](const auto& in_candidate)
    {
        return std::equal(in_unit.begin(), in_unit.end(), in_candidate.first.begin(),
                          in_candidate.first.end(),
                          [](char in_cWritten, char in_cUpper)
                          { return in_cWritten == in_cUpper || in_cWritten == in_cUpper + 32; });
    };
    const auto found = std::find_if(units.begin(), units.end(), isUnit);
    return found != units.end() ? found->second : 0;
}

bool matches(std::string_view in_name, std::string_view in_pattern)
{
    return in_pattern.ends_with('*')
               ? in_name.starts_with(in_pattern.substr(0, in_pattern.size() - 1))
               : in_name == in_pattern;
}

} // namespace

void CheckedProperties::read(const char* in_szName, bool& inout_bValue) const
{
    if (m_properties.exists(in_szName) && !m_properties.getBool(inout_bValue, in_szName))
        report(in_szName, "\"true\" or \"false\"");
}

void CheckedProperties::read(const char* in_szName, unsigned int& inout_uiValue,
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

void CheckedProperties::readSize(const char* in_szName, std::uint64_t& inout_uiBytes) const
{
    if (!m_properties.exists(in_szName))
        return;
    std::string_view unit = m_properties.getProperty(in_szName);
    std::uint64_t uiNumber = 0;
    const bool bIsNumber = takeNumber(unit, uiNumber, 10);
    unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
    const std::uint64_t uiUnit = bytesIn(unit);
    if (!bIsNumber || uiUnit == 0 || uiNumber > std::numeric_limits<std::int64_t>::max() / uiUnit)
        report(in_szName, "a number of bytes, or one with a unit, such as 500KB or 10MB");
    else
        inout_uiBytes = uiNumber * uiUnit;
}

void CheckedProperties::readMode(const char* in_szName, mode_t& inout_uiMode) const
{
    if (!m_properties.exists(in_szName))
        return;
    constexpr mode_t uiMost = 0777;
    std::string_view text = m_properties.getProperty(in_szName);
    mode_t uiMode = 0;
    if (takeNumber(text, uiMode, 8) && text.empty() && (uiMode & ~uiMost) == 0)
        inout_uiMode = uiMode;
    else
        report(in_szName, "the permissions of the file in octal, such as 0640");
}

void CheckedProperties::readLevel(const char* in_szName, log4cplus::LogLevel& inout_level) const
{
    if (!m_properties.exists(in_szName))
        return;
    const log4cplus::LogLevel level =
        log4cplus::getLogLevelManager().fromString(m_properties.getProperty(in_szName));
    if (level == log4cplus::NOT_SET_LOG_LEVEL)
        report(in_szName, "a level, such as WARN");
    else
        inout_level = level;
}

void CheckedProperties::warnOfOthers(std::initializer_list<std::string_view> in_names) const
{
    for (const log4cplus::tstring& strName : m_properties.propertyNames())
        if (std::none_of(in_names.begin(), in_names.end(),
                         [&strName](std::string_view in_pattern)
                         { return matches(strName, in_pattern); }))
            log4cplus::helpers::getLogLog().warn(wholeText(
                [&](std::ostream& out_stream)
                {
                    out_stream << m_szTypeName << ": \"" << strName
                               << "\" is no property of it and has no effect; look for a wrong "
                                  "letter, or remove it. The properties are";
                    const char* szSeparator = " ";
                    for (const std::string_view name : in_names)
                    {
                        out_stream << szSeparator << name;
                        szSeparator = ", ";
                    }
                }));
}

void CheckedProperties::report(const char* in_szName, const char* in_szExpected) const
{
    log4cplus::helpers::getLogLog().error(wholeText(
        [&](std::ostream& out_stream)
        {
            out_stream << m_szTypeName << ": \"" << in_szName << "\" is \""
                       << m_properties.getProperty(in_szName) << "\"; write " << in_szExpected;
        }));
}

} // namespace Velmora
