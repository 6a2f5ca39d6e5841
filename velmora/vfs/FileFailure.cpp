// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/FileFailure.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <cerrno>
#include <cstring>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(File)

namespace Velmora::FileFailure
{

bool isMissing(int in_iError) { return in_iError == ENOENT || in_iError == ENOTDIR; }

void logReason(const std::string& in_strWhat, int in_iError)
{
    VELMORA_FILE_LOG_ERROR("cannot " << in_strWhat << ": " << std::strerror(in_iError));
}

void logUnseen(const std::string& in_strPath, int in_iError)
{
    if (!isMissing(in_iError))
        VELMORA_FILE_LOG_ERROR("cannot look at " << in_strPath << ": " << std::strerror(in_iError)
                                                 << "; it is left as it is");
}

} // namespace Velmora::FileFailure
