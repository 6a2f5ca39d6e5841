// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemConfigurationErrorAlarm.h"

#include <ostream>

namespace Velmora
{

SystemConfigurationErrorAlarm::SystemConfigurationErrorAlarm(Severity in_severity)
{
    // The most derived class has constructed the virtual base, with a severity of its choice.
    storeSeverity(in_severity);
}

SystemConfigurationErrorAlarm::~SystemConfigurationErrorAlarm() = default;

std::ostream& SystemConfigurationErrorAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return sWriteAlarmId(out_stream);
}

std::ostream& SystemConfigurationErrorAlarm::writeDescription(std::ostream& out_stream) const
{
    return out_stream << sGetDescription();
}

std::ostream& SystemConfigurationErrorAlarm::sWriteAlarmId(std::ostream& out_stream)
{
    return SystemAlarm::sWriteAlarmId(out_stream) << ".configuration.error";
}

const char* SystemConfigurationErrorAlarm::sGetDescription()
{
    return "The system configuration contains errors.";
}

} // namespace Velmora
