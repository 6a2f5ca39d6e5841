// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/CoreDump.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/vfs/File.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(CoreDump)

namespace Velmora
{

bool dumpCore(const char* in_szPath)
{
    VELMORA_FILE_TRACE_SCOPE(Velmora::dumpCore);
    constexpr unsigned int uiMaxKept = 10;
    File::renameWithTimestamp(in_szPath, uiMaxKept, nullptr);
    VELMORA_FILE_ASSERT_TEXT(false, "Not implemented : Velmora::dumpCore");
    return false;
}

} // namespace Velmora
