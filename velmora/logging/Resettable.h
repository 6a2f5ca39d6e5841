#pragma once

#include "velmora/application/Object.h"

namespace Velmora
{

/// An object that can be put back into the state that it began with.
class VELMORA_API Resettable : public virtual Object
{
  public:
    Resettable() = default;
    Resettable(const Resettable&) = default;
    Resettable& operator=(const Resettable&) = default;
    ~Resettable() override;

    /// Puts the object back; false when that failed.
    virtual bool reset() = 0;
};

} // namespace Velmora
