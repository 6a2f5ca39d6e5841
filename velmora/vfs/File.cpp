// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/File.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/vfs/FileDeletion.h"
#include "velmora/vfs/FileRenaming.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(File)

namespace Velmora
{

int File::renameWithTimestamp(const char* in_szPath, unsigned int in_uiMaxKept,
                              const char* in_szTargetDir)
{
    VELMORA_FILE_TRACE_SCOPE(File::renameWithTimestamp);
    return FileRenaming::run(in_szPath, in_uiMaxKept, in_szTargetDir) ? 0 : 1;
}

bool File::deleteFileDir(const char* in_szPath, bool in_bForce, bool in_bVerbose,
                         bool in_bRecursive)
{
    return FileDeletion(in_bForce, in_bVerbose, in_bRecursive).run(in_szPath);
}

} // namespace Velmora
