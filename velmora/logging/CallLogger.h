// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/LoggingIdLogger.h"

#include <cstddef>
#include <string>

namespace Velmora
{

/// A logger that follows a call. While it is in a call, its lines carry the call id, and also go to
/// the call's own file, without the id. All loggers in a call write to one file, which is made with
/// the first line and closed when the last of them leaves the call.
///
///     CallLogger logger("keswardin.gateway.Leg");
///     logger.addLoggingId("leg=1");
///     logger.callStart("a84b4c76@host");
///     VELMORA_LOG(logger, INFO_LOG_LEVEL, "answered"); // leg=1 call-id=a84b4c76@host answered
///     logger.callEnd();
///
/// The logging configuration decides which loggers write to call files: those that have the
/// appender "CALL_LOG_APPENDER", directly or through a parent; see `CallAppenderFactory`. This is
/// checked when a call starts. An open call file stays open when logging is configured again.
///
/// Thread-safety: none; an object belongs to one thread of control at a time. Objects in one call
/// may be used on several threads.
/// Failure: a logger in a call without a file still logs to its other appenders. Exceptions of
/// appenders at the lines that end a call are caught and logged.
class VELMORA_API CallLogger : public LoggingIdLogger
{
  public:
    /// Makes a handle on the logger "keswardin".
    CallLogger();
    explicit CallLogger(const std::string& in_strName);

    /// Enters the same call as the other logger, as one more participant.
    CallLogger(const CallLogger& in_logger);
    CallLogger& operator=(const CallLogger& in_logger);

    /// Leaves the call. A long-lived object must leave it before the exit list runs.
    ~CallLogger() override;

    /// Enters a call, after leaving the current one if that has another id. The id is any text
    /// except the empty one. With the id of the current call, only checks the configuration again.
    void callStart(const char* in_szCallId);

    /// Leaves the call, if there is one.
    void callEnd();

    /// Same as `callStart`.
    void logCallId(const char* in_szCallId) override;

    /// Returns whether this logger is in a call or has a call id.
    [[nodiscard]] bool isInCall() const override;

    /// Returns the id of the call; without a call, that of `LoggingIdLogger`.
    /// Ownership: owned by the call; valid until this logger leaves it.
    [[nodiscard]] const char* getCallId() const;

    /// Returns the number of appenders, including that of the call's file.
    [[nodiscard]] std::size_t getChainedNumAppender() const override;

    /// Passes an event to the appender of the call's file too, after the others.
    void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const override;

    /// Makes the registry of calls. Returns true.
    static bool initializeClass();

  private:
    [[nodiscard]] log4cplus::Appender* getCallAppender() const
    {
        return m_bHasCallAppender ? m_hCallData.getAppenderOfCall() : nullptr;
    }
    [[nodiscard]] bool isParticipant() const;
    void enterCall(const char* in_szCallId);
    void leaveCall();

    CallDataRegistry::CallDataHandle m_hCallData;

    /// Whether the chain has the marker appender.
    bool m_bHasCallAppender = false;
};

} // namespace Velmora
