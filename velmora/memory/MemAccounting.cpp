// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/MemAccounting.h"

#include <strings.h>

#include <cstdlib>

namespace Velmora
{

bool isMemAccountingForced()
{
    static const bool s_bForced = []
    {
        const char* const szValue = std::getenv("VELMORA_MEM_ACCOUNTING");
        return szValue != nullptr && *szValue != '\0' && strcasecmp(szValue, "false") != 0;
    }();
    return s_bForced;
}

} // namespace Velmora
