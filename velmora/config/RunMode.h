#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// What a program runs for. It chooses the parameter that names the logging configuration.
enum class RunMode
{
    production,
    development,
    undefined
};

/// "production", "development" or "undef"; "RunMode???" for a value that is none of them.
VELMORA_API const char* getRunModeString(RunMode in_runMode);

/// The mode with this name, capital letters or not; undefined for any other text, "undef" too. The
/// text must not be null.
VELMORA_API RunMode parseRunModeString(const char* in_szRunMode);

} // namespace Velmora
