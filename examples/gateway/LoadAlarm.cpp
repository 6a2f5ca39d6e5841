// SPDX-License-Identifier: BSD-2-Clause

#include "LoadAlarm.h"

#include "ResourceOverloadAlarm.h"

using namespace std::chrono_literals;
using Velmora::Alarm;

namespace GatewayExample
{

namespace
{

constexpr LoadAlarm::Clock::duration s_offAfter = 5s;

} // namespace

LoadAlarm::LoadAlarm(const EventLoop& in_loop, const std::string& in_strResource)
    : m_pAlarm(ResourceOverloadAlarm::add(in_strResource)), m_timer(in_loop)
{
}

void LoadAlarm::refuse(Clock::time_point in_now)
{
    m_last = in_now;
    if (m_pAlarm->getState() == Alarm::ALARM_ON)
        return;
    wait();
    m_pAlarm->setState(Alarm::ALARM_ON);
}

void LoadAlarm::wait()
{
    const Clock::duration left = m_last + s_offAfter - Clock::now();
    if (left <= Clock::duration::zero())
        m_pAlarm->setState(Alarm::ALARM_OFF);
    else
        m_timer.start(std::chrono::ceil<std::chrono::milliseconds>(left), [this] { wait(); });
}

} // namespace GatewayExample
