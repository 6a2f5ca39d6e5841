// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Descriptor.h"

namespace GatewayExample
{

/// The signals that an operator sends to a program. The constructor blocks them, so they stay
/// pending until `read` reads them, on any thread. Threads that are started later inherit the
/// block.
class OperatorSignals
{
  public:
    OperatorSignals();

    /// The descriptor, which is readable while a signal is pending.
    [[nodiscard]] int descriptor() const { return m_descriptor.number(); }

    /// Takes the pending signal: SIGTERM, SIGINT or SIGUSR1. Returns 0, with `errno` set, if it
    /// cannot be read.
    [[nodiscard]] int read() const;

  private:
    Descriptor m_descriptor;
};

} // namespace GatewayExample
