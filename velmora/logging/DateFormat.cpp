// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/DateFormat.h"

#include <algorithm>

namespace Velmora
{

namespace
{

constexpr std::string_view s_milliseconds = "000";
constexpr std::string_view s_millisecondsWithDecimals = "000.000";

/// Writes a number below 1000 with three digits.
void writeThreeDigits(char* out_pText, long in_lNumber)
{
    out_pText[0] = static_cast<char>('0' + in_lNumber / 100);
    out_pText[1] = static_cast<char>('0' + in_lNumber / 10 % 10);
    out_pText[2] = static_cast<char>('0' + in_lNumber % 10);
}

} // namespace

DateFormat::DateFormat(std::string_view in_format, Zone in_zone) : m_zone(in_zone)
{
    for (std::size_t i = 0; i != in_format.size(); ++i)
    {
        const char cSign = in_format[i];
        if (cSign != '%')
        {
            addFormat(cSign);
            continue;
        }
        // A "%" at the end is left out.
        if (i + 1 == in_format.size())
            break;
        switch (const char cConversion = in_format[++i])
        {
        case 'q':
            m_parts.push_back({Kind::milliseconds, {}});
            break;
        case 'Q':
            m_parts.push_back({Kind::millisecondsWithDecimals, {}});
            break;
        case 's':
            m_parts.push_back({Kind::seconds, {}});
            break;
        default:
            addFormat('%');
            addFormat(cConversion);
        }
    }
    // `strftime` returns 0 both for a text that does not fit and for an empty one. The blank, which
    // is removed again, makes sure that it is not empty.
    for (auto& [kind, strFormat] : m_parts)
        if (kind == Kind::format)
            strFormat += ' ';
}

void DateFormat::addFormat(char in_cSign)
{
    if (m_parts.empty() || m_parts.back().kind != Kind::format)
        m_parts.push_back({Kind::format, {}});
    m_parts.back().strFormat += in_cSign;
}

void DateFormat::append(std::string& inout_strText, const log4cplus::helpers::Time& in_time)
{
    const std::time_t second = log4cplus::helpers::to_time_t(in_time);
    if (!m_bHasSecond || second != m_second)
        formatSecond(second);
    const std::size_t uiBegin = inout_strText.size();
    inout_strText += m_strText;
    if (m_places.empty())
        return;
    const long lMicroseconds = log4cplus::helpers::microseconds_part(in_time);
    for (const auto& [kind, uiOffset] : m_places)
    {
        char* const pText = inout_strText.data() + uiBegin + uiOffset;
        writeThreeDigits(pText, lMicroseconds / 1000);
        if (kind == Kind::millisecondsWithDecimals)
            writeThreeDigits(pText + s_milliseconds.size() + 1, lMicroseconds % 1000);
    }
}

void DateFormat::formatSecond(std::time_t in_second)
{
    // If there is no memory for it, the next line tries again.
    m_bHasSecond = false;
    m_strText.clear();
    m_places.clear();
    std::tm time{};
    if (m_zone == Zone::utc)
        gmtime_r(&in_second, &time);
    else
        localtime_r(&in_second, &time);
    for (const auto& [kind, strFormat] : m_parts)
        switch (kind)
        {
        case Kind::format:
            appendFormatted(strFormat, time);
            break;
        case Kind::milliseconds:
        case Kind::millisecondsWithDecimals:
            m_places.push_back({kind, m_strText.size()});
            m_strText += kind == Kind::milliseconds ? s_milliseconds : s_millisecondsWithDecimals;
            break;
        case Kind::seconds:
            m_strText += std::to_string(in_second);
            break;
        }
    m_second = in_second;
    m_bHasSecond = true;
}

void DateFormat::appendFormatted(const std::string& in_strFormat, const std::tm& in_time)
{
    const std::size_t uiBegin = m_strText.size();
    const std::size_t uiMost = std::max<std::size_t>(1024, 16 * in_strFormat.size());
    for (std::size_t uiSize = 2 * in_strFormat.size() + 64; uiSize <= 2 * uiMost; uiSize *= 2)
    {
        m_strText.resize(uiBegin + uiSize);
        const std::size_t uiLength =
            std::strftime(m_strText.data() + uiBegin, uiSize, in_strFormat.c_str(), &in_time);
        if (uiLength != 0)
        {
            m_strText.resize(uiBegin + uiLength - 1);
            return;
        }
    }
    m_strText.resize(uiBegin);
}

} // namespace Velmora
