// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LoggingIdLogger.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/PerThreadPool.h"
#include "velmora/memory/InAccount.h"

#include <algorithm>
#include <numeric>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(LoggingIdLogger)

namespace Velmora
{

namespace
{

constexpr std::string_view s_strCallIdPrefix = LoggingIdEvent::s_szCallIdPrefix;
constexpr const char* s_szNoCallId = "LoggingIdLogger::???CallId???";

/// The number of identifiers above which each is warned of. No logger needs more.
constexpr std::size_t s_uiUsualLoggingIds = 10;

/// An event that is reused for each line.
class ReusedLoggingIdEvent : public LoggingIdEvent
{
  public:
    using LoggingIdEvent::fill;

    ReusedLoggingIdEvent* m_pNextInPool = nullptr;
};

using EventPool = PerThreadPool<ReusedLoggingIdEvent>;

/// Overwrites a string with prefix and identifier. The identifier may be the text after such a
/// prefix in the same string.
void overwrite(std::string& out_strText, std::string_view in_strPrefix, std::string_view in_strId)
{
    // If memory runs out, it does so here, with the old text intact. An identifier in the same
    // string does not move, as it needs no more memory.
    out_strText.reserve(in_strPrefix.size() + in_strId.size());
    out_strText.assign(in_strId);
    out_strText.insert(0, in_strPrefix);
}

std::size_t lengthOf(const std::string* in_pIdsBegin, const std::string* in_pIdsEnd)
{
    return std::accumulate(in_pIdsBegin, in_pIdsEnd, std::size_t{0},
                           [](std::size_t in_uiLength, const std::string& in_strId)
                           { return in_uiLength + in_strId.size() + 1; });
}

} // namespace

class LoggingIdLogger::LoggingIdVector : public StringVector, public InAccount<"StringVector">
{
  public:
    using StringVector::StringVector;

