// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallDataRegistryImpl.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/Singleton.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/logging/WithoutThrowing.h"

#include <exception>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(CallData)

namespace Velmora
{

namespace
{

using MutexGuard = GatedGuard<AdaptiveMutex>;

/// The maximum load factor of the table. With many concurrent calls, cache misses make up the cost
/// of a look-up. In a sparse table a look-up reads the entry of the call and few others.
constexpr float s_fMaxCallsOfBucket = 0.25F;

constexpr const char* s_szGetCallData = "CallDataRegistryImpl::getCallData";
constexpr const char* s_szIncrementRefCount = "CallDataRegistryImpl::::incrementRefCount";
constexpr const char* s_szDecrementRefCount = "CallDataRegistryImpl::decrementRefCount";

OncePerProcess<CallDataRegistryImpl>& aliveInProcess()
{
    static OncePerProcess<CallDataRegistryImpl> s_place("CallDataRegistryImpl");
    return s_place;
}

[[maybe_unused]] const CallDataRegistryImpl* const __force_init_singleton__CallDataRegistryImpl =
    (bringUpLibrary(), CallDataRegistryImpl::getInstance());

} // namespace

CallDataRegistryImpl* CallDataRegistryImpl::getInstance()
{
    static CallDataRegistryImpl* const pSingleton = aliveInProcess().fill(
        registerSingleton("CallDataRegistryImpl::Singleton", new CallDataRegistryImpl));
    return pSingleton;
}

CallDataRegistryImpl* CallDataRegistryImpl::ifAlive() { return aliveInProcess().get(); }

CallDataRegistryImpl::CallDataRegistryImpl()
{
    m_callDataHash.max_load_factor(s_fMaxCallsOfBucket);
}

CallDataRegistryImpl::~CallDataRegistryImpl() { aliveInProcess().clear(this); }

bool CallDataRegistryImpl::configure(const ParameterTrie& in_trie)
{
    // Read before the mutexes are locked: this takes the lock of the configuration of the process,
    // and that configuration holds the same lock when it calls this function.
    const CallAppenderFactory::Parameters parameters = CallAppenderFactory::readParameters(in_trie);
    const MutexGuard tableGuard(m_tableMutex);
    // Active calls may ask the factory for their appenders concurrently.
    const MutexGuard refCountGuard(m_refCountMutex);
    return m_callAppenderFactory.configure(in_trie, parameters);
}

std::size_t CallDataRegistryImpl::getCurrentNumCall() const
{
    const MutexGuard tableGuard(m_tableMutex);
    return m_callDataHash.size();
}

std::size_t CallDataRegistryImpl::getMaxNumCall() const
{
    const MutexGuard tableGuard(m_tableMutex);
    return m_uiMaxNumCall;
}

CallDataRegistry::CallDataHandle CallDataRegistryImpl::getCallData(const char* in_szCallId)
{
    const TraceScope traceScope(::liveFileScopeLogger(), s_szGetCallData);
    CallDataHandle hResult(in_szCallId);
    while (true)
    {
        std::uint32_t uiRemoved = 0;
        {
            const MutexGuard tableGuard(m_tableMutex);
            hResult.m_pCallData = takeCall(in_szCallId);
            uiRemoved = m_uiRemoved.load(std::memory_order_relaxed);
        }
        if (!hResult.isNull()) [[likely]]
            break;
        waitForClosing(uiRemoved);
    }
    VELMORA_FILE_ASSERT_TEXT(!hResult.isNull(), "! hResult.isNull()");
    return hResult;
}

CallDataRegistry::CallDataImpl* CallDataRegistryImpl::takeCall(const char* in_szCallId)
{
    m_strScratchName = in_szCallId;
    const auto [entry, bNew] = m_callDataHash.try_emplace(m_strScratchName);
    if (bNew)
        beginCall(entry);
    else if (entry->second)
        VELMORA_FILE_LOG_DEBUG(s_szGetCallData << " : Call already exists  : " << in_szCallId
                                               << " (" << m_callDataHash.size()
                                               << " active call(s))");
    else
        return nullptr;
    const MutexGuard refCountGuard(m_refCountMutex);
    ++entry->second->m_uiRefCnt;
    return entry->second.get();
}

void CallDataRegistryImpl::waitForClosing(std::uint32_t in_uiRemoved)
{
    // A fork does not wait for this thread, as the forking one may have to end the call.
    ProcessGate::waitForLock(
        ProcessGate::Awaited::foreign,
        [this, in_uiRemoved]
        {
            m_uiRemoved.wait(in_uiRemoved);
            return 0;
        },
        [] {});
}

void CallDataRegistryImpl::beginCall(const CallDataHash::iterator& in_entry)
{
    try
    {
        in_entry->second = std::make_unique<CallDataImpl>(in_entry->first);
        VELMORA_FILE_LOG_DEBUG(s_szGetCallData << " : Call start : " << in_entry->first << " ("
                                               << m_callDataHash.size() << " active call(s))");
    }
    catch (...)
    {
        m_callDataHash.erase(in_entry);
        throw;
    }
    if (m_callDataHash.size() > m_uiMaxNumCall)
        m_uiMaxNumCall = m_callDataHash.size();
}

CallDataRegistryImpl::CallDataHash::iterator CallDataRegistryImpl::findCall(const char* in_szCallId)
{
    m_strScratchName = in_szCallId;
    const CallDataHash::iterator found = m_callDataHash.find(m_strScratchName);
    const bool bFound = found != m_callDataHash.end() && found->second;
    VELMORA_FILE_ASSERT_TEXT(bFound, "found != m_callDataHash.end()");
    return bFound ? found : m_callDataHash.end();
}

void CallDataRegistryImpl::incrementRefCount(const char* in_szCallId)
{
    const TraceScope traceScope(::liveFileScopeLogger(), s_szIncrementRefCount);
    const MutexGuard tableGuard(m_tableMutex);
    const CallDataHash::iterator found = findCall(in_szCallId);
    if (found == m_callDataHash.end())
        return;
    const MutexGuard refCountGuard(m_refCountMutex);
    ++found->second->m_uiRefCnt;
}

void CallDataRegistryImpl::decrementRefCount(const char* in_szCallId)
{
    const TraceScope traceScope(::liveFileScopeLogger(), s_szDecrementRefCount);
    const std::unique_ptr<CallDataImpl> pEnding = dropReference(in_szCallId);
    if (!pEnding)
        return;
    // The lines that are logged from here on wait until the call has ended.
    const GatedGuard<GatedMutex> fileGuard(pEnding->m_fileMutex);
    // The file is complete and closed before the id can name another call.
    pEnding->m_pAppender = log4cplus::SharedAppenderPtr();
    const MutexGuard tableGuard(m_tableMutex);
    removeCall(m_callDataHash.find(pEnding->m_strCallId));
}

std::unique_ptr<CallDataRegistry::CallDataImpl>
CallDataRegistryImpl::dropReference(const char* in_szCallId)
{
    const MutexGuard tableGuard(m_tableMutex);
    const CallDataHash::iterator found = findCall(in_szCallId);
    if (found == m_callDataHash.end())
        return nullptr;
    std::unique_ptr<CallDataImpl>& pCall = found->second;
    {
        const MutexGuard refCountGuard(m_refCountMutex);
        VELMORA_FILE_ASSERT_TEXT(pCall->m_uiRefCnt > 0, "uiRefCnt > 0");
        if (--pCall->m_uiRefCnt != 0)
            return nullptr;
    }
    if (pCall->m_pAppender)
        return std::exchange(pCall, nullptr);
    removeCall(found);
    return nullptr;
}

void CallDataRegistryImpl::removeCall(const CallDataHash::iterator& in_entry)
{
    // The node keeps the id for the line.
    const auto node = m_callDataHash.extract(in_entry);
    m_uiRemoved.fetch_add(1, std::memory_order_relaxed);
    m_uiRemoved.notify_all();
    VELMORA_FILE_LOG_DEBUG(s_szDecrementRefCount << " : Call end : " << node.key() << " ("
                                                 << m_callDataHash.size() << " active call(s))");
}

log4cplus::SharedAppenderPtr CallDataRegistryImpl::newAppender(const char* in_szCallId)
{
    // The factory locks the mutex itself.
    return m_callAppenderFactory.newAppender(in_szCallId, m_refCountMutex);
}

void CallDataRegistryImpl::afterForkInChild()
{
    CallDataRegistryImpl* const pRegistry = ifAlive();
    if (pRegistry == nullptr)
        return;
    // The thread that ends a call may not exist in the child.
    std::erase_if(pRegistry->m_callDataHash, [](const auto& in_entry) { return !in_entry.second; });
    for (const auto& entry : pRegistry->m_callDataHash)
        entry.second->leaveAppenderToParent();
}

CallDataRegistry* CallDataRegistry::getInstance() { return CallDataRegistryImpl::getInstance(); }

void CallDataRegistry::CallDataHandle::addReference() const
{
    CallDataRegistryImpl::getInstance()->incrementRefCount(m_strCallId.c_str());
}

void CallDataRegistry::CallDataHandle::letGo() noexcept
{
    if (m_pCallData == nullptr)
        return;
    m_pCallData = nullptr;
    if (CallDataRegistryImpl* const pRegistry = CallDataRegistryImpl::ifAlive())
        withoutThrowingAbout(
            ::liveFileScopeLogger(), "exception at the end of call", m_strCallId.c_str(),
            [this, pRegistry] { pRegistry->decrementRefCount(m_strCallId.c_str()); });
}

log4cplus::Appender* CallDataRegistry::CallDataHandle::getAppenderOfCall() const
{
    return m_pCallData != nullptr ? static_cast<CallDataImpl*>(m_pCallData)->getOwnAppender().get()
                                  : nullptr;
}

CallDataRegistry::CallDataImpl::CallDataImpl(const std::string& in_strCallId)
    : m_strCallId(in_strCallId)
{
}

CallDataRegistry::CallDataImpl::~CallDataImpl() = default;

void CallDataRegistry::CallDataImpl::makeAppender()
{
    CallDataRegistryImpl* const pRegistry = CallDataRegistryImpl::getInstance();
    const GatedGuard<GatedMutex> fileGuard(m_fileMutex);
    if (m_bTried.load(std::memory_order_relaxed))
        return;
    try
    {
        m_pAppender = pRegistry->newAppender(m_strCallId.c_str());
    }
    catch (const std::exception& exception)
    {
        VELMORA_FILE_LOG_ERROR("failed to create the appender of call " << m_strCallId << " : "
                                                                        << exception.what());
    }
    // Also after a failure: a call without an appender does not try again at each line.
    m_bTried.store(true, std::memory_order_release);
}

void CallDataRegistry::CallDataImpl::leaveAppenderToParent()
{
    m_bTried.store(true, std::memory_order_relaxed);
    if (!m_pAppender)
        return;
    // Never deleted: that would write a last line and the buffered data of its stream to the file
    // of the parent.
    m_pAppender->addReference();
    m_pAppender = log4cplus::SharedAppenderPtr();
}

} // namespace Velmora
