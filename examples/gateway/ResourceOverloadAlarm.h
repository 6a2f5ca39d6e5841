// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/SystemOverloadAlarmImpl.h"
#include "velmora/application/LimitedObjPtr.h"

#include <ostream>
#include <string>

namespace GatewayExample
{

/// A source of the alarm "system.overload". Its id is that and the name of a resource.
class ResourceOverloadAlarm : public Velmora::SystemOverloadAlarmImpl
{
  public:
    /// Adds one to the registry of alarms, which owns it.
    [[nodiscard]] static Velmora::LimitedObjPtr<Velmora::Alarm>
    add(const std::string& in_strResource);

    std::ostream& writeAlarmId(std::ostream& out_stream) const override;

  private:
    explicit ResourceOverloadAlarm(const std::string& in_strResource)
        : m_strResource(in_strResource)
    {
    }

    std::string m_strResource;
};

} // namespace GatewayExample
