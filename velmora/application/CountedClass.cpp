// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/CountedClass.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(CountedClass)

namespace Velmora
{

void CountedClassNoT::assertCountLargerThanZero(unsigned int in_uiCount, const char* in_szFile,
                                                int in_iLine)
{
    Assertion::assert_i(in_uiCount > 0, "in_uiCount > 0", liveFileScopeLogger(), in_szFile,
                        in_iLine);
}

} // namespace Velmora
