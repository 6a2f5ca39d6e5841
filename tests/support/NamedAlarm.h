// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"
#include "velmora/alarm/AlarmRegistry.h"

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// A `Base` with a given id.
template <class Base = AlarmImpl>
class NamedAlarm : public Base
{
  public:
    template <class... Args>
    explicit NamedAlarm(std::string in_strId, Args... in_args)
        : Base(in_args...), m_strId(std::move(in_strId))
    {
    }
    ~NamedAlarm() override
    {
        if (m_onDestruction)
            m_onDestruction();
    }

    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << m_strId;
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override
    {
        return out_stream << "description of " << m_strId;
    }

    std::function<void()> m_onDestruction;

  private:
    std::string m_strId;
};

/// Adds a number of alarms to the registry, whose ids are a text and a number from 0 on, such as
/// "alarm.17". Returns the handles in the order of the numbers.
template <class Base = AlarmImpl>
std::vector<LimitedObjPtr<Alarm>> addNumberedAlarms(const std::string& in_strId, int in_iCount)
{
    std::vector<LimitedObjPtr<Alarm>> handles;
    for (int iAlarm = 0; iAlarm < in_iCount; ++iAlarm)
        handles.push_back(AlarmRegistry::getInstance().addAlarm(
            new NamedAlarm<Base>(in_strId + std::to_string(iAlarm)), false));
    return handles;
}

} // namespace Velmora::Test
