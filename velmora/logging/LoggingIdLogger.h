#pragma once

#include "velmora/logging/CachedLLLogger.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Velmora
{

namespace Test
{
class LoggingIdLoggerPeer;
}

/// A logger that puts a short list of identifiers in front of each line, in their order, each with
/// a blank behind it: which call, which leg, which object a line comes from. The code that logs
/// writes its plain message. One identifier may be the call id, which has the form "call-id=" and
/// the id.
///
///     LoggingIdLogger logger("keswardin.gateway.Leg");
///     logger.addLoggingId("leg=1");
///     logger.logCallId("abc");
///     VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello"); // leg=1 call-id=abc hello
///
/// Identifiers are in the lines of the logging macros and of trace scopes. `log`, and `forcedLog`
/// with a level that is an `int`, log without them.
///
/// The strings of identifiers that are cleared stay, for those that come next: an object that is
/// used for call after call does not allocate for each.
///
/// Thread-safety: none; an object belongs to one thread of control at a time. A copy shares nothing
/// with its source: another thread that needs the same identifiers gets a copy.
class VELMORA_API LoggingIdLogger : public CachedLLLogger
{
  public:
    explicit LoggingIdLogger(const std::string& in_strName);
    LoggingIdLogger(const Logger& in_logger);
    LoggingIdLogger(const LoggingIdLogger& in_logger);
    LoggingIdLogger& operator=(const LoggingIdLogger& in_logger);
    ~LoggingIdLogger() override;

    /// Adds an identifier behind the others. An empty one gives a lone blank. From the eleventh on
    /// each is warned of, since a list that long means that nobody clears it; there is no limit.
    void addLoggingId(const char* in_szId);

    /// Forgets all identifiers, the call id too.
    void clearLoggingIds();

    /// Forgets the call id; the identifiers behind it move forward.
    void clearCallId();

    /// The call id without "call-id="; "LoggingIdLogger::???CallId???" when there is none. An empty
    /// call id fails an assertion and is given.
    /// Ownership: this object's; valid until the call id changes or an identifier is added.
    [[nodiscard]] const char* getCallId() const;

    /// Forgets all identifiers and the cached level. Gives true.
    bool reset() override;

    /// Logs at TRACE whatever the level, with the identifiers and with no file and line.
    void forcedTrace(const char* in_szText) const override;

    using CachedLLLogger::forcedLog;

    /// Logs a line with the identifiers, whatever the level.
    virtual void forcedLog(LogLevel in_logLevel, const std::string& in_strMessage,
                           const char* in_szFile, int in_iLine) const;

    /// Sets the call id. The first one goes behind the other identifiers, a later one takes the
    /// place of the one before.
    virtual void logCallId(const char* in_szCallId);

    /// Whether there is a call id. The operations of this class do not ask it, so that a derived
    /// class may have a wider notion of being in a call.
    [[nodiscard]] virtual bool isInCall() const;

  private:
    friend class Test::LoggingIdLoggerPeer;

    class LoggingIdVector;

    [[nodiscard]] bool hasCallId() const { return m_iCallIdIndex >= 0; }
    [[nodiscard]] bool isCallIdInUse() const;
    void appendLoggingId(std::string_view in_strPrefix, const char* in_szId);
    [[nodiscard]] const std::string* loggingIdsBegin() const;

    /// The identifiers; null until the first. Strings behind the first `m_uiLoggingIdVecSize` are
    /// not in use.
    std::unique_ptr<LoggingIdVector> m_pLoggingIdVector;
    std::size_t m_uiLoggingIdVecSize = 0;

    /// The place of the call id among the identifiers, -1 when there is none.
    std::int32_t m_iCallIdIndex = -1;
};

} // namespace Velmora
