// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/AssertionSeam.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/config/GlobalConfigErrors.h"
#include "velmora/config/GlobalConfigLock.h"
#include "velmora/config/LoadProblems.h"
#include "velmora/config/NameIndex.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/RegisteredParameters.h"
#include "velmora/config/SharedParameterValue.h"
#include "velmora/logging/FlushAppenders.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/QuietStream.h"

#include <new>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

using GlobalConfigErrors::failed;
using GlobalConfigErrors::failedFor;

namespace
{

/// A guard that cannot take the lock, for example on the thread that holds it for writing,
/// continues without it.
using ReadLock = GatedGuard<ACE_RW_Thread_Mutex, ReadLocking>;
using TryReadLock = GatedGuard<ACE_RW_Thread_Mutex, TryReadLocking>;

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

bool GlobalConfigImpl::addDefaults(bool in_bIncludeDeprecated)
try
{
    RegisteredParameters::end();
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
