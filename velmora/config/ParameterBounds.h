#pragma once

#include "velmora/Export.h"
#include "velmora/config/Parameter.h"

#include <iosfwd>

namespace Velmora
{

/// The least and the greatest value that a parameter of type INT or FLOAT may have. Either may be
/// missing.
///
/// Thread-safety: as `ParameterValue`.
class VELMORA_API ParameterBounds
{
  public:
    /// Whether there is a bound at all.
    [[nodiscard]] bool defined() const { return m_lowest.defined() || m_highest.defined(); }

    /// Whether a value of the bounds' type lies within them. A value of another type does not, nor
    /// does a float that is not a number. Without bounds, all values do.
    [[nodiscard]] bool contain(const ParameterValue& in_value) const;

    /// Writes them as in "from 1 to 65535", "at least 1" or "at most 65535"; nothing without
    /// bounds.
    std::ostream& write(std::ostream& out_stream) const;

    /// Undefined for none.
    ParameterValue m_lowest;
    ParameterValue m_highest;
};

/// Calls `write`.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ParameterBounds& in_bounds);

} // namespace Velmora
