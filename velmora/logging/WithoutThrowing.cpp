// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/WithoutThrowing.h"

#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/DeferredLine.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/LoggingSeam.h"

#include <log4cplus/spi/loggingevent.h>

#include <cstddef>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <unistd.h>

namespace Velmora
{

namespace
{

/// What nested uses on a thread share: their depth, and the hash of the text that was logged last.
struct OutermostUse
{
    int iDepth;
    std::size_t uiLoggedHash;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local OutermostUse s_use{0, 0};

/// Counts a use while it lives. The end of the outermost use forgets the last text.
class UseScope
{
  public:
    UseScope() { ++s_use.iDepth; }
    ~UseScope()
    {
        if (--s_use.iDepth == 0)
            s_use.uiLoggedHash = 0;
    }
    UseScope(const UseScope&) = delete;
    UseScope& operator=(const UseScope&) = delete;

    /// Stores the text, and returns whether it differs from the last one.
    static bool isNew(const char* in_szReason)
    {
        // Never 0, which means that there is none.
        const std::size_t uiHash = std::hash<std::string_view>()(in_szReason) | 1;
        return std::exchange(s_use.uiLoggedHash, uiHash) != uiHash;
    }
};

/// The parts of a line; the subject may be empty.
struct Failure
{
    const char* szWhat;
    const char* szSubject;
    const char* szReason;

    /// Returns what is between the first two.
    [[nodiscard]] const char* blank() const { return *szSubject != '\0' ? " " : ""; }
};

/// Passes the event to an appender. Returns whether the appender took it without an exception.
bool append(log4cplus::Appender& inout_appender,
            const log4cplus::spi::InternalLoggingEvent& in_event) noexcept
try
{
    DeferredLine::append(inout_appender, in_event);
    return true;
}
catch (...)
{
    return false;
}

/// Passes the line to each appender separately. Returns whether an appender has taken it, or ERROR
/// is disabled.
bool logAtEachAppender(const Logger& in_logger, const Failure& in_failure)
{
    if (!in_logger.isEnabledFor(ERROR_LOG_LEVEL))
        return true;
    std::string strText = in_failure.szWhat;
    strText.append(in_failure.blank()).append(in_failure.szSubject);
    strText.append(" : ").append(in_failure.szReason);
    const log4cplus::spi::InternalLoggingEvent event(in_logger.getName(), ERROR_LOG_LEVEL, strText,
                                                     __FILE__, __LINE__);
    bool bTaken = false;
    const ProcessGate::Pass pass;
    AppenderChain::forEach(Log4cplusAccess::HandleMembers::implOf(in_logger),
                           [&event, &bTaken](const log4cplus::spi::LoggerImpl& in_link)
                           {
                               // A copy, so that the list is not locked while its appenders run.
                               const log4cplus::SharedAppenderPtrList appenders =
                                   AppenderChain::ListReader(in_link).list();
                               for (const log4cplus::SharedAppenderPtr& pAppender : appenders)
                                   bTaken = append(*pAppender, event) || bTaken;
                               return true;
                           });
    return bTaken;
}

void logOnce(const Logger* in_pLogger, const Failure& in_failure) noexcept
{
    if (!UseScope::isNew(in_failure.szReason))
        return;
    try
    {
        if (in_pLogger != nullptr && logAtEachAppender(*in_pLogger, in_failure))
            return;
    }
    catch (...) // NOLINT(bugprone-empty-catch): the text goes to standard error.
    {
    }
    dprintf(STDERR_FILENO, "keswardin:ERROR %s%s%s : %s\n", in_failure.szWhat, in_failure.blank(),
            in_failure.szSubject, in_failure.szReason);
}

} // namespace

void logCaughtException(const Logger* in_pLogger, const char* in_szWhat) noexcept
{
    logCaughtExceptionAbout(in_pLogger, in_szWhat, "");
}

void logCaughtExceptionAbout(const Logger* in_pLogger, const char* in_szWhat,
                             const char* in_szSubject) noexcept
{
    const UseScope scope;
    try
    {
        throw;
    }
    catch (const std::exception& exception)
    {
        logOnce(in_pLogger, {in_szWhat, in_szSubject, exception.what()});
    }
    catch (...)
    {
        logOnce(in_pLogger, {in_szWhat, in_szSubject, "an exception without a text"});
    }
}

void LoggingSeam::logFailureOfLine(const char* in_szLogger) noexcept
{
    constexpr const char* szFailure = "exception of an appender";
    try
    {
        const Logger logger(in_szLogger);
        logCaughtException(&logger, szFailure);
    }
    catch (const std::exception&)
    {
        logCaughtException(nullptr, szFailure);
    }
}

bool runWithoutThrowing(const Logger* in_pLogger, const char* in_szWhat, const char* in_szSubject,
                        void (*in_pRun)(void*), void* inout_pFunction) noexcept
{
    const UseScope scope;
    try
    {
        in_pRun(inout_pFunction);
        return true;
    }
    catch (...)
    {
        logCaughtExceptionAbout(in_pLogger, in_szWhat, in_szSubject);
        return false;
    }
}

} // namespace Velmora
