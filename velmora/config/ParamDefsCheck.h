// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterRow.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// Compile-time checks of a table of parameter definitions. Whether a default reads as a value of
/// its row's type is left to `ParamDefs`, which reads it as a configuration is read: it fails an
/// assertion and logs the name of the parameter.
namespace Velmora::ParamDefsCheck
{

constexpr std::string_view s_strPrefix = "keswardin.";

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

constexpr bool areTypesOfParameters(std::span<const ParameterRow> in_rows)
{
    return std::none_of(in_rows.begin(), in_rows.end(),
                        [](const ParameterRow& in_row) {
                            return in_row.type == ParameterValue::UNDEF_TYPE ||
                                   in_row.type == ParameterValue::LONG_TYPE;
                        });
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
