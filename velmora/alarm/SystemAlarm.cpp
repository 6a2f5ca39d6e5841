// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/SystemAlarm.h"

#include <ostream>

namespace Velmora
{

SystemAlarm::~SystemAlarm() = default;

std::ostream& SystemAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return sWriteAlarmId(out_stream);
}

std::ostream& SystemAlarm::sWriteAlarmId(std::ostream& out_stream)
{
    return out_stream << "system";
}

} // namespace Velmora
