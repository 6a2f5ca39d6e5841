// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/ParameterInfo.h"

#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

class ParameterBounds;

/// What to write in place of a wrong line of a configuration: the part behind the place, in the
/// lines of the log and in the problems that `ConfigurationCheck` finds.
///
/// Names and values come from outside. They are escaped (`EscapedText`), and cut at 200 bytes.
///
/// Thread-safety: all operations may be called on any thread.
namespace ConfigurationAdvice
{

/// Returns a text from outside as it is shown.
std::string shown(std::string_view in_text);

/// Returns whether a known name is so close to an unknown one that it is probably meant: at most a
/// third of the characters differ.
bool isClose(std::string_view in_name, std::string_view in_closestName);

/// Returns whether a line has a "$" that opens no tag, so that the text before it is dropped.
bool hasStrayDollar(std::string_view in_line);

/// The line is the one in the file, and what it is with its tags replaced.
std::string forParseError(std::string_view in_line, std::string_view in_replaced);
/// The name is close to the unknown one, or empty.
std::string forUnknownName(std::string_view in_name, std::string_view in_closeName,
                           std::string_view in_value);
std::string forWrongType(std::string_view in_name, const ParameterInfo& in_info,
                         std::string_view in_value);
std::string forBounds(const ParameterBounds& in_bounds, std::string_view in_value);
/// The former place is empty if it is not known. A line of a later file is meant to replace others.
std::string forRedefinition(std::string_view in_formerPlace, bool in_bLaterFile);
/// The line defines `in_ownName`.
std::string forUnknownTags(const std::vector<std::string>& in_names, std::string_view in_ownName);
std::string forTagOfNoString(std::string_view in_name, ParameterValue::Type in_type);
std::string forTooLongLine();
std::string forDeprecated(std::string_view in_description);

} // namespace ConfigurationAdvice

} // namespace Velmora
