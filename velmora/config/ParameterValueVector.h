// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterValue.h"

#include <iosfwd>
#include <vector>

namespace Velmora
{

/// A list of values, as in the text "1 2.5 true x".
///
/// Thread-safety: as `ParameterValue`.
class VELMORA_API ParameterValueVector : public std::vector<ParameterValue>
{
  public:
    using std::vector<ParameterValue>::vector;

    /// Splits a string at its blanks and gives each token the type that it looks like. An undefined
    /// value yields an empty list, a value of any other type a list with one copy of it.
    void initFrom(const ParameterValue& in_value);
};

/// Replaces the content by the values in the rest of the stream, and leaves the stream in a good
/// state.
/// Failure: a stream that fails before its end fails an assertion, and throws if its owner has
/// asked for that (`std::ios::exceptions`).
VELMORA_API std::istream& operator>>(std::istream& in_stream, ParameterValueVector& out_values);

} // namespace Velmora
