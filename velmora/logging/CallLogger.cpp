// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/CallLogger.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/DeferredLine.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/WithoutThrowing.h"

#include <array>
#include <cstring>
#include <string_view>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(CallLogger)

namespace Velmora
{

CallLogger::CallLogger() : LoggingIdLogger(Logger()) {}

CallLogger::CallLogger(const std::string& in_strName) : LoggingIdLogger(in_strName) {}

CallLogger::CallLogger(const CallLogger& in_logger) = default;

CallLogger& CallLogger::operator=(const CallLogger& in_logger) = default;

CallLogger::~CallLogger()
{
    // Leaving a call logs lines, and appenders may throw.
    if (CallLogger::isInCall())
    {
        // A copy without memory: the call's own text goes with it.
        std::array<char, 128> callId{};
        std::string_view(getCallId()).copy(callId.data(), callId.size() - 1);
        withoutThrowingAbout(::liveFileScopeLogger(), "exception at the end of call", callId.data(),
                             [this] { leaveCall(); });
    }
}

void CallLogger::callStart(const char* in_szCallId)
{
    if (!isInCall())
        enterCall(in_szCallId);
    else if (std::strcmp(in_szCallId, getCallId()) == 0)
        m_bHasCallAppender = isParticipant();
    else
    {
        // The argument may point into the id that is about to be released.
        const std::string strCallId(in_szCallId);
        callEnd();
        enterCall(strCallId.c_str());
    }
}

void CallLogger::enterCall(const char* in_szCallId)
{
    VELMORA_FILE_ASSERT_TEXT(!isInCall(), "! isInCall()");
    if (isParticipant())
        m_bHasCallAppender = true;
    m_hCallData = CallDataRegistry::getInstance()->getCallData(in_szCallId);
    LoggingIdLogger::logCallId(in_szCallId);
    VELMORA_FILE_ASSERT(isInCall());
}

bool CallLogger::isParticipant() const
{
    // Never destroyed: calls may start in static destructors.
    static const std::string& s_strName = *new std::string(s_szCallLogAppender);
    return AppenderChain::contains(*value, s_strName);
}

void CallLogger::callEnd()
{
    if (!isInCall())
        return;
    leaveCall();
    VELMORA_FILE_ASSERT_TEXT(!isInCall(), "! isInCall()");
}

void CallLogger::leaveCall()
{
    m_hCallData.releaseObject();
    m_bHasCallAppender = false;
    clearCallId();
}

void CallLogger::logCallId(const char* in_szCallId) { callStart(in_szCallId); }

bool CallLogger::isInCall() const { return !m_hCallData.isNull() || LoggingIdLogger::isInCall(); }

const char* CallLogger::getCallId() const
{
    return m_hCallData.isNull() ? LoggingIdLogger::getCallId() : m_hCallData->getCallId();
}

std::size_t CallLogger::getChainedNumAppender() const
{
    return LoggingIdLogger::getChainedNumAppender() + (getCallAppender() != nullptr ? 1 : 0);
}

void CallLogger::callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const
{
    LoggingIdLogger::callAppenders(in_event);
    if (log4cplus::Appender* const pAppender = getCallAppender())
        DeferredLine::append(*pAppender, in_event);
}

bool CallLogger::initializeClass()
{
    CallDataRegistry::getInstance();
    return true;
}

} // namespace Velmora
