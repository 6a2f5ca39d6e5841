// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Detects that a function is entered again through a callback. The function has a guard on the
/// stack, which uses a bool member `m_bRecursivity` of the object. The member is false while the
/// function does not run:
///
///     const RecursivityGuard guard(m_bRecursivity);
///
/// Thread-safety: as the guarded object.
/// Failure: the second entry fails the assertion "m_bRecursivity == false", and the function
/// continues. The end of the inner guard clears the flag for the outer one, too.
class VELMORA_API RecursivityGuard
{
  public:
    explicit RecursivityGuard(bool& inout_bRecursivity);
    ~RecursivityGuard();
    RecursivityGuard(const RecursivityGuard&) = delete;
    RecursivityGuard& operator=(const RecursivityGuard&) = delete;

  private:
    void recursivityAssert() const;

    bool* m_bRecursivity;
};

} // namespace Velmora
