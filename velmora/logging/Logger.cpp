#include "velmora/logging/Logger.h"

#include "velmora/application/Lifetime.h"
#include "velmora/logging/ACEBackend.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/PerThreadPool.h"

#include <ace/Guard_T.h>
#include <log4cplus/configurator.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/spi/loggingevent.h>

namespace Velmora
{

namespace
{

/// An event that is filled anew for each line.
class ReusedEvent : public log4cplus::spi::InternalLoggingEvent
{
  public:
    void fill(const std::string& in_strLogger, int in_logLevel, const std::string& in_strMessage,
              const char* in_szFile, int in_iLine)
    {
        // Given the file's name, it would make a string of it for each line.
        setLoggingEvent(in_strLogger, in_logLevel, in_strMessage, nullptr, in_iLine);
        if (in_szFile != nullptr)
            file = in_szFile;
    }

    ReusedEvent* m_pNextInPool = nullptr;
};

/// A text that is longer goes into an event of its own, so that the reused ones stay small.
constexpr std::size_t s_uiLongestReusedMessage = 16384;

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
    const PerThreadPool<ReusedEvent>::Lease event;
    event->fill(getName(), in_logLevel, in_strMessage, in_szFile, in_iLine);
    callAppenders(*event);
}

void Logger::callAppenders(const log4cplus::spi::InternalLoggingEvent& in_event) const
{
    log4cplus::Logger::callAppenders(in_event);
}

std::size_t Logger::getChainedNumAppender() const
{
    if (const std::size_t uiCount = Log4cplusAccess::countAppendersUnlocked(*value); uiCount != 0)
        [[likely]]
        return uiCount;
    // None, or just being replaced: then a line must wait for the new ones rather than be lost.
    return Log4cplusAccess::countAppendersLocked(*value);
}

void Logger::forcedTrace(const char* in_szText) const
{
    forcedLog(static_cast<int>(TRACE_LOG_LEVEL), std::string(in_szText), nullptr, -1);
}

bool Logger::reset() { return true; }

bool Logger::isEnabledFor(LogLevel in_logLevel) const
{
    const int chained = Log4cplusAccess::chainedLogLevel(*value);
    return in_logLevel >= chained && chained != NOT_SET_LOG_LEVEL &&
           !Log4cplusAccess::isDisabled(*value, in_logLevel);
}

LogLevel Logger::getChainedLogLevel() const
{
    return static_cast<LogLevel>(Log4cplusAccess::chainedLogLevel(*value));
}

void Logger::setLogLevel(LogLevel in_logLevel)
{
    log4cplus::Logger::setLogLevel(in_logLevel);
    configureACE_Trace();
}

log4cplus::SharedAppenderPtr Logger::getChainedAppender(const std::string& in_strName)
{
    log4cplus::SharedAppenderPtr found;
    Log4cplusAccess::forEachInAppenderChain(
        *value,
        [&in_strName, &found](const log4cplus::spi::LoggerImpl& in_link)
        {
            found = const_cast<log4cplus::spi::LoggerImpl&>(in_link).getAppender(in_strName);
            return !found;
        });
    return found;
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

bool Logger::configureDefault()
{
    const ACE_Guard<ACE_Thread_Mutex> guard(sGetConfigMutex());
    log4cplus::Hierarchy& hierarchy = Logger().getHierarchy();
    // Lines that other threads log meanwhile wait for the new appenders.
    const Log4cplusAccess::WholeHierarchyLocker locker(hierarchy);
    putDefaultIntoForce(hierarchy);
    return true;
}

void Logger::putDefaultIntoForce(log4cplus::Hierarchy& out_hierarchy)
{
    out_hierarchy.resetConfiguration();
    log4cplus::BasicConfigurator::doConfigure(out_hierarchy);
}

} // namespace Velmora
