// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProcessGate.h"
#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/ConfigurationTurn.h"
#include "velmora/logging/FileAppender.h"
#include "velmora/logging/FileAppenders.h"
#include "velmora/logging/FileCallAppender.h"
#include "velmora/logging/JsonLayout.h"
#include "velmora/logging/LineInTime.h"
#include "velmora/logging/LivingFileAppenders.h"
#include "velmora/logging/Log4cplusBackend.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/LoggingCheck.h"
#include "velmora/logging/PatternLayout.h"
#include "velmora/logging/PreparedLogging.h"
#include "velmora/logging/RemoteSyslogAppender.h"
#include "velmora/logging/SyslogHosts.h"
#include "velmora/logging/WithoutThrowing.h"

#include <ace/Trace.h>
#include <log4cplus/helpers/property.h>

#include <chrono>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmora
{

namespace
{

constexpr const char* s_szSection = "log4cplus";
constexpr const char* s_szRootLogger = "log4cplus.rootLogger";
constexpr const char* s_szConfigure = "failed to configure Logger, ";
constexpr const char* s_szBusy =
    "other threads did not come out of their log lines, alarms or another configuration within 5 s "
    "; the configuration in force stays. Look for an appender or an observer that hangs, and "
    "configure again";

using Clock = std::chrono::steady_clock;

Logger reportLogger() { return Logger("keswardin.infra.Logger"); }

/// Logs why logging cannot be configured, and writes the reason to `out_errors`. Does not log again
/// if an appender reacts to the line by configuring logging.
void refuse(const char* in_szReason, std::ostream& out_errors)
{
    static constinit thread_local bool s_bRefusing = false;
    out_errors << s_szConfigure << in_szReason;
    if (s_bRefusing)
        return;
    const std::string strText = std::string(s_szConfigure) + in_szReason;
    const Logger logger = reportLogger();
    s_bRefusing = true;
    logInTime(logger, ERROR_LOG_LEVEL, strText, __FILE__, __LINE__);
    s_bRefusing = false;
}

/// Returns whether the calling thread may configure logging: it must hold nothing that other
/// threads may wait for.
bool isAllowed(std::ostream& out_errors)
{
    if (ProcessGate::isInside())
        refuse("it was called from inside a log line, an observer or a destructor ; the "
               "configuration in force stays. Configure logging when these are done",
               out_errors);
    else if (ConfigurationTurn::isTaken())
        refuse("it was called while an appender is made for another configuration ; call it "
               "afterwards",
               out_errors);
    else
        return true;
    return false;
}

/// Puts a configuration in place, or else the other one, while no thread logs. Closes the former
/// appenders when other threads log again. Holds `Logger::sGetConfigMutex` all the time.
/// Failure: returns no value if other threads stay inside the gate, or hold a lock, for
/// `ProcessGate::s_limit`.
std::optional<PreparedLogging::Outcome> putInPlace(PreparedLogging& inout_prepared,
                                                   PreparedLogging& inout_other)
{
    std::optional<PreparedLogging::Outcome> outcome;
    std::unique_ptr<ACE_Thread_Mutex, void (*)(ACE_Thread_Mutex*)> pHeld(
        nullptr, [](ACE_Thread_Mutex* in_pMutex) { in_pMutex->release(); });
    const bool bDone = ProcessGate::whileClosed(
        [&]
        {
            // Only tried: nothing may wait without a limit while the gate is closed.
            if (Logger::sGetConfigMutex().tryacquire() == -1)
                return false;
            pHeld.reset(&Logger::sGetConfigMutex());
            outcome = inout_prepared.putInPlace(inout_other);
            // A locked hierarchy is tried again later; the mutex must be free until then.
            if (outcome == PreparedLogging::Outcome::locked)
                pHeld.reset();
            return pHeld != nullptr;
        });
    if (!bDone)
        return std::nullopt;
    inout_prepared.closeFormer();
    inout_other.closeFormer();
    return outcome;
}

/// Makes appenders synchronous, since log4cplus has no threads to append on. Returns their names.
std::vector<std::string> makeSynchronous(log4cplus::helpers::Properties& inout_properties)
{
    constexpr std::string_view begin = "appender.";
    constexpr std::string_view end = ".AsyncAppend";
    std::vector<std::string> names;
    for (const std::string& strProperty : inout_properties.propertyNames())
    {
        bool bAsynchronous = false;
        if (!strProperty.starts_with(begin) || !strProperty.ends_with(end) ||
            !inout_properties.getBool(bAsynchronous, strProperty) || !bAsynchronous)
            continue;
        inout_properties.setProperty(strProperty, "false");
        names.push_back(
            strProperty.substr(begin.size(), strProperty.size() - begin.size() - end.size()));
    }
    return names;
}

/// Logs what an operator should know about a configuration: lines that are wrong, appenders that
/// differ from their configuration and, if it is in effect, rollovers that will fail. If there is
/// no memory for a line, the line is lost, and the configuration stays in effect.
void reportProblems(const LoggingCheck::Problems& in_problems,
                    const std::vector<std::string>& in_madeSynchronous,
                    const log4cplus::helpers::Properties* in_pInForce) noexcept
try
{
    const Logger logger = reportLogger();
    for (const LoggingProblem& problem : in_problems)
        VELMORA_LOG(logger, WARN_LOG_LEVEL, problem.strText);
    for (const std::string& strName : in_madeSynchronous)
        VELMORA_LOG(logger, WARN_LOG_LEVEL,
                    "Appender " << strName << " is made synchronous, AsyncAppend is not supported");
    if (in_pInForce != nullptr)
        for (const std::string& strProblem : FileAppenders::rolloverProblems(*in_pInForce, ""))
            VELMORA_LOG(logger, ERROR_LOG_LEVEL, strProblem);
}
catch (const std::bad_alloc&)
{
    // The remaining lines are lost.
}

/// Returns a trie with this section alone, under its name.
ParameterTrie sectionOf(const ParameterTrie::StringTrie& in_node)
{
    ParameterTrie section;
    *section.insert(s_szSection, ParameterValue()).first = in_node;
    return section;
}

} // namespace

void Logger::configureACE_Trace()
{
    const Logger* const pLogger = Log4cplusBackend::getLiveLogger();
    if (pLogger != nullptr && pLogger->isEnabledFor(TRACE_LOG_LEVEL))
        ACE_Trace::start_tracing();
    else
        ACE_Trace::stop_tracing();
}

bool Logger::reopenFiles() { return LivingFileAppenders::reopenAll(); }

std::uint64_t Logger::getLineCount() { return LivingFileAppenders::getLineCount(); }

std::uint64_t Logger::getLossCount() { return LivingFileAppenders::getLossCount(); }

std::uint64_t Logger::getFailedCallFileCount() { return FileCallAppender::getFailureCount(); }

bool Logger::configureDefault()
try
{
    std::ostringstream errors;
    if (!isAllowed(errors))
        return false;
    const Clock::time_point end = Clock::now() + ProcessGate::s_limit;
    const ConfigurationTurn turn(end);
    PreparedLogging prepared;
    if (turn && prepared.make(end) && putInPlace(prepared, prepared))
        return true;
    refuse(s_szBusy, errors);
    return false;
}
catch (const std::bad_alloc&)
{
    // Goes to standard error: there may be no other configuration in force.
    logCaughtException(nullptr, "failed to configure Logger, the configuration in force stays");
    return false;
}

bool Logger::configure(const ParameterTrie& in_trie)
{
    std::ostringstream errors;
    return configure(in_trie, errors);
}

bool Logger::configure(const ParameterTrie& in_trie, std::ostream& out_errors)
{
    try
    {
        return isAllowed(out_errors) && configureInTurn(in_trie, out_errors);
    }
    catch (const std::bad_alloc&)
    {
        out_errors << s_szConfigure
                   << "there is not enough memory ; the configuration in force stays";
        return false;
    }
}

bool Logger::configureInTurn(const ParameterTrie& in_trie, std::ostream& out_errors)
{
    const ParameterTrie::const_iterator found = in_trie.find(s_szSection);
    if (found == in_trie.end())
    {
        constexpr const char* szText =
            "failed to configure Logger, no log4cplus section could be found";
        const Logger logger = reportLogger();
        if (logger.isEnabledFor(WARN_LOG_LEVEL))
            logger.Logger::forcedLog(ERROR_LOG_LEVEL, szText, __FILE__, __LINE__);
        out_errors << szText;
        return false;
    }
    const ParameterTrie section = sectionOf(*found);
    log4cplus::helpers::Properties properties;
    section.convertTo(properties);
    const LoggingCheck::Problems problems = LoggingCheck::problemsOf(properties);
    LoggingCheck::removeReportedByOwner(problems, properties);
    FileAppenders::addDefaultsToAll(properties);

    const Clock::time_point end = Clock::now() + ProcessGate::s_limit;
    const ConfigurationTurn turn(end);
    PreparedLogging prepared(properties);
    PreparedLogging fallback;
    const std::vector<std::string> madeSynchronous = makeSynchronous(prepared.properties());
    const bool bHasLevel = prepared.hasLevelOfRoot();
    RemoteSyslogAppender::registerFactory();
    FileAppender::registerFactory();
    PatternLayout::registerFactory();
    JsonLayout::registerFactory();

    const std::optional<bool> isInForce = [&]() -> std::optional<bool>
    {
        // The fallback is made before the gate is closed; whether it is needed is known only after
        // that.
        if (!turn || !fallback.make(end))
            return std::nullopt;
        // Looks up the name of each server once, for all appenders that are made below.
        const SyslogHosts hosts(prepared.properties());
        if (bHasLevel && !prepared.make(end))
            return std::nullopt;
        const bool bUsable = bHasLevel && prepared.hasAppenderOfRoot();
        const auto outcome = putInPlace(bUsable ? prepared : fallback, fallback);
        if (!outcome)
            return std::nullopt;
        return bUsable && outcome == PreparedLogging::Outcome::inPlace;
    }();
    if (!isInForce)
    {
        refuse(s_szBusy, out_errors);
        return false;
    }
    const bool bOK = *isInForce;
    if (bOK)
        configureACE_Trace();
    prepared.reportMissing(reportLogger());
    reportProblems(problems, madeSynchronous, bOK ? &prepared.properties() : nullptr);
    if (bOK)
        return true;
    out_errors << s_szRootLogger << '=' << properties.getProperty(s_szRootLogger)
               << " : Invalid logger configuration. ";
    if (!bHasLevel)
        out_errors << "Invalid rootLogger log level.";
    else
        out_errors << "rootLogger has no valid appenders." << std::endl << section;
    return false;
}

} // namespace Velmora
