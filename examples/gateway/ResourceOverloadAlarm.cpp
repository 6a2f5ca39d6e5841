// SPDX-License-Identifier: BSD-2-Clause

#include "ResourceOverloadAlarm.h"

#include "velmora/alarm/AlarmRegistry.h"

using namespace Velmora;

namespace GatewayExample
{

LimitedObjPtr<Alarm> ResourceOverloadAlarm::add(const std::string& in_strResource)
{
    constexpr bool bAllowDuplicate = true;
    return AlarmRegistry::getInstance().addAlarm(new ResourceOverloadAlarm(in_strResource),
                                                 bAllowDuplicate);
}

std::ostream& ResourceOverloadAlarm::writeAlarmId(std::ostream& out_stream) const
{
    return SystemOverloadAlarmImpl::writeAlarmId(out_stream) << '.' << m_strResource;
}

} // namespace GatewayExample
