#pragma once

#include "velmora/Export.h"

#include <string>
#include <string_view>

namespace Velmora
{

/// Replaces each tag "${NAME}" in a text by the environment variable of that name. A tag whose
/// variable is not set or is empty stays. What comes from the environment is not searched for tags
/// again. The output may be the text's own string.
///
/// Thread-safety: may be called on any thread while nobody changes the environment.
/// Failure: false for a tag that is not closed; the output is then the text as it was.
VELMORA_API bool substEnvironVars(std::string_view in_strText, std::string& out_strText);

} // namespace Velmora
