#pragma once

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/ReusableEvent.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>

#include <memory>

namespace Velmora
{

/// A line that waits until its thread holds no lock of the library. Appenders are foreign code with
/// locks of their own: run under a lock of the library, they would meet other threads that take the
/// two in the other order.
///
/// The line has the time at which it was logged, and a thread's lines stay in their order.
///
/// Thread-safety: belongs to its thread.
/// Failure: what an appender throws when the line is finally handed to it is logged once, as the
/// code that logged has gone on.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): deleted as what it is.
class DeferredLine final : public ProcessGate::Deferred
{
  public:
    /// Hands an event to the appenders of a logger and of its parents, now or later.
    static void append(const log4cplus::Logger& in_logger,
                       const log4cplus::spi::InternalLoggingEvent& in_event);

    /// Hands an event to one appender, now or later.
    static void append(log4cplus::Appender& inout_appender,
                       const log4cplus::spi::InternalLoggingEvent& in_event);

    void run() noexcept override;

    DeferredLine* m_pNextInPool = nullptr;

  private:
    void keep(const log4cplus::spi::InternalLoggingEvent& in_event);
    /// Logs the exception that is being handled.
    void reportFailure() const noexcept;

    /// One of these two is set.
    log4cplus::Logger m_logger;
    log4cplus::SharedAppenderPtr m_pAppender;

    /// One of these two is set: the event of the line, or a copy.
    const ReusableEvent* m_pKept = nullptr;
    std::unique_ptr<log4cplus::spi::InternalLoggingEvent> m_pCopy;
};

} // namespace Velmora
