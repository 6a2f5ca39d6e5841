// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/EscapedText.h"

#include "velmora/logging/AppendNumber.h"
#include "velmora/logging/Utf8.h"
#include "velmora/system/ClassicText.h"

#include <algorithm>
#include <optional>

namespace Velmora::EscapedText
{

namespace
{

/// Appends a backslash, the sign of a form and a number.
void appendNumberForm(std::string& inout_strText, char in_cForm, unsigned int in_uiValue,
                      int in_iDigits)
{
    inout_strText += '\\';
    inout_strText += in_cForm;
    appendHex(inout_strText, in_uiValue, in_iDigits);
}

/// Appends the first character of a text, which is not plain. Returns its length.
std::size_t appendFirst(std::string& inout_strEscaped, std::string_view in_text)
{
    switch (in_text.front())
    {
    case '\t':
        inout_strEscaped += '\t';
        return 1;
    case '\\':
        inout_strEscaped += "\\\\";
        return 1;
    case '\n':
        inout_strEscaped += "\\n";
        return 1;
    case '\r':
        inout_strEscaped += "\\r";
        return 1;
    default:
        break;
    }
    const std::optional<Utf8::Character> character = Utf8::first(in_text);
    if (!character || character->uiLength == 1)
    {
        appendNumberForm(inout_strEscaped, 'x', static_cast<unsigned char>(in_text.front()), 2);
        return 1;
    }
    if (Utf8::isHidden(character->uiCodePoint))
        appendNumberForm(inout_strEscaped, 'u', character->uiCodePoint, 4);
    else
        inout_strEscaped.append(in_text.substr(0, character->uiLength));
    return character->uiLength;
}

/// Returns the value of the hexadecimal digits in a text; nothing if it has others or is too short.
std::optional<unsigned int> readHex(std::string_view in_text, std::size_t in_uiDigits)
{
    if (in_text.size() < in_uiDigits)
        return std::nullopt;
    unsigned int uiValue = 0;
    for (const char cDigit : in_text.substr(0, in_uiDigits))
    {
        const unsigned int uiDigit = ClassicText::valueOfHexDigit(cDigit);
        if (uiDigit == ClassicText::s_uiNoDigit)
            return std::nullopt;
        uiValue = uiValue << 4 | uiDigit;
    }
    return uiValue;
}

/// Returns the length of the form that a backslash begins; 0 if it begins none.
std::size_t lengthOfForm(std::string_view in_escaped)
{
    if (in_escaped.size() < 2)
        return 0;
    switch (in_escaped[1])
    {
    case '\\':
    case 'n':
    case 'r':
        return 2;
    case 'x':
        return readHex(in_escaped.substr(2), 2) ? 4 : 0;
    case 'u':
        return readHex(in_escaped.substr(2), 4) ? 6 : 0;
    default:
        return 0;
    }
}

void appendCodePoint(std::string& inout_strText, unsigned int in_uiCodePoint)
{
    const auto trailing = [in_uiCodePoint](int in_iShift)
    { return static_cast<char>(0x80 | (in_uiCodePoint >> in_iShift & 0x3f)); };
    if (in_uiCodePoint < 0x80)
        inout_strText += static_cast<char>(in_uiCodePoint);
    else if (in_uiCodePoint < 0x800)
        inout_strText += {static_cast<char>(0xc0 | in_uiCodePoint >> 6), trailing(0)};
    else
        inout_strText += {static_cast<char>(0xe0 | in_uiCodePoint >> 12), trailing(6), trailing(0)};
}

void appendForm(std::string& inout_strText, std::string_view in_form)
{
    switch (in_form[1])
    {
    case 'n':
        inout_strText += '\n';
        return;
    case 'r':
        inout_strText += '\r';
        return;
    case 'x':
        inout_strText += static_cast<char>(*readHex(in_form.substr(2), 2));
        return;
    case 'u':
        appendCodePoint(inout_strText, *readHex(in_form.substr(2), 4));
        return;
    default:
        inout_strText += '\\';
    }
}

} // namespace

void append(std::string& inout_strEscaped, std::string_view in_text)
{
    while (!in_text.empty())
    {
        const std::size_t uiPlain = Utf8::countPlain<'\\'>(in_text);
        inout_strEscaped.append(in_text.substr(0, uiPlain));
        in_text.remove_prefix(uiPlain);
        if (!in_text.empty())
            in_text.remove_prefix(appendFirst(inout_strEscaped, in_text));
    }
}

bool read(std::string& inout_strText, std::string_view in_escaped)
{
    const std::size_t uiBefore = inout_strText.size();
    for (std::size_t uiForm = 0; !in_escaped.empty(); in_escaped.remove_prefix(uiForm))
    {
        const std::size_t uiRaw = std::min(in_escaped.find('\\'), in_escaped.size());
        inout_strText.append(in_escaped.substr(0, uiRaw));
        in_escaped.remove_prefix(uiRaw);
        uiForm = lengthOfForm(in_escaped);
        if (uiForm == 0 && !in_escaped.empty())
        {
            inout_strText.resize(uiBefore);
            return false;
        }
        if (uiForm != 0)
            appendForm(inout_strText, in_escaped);
    }
    return true;
}

std::size_t lengthOfFirst(std::string_view in_escaped)
{
    if (in_escaped.empty())
        return 0;
    if (in_escaped.front() == '\\')
        return std::max(lengthOfForm(in_escaped), std::size_t{1});
    const std::optional<Utf8::Character> character = Utf8::first(in_escaped);
    return character ? character->uiLength : 1;
}

std::size_t lengthOfWholeCharacters(std::string_view in_text, std::size_t in_uiMost)
{
    if (in_text.size() <= in_uiMost)
        return in_text.size();
    // The character that holds the byte behind the cut begins at most three bytes before it.
    for (std::size_t uiBack = 1; uiBack <= std::min<std::size_t>(in_uiMost, 3); ++uiBack)
    {
        const std::optional<Utf8::Character> character =
            Utf8::first(in_text.substr(in_uiMost - uiBack));
        if (character && character->uiLength > uiBack)
            return in_uiMost - uiBack;
    }
    return in_uiMost;
}

} // namespace Velmora::EscapedText
