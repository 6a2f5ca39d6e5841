// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/Alarm.h"

#include "velmora/alarm/AlarmId.h"
#include "velmora/logging/LibraryLoggers.h"

#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Alarm)

namespace Velmora
{

Alarm::~Alarm() = default;

Alarm::Observer::~Observer() = default;

bool Alarm::reset()
{
    setState(ALARM_OFF);
    return true;
}

Alarm::Severity Alarm::getSeverity() const { return ERROR_SEVERITY; }

void Alarm::getAlarmId(std::string& out_strId) const { out_strId = AlarmId(*this).text(); }

std::ostream& Alarm::write(std::ostream& out_stream) const
{
    out_stream << "Alarm [";
    writeAlarmId(out_stream);
    return out_stream << "] : " << getState();
}

void Alarm::set() { setState(ALARM_ON); }

std::ostream& operator<<(std::ostream& out_stream, Alarm::State in_state)
{
    switch (in_state)
    {
    case Alarm::ALARM_OFF:
        return out_stream << "ALARM_OFF";
    case Alarm::ALARM_ON:
        return out_stream << "ALARM_ON";
    }
    return out_stream << "???AlarmSTATE???";
}

} // namespace Velmora
