// SPDX-License-Identifier: BSD-2-Clause

#include "OperatorSignals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace GatewayExample
{

namespace
{

constexpr int s_signals[] = {SIGTERM, SIGINT, SIGHUP, SIGUSR1};

/// What the handlers use. The descriptors are never closed.
struct Handled
{
    pid_t process = getpid();
    /// A pipe, which takes a byte for each signal.
    int signals[2] = {-1, -1};
    int iStop = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

// Lock-free, as the handlers read it.
std::atomic<const Handled*> s_pHandled;
static_assert(std::atomic<const Handled*>::is_always_lock_free);

/// The signals that the pipe has not taken, a bit for each.
std::atomic<unsigned int> s_uiUnwritten{0};
static_assert(std::atomic<unsigned int>::is_always_lock_free);

void handle(int in_iSignal)
{
    const int iError = errno;
    const Handled& handled = *s_pHandled.load();
    if (getpid() != handled.process)
    {
        // Delivered when the handler returns.
        std::signal(in_iSignal, SIG_DFL);
        raise(in_iSignal);
        return;
    }
    // If the pipe is full, as many signals as a program can want are pending.
    const auto uiSignal = static_cast<unsigned char>(in_iSignal);
    if (write(handled.signals[1], &uiSignal, sizeof(uiSignal)) < 0 && errno != EAGAIN)
        s_uiUnwritten |= 1U << uiSignal;
    const std::uint64_t uiOne = 1;
    if (in_iSignal == SIGTERM || in_iSignal == SIGINT)
    {
        [[maybe_unused]] const ssize_t iWritten = write(handled.iStop, &uiOne, sizeof(uiOne));
    }
    errno = iError;
}

const Handled* install()
{
    static Handled handled;
    if (handled.iStop < 0 || pipe2(handled.signals, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "signals cannot be received");
    s_pHandled = &handled;
    struct sigaction action
    {
    };
    action.sa_handler = handle;
    action.sa_flags = SA_RESTART;
    for (const int iSignal : s_signals)
        sigaction(iSignal, &action, nullptr);
    return &handled;
}

} // namespace

OperatorSignals::OperatorSignals() { [[maybe_unused]] static const Handled* const s_p = install(); }

int OperatorSignals::descriptor() const { return s_pHandled.load()->signals[0]; }

int OperatorSignals::stopDescriptor() const { return s_pHandled.load()->iStop; }

bool OperatorSignals::isLeft() const { return s_uiUnwritten != 0; }

int OperatorSignals::read() const
{
    for (const int iSignal : s_signals)
        if ((s_uiUnwritten.fetch_and(~(1U << static_cast<unsigned int>(iSignal))) &
             1U << static_cast<unsigned int>(iSignal)) != 0)
            return iSignal;
    unsigned char uiSignal = 0;
    ssize_t iLength = -1;
    do
        iLength = ::read(descriptor(), &uiSignal, sizeof(uiSignal));
    while (iLength < 0 && errno == EINTR);
    return iLength == sizeof(uiSignal) ? uiSignal : 0;
}

} // namespace GatewayExample
