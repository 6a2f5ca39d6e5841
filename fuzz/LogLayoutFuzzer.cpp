// SPDX-License-Identifier: BSD-2-Clause

// Formats lines with any pattern, message and identifiers by both layouts. Each must be one line,
// the escaped form must read back, and the object of JSON must hold the message.
//
// The input is four texts, each up to a zero byte: a pattern, two identifiers and the message,
// which is the rest.

#include "fuzz/Require.h"

#include "velmora/logging/EscapedText.h"
#include "velmora/logging/JsonLayout.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/PatternLayout.h"

#include <boost/property_tree/json_parser.hpp>
#include <log4cplus/helpers/loglog.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

using namespace Velmora;
using Fuzz::require;

namespace
{

log4cplus::helpers::Properties patternOf(const std::string& in_strPattern)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("ConversionPattern", in_strPattern);
    properties.setProperty("MaxLength", "0");
    return properties;
}

std::string lineBy(TextLayout& inout_layout, const LoggingIdEvent& in_event)
{
    std::string strLine;
    inout_layout.append(strLine, in_event);
    return strLine;
}

std::string escaped(std::string_view in_text)
{
    std::string strEscaped;
    EscapedText::append(strEscaped, in_text);
    return strEscaped;
}

/// Returns the message with the text "\xff" for each byte that is no UTF-8.
std::string messageInJson(std::string_view in_message)
{
    std::string strMessage;
    for (std::size_t uiLength = 0; !in_message.empty(); in_message.remove_prefix(uiLength))
    {
        uiLength = EscapedText::lengthOfFirst(in_message.front() == '\\' ? "\\" : in_message);
        const std::string_view first = in_message.substr(0, uiLength);
        const bool bIsNoUtf8 = uiLength == 1 && static_cast<unsigned char>(first.front()) >= 0x80;
        strMessage += bIsNoUtf8 ? escaped(first) : std::string(first);
    }
    return strMessage;
}

void checkEscaping(const std::string& in_strMessage)
{
    const std::string strEscaped = escaped(in_strMessage);
    const auto isControl = [](char in_cByte)
    { return static_cast<unsigned char>(in_cByte) < ' ' && in_cByte != '\t'; };
    require(std::none_of(strEscaped.begin(), strEscaped.end(), isControl), "a control byte",
            strEscaped);
    std::string strRead;
    require(EscapedText::read(strRead, strEscaped) && strRead == in_strMessage, "not read back",
            strEscaped);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    // Mistakes in patterns are reported to standard error.
    log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
    std::string_view input(reinterpret_cast<const char*>(in_pData), in_uiSize);
    std::array<std::string, 3> texts;
    for (std::string& strText : texts)
    {
        const std::size_t uiEnd = std::min(input.find('\0'), input.size());
        strText = input.substr(0, uiEnd);
        input.remove_prefix(std::min(uiEnd + 1, input.size()));
    }
    const std::string strMessage(input);
    const LoggingIdEvent event("gateway", INFO_LOG_LEVEL, strMessage, __FILE__, __LINE__,
                               texts.data() + 1, texts.data() + texts.size());

    PatternLayout any(patternOf(texts[0]));
    lineBy(any, event);
    PatternLayout layout(patternOf("%m%n"));
    const std::string strLine = lineBy(layout, event);
    require(strLine.find('\n') == strLine.size() - 1, "more than a line", strLine);
    require(strLine == escaped(event.getMessage()) + '\n', "not the escaped message", strLine);
    checkEscaping(strMessage);

    log4cplus::helpers::Properties noLimit;
    noLimit.setProperty("MaxLength", "0");
    JsonLayout json(noLimit);
    const std::string strJson = lineBy(json, event);
    require(strJson.find('\n') == strJson.size() - 1, "more than a line", strJson);
    std::istringstream text(strJson);
    boost::property_tree::ptree tree;
    boost::property_tree::read_json(text, tree);
    require(tree.get<std::string>("message") == messageInJson(strMessage), "another message",
            strJson);
    return 0;
}
