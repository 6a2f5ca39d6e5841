// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ScratchMemberGuard.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(ScratchMemberGuard)

namespace Velmora
{

ScratchMemberGuard::ScratchMemberGuard(bool& inout_bScratchMemberInUse)
    : m_bScratchMemberInUse(&inout_bScratchMemberInUse)
{
    scratchMemberInUseAssert();
    *m_bScratchMemberInUse = true;
}

ScratchMemberGuard::~ScratchMemberGuard() { *m_bScratchMemberInUse = false; }

void ScratchMemberGuard::scratchMemberInUseAssert() const
{
    const Assertion assertion(!*m_bScratchMemberInUse, "m_bScratchMemberInUse == false", __FILE__,
                              __LINE__);
}

} // namespace Velmora