    /// Overwrites the strings with those of another list, reusing their memory. If memory runs out,
    /// the strings are unchanged; there may be additional ones at the end.
    void assign(const LoggingIdVector& in_loggingIds)
    {
        while (size() < in_loggingIds.size())
            push_back(std::string());
        for (std::size_t i = 0; i < in_loggingIds.size(); ++i)
            (*this)[i].reserve(in_loggingIds[i].size());
        std::copy(in_loggingIds.begin(), in_loggingIds.end(), begin());
    }
};

LoggingIdLogger::LoggingIdLogger(const std::string& in_strName) : CachedLLLogger(in_strName) {}

LoggingIdLogger::LoggingIdLogger(const Logger& in_logger) : CachedLLLogger(in_logger) {}

LoggingIdLogger::LoggingIdLogger(const LoggingIdLogger& in_logger)
    : CachedLLLogger(in_logger), m_uiLoggingIdVecSize(in_logger.m_uiLoggingIdVecSize),
      m_iCallIdIndex(in_logger.m_iCallIdIndex)
{
    if (in_logger.m_pLoggingIdVector != nullptr)
        m_pLoggingIdVector = std::make_unique<LoggingIdVector>(*in_logger.m_pLoggingIdVector);
}

LoggingIdLogger& LoggingIdLogger::operator=(const LoggingIdLogger& in_logger)
{
    if (this == &in_logger)
        return *this;
    // If memory runs out, it does so here, with the old identifiers intact.
    if (in_logger.m_pLoggingIdVector == nullptr)
        m_pLoggingIdVector.reset();
    else if (m_pLoggingIdVector == nullptr)
        m_pLoggingIdVector = std::make_unique<LoggingIdVector>(*in_logger.m_pLoggingIdVector);
    else
        m_pLoggingIdVector->assign(*in_logger.m_pLoggingIdVector);
    CachedLLLogger::operator=(in_logger);
    m_uiLoggingIdVecSize = in_logger.m_uiLoggingIdVecSize;
    m_iCallIdIndex = in_logger.m_iCallIdIndex;
    return *this;
}

LoggingIdLogger::~LoggingIdLogger() = default;

void LoggingIdLogger::addLoggingId(const char* in_szId) { appendLoggingId({}, in_szId); }

void LoggingIdLogger::appendLoggingId(std::string_view in_strPrefix, const char* in_szId)
{
    if (m_pLoggingIdVector == nullptr)
        m_pLoggingIdVector = std::make_unique<LoggingIdVector>(1);
    if (m_uiLoggingIdVecSize < m_pLoggingIdVector->size())
        overwrite((*m_pLoggingIdVector)[m_uiLoggingIdVecSize], in_strPrefix, in_szId);
    else
        // The text is built first, since the identifier may be part of a string that moves.
        m_pLoggingIdVector->push_back(std::string(in_strPrefix).append(in_szId));
    const bool bAdded = m_uiLoggingIdVecSize < m_pLoggingIdVector->size();
    VELMORA_FILE_ASSERT_TEXT(bAdded, "m_uiLoggingIdVecSize < m_pLoggingIdVector->size()");
    if (!bAdded)
        return;
    ++m_uiLoggingIdVecSize;
    if (m_uiLoggingIdVecSize > s_uiUsualLoggingIds)
        VELMORA_FILE_LOG_WARN("ObjectWithLoggerImpl::addLoggingId : " << m_uiLoggingIdVecSize
                                                                      << " logging id(s)");
}

void LoggingIdLogger::clearLoggingIds()
{
    m_iCallIdIndex = -1;
    m_uiLoggingIdVecSize = 0;
}

bool LoggingIdLogger::isCallIdInUse() const
{
    const bool bInUse = static_cast<std::size_t>(m_iCallIdIndex) < m_uiLoggingIdVecSize;
    VELMORA_FILE_ASSERT_TEXT(bInUse, "static_cast<size_t>(m_iCallIdIndex) < m_uiLoggingIdVecSize");
    return bInUse;
}

void LoggingIdLogger::logCallId(const char* in_szCallId)
{
    if (!hasCallId())
    {
        const auto iIndex = static_cast<std::int32_t>(m_uiLoggingIdVecSize);
        appendLoggingId(s_strCallIdPrefix, in_szCallId);
        // Set last: if memory runs out, there is no call id.
        m_iCallIdIndex = iIndex;
    }
    else if (isCallIdInUse())
        overwrite((*m_pLoggingIdVector)[static_cast<std::size_t>(m_iCallIdIndex)],
                  s_strCallIdPrefix, in_szCallId);
}

void LoggingIdLogger::clearCallId()
{
    if (!hasCallId())
        return;
    const bool bHasVector = m_pLoggingIdVector != nullptr;
    VELMORA_FILE_ASSERT_TEXT(bHasVector, "! m_pLoggingIdVector.isNull()");
    VELMORA_FILE_ASSERT(m_uiLoggingIdVecSize > 0);
    if (bHasVector && m_uiLoggingIdVecSize > 0)
    {
        // Moved to the end, the string is not in use, and its memory serves the next call.
        const auto begin = m_pLoggingIdVector->begin();
        const auto callId = begin + m_iCallIdIndex;
        std::rotate(callId, callId + 1, begin + static_cast<std::ptrdiff_t>(m_uiLoggingIdVecSize));
        --m_uiLoggingIdVecSize;
    }
    m_iCallIdIndex = -1;
}

const char* LoggingIdLogger::getCallId() const
{
    if (!hasCallId() || !isCallIdInUse())
        return s_szNoCallId;
    const std::string& strLoggingId =
        (*m_pLoggingIdVector)[static_cast<std::size_t>(m_iCallIdIndex)];
    VELMORA_FILE_ASSERT(strLoggingId.size() > 8);
    return strLoggingId.c_str() + s_strCallIdPrefix.size();
}

bool LoggingIdLogger::isInCall() const { return hasCallId(); }

bool LoggingIdLogger::reset()
{
    clearLoggingIds();
    return CachedLLLogger::reset();
}

void LoggingIdLogger::forcedTrace(const char* in_szText) const
{
    forcedLog(TRACE_LOG_LEVEL, std::string(in_szText), nullptr, -1);
}

const std::string* LoggingIdLogger::loggingIdsBegin() const
{
    return m_pLoggingIdVector != nullptr ? &(*m_pLoggingIdVector)[0] : nullptr;
}

void LoggingIdLogger::forcedLog(LogLevel in_logLevel, const std::string& in_strMessage,
                                const char* in_szFile, int in_iLine) const
{
    const std::string* const pBegin = loggingIdsBegin();
    const std::string* const pEnd = pBegin + m_uiLoggingIdVecSize;
    if (m_uiLoggingIdVecSize > s_uiUsualLoggingIds ||
        in_strMessage.size() + lengthOf(pBegin, pEnd) > EventPool::s_uiLongestText) [[unlikely]]
    {
        callAppenders(LoggingIdEvent(getName(), in_logLevel, in_strMessage, in_szFile, in_iLine,
                                     pBegin, pEnd));
        return;
    }
    const EventPool::Lease event;
    event->fill(getName(), in_logLevel, in_strMessage, in_szFile, in_iLine, pBegin, pEnd);
    callAppenders(*event);
}

} // namespace Velmora
