// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/JsonLayout.h"

#include "velmora/logging/CheckedProperties.h"
#include "velmora/logging/DateFormat.h"
#include "velmora/logging/JsonText.h"
#include "velmora/logging/LineBuffer.h"
#include "velmora/logging/LogText.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/MessageLimit.h"
#include "velmora/logging/PerThreadPool.h"
#include "velmora/logging/ReusableEvent.h"
#include "velmora/system/ClassicText.h"

#include <log4cplus/helpers/timehelper.h>
#include <log4cplus/spi/factory.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <typeinfo>

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

/// Appends a text, behind the name of its field and a quote. Inlined, so that the beginning is
/// copied by a few instructions.
[[gnu::always_inline]] inline void appendText(LineBuffer& inout_line, std::string_view in_beginning,
                                              std::string_view in_value)
{
    inout_line.append(in_beginning);
    appendJsonText(inout_line, in_value);
    inout_line.append('"');
}

} // namespace

void JsonLayout::registerFactory()
{
    // log4cplus deletes a factory whose name is already registered.
    log4cplus::spi::getLayoutFactoryRegistry().put(std::make_unique<Factory>(s_szTypeName));
}

JsonLayout::JsonLayout(const log4cplus::helpers::Properties& in_properties)
    : TextLayout(in_properties),
      m_pLimit(std::make_unique<MessageLimit>(
          CheckedProperties(*KnownType::find(KnownType::layouts(), s_szTypeName), in_properties))),
      m_pSecond(
          std::make_unique<DateFormat>("{\"time\":\"%Y-%m-%dT%H:%M:%S.%q", DateFormat::Zone::utc)),
      m_pLine(std::make_unique<LineBuffer>())
{
}

JsonLayout::~JsonLayout() = default;

void JsonLayout::append(std::string& inout_strText,
                        const log4cplus::spi::InternalLoggingEvent& in_event)
{
    LineBuffer& line = *m_pLine;
    line.clear();
    appendTime(in_event);
    appendText(line, "Z\",\"level\":\"", llmCache.toString(in_event.getLogLevel()));
    appendText(line, ",\"logger\":\"", in_event.getLoggerName());
    appendText(line, ",\"thread\":\"", in_event.getThread());
    // Most events are of this class, and a cast takes its time.
    const auto* const pIdEvent = typeid(in_event) == typeid(ReusableEvent)
                                     ? nullptr
                                     : dynamic_cast<const LoggingIdEvent*>(&in_event);
    if (pIdEvent != nullptr)
        appendIds(pIdEvent->getLoggingIds());
    appendMessage(pIdEvent != nullptr ? pIdEvent->getRawMessage() : in_event.getMessage());
    if (const std::string& strNdc = in_event.getNDC(); !strNdc.empty())
        appendText(line, ",\"ndc\":\"", strNdc);
    if (const auto& context = in_event.getMDCCopy(); !context.empty())
    {
        line.append(",\"mdc\":");
        char cBefore = '{';
        for (const auto& [strKey, strValue] : context)
        {
            line.append(cBefore);
            appendText(line, "\"", strKey);
            appendText(line, ":\"", strValue);
            cBefore = ',';
        }
        line.append('}');
    }
    if (!in_event.getFile().empty())
        appendText(line, ",\"file\":\"", in_event.getFile());
    if (in_event.getLine() >= 0)
    {
        line.append(",\"line\":");
        line.append(std::to_string(in_event.getLine()));
    }
    line.append("}\n");
    inout_strText.append(line.text());
    if (line.capacity() > PerThreadPool<LogText>::s_uiLongestText) [[unlikely]]
        line = LineBuffer();
}

void JsonLayout::appendTime(const log4cplus::spi::InternalLoggingEvent& in_event)
{
    m_strTime.clear();
    m_pSecond->append(m_strTime, in_event.getTimestamp());
    m_pLine->append(m_strTime);
    // The milliseconds are there already.
    const long lRest = log4cplus::helpers::microseconds_part(in_event.getTimestamp()) % 1000;
    const std::array digits{static_cast<char>('0' + lRest / 100),
                            static_cast<char>('0' + lRest / 10 % 10),
                            static_cast<char>('0' + lRest % 10)};
    m_pLine->append(std::string_view(digits.data(), digits.size()));
}

void JsonLayout::appendIds(std::span<const std::string> in_ids)
{
    LineBuffer& line = *m_pLine;
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
            line.append(",\"");
            line.append(m_strKey);
            appendText(line, "\":\"", std::string_view(strId).substr(keyOf(strId).size() + 1));
        }
        else
            bHasOthers = true;
    if (!bHasOthers)
        return;
    line.append(",\"ids\":");
    char cBefore = '[';
    for (const std::string& strId : in_ids)
        if (!isField(strId))
        {
            line.append(cBefore);
            appendText(line, "\"", strId);
            cBefore = ',';
        }
    line.append(']');
}

void JsonLayout::appendMessage(const std::string& in_strMessage)
{
    LineBuffer& line = *m_pLine;
    const std::string_view kept = m_pLimit->keptOf(in_strMessage);
    if (kept.size() == in_strMessage.size()) [[likely]]
    {
        appendText(line, ",\"message\":\"", kept);
        return;
    }
    m_strCut = kept;
    MessageLimit::appendRest(m_strCut, in_strMessage.size() - kept.size());
    appendText(line, ",\"message\":\"", m_strCut);
}

} // namespace Velmora
