#pragma once

#include "velmora/alarm/AggregateAlarmImpl.h"
#include "velmora/alarm/SystemOverloadAlarm.h"

namespace Velmora
{

/// The one alarm of overload of the system, "system.overload", on whenever a source is (see
/// `SystemOverloadAlarmImpl`). The severity is 40000.
///
/// Thread-safety, ownership: as `AlarmStateHashAlarmImpl`.
class VELMORA_API AggregateSystemOverloadAlarm : public SystemOverloadAlarm,
                                                 public AggregateAlarmImpl
{
  public:
    AggregateSystemOverloadAlarm();
    ~AggregateSystemOverloadAlarm() override;

    /// The one of the process, made and registered by the first call. Null once it has gone, with
    /// `AlarmRegistry::clear` or at exit; it is not made again.
    /// Ownership: the registry's. Where another alarm has the id there already, it is in no
    /// registry, and the exit list deletes it.
    /// Thread-safety: may be called on any thread; locks the registry's mutex.
    static AggregateSystemOverloadAlarm* sGetRegistryInstance();

    /// Whether it has been made and not yet gone.
    /// Thread-safety: may be called on any thread; takes no lock.
    [[nodiscard]] static bool sIsThere();
};

} // namespace Velmora
