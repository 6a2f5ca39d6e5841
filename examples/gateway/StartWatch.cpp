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

/// The thread looks this often whether the start is over, if it cannot be woken.
constexpr int s_iLookMs = 1000;

/// Waits until one of the descriptors is readable, or the time is over. Returns false if that is
/// not possible.
template <std::size_t Size>
bool waitFor(std::array<pollfd, Size>& inout_descriptors, int in_iTimeoutMs)
{
    int iResult = 0;
    do
        iResult = poll(inout_descriptors.data(), Size, in_iTimeoutMs);
    while (iResult < 0 && errno == EINTR);
    return iResult >= 0;
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
    m_bOver = true;
    eventfd_write(m_over.number(), 1);
    m_thread.join();
}

void StartWatch::watch() const
{
    std::array<pollfd, 2> both{
        {{.fd = m_over.number(), .events = POLLIN, .revents = 0},
         {.fd = m_signals.stopDescriptor(), .events = POLLIN, .revents = 0}}};
    while (both[1].revents == 0)
        // Without a watch, a signal waits until the start is over.
        if (!waitFor(both, s_iLookMs) || m_bOver)
            return;
    std::array<pollfd, 1> over{both[0]};
    if (waitFor(over, s_iGraceMs) && !m_bOver)
        endProcess();
}

} // namespace GatewayExample
