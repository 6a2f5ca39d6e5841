// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Object.h"

#include <iosfwd>

namespace Velmora
{

/// The interface of objects that can be read from their text form.
///
/// Thread-safety: as stated by the derived class.
class VELMORA_API InputStreamable : public virtual Object
{
  public:
    InputStreamable() = default;
    InputStreamable(const InputStreamable&) = default;
    InputStreamable& operator=(const InputStreamable&) = default;
    ~InputStreamable() override;

    /// Reads the text form and returns the stream.
    virtual std::istream& read(std::istream& in_stream) = 0;
};

/// Calls `read` and returns its result.
VELMORA_API std::istream& operator>>(std::istream& in_stream, InputStreamable& out_object);

} // namespace Velmora
