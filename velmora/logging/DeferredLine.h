// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/ReusableEvent.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>

#include <memory>

namespace Velmora
{

/// A log line that waits until its thread holds no lock of the library. Appenders are foreign code
/// with locks of their own: if they ran under a lock of the library, they could deadlock with a
/// thread that takes the two locks in the opposite order.
///
/// A line keeps the time at which it was logged, and the lines of a thread keep their order.
///
/// Thread-safety: belongs to its thread.
/// Failure: an exception of an appender at a deferred line is caught and logged once, because the
/// code that logged the line has gone on.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): never deleted as its base class.
class DeferredLine final : public ProcessGate::Deferred
{
  public:
    /// Passes an event to the appenders of a logger and of its parents: at once, or when the thread
    /// has unlocked its last lock of the library.
    static void append(const log4cplus::Logger& in_logger,
                       const log4cplus::spi::InternalLoggingEvent& in_event);

    /// Passes an event to one appender, in the same way.
    static void append(log4cplus::Appender& inout_appender,
                       const log4cplus::spi::InternalLoggingEvent& in_event);

    /// Passes the event on, and gives this object back to the pool.
    void run() noexcept override;

    DeferredLine* m_pNextInPool = nullptr;

  private:
    /// Stores the event, without a copy if possible.
    void keep(const log4cplus::spi::InternalLoggingEvent& in_event);

    /// The destination: the appender if it is set, else the logger.
    log4cplus::Logger m_logger;
    log4cplus::SharedAppenderPtr m_pAppender;

    /// The event of the line, or a copy of it. One of the two is set.
    const ReusableEvent* m_pKept = nullptr;
    std::unique_ptr<log4cplus::spi::InternalLoggingEvent> m_pCopy;
};

} // namespace Velmora
