// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/test/FileScopeLoggerOfOtherFile.h"

#include "velmora/logging/LogMacros.h"

VELMORA_FILE_SCOPE_LOGGER("test.FileScopeLogger")

namespace Velmora::Test
{

AceCleanupLogger* fileScopeLoggerOfOtherFile() { return fileScopeLogger(); }

void logThroughOtherFile(const std::string& in_strText) { VELMORA_FILE_LOG_INFO(in_strText); }

} // namespace Velmora::Test
