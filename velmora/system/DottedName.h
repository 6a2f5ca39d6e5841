#pragma once

#include "velmora/Export.h"

#include <string>
#include <vector>

namespace Velmora
{

/// How a dotted name maps to its components; all of the library maps by these functions.
///
/// Each '.' ends a component, which may be empty, and what follows the last one is a component
/// unless it is empty: "a.b" has the components a and b, ".a" an empty one and a, "a..b" three,
/// "a." one, and the empty text has none.
///
/// Thread-safety: may be called on any thread; a vector belongs to one thread at a time.

/// Splits a name without ever making the vector smaller, so that components of a name like one
/// before it need no memory. Gives the number of components. The elements from there on hold what
/// they held before, so the result counts and not the size of the vector. The name must not be null
/// nor part of the vector.
VELMORA_API unsigned long dottedStringToVectorNoResize(const char* in_szName,
                                                       std::vector<std::string>& out_components);

/// Splits a name into exactly its components.
VELMORA_API void dottedStringToVector(const char* in_szName,
                                      std::vector<std::string>& out_components);

/// Joins components with a '.' between them. The output must not be one of them.
VELMORA_API void vectorToDottedString(const std::vector<std::string>& in_components,
                                      std::string& out_strName);

} // namespace Velmora
