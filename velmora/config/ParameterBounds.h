// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/config/ParameterValue.h"

#include <iosfwd>

namespace Velmora
{

/// The lowest and the highest value that a parameter of type INT or FLOAT may have. Either may be
/// missing.
///
/// Thread-safety: as `ParameterValue`.
class VELMORA_API ParameterBounds
{
  public:
    /// Returns whether there is at least one bound.
    [[nodiscard]] bool defined() const { return m_lowest.defined() || m_highest.defined(); }

    /// Returns whether a value of the bounds' type lies within them. Returns false for a value of
    /// another type and for NaN. Without bounds, returns true for all values.
    [[nodiscard]] bool contain(const ParameterValue& in_value) const;

    /// Writes the bounds as in "from 1 to 65535", "at least 1" or "at most 65535". Writes nothing
    /// if there are no bounds.
    std::ostream& write(std::ostream& out_stream) const;

    /// A bound that does not exist is undefined.
    ParameterValue m_lowest;
    ParameterValue m_highest;
};

/// Calls `write`.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ParameterBounds& in_bounds);

} // namespace Velmora
