// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/JsonText.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/EscapedText.h"
#include "velmora/logging/Utf8.h"

#include <optional>
#include <string>

namespace Velmora
{

namespace
{

/// Appends the first character of a text, which is not plain. Returns its length.
std::size_t appendFirst(LineBuffer& inout_json, std::string_view in_text)
{
    constexpr std::string_view s_signs = "\"\\\b\f\n\r\t";
    if (const std::size_t uiSign = s_signs.find(in_text.front()); uiSign != std::string_view::npos)
    {
        inout_json.append('\\');
        inout_json.append("\"\\bfnrt"[uiSign]);
        return 1;
    }
    const std::optional<Utf8::Character> character = Utf8::first(in_text);
    // Short enough to need no memory.
    std::string strEscaped;
    if (!character)
    {
        // The backslash of the escaped form is escaped once more, as JSON's own.
        strEscaped = '\\';
        EscapedText::append(strEscaped, in_text.substr(0, 1));
        inout_json.append(strEscaped);
        return 1;
    }
    if (character->uiLength == 1 || Utf8::isHidden(character->uiCodePoint))
    {
        strEscaped = "\\u";
        appendHex(strEscaped, character->uiCodePoint, 4);
        inout_json.append(strEscaped);
    }
    else
        inout_json.append(in_text.substr(0, character->uiLength));
    return character->uiLength;
}

} // namespace

void appendJsonText(LineBuffer& inout_json, std::string_view in_text)
{
    while (!in_text.empty())
    {
        const std::size_t uiPlain = Utf8::countPlain<'\\', '"'>(in_text);
        inout_json.append(in_text.substr(0, uiPlain));
        in_text.remove_prefix(uiPlain);
        if (!in_text.empty())
            in_text.remove_prefix(appendFirst(inout_json, in_text));
    }
}

} // namespace Velmora
