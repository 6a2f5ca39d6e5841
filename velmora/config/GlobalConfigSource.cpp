// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigSource.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/LoadProblems.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/system/Regexx.h"
#include "velmora/system/URL.h"

#include <utility>

#include <strings.h>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

namespace
{

/// What keeps the lines of the load that fetches on this thread; null outside `fetch`.
thread_local LoadProblems* t_pProblems = nullptr;

/// Names the keeper of this thread for a scope.
class Keeping
{
  public:
    explicit Keeping(LoadProblems& inout_problems)
        : m_pFormer(std::exchange(t_pProblems, &inout_problems))
    {
    }
    ~Keeping() { t_pProblems = m_pFormer; }
    Keeping(const Keeping&) = delete;
    Keeping& operator=(const Keeping&) = delete;

  private:
    LoadProblems* const m_pFormer;
};

} // namespace

void GlobalConfigSeam::warnOfSource(const std::string& in_strText)
{
    VELMORA_LOG_PROBLEM(t_pProblems, WARN_LOG_LEVEL, in_strText);
}

GlobalConfigSource::Address::Address(const std::string& in_strUrl) : strPath(in_strUrl)
{
    // The scheme and the path are the groups; the host is ignored.
    Regexx rxx("^(\\w+)://[\\w\\.-]*/(.+)");
    // A text that is not a URL is a path.
    if (rxx.exec(in_strUrl) == 0)
        return;
    VELMORA_FILE_ASSERT(rxx.match[0].atom.size() == 2);
    strScheme = rxx.match[0].atom[0];
    strPath = rxx.match[0].atom[1];
}

bool GlobalConfigSource::Address::isDatabase() const
{
    return !strScheme.empty() && strcasecmp(strScheme.c_str(), "file") != 0;
}

GlobalConfigSource::GlobalConfigSource(const std::string& in_strUrl, LoadProblems& inout_problems)
    : strUrl(in_strUrl), strShown(URL::withoutSecrets(in_strUrl)), address(in_strUrl)
{
    if (address.isDatabase())
        fetch(inout_problems);
    else
        file.emplace(address.strPath);
}

void GlobalConfigSource::fetch(LoadProblems& inout_problems)
{
    GlobalConfigSeam::DatabaseSource* const pSource = GlobalConfigSeam::getDatabaseSource();
    if (pSource != nullptr)
    {
        const Keeping keeping(inout_problems);
        parameters = pSource->fetch(strUrl);
    }
    if (!parameters)
        VELMORA_LOG_PROBLEM(&inout_problems, ERROR_LOG_LEVEL,
                            "failed to initialize global config from "
                                << strShown << (pSource == nullptr ? " : no database source" : ""));
}

} // namespace Velmora
