// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/RunMode.h"

#include <strings.h>

#include <initializer_list>

namespace Velmora
{

const char* getRunModeString(RunMode in_runMode)
{
    switch (in_runMode)
    {
    case RunMode::production:
        return "production";
    case RunMode::development:
        return "development";
    case RunMode::undefined:
        return "undef";
    }
    return "RunMode???";
}

RunMode parseRunModeString(const char* in_szRunMode)
{
    for (const RunMode mode : {RunMode::production, RunMode::development})
        if (strcasecmp(in_szRunMode, getRunModeString(mode)) == 0)
            return mode;
    return RunMode::undefined;
}

} // namespace Velmora
