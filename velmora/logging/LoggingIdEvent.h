// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/LogLevel.h"
#include "velmora/system/StringVector.h"

#include <log4cplus/spi/loggingevent.h>

#include <cstddef>
#include <span>
#include <string>

namespace Velmora
{

/// A log event that carries logging identifiers. `getMessage()` returns the composed text: each
/// identifier followed by a blank, then the raw message. The event also keeps the identifiers, so
/// that an appender can remove one from a copy of the event.
///
/// `clone()` is that of the base class: it returns a plain event with the composed text.
///
/// Ownership: the event has copies of all texts, and does not need the logger that made it.
/// Thread-safety: as for `log4cplus::spi::InternalLoggingEvent`.
class VELMORA_API LoggingIdEvent : public log4cplus::spi::InternalLoggingEvent
{
  public:
    /// The prefix of the identifier that is the call id.
    static constexpr const char* s_szCallIdPrefix = "call-id=";

    /// Makes the event of a line. A null file and a negative line mean that the place is not known.
    /// The identifiers are those from `in_pIdsBegin` up to `in_pIdsEnd`; both may be null.
    LoggingIdEvent(const std::string& in_strLogger, LogLevel in_logLevel,
                   const std::string& in_strMessage, const char* in_szFile, int in_iLine,
                   const std::string* in_pIdsBegin, const std::string* in_pIdsEnd);
    LoggingIdEvent(const LoggingIdEvent& in_event);
    LoggingIdEvent& operator=(const LoggingIdEvent& in_event);
    ~LoggingIdEvent() override;

    /// Composes the message from the identifiers and the raw message.
    void computeMessage();

    /// Removes the first identifier that is a call id, if there is one, and composes the message
    /// again.
    void removeCallId();

    /// Returns the message without the identifiers.
    [[nodiscard]] const std::string& getRawMessage() const { return m_strRawMessage; }

    /// Returns the identifiers.
    /// Ownership: they belong to the event, and may change when it does.
    [[nodiscard]] std::span<const std::string> getLoggingIds() const
    {
        return {loggingIdsBegin(), m_uiLoggingIdVecSize};
    }

  protected:
    /// Makes an event for `fill`.
    LoggingIdEvent();

    /// Turns this event into that of another line. Reuses the memory of its texts.
    void fill(const std::string& in_strLogger, LogLevel in_logLevel,
              const std::string& in_strMessage, const char* in_szFile, int in_iLine,
              const std::string* in_pIdsBegin, const std::string* in_pIdsEnd);

    /// Turns this event into another one without its call id. Thread-specific fields are not
    /// copied. Reuses the memory of its texts.
    void fillWithoutCallId(const LoggingIdEvent& in_event);

  private:
    [[nodiscard]] const std::string* findCallId() const;
    void copyLoggingIds(const std::string* in_pIdsBegin, const std::string* in_pIdsEnd);
    void addLoggingId(const std::string& in_strId);
    [[nodiscard]] const std::string* loggingIdsBegin() const;
    [[nodiscard]] const std::string* loggingIdsEnd() const;

    std::string m_strRawMessage;

    /// The identifiers. Strings after the first `m_uiLoggingIdVecSize` are not in use.
    StringVector m_loggingIdVector;
    std::size_t m_uiLoggingIdVecSize = 0;

    static constexpr std::size_t s_uiNotComposed = std::string::npos;
    /// The length of the identifiers at the beginning of the message, with their blanks, so that
    /// they stay there for the next line. `s_uiNotComposed` if they may be others than the event's.
    std::size_t m_uiLengthOfIds = s_uiNotComposed;
};

} // namespace Velmora
