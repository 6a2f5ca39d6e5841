// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/SystemAlarm.h"

namespace Velmora
{

/// Base class of the alarms of an overload. Writes the id "system.overload" and the description.
///
/// Thread-safety: none, see `Alarm`; the static operations may be called on any thread.
class VELMORA_API SystemOverloadAlarm : public SystemAlarm
{
  public:
    SystemOverloadAlarm() = default;
    ~SystemOverloadAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;

    /// Writes "system.overload" and returns the stream.
    static std::ostream& sWriteAlarmId(std::ostream& out_stream);
    static const char* sGetDescription();
};

} // namespace Velmora
