// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "StackCallback.h"

#include <sofia-sip/su_wait.h>

#include <chrono>
#include <functional>

namespace GatewayExample
{

/// Calls a function once, after a time. The destructor cancels the call.
class Timer
{
  public:
    /// Failure: throws `std::runtime_error` if there is no memory for it.
    explicit Timer(const EventLoop& in_loop);
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Replaces the previous action and its time. Exceptions of the action are logged and not
    /// passed on.
    /// Failure: throws `std::runtime_error` if there is no memory for it.
    void start(std::chrono::milliseconds in_delay, std::function<void()> in_action);
    void cancel();

  private:
    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] static FailureLine failureLine() { return EventLoop::failureLine(); }
    void expire();

    su_timer_t* m_pTimer;
    std::function<void()> m_action;
};

} // namespace GatewayExample
