#include "velmora/logging/Logger.h"

#include "velmora/application/Lifetime.h"
#include "velmora/application/ProcessGate.h"
#include "velmora/logging/ACEBackend.h"
#include "velmora/logging/DeferredLine.h"
#include "velmora/logging/LevelChange.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/ReusableEvent.h"

#include <log4cplus/hierarchy.h>

namespace Velmora
{

namespace
{

/// A text that is longer goes into an event of its own, so that the reused ones stay small.
constexpr std::size_t s_uiLongestReusedMessage = 16384;

/// The level in force for a logger, which is its own or that of the nearest parent with one.
[[gnu::noinline]] int levelInForce(const log4cplus::spi::LoggerImpl& in_logger)
{
    return LevelChange::notMeetingOne([&in_logger]
                                      { return Log4cplusAccess::chainedLogLevel(in_logger); });
}

[[gnu::noinline]] bool isEnabledInHierarchy(const log4cplus::spi::LoggerImpl& in_logger,
                                            LogLevel in_logLevel)
{
    return !Log4cplusAccess::isDisabled(in_logger, in_logLevel);
}

[[gnu::noinline]] bool isEnabledInWalks(const log4cplus::spi::LoggerImpl& in_logger,
                                        LogLevel in_logLevel)
{
    const int chained = levelInForce(in_logger);
    return in_logLevel >= chained && chained != NOT_SET_LOG_LEVEL &&
           isEnabledInHierarchy(in_logger, in_logLevel);
}

[[maybe_unused]] const ACEBackend* const __force_init__ACEBackend__ =
    (bringUpLibrary(), getACEBackend());
[[maybe_unused]] const ACE_Thread_Mutex* const __force_init_mutex__ = &Logger::sGetConfigMutex();

} // namespace

Resettable::~Resettable() = default;

Logger::Logger() : Logger("keswardin") {}

Logger::Logger(const std::string& in_strName)
    : log4cplus::Logger(log4cplus::Logger::getInstance(in_strName))
{
    getACEBackend();
}

Logger::Logger(const Logger&) = default;

Logger& Logger::operator=(const Logger&) = default;

Logger::~Logger() = default;

void Logger::log(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                 int in_iLine) const
{
    if (isEnabledFor(static_cast<LogLevel>(in_logLevel)))
        forcedLog(in_logLevel, in_strMessage, in_szFile, in_iLine);
}

void Logger::forcedLog(int in_logLevel, const std::string& in_strMessage, const char* in_szFile,
                       int in_iLine) const
{
    if (in_strMessage.size() > s_uiLongestReusedMessage) [[unlikely]]
    {
        callAppenders(log4cplus::spi::InternalLoggingEvent(getName(), in_logLevel, in_strMessage,
                                                           in_szFile, in_iLine));
        return;
    }
    const ReusableEvent::Lease event;
    event->fill(getName(), in_logLevel, in_strMessage, in_szFile, in_iLine);
    callAppenders(*event);
}

void Logger::callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const
{
    DeferredLine::append(*this, in_event);
}

std::size_t Logger::getChainedNumAppender() const
{
    // Waits for a change of the configuration, so that a line is not lost between two of them.
    const ProcessGate::Pass pass;
    if (const std::size_t uiCount = Log4cplusAccess::countAppendersUnlocked(*value); uiCount != 0)
        [[likely]]
        return uiCount;
    // None, or just being replaced by somebody who knows nothing of the gate.
    return Log4cplusAccess::countAppendersLocked(*value);
}

void Logger::forcedTrace(const char* in_szText) const
{
    forcedLog(static_cast<int>(TRACE_LOG_LEVEL), std::string(in_szText), nullptr, -1);
}

bool Logger::reset() { return true; }

// Most lines are dropped here: what is rare ends in a call of its own, so that the rest needs no
// stack.
bool Logger::isEnabledFor(LogLevel in_logLevel) const
{
    const log4cplus::spi::LoggerImpl& impl = *value;
    int chained = NOT_SET_LOG_LEVEL;
    if (!LevelChange::meetsNone([&impl] { return Log4cplusAccess::chainedLogLevel(impl); },
                                chained)) [[unlikely]]
        return isEnabledInWalks(impl, in_logLevel);
    if (in_logLevel < chained || chained == NOT_SET_LOG_LEVEL)
        return false;
    return isEnabledInHierarchy(impl, in_logLevel);
}

LogLevel Logger::getChainedLogLevel() const { return static_cast<LogLevel>(levelInForce(*value)); }

void Logger::setLogLevel(LogLevel in_logLevel)
{
    log4cplus::Logger::setLogLevel(in_logLevel);
    configureACE_Trace();
}

log4cplus::SharedAppenderPtr Logger::getChainedAppender(const std::string& in_strName)
{
    return Log4cplusAccess::findAppenderInChain(*value, in_strName);
}

ACE_Thread_Mutex& Logger::sGetConfigMutex()
{
    static ACE_Thread_Mutex s_mutex;
    return s_mutex;
}

bool Logger::configurationOK()
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    return root.getLogLevel() != NOT_SET_LOG_LEVEL && !root.getAllAppenders().empty();
}

} // namespace Velmora
