// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemOverloadAlarm.h"

#include <ostream>

namespace Velmora
{

SystemOverloadAlarm::~SystemOverloadAlarm() = default;

std::ostream& SystemOverloadAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return sWriteAlarmId(out_stream);
}

std::ostream& SystemOverloadAlarm::writeDescription(std::ostream& out_stream) const
{
    return out_stream << sGetDescription();
}

std::ostream& SystemOverloadAlarm::sWriteAlarmId(std::ostream& out_stream)
{
    return SystemAlarm::sWriteAlarmId(out_stream) << ".overload";
}

const char* SystemOverloadAlarm::sGetDescription()
{
    return "The system or application is currently handling an unusually large amount of work";
}

} // namespace Velmora
