// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Object.h"

namespace Velmora
{

/// An object that can be reset to its initial state.
class VELMORA_API Resettable : public virtual Object
{
  public:
    Resettable() = default;
    Resettable(const Resettable&) = default;
    Resettable& operator=(const Resettable&) = default;
    ~Resettable() override;

    /// Resets the object. Returns false on failure.
    virtual bool reset() = 0;
};

} // namespace Velmora
