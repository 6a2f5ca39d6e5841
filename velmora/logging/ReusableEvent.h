#pragma once

#include <log4cplus/spi/loggingevent.h>

#include <string>

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

    /// Becomes a copy of an event of the same thread.
    void fill(const log4cplus::spi::InternalLoggingEvent& in_event)
    {
        setLoggingEvent(in_event.getLoggerName(), in_event.getLogLevel(), in_event.getMessage(),
                        nullptr, in_event.getLine());
        timestamp = in_event.getTimestamp();
        file = in_event.getFile();
        function = in_event.getFunction();
    }

    ReusableEvent* m_pNextInPool = nullptr;
};

} // namespace Velmora
