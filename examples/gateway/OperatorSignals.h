// SPDX-License-Identifier: BSD-2-Clause

#pragma once

namespace GatewayExample
{

/// The signals that an operator sends to a program: SIGTERM, SIGINT, SIGHUP and SIGUSR1. The first
/// object installs handlers that keep each signal until `read` takes it, whatever threads the
/// process has and whichever of them the system delivers it to. The handlers stay until the process
/// ends, so that a late signal does not cut off its last lines. All objects share the signals.
///
/// In the child of a fork, the signals have their default effect.
///
/// Thread-safety: all members may be called from any thread.
class OperatorSignals
{
  public:
    /// Failure: throws `std::system_error` if the system has no descriptors left.
    OperatorSignals();

    /// The descriptor, which is readable while a signal is pending.
    [[nodiscard]] int descriptor() const;

    /// A descriptor that is readable from the first SIGTERM or SIGINT on. It is not to be read.
    [[nodiscard]] int stopDescriptor() const;

    /// Returns whether a signal is pending that does not make the descriptor readable, since the
    /// system has refused that. Look from time to time.
    [[nodiscard]] bool isLeft() const;

    /// Takes the pending signal. Returns 0, with `errno` set, if it cannot be read.
    [[nodiscard]] int read() const;
};

} // namespace GatewayExample
