// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "StackCallback.h"

#include <sofia-sip/su_wait.h>

#include <functional>

namespace GatewayExample
{

/// Calls a function whenever a descriptor is readable, during the lifetime of this object.
/// Exceptions of the function are logged and not passed on.
class ReadWatch
{
  public:
    /// The descriptor must not block.
    ///
    /// Failure: throws `std::runtime_error` if the loop cannot watch the descriptor.
    /// Ownership: the descriptor stays the caller's and must outlive this object.
    ReadWatch(const EventLoop& in_loop, int in_iDescriptor, std::function<void()> in_action);
    ~ReadWatch();
    ReadWatch(const ReadWatch&) = delete;
    ReadWatch& operator=(const ReadWatch&) = delete;

    /// Stop and begin to watch. May be called by the function.
    void pause();
    void resume();

  private:
    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] static FailureLine failureLine() { return EventLoop::failureLine(); }
    void handleReadable() { m_action(); }

    su_root_t* m_pRoot;
    su_wait_t m_wait;
    std::function<void()> m_action;
    int m_iIndex;
};

} // namespace GatewayExample
