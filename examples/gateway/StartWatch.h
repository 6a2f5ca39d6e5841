// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Descriptor.h"
#include "OperatorSignals.h"

#include <atomic>
#include <thread>

namespace GatewayExample
{

/// Lets an operator stop a gateway that is still starting. A start may wait for what does not come:
/// a name server, a database, a named pipe. If SIGTERM or SIGINT arrives, the start has a moment to
/// end, after which the signal is handled like any other. Otherwise a WARN is logged and the
/// process ends with code 0, within a second of the signal.
///
/// Thread-safety: the object belongs to one thread.
class StartWatch
{
  public:
    /// Failure: throws `std::system_error` if there is no descriptor or no thread for it.
    explicit StartWatch(const OperatorSignals& in_signals);
    ~StartWatch() { end(); }
    StartWatch(const StartWatch&) = delete;
    StartWatch& operator=(const StartWatch&) = delete;

    /// The start is over. The signals are handled by the program from now on.
    void end();

  private:
    void watch() const;

    OperatorSignals m_signals;
    std::atomic<bool> m_bOver = false;
    /// Readable when the start is over.
    Descriptor m_over;
    std::thread m_thread;
};

} // namespace GatewayExample
