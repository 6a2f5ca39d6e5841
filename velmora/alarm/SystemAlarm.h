// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/Alarm.h"

namespace Velmora
{

/// Base class of alarms that concern the system as a whole. Their ids begin with "system".
///
/// Thread-safety: none, see `Alarm`; the static operations may be called on any thread.
class VELMORA_API SystemAlarm : public virtual Alarm
{
  public:
    SystemAlarm() = default;
    ~SystemAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;

    /// Writes "system" and returns the stream.
    static std::ostream& sWriteAlarmId(std::ostream& out_stream);
};

} // namespace Velmora
