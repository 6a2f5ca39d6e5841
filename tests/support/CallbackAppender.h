// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <functional>
#include <string>
#include <utility>

namespace Velmora::Test
{

/// Adds an appender to a logger for the lifetime of the object. The appender passes each line, or
/// its text, to a function, synchronously, on the thread that logs it. An exception of the function
/// is one of the appender.
///
/// Thread-safety: the function runs under the appender's lock, on any thread that logs.
class CallbackAppender
{
  public:
    using EventCallback = std::function<void(const log4cplus::spi::InternalLoggingEvent& in_event)>;
    using TextCallback = std::function<void(const std::string& in_strText)>;

    /// An empty name is that of the root logger.
    explicit CallbackAppender(EventCallback in_callback, const std::string& in_strLogger = "")
        : m_logger(in_strLogger.empty() ? log4cplus::Logger::getRoot()
                                        : log4cplus::Logger::getInstance(in_strLogger)),
          m_pAppender(new Appender(std::move(in_callback)))
    {
        m_logger.addAppender(m_pAppender);
    }
    explicit CallbackAppender(TextCallback in_callback, const std::string& in_strLogger = "")
        : CallbackAppender(EventCallback([callback = std::move(in_callback)](
                                             const log4cplus::spi::InternalLoggingEvent& in_event)
                                         { callback(in_event.getMessage()); }),
                           in_strLogger)
    {
    }
    ~CallbackAppender() { m_logger.removeAppender(m_pAppender); }
    CallbackAppender(const CallbackAppender&) = delete;
    CallbackAppender& operator=(const CallbackAppender&) = delete;

  private:
    class Appender : public log4cplus::Appender
    {
      public:
        explicit Appender(EventCallback in_callback) : m_callback(std::move(in_callback)) {}
        ~Appender() override { destructorImpl(); }

        void close() override { closed = true; }

      protected:
        void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
        {
            m_callback(in_event);
        }

      private:
        EventCallback m_callback;
    };

    log4cplus::Logger m_logger;
    log4cplus::SharedAppenderPtr m_pAppender;
};

} // namespace Velmora::Test
