#pragma once

#include "velmora/config/ParameterRow.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// Compile-time checks of a table of parameter definitions. The assertions of `ParamDefs` check the
/// rest when the table is built.
namespace Velmora::ParamDefsCheck
{

constexpr std::string_view s_strPrefix = "keswardin.";

constexpr bool isDigit(char in_character) { return in_character >= '0' && in_character <= '9'; }

/// Returns whether a name begins with the prefix, has no empty component, and has no character with
/// a meaning in the text of a configuration.
constexpr bool isNameWellFormed(std::string_view in_strName)
{
    return in_strName.starts_with(s_strPrefix) && in_strName.back() != '.' &&
           in_strName.find("..") == std::string_view::npos &&
           in_strName.find_first_of(" =#${}") == std::string_view::npos;
}

constexpr bool areNamesWellFormed(std::span<const ParameterRow> in_rows)
{
    return std::all_of(in_rows.begin(), in_rows.end(),
                       [](const ParameterRow& in_row) { return isNameWellFormed(in_row.szName); });
}

/// Returns the 64-bit FNV-1a hash of a name.
constexpr std::uint64_t hash(std::string_view in_strName)
{
    std::uint64_t uiHash = 0xcbf29ce484222325U;
    for (const char character : in_strName)
        uiHash = (uiHash ^ static_cast<unsigned char>(character)) * 0x100000001b3U;
    return uiHash;
}

/// Returns whether no two rows have the same name. Compares sorted hashes, because comparing all
/// pairs of names takes the compiler too long.
template <std::size_t Size>
constexpr bool areNamesDistinct(const ParameterRow (&in_rows)[Size])
{
    std::array<std::uint64_t, Size> hashes{};
    for (std::size_t uiRow = 0; uiRow < Size; ++uiRow)
        hashes[uiRow] = hash(in_rows[uiRow].szName);
    std::sort(hashes.begin(), hashes.end());
    return std::adjacent_find(hashes.begin(), hashes.end()) == hashes.end();
}

constexpr bool isBool(std::string_view in_strText)
{
    return in_strText == "true" || in_strText == "false";
}

/// Returns whether a text is digits, with or without a minus sign. A leading zero is not allowed,
/// because it would make the number octal.
constexpr bool isInt(std::string_view in_strText)
{
    if (in_strText.starts_with('-'))
        in_strText.remove_prefix(1);
    constexpr std::size_t uiMostDigits = 9;
    return !in_strText.empty() && in_strText.size() <= uiMostDigits &&
           std::all_of(in_strText.begin(), in_strText.end(), isDigit) &&
           (in_strText.size() == 1 || in_strText.front() != '0');
}

/// Returns whether a text is digits with a point between them, with or without a minus sign.
constexpr bool isFloat(std::string_view in_strText)
{
    const std::size_t uiPoint = in_strText.find('.');
    if (uiPoint == std::string_view::npos)
        return false;
    const std::string_view strFraction = in_strText.substr(uiPoint + 1);
    return isInt(in_strText.substr(0, uiPoint)) && !strFraction.empty() &&
           std::all_of(strFraction.begin(), strFraction.end(), isDigit);
}

constexpr void skipSign(std::string_view& inout_strText)
{
    if (inout_strText.starts_with('-') || inout_strText.starts_with('+'))
        inout_strText.remove_prefix(1);
}

constexpr void skipDigits(std::string_view& inout_strText)
{
    while (!inout_strText.empty() && isDigit(inout_strText.front()))
        inout_strText.remove_prefix(1);
}

constexpr bool skipOneOf(std::string_view& inout_strText, std::string_view in_strCharacters)
{
    const bool bFound = !inout_strText.empty() &&
                        in_strCharacters.find(inout_strText.front()) != std::string_view::npos;
    if (bFound)
        inout_strText.remove_prefix(1);
    return bFound;
}

/// Returns whether a text looks like a number. It may still not be one, such as "0x" without valid
/// digits.
constexpr bool maybeNumber(std::string_view in_strText)
{
    if (std::none_of(in_strText.begin(), in_strText.end(), isDigit))
        return false;
    if (in_strText.starts_with("0x"))
        return true;
    skipSign(in_strText);
    skipDigits(in_strText);
    if (skipOneOf(in_strText, "."))
        skipDigits(in_strText);
    if (skipOneOf(in_strText, "eE"))
    {
        skipSign(in_strText);
        skipDigits(in_strText);
    }
    return in_strText.empty();
}

/// Returns whether a text is the given lower-case word, in any case.
constexpr bool isWord(std::string_view in_strText, std::string_view in_strWord)
{
    return in_strText.size() == in_strWord.size() &&
           std::equal(in_strText.begin(), in_strText.end(), in_strWord.begin(),
                      [](char in_left, char in_right) { return (in_left | 0x20) == in_right; });
}

/// Returns whether a text is neither a number nor a bool and has no blanks at its ends, which would
/// be trimmed.
constexpr bool isString(std::string_view in_strText)
{
    if (in_strText.empty())
        return true;
    return in_strText.front() > ' ' && in_strText.back() > ' ' && !maybeNumber(in_strText) &&
           !isWord(in_strText, "true") && !isWord(in_strText, "false");
}

constexpr bool doesDefaultFitType(const ParameterRow& in_row)
{
    if (in_row.szDefault == nullptr)
        return true;
    switch (in_row.type)
    {
    case ParameterValue::STRING_TYPE:
        return isString(in_row.szDefault);
    case ParameterValue::INT_TYPE:
        return isInt(in_row.szDefault);
    case ParameterValue::BOOL_TYPE:
        return isBool(in_row.szDefault);
    case ParameterValue::FLOAT_TYPE:
        return isFloat(in_row.szDefault);
    case ParameterValue::UNDEF_TYPE:
    case ParameterValue::LONG_TYPE:
        break;
    }
    return false;
}

constexpr bool areTypesOfParameters(std::span<const ParameterRow> in_rows)
{
    return std::none_of(in_rows.begin(), in_rows.end(),
                        [](const ParameterRow& in_row) {
                            return in_row.type == ParameterValue::UNDEF_TYPE ||
                                   in_row.type == ParameterValue::LONG_TYPE;
                        });
}

constexpr bool doDefaultsFitTypes(std::span<const ParameterRow> in_rows)
{
    return std::all_of(in_rows.begin(), in_rows.end(), doesDefaultFitType);
}

/// Returns whether a text is not empty and has one line.
constexpr bool isDescription(const char* in_szText)
{
    if (in_szText == nullptr || *in_szText == '\0')
        return false;
    return std::string_view(in_szText).find('\n') == std::string_view::npos;
}

constexpr bool areDescriptionsReadable(std::span<const ParameterRow> in_rows)
{
    return std::all_of(in_rows.begin(), in_rows.end(),
                       [](const ParameterRow& in_row)
                       {
                           return isDescription(in_row.szDescription) ||
                                  (in_row.szDescription == nullptr && !in_row.bDeprecated);
                       });
}

} // namespace Velmora::ParamDefsCheck
