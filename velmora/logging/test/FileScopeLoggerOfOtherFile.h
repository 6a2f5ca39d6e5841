#pragma once

#include "velmora/logging/AceCleanupLogger.h"

#include <string>

namespace Velmora::Test
{

/// The logger of another source file, which has the same name as that of the test.
AceCleanupLogger* fileScopeLoggerOfOtherFile();

/// Logs at INFO through it.
void logThroughOtherFile(const std::string& in_strText);

} // namespace Velmora::Test
