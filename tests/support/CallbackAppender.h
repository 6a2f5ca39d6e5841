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

/// Adds an appender to the root logger for the lifetime of the object. The appender passes the text
/// of each line to a function, synchronously, on the thread that logs it.
///
/// Thread-safety: the function runs under the appender's lock, on any thread that logs.
class CallbackAppender
{
  public:
    using Callback = std::function<void(const std::string& in_strText)>;

    explicit CallbackAppender(Callback in_callback)
        : m_pAppender(new Appender(std::move(in_callback)))
    {
        log4cplus::Logger::getRoot().addAppender(m_pAppender);
    }
    ~CallbackAppender() { log4cplus::Logger::getRoot().removeAppender(m_pAppender); }
    CallbackAppender(const CallbackAppender&) = delete;
    CallbackAppender& operator=(const CallbackAppender&) = delete;

  private:
    class Appender : public log4cplus::Appender
    {
      public:
        explicit Appender(Callback in_callback) : m_callback(std::move(in_callback)) {}
        ~Appender() override { destructorImpl(); }

        void close() override { closed = true; }

      protected:
        void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
        {
            m_callback(in_event.getMessage());
        }

      private:
        Callback m_callback;
    };

    log4cplus::SharedAppenderPtr m_pAppender;
};

} // namespace Velmora::Test
