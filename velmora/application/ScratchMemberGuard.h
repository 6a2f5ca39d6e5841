#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Finds two uses at once of a member that is kept as a scratch buffer, so that a hot path does not
/// allocate. A stack object around each use, over a bool member `m_bScratchMemberInUse`:
///
///     const ScratchMemberGuard guard(m_bScratchMemberInUse);
///
/// Thread-safety: that of the guarded object.
/// Failure: a second use is the assertion "m_bScratchMemberInUse == false", and the code goes on;
/// the end of the inner guard clears the flag for the outer one as well.
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
