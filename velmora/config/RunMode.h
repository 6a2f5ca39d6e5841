// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// The purpose for which a program runs. It selects the parameter that names the logging
/// configuration.
enum class RunMode
{
    production,
    development,
    undefined
};

/// Returns "production", "development" or "undef"; "RunMode???" for any other value.
VELMORA_API const char* getRunModeString(RunMode in_runMode);

/// Returns the mode with this name, in upper or lower case; undefined for any other text, including
/// "undef". The text must not be null.
VELMORA_API RunMode parseRunModeString(const char* in_szRunMode);

} // namespace Velmora
