#pragma once

#include "velmora/logging/PerThreadPool.h"

#include <log4cplus/spi/loggingevent.h>

#include <string>

namespace Velmora
{

/// An event that is filled anew for each line and keeps the memory of its texts. It goes back to
/// the pool of its thread when the line and all who keep it have let go of it.
///
/// Thread-safety: belongs to the thread that took it.
class ReusableEvent : public log4cplus::spi::InternalLoggingEvent
{
  public:
    /// An event taken for the life of this one.
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

    void fill(const std::string& in_strLogger, int in_logLevel, const std::string& in_strMessage,
              const char* in_szFile, int in_iLine)
    {
        // Given the file's name, it would make a string of it for each line.
        setLoggingEvent(in_strLogger, in_logLevel, in_strMessage, nullptr, in_iLine);
        if (in_szFile != nullptr)
            file = in_szFile;
    }

    /// Lets the event outlive the line that it was filled for, until `letGo`.
    const ReusableEvent* keep() const
    {
        ++m_uiKeepers;
        return this;
    }
    void letGo() const
    {
        // The pool makes events that are not const; a line only shows them so.
        if (--m_uiKeepers == 0)
            PerThreadPool<ReusableEvent>::giveBack(const_cast<ReusableEvent*>(this));
    }

    ReusableEvent* m_pNextInPool = nullptr;

  private:
    mutable unsigned int m_uiKeepers = 0;
};

} // namespace Velmora
