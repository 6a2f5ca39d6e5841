// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/config/ConfigurationAdvice.h"
#include "velmora/config/GlobalConfigErrors.h"
#include "velmora/config/GlobalConfigSource.h"
#include "velmora/config/LoadProblems.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ReadingContext.h"
#include "velmora/config/RegisteredParameters.h"
#include "velmora/config/SharedParameterValue.h"
#include "velmora/config/TagSubstitution.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/FlushAppenders.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/InputFile.h"
#include "velmora/system/QuietStream.h"
#include "velmora/system/SourceText.h"
#include "velmora/system/URL.h"

#include <list>
#include <locale>
#include <new>
#include <sstream>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

using GlobalConfigErrors::failed;
using GlobalConfigErrors::failedFor;
using GlobalConfigErrors::isUnresolvedVectorEmpty;
using GlobalConfigErrors::logReason;

namespace
{

/// A guard that cannot take the lock, for example on the thread that holds it for writing,
/// continues without it.
using ReadLock = GatedGuard<ACE_RW_Thread_Mutex, ReadLocking>;
using TryReadLock = GatedGuard<ACE_RW_Thread_Mutex, TryReadLocking>;

constexpr const char* s_szLoadFails = "failed to load the Global Config";

/// Ends the registration of parameters: the table must not change any more once a configuration has
/// been checked against it.
void endRegistration()
{
    if (RegisteredParameters* const pRegistered = RegisteredParameters::ifAlive())
        pRegistered->close();
}

void readFrom(const NameIndex& in_index, const char* in_szParamName, ParameterValue& out_value)
{
    const NameIndex::StringTrie* const pNode = in_index.find(in_szParamName);
    if (pNode != nullptr)
        out_value = pNode->data();
    else
        out_value = ParameterValue();
}

using NameAndAdvice = std::pair<std::string, std::string>;

/// Returns the deprecated names of the table with what to write instead. Programs cannot register
/// deprecated parameters, so the names do not change. Never destroyed: a configuration may be
/// loaded until the end of the exit list.
const std::vector<NameAndAdvice>& deprecatedNames()
{
    static const std::vector<NameAndAdvice>& s_names = []() -> const std::vector<NameAndAdvice>&
    {
        auto pNames = std::make_unique<std::vector<NameAndAdvice>>();
        std::vector<ParameterInfoWithName> infos;
        // The list fails only if memory runs out, and the next load then tries again.
        if (!ParameterInfoDB::getInstance().retrieve("", infos))
            throw std::bad_alloc();
        for (const ParameterInfoWithName& info : infos)
            if (info.m_bDeprecated)
                pNames->emplace_back(info.m_strName,
                                     ConfigurationAdvice::forDeprecated(info.m_strDescription));
        return *pNames.release();
    }();
    return s_names;
}

/// The parameters of a trie, read and set through its index.
class IndexedTrie final : public Configuration
{
  public:
    explicit IndexedTrie(NameIndex& inout_index) : m_index(inout_index) {}

    void getParameter(const char* in_szParamName, ParameterValue& out_value) const override
    {
        readFrom(m_index, in_szParamName, out_value);
    }
    bool setParameter(const char* in_szParamName, const ParameterValue& in_value) override
    {
        SharedParameterValue::assign(m_index.nodeFor(in_szParamName).data(),
                                     ParameterValue(in_value));
        return true;
    }

  private:
    NameIndex& m_index;
};

} // namespace

/// Holds the lock for writing and records the thread that holds it. The value for assertions is
/// published before the lock is released, so that it is never older than the values that other
/// threads can read.
class GlobalConfigImpl::WriteLock
{
  public:
    explicit WriteLock(GlobalConfigImpl& inout_config)
        : m_guard(inout_config.m_mutex), m_config(inout_config)
    {
        if (!m_guard.isLocked())
            return;
        m_config.m_writer.store(std::this_thread::get_id(), std::memory_order_relaxed);
        m_config.m_pIndex->beginChange();
    }

    ~WriteLock()
    {
        m_config.publishAbortOnAssert();
        if (!m_guard.isLocked())
            return;
        m_config.m_pIndex->endChange();
        m_config.m_writer.store(std::thread::id(), std::memory_order_relaxed);
    }

    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

