// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/config/GlobalConfigErrors.h"
#include "velmora/config/GlobalConfigSource.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/RegisteredParameters.h"
#include "velmora/config/SharedParameterValue.h"
#include "velmora/config/UnresolvedLines.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/InputFile.h"
#include "velmora/system/QuietStream.h"
#include "velmora/system/SourceText.h"

#include <list>
#include <locale>
#include <new>
#include <sstream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

using GlobalConfigErrors::failed;
using GlobalConfigErrors::isUnresolvedVectorEmpty;
using GlobalConfigErrors::logReason;

namespace
{

/// A guard that cannot take the lock, for example on the thread that holds it for writing,
/// continues without it.
using ReadLock = GatedGuard<ACE_RW_Thread_Mutex, ReadLocking>;
using TryReadLock = GatedGuard<ACE_RW_Thread_Mutex, TryReadLocking>;

constexpr const char* s_szLoadFails = "failed to load the Global Config";
constexpr const char* s_szReadFails = "failed to read a Global Configuration parameter";
constexpr const char* s_szSetFails = "failed to set a Global Configuration parameter";

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

GlobalConfigImpl::GlobalConfigImpl() : m_pIndex(std::make_unique<NameIndex>(m_trie)) {}

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
    failed(s_szReadFails);
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
    return failed(s_szSetFails);
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
    std::vector<std::string> lines;
    UnresolvedLines unresolved(lines);
    bool bOK = loadNoMutex(text, unresolved);
    isUnresolvedVectorEmpty(lines, bOK);
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
    std::vector<std::string> lines;
    UnresolvedLines unresolved(lines);
    bool bOK = loadFileNoMutex(in_szPath, file, unresolved);
    isUnresolvedVectorEmpty(lines, bOK);
    return bOK;
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
        sources.emplace_back(strUrl);
    const WriteLock lock(*this);
    std::vector<std::string> lines;
    UnresolvedLines unresolved(lines);
    bool bOK = true;
    for (GlobalConfigSource& source : sources)
        // A source that fails does not keep the later ones from being loaded.
        bOK = loadUrlNoMutex(source, unresolved) && bOK;
    isUnresolvedVectorEmpty(lines, bOK);
    return bOK;
}
catch (...)
{
    return failed(s_szLoadFails);
}

bool GlobalConfigImpl::loadUrlNoMutex(GlobalConfigSource& inout_source,
                                      UnresolvedLines& inout_unresolved)
{
    VELMORA_FILE_LOG_DEBUG("GlobalConfigImpl::load : Config URL: " << inout_source.strUrl);
    if (!inout_source.strScheme.empty())
        VELMORA_FILE_LOG_DEBUG("Config URL prefix: " << inout_source.strScheme);
    return inout_source.isDatabase()
               ? loadDBURLNoMutex(inout_source, inout_unresolved)
               : loadFileNoMutex(inout_source.strPath, *inout_source.file, inout_unresolved);
}

bool GlobalConfigImpl::loadFileNoMutex(const std::string& in_strPath, InputFile& inout_file,
                                       UnresolvedLines& inout_unresolved)
{
    VELMORA_FILE_LOG_DEBUG("Loading Global Config from " << in_strPath);
    if (!inout_file)
    {
        VELMORA_FILE_LOG_ERROR("failed to initialize Global Config : unable to open "
                               << in_strPath << " for reading");
        logReason("open", in_strPath, inout_file);
        return false;
    }
    if (loadNoMutex(inout_file, inout_unresolved))
        return true;
    VELMORA_FILE_LOG_ERROR("failed to initialize global config from " << in_strPath);
    logReason("read", in_strPath, inout_file);
    return false;
}

bool GlobalConfigImpl::loadDBURLNoMutex(const GlobalConfigSource& in_source,
                                        UnresolvedLines& inout_unresolved)
{
    if (!in_source.parameters)
        return false;
    std::string strText;
    // Parsed like a file, so that values get their types and tags are replaced.
    for (const auto& [strName, strValue] : *in_source.parameters)
    {
        VELMORA_FILE_LOG_DEBUG("Obtained param \"" << strName << "\" value: \"" << strValue
                                                   << "\" from database");
        strText.append(strName).append(1, '=').append(strValue).append(1, '\n');
    }
    std::istringstream text(strText);
    text.imbue(std::locale::classic());
    if (loadNoMutex(text, inout_unresolved))
        return true;
    VELMORA_FILE_LOG_ERROR("failed to initialize global config from " << in_source.strUrl);
    return false;
}

bool GlobalConfigImpl::loadNoMutex(std::istream& inout_stream, UnresolvedLines& inout_unresolved)
{
    if (m_bWriteProtected)
    {
        VELMORA_FILE_LOG_ERROR("Global config is write protected. Not loading");
        return false;
    }
    VELMORA_FILE_LOG_DEBUG("Loading Global Config from istream");
    const QuietStream quiet(inout_stream);
    if (!inout_stream.fail())
        m_trie.read(inout_stream, &ParameterInfoDB::getInstance(), nullptr,
                    {&m_summary, m_pIndex.get(), &inout_unresolved});
    if (!inout_stream.fail())
        return true;
    VELMORA_FILE_LOG_ERROR("failed to initialize global config from istream");
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

// Not virtual: a new virtual operation of this class would shift the later ones in the tables of
// derived classes, and programs call these by position.
LoadSummary GlobalConfig::getLoadSummary() const
{
    const auto* const pConfig = dynamic_cast<const GlobalConfigImpl*>(this);
    return pConfig != nullptr ? pConfig->getLoadSummary() : LoadSummary();
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
