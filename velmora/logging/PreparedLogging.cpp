#include "velmora/logging/PreparedLogging.h"

#include "velmora/logging/HierarchyLocks.h"
#include "velmora/logging/LevelChange.h"
#include "velmora/logging/Log4cplusAccess.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/helpers/appenderattachableimpl.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/initializer.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/syslogappender.h>

#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <map>
#include <string>
#include <string_view>
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

/// Identifies a file by its path or, if it exists, by its device and inode.
class FileIdentity
{
  public:
    explicit FileIdentity(const std::string& in_strPath)
        : m_strPath(in_strPath), m_bExists(stat(in_strPath.c_str(), &m_status) == 0)
    {
    }

    bool operator==(const FileIdentity& in_other) const
    {
        return m_strPath == in_other.m_strPath ||
               (m_bExists && in_other.m_bExists && m_status.st_dev == in_other.m_status.st_dev &&
                m_status.st_ino == in_other.m_status.st_ino);
    }

  private:
    std::string m_strPath;
    struct stat m_status = {};
    bool m_bExists;
};

/// The resources that current appenders do not share with others.
class InUse
{
  public:
    void add(const SharedAppenderPtr& in_pAppender)
    {
        if (const auto* const pFile =
                dynamic_cast<const log4cplus::FileAppenderBase*>(in_pAppender.get()))
            m_files.emplace_back(Log4cplusAccess::FileAppenderMembers::fileOf(*pFile));
        m_bTimeBased = m_bTimeBased || dynamic_cast<log4cplus::TimeBasedRollingFileAppender*>(
                                           in_pAppender.get()) != nullptr;
        m_bSyslog =
            m_bSyslog || dynamic_cast<log4cplus::SysLogAppender*>(in_pAppender.get()) != nullptr;
        if (auto* const pNested =
                dynamic_cast<log4cplus::spi::AppenderAttachable*>(in_pAppender.get()))
            for (const SharedAppenderPtr& pAppender : pNested->getAllAppenders())
                add(pAppender);
    }

    /// Returns whether an appender of that class, with these properties, must not be made while the
    /// current appenders exist.
    [[nodiscard]] bool isInTheWayOf(const std::string& in_strClass,
                                    const Properties& in_properties) const
    {
        if (in_strClass == "log4cplus::SysLogAppender")
            // A process has one identity in the system's log.
            return m_bSyslog && in_properties.getProperty("host").empty();
        if (in_strClass == "log4cplus::TimeBasedRollingFileAppender" && m_bTimeBased)
            return true;
        bool bAppends = false;
        if (in_strClass == "log4cplus::FileAppender" && in_properties.getBool(bAppends, "Append") &&
            bAppends)
            return false;
        const std::vector<std::string> names = in_properties.propertyNames();
        return std::any_of(names.begin(), names.end(),
                           [&](const std::string& in_strName) {
                               return isFile(in_strName) &&
                                      has(FileIdentity(in_properties.getProperty(in_strName)));
                           });
    }

    [[nodiscard]] bool has(const FileIdentity& in_file) const
    {
        return std::find(m_files.begin(), m_files.end(), in_file) != m_files.end();
    }

  private:
    /// Returns whether the property is the file of the appender, or of one nested in it.
    static bool isFile(std::string_view in_strName)
    {
        return in_strName == "File" || in_strName.ends_with(".File");
    }

    std::vector<FileIdentity> m_files;
    bool m_bTimeBased = false;
    bool m_bSyslog = false;
};

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

/// Runs log4cplus's own configurator in steps.
class PreparedLogging::Configurator : public log4cplus::PropertyConfigurator
{
  public:
    /// A placeholder and the appender that replaces it, which is null if it cannot be made.
    using Replacements = std::vector<std::pair<SharedAppenderPtr, SharedAppenderPtr>>;

    Configurator(const Properties& in_properties, log4cplus::Hierarchy& inout_shadow)
        : log4cplus::PropertyConfigurator(in_properties, inout_shadow)
    {
        // This property would start threads, which the library must not leave in the program.
        properties.removeProperty("threadPoolSize");
    }

    Properties& all() { return properties; }

    [[nodiscard]] bool flag(const char* in_szName) const
    {
        bool bValue = false;
        return properties.getBool(bValue, in_szName) && bValue;
    }

    void setUpReports() const
    {
        bool bValue = false;
        if (properties.getBool(bValue, "configDebug"))
            log4cplus::helpers::getLogLog().setInternalDebugging(bValue);
        if (properties.getBool(bValue, "quietMode"))
            log4cplus::helpers::getLogLog().setQuietMode(bValue);
    }

