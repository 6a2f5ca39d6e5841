// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/Alarm.h"
#include "velmora/memory/InAccount.h"
#include "velmora/python/TSPyObjPtr.h"

namespace Velmora
{

/// Represents in the registry an alarm that a Python object owns, and keeps the object alive.
///
/// Thread-safety: none. Forwards all calls to the alarm without taking a lock, including the
/// interpreter lock.
/// Ownership: the registry's. The Python object owns the alarm.
class PyRedirectAlarm : public virtual Alarm, public InAccount<"PyRedirectAlarm">
{
  public:
    /// `in_pAlarm` must be the alarm that the object owns.
    PyRedirectAlarm(const TSPyObjPtr& in_pObject, Alarm* in_pAlarm);
    ~PyRedirectAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;
    std::ostream& write(std::ostream& out_stream) const override;
    [[nodiscard]] State getState() const override;
    void setState(State in_state) override;
    void addObserver(LimitedObjPtr<Observer> in_pObserver) override;
    void removeObserver(LimitedObjPtr<Observer> in_pObserver) override;

    /// Returns the alarm that the object owns.
    [[nodiscard]] const Alarm& target() const { return *m_pAlarm; }

  private:
    TSPyObjPtr m_pObject;
    Alarm* m_pAlarm;
};

} // namespace Velmora
