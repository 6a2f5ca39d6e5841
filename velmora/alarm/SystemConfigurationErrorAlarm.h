// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/SystemAlarm.h"

namespace Velmora
{

/// The alarm "system.configuration.error": the program could not start with its configuration.
///
/// Thread-safety: none, see `Alarm`; the static operations may be called on any thread.
class VELMORA_API SystemConfigurationErrorAlarm : public SystemAlarm, public virtual AlarmImpl
{
  public:
    explicit SystemConfigurationErrorAlarm(Severity in_severity = ERROR_SEVERITY);
    ~SystemConfigurationErrorAlarm() override;

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;
    std::ostream& writeDescription(std::ostream& out_stream) const override;

    /// Writes "system.configuration.error" and returns the stream.
    static std::ostream& sWriteAlarmId(std::ostream& out_stream);
    static const char* sGetDescription();
};

} // namespace Velmora
