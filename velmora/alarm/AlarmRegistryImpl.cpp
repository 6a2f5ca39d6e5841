// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/AlarmRegistryImpl.h"

#include "velmora/alarm/AlarmId.h"
#include "velmora/alarm/AlarmTableObserver.h"
#include "velmora/alarm/MutexedAlarm.h"
#include "velmora/application/Assertion.h"
#include "velmora/application/Singleton.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"
#include "velmora/memory/DefaultStaticMemAllocator.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <algorithm>
#include <cstddef>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(AlarmRegistry)

namespace Velmora
{

namespace
{

constexpr const char* s_szAddAlarm = "AlarmRegistryImpl::addAlarm";

constexpr std::size_t s_uiNumBuckets = 100;

OncePerProcess<AlarmRegistryImpl>& aliveInProcess()
{
    static OncePerProcess<AlarmRegistryImpl> s_place("AlarmRegistryImpl");
    return s_place;
}

[[maybe_unused]] const AlarmRegistryImpl* const __force_init_singleton__AlarmRegistryImpl =
    (bringUpLibrary(), AlarmRegistryImpl::getInstance());

} // namespace

AlarmRegistry& AlarmRegistry::getInstance() { return *AlarmRegistryImpl::getInstance(); }

AlarmRegistryImpl* AlarmRegistryImpl::getInstance()
{
    static AlarmRegistryImpl* const pSingleton = aliveInProcess().fill(
        registerSingleton("AlarmRegistryImpl::Singleton", new AlarmRegistryImpl));
    return pSingleton;
}

AlarmRegistryImpl* AlarmRegistryImpl::ifAlive() { return aliveInProcess().get(); }

AlarmRegistryImpl::AlarmRegistryImpl() : m_alarmHash(s_uiNumBuckets)
{
    // Makes the interpreter's entry of the exit list the older one: Python then ends after the
    // registry has deleted the alarms that Python owns.
    Python::EmbeddedInterpreter::getInstance();
}

/// The alarms of a table that `clear` has replaced.
class AlarmRegistryImpl::RemovedAlarms final : public AlarmMutex::Removed
{
  public:
    RemovedAlarms(AlarmRegistryImpl& inout_registry, AlarmHash in_table)
        : m_registry(inout_registry), m_table(std::move(in_table))
    {
    }

    void report() noexcept VELMORA_NO_THREAD_SAFETY_ANALYSIS override
    {
        m_registry.reportRemoval(m_table);
    }

    AlarmHash& table() { return m_table; }

