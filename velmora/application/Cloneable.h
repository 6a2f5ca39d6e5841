// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Object.h"

namespace Velmora
{

/// The interface of objects that can be copied through a base class.
class VELMORA_API Cloneable : public virtual Object
{
  public:
    Cloneable() = default;
    Cloneable(const Cloneable&) = default;
    Cloneable& operator=(const Cloneable&) = default;
    ~Cloneable() override;

    /// Returns a new copy.
    /// Ownership: the caller owns the copy and deletes it through its virtual destructor.
    [[nodiscard]] virtual Cloneable* clone() const = 0;
};

} // namespace Velmora
