// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <string_view>

/// Characters and words by the rules of the classic locale, whatever the locale of the process: the
/// functions of the C library follow that one. For the library only.
///
/// Thread-safety: all operations may be called on any thread.
namespace Velmora::ClassicText
{

/// Returns whether a character is a space, a tab, or an end of a line or page.
constexpr bool isBlank(char in_character)
{
    return in_character == ' ' || (in_character >= '\t' && in_character <= '\r');
}

constexpr bool isDigit(char in_character) { return in_character >= '0' && in_character <= '9'; }

constexpr bool isUpperCase(char in_character) { return in_character >= 'A' && in_character <= 'Z'; }

constexpr bool isLowerCase(char in_character) { return in_character >= 'a' && in_character <= 'z'; }

constexpr bool isLetter(char in_character)
{
    return isLowerCase(in_character) || isUpperCase(in_character);
}

constexpr char toLower(char in_character)
{
    return isUpperCase(in_character) ? static_cast<char>(in_character - 'A' + 'a') : in_character;
}

constexpr char toUpper(char in_character)
{
    return isLowerCase(in_character) ? static_cast<char>(in_character - 'a' + 'A') : in_character;
}

/// What `valueOfHexDigit` returns for any other character; larger than the value of each digit.
inline constexpr unsigned int s_uiNoDigit = 255;

/// Returns the value of a hexadecimal digit of either case.
constexpr unsigned int valueOfHexDigit(char in_character)
{
    if (isDigit(in_character))
        return static_cast<unsigned int>(in_character - '0');
    if (in_character >= 'a' && in_character <= 'f')
        return static_cast<unsigned int>(in_character - 'a' + 10);
    if (in_character >= 'A' && in_character <= 'F')
        return static_cast<unsigned int>(in_character - 'A' + 10);
    return s_uiNoDigit;
}

/// Returns the first character of a text that is not a blank, or its terminator.
constexpr const char* skipBlanks(const char* in_szText)
{
    while (isBlank(*in_szText))
        ++in_szText;
    return in_szText;
}

/// Returns the end of a text without the blanks at its end.
constexpr const char* trimEnd(const char* in_pBegin, const char* in_pEnd)
{
    while (in_pEnd != in_pBegin && isBlank(in_pEnd[-1]))
        --in_pEnd;
    return in_pEnd;
}

/// Returns whether a text is a given lower-case word, in any case.
constexpr bool equalsIgnoringCase(std::string_view in_text, std::string_view in_lowerCaseWord)
{
    return in_text.size() == in_lowerCaseWord.size() &&
           std::equal(in_text.begin(), in_text.end(), in_lowerCaseWord.begin(),
                      [](char in_left, char in_right) { return toLower(in_left) == in_right; });
}

constexpr const char* ofBool(bool in_bValue) { return in_bValue ? "true" : "false"; }

} // namespace Velmora::ClassicText
