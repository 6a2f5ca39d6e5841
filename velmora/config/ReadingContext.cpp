// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ReadingContext.h"

#include "velmora/config/ConfigurationLine.h"
#include "velmora/logging/EscapedText.h"

namespace Velmora
{

void ReadingContext::beginSource(std::string_view in_name, std::string_view in_text,
                                 char in_cDelimiter)
{
    if (!m_sources.empty())
        m_sources.back().uiRead = m_uiRead;
    m_current = {static_cast<std::uint32_t>(m_sources.size()), 0};
    m_uiRead = 0;
    m_sources.push_back({std::string(in_name), in_text, in_cDelimiter, 0});
}

void ReadingContext::define(std::string_view in_name)
{
    m_definitions[std::string(ConfigurationLine::keyOf(in_name))] = m_current;
}

LinePlace ReadingContext::definitionOf(std::string_view in_name)
{
    if (!m_bLooked)
        look();
    const auto found = m_definitions.find(std::string(ConfigurationLine::keyOf(in_name)));
    return found != m_definitions.end() ? found->second : LinePlace();
}

void ReadingContext::look()
{
    m_bLooked = true;
    if (m_sources.empty())
        return;
    m_sources.back().uiRead = m_uiRead;
    for (std::size_t uiSource = 0; uiSource != m_sources.size(); ++uiSource)
        look(static_cast<std::uint32_t>(uiSource));
}

void ReadingContext::look(std::uint32_t in_uiSource)
{
    const Source& source = m_sources[in_uiSource];
    std::string_view rest = source.text;
    if (rest.starts_with(ConfigurationLine::s_byteOrderMark))
        rest.remove_prefix(ConfigurationLine::s_byteOrderMark.size());
    for (LinePlace place{in_uiSource, 1}; !rest.empty() && place.uiLine <= source.uiRead;
         ++place.uiLine)
    {
        const std::size_t uiEnd = rest.find(source.cDelimiter);
        const std::string_view line = rest.substr(0, uiEnd);
        rest.remove_prefix(uiEnd == std::string_view::npos ? rest.size() : uiEnd + 1);
        if (!ConfigurationLine::isBlankOrComment(line) &&
            line.find('=') != std::string_view::npos && place != m_current &&
            !m_excluded.contains(place))
            m_definitions.insert_or_assign(
                std::string(ConfigurationLine::keyOf(ConfigurationLine::nameOf(line))), place);
    }
}

std::string ReadingContext::textOf(LinePlace in_place) const
{
    if (!in_place.known())
        return "";
    std::string strText;
    if (const std::string& strName = nameOf(in_place); strName.empty())
        strText = "line ";
    else
    {
        EscapedText::append(strText, strName);
        strText += ':';
    }
    return strText + std::to_string(in_place.uiLine);
}

std::string ReadingContext::lineAbout(LinePlace in_place, std::string_view in_advice) const
{
    std::string strText = textOf(in_place);
    if (!strText.empty())
        strText.append(" : ").append(in_advice);
    return strText;
}

} // namespace Velmora
