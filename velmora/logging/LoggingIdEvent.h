#pragma once

#include "velmora/logging/LogLevel.h"
#include "velmora/system/StringVector.h"

#include <log4cplus/spi/loggingevent.h>

#include <cstddef>
#include <string>

namespace Velmora
{

/// A line that carries logging identifiers. What appenders get from `getMessage()` is the composed
/// text: each identifier with a blank behind it, then the raw message. The identifiers themselves
/// stay with the event, so that an appender can take one out of a copy of it.
///
/// `clone()` is that of the base class: it gives a plain event that has the composed text.
///
/// Ownership: the event has copies of all texts and does not need the logger that made it.
/// Thread-safety: as `log4cplus::spi::InternalLoggingEvent`.
class VELMORA_API LoggingIdEvent : public log4cplus::spi::InternalLoggingEvent
{
  public:
    /// What an identifier begins with that is a call id.
    static constexpr const char* s_szCallIdPrefix = "call-id=";

    /// A null file and a negative line mean: not known. The identifiers are those from
    /// `in_pIdsBegin` up to `in_pIdsEnd`; both may be null.
    LoggingIdEvent(const std::string& in_strLogger, LogLevel in_logLevel,
                   const std::string& in_strMessage, const char* in_szFile, int in_iLine,
                   const std::string* in_pIdsBegin, const std::string* in_pIdsEnd);
    LoggingIdEvent(const LoggingIdEvent& in_event);
    LoggingIdEvent& operator=(const LoggingIdEvent& in_event);
    ~LoggingIdEvent() override;

    /// Puts the message together from the identifiers and the raw message.
    void computeMessage();

    /// Takes out the first identifier that is a call id, if there is one, and composes the message
    /// anew.
    void removeCallId();

    /// Writes the message that this event would have after `removeCallId`, over a string.
    void composeWithoutCallId(std::string& out_strMessage) const;

  protected:
    /// An event to be filled.
    LoggingIdEvent();

    /// Becomes another line. The memory of the texts before is used again.
    void fill(const std::string& in_strLogger, LogLevel in_logLevel,
              const std::string& in_strMessage, const char* in_szFile, int in_iLine,
              const std::string* in_pIdsBegin, const std::string* in_pIdsEnd);

  private:
    void compose(std::string& out_strMessage, const std::string* in_pLeftOut) const;
    [[nodiscard]] const std::string* findCallId() const;
    void copyLoggingIds(const std::string* in_pIdsBegin, const std::string* in_pIdsEnd);
    [[nodiscard]] const std::string* loggingIdsBegin() const;
    [[nodiscard]] const std::string* loggingIdsEnd() const;

    std::string m_strRawMessage;

    /// The identifiers. Strings behind the first `m_uiLoggingIdVecSize` are not in use.
    StringVector m_loggingIdVector;
    std::size_t m_uiLoggingIdVecSize = 0;
};

} // namespace Velmora
