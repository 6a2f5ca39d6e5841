// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "Timer.h"

#include "velmora/alarm/Alarm.h"
#include "velmora/application/LimitedObjPtr.h"

#include <chrono>
#include <string>

namespace GatewayExample
{

/// The alarm of a resource that refuses calls. It goes on with the first call that is refused, and
/// off when none has been refused for five seconds.
class LoadAlarm
{
  public:
    using Clock = std::chrono::steady_clock;

    /// The alarm is "system.overload." and the name of the resource. The loop must outlive this
    /// object.
    LoadAlarm(const EventLoop& in_loop, const std::string& in_strResource);
    LoadAlarm(const LoadAlarm&) = delete;
    LoadAlarm& operator=(const LoadAlarm&) = delete;

    /// Notes that a call is refused now.
    void refuse(Clock::time_point in_now);

  private:
    void wait();

    /// Owned by the registry of alarms.
    Velmora::LimitedObjPtr<Velmora::Alarm> m_pAlarm;
    Timer m_timer;
    Clock::time_point m_last{};
};

} // namespace GatewayExample
