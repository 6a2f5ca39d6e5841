// SPDX-License-Identifier: BSD-2-Clause

#include "Output.h"

#include "velmora/logging/EscapedText.h"
#include "velmora/logging/JsonText.h"
#include "velmora/logging/LineBuffer.h"

#include <array>
#include <ctime>

namespace CallFileTool
{

namespace
{

/// Returns a time as text, in a form of strftime.
std::string timeAs(const char* in_szForm, const std::tm& in_time)
{
    std::array<char, 64> text{};
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): all forms are in this file.
    return {text.data(), std::strftime(text.data(), text.size(), in_szForm, &in_time)};
}

std::string localTime(std::time_t in_time)
{
    std::tm local = {};
    localtime_r(&in_time, &local);
    return timeAs("%Y-%m-%d %H:%M:%S", local);
}

std::string utcTime(std::time_t in_time)
{
    std::tm utc = {};
    gmtime_r(&in_time, &utc);
    return timeAs("%Y-%m-%dT%H:%M:%SZ", utc);
}

std::string jsonText(std::string_view in_text)
{
    Velmora::LineBuffer text;
    Velmora::appendJsonText(text, in_text);
    return '"' + std::string(text.text()) + '"';
}

void appendJson(std::string& inout_strOutput, const CallFile& in_file)
{
    const auto flag = [](bool in_b) { return in_b ? "true" : "false"; };
    inout_strOutput.append("{\"call_id\":").append(jsonText(in_file.strCallId));
    inout_strOutput.append(",\"path\":").append(jsonText(in_file.strPath));
    inout_strOutput.append(",\"changed\":\"").append(utcTime(in_file.changed.tv_sec));
    inout_strOutput.append("\",\"bytes\":").append(std::to_string(in_file.uiSize));
    inout_strOutput.append(",\"earlier\":").append(flag(in_file.bEarlier));
    inout_strOutput.append(",\"compressed\":").append(flag(in_file.bCompressed)).append("}\n");
}

} // namespace

std::string escaped(std::string_view in_text)
{
    std::string strText;
    Velmora::EscapedText::append(strText, in_text);
    // A TAB is no danger to a terminal, but separates columns here.
    for (std::size_t uiTab = 0; (uiTab = strText.find('\t', uiTab)) != std::string::npos;)
        strText.replace(uiTab, 1, "\\x09");
    return strText;
}

void append(std::string& inout_strOutput, const CallFile& in_file, Form in_form)
{
    switch (in_form)
    {
    case Form::path:
        inout_strOutput.append(escaped(in_file.strPath)).append(1, '\n');
        break;
    case Form::table:
        inout_strOutput.append(localTime(in_file.changed.tv_sec)).append(1, '\t');
        inout_strOutput.append(std::to_string(in_file.uiSize)).append(1, '\t');
        inout_strOutput.append(escaped(in_file.strCallId)).append(1, '\t');
        inout_strOutput.append(escaped(in_file.strPath)).append(1, '\n');
        break;
    case Form::json:
        appendJson(inout_strOutput, in_file);
        break;
    case Form::raw:
        inout_strOutput.append(in_file.strPath).append(1, '\0');
        break;
    }
}

} // namespace CallFileTool
