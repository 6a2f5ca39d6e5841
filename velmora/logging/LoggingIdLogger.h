// SPDX-License-Identifier: BSD-2-Clause

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

/// A logger that puts a short list of identifiers in front of each line, in their order, each
/// followed by a blank. They say which call, which leg or which object a line comes from; the
/// logging code writes its plain message. One identifier may be the call id, which has the form
/// "call-id=" and the id.
///
///     LoggingIdLogger logger("keswardin.gateway.Leg");
///     logger.addLoggingId("leg=1");
///     logger.logCallId("abc");
///     VELMORA_LOG(logger, INFO_LOG_LEVEL, "hello"); // leg=1 call-id=abc hello
///
/// Lines of the logging macros and of trace scopes have the identifiers. `log`, and `forcedLog`
/// with a level of type `int`, log without them.
///
/// The strings of identifiers that are cleared are kept for the next ones: an object that is used
/// for one call after another does not allocate for each.
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

    /// Adds an identifier after the others. An empty one adds a lone blank. From the eleventh on,
    /// each logs a WARN, since a list of that length means that it is never cleared. There is no
    /// limit.
    void addLoggingId(const char* in_szId);

    /// Removes all identifiers, including the call id.
    void clearLoggingIds();

    /// Removes the call id; the identifiers after it move forward.
    void clearCallId();

    /// Returns the call id without "call-id=", or "LoggingIdLogger::???CallId???" if there is none.
    /// Fails an assertion if the call id is empty, and returns it.
    /// Ownership: owned by this object; valid until the call id changes or an identifier is added.
    [[nodiscard]] const char* getCallId() const;

    /// Removes all identifiers and drops the cached level. Returns true.
    bool reset() override;

    /// Logs at TRACE regardless of the level, with the identifiers, and without file and line.
    void forcedTrace(const char* in_szText) const override;

    using CachedLLLogger::forcedLog;

    /// Logs a line with the identifiers, regardless of its level.
    virtual void forcedLog(LogLevel in_logLevel, const std::string& in_strMessage,
                           const char* in_szFile, int in_iLine) const;

    /// Sets the call id. The first one goes after the other identifiers; a later one replaces the
    /// one before.
    virtual void logCallId(const char* in_szCallId);

    /// Returns whether there is a call id. The operations of this class do not call it, so that a
    /// derived class may extend what counts as being in a call.
    [[nodiscard]] virtual bool isInCall() const;

  private:
    friend class Test::LoggingIdLoggerPeer;

    class LoggingIdVector;

    [[nodiscard]] bool hasCallId() const { return m_iCallIdIndex >= 0; }
    [[nodiscard]] bool isCallIdInUse() const;
    void appendLoggingId(std::string_view in_strPrefix, const char* in_szId);
    [[nodiscard]] const std::string* loggingIdsBegin() const;

    /// The identifiers; null until the first one is added. Strings after the first
    /// `m_uiLoggingIdVecSize` are not in use.
    std::unique_ptr<LoggingIdVector> m_pLoggingIdVector;
    std::size_t m_uiLoggingIdVecSize = 0;

    /// The index of the call id among the identifiers; -1 if there is none.
    std::int32_t m_iCallIdIndex = -1;
};

} // namespace Velmora
