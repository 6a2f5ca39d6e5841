// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmMutex.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/application/Handle.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace Velmora
{

class AlarmTableObserver;
class MutexedAlarm;

namespace Test
{
class AlarmRegistryPeer;
}

/// Implements the registry. One object serves all copies of the library in the process.
///
/// Ownership: the exit list's.
/// Thread-safety: as for `AlarmRegistry`.
/// Failure: if the mutex cannot be locked, an operation continues without it.
class VELMORA_API AlarmRegistryImpl : public AlarmRegistry
{
  public:
    /// Holds the mutex for a scope, to make several operations atomic. Alarms that are removed in
    /// the scope are deleted at its end.
    class VELMORA_SCOPED_CAPABILITY Lock
    {
      public:
        explicit Lock(const AlarmRegistryImpl& in_registry) VELMORA_ACQUIRE(in_registry.m_mutex)
            : m_guard(in_registry.m_mutex)
        {
        }
        ~Lock() VELMORA_RELEASE() = default;
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        AlarmMutex::Guard m_guard;
    };

    static AlarmRegistryImpl* getInstance();

    /// Returns the registry, or null once the exit list has deleted it.
    static AlarmRegistryImpl* ifAlive();

    ~AlarmRegistryImpl() override;

    LimitedObjPtr<Alarm> addAlarm(Alarm* in_pAlarm, bool in_bAllowDuplicate) override;
    [[nodiscard]] LimitedObjPtr<Alarm> getAlarm(const std::string& in_strId) const override;
    void getAllAlarms(std::vector<LimitedObjPtr<Alarm>>& out_alarms) const override;
    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void clear() override;

    /// Calls `alarmIsThere` for each alarm, and from then on for each alarm that is added.
    /// Ownership: the caller's. The observer must live until it is removed or the registry is
    /// deleted, which it notices by `ifAlive`.
    void addTableObserver(AlarmTableObserver& inout_observer);
    void removeTableObserver(AlarmTableObserver& inout_observer);

    /// Calls `alarmIsThere` for each alarm. Failure: throws `std::bad_alloc` before the first call.
    void reportAlarms(AlarmTableObserver& inout_observer);

  private:
    friend class Test::AlarmRegistryPeer;

    using MutexedAlarmPtr =
        CountedBuiltInPtr<MutexedAlarm, ReferenceCount, DeleteCountedObjDeleter<MutexedAlarm>>;
    using AlarmHash = std::unordered_map<std::string, MutexedAlarmPtr>;

    class RemovedAlarms;

    /// Calls all observers, for the handles of alarms. The caller holds the lock.
    struct Observers final : Observer
    {
        void newAlarmState(const Alarm& in_alarm) override;

        std::vector<LimitedObjPtr<Observer>> all;
    };

    AlarmRegistryImpl();

    /// Calls `alarmGoes` for each alarm of a table. The caller holds the lock.
    void reportRemoval(const AlarmHash& in_table) noexcept VELMORA_REQUIRES(m_mutex);

    /// Inserts the new entry and sets the pointer to null, unless there is an entry with that id.
    /// Returns the entry that the table holds afterwards.
    LimitedObjPtr<Alarm> insertOrFind(const std::string& in_strId, MutexedAlarmPtr& inout_pNew);

    /// Guards `m_alarmHash`, `m_observers` and every alarm while it is used through its handle.
    /// Observers and the code of alarms run while it is held. Recursive, as they may use the
    /// registry and its handles.
    mutable AlarmMutex m_mutex;

    AlarmHash m_alarmHash VELMORA_GUARDED_BY(m_mutex);

    Observers m_observers;

    std::vector<AlarmTableObserver*> m_tableObservers VELMORA_GUARDED_BY(m_mutex);
};

} // namespace Velmora
