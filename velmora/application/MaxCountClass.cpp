// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/MaxCountClass.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(MaxCountClass)

namespace Velmora
{

void MaxCountClassNoT::maxCountExceeded(unsigned int in_uiCurrentCount, unsigned int in_uiMaxCount)
{
    VELMORA_FILE_LOG_ERROR("Maximum count of " << in_uiMaxCount
                                               << " exceeded : " << in_uiCurrentCount);
    VELMORA_FILE_ASSERT(in_uiCurrentCount <= in_uiMaxCount);
}

} // namespace Velmora
