// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/Alarm.h"
#include "velmora/alarm/AlarmMutex.h"
#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/application/Handle.h"
#include "velmora/memory/InAccount.h"

namespace Velmora
{

/// The handle of an alarm. Performs each operation under the registry's mutex, and calls the
/// registry's observers after a change. An observer may remove the alarm from the registry in any
/// of them: the alarm and its handle are deleted after the operation.
///
/// Thread-safety: all operations may be called on any thread.
/// Ownership: the registry's. Owns the alarm.
class MutexedAlarm : public virtual Alarm, public InAccount<"MutexedAlarm">
{
  public:
    using AlarmPtr = CountedBuiltInPtr<Alarm, ReferenceCount, DeleteCountedObjDeleter<Alarm>>;

    /// Takes the registry's mutex and an observer that calls those of the registry. Both must
    /// outlive the handle.
    MutexedAlarm(AlarmMutex& in_mutex, AlarmRegistry::Observer& in_observers, AlarmPtr in_pAlarm);
    ~MutexedAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    std::ostream& write(std::ostream& out_stream) const override;
    [[nodiscard]] State getState() const override;
    void setState(State in_state) override;
    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;

    /// Returns the alarm itself. Only for use with the mutex held.
    [[nodiscard]] Alarm& alarm() const { return *m_pAlarm.get(); }

  private:
    /// Guards `m_pAlarm` and the registry. Observers and the code of the alarm run while it is
    /// held.
    AlarmMutex& m_mutex;
    AlarmRegistry::Observer& m_observers;
    AlarmPtr m_pAlarm VELMORA_PT_GUARDED_BY(m_mutex);
};

} // namespace Velmora
