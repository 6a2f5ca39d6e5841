#pragma once

#include "velmora/alarm/Alarm.h"
#include "velmora/application/Handle.h"
#include "velmora/memory/InAccount.h"

namespace Velmora
{

class AlarmRegistryImpl;

/// The handle of an alarm. Performs each operation under the registry's mutex, and calls the
/// registry's observers after a change.
///
/// Thread-safety: all operations may be called on any thread.
/// Ownership: the registry's. Owns the alarm.
class MutexedAlarm : public virtual Alarm, public InAccount<"MutexedAlarm">
{
  public:
    using AlarmPtr = CountedBuiltInPtr<Alarm, ReferenceCount, DeleteCountedObjDeleter<Alarm>>;

    MutexedAlarm(AlarmRegistryImpl& in_registry, AlarmPtr in_pAlarm);
    ~MutexedAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    std::ostream& write(std::ostream& out_stream) const override;
    [[nodiscard]] State getState() const override;
    void setState(State in_state) override;
    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;

  private:
    AlarmRegistryImpl& m_registry;
    AlarmPtr m_pAlarm;
};

} // namespace Velmora
