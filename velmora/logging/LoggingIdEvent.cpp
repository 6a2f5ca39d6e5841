// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingIdEvent.h"

#include "velmora/logging/Log4cplusAccess.h"

#include <algorithm>
#include <utility>

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
        m_uiLengthOfIds = s_uiNotComposed;
    }
    return *this;
}

LoggingIdEvent::~LoggingIdEvent() = default;

void LoggingIdEvent::fill(const std::string& in_strLogger, LogLevel in_logLevel,
                          const std::string& in_strMessage, const char* in_szFile, int in_iLine,
                          const std::string* in_pIdsBegin, const std::string* in_pIdsEnd)
{
    Log4cplusAccess::EventMembers::fill(*this, in_strLogger, in_logLevel, in_szFile, in_iLine);
    m_strRawMessage = in_strMessage;
    copyLoggingIds(in_pIdsBegin, in_pIdsEnd);
    if (m_uiLengthOfIds != s_uiNotComposed) [[likely]]
        message.replace(m_uiLengthOfIds, std::string::npos, m_strRawMessage);
    else
        computeMessage();
}

void LoggingIdEvent::copyLoggingIds(const std::string* in_pIdsBegin, const std::string* in_pIdsEnd)
{
    const std::size_t uiBefore = std::exchange(m_uiLoggingIdVecSize, 0);
    for (const std::string* pId = in_pIdsBegin; pId != in_pIdsEnd; ++pId)
        if (m_uiLoggingIdVecSize < uiBefore && m_loggingIdVector[m_uiLoggingIdVecSize] == *pId)
            [[likely]]
            ++m_uiLoggingIdVecSize;
        else
            addLoggingId(*pId);
    if (m_uiLoggingIdVecSize != uiBefore)
        m_uiLengthOfIds = s_uiNotComposed;
}

void LoggingIdEvent::addLoggingId(const std::string& in_strId)
{
    m_uiLengthOfIds = s_uiNotComposed;
    if (m_uiLoggingIdVecSize < m_loggingIdVector.size())
        m_loggingIdVector[m_uiLoggingIdVecSize] = in_strId;
    else
        m_loggingIdVector.push_back(in_strId);
    ++m_uiLoggingIdVecSize;
}

const std::string* LoggingIdEvent::loggingIdsBegin() const
{
    return m_uiLoggingIdVecSize != 0 ? &m_loggingIdVector[0] : nullptr;
}

const std::string* LoggingIdEvent::loggingIdsEnd() const
{
    return m_uiLoggingIdVecSize != 0 ? &m_loggingIdVector[0] + m_uiLoggingIdVecSize : nullptr;
}

void LoggingIdEvent::computeMessage()
{
    m_uiLengthOfIds = s_uiNotComposed;
    message.clear();
    for (const std::string& strId : getLoggingIds())
    {
        message += strId;
        message += ' ';
    }
    m_uiLengthOfIds = message.size();
    message += m_strRawMessage;
}

void LoggingIdEvent::fillWithoutCallId(const LoggingIdEvent& in_event)
{
    loggerName = in_event.getLoggerName();
    ll = in_event.getLogLevel();
    timestamp = in_event.getTimestamp();
    file = in_event.getFile();
    line = in_event.getLine();
    function = in_event.getFunction();
    threadCached = thread2Cached = ndcCached = mdcCached = false;
    m_strRawMessage = in_event.m_strRawMessage;
    m_uiLoggingIdVecSize = 0;
    const std::string* const pCallId = in_event.findCallId();
    for (const std::string& strId : in_event.getLoggingIds())
        if (&strId != pCallId)
            addLoggingId(strId);
    computeMessage();
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
