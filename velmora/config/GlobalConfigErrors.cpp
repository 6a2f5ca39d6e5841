// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigErrors.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/system/InputFile.h"

#include <cstring>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

bool GlobalConfigErrors::failed(const char* in_szWhat)
{
    logCaughtException(::liveFileScopeLogger(), in_szWhat);
    return false;
}

std::string GlobalConfigErrors::unknownParameters(const std::vector<std::string>& in_unresolved)
{
    std::string strText = "Unknown parameters:";
    for (const std::string& strLine : in_unresolved)
        strText += " [" + strLine + "]";
    return strText;
}

void GlobalConfigErrors::isUnresolvedVectorEmpty(const std::vector<std::string>& in_unresolved,
                                                 bool& out_bOK)
{
    if (in_unresolved.empty())
        return;
    VELMORA_FILE_LOG_ERROR("Unable to complete the configuration. "
                           << unknownParameters(in_unresolved));
    out_bOK = false;
}

void GlobalConfigErrors::logReason(const char* in_szWhat, const std::string& in_strPath,
                                   const InputFile& in_file)
{
    if (in_file.error() != 0)
        VELMORA_FILE_LOG_ERROR("cannot " << in_szWhat << ' ' << in_strPath << ": "
                                         << std::strerror(in_file.error()));
}

} // namespace Velmora
