// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigSource.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/Regexx.h"

#include <strings.h>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

GlobalConfigSource::GlobalConfigSource(const std::string& in_strUrl)
    : strUrl(in_strUrl), strPath(in_strUrl)
{
    // The scheme and the path are the groups; the host is ignored.
    Regexx rxx("^(\\w+)://[\\w\\.-]*/(.+)");
    // A text that is not a URL is a path.
    if (rxx.exec(in_strUrl) == 0)
    {
        file.emplace(strPath);
        return;
    }
    VELMORA_FILE_ASSERT(rxx.match[0].atom.size() == 2);
    strScheme = rxx.match[0].atom[0];
    strPath = rxx.match[0].atom[1];
    if (isDatabase())
        fetch();
    else
        file.emplace(strPath);
}

bool GlobalConfigSource::isDatabase() const
{
    return !strScheme.empty() && strcasecmp(strScheme.c_str(), "file") != 0;
}

void GlobalConfigSource::fetch()
{
    GlobalConfigSeam::DatabaseSource* const pSource = GlobalConfigSeam::getDatabaseSource();
    if (pSource != nullptr)
        parameters = pSource->fetch(strUrl);
    if (!parameters)
        VELMORA_FILE_LOG_ERROR("failed to initialize global config from "
                               << strUrl << (pSource == nullptr ? " : no database source" : ""));
}

} // namespace Velmora
