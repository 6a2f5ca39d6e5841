// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/PreparedLogging.h"

#include "velmora/logging/AppendersInUse.h"
#include "velmora/logging/HierarchyLocks.h"
#include "velmora/logging/LevelChange.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/Log4cplusBackend.h"
#include "velmora/logging/StepwiseConfigurator.h"
#include "velmora/logging/WithoutThrowing.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/loglevel.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

namespace Velmora
{

namespace
{

using log4cplus::SharedAppenderPtr;
using log4cplus::helpers::Properties;
using log4cplus::spi::LoggerImpl;
using Log4cplusAccess::HandleMembers;
using Log4cplusAccess::LoggerMembers;

constexpr const char* s_szConsole = "STDOUT";

/// Returns the console appender of the next default configuration. That configuration is rarely
/// needed, and log4cplus ends the process if an appender is destroyed without memory, so the
/// appender is kept. Guarded by the `ConfigurationTurn`; never destroyed.
SharedAppenderPtr& spareConsole()
{
    static SharedAppenderPtr& s_pConsole = *new SharedAppenderPtr;
    if (!s_pConsole)
    {
        s_pConsole = SharedAppenderPtr(new log4cplus::ConsoleAppender);
        s_pConsole->setName(s_szConsole);
    }
    return s_pConsole;
}

/// Returns a hierarchy that no thread logs to: one for the default configuration and one for all
/// others. They are kept, since destroying one takes memory. Guarded by the `ConfigurationTurn`.
log4cplus::Hierarchy& shadowHierarchy(bool in_bDefault)
{
    static log4cplus::Hierarchy& s_ofDefault = *new log4cplus::Hierarchy;
    static log4cplus::Hierarchy& s_ofOthers = *new log4cplus::Hierarchy;
    return in_bDefault ? s_ofDefault : s_ofOthers;
}

Properties defaultProperties()
{
    Properties properties;
    properties.setProperty("log4cplus.rootLogger", std::string("DEBUG, ") + s_szConsole);
    return properties;
}

log4cplus::Hierarchy& hierarchyInForce() { return log4cplus::Logger::getDefaultHierarchy(); }

/// Returns the number of a logger's parents, according to its name.
std::size_t depthOf(const log4cplus::Logger& in_logger)
{
    const std::string& strName = in_logger.getName();
    return static_cast<std::size_t>(std::count(strName.begin(), strName.end(), '.')) + 1;
}

} // namespace

PreparedLogging::PreparedLogging(const Properties& in_properties, bool in_bDefault)
    : m_shadow(shadowHierarchy(in_bDefault)),
      m_pConfigurator(std::make_unique<StepwiseConfigurator>(in_properties, m_shadow)),
      m_bDefault(in_bDefault)
{
}

PreparedLogging::PreparedLogging(const Properties& in_properties)
    : PreparedLogging(in_properties, false)
{
}

PreparedLogging::PreparedLogging() : PreparedLogging(defaultProperties(), true) {}

PreparedLogging::~PreparedLogging()
{
    if (!m_bMade)
        return;
    // The hierarchy is kept, and must look new to the next configuration.
    Log4cplusAccess::forEachLogger(m_shadow, [](LoggerImpl& inout_logger)
                                   { inout_logger.removeAllAppenders(); });
    m_shadow.clear();
    m_shadow.getRoot().setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
}

void PreparedLogging::closeFormer()
{
    if (!m_bInPlace)
        return;
    const auto closeAll = [this] { closeFormerIf([](const SharedAppenderPtr&) { return true; }); };
    // An appender whose `close` throws is out of the lists, so the next attempt closes the others.
    while (!withoutThrowing(Log4cplusBackend::getLiveLogger(), "failed to close a former appender",
                            closeAll))
    {
    }
    m_loggers.clear();
}

/// Closes each former appender that the function accepts, once even if several loggers have it, and
/// removes it from the lists.
template <class Function>
void PreparedLogging::closeFormerIf(Function in_function)
{
    for (OfLogger& former : m_loggers)
        for (const SharedAppenderPtr& pInList : former.appenders)
        {
            const SharedAppenderPtr pAppender = pInList;
            if (!pAppender || !in_function(pAppender))
                continue;
            for (OfLogger& other : m_loggers)
                std::replace(other.appenders.begin(), other.appenders.end(), pAppender,
                             SharedAppenderPtr());
            pAppender->close();
        }
}

void PreparedLogging::reportMissing(const Logger& in_logger) const noexcept
{
    if (m_pWhyMissing)
        withoutThrowing(&in_logger,
                        "failed to make the appenders that write to the files of former appenders, "
                        "their lines are lost ; configure logging again",
                        [this] { std::rethrow_exception(m_pWhyMissing); });
}

Properties& PreparedLogging::properties() { return m_pConfigurator->all(); }

bool PreparedLogging::hasLevelOfRoot() const
{
    std::string strLevel = m_pConfigurator->getProperties().getProperty("rootLogger");
    std::erase(strLevel, ' ');
    if (strLevel.empty())
        return true;
    strLevel.erase(std::min(strLevel.find(','), strLevel.size()));
    return log4cplus::getLogLevelManager().fromString(strLevel) != log4cplus::NOT_SET_LOG_LEVEL;
}

bool PreparedLogging::make(Clock::time_point in_end)
{
    m_bMade = true;
    log4cplus::initialize();
    m_pConfigurator->setUpReports();
    AppendersInUse inUse;
    log4cplus::LoggerList loggers = hierarchyInForce().getCurrentLoggers();
    loggers.push_back(hierarchyInForce().getRoot());
    for (const log4cplus::Logger& logger : loggers)
    {
        // Locks one list at a time: a line that holds the lock of one list may wait for a thread
        // that holds the lock of another.
        const LoggerImpl& impl = HandleMembers::implOf(logger);
        log4cplus::SharedAppenderPtrList list;
        {
            const Log4cplusAccess::TimedLock lock(impl.appender_list_mutex, in_end);
            if (!lock)
                return false;
            list = LoggerMembers::appendersOf(impl);
        }
        for (const SharedAppenderPtr& pAppender : list)
            inUse.add(pAppender);
    }
    m_pConfigurator->makeAppenders(inUse);
    if (m_bDefault)
        m_pConfigurator->putAppender(s_szConsole, spareConsole());
    m_pConfigurator->setUpLoggers();
    for (const log4cplus::Logger& logger : m_shadow.getCurrentLoggers())
        hierarchyInForce().getInstance(logger.getName());
    noteLoggers();
    return true;
}

bool PreparedLogging::hasAppenderOfRoot() const
{
    return !LoggerMembers::appendersOf(std::as_const(HandleMembers::implOf(m_shadow.getRoot())))
                .empty();
}

PreparedLogging::OfLogger PreparedLogging::wanted(const log4cplus::Logger& in_logger) const
{
    OfLogger result{in_logger};
    result.uiDepth = depthOf(in_logger);
    auto& shadow = const_cast<log4cplus::Hierarchy&>(m_shadow);
    const auto& known = Log4cplusAccess::loggersOf(shadow);
    if (const auto found = known.find(in_logger.getName()); found != known.end())
    {
        const LoggerImpl& impl = HandleMembers::implOf(found->second);
        result.iLevel = impl.getLogLevel();
        result.bAdditive = impl.getAdditivity();
        result.appenders = LoggerMembers::appendersOf(impl);
    }
    return result;
}

void PreparedLogging::noteLoggers()
{
    const LoggerImpl& shadowRoot = HandleMembers::implOf(m_shadow.getRoot());
    std::vector<OfLogger> loggers;
    loggers.push_back({hierarchyInForce().getRoot(), shadowRoot.getLogLevel(), true,
                       LoggerMembers::appendersOf(shadowRoot), 0});
    for (const log4cplus::Logger& logger : hierarchyInForce().getCurrentLoggers())
        loggers.push_back(wanted(logger));
    // Loggers that get a level come first, each before its parents; then loggers that lose theirs,
    // each after its parents. So a parent's new level is never the effective level of a child that
    // will have its own, and a parent's old level never that of a child that has lost its own. This
    // matters to a cached level that is filled at that moment, and to a program that asks log4cplus
    // for a level.
    std::sort(loggers.begin(), loggers.end(),
              [](const OfLogger& in_first, const OfLogger& in_second)
              {
                  const bool bFirst = in_first.iLevel != log4cplus::NOT_SET_LOG_LEVEL;
                  const bool bSecond = in_second.iLevel != log4cplus::NOT_SET_LOG_LEVEL;
                  if (bFirst != bSecond)
                      return bFirst;
                  return bFirst ? in_first.uiDepth > in_second.uiDepth
                                : in_first.uiDepth < in_second.uiDepth;
              });
    m_loggers.swap(loggers);
}

PreparedLogging::Outcome PreparedLogging::putInPlace(PreparedLogging& inout_other)
{
    log4cplus::Hierarchy& hierarchy = hierarchyInForce();
    HierarchyLocks locks(hierarchy);
    // The limit is in the past, so locks are only tried: the gate is closed.
    if (!locks.lockAll(Clock::time_point()))
        return Outcome::locked;
    // Loggers may have been added since `make`.
    const std::size_t uiLoggers = hierarchy.getCurrentLoggers().size() + 1;
    for (PreparedLogging* const pPrepared : {this, &inout_other})
        if (pPrepared->m_loggers.size() != uiLoggers)
            pPrepared->noteLoggers();
    change();
    if (LoggerMembers::appendersOf(std::as_const(HandleMembers::implOf(hierarchy.getRoot())))
            .empty())
    {
        inout_other.change();
        return Outcome::otherInPlace;
    }
    return Outcome::inPlace;
}

void PreparedLogging::change()
{
    for (OfLogger& ofLogger : m_loggers)
    {
        LoggerImpl& impl = HandleMembers::implOf(ofLogger.logger);
        const log4cplus::thread::MutexGuard guard(impl.appender_list_mutex);
        LoggerMembers::appendersOf(impl).swap(ofLogger.appenders);
        impl.setAdditivity(ofLogger.bAdditive);
    }
    m_bInPlace = true;
    if (m_bDefault)
        // In use now; the next default configuration needs another one.
        spareConsole() = SharedAppenderPtr();
    if (!m_pConfigurator->isComplete())
        makeTheRest();
    {
        const LevelChange levelChange;
        for (OfLogger& ofLogger : m_loggers)
            ofLogger.logger.setLogLevel(ofLogger.iLevel);
    }
    hierarchyInForce().enableAll();
    if (m_pConfigurator->flag("disableOverride"))
        hierarchyInForce().disable(log4cplus::Hierarchy::DISABLE_OVERRIDE);
}

void PreparedLogging::makeTheRest() noexcept
{
    StepwiseConfigurator::Replacements made;
    try
    {
        closeFormerIf([this](const SharedAppenderPtr& in_pAppender)
                      { return m_pConfigurator->isInTheWay(in_pAppender); });
        made = m_pConfigurator->makeLateAppenders();
    }
    catch (...)
    {
        // Missing appenders are left out, as any appender that cannot be made.
        m_pWhyMissing = std::current_exception();
    }
    for (OfLogger& ofLogger : m_loggers)
    {
        LoggerImpl& impl = HandleMembers::implOf(ofLogger.logger);
        const log4cplus::thread::MutexGuard guard(impl.appender_list_mutex);
        auto& list = LoggerMembers::appendersOf(impl);
        for (SharedAppenderPtr& pAppender : list)
        {
            const auto found =
                std::find_if(made.begin(), made.end(),
                             [&](const auto& in_made) { return in_made.first == pAppender; });
            if (found != made.end())
                pAppender = found->second;
        }
        std::erase_if(list, [this](const SharedAppenderPtr& in_pAppender)
                      { return !in_pAppender || m_pConfigurator->isStandIn(in_pAppender); });
    }
}

} // namespace Velmora
