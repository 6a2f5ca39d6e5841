// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

class StringVector;

/// Functions on the bytes of strings. Letters are those of ASCII in every locale. An argument that
/// is read must not be the string that is changed, or part of it.
///
/// Thread-safety: may be called on any thread; a string belongs to one thread at a time.

[[nodiscard]] VELMORA_API char toLower(char in_character);
[[nodiscard]] VELMORA_API char toUpper(char in_character);

/// Convert all letters of a string. Return the string.
VELMORA_API std::string& strToLower(std::string& out_strText);
VELMORA_API std::string& strToUpper(std::string& out_strText);

/// Removes characters, except that of two equal characters in succession the second stays: the
/// search continues behind the character that moved to the place of the removed one. "aab" without
/// 'a' becomes "ab"; a second call makes it "b". Returns the string.
VELMORA_API std::string& strRemoveChar(std::string& out_strText, const std::string& in_strChars);

/// Splits a text at each delimiter. Tokens may be empty: "a,,b" has three tokens and "a," has two.
/// An empty or null text has none. `CTokenizer` splits at runs of delimiters instead.
VELMORA_API void strTokenize(const char* in_szText, StringVector& out_tokens, char in_cDelimiter);

/// Returns a copy without leading characters of this set; the empty string if there are no others.
[[nodiscard]] VELMORA_API std::string ltrim(const std::string& in_strText,
                                            const std::string& in_strChars);

/// Returns a copy without trailing characters of this set. If there are no others it returns the
/// whole string: unlike `ltrim`, it leaves a string of blanks unchanged.
[[nodiscard]] VELMORA_API std::string rtrim(const std::string& in_strText,
                                            const std::string& in_strChars);

/// Replaces all occurrences of `in_strFrom`, from left to right. Replacements are not searched. An
/// empty `in_strFrom` is never found. Returns the string.
VELMORA_API std::string& strFindAndReplace(const std::string& in_strFrom,
                                           const std::string& in_strTo, std::string& out_strText);

/// Returns the hexadecimal digit of a value up to 15, such as 'A' for 10; '?' for a greater value.
[[nodiscard]] VELMORA_API char bin2Hex(unsigned int in_uiNibble);

/// Appends two hexadecimal digits for each byte, such as "0AFF".
/// Failure: returns false and appends nothing for a null buffer with a length.
VELMORA_API bool bin2Hex(const unsigned char* in_pBytes, unsigned long in_uiLength,
                         std::string& out_strText);

} // namespace Velmora
