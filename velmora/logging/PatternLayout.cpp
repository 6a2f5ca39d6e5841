// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/PatternLayout.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/CheckedProperties.h"
#include "velmora/logging/ConversionPattern.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/logging/MessageLimit.h"

#include <log4cplus/helpers/loglog.h>
#include <log4cplus/spi/factory.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

#include <unistd.h>

namespace Velmora
{

namespace
{

using Factory = log4cplus::spi::FactoryTempl<PatternLayout, log4cplus::spi::LayoutFactory>;

using Kind = PatternField::Kind;

std::string_view baseNameOf(std::string_view in_file)
{
    const std::size_t uiSlash = in_file.rfind('/');
    return uiSlash == std::string_view::npos ? in_file : in_file.substr(uiSlash + 1);
}

/// Returns the last components of a logger's name, at most that many; all if the number is not
/// positive. A dot at the end ends the last component and begins no further one. As in log4cplus's
/// layout, the search begins again at the end of a name whose first character is a dot.
std::string_view lastComponents(std::string_view in_name, int in_iNumber)
{
    std::size_t uiDot = in_name.size() - 1;
    for (int i = 0; i < in_iNumber; ++i)
    {
        uiDot = in_name.rfind('.', uiDot - 1);
        if (uiDot == std::string_view::npos)
            return in_name;
    }
    return in_iNumber <= 0 ? in_name : in_name.substr(uiDot + 1);
}

/// Returns the first words of a text, at most that many; all if the number is not positive.
std::string_view firstWords(std::string_view in_text, int in_iNumber)
{
    if (in_iNumber <= 0)
        return in_text;
    std::size_t uiBlank = in_text.find(' ');
    for (int i = 1; i < in_iNumber && uiBlank != std::string_view::npos; ++i)
        uiBlank = in_text.find(' ', uiBlank + 1);
    return in_text.substr(0, uiBlank);
}

std::string patternOf(const log4cplus::helpers::Properties& in_properties)
{
    if (in_properties.exists("ConversionPattern"))
        return in_properties.getProperty("ConversionPattern");
    if (!in_properties.exists("Pattern"))
    {
        // Throws.
        log4cplus::helpers::getLogLog().error(
            "velmora::PatternLayout: \"ConversionPattern\" is missing; write one such as "
            "\"%d{%H:%M:%S.%q} %-5p [%t] %c - %m%n\"",
            true);
    }
    log4cplus::helpers::getLogLog().warn(
        "velmora::PatternLayout: \"Pattern\" is deprecated; write \"ConversionPattern\" instead");
    return in_properties.getProperty("Pattern");
}

} // namespace

void PatternLayout::registerFactory()
{
    // log4cplus deletes a factory whose name is already registered.
    log4cplus::spi::getLayoutFactoryRegistry().put(std::make_unique<Factory>(s_szTypeName));
}

PatternLayout::PatternLayout(const log4cplus::helpers::Properties& in_properties)
    : TextLayout(in_properties)
{
    const CheckedProperties properties(*KnownType::find(KnownType::layouts(), s_szTypeName),
                                       in_properties);
    properties.read("Escape", m_bEscapes);
    unsigned int uiNdcLevels = 0;
    properties.read("NDCMaxDepth", uiNdcLevels);
    m_pLimit = std::make_unique<MessageLimit>(properties);
    m_fields = readConversionPattern(patternOf(in_properties), static_cast<int>(uiNdcLevels));
}

PatternLayout::~PatternLayout() = default;

void PatternLayout::append(std::string& inout_strText,
                           const log4cplus::spi::InternalLoggingEvent& in_event)
{
    for (PatternField& field : m_fields)
    {
        const std::size_t uiBegin = inout_strText.size();
        appendField(inout_strText, field, in_event);
        if (field.hasWidth())
            fit(inout_strText, uiBegin, field);
    }
}

void PatternLayout::appendField(std::string& inout_strText, PatternField& inout_field,
                                const log4cplus::spi::InternalLoggingEvent& in_event)
{
    switch (inout_field.kind)
    {
    case Kind::literal:
        inout_strText += inout_field.strText;
        break;
    case Kind::hostName:
        appendText(inout_strText, inout_field.strText);
        break;
    case Kind::newline:
        inout_strText += '\n';
        break;
    case Kind::date:
        inout_field.date->append(inout_strText, in_event.getTimestamp());
        break;
    case Kind::message:
        appendMessage(inout_strText, in_event.getMessage());
        break;
    case Kind::level:
        appendText(inout_strText, llmCache.toString(in_event.getLogLevel()));
        break;
    case Kind::logger:
        appendText(inout_strText, lastComponents(in_event.getLoggerName(), inout_field.iPrecision));
        break;
    case Kind::thread:
        appendText(inout_strText, in_event.getThread());
        break;
    case Kind::otherThread:
        appendText(inout_strText, in_event.getThread2());
        break;
    case Kind::processId:
        appendNumber(inout_strText, getpid());
        break;
    case Kind::baseName:
        appendText(inout_strText, baseNameOf(in_event.getFile()));
        break;
    case Kind::file:
        appendText(inout_strText, in_event.getFile());
        break;
    case Kind::line:
        if (in_event.getLine() != -1)
            appendNumber(inout_strText, in_event.getLine());
        break;
    case Kind::location:
        appendText(inout_strText, in_event.getFile());
        inout_strText += ':';
        if (!in_event.getFile().empty())
            appendNumber(inout_strText, in_event.getLine());
        break;
    case Kind::function:
        appendText(inout_strText, in_event.getFunction());
        break;
    case Kind::relativeTime:
        appendNumber(inout_strText,
                     std::chrono::duration_cast<std::chrono::milliseconds>(
                         in_event.getTimestamp() - log4cplus::getTTCCLayoutTimeBase())
                         .count());
        break;
    case Kind::environment:
        if (const char* const szValue = std::getenv(inout_field.strText.c_str()))
            appendText(inout_strText, szValue);
        break;
    case Kind::ndc:
        appendText(inout_strText, firstWords(in_event.getNDC(), inout_field.iPrecision));
        break;
    case Kind::mdc:
        if (inout_field.strText.empty())
            appendContext(inout_strText, in_event);
        else
            appendText(inout_strText, in_event.getMDC(inout_field.strText));
        break;
    }
}

void PatternLayout::appendMessage(std::string& inout_strText, std::string_view in_message) const
{
    const std::string_view kept = m_pLimit->keptOf(in_message);
    appendText(inout_strText, kept);
    if (kept.size() != in_message.size()) [[unlikely]]
        MessageLimit::appendRest(inout_strText, in_message.size() - kept.size());
}

void PatternLayout::appendText(std::string& inout_strText, std::string_view in_text) const
{
    if (m_bEscapes) [[likely]]
        EscapedText::append(inout_strText, in_text);
    else
        inout_strText += in_text;
}

void PatternLayout::appendContext(std::string& inout_strText,
                                  const log4cplus::spi::InternalLoggingEvent& in_event) const
{
    for (const auto& [strKey, strValue] : in_event.getMDCCopy())
    {
        inout_strText += '{';
        appendText(inout_strText, strKey);
        inout_strText += ", ";
        appendText(inout_strText, strValue);
        inout_strText += '}';
    }
}

void PatternLayout::fit(std::string& inout_strText, std::size_t in_uiBegin,
                        const PatternField& in_field) const
{
    const std::size_t uiLength = inout_strText.size() - in_uiBegin;
    if (uiLength > in_field.uiMost)
    {
        std::size_t uiCut = in_field.bLosesEnd ? in_field.uiMost : uiLength - in_field.uiMost;
        if (m_bEscapes)
        {
            // The cut moves to the end of the character that it would divide, or to its beginning
            // if the end of the text is lost.
            const std::string_view text = std::string_view(inout_strText).substr(in_uiBegin);
            std::size_t uiEnd = 0;
            std::size_t uiBefore = 0;
            while (uiEnd < uiCut)
            {
                uiBefore = uiEnd;
                uiEnd += EscapedText::lengthOfFirst(text.substr(uiEnd));
            }
            uiCut = in_field.bLosesEnd && uiEnd > uiCut ? uiBefore : uiEnd;
        }
        if (in_field.bLosesEnd)
            inout_strText.resize(in_uiBegin + uiCut);
        else
            inout_strText.erase(in_uiBegin, uiCut);
    }
    else if (uiLength < in_field.uiLeast)
        inout_strText.insert(in_field.bFillsAtEnd ? inout_strText.size() : in_uiBegin,
                             in_field.uiLeast - uiLength, ' ');
}

} // namespace Velmora
