#pragma once

#include "StackCallback.h"

#include <sofia-sip/su_wait.h>

#include <chrono>
#include <functional>

namespace GatewayExample
{

/// The only loop of the gateway. SIP, RTP, timers and the operator's signals all run on its thread,
/// one after the other, so none of them needs a lock.
///
/// Thread-safety: all classes of this header belong to the thread that calls `step`.
class EventLoop
{
  public:
    /// Failure: throws `std::runtime_error` if the system has no descriptors for it.
    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Waits for an event, for a second at most, and handles it.
    void step();

    [[nodiscard]] su_root_t* root() const { return m_pRoot; }

  private:
    su_root_t* m_pRoot;
};

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

    [[nodiscard]] static FailureLine failureLine();
    void expire();

    su_timer_t* m_pTimer;
    std::function<void()> m_action;
};

/// Calls a function whenever a descriptor is readable, during the lifetime of this object.
/// Exceptions of the function are logged and not passed on.
class ReadWatch
{
  public:
    /// Failure: throws `std::runtime_error` if the loop cannot watch the descriptor.
    /// Ownership: the descriptor stays the caller's and must outlive this object.
    ReadWatch(const EventLoop& in_loop, int in_iDescriptor, std::function<void()> in_action);
    ~ReadWatch();
    ReadWatch(const ReadWatch&) = delete;
    ReadWatch& operator=(const ReadWatch&) = delete;

  private:
    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] static FailureLine failureLine();
    void handleReadable() { m_action(); }

    su_root_t* m_pRoot;
    su_wait_t m_wait{};
    std::function<void()> m_action;
    int m_iIndex;
};

} // namespace GatewayExample