  private:
    GatedGuard<ACE_RW_Thread_Mutex, WriteLocking> m_guard;
    GlobalConfigImpl& m_config;
};

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
        for (const auto& [strName, strAdvice] : deprecatedNames())
        {
            const NameIndex::StringTrie* const pNode = m_config.m_pIndex->find(strName);
            if (pNode == nullptr || !pNode->data().defined())
                continue;
            const LinePlace place = m_context.definitionOf(strName);
            if (place.known())
                m_config.m_pProblems->note(strName, m_context.lineAbout(place, strAdvice));
        }
    }

    GlobalConfigImpl& m_config;
    ReadingContext m_context;
    std::vector<std::string> m_lines;
    UnresolvedLines m_unresolved{m_lines};
};

GlobalConfigImpl::GlobalConfigImpl()
    : m_pIndex(std::make_unique<NameIndex>(m_trie)), m_pProblems(std::make_unique<LoadProblems>())
{
}

GlobalConfigImpl::~GlobalConfigImpl() = default;

void GlobalConfigImpl::getParameter(const char* in_szParamName, ParameterValue& out_value) const
try
{
    // Threads that read numbers while nobody writes do not meet at the lock.
    if (m_pIndex->readUnlocked(in_szParamName, out_value))
        return;
    const ReadLock lock(m_mutex);
    readFrom(*m_pIndex, in_szParamName, out_value);
}
catch (...)
{
    out_value = ParameterValue();
    failedFor("failed to read the Global Configuration parameter", in_szParamName);
}

bool GlobalConfigImpl::tryGetBoolParameter(const char* in_szParamName, bool& out_bValue) const
{
    // The writing thread may read: it holds the lock. Only this thread can have stored its own id,
    // so the order of the load does not matter.
    if (m_writer.load(std::memory_order_relaxed) == std::this_thread::get_id())
        return m_trie.getBoolParameter(in_szParamName, out_bValue);
    const TryReadLock lock(m_mutex);
    return lock.isLocked() && m_trie.getBoolParameter(in_szParamName, out_bValue);
}

void GlobalConfigImpl::publishToAssertions() { m_bPublishes = true; }

void GlobalConfigImpl::publishAbortOnAssert() const noexcept
try
{
    if (!m_bPublishes)
        return;
    bool bAbort = false;
    m_trie.getBoolParameter(s_szINFRA_ABORTONASSERT_PARAM, bAbort);
    AssertionSeam::publishAbortOnAssert(bAbort);
}
catch (const std::bad_alloc&)
{
    // Without memory the value that was published before stays in effect.
}

bool GlobalConfigImpl::setParameter(const char* in_szParamName, const ParameterValue& in_value)
try
{
    // The table needs no lock, so the lock of the configuration is taken after these checks.
    ParameterInfo info;
    if (!ParameterInfoDB::getInstance().retrieve(in_szParamName, info))
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following parameter is not in the database : "
                               << in_szParamName);
        return false;
    }
    if (info.m_type != in_value.getType())
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following parameter has the wrong type : "
                               << in_szParamName);
        return false;
    }
    ParameterBounds bounds;
    if (ParameterInfoDB::retrieveBounds(in_szParamName, bounds) && !bounds.contain(in_value))
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following value is out of bounds : "
                               << in_szParamName << " = " << in_value << ", should be " << bounds);
        return false;
    }
    const WriteLock lock(*this);
    // Only logged. The run-time flag below is what refuses a change.
    if (m_bWriteProtected)
        VELMORA_FILE_LOG_ERROR(
            "failed to set a Global Configuration parameter because it is write protected : "
            << in_szParamName);
    if (m_bRunTime && !info.m_bRunTimeSettable)
    {
        VELMORA_FILE_LOG_ERROR("failed to set a Global Configuration parameter because the "
                               "following parameter can not be set at run-time : "
                               << in_szParamName);
        return false;
    }
    SharedParameterValue::assign(m_pIndex->nodeFor(in_szParamName).data(),
                                 ParameterValue(in_value));
    return true;
}
catch (...)
{
    return failedFor("failed to set the Global Configuration parameter", in_szParamName);
}

