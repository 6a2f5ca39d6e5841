// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Object.h"

#include <iosfwd>

namespace Velmora
{

/// The interface of objects with a text form. `operator<<` is the one way to put an object in a log
/// line.
///
/// Thread-safety: as stated by the derived class. `write` must not change the object.
class VELMORA_API OutputStreamable : public virtual Object
{
  public:
    OutputStreamable() = default;
    OutputStreamable(const OutputStreamable&) = default;
    OutputStreamable& operator=(const OutputStreamable&) = default;
    ~OutputStreamable() override;

    /// Writes the text form, without a line end, and returns the stream.
    virtual std::ostream& write(std::ostream& out_stream) const = 0;
};

/// Calls `write` and returns its result.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const OutputStreamable& in_object);

} // namespace Velmora
