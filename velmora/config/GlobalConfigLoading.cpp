// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/GlobalConfigErrors.h"
#include "velmora/config/GlobalConfigImpl.h"
#include "velmora/config/GlobalConfigLock.h"
#include "velmora/config/GlobalConfigSource.h"
#include "velmora/config/LoadProblems.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ParamDefsTable.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/RegisteredParameters.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/InputFile.h"
#include "velmora/system/QuietStream.h"
#include "velmora/system/SourceText.h"
#include "velmora/system/URL.h"

#include <list>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

using GlobalConfigErrors::failed;
using GlobalConfigErrors::isUnresolvedVectorEmpty;
using GlobalConfigErrors::logReason;

namespace
{

constexpr const char* s_szLoadFails = "failed to load the Global Config";

} // namespace

/// What the sources of a load share: the waiting lines and the places. Made and destroyed while the
/// lock is held for writing.
class GlobalConfigImpl::Load
{
  public:
    explicit Load(GlobalConfigImpl& inout_config)
        : m_config(inout_config), m_context(inout_config.m_pProblems.get())
    {
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    [[nodiscard]] ReadingContext& context() { return m_context; }
    [[nodiscard]] UnresolvedLines& unresolved() { return m_unresolved; }

    /// Logs the lines that no source has completed, and returns false if there are any.
    [[nodiscard]] bool end()
    {
        // No line is being read any more.
        m_context.returnTo(LinePlace());
        noteDeprecated();
        bool bOK = true;
        isUnresolvedVectorEmpty(
            m_unresolved,
            TagSubstitution(m_config.m_trie, nullptr, m_config.m_pIndex.get(), m_context), bOK);
        return bOK;
    }

  private:
    /// Notes the places of deprecated parameters, which are reported when the start has gone on.
    void noteDeprecated()
    {
        // Programs cannot register deprecated parameters, so all are in the table.
        for (const ParameterRow& row : s_paramDefsTable)
        {
            const NameIndex::StringTrie* const pNode =
                row.bDeprecated ? m_config.m_pIndex->find(row.szName) : nullptr;
            if (pNode == nullptr || !pNode->data().defined())
                continue;
            const LinePlace place = m_context.definitionOf(row.szName);
            if (place.known())
                m_config.m_pProblems->note(
                    row.szName, m_context.lineAbout(
                                    place, ConfigurationAdvice::forDeprecated(row.szDescription)));
        }
    }

    GlobalConfigImpl& m_config;
    ReadingContext m_context;
    std::vector<std::string> m_lines;
    UnresolvedLines m_unresolved{m_lines};
};

bool GlobalConfigImpl::load(std::istream& inout_stream)
try
{
    RegisteredParameters::end();
    const QuietStream quiet(inout_stream);
    // Read before the lock is taken, because the caller's stream runs foreign code.
    SourceText whole;
    if (inout_stream.good())
        whole.read(*inout_stream.rdbuf());
    std::istream text(&whole);
    // A stream that had failed before is not read and makes the load fail.
    text.setstate(inout_stream.rdstate());
    const WriteLock lock(*this);
    Load theLoad(*this);
    bool bOK = loadNoMutex(text, "", theLoad);
    bOK = theLoad.end() && bOK;
    inout_stream.setstate(text.rdstate());
    return bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::load(const char* in_szPath)
try
{
    RegisteredParameters::end();
    InputFile file(in_szPath);
    const WriteLock lock(*this);
    Load theLoad(*this);
    const bool bOK = loadFileNoMutex(in_szPath, file, theLoad);
    return theLoad.end() && bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::load(const std::vector<std::string>& in_urls)
try
{
    VELMORA_FILE_TRACE_SCOPE(GlobalConfigImpl::load);
    if (in_urls.empty())
    {
        VELMORA_FILE_LOG_ERROR("failed to load configuration to initialize Global Config because "
                               "config URLs vector is empty");
        return false;
    }
    RegisteredParameters::end();
    std::list<GlobalConfigSource> sources;
    for (const std::string& strUrl : in_urls)
        sources.emplace_back(strUrl, *m_pProblems);
    const WriteLock lock(*this);
    Load theLoad(*this);
    bool bOK = true;
    for (GlobalConfigSource& source : sources)
        // A source that fails does not keep the later ones from being loaded.
        bOK = loadUrlNoMutex(source, theLoad) && bOK;
    return theLoad.end() && bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::loadUrlNoMutex(GlobalConfigSource& inout_source, Load& inout_load)
{
    const GlobalConfigSource::Address& address = inout_source.address;
    VELMORA_FILE_LOG_DEBUG("GlobalConfigImpl::load : Config URL: " << inout_source.strShown);
    if (!address.strScheme.empty())
        VELMORA_FILE_LOG_DEBUG("Config URL prefix: " << address.strScheme);
    return address.isDatabase() ? loadDBURLNoMutex(inout_source, inout_load)
                                : loadFileNoMutex(address.strPath, *inout_source.file, inout_load);
}

bool GlobalConfigImpl::loadFileNoMutex(const std::string& in_strPath, InputFile& inout_file,
                                       Load& inout_load)
{
    // A URL with a user is taken for a path.
    const std::string strShown = URL::withoutSecrets(in_strPath);
    VELMORA_FILE_LOG_DEBUG("Loading Global Config from " << strShown);
    if (!inout_file)
    {
        VELMORA_LOG_PROBLEM(m_pProblems.get(), ERROR_LOG_LEVEL,
                            "failed to initialize Global Config : unable to open "
                                << strShown << " for reading");
        logReason("open", strShown, inout_file, *m_pProblems);
        return false;
    }
    if (loadNoMutex(inout_file, strShown, inout_load))
        return true;
    VELMORA_LOG_PROBLEM(m_pProblems.get(), ERROR_LOG_LEVEL,
                        "failed to initialize global config from " << strShown);
    logReason("read", strShown, inout_file, *m_pProblems);
    return false;
}

bool GlobalConfigImpl::loadDBURLNoMutex(GlobalConfigSource& inout_source, Load& inout_load)
{
    if (!inout_source.parameters)
        return false;
    std::string strText;
    // Parsed like a file, so that values get their types and tags are replaced.
    for (const auto& [strName, strValue] : *inout_source.parameters)
    {
        VELMORA_FILE_LOG_DEBUG("Obtained param \"" << strName << "\" value: \"" << strValue
                                                   << "\" from database");
        strText.append(strName).append(1, '=').append(strValue).append(1, '\n');
    }
    inout_source.text.imbue(std::locale::classic());
    inout_source.text.str(std::move(strText));
    if (loadNoMutex(inout_source.text, inout_source.strShown, inout_load))
        return true;
    VELMORA_LOG_PROBLEM(m_pProblems.get(), ERROR_LOG_LEVEL,
                        "failed to initialize global config from " << inout_source.strShown);
    return false;
}

bool GlobalConfigImpl::loadNoMutex(std::istream& inout_stream, std::string_view in_name,
                                   Load& inout_load)
{
    if (m_bWriteProtected)
    {
        VELMORA_LOG_PROBLEM(m_pProblems.get(), ERROR_LOG_LEVEL,
                            "Global config is write protected. Not loading");
        return false;
    }
    VELMORA_FILE_LOG_DEBUG("Loading Global Config from istream");
    const QuietStream quiet(inout_stream);
    if (!inout_stream.fail())
        m_trie.read(inout_stream, &ParameterInfoDB::getInstance(), nullptr,
                    {.pSummary = &m_summary,
                     .pIndex = m_pIndex.get(),
                     .pUnresolved = &inout_load.unresolved(),
                     .pContext = &inout_load.context(),
                     .sourceName = in_name});
    if (!inout_stream.fail())
        return true;
    VELMORA_LOG_PROBLEM(m_pProblems.get(), ERROR_LOG_LEVEL,
                        "failed to initialize global config from istream");
    return false;
}

bool GlobalConfigImpl::initialize(int in_argc, char** in_argv, const char* in_szOptionName)
try
{
    std::vector<std::string> urls;
    getConfigOptionsFromCmdline(in_argc, in_argv, urls, in_szOptionName);
    if (urls.empty())
    {
        VELMORA_FILE_LOG_ERROR(
            "Failed to initialize the Global Config from command line because option "
            << in_szOptionName << " was not set.");
        return false;
    }
    return load(urls);
}
catch (...)
{
    return failed(s_szLoadFails);
}

} // namespace Velmora
