// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <string_view>

/// Text that comes from outside, written so that it stays in its line, says what it contains, and
/// can be read back.
///
/// | In the text | Is written as |
/// |---|---|
/// | a backslash | `\\` |
/// | a line feed, a carriage return | `\n`, `\r` |
/// | any other control byte but TAB | `\x1b` |
/// | a byte that does not belong to well-formed UTF-8 | `\xff` |
/// | a control character from U+0080 on, a line or paragraph separator, a mark, embedding, override
/// or isolate of the direction of text | `\u202e` |
///
/// All other text stays as it is. UTF-8 is well-formed as in the Unicode Standard, table 3-7: the
/// shortest form, no surrogates, nothing above U+10FFFF. The marks are the characters with the
/// property Bidi_Control.
///
/// Thread-safety: all operations may be called on any thread.
namespace Velmora::EscapedText
{

/// Appends a text in its escaped form.
/// Failure: throws `std::bad_alloc`; a part of the text may have been appended.
VELMORA_API void append(std::string& inout_strEscaped, std::string_view in_text);

/// Reads an escaped text back and appends it. The output of `append` gives the text that it was
/// given, byte for byte. Digits may have either case. Failure: returns false, without a change, for
/// a text with a backslash that begins none of the forms above.
[[nodiscard]] VELMORA_API bool read(std::string& inout_strText, std::string_view in_escaped);

/// Returns how many bytes of an escaped text its first character has: a form above, a character of
/// UTF-8, or one byte. Returns 0 for an empty text.
[[nodiscard]] VELMORA_API std::size_t lengthOfFirst(std::string_view in_escaped);

/// Returns the largest length, at most the given one, at which a text that may be UTF-8 can be cut
/// without cutting a character.
[[nodiscard]] VELMORA_API std::size_t lengthOfWholeCharacters(std::string_view in_text,
                                                              std::size_t in_uiMost);

} // namespace Velmora::EscapedText
