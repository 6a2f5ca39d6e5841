// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/system/ClassicText.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

/// The parts of a line of a configuration, as `ParameterTrie` reads them.
///
/// Thread-safety: all operations may be called on any thread.
namespace Velmora::ConfigurationLine
{

/// Returns a text without the blanks around it.
constexpr std::string_view trimmed(std::string_view in_text)
{
    while (!in_text.empty() && ClassicText::isBlank(in_text.front()))
        in_text.remove_prefix(1);
    while (!in_text.empty() && ClassicText::isBlank(in_text.back()))
        in_text.remove_suffix(1);
    return in_text;
}

/// Returns whether a line is blank or a comment.
inline bool isBlankOrComment(std::string_view in_line)
{
    const auto* const pFirst =
        std::find_if_not(in_line.begin(), in_line.end(), &ClassicText::isBlank);
    return pFirst == in_line.end() || *pFirst == '#';
}

/// Returns the name in a line: the text before the first "=". Empty if there is none.
constexpr std::string_view nameOf(std::string_view in_line)
{
    const std::size_t uiEquals = in_line.find('=');
    return uiEquals == std::string_view::npos ? std::string_view()
                                              : trimmed(in_line.substr(0, uiEquals));
}

/// Returns the value in a line, as written: the text after the first "=". Empty if there is none.
constexpr std::string_view valueOf(std::string_view in_line)
{
    const std::size_t uiEquals = in_line.find('=');
    return uiEquals == std::string_view::npos ? std::string_view()
                                              : trimmed(in_line.substr(uiEquals + 1));
}

/// Returns a name without the dot at its end, which adds no component.
constexpr std::string_view keyOf(std::string_view in_name)
{
    if (in_name.ends_with('.'))
        in_name.remove_suffix(1);
    return in_name;
}

/// The first tag behind a position in a line.
struct Tag
{
    /// The text before the tag, or, without a tag, the text to the end of the line. It begins after
    /// the last "$" that opens no tag.
    std::string_view text;
    /// The tag from its "$" to its "}".
    std::string_view tag;
    /// The name between the braces.
    std::string_view name;
};

/// Finds the first tag of a line. Without a tag, returns false and the rest of the line as text.
bool findTag(std::string_view in_line, Tag& out_matches);

inline constexpr std::string_view s_byteOrderMark = "\xEF\xBB\xBF";

/// Removes the byte order mark from the first line of a text. Returns whether there was one.
inline bool removeByteOrderMark(std::string& inout_strLine)
{
    if (!inout_strLine.starts_with(s_byteOrderMark))
        return false;
    inout_strLine.erase(0, s_byteOrderMark.size());
    return true;
}

} // namespace Velmora::ConfigurationLine
