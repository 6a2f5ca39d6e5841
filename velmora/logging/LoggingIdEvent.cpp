// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingIdEvent.h"

#include <algorithm>

namespace Velmora
{

LoggingIdEvent::LoggingIdEvent() = default;

LoggingIdEvent::LoggingIdEvent(const std::string& in_strLogger, LogLevel in_logLevel,
                               const std::string& in_strMessage, const char* in_szFile,
                               int in_iLine, const std::string* in_pIdsBegin,
                               const std::string* in_pIdsEnd)
{
    fill(in_strLogger, in_logLevel, in_strMessage, in_szFile, in_iLine, in_pIdsBegin, in_pIdsEnd);
}

LoggingIdEvent::LoggingIdEvent(const LoggingIdEvent& in_event)
    : log4cplus::spi::InternalLoggingEvent(in_event), m_strRawMessage(in_event.m_strRawMessage)
{
    copyLoggingIds(in_event.loggingIdsBegin(), in_event.loggingIdsEnd());
}

LoggingIdEvent& LoggingIdEvent::operator=(const LoggingIdEvent& in_event)
{
    if (this != &in_event)
    {
        log4cplus::spi::InternalLoggingEvent::operator=(in_event);
        m_strRawMessage = in_event.m_strRawMessage;
        copyLoggingIds(in_event.loggingIdsBegin(), in_event.loggingIdsEnd());
    }
    return *this;
}

LoggingIdEvent::~LoggingIdEvent() = default;

void LoggingIdEvent::fill(const std::string& in_strLogger, LogLevel in_logLevel,
                          const std::string& in_strMessage, const char* in_szFile, int in_iLine,
                          const std::string* in_pIdsBegin, const std::string* in_pIdsEnd)
{
    m_strRawMessage = in_strMessage;
    copyLoggingIds(in_pIdsBegin, in_pIdsEnd);
    // With the name of the file, it would build a temporary string for each line.
    setLoggingEvent(in_strLogger, in_logLevel, std::string(), nullptr, in_iLine);
    if (in_szFile != nullptr)
        file = in_szFile;
    computeMessage();
}

void LoggingIdEvent::copyLoggingIds(const std::string* in_pIdsBegin, const std::string* in_pIdsEnd)
{
    m_uiLoggingIdVecSize = 0;
    for (const std::string* pId = in_pIdsBegin; pId != in_pIdsEnd; ++pId)
    {
        if (m_uiLoggingIdVecSize < m_loggingIdVector.size())
            m_loggingIdVector[m_uiLoggingIdVecSize] = *pId;
        else
            m_loggingIdVector.push_back(*pId);
        ++m_uiLoggingIdVecSize;
    }
}

const std::string* LoggingIdEvent::loggingIdsBegin() const
{
    return m_uiLoggingIdVecSize != 0 ? &m_loggingIdVector[0] : nullptr;
}

const std::string* LoggingIdEvent::loggingIdsEnd() const
{
    return m_uiLoggingIdVecSize != 0 ? &m_loggingIdVector[0] + m_uiLoggingIdVecSize : nullptr;
}

void LoggingIdEvent::computeMessage() { compose(message, nullptr); }

void LoggingIdEvent::compose(std::string& out_strMessage, const std::string* in_pLeftOut) const
{
    out_strMessage.clear();
    for (const std::string* pId = loggingIdsBegin(); pId != loggingIdsEnd(); ++pId)
        if (pId != in_pLeftOut)
        {
            out_strMessage += *pId;
            out_strMessage += ' ';
        }
    out_strMessage += m_strRawMessage;
}

void LoggingIdEvent::composeWithoutCallId(std::string& out_strMessage) const
{
    compose(out_strMessage, findCallId());
}

const std::string* LoggingIdEvent::findCallId() const
{
    return std::find_if(loggingIdsBegin(), loggingIdsEnd(),
                        [](const std::string& in_strId)
                        { return in_strId.starts_with(s_szCallIdPrefix); });
}

void LoggingIdEvent::removeCallId()
{
    if (const std::string* const pFound = findCallId(); pFound != loggingIdsEnd())
    {
        const auto found = m_loggingIdVector.begin() + (pFound - loggingIdsBegin());
        const auto end =
            m_loggingIdVector.begin() + static_cast<std::ptrdiff_t>(m_uiLoggingIdVecSize);
        // Moved to the end, the string is not in use, and its memory is kept.
        std::rotate(found, found + 1, end);
        --m_uiLoggingIdVecSize;
    }
    computeMessage();
}

} // namespace Velmora
