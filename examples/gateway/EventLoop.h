#pragma once

#include <sofia-sip/su_wait.h>

#include <chrono>
#include <functional>

/// The one loop of the gateway: SIP, RTP, timers and the operator's signals all run in its thread,
/// one after the other, so that nothing of them needs a lock.
///
/// Thread-safety: everything here belongs to the thread that calls `step`.
class EventLoop
{
  public:
    /// Failure: throws `std::runtime_error` when the system gives no descriptors for it.
    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Waits until something is to be done, at most a second, and does it.
    void step();

    [[nodiscard]] su_root_t* root() const { return m_pRoot; }

  private:
    su_root_t* m_pRoot;
};

/// Does something once, after a time. Its end calls it off.
class Timer
{
  public:
    /// Failure: throws `std::runtime_error` without memory for it.
    explicit Timer(const EventLoop& in_loop);
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Takes the place of what it was to do before. What the action throws goes no further than the
    /// log.
    /// Failure: throws `std::runtime_error` without memory for it.
    void start(std::chrono::milliseconds in_delay, std::function<void()> in_action);
    void cancel();

  private:
    static void expired(su_root_magic_t*, su_timer_t*, su_timer_arg_t* in_pTimer);

    su_timer_t* m_pTimer;
    std::function<void()> m_action;
};

/// Does something each time that a descriptor has something to read, as long as this object lives.
/// What the action throws goes no further than the log.
class ReadWatch
{
  public:
    /// Failure: throws `std::runtime_error` when the loop cannot watch the descriptor.
    /// Ownership: the descriptor stays the caller's and outlives this object.
    ReadWatch(const EventLoop& in_loop, int in_iDescriptor, std::function<void()> in_action);
    ~ReadWatch();
    ReadWatch(const ReadWatch&) = delete;
    ReadWatch& operator=(const ReadWatch&) = delete;

  private:
    static int readable(su_root_magic_t*, su_wait_t*, su_wakeup_arg_t* in_pWatch);

    su_root_t* m_pRoot;
    su_wait_t m_wait{};
    std::function<void()> m_action;
    int m_iIndex;
};
