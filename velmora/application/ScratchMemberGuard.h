// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Detects that a scratch member is used twice at the same time. A scratch member is a buffer that
/// an object keeps so that a hot path does not allocate. Each use has a guard on the stack, which
/// uses a bool member `m_bScratchMemberInUse`:
///
///     const ScratchMemberGuard guard(m_bScratchMemberInUse);
///
/// Thread-safety: as the guarded object.
/// Failure: the second use fails the assertion "m_bScratchMemberInUse == false", and the code
/// continues. The end of the inner guard clears the flag for the outer one, too.
class VELMORA_API ScratchMemberGuard
{
  public:
    explicit ScratchMemberGuard(bool& inout_bScratchMemberInUse);
    ~ScratchMemberGuard();
    ScratchMemberGuard(const ScratchMemberGuard&) = delete;
    ScratchMemberGuard& operator=(const ScratchMemberGuard&) = delete;

  private:
    void scratchMemberInUseAssert() const;

    bool* m_bScratchMemberInUse;
};

} // namespace Velmora
