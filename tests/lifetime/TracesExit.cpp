// SPDX-License-Identifier: BSD-2-Clause

// Logs all lines, including TRACE, while it ends.

#include "velmora/logging/LogMacros.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.TracesExit")

int main()
{
    static_cast<void>(Velmora::DefaultStaticMemAllocator::allocate(24, "leaking"));
    Velmora::Logger().setLogLevel(Velmora::TRACE_LOG_LEVEL);
    return 0;
}
