// SPDX-License-Identifier: BSD-2-Clause

// A program in which ACE's log cannot be opened: it replaces the function that opens the log. It
// must not reach `main`.

#include "velmora/logging/LogMacros.h"

#include <ace/Log_Msg.h>

int ACE_Log_Msg::open(const ACE_TCHAR*, u_long, const ACE_TCHAR*) { return -1; }

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.FailsToOpenLogOfACE")

int main()
{
    VELMORA_FILE_LOG_WARN("main");
    return 0;
}
