#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/FileAppenders.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/Log4cplusBackend.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/RemoteSyslogAppender.h"
#include "velmora/logging/SyslogHosts.h"

#include <ace/Guard_T.h>
#include <ace/Trace.h>
#include <log4cplus/configurator.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/loglevel.h>

#include <algorithm>
#include <ostream>
#include <sstream>
#include <vector>

namespace Velmora
{

namespace
{

constexpr const char* s_szSection = "log4cplus";
constexpr const char* s_szRootLogger = "log4cplus.rootLogger";

/// log4cplus's own configurator, with a look at what it is going to do.
class Configurator : public log4cplus::PropertyConfigurator
{
  public:
    explicit Configurator(const log4cplus::helpers::Properties& in_properties)
        : log4cplus::PropertyConfigurator(in_properties)
    {
        // It would start threads, which the library leaves none of.
        properties.removeProperty("threadPoolSize");
    }

    /// Whether the root logger will have a level. Without a line for it, and with an empty one, it
    /// keeps that of a reset.
    [[nodiscard]] bool hasLevelOfRoot() const
    {
        std::string strLevel = properties.getProperty("rootLogger");
        std::erase(strLevel, ' ');
        if (strLevel.empty())
            return true;
        strLevel.erase(std::min(strLevel.find(','), strLevel.size()));
        return log4cplus::getLogLevelManager().fromString(strLevel) != NOT_SET_LOG_LEVEL;
    }

    /// Makes the loggers that the configuration names. Those that come into being while all others
    /// are locked would be locked after them, and later among them by their names.
    void makeLoggers(log4cplus::Hierarchy& inout_hierarchy) const
    {
        for (const char* const szPrefix : {"logger.", "additivity."})
            for (const std::string& strName :
                 properties.getPropertySubset(szPrefix).propertyNames())
                inout_hierarchy.getInstance(strName);
    }

    /// Makes appenders synchronous, since log4cplus has no threads to append on. Gives their names.
    std::vector<std::string> makeSynchronous()
    {
        constexpr std::string_view begin = "appender.";
        constexpr std::string_view end = ".AsyncAppend";
        std::vector<std::string> names;
        for (const std::string& strProperty : properties.propertyNames())
        {
            bool bAsynchronous = false;
            if (!strProperty.starts_with(begin) || !strProperty.ends_with(end) ||
                !properties.getBool(bAsynchronous, strProperty) || !bAsynchronous)
                continue;
            properties.setProperty(strProperty, "false");
            names.push_back(
                strProperty.substr(begin.size(), strProperty.size() - begin.size() - end.size()));
        }
        return names;
    }
};

/// The section alone, with its name.
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

bool Logger::configure(const ParameterTrie& in_trie)
{
    std::ostringstream errors;
    return configure(in_trie, errors);
}

bool Logger::configure(const ParameterTrie& in_trie, std::ostream& out_errors)
{
    const ACE_Guard<ACE_Thread_Mutex> guard(sGetConfigMutex());
    const ParameterTrie::const_iterator found = in_trie.find(s_szSection);
    if (found == in_trie.end())
    {
        constexpr const char* szText =
            "failed to configure Logger, no log4cplus section could be found";
        const Logger logger("keswardin.infra.Logger");
        if (logger.isEnabledFor(WARN_LOG_LEVEL))
            logger.log4cplus::Logger::forcedLog(ERROR_LOG_LEVEL, szText, __FILE__, __LINE__);
        out_errors << szText;
        return false;
    }
    const ParameterTrie section = sectionOf(*found);
    log4cplus::helpers::Properties properties;
    section.convertTo(properties);
    FileAppenders::addDefaultsToAll(properties);
    Configurator configurator(properties);
    const std::vector<std::string> madeSynchronous = configurator.makeSynchronous();
    const bool bHasLevel = configurator.hasLevelOfRoot();
    RemoteSyslogAppender::registerFactory();

    bool bOK = false;
    {
        // A name server may be slow, and nobody is to wait for it but who configures.
        const SyslogHosts hosts(configurator.getProperties());
        log4cplus::Hierarchy& hierarchy = Logger().getHierarchy();
        if (bHasLevel)
            configurator.makeLoggers(hierarchy);
        // Lines that other threads log meanwhile wait for the new appenders.
        const Log4cplusAccess::WholeHierarchyLocker locker(hierarchy);
        if (bHasLevel)
        {
            hierarchy.resetConfiguration();
            configurator.configure();
            bOK = configurationOK();
        }
        if (!bOK)
            putDefaultIntoForce(hierarchy);
    }
    if (bOK)
        configureACE_Trace();
    const Logger logger("keswardin.infra.Logger");
    for (const std::string& strName : madeSynchronous)
        VELMORA_LOG(logger, WARN_LOG_LEVEL,
                    "Appender " << strName << " is made synchronous, AsyncAppend is not supported");
    if (bOK)
    {
        for (const std::string& strProblem :
             FileAppenders::rolloverProblems(configurator.getProperties(), ""))
            VELMORA_LOG(logger, ERROR_LOG_LEVEL, strProblem);
        return true;
    }
    out_errors << s_szRootLogger << '=' << properties.getProperty(s_szRootLogger)
               << " : Invalid logger configuration. ";
    if (!bHasLevel)
        out_errors << "Invalid rootLogger log level.";
    else
        out_errors << "rootLogger has no valid appenders." << std::endl << section;
    return false;
}

} // namespace Velmora
