// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/JsonText.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/logging/Utf8.h"

#include <optional>

namespace Velmora
{

namespace
{

/// Appends the first character of a text, which is not plain or is a quote. Returns its length.
std::size_t appendFirst(std::string& inout_strJson, std::string_view in_text)
{
    constexpr std::string_view s_signs = "\"\\\b\f\n\r\t";
    if (const std::size_t uiSign = s_signs.find(in_text.front()); uiSign != std::string_view::npos)
    {
        inout_strJson += '\\';
        inout_strJson += "\"\\bfnrt"[uiSign];
        return 1;
    }
    const std::optional<Utf8::Character> character = Utf8::first(in_text);
    if (!character)
    {
        // The backslash of the escaped form is escaped once more, as JSON's own.
        inout_strJson += '\\';
        EscapedText::append(inout_strJson, in_text.substr(0, 1));
        return 1;
    }
    if (character->uiLength == 1 || Utf8::isHidden(character->uiCodePoint))
    {
        inout_strJson += "\\u";
        appendHex(inout_strJson, character->uiCodePoint, 4);
    }
    else
        inout_strJson.append(in_text.substr(0, character->uiLength));
    return character->uiLength;
}

} // namespace

void appendJsonText(std::string& inout_strJson, std::string_view in_text)
{
    while (!in_text.empty())
    {
        const std::size_t uiPlain = Utf8::countPlain<'\\', '"'>(in_text);
        inout_strJson.append(in_text.substr(0, uiPlain));
        in_text.remove_prefix(uiPlain);
        if (!in_text.empty())
            in_text.remove_prefix(appendFirst(inout_strJson, in_text));
    }
}

} // namespace Velmora
