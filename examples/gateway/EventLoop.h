// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "StackCallback.h"

#include <sofia-sip/su_wait.h>

namespace GatewayExample
{

/// The only loop of the gateway. SIP, RTP, timers and the operator's signals all run on its thread,
/// one after the other, so none of them needs a lock.
///
/// Thread-safety: the loop and all that runs in it belong to the thread that calls `step`.
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

    /// How an exception of an event's action is logged.
    [[nodiscard]] static FailureLine failureLine();

    [[nodiscard]] su_root_t* root() const { return m_pRoot; }

  private:
    su_root_t* m_pRoot;
};

} // namespace GatewayExample
