#pragma once

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/application/Handle.h"

#include <ace/Recursive_Thread_Mutex.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace Velmora
{

class MutexedAlarm;

namespace Test
{
class AlarmRegistryPeer;
}

/// The registry itself. One object serves all copies of the library in the process.
///
/// Ownership: the exit list's.
/// Thread-safety: as `AlarmRegistry`.
/// Failure: if its mutex cannot be locked, an operation goes on without.
class VELMORA_API AlarmRegistryImpl : public AlarmRegistry
{
  public:
    /// Holds the mutex, for operations that are to be one.
    class Lock
    {
      public:
        explicit Lock(const AlarmRegistryImpl& in_registry) : m_guard(in_registry.m_mutex) {}

      private:
        GatedGuard<ACE_Recursive_Thread_Mutex> m_guard;
    };

    static AlarmRegistryImpl* getInstance();

    /// The same, but null once the exit list has deleted it.
    static AlarmRegistryImpl* ifAlive();

    ~AlarmRegistryImpl() override;

    LimitedObjPtr<Alarm> addAlarm(Alarm* in_pAlarm, bool in_bAllowDuplicate) override;
    [[nodiscard]] LimitedObjPtr<Alarm> getAlarm(const std::string& in_strId) const override;
    void getAllAlarms(std::vector<LimitedObjPtr<Alarm>>& out_alarms) const override;
    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void clear() override;

    /// Calls all observers. The caller has the lock.
    void notifyObservers(const Alarm& in_alarm) const;

  private:
    friend class Test::AlarmRegistryPeer;

    using MutexedAlarmPtr =
        CountedBuiltInPtr<MutexedAlarm, ReferenceCount, DeleteCountedObjDeleter<MutexedAlarm>>;
    using AlarmHash = std::unordered_map<std::string, MutexedAlarmPtr>;

    AlarmRegistryImpl();

    /// Goes on with another table.
    void letGoOfAlarms(AlarmHash in_table);

    /// Takes the new entry over, and leaves it null, unless there is one with that id. Gives what
    /// is there now.
    LimitedObjPtr<Alarm> insertOrFind(const std::string& in_strId, MutexedAlarmPtr& inout_pNew);

    /// Guards everything here, and every alarm that is reached through a handle. Recursive, as
    /// observers and appenders run under it.
    mutable ACE_Recursive_Thread_Mutex m_mutex;

    AlarmHash m_alarmHash;

    std::vector<LimitedObjPtr<Observer>> m_observers;
};

} // namespace Velmora
