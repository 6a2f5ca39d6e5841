#include "EventLoop.h"

#include "velmora/logging/FileScopeLogger.h"

#include <sofia-sip/su.h>

#include <stdexcept>
#include <utility>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.EventLoop")

namespace GatewayExample
{

namespace
{

/// Bounds the delay with which the gateway notices that its exit timeout is over.
constexpr su_duration_t s_longestWaitMs = 1000;

FailureLine failureOfEvent() { return {liveFileScopeLogger(), "an event is left undone"}; }

} // namespace

EventLoop::EventLoop()
{
    su_init();
    m_pRoot = su_root_create(nullptr);
    if (m_pRoot == nullptr)
    {
        su_deinit();
        throw std::runtime_error("no event loop");
    }
}

EventLoop::~EventLoop()
{
    su_root_destroy(m_pRoot);
    su_deinit();
}

void EventLoop::step() { su_root_step(m_pRoot, s_longestWaitMs); }

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

FailureLine Timer::failureLine() { return failureOfEvent(); }

void Timer::expire()
{
    // The action may start the timer again and set a new action, so `m_action` is emptied before.
    const auto action = std::exchange(m_action, nullptr);
    action();
}

ReadWatch::ReadWatch(const EventLoop& in_loop, int in_iDescriptor, std::function<void()> in_action)
    : m_pRoot(in_loop.root()), m_action(std::move(in_action))
{
    m_iIndex = su_wait_create(&m_wait, in_iDescriptor, SU_WAIT_IN);
    if (m_iIndex == 0)
        m_iIndex = su_root_register(m_pRoot, &m_wait,
                                    StackCallback<&ReadWatch::handleReadable>::descriptor,
                                    StackContext(this), 0);
    if (m_iIndex < 0)
        throw std::runtime_error("a descriptor cannot be watched");
}

ReadWatch::~ReadWatch() { su_root_deregister(m_pRoot, m_iIndex); }

FailureLine ReadWatch::failureLine() { return failureOfEvent(); }

} // namespace GatewayExample