    /// Makes the appenders, except those that an appender in use is in the way of. These get
    /// placeholders.
    void makeAppenders(const InUse& in_inUse)
    {
        appenders.clear();
        m_late.clear();
        const Properties whole = properties;
        const Properties sections = properties.getPropertySubset(s_szAppender);
        for (const std::string& strName : sections.propertyNames())
            if (strName.find('.') == std::string::npos &&
                in_inUse.isInTheWayOf(sections.getProperty(strName),
                                      sections.getPropertySubset(strName + ".")))
                m_late.emplace(strName, SharedAppenderPtr(new log4cplus::NullAppender));
        keepAppenders(whole, [this](const std::string& in_strName)
                      { return !m_late.contains(in_strName); });
        configureAppenders();
        properties = whole;
        appenders.insert(m_late.begin(), m_late.end());
    }

    /// Returns whether no appender has a placeholder.
    [[nodiscard]] bool isComplete() const { return m_late.empty(); }

    /// Makes the appenders that have placeholders.
    Replacements makeLateAppenders()
    {
        appenders.clear();
        keepAppenders(Properties(properties), [this](const std::string& in_strName)
                      { return m_late.contains(in_strName); });
        configureAppenders();
        Replacements made;
        for (const auto& [strName, pStandIn] : m_late)
            made.emplace_back(pStandIn, appenders[strName]);
        appenders.clear();
        return made;
    }

    void putAppender(const char* in_szName, const SharedAppenderPtr& in_pAppender)
    {
        appenders[in_szName] = in_pAppender;
    }

    void setUpLoggers()
    {
        configureLoggers();
        configureAdditivity();
    }

    /// Returns whether an appender is a placeholder.
    [[nodiscard]] bool isStandIn(const SharedAppenderPtr& in_pAppender) const
    {
        return std::any_of(m_late.begin(), m_late.end(),
                           [&](const auto& in_late) { return in_late.second == in_pAppender; });
    }

    /// Returns whether a current appender is in the way of one that has a placeholder.
    [[nodiscard]] bool isInTheWay(const SharedAppenderPtr& in_pAppender) const
    {
        InUse one;
        one.add(in_pAppender);
        const Properties sections = properties.getPropertySubset(s_szAppender);
        return std::any_of(m_late.begin(), m_late.end(),
                           [&](const auto& in_late)
                           {
                               return one.isInTheWayOf(
                                   sections.getProperty(in_late.first),
                                   sections.getPropertySubset(in_late.first + "."));
                           });
    }

  private:
    static constexpr const char* s_szAppender = "appender.";

    /// Removes the sections of appenders that the function does not accept from the properties.
    template <class Function>
    void keepAppenders(const Properties& in_whole, Function in_function)
    {
        const std::string_view prefix = s_szAppender;
        for (const std::string& strProperty : in_whole.propertyNames())
            if (strProperty.starts_with(prefix) &&
                !in_function(strProperty.substr(
                    prefix.size(), strProperty.find('.', prefix.size()) - prefix.size())))
                properties.removeProperty(strProperty);
    }

    /// The placeholders by the names of their appenders.
    std::map<std::string, SharedAppenderPtr> m_late;
};

PreparedLogging::PreparedLogging(const Properties& in_properties, bool in_bDefault)
    : m_shadow(shadowHierarchy(in_bDefault)),
      m_pConfigurator(std::make_unique<Configurator>(in_properties, m_shadow)),
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
    closeFormerIf([](const SharedAppenderPtr&) { return true; });
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
    InUse inUse;
    log4cplus::LoggerList loggers = hierarchyInForce().getCurrentLoggers();
    loggers.push_back(hierarchyInForce().getRoot());
    for (const log4cplus::Logger& logger : loggers)
    {
        // Locks one list at a time: a line that holds the lock of one list may wait for a thread
        // that holds the lock of another.
        const LoggerImpl& impl = HandleMembers::implOf(logger);
        const Log4cplusAccess::TimedMutex mutex(impl.appender_list_mutex);
        if (!mutex.lock(in_end))
            return false;
        const log4cplus::SharedAppenderPtrList list = LoggerMembers::appendersOf(impl);
        mutex.unlock();
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
    Configurator::Replacements made;
    try
    {
        closeFormerIf([this](const SharedAppenderPtr& in_pAppender)
                      { return m_pConfigurator->isInTheWay(in_pAppender); });
        made = m_pConfigurator->makeLateAppenders();
    }
    catch (const std::exception&)
    {
        // Missing appenders are left out, as any appender that cannot be made.
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
