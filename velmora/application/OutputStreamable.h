#pragma once

#include "velmora/application/Object.h"

#include <iosfwd>

namespace Velmora
{

/// An object with a text form. `operator<<` is the one way to put an object in a log line.
///
/// Thread-safety: as the derived class says; `write` must not change the object.
class VELMORA_API OutputStreamable : public virtual Object
{
  public:
    OutputStreamable() = default;
    OutputStreamable(const OutputStreamable&) = default;
    OutputStreamable& operator=(const OutputStreamable&) = default;
    ~OutputStreamable() override;

    /// Writes the text form and returns the stream. Ends no line.
    virtual std::ostream& write(std::ostream& out_stream) const = 0;
};

/// Calls `write` and returns what it returned.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const OutputStreamable& in_object);

} // namespace Velmora
