// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/PerThreadPool.h"

#include <log4cplus/spi/loggingevent.h>

#include <string>

namespace Velmora
{

/// A log event that is reused for each line, and keeps the memory of its texts. It goes back to the
/// pool of its thread when the line and all other holders have released it.
///
/// Thread-safety: belongs to the thread that took it.
class ReusableEvent : public log4cplus::spi::InternalLoggingEvent
{
  public:
    /// Holds an event of the pool for a scope.
    class Lease
    {
      public:
        Lease() : m_pEvent(PerThreadPool<ReusableEvent>::take()) { m_pEvent->keep(); }
        ~Lease() { m_pEvent->letGo(); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        ReusableEvent& operator*() const { return *m_pEvent; }
        ReusableEvent* operator->() const { return m_pEvent; }

      private:
        ReusableEvent* m_pEvent;
    };

    /// Turns this event into that of a line. A null file means that the place is not known.
    void fill(const std::string& in_strLogger, int in_logLevel, const std::string& in_strMessage,
              const char* in_szFile, int in_iLine)
    {
        Log4cplusAccess::EventMembers::fill(*this, in_strLogger, in_logLevel, in_szFile, in_iLine);
        message = in_strMessage;
    }

    /// Keeps the event beyond the line that it was filled for, until `letGo`. Returns the event.
    const ReusableEvent* keep() const
    {
        ++m_uiKeepers;
        return this;
    }
    /// Undoes one `keep`. The last one gives the event back to the pool.
    void letGo() const
    {
        // The pool's events are not const; a line only exposes them as const.
        if (--m_uiKeepers == 0)
            PerThreadPool<ReusableEvent>::giveBack(const_cast<ReusableEvent*>(this));
    }

    ReusableEvent* m_pNextInPool = nullptr;

  private:
    mutable unsigned int m_uiKeepers = 0;
};

} // namespace Velmora
