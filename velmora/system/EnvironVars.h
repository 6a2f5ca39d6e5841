// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>
#include <string_view>

namespace Velmora
{

/// Replaces each tag "${NAME}" in a text by the environment variable of that name. A tag stays as
/// it is if its variable is empty or not set. Replacements are not searched for tags. `out_strText`
/// may be the string of the text.
///
/// Thread-safety: may be called on any thread while no thread changes the environment.
/// Failure: returns false for a tag that is not closed, and returns the text unchanged.
VELMORA_API bool substEnvironVars(std::string_view in_strText, std::string& out_strText);

} // namespace Velmora
