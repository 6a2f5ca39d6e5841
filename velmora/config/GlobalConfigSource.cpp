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

/// The warnings of the check that fetches on this thread; null outside one.
thread_local std::vector<std::string>* t_pWarnings = nullptr;

/// Sets a pointer for a scope.
template <class Object>
class Naming
{
  public:
    Naming(Object*& inout_pObject, Object& in_object)
        : m_pObject(inout_pObject), m_pFormer(std::exchange(inout_pObject, &in_object))
    {
    }
    ~Naming() { m_pObject = m_pFormer; }
    Naming(const Naming&) = delete;
    Naming& operator=(const Naming&) = delete;

  private:
    Object*& m_pObject;
    Object* const m_pFormer;
};

} // namespace

void GlobalConfigSeam::warnOfSource(const std::string& in_strText)
{
    if (t_pWarnings != nullptr)
        t_pWarnings->push_back(in_strText);
    else
        VELMORA_LOG_PROBLEM(t_pProblems, WARN_LOG_LEVEL, in_strText);
}

std::optional<GlobalConfigSeam::DatabaseSource::Parameters>
GlobalConfigSeam::fetchForCheck(const std::string& in_strUrl,
                                std::vector<std::string>& inout_warnings)
{
    DatabaseSource* const pSource = getDatabaseSource();
    if (pSource == nullptr)
        return std::nullopt;
    const Naming naming(t_pWarnings, inout_warnings);
    return pSource->fetch(in_strUrl);
}

bool GlobalConfigSeam::isCheck() { return t_pWarnings != nullptr; }

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
        const Naming naming(t_pProblems, inout_problems);
        parameters = pSource->fetch(strUrl);
    }
    if (!parameters)
        VELMORA_LOG_PROBLEM(&inout_problems, ERROR_LOG_LEVEL,
                            "failed to initialize global config from "
                                << strShown << (pSource == nullptr ? " : no database source" : ""));
}

} // namespace Velmora
