#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

class StringVector;

/// Work on the bytes of strings; letters are those of ASCII, whatever the locale. An argument that
/// is read must not be the string that is changed, nor part of it.
///
/// Thread-safety: may be called on any thread; a string belongs to one thread at a time.

[[nodiscard]] VELMORA_API char toLower(char in_character);
[[nodiscard]] VELMORA_API char toUpper(char in_character);

/// Change all letters of a string. Give the string.
VELMORA_API std::string& strToLower(std::string& out_strText);
VELMORA_API std::string& strToUpper(std::string& out_strText);

/// Removes characters, but of two equal ones side by side the second stays: the search goes on
/// behind the character that took the place of the one removed. "aab" without 'a' is "ab"; it takes
/// a second call to make it "b". Gives the string.
VELMORA_API std::string& strRemoveChar(std::string& out_strText, const std::string& in_strChars);

/// Splits a text at each delimiter, with an empty token before, between and behind delimiters where
/// there is nothing else: "a,,b" has three tokens and "a," two. An empty text has none, and nor has
/// a null one. `CTokenizer` splits at runs of delimiters instead.
VELMORA_API void strTokenize(const char* in_szText, StringVector& out_tokens, char in_cDelimiter);

/// A copy from its first character on that is none of these; the empty string if there is none.
[[nodiscard]] VELMORA_API std::string ltrim(const std::string& in_strText,
                                            const std::string& in_strChars);

/// A copy up to its last character that is none of these. If there is none it is the whole string:
/// unlike `ltrim`, this leaves a string of blanks alone.
[[nodiscard]] VELMORA_API std::string rtrim(const std::string& in_strText,
                                            const std::string& in_strChars);

/// Replaces all that equals `in_strFrom`, from left to right; what was put in is not searched.
/// Gives the string. An empty `in_strFrom` is found nowhere.
VELMORA_API std::string& strFindAndReplace(const std::string& in_strFrom,
                                           const std::string& in_strTo, std::string& out_strText);

/// The digit of a value up to 15, as in 'A' for 10; '?' for a greater one.
[[nodiscard]] VELMORA_API char bin2Hex(unsigned int in_uiNibble);

/// Appends two digits for each byte, as in "0AFF".
/// Failure: false, with nothing appended, for a null buffer with a length.
VELMORA_API bool bin2Hex(const unsigned char* in_pBytes, unsigned long in_uiLength,
                         std::string& out_strText);

} // namespace Velmora