  private:
    AlarmRegistryImpl& m_registry;
    AlarmHash m_table;
};

AlarmRegistryImpl::~AlarmRegistryImpl()
{
    // First, so that destructors of alarms find no registry.
    aliveInProcess().clear(this);
    // Needs no memory, unlike `clear`. If the process ends in an observer, alarms may also be left
    // that the observer has removed.
    AlarmHash table;
    std::unique_ptr<AlarmMutex::Removed> pRemoved;
    const Lock lock(*this);
    table.swap(m_alarmHash);
    reportRemoval(table);
    pRemoved = m_mutex.takeRemoved();
}

LimitedObjPtr<Alarm> AlarmRegistryImpl::addAlarm(Alarm* in_pAlarm, bool in_bAllowDuplicate)
{
    const TraceScope traceScope(::liveFileScopeLogger(), s_szAddAlarm);
    if (in_pAlarm == nullptr)
        return nullptr;
    // A refused alarm is deleted at the end of this function, without the mutex and after its
    // message has been logged.
    MutexedAlarmPtr pNew(new MutexedAlarm(m_mutex, m_observers, MutexedAlarm::AlarmPtr(in_pAlarm)));
    const AlarmId id(*in_pAlarm);
    const LimitedObjPtr<Alarm> pRegistered = insertOrFind(id.text(), pNew);
    if (pNew == nullptr)
        return pRegistered;
    if (!in_bAllowDuplicate)
    {
        VELMORA_FILE_ASSERT_TEXT(false, "! \"alarm is not unique\"");
        return nullptr;
    }
    VELMORA_FILE_LOG_DEBUG(s_szAddAlarm << " : Alarm is not unique : " << id.text());
    return pRegistered;
}

LimitedObjPtr<Alarm> AlarmRegistryImpl::insertOrFind(const std::string& in_strId,
                                                     MutexedAlarmPtr& inout_pNew)
{
    const Lock lock(*this);
    AlarmHash::const_iterator found = m_alarmHash.find(in_strId);
    if (found == m_alarmHash.end())
    {
        m_alarmHash.emplace(in_strId, std::move(inout_pNew));
        found = m_alarmHash.find(in_strId);
        VELMORA_FILE_ASSERT(found != m_alarmHash.end());
        // By index, as an observer that breaks the rule and adds one would invalidate an iterator.
        // NOLINTNEXTLINE(modernize-loop-convert)
        for (std::size_t uiIndex = 0; uiIndex < m_tableObservers.size(); ++uiIndex)
            m_tableObservers[uiIndex]->alarmIsThere(in_strId, found->second->alarm());
    }
    return LimitedObjPtr<Alarm>(found->second);
}

LimitedObjPtr<Alarm> AlarmRegistryImpl::getAlarm(const std::string& in_strId) const
{
    const Lock lock(*this);
    const AlarmHash::const_iterator found = m_alarmHash.find(in_strId);
    if (found == m_alarmHash.end())
        return nullptr;
    return LimitedObjPtr<Alarm>(found->second);
}

void AlarmRegistryImpl::getAllAlarms(std::vector<LimitedObjPtr<Alarm>>& out_alarms) const
{
    const Lock lock(*this);
    out_alarms.reserve(out_alarms.size() + m_alarmHash.size());
    for (const AlarmHash::value_type& entry : m_alarmHash)
        out_alarms.emplace_back(entry.second);
}

void AlarmRegistryImpl::addObserver(LimitedObjPtr<Observer> in_pObserver)
{
    if (in_pObserver.isNull())
        return;
    const Lock lock(*this);
    m_observers.all.push_back(in_pObserver);
}

void AlarmRegistryImpl::removeObserver(LimitedObjPtr<Observer> in_pObserver)
{
    const Lock lock(*this);
    std::vector<LimitedObjPtr<Observer>>& all = m_observers.all;
    const auto found = std::find(all.begin(), all.end(), in_pObserver);
    if (found != all.end())
        all.erase(found);
}

void AlarmRegistryImpl::clear()
{
    auto pRemoved = std::make_unique<RemovedAlarms>(*this, AlarmHash(s_uiNumBuckets));
    // The alarms are deleted after the lock has been released. Destructors of alarms are foreign
    // code: they may take any lock, and use the registry, whose table is consistent by then.
    const Lock lock(*this);
    pRemoved->table().swap(m_alarmHash);
    m_mutex.deleteWhenReleased(std::move(pRemoved));
}

void AlarmRegistryImpl::reportRemoval(const AlarmHash& in_table) noexcept
{
    for (AlarmTableObserver* const pObserver : m_tableObservers)
        for (const AlarmHash::value_type& entry : in_table)
            pObserver->alarmGoes(entry.second->alarm());
}

void AlarmRegistryImpl::addTableObserver(AlarmTableObserver& inout_observer)
{
    const Lock lock(*this);
    m_tableObservers.push_back(&inout_observer);
    reportAlarms(inout_observer);
}

void AlarmRegistryImpl::removeTableObserver(AlarmTableObserver& inout_observer)
{
    const Lock lock(*this);
    std::erase(m_tableObservers, &inout_observer);
}

void AlarmRegistryImpl::reportAlarms(AlarmTableObserver& inout_observer)
{
    const Lock lock(*this);
    // A copy, as the code of alarms that runs in the loop may change the table. The lock keeps the
    // alarms alive, also those that are removed.
    std::vector<std::pair<std::string, MutexedAlarm*>> alarms;
    alarms.reserve(m_alarmHash.size());
    for (const AlarmHash::value_type& entry : m_alarmHash)
        alarms.emplace_back(entry.first, entry.second.get());
    for (const auto& [strId, pAlarm] : alarms)
        inout_observer.alarmIsThere(strId, pAlarm->alarm());
}

void AlarmRegistryImpl::Observers::newAlarmState(const Alarm& in_alarm)
{
    // By index, as an iterator would be invalidated if an observer broke the rule and added one.
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t uiIndex = 0; uiIndex < all.size(); ++uiIndex)
        all[uiIndex]->newAlarmState(in_alarm);
}

} // namespace Velmora
