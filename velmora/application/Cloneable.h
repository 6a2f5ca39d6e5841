#pragma once

#include "velmora/application/Object.h"

namespace Velmora
{

/// An object that can be copied without knowing its class.
class VELMORA_API Cloneable : public virtual Object
{
  public:
    Cloneable() = default;
    Cloneable(const Cloneable&) = default;
    Cloneable& operator=(const Cloneable&) = default;
    ~Cloneable() override;

    /// A new copy.
    /// Ownership: the caller's, who deletes it through its virtual destructor.
    [[nodiscard]] virtual Cloneable* clone() const = 0;
};

} // namespace Velmora
