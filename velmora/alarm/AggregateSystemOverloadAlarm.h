// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/SystemOverloadAlarm.h"

namespace Velmora
{

/// The system's overload alarm, "system.overload". It is on while at least one source of overload
/// is on (see `SystemOverloadAlarmImpl`). The severity is 40000.
///
/// Thread-safety, ownership: as for `AlarmStateHashAlarmImpl`.
class VELMORA_API AggregateSystemOverloadAlarm : public SystemOverloadAlarm,
                                                 public AggregateAlarmImpl
{
  public:
    AggregateSystemOverloadAlarm();
    ~AggregateSystemOverloadAlarm() override;

    /// Returns the alarm of the process. The first call makes and registers it. Returns null once
    /// `AlarmRegistry::clear` or the exit list has deleted it; it is not made again.
    /// Ownership: the registry's. If the registry already has another alarm with that id, this
    /// alarm is not registered, and the exit list deletes it.
    /// Thread-safety: may be called on any thread; locks the registry's mutex.
    static AggregateSystemOverloadAlarm* sGetRegistryInstance();

    /// Returns true if the alarm has been made and has not been deleted.
    /// Thread-safety: may be called on any thread; takes no lock.
    [[nodiscard]] static bool sIsThere();
};

} // namespace Velmora