bool GlobalConfigImpl::load(std::istream& inout_stream)
try
{
    endRegistration();
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
    endRegistration();
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
    endRegistration();
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

bool GlobalConfigImpl::addDefaults(bool in_bIncludeDeprecated)
try
{
    endRegistration();
    const WriteLock lock(*this);
    if (m_bWriteProtected)
    {
        VELMORA_FILE_LOG_ERROR("can not set defaults in global config, it is write protected");
        return false;
    }
    IndexedTrie trie(*m_pIndex);
    ParameterInfoDB::getInstance().addDefaultsToConfig(trie, in_bIncludeDeprecated);
    return true;
}
catch (...)
{
    return failed("failed to set defaults in the Global Config");
}

void GlobalConfigImpl::writeProtect()
{
    const WriteLock lock(*this);
    m_bWriteProtected = true;
}

void GlobalConfigImpl::declareRunTime()
{
    const WriteLock lock(*this);
    m_bRunTime = true;
}

// Both operations only take the lock and release it: observers are not supported.
void GlobalConfigImpl::addObserver(const char*, LimitedObjPtr<ConfigurationObserver>)
{
    const WriteLock lock(*this);
}

void GlobalConfigImpl::removeObserver(LimitedObjPtr<ConfigurationObserver>)
{
    const WriteLock lock(*this);
}

std::ostream& GlobalConfigImpl::write(std::ostream& out_stream) const
try
{
    const QuietStream quiet(out_stream);
    return m_trie.write(out_stream);
}
catch (...)
{
    const QuietStream quiet(out_stream);
    out_stream.setstate(std::ios_base::badbit);
    failed("failed to write the Global Config");
    return out_stream;
}

LoadSummary GlobalConfigImpl::getLoadSummary() const
try
{
    const ReadLock lock(m_mutex);
    LoadSummary summary = m_summary;
    for (ParameterTrie::const_iterator iter = m_trie.begin(); iter.node() != nullptr; ++iter)
        summary.m_uiParameters += iter.data().defined() ? 1 : 0;
    return summary;
}
catch (...)
{
    failed("failed to count the parameters of the Global Config");
    return {};
}

void GlobalConfigImpl::keepProblems() { m_pProblems->keep(); }

void GlobalConfigImpl::logProblemsAgain() const
try
{
    if (m_pProblems->logAgain())
        flushAppenders();
}
catch (...)
{
    failed("failed to log again what is wrong with the Global Config");
}

std::string GlobalConfigImpl::lineAbout(const std::string& in_strParamName) const
{
    return m_pProblems->noteOf(in_strParamName);
}

// Not virtual: a new virtual operation of this class would shift the later ones in the tables of
// derived classes, and programs call these by position.
LoadSummary GlobalConfig::getLoadSummary() const
{
    const auto* const pConfig = dynamic_cast<const GlobalConfigImpl*>(this);
    return pConfig != nullptr ? pConfig->getLoadSummary() : LoadSummary();
}

void GlobalConfig::keepProblems()
{
    if (auto* const pConfig = dynamic_cast<GlobalConfigImpl*>(this))
        pConfig->keepProblems();
}

void GlobalConfig::logProblemsAgain() const
{
    if (const auto* const pConfig = dynamic_cast<const GlobalConfigImpl*>(this))
        pConfig->logProblemsAgain();
}

bool GlobalConfigImpl::warnOnUnknownParameterNames() const
try
{
    const ParameterInfoDB& db = ParameterInfoDB::getInstance();
    bool bAllKnown = true;
    std::string strName;
    std::string strClosestName;
    for (ParameterTrie::const_iterator iter = m_trie.begin(); iter.node() != nullptr; ++iter)
    {
        const std::vector<std::string>& key = iter.key();
        if (!iter.data().defined() || (!key.empty() && key.front() == "log4cplus"))
            continue;
        vectorToDottedString(key, strName);
        if (db.validateParamName(strName.c_str(), strClosestName))
            continue;
        VELMORA_FILE_LOG_WARN(
            "Unknown parameter : " << strName << ". Closest known parameter : " << strClosestName);
        if (const std::string strLine = lineAbout(strName); !strLine.empty())
            VELMORA_FILE_LOG_WARN(strLine);
        m_pProblems->forgetUnknown(strName);
        bAllKnown = false;
    }
    return bAllKnown;
}
catch (...)
{
    return failed("failed to look for unknown parameters of the Global Config");
}

void GlobalConfigImpl::convertTo(ParameterTrie& out_trie, const char* in_szPrefix) const
try
{
    const ReadLock lock(m_mutex);
    if (const ParameterTrie::StringTrie* const pNode = m_pIndex->find(in_szPrefix))
        out_trie = ParameterTrie(*pNode);
    else
        out_trie = ParameterTrie();
}
catch (...)
{
    // An empty output is better than an incomplete one.
    out_trie.clear();
    out_trie.data() = ParameterValue();
    failed("failed to copy the Global Config");
}

} // namespace Velmora
