#pragma once

#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/LoggingIdLogger.h"

#include <cstddef>
#include <string>

namespace Velmora
{

/// A logger that follows a call: while it is in one, its lines carry the call id, and go to the
/// call's own file as well, without the id. All loggers in a call write to one file, which is made
/// with the first line and closed when the last of them has left the call.
///
///     CallLogger logger("keswardin.gateway.Leg");
///     logger.addLoggingId("leg=1");
///     logger.callStart("a84b4c76@host");
///     VELMORA_LOG(logger, INFO_LOG_LEVEL, "answered"); // leg=1 call-id=a84b4c76@host answered
///     logger.callEnd();
///
/// Which loggers do so is decided in the configuration of logging: those that have, themselves or
/// by a parent, the appender "CALL_LOG_APPENDER"; see `CallAppenderFactory`. This is looked at when
/// a call starts. A call's open file stays open when logging is configured anew.
///
/// Thread-safety: none; an object belongs to one thread of control at a time. Objects in one call
/// may be used on several threads.
/// Failure: a call without a file logs to everything else. What an appender throws at the lines of
/// the end of a call goes no further; it is logged.
class VELMORA_API CallLogger : public LoggingIdLogger
{
  public:
    /// The logger "keswardin".
    CallLogger();
    explicit CallLogger(const std::string& in_strName);

    /// In the same call as the other one, which counts as a logger more.
    CallLogger(const CallLogger& in_logger);
    CallLogger& operator=(const CallLogger& in_logger);

    /// Leaves the call. An object that lives long must do so before the exit list runs.
    ~CallLogger() override;

    /// Enters a call, and leaves the one before if it had another id. The id is any text but the
    /// empty one.
    void callStart(const char* in_szCallId);

    /// Leaves the call, if there is one.
    void callEnd();

    /// As `callStart`.
    void logCallId(const char* in_szCallId) override;

    [[nodiscard]] bool isInCall() const override;

    /// The id of the call; that of `LoggingIdLogger` when there is none.
    /// Ownership: the call's; valid until this logger leaves it.
    [[nodiscard]] const char* getCallId() const;

    /// Counts the appender of the call's file too.
    [[nodiscard]] std::size_t getChainedNumAppender() const override;

    /// Hands an event to the appender of the call's file too, after the others.
    void callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const override;

    /// Brings the registry of calls into being. Gives true.
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

    /// Whether the chain has the appender that marks participants.
    bool m_bHasCallAppender = false;
};

} // namespace Velmora
