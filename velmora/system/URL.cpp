// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/URL.h"

#include "velmora/system/ClassicText.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace Velmora
{

namespace
{

bool isHexDigit(char in_character)
{
    return ClassicText::valueOfHexDigit(in_character) != ClassicText::s_uiNoDigit;
}

/// Returns whether a '%' at this position begins an encoded byte.
bool isByteAt(const std::string& in_strText, std::size_t in_uiPosition)
{
    return in_strText.size() - in_uiPosition > 2 && isHexDigit(in_strText[in_uiPosition + 1]) &&
           isHexDigit(in_strText[in_uiPosition + 2]);
}

char byteAt(const std::string& in_strText, std::size_t in_uiPosition)
{
    const char szDigits[] = {in_strText[in_uiPosition + 1], in_strText[in_uiPosition + 2], '\0'};
    return static_cast<char>(std::strtol(szDigits, nullptr, 16));
}

constexpr std::string_view s_mask = "***";
constexpr std::string_view s_secretNames[] = {"pass", "pwd", "secret", "token"};

/// Returns the end of the password in `://user:password@`; npos if there is none. Sets where the
/// password begins.
std::size_t endOfPassword(std::string_view in_text, std::size_t& out_uiBegin)
{
    constexpr std::string_view separator = "://";
    for (std::size_t uiUrl = in_text.find(separator); uiUrl != std::string_view::npos;
         uiUrl = in_text.find(separator, uiUrl + 1))
    {
        const std::size_t uiUserEnd = in_text.find_first_of(":/?#@ ", uiUrl + separator.size());
        const std::size_t uiEnd = in_text.rfind('@');
        if (uiUserEnd == std::string_view::npos || in_text[uiUserEnd] != ':' ||
            uiEnd == std::string_view::npos || uiEnd < uiUserEnd)
            continue;
        out_uiBegin = uiUserEnd + 1;
        return uiEnd;
    }
    return std::string_view::npos;
}

bool isInName(char in_character)
{
    return ClassicText::isLetter(in_character) || ClassicText::isDigit(in_character) ||
           std::string_view("_.%-").find(in_character) != std::string_view::npos;
}

/// Returns whether the name before position `in_uiEnd` is that of a secret.
bool isSecretNamedBefore(std::string_view in_text, std::size_t in_uiEnd)
{
    std::size_t uiBegin = in_uiEnd;
    while (uiBegin != 0 && isInName(in_text[uiBegin - 1]))
        --uiBegin;
    std::string strName(in_text.substr(uiBegin, in_uiEnd - uiBegin));
    std::transform(strName.begin(), strName.end(), strName.begin(), ClassicText::toLower);
    const bool bInQuery =
        uiBegin != 0 && (in_text[uiBegin - 1] == '?' || in_text[uiBegin - 1] == '&');
    if (bInQuery && strName.find('%') != std::string::npos)
        return true;
    if (strName.find("passfile") != std::string::npos)
        return false;
    return std::any_of(std::begin(s_secretNames), std::end(s_secretNames),
                       [&strName](std::string_view in_secret)
                       { return strName.find(in_secret) != std::string::npos; });
}

} // namespace

void URL::decode(const std::string& in_strEncoded, std::string& out_strDecoded)
{
    // Built apart from the output, which may be the input.
    std::string strDecoded;
    strDecoded.reserve(in_strEncoded.size());
    for (std::size_t i = 0; i < in_strEncoded.size(); ++i)
    {
        if (in_strEncoded[i] == '+')
            strDecoded += ' ';
        else if (in_strEncoded[i] == '%' && isByteAt(in_strEncoded, i))
        {
            strDecoded += byteAt(in_strEncoded, i);
            i += 2;
        }
        else
            strDecoded += in_strEncoded[i];
    }
    out_strDecoded = std::move(strDecoded);
}

std::string URL::withoutSecrets(std::string_view in_text)
{
    std::string strMasked(in_text);
    std::size_t uiBegin = 0;
    const std::size_t uiEnd = endOfPassword(strMasked, uiBegin);
    if (uiEnd != std::string_view::npos)
        strMasked.replace(uiBegin, uiEnd - uiBegin, s_mask);
    for (std::size_t uiEquals = strMasked.find('='); uiEquals != std::string::npos;
         uiEquals = strMasked.find('=', uiEquals + 1))
        if (uiEquals + 1 != strMasked.size() && isSecretNamedBefore(strMasked, uiEquals))
        {
            strMasked.replace(uiEquals + 1, std::string::npos, s_mask);
            break;
        }
    return strMasked;
}

} // namespace Velmora
