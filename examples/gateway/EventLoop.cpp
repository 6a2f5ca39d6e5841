// SPDX-License-Identifier: BSD-2-Clause

#include "EventLoop.h"

#include "velmora/logging/FileScopeLogger.h"

#include <sofia-sip/su.h>

#include <stdexcept>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.EventLoop")

namespace GatewayExample
{

namespace
{

/// Bounds the delay with which the gateway notices that its exit timeout is over.
constexpr su_duration_t s_longestWaitMs = 1000;

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

FailureLine EventLoop::failureLine() { return {liveFileScopeLogger(), "an event is left undone"}; }

void EventLoop::step() { su_root_step(m_pRoot, s_longestWaitMs); }

} // namespace GatewayExample
