// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/JsonLayout.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/CheckedProperties.h"
#include "velmora/logging/DateFormat.h"
#include "velmora/logging/JsonText.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/MessageLimit.h"
#include "velmora/system/ClassicText.h"

#include <log4cplus/helpers/timehelper.h>
#include <log4cplus/spi/factory.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace Velmora
{

namespace
{

using Factory = log4cplus::spi::FactoryTempl<JsonLayout, log4cplus::spi::LayoutFactory>;

constexpr std::array<std::string_view, 10> s_ownFields{
    "time", "level", "logger", "thread", "ids", "message", "ndc", "mdc", "file", "line"};

/// Returns the key of an identifier; an empty text if it has none.
std::string_view keyOf(std::string_view in_id)
{
    const std::size_t uiEquals = in_id.find('=');
    return uiEquals == std::string_view::npos ? std::string_view() : in_id.substr(0, uiEquals);
}

char signOfField(char in_cSign)
{
    return ClassicText::isLetter(in_cSign) || ClassicText::isDigit(in_cSign) ? in_cSign : '_';
}

void setFieldName(std::string& out_strName, std::string_view in_key)
{
    out_strName = in_key;
    std::transform(out_strName.begin(), out_strName.end(), out_strName.begin(), signOfField);
}

/// Appends a text, behind the name of its field and a quote.
void appendText(std::string& inout_strText, std::string_view in_beginning,
                std::string_view in_value)
{
    inout_strText += in_beginning;
    appendJsonText(inout_strText, in_value);
    inout_strText += '"';
}

} // namespace

void JsonLayout::registerFactory()
{
    // log4cplus deletes a factory whose name is already registered.
    log4cplus::spi::getLayoutFactoryRegistry().put(std::make_unique<Factory>(s_szTypeName));
}

JsonLayout::JsonLayout(const log4cplus::helpers::Properties& in_properties)
    : TextLayout(in_properties),
      m_pLimit(std::make_unique<MessageLimit>(CheckedProperties(s_szTypeName, in_properties))),
      m_pSecond(
          std::make_unique<DateFormat>("{\"time\":\"%Y-%m-%dT%H:%M:%S.", DateFormat::Zone::utc))
{
}

JsonLayout::~JsonLayout() = default;

void JsonLayout::append(std::string& inout_strText,
                        const log4cplus::spi::InternalLoggingEvent& in_event)
{
    appendTime(inout_strText, in_event);
    appendText(inout_strText, "Z\",\"level\":\"", llmCache.toString(in_event.getLogLevel()));
    appendText(inout_strText, ",\"logger\":\"", in_event.getLoggerName());
    appendText(inout_strText, ",\"thread\":\"", in_event.getThread());
    const auto* const pIdEvent = dynamic_cast<const LoggingIdEvent*>(&in_event);
    if (pIdEvent != nullptr)
        appendIds(inout_strText, pIdEvent->getLoggingIds());
    appendMessage(inout_strText,
                  pIdEvent != nullptr ? pIdEvent->getRawMessage() : in_event.getMessage());
    if (const std::string& strNdc = in_event.getNDC(); !strNdc.empty())
        appendText(inout_strText, ",\"ndc\":\"", strNdc);
    if (const auto& context = in_event.getMDCCopy(); !context.empty())
    {
        inout_strText += ",\"mdc\":";
        char cBefore = '{';
        for (const auto& [strKey, strValue] : context)
        {
            inout_strText += cBefore;
            appendText(inout_strText, "\"", strKey);
            appendText(inout_strText, ":\"", strValue);
            cBefore = ',';
        }
        inout_strText += '}';
    }
    if (!in_event.getFile().empty())
        appendText(inout_strText, ",\"file\":\"", in_event.getFile());
    if (in_event.getLine() >= 0)
    {
        inout_strText += ",\"line\":";
        appendNumber(inout_strText, in_event.getLine());
    }
    inout_strText += "}\n";
}

void JsonLayout::appendTime(std::string& inout_strText,
                            const log4cplus::spi::InternalLoggingEvent& in_event)
{
    m_pSecond->append(inout_strText, in_event.getTimestamp());
    std::array<char, 6> fraction{};
    long lMicroseconds = log4cplus::helpers::microseconds_part(in_event.getTimestamp());
    for (auto digit = fraction.rbegin(); digit != fraction.rend(); ++digit)
    {
        *digit = static_cast<char>('0' + lMicroseconds % 10);
        lMicroseconds /= 10;
    }
    inout_strText.append(fraction.data(), fraction.size());
}

void JsonLayout::appendIds(std::string& inout_strText, std::span<const std::string> in_ids)
{
    // Returns whether the identifier is a field, whose name is then in `m_strKey`.
    const auto isField = [&](const std::string& in_strId)
    {
        const std::string_view key = keyOf(in_strId);
        setFieldName(m_strKey, key);
        if (key.empty() ||
            std::find(s_ownFields.begin(), s_ownFields.end(), m_strKey) != s_ownFields.end())
            return false;
        return std::none_of(in_ids.data(), &in_strId,
                            [&](const std::string& in_strBefore)
                            {
                                setFieldName(m_strOtherKey, keyOf(in_strBefore));
                                return m_strOtherKey == m_strKey;
                            });
    };
    bool bHasOthers = false;
    for (const std::string& strId : in_ids)
        if (isField(strId))
        {
            inout_strText += ",\"";
            inout_strText += m_strKey;
            appendText(inout_strText, "\":\"",
                       std::string_view(strId).substr(keyOf(strId).size() + 1));
        }
        else
            bHasOthers = true;
    if (!bHasOthers)
        return;
    inout_strText += ",\"ids\":";
    char cBefore = '[';
    for (const std::string& strId : in_ids)
        if (!isField(strId))
        {
            inout_strText += cBefore;
            appendText(inout_strText, "\"", strId);
            cBefore = ',';
        }
    inout_strText += ']';
}

void JsonLayout::appendMessage(std::string& inout_strText, const std::string& in_strMessage)
{
    const std::string_view kept = m_pLimit->keptOf(in_strMessage);
    if (kept.size() == in_strMessage.size()) [[likely]]
    {
        appendText(inout_strText, ",\"message\":\"", kept);
        return;
    }
    m_strCut = kept;
    MessageLimit::appendRest(m_strCut, in_strMessage.size() - kept.size());
    appendText(inout_strText, ",\"message\":\"", m_strCut);
}

} // namespace Velmora
