// SPDX-License-Identifier: BSD-2-Clause

#include "Timer.h"

#include <stdexcept>
#include <utility>

namespace GatewayExample
{

Timer::Timer(const EventLoop& in_loop) : m_pTimer(su_timer_create(su_root_task(in_loop.root()), 0))
{
    if (m_pTimer == nullptr)
        throw std::runtime_error("no timer can be made");
}

Timer::~Timer() { su_timer_destroy(m_pTimer); }

void Timer::start(std::chrono::milliseconds in_delay, std::function<void()> in_action)
{
    m_action = std::move(in_action);
    if (su_timer_set_interval(m_pTimer, StackCallback<&Timer::expire>::timer, StackContext(this),
                              static_cast<su_duration_t>(in_delay.count())) != 0)
        throw std::runtime_error("a timer cannot be started");
}

void Timer::cancel()
{
    su_timer_reset(m_pTimer);
    m_action = nullptr;
}

void Timer::expire()
{
    // The action may start the timer again and set a new action, so `m_action` is emptied before.
    const auto action = std::exchange(m_action, nullptr);
    action();
}

} // namespace GatewayExample
