// SPDX-License-Identifier: BSD-2-Clause

#include "OperatorSignals.h"

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

#include <sys/signalfd.h>
#include <unistd.h>

namespace GatewayExample
{

namespace
{

/// Blocks the signals and returns a descriptor from which they are read.
/// Failure: throws `std::system_error` if there is no descriptor.
int blockSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int iSignal : {SIGTERM, SIGINT, SIGUSR1})
        sigaddset(&signals, iSignal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int iDescriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (iDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "signals cannot be received");
    return iDescriptor;
}

} // namespace

OperatorSignals::OperatorSignals() : m_descriptor(blockSignals()) {}

int OperatorSignals::read() const
{
    signalfd_siginfo signal{};
    ssize_t iLength = -1;
    do
        iLength = ::read(descriptor(), &signal, sizeof(signal));
    while (iLength < 0 && errno == EINTR);
    return iLength == sizeof(signal) ? static_cast<int>(signal.ssi_signo) : 0;
}

} // namespace GatewayExample
