// SPDX-License-Identifier: BSD-2-Clause

#include "StartWatch.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway")

namespace GatewayExample
{

namespace
{

/// How long a start that is stopped may go on.
constexpr int s_iGraceMs = 300;
/// After this time, SIGALRM ends a process whose last line cannot be written.
constexpr suseconds_t s_lastLineUs = 400'000;

int eventDescriptor()
{
    const int iDescriptor = eventfd(0, EFD_CLOEXEC);
    if (iDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "the start cannot be watched");
    return iDescriptor;
}

/// Waits until one of the descriptors is readable.
template <std::size_t Size>
void waitFor(std::array<pollfd, Size>& inout_descriptors, int in_iTimeoutMs)
{
    while (poll(inout_descriptors.data(), Size, in_iTimeoutMs) < 0 && errno == EINTR)
        ;
}

/// Ends the process while another thread is in the middle of the start. Only what cannot wait for
/// that thread is done: destructors and exit handlers do not run.
[[noreturn]] void endProcess()
{
    const itimerval limit{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = s_lastLineUs}};
    setitimer(ITIMER_REAL, &limit, nullptr);
    Velmora::withoutThrowing(liveFileScopeLogger(), "a line is lost",
                             []
                             {
                                 VELMORA_FILE_LOG_WARN("stopping : the gateway is stopped before "
                                                       "it has started");
                                 std::cout.flush();
                             });
    _exit(0);
}

} // namespace

StartWatch::StartWatch(const OperatorSignals& in_signals)
    : m_signals(in_signals), m_over(eventDescriptor()), m_thread([this] { watch(); })
{
}

void StartWatch::end()
{
    if (!m_thread.joinable())
        return;
    eventfd_write(m_over.number(), 1);
    m_thread.join();
}

void StartWatch::watch() const
{
    std::array<pollfd, 2> both{
        {{.fd = m_over.number(), .events = POLLIN, .revents = 0},
         {.fd = m_signals.stopDescriptor(), .events = POLLIN, .revents = 0}}};
    waitFor(both, -1);
    if (both[0].revents != 0)
        return;
    std::array<pollfd, 1> over{both[0]};
    waitFor(over, s_iGraceMs);
    if (over[0].revents == 0)
        endProcess();
}

} // namespace GatewayExample
