// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/AceCleanupLogger.h"

#include <string>

namespace Velmora::Test
{

/// Returns the logger of another source file, which has the same name as that of the test.
AceCleanupLogger* fileScopeLoggerOfOtherFile();

/// Logs a line at INFO through that logger.
void logThroughOtherFile(const std::string& in_strText);

} // namespace Velmora::Test
