// SPDX-License-Identifier: BSD-2-Clause

#include "EventLoop.h"

#include "velmora/logging/FileScopeLogger.h"

#include <sofia-sip/su.h>
#include <sofia-sip/su_addrinfo.h>
#include <sofia-sip/su_time.h>

#include <dlfcn.h>

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

// The SIP stack looks up a name in a message by this function, before it answers. A name server
// that is slow or silent would stop all calls, so only addresses are accepted. Where the stack
// follows a contact, it asks the name server itself and does not wait.
extern "C" [[gnu::visibility("default")]] int su_getaddrinfo(const char* in_szNode,
                                                             const char* in_szService,
                                                             const su_addrinfo_t* in_pHints,
                                                             su_addrinfo_t** out_pResult)
{
    static const auto s_pOriginal =
        reinterpret_cast<decltype(&su_getaddrinfo)>(dlsym(RTLD_NEXT, "su_getaddrinfo"));
    su_addrinfo_t hints = in_pHints != nullptr ? *in_pHints : su_addrinfo_t{};
    hints.ai_flags |= AI_NUMERICHOST;
    return s_pOriginal(in_szNode, in_szService, &hints, out_pResult);
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
