// SPDX-License-Identifier: BSD-2-Clause

#include "EventLoop.h"

#include "velmora/logging/FileScopeLogger.h"

#include <sofia-sip/su.h>
#include <sofia-sip/su_time.h>

#include <cerrno>
#include <ctime>
#include <system_error>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.EventLoop")

// The SIP stack calls these functions instead of its own ones, which follow the clock of the day: a
// clock that is set must not end calls. Both are needed, since the stack compares their results. It
// has no other use for the times than to compare them.
//
// The times are whole milliseconds. The stack waits for as many as are left until the next timer,
// so it would wait for none of them in the last part of a millisecond, over and over.

extern "C" [[gnu::visibility("default")]] su_time_t su_now(void)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return {.tv_sec = static_cast<unsigned long>(now.tv_sec),
            .tv_usec = static_cast<unsigned long>(now.tv_nsec / 1'000'000 * 1000)};
}

extern "C" [[gnu::visibility("default")]] void su_time(su_time_t* out_pTime)
{
    *out_pTime = su_now();
}

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
        // `su_deinit` may change errno.
        const int iError = errno;
        su_deinit();
        throw std::system_error(iError, std::generic_category(), "no event loop");
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
