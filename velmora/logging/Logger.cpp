// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/Logger.h"

#include "velmora/application/Lifetime.h"
#include "velmora/application/ProcessGatePass.h"
#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/DeferredLine.h"
#include "velmora/logging/LevelChange.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/LoggingSeam.h"
#include "velmora/logging/PerThreadPool.h"
#include "velmora/logging/ReusableEvent.h"

#include <log4cplus/hierarchy.h>

namespace Velmora
{

namespace
{

/// Returns the effective level of a logger: its own or that of the nearest parent with one.
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

/// Tests a level again after a walk that has met a change of levels.
[[gnu::noinline]] bool isEnabledInWalks(const log4cplus::spi::LoggerImpl& in_logger,
                                        LogLevel in_logLevel)
{
    const int chained = levelInForce(in_logger);
    return in_logLevel >= chained && chained != NOT_SET_LOG_LEVEL &&
           isEnabledInHierarchy(in_logger, in_logLevel);
}

[[maybe_unused]] const ACEBackend* const __force_init__ACEBackend__ =
    (bringUpLibrary(), LoggingSeam::makeBridge());
[[maybe_unused]] const ACE_Thread_Mutex* const __force_init_mutex__ = &Logger::sGetConfigMutex();

} // namespace

Resettable::~Resettable() = default;

Logger::Logger() : Logger("keswardin") {}

Logger::Logger(const std::string& in_strName)
    : log4cplus::Logger(log4cplus::Logger::getInstance(in_strName))
{
    // Configures log4cplus if this is the first logger of the process.
    LoggingSeam::makeBridge();
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
    if (in_strMessage.size() > PerThreadPool<ReusableEvent>::s_uiLongestText) [[unlikely]]
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
    // Waits while the configuration changes, so that a line is not lost between the old appenders
    // and the new ones.
    const ProcessGate::InlinePass pass;
    if (const std::size_t uiCount = AppenderChain::countUnlocked(*value); uiCount != 0) [[likely]]
        return uiCount;
    // There is none, or a thread that does not pass the gate is just replacing them.
    return AppenderChain::countLocked(*value);
}

void Logger::forcedTrace(const char* in_szText) const
{
    forcedLog(static_cast<int>(TRACE_LOG_LEVEL), std::string(in_szText), nullptr, -1);
}

bool Logger::reset() { return true; }

// Most lines are dropped here. Rare cases end in calls of functions that are not inlined, so that
// the common path needs no stack frame.
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
    return AppenderChain::find(*value, in_strName);
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
