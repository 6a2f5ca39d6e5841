#pragma once

#include "velmora/logging/PerThreadPool.h"

#include <log4cplus/spi/loggingevent.h>

#include <string>
#include <utility>

namespace Velmora
{

/// An event that is filled anew for each line and keeps the memory of its texts.
class ReusableEvent : public log4cplus::spi::InternalLoggingEvent
{
  public:
    void fill(const std::string& in_strLogger, int in_logLevel, const std::string& in_strMessage,
              const char* in_szFile, int in_iLine)
    {
        // Given the file's name, it would make a string of it for each line.
        setLoggingEvent(in_strLogger, in_logLevel, in_strMessage, nullptr, in_iLine);
        if (in_szFile != nullptr)
            file = in_szFile;
    }

    /// Lets the event outlive the line that it was filled for: its keeper gives it back to
    /// the pool of its thread. Null if somebody keeps it already.
    ReusableEvent* keep() const
    {
        // The pool makes events that are not const; a line only shows them so.
        return std::exchange(m_bKept, true) ? nullptr : const_cast<ReusableEvent*>(this);
    }
    [[nodiscard]] bool isKept() const { return m_bKept; }
    void giveBack()
    {
        m_bKept = false;
        PerThreadPool<ReusableEvent>::giveBack(this);
    }

    ReusableEvent* m_pNextInPool = nullptr;

  private:
    mutable bool m_bKept = false;
};

} // namespace Velmora
