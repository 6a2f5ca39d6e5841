// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemOutOfServiceAlarm.h"

#include <ostream>

namespace Velmora
{

SystemOutOfServiceAlarm::~SystemOutOfServiceAlarm() = default;

std::ostream& SystemOutOfServiceAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return SystemAlarm::sWriteAlarmId(out_stream) << ".out-of-service";
}

std::ostream& SystemOutOfServiceAlarm::writeDescription(std::ostream& out_stream) const
{
    return out_stream << sGetDescription();
}

void SystemOutOfServiceAlarm::setState(State in_state)
{
    if (storeState(in_state))
        notifyObservers();
}

const char* SystemOutOfServiceAlarm::sGetDescription()
{
    return "The system or application is out-of-service i.e. either stopped, starting or stopping";
}

} // namespace Velmora
