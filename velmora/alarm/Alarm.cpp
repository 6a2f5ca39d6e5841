// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/Alarm.h"

#include "velmora/alarm/AlarmId.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogStream.h"

#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Alarm)

namespace Velmora
{

namespace
{

const char* textOf(Alarm::State in_state)
{
    switch (in_state)
    {
    case Alarm::ALARM_OFF:
        return "ALARM_OFF";
    case Alarm::ALARM_ON:
        return "ALARM_ON";
    }
    return "???AlarmSTATE???";
}

template <class Stream>
void writeText(Stream& out_stream, const Alarm& in_alarm)
{
    out_stream << "Alarm [";
    in_alarm.writeAlarmId(out_stream);
    out_stream << "] : " << textOf(in_alarm.getState());
}

} // namespace

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
    if (LogStream* const pLine = LogStream::of(out_stream))
        writeText(*pLine, *this);
    else
        writeText(out_stream, *this);
    return out_stream;
}

void Alarm::set() { setState(ALARM_ON); }

std::ostream& operator<<(std::ostream& out_stream, Alarm::State in_state)
{
    return out_stream << textOf(in_state);
}

} // namespace Velmora
