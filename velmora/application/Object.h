// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// The root of the object model. Every class of the library with virtual functions has it as a
/// virtual base, so that a class may combine several interfaces and still have one root.
///
/// Thread-safety: no locking is needed, as the class has no state.
class VELMORA_API Object
{
  public:
    Object() = default;
    Object(const Object&) = default;
    Object& operator=(const Object&) = default;
    virtual ~Object();
};

} // namespace Velmora
