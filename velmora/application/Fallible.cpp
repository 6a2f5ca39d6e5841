// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Fallible.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Fallible)

namespace Velmora
{

void FallibleBase::assertUsedInInvalidStateErr(const char* in_szFile, unsigned int in_uiLine)
{
    Assertion::assert_i(false, "Fallible object used in invalid state", liveFileScopeLogger(),
                        in_szFile, static_cast<int>(in_uiLine));
}

} // namespace Velmora
