// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/RecursivityGuard.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(RecursivityGuard)

namespace Velmora
{

RecursivityGuard::RecursivityGuard(bool& inout_bRecursivity) : m_bRecursivity(&inout_bRecursivity)
{
    recursivityAssert();
    *m_bRecursivity = true;
}

RecursivityGuard::~RecursivityGuard() { *m_bRecursivity = false; }

void RecursivityGuard::recursivityAssert() const
{
    const Assertion assertion(!*m_bRecursivity, "m_bRecursivity == false", __FILE__, __LINE__);
}

} // namespace Velmora
