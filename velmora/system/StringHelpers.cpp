// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/StringHelpers.h"

#include "velmora/system/ClassicText.h"
#include "velmora/system/StringVector.h"

#include <cstddef>
#include <string_view>

namespace Velmora
{

namespace
{

template <char (*t_pChange)(char)>
std::string& changeAll(std::string& out_strText)
{
    for (char& character : out_strText)
        character = t_pChange(character);
    return out_strText;
}

} // namespace

char toLower(char in_character) { return ClassicText::toLower(in_character); }

char toUpper(char in_character) { return ClassicText::toUpper(in_character); }

std::string& strToLower(std::string& out_strText) { return changeAll<&toLower>(out_strText); }

std::string& strToUpper(std::string& out_strText) { return changeAll<&toUpper>(out_strText); }

std::string& strRemoveChar(std::string& out_strText, const std::string& in_strChars)
{
    for (const char character : in_strChars)
        for (std::size_t uiPosition = out_strText.find(character); uiPosition != std::string::npos;
             uiPosition = out_strText.find(character, uiPosition + 1))
            out_strText.erase(uiPosition, 1);
    return out_strText;
}

void strTokenize(const char* in_szText, StringVector& out_tokens, char in_cDelimiter)
{
    out_tokens.clear();
    if (in_szText == nullptr || *in_szText == '\0')
        return;
    std::string_view rest = in_szText;
    for (std::size_t uiEnd = rest.find(in_cDelimiter); uiEnd != std::string_view::npos;
         uiEnd = rest.find(in_cDelimiter))
    {
        out_tokens.push_back(std::string(rest.substr(0, uiEnd)));
        rest.remove_prefix(uiEnd + 1);
    }
    out_tokens.push_back(std::string(rest));
}

std::string ltrim(const std::string& in_strText, const std::string& in_strChars)
{
    const std::size_t uiFirst = in_strText.find_first_not_of(in_strChars);
    return uiFirst == std::string::npos ? std::string() : in_strText.substr(uiFirst);
}

std::string rtrim(const std::string& in_strText, const std::string& in_strChars)
{
    const std::size_t uiLast = in_strText.find_last_not_of(in_strChars);
    return uiLast == std::string::npos ? in_strText : in_strText.substr(0, uiLast + 1);
}

std::string& strFindAndReplace(const std::string& in_strFrom, const std::string& in_strTo,
                               std::string& out_strText)
{
    // An empty text would be found behind each replacement, without end.
    if (in_strFrom.empty())
        return out_strText;
    for (std::size_t uiPosition = out_strText.find(in_strFrom); uiPosition != std::string::npos;
         uiPosition = out_strText.find(in_strFrom, uiPosition + in_strTo.size()))
        out_strText.replace(uiPosition, in_strFrom.size(), in_strTo);
    return out_strText;
}

char bin2Hex(unsigned int in_uiNibble)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    return in_uiNibble < digits.size() ? digits[in_uiNibble] : '?';
}

bool bin2Hex(const unsigned char* in_pBytes, unsigned long in_uiLength, std::string& out_strText)
{
    if (in_pBytes == nullptr || in_uiLength == 0)
        return in_uiLength == 0;
    out_strText.reserve(out_strText.size() + 2 * in_uiLength);
    for (unsigned long i = 0; i < in_uiLength; ++i)
    {
        out_strText += bin2Hex(static_cast<unsigned int>(in_pBytes[i]) >> 4);
        out_strText += bin2Hex(static_cast<unsigned int>(in_pBytes[i]) & 15);
    }
    return true;
}

} // namespace Velmora
