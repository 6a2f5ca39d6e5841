// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ApplicationImpl.h"

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/SystemConfigurationErrorAlarm.h"
#include "velmora/application/Assertion.h"
#include "velmora/application/BuildInfo.h"
#include "velmora/application/Crash.h"
#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Support.h"
#include "velmora/application/VersionControl.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/RunMode.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/memory/MemLeakDetector.h"
#include "velmora/system/CmdlineArgVector.h"
#include "velmora/system/DynLibsLoader.h"
#include "velmora/system/OS.h"
#include "velmora/system/URL.h"

#include <ace/Profile_Timer.h>
#include <ace/Time_Value.h>
#include <boost/program_options.hpp>

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <locale>
#include <sstream>
#include <stdexcept>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Application)

namespace Velmora
{

namespace po = boost::program_options;

namespace
{

constexpr unsigned int s_uiLineWidth = 80;

constexpr const char* s_szSetCwdOption = "setcwd";
constexpr const char* s_szPutEnvOption = "putenv";

constexpr const char* s_szRunModeParam = "keswardin.run.mode";
constexpr const char* s_szKillTimeoutParam = "keswardin.killTimeoutSec";
constexpr const char* s_szExitTimeoutParam = "keswardin.exitTimeoutSec";

/// Copies the text to memory that is never released, as putenv(3) keeps the pointer that it is
/// given.
char* keepForEver(const std::string& in_strText)
{
    static auto& s_texts = *new std::deque<std::string>;
    return s_texts.emplace_back(in_strText).data();
}

bool isGiven(const po::variables_map& in_variables, const char* in_szOption)
{
    return in_variables.count(in_szOption) != 0 && !in_variables[in_szOption].defaulted();
}

/// A missing or negative value means that there is no limit.
ACE_Time_Value readTimeout(const ROConfiguration& in_config, const char* in_szName)
{
    int iSeconds = -1;
    if (in_config.getIntParameter(in_szName, iSeconds) && iSeconds >= 0)
        return ACE_Time_Value(iSeconds);
    return ACE_Time_Value::max_time;
}

std::string paramInfoText(const std::string& in_strRegex)
{
    std::ostringstream text;
    std::vector<ParameterInfoWithName> infos;
    if (!ParameterInfoDB::getInstance().retrieve(in_strRegex.c_str(), infos))
    {
        text << "NO PARAMETER FOUND for name regexp " << in_strRegex;
        return text.str();
    }
    text << "Parameter information for regexp " << in_strRegex << " : ";
    for (const ParameterInfoWithName& info : infos)
    {
        info.write(text << "\nname=" << info.m_strName << ' ');
        ParameterBounds bounds;
        if (ParameterInfoDB::retrieveBounds(info.m_strName.c_str(), bounds))
            text << " bounds=\"" << bounds << '"';
    }
    return text.str();
}

} // namespace

struct ApplicationImpl::State
{
    po::options_description m_allowedOptions{"Allowed options", s_uiLineWidth};
    po::options_description m_hiddenOptions{"Hidden options", s_uiLineWidth};
    po::positional_options_description m_positionalOptions;
    po::variables_map m_variablesMap;
    CmdlineArgVector m_origArgVector;
    /// The values of `global-config`.
    std::vector<std::string> m_sources;
    bool m_bHelp = false;
    ACE_Time_Value m_killTimeout;
    ACE_Time_Value m_exitTimeout;
    /// The values of `get-param-info`.
    std::vector<std::string> m_paramInfoRegexes;
    bool m_bBuildInfo = false;
    ACE_Profile_Timer m_profileTimer;
    /// Null if the registry refused the alarm.
    LimitedObjPtr<Alarm> m_pSysConfigErrorAlarm = AlarmRegistry::getInstance().addAlarm(
        new SystemConfigurationErrorAlarm(Alarm::ERROR_SEVERITY), false);
    /// When `initialize` began.
    std::chrono::steady_clock::time_point m_start;
};

ApplicationImpl::ApplicationImpl(const Logger& in_logger, const char*)
    : ObjectWithLogger<LoggingIdLogger>(in_logger), m_pState(std::make_unique<State>())
{
    Logger().setLogLevel(WARN_LOG_LEVEL);
    configureDefaultCrashHandling();
    addOptions();
}

ApplicationImpl::ApplicationImpl(const char* in_szName)
    : ApplicationImpl(*fileScopeLogger(), in_szName)
{
}

ApplicationImpl::~ApplicationImpl() = default;

void ApplicationImpl::addOptions()
{
    using Texts = std::vector<std::string>;
    // clang-format off
    m_pState->m_allowedOptions.add_options()
        ("help,h", po::bool_switch(&m_pState->m_bHelp), "produce help message")
        ("global-config", po::value<Texts>(&m_pState->m_sources),
         "adds parameters in file arg to the global app configuration")
        ("get-param-info", po::value<Texts>(&m_pState->m_paramInfoRegexes),
         "to get information on a parameter. arg can be a regexp")
        (s_szSetCwdOption, po::value<std::string>(),
         "sets the current working directory. Useful to resolve relative paths")
        (s_szPutEnvOption, po::value<Texts>(),
         "sets process environment variables. Argument syntax is VARNAME=VALUE")
        ("build-info", po::bool_switch(&m_pState->m_bBuildInfo), "output the build info");
    // clang-format on
}

TSHandle<ROConfiguration> ApplicationImpl::getConfig() const { return GlobalConfig::getInstance(); }

const Logger& ApplicationImpl::getAppLogger() const { return getLogger(); }

bool ApplicationImpl::initialize(int in_argc, char** in_argv)
{
    VELMORA_TRACE_SCOPE(ApplicationImpl::initialize);
    m_pState->m_start = std::chrono::steady_clock::now();
    VELMORA_ASSERT_TEXT(!m_pState->m_pSysConfigErrorAlarm.isNull(),
                        "! m_pSysConfigErrorAlarm.isNull()");
    if (m_pState->m_pSysConfigErrorAlarm.isNull())
        return false;
    forgetCommandLine();
    const bool bCanLog = configureLoggerDefault(in_argc, in_argv);
    VELMORA_ASSERT_TEXT(bCanLog, "configureLoggerDefault(in_argc, in_argv)");
    if (!bCanLog)
        return false;
    m_pState->m_origArgVector.assign(in_argv, in_argv + in_argc);
    VELMORA_ASSERT_TEXT(!m_pState->m_origArgVector.empty(), "! m_origArgVector.empty()");
    if (m_pState->m_origArgVector.empty())
        return false;
    if (!processCmdLineArgs(in_argc, in_argv))
    {
        logUsageAndActualCommandLine();
        return false;
    }
    if (!configure(*getConfig()))
    {
        m_pState->m_pSysConfigErrorAlarm->set();
        return false;
    }
    logEndOfStart();
    return true;
}

void ApplicationImpl::forgetCommandLine()
{
    // `po::store` does not replace values that the map already has.
    m_pState->m_variablesMap.clear();
    m_pState->m_sources.clear();
    m_pState->m_paramInfoRegexes.clear();
}

bool ApplicationImpl::configureLoggerDefault(int, char**) { return configureLoggerDefault(); }

bool ApplicationImpl::configureLoggerDefault()
{
    if (!Logger::configureDefault())
        return false;
    Logger().setLogLevel(WARN_LOG_LEVEL);
    return true;
}

bool ApplicationImpl::processCmdLineArgs(int in_argc, char** in_argv)
{
    try
    {
        po::options_description options(s_uiLineWidth);
        options.add(m_pState->m_allowedOptions).add(m_pState->m_hiddenOptions);
        po::store(po::command_line_parser(in_argc, in_argv)
                      .options(options)
                      .positional(m_pState->m_positionalOptions)
                      .run(),
                  m_pState->m_variablesMap);
        po::notify(m_pState->m_variablesMap);
        return processCmdlineVarsMap(m_pState->m_variablesMap);
    }
    catch (const std::exception& error)
    {
        // The text may repeat an argument.
        VELMORA_LOG_ERROR(URL::withoutSecrets(error.what()));
        return false;
    }
}

bool ApplicationImpl::processCmdlineVarsMap(const po::variables_map& in_variables)
{
    if (in_variables.count(s_szSetCwdOption) != 0 &&
        !changeDirectory(in_variables[s_szSetCwdOption].as<std::string>()))
        return false;
    return in_variables.count(s_szPutEnvOption) == 0 ||
           setEnvironment(in_variables[s_szPutEnvOption].as<std::vector<std::string>>());
}

bool ApplicationImpl::changeDirectory(const std::string& in_strDirectory) const
{
    if (chdir(in_strDirectory.c_str()) != 0)
    {
        // The first log line may change errno.
        const int iError = errno;
        VELMORA_LOG_ERROR("failed to set current working directory to " << in_strDirectory);
        VELMORA_LOG_ERROR("cannot change to directory " << in_strDirectory << ": "
                                                        << std::strerror(iError));
        return false;
    }
    VELMORA_LOG_DEBUG("Set current working directory to " << in_strDirectory << " according to "
                                                          << s_szSetCwdOption << " switch");
    return true;
}

bool ApplicationImpl::setEnvironment(const std::vector<std::string>& in_variables) const
{
    for (const std::string& strVariable : in_variables)
    {
        const std::string strShown = URL::withoutSecrets(strVariable);
        if (putenv(keepForEver(strVariable)) != 0)
        {
            const int iError = errno;
            VELMORA_LOG_ERROR("failed to set environment variable " << strShown);
            VELMORA_LOG_ERROR("cannot put " << strShown
                                            << " into the environment: " << std::strerror(iError));
            return false;
        }
        VELMORA_LOG_DEBUG("Set environment variable " << strShown);
    }
    return true;
}

bool ApplicationImpl::configure(const ROConfiguration&)
{
    if (!initializeGlobalConfigAndLogger(m_pState->m_sources))
        return false;
    const TSHandle<ROConfiguration> hConfig = getConfig();
    if (!configureCrashHandling(*hConfig) || !DynLibsLoader::loadDynLibs(*hConfig))
        return false;
    getParamInfo();
    if (m_pState->m_bBuildInfo)
        logBuildInfo();
    m_pState->m_killTimeout = readTimeout(*hConfig, s_szKillTimeoutParam);
    m_pState->m_exitTimeout = readTimeout(*hConfig, s_szExitTimeoutParam);
    return true;
}

bool ApplicationImpl::initializeGlobalConfigAndLogger(const std::vector<std::string>& in_sources)
{
    VELMORA_LOG(getLogger(), TRACE_LOG_LEVEL, "Initializing the Global Config");
    const TSHandle<GlobalConfig> hConfig = GlobalConfig::getInstance();
    hConfig->keepProblems();
    if (!in_sources.empty() && !hConfig->load(in_sources))
    {
        VELMORA_LOG_ERROR("failed to initialize the Global Configuration");
        return false;
    }
    // Without the defaults of deprecated parameters, which `hasNoDeprecated` would report.
    hConfig->addDefaults(false);
    VELMORA_LOG(getLogger(), TRACE_LOG_LEVEL,
                "Configuring the MemLeakDetector from the Global Config");
    // Not fatal: a program runs as well without a leak report.
    if (!MemLeakDetector::sConfigure(*hConfig))
        VELMORA_LOG_ERROR("failed to configure the MemLeakDetector from the Global Configuration.");
    // The run mode comes before logging, since it selects the configuration file of logging.
    RunMode runMode = RunMode::production;
    if (!readRunMode(*hConfig, runMode))
        return false;
    if (!in_sources.empty())
    {
        if (!configureLoggerFromConfig(runMode))
            return false;
        const bool bMayStart = hasNoDeprecated(*hConfig);
        // Each unknown name is logged as a warning. It does not keep the program from starting.
        if (bMayStart)
            static_cast<void>(hConfig->warnOnUnknownParameterNames());
        // What the load has logged is only on the console so far.
        hConfig->logProblemsAgain();
        if (!bMayStart)
            return false;
    }
    VELMORA_LOG(Support::getLogger(), DEBUG_LOG_LEVEL,
                "Version control : branch=" << VersionControl::getBranchName()
                                            << ", revision=" << VersionControl::getRevision());
    return true;
}

bool ApplicationImpl::readRunMode(const ROConfiguration& in_config, RunMode& out_runMode) const
{
    std::string strMode;
    if (!in_config.getStringParameter(s_szRunModeParam, strMode))
        return true;
    out_runMode = parseRunModeString(strMode.c_str());
    if (out_runMode != RunMode::undefined)
        return true;
    VELMORA_LOG_ERROR("invalid run mode in Global Configuration : " << strMode);
    return false;
}

bool ApplicationImpl::configureLoggerFromConfig(RunMode in_runMode)
{
    VELMORA_LOG(getLogger(), TRACE_LOG_LEVEL, "Configuring the Logger from the Global Config");
    std::ostringstream errors;
    if (GlobalConfig::getInstance()->configureLogger(errors, in_runMode))
        return true;
    // The errors are logged through the default configuration, as the one that failed may have no
    // appender.
    const bool bCanLog = configureLoggerDefault();
    VELMORA_ASSERT_TEXT(bCanLog, "configureLoggerDefault()");
    if (!bCanLog)
        return false;
    VELMORA_LOG_ERROR(errors.str());
    VELMORA_LOG_ERROR("failed to configure the logger from the Global Configuration. Reverted to a "
                      "default logger configuration");
    return false;
}

bool ApplicationImpl::hasNoDeprecated(const ROConfiguration& in_config) const
{
    if (!ParameterInfoDB::getInstance().warnOnDeprecated(in_config))
        return true;
    VELMORA_LOG_ERROR("the Global Configuration contains deprecated parameters. Please update your "
                      "configuration");
    return false;
}

void ApplicationImpl::getParamInfo() const
{
    VELMORA_TRACE_SCOPE(ApplicationImpl::getParamInfo);
    for (const std::string& strRegex : m_pState->m_paramInfoRegexes)
        logForUser(paramInfoText(strRegex));
}

void ApplicationImpl::logBuildInfo() const
{
    std::ostringstream text;
    text << "Build Info :\n";
    BuildInfo::getInstance()->write(text);
    logForUser(text.str());
}

void ApplicationImpl::logEndOfStart() const
{
    using std::chrono::milliseconds;
    const auto duration = std::chrono::steady_clock::now() - m_pState->m_start;
    const LoadSummary summary = GlobalConfig::getInstance()->getLoadSummary();
    std::string strSources;
    for (const std::string& strSource : m_pState->m_sources)
        strSources += " [" + URL::withoutSecrets(strSource) + "]";
    std::string strOutOfBounds;
    if (summary.m_uiOutOfBounds != 0)
        strOutOfBounds = ", out of bounds = " + std::to_string(summary.m_uiOutOfBounds);
    VELMORA_LOG_INFO("Start-up complete : sources ="
                     << (strSources.empty() ? " none" : strSources) << ", parameters = "
                     << summary.m_uiParameters << ", unknown names = " << summary.m_uiUnknownNames
                     << ", wrong types = " << summary.m_uiWrongTypes << strOutOfBounds
                     << ", redefinitions = " << summary.m_uiRedefinitions << ", time = "
                     << std::chrono::duration_cast<milliseconds>(duration).count() << " ms");
}

void ApplicationImpl::logForUser(const std::string& in_strText) const
{
    getLogger().forcedLog(INFO_LOG_LEVEL, in_strText, nullptr, -1);
}

void ApplicationImpl::writeUsage(std::ostream& out_stream) const
{
    out_stream << "Usage : " << getProgname() << " [options]\n" << m_pState->m_allowedOptions;
}

std::string ApplicationImpl::getProgname() const
{
    VELMORA_ASSERT_TEXT(!m_pState->m_origArgVector.empty(), "!m_origArgVector.empty()");
    std::string strBase;
    if (!m_pState->m_origArgVector.empty())
        // The macro evaluates its condition in every build, so the call may be part of it.
        VELMORA_ASSERT_TEXT(OS::stripPathAndExtension(m_pState->m_origArgVector[0], strBase),
                            "OS::stripPathAndExtension(m_origArgVector[0], strBase)");
    return strBase;
}

void ApplicationImpl::logUsageAndActualCommandLine() const
{
    std::ostringstream text;
    writeUsage(text);
    text << "\nActual command line : ";
    const char* szSeparator = "";
    for (const char* const szArgument : m_pState->m_origArgVector)
    {
        text << szSeparator << URL::withoutSecrets(szArgument);
        szSeparator = " ";
    }
    logForUser(text.str());
}

void ApplicationImpl::logHelpMessage()
{
    std::ostringstream text;
    writeUsage(text);
    logForUser(text.str());
}

void ApplicationImpl::processHelpParamInfoOptions(bool& out_bHandled)
{
    out_bHandled = m_pState->m_bHelp || !m_pState->m_paramInfoRegexes.empty();
    if (m_pState->m_bHelp)
        logHelpMessage();
    else if (!m_pState->m_paramInfoRegexes.empty())
        getParamInfo();
}

void ApplicationImpl::logProfileStats()
{
    ACE_Profile_Timer::ACE_Elapsed_Time elapsed{};
    m_pState->m_profileTimer.elapsed_time(elapsed);
    std::ostringstream text;
    // The numbers do not depend on the locale of the program.
    text.imbue(std::locale::classic());
    text << "Process " << getpid() << " elapsed time : real=" << elapsed.real_time
         << " kernel=" << elapsed.system_time << " user=" << elapsed.user_time
         << " k+u=" << elapsed.system_time + elapsed.user_time;
    VELMORA_LOG_DEBUG(text.str());
    VELMORA_LOG(Logger("keswardin.profiling"), DEBUG_LOG_LEVEL, text.str());
}

po::options_description& ApplicationImpl::getAllowedOptions() { return m_pState->m_allowedOptions; }

const po::options_description& ApplicationImpl::getAllowedOptions() const
{
    return m_pState->m_allowedOptions;
}

po::options_description& ApplicationImpl::getHiddenOptions() { return m_pState->m_hiddenOptions; }

po::positional_options_description& ApplicationImpl::getPositionalOptions()
{
    return m_pState->m_positionalOptions;
}

const po::variables_map& ApplicationImpl::getVariablesMap() const
{
    return m_pState->m_variablesMap;
}

ACE_Profile_Timer& ApplicationImpl::getProfileTimer() { return m_pState->m_profileTimer; }

const ACE_Time_Value& ApplicationImpl::getExitTimeout() const { return m_pState->m_exitTimeout; }

const ACE_Time_Value& ApplicationImpl::getKillTimeout() const { return m_pState->m_killTimeout; }

const char* ApplicationImpl::getSetCwdOptionName() { return s_szSetCwdOption; }

const char* ApplicationImpl::getPutEnvOptionName() { return s_szPutEnvOption; }

void ApplicationImpl::optionDependency(const po::variables_map& in_variables,
                                       const char* in_szForWhat, const char* in_szRequired)
{
    if (isGiven(in_variables, in_szForWhat) && !isGiven(in_variables, in_szRequired))
        throw std::logic_error(std::string("Option '") + in_szForWhat + "' requires option '" +
                               in_szRequired + "'.");
}

void ApplicationImpl::conflictingOptions(const po::variables_map& in_variables,
                                         const char* in_szOption1, const char* in_szOption2)
{
    if (isGiven(in_variables, in_szOption1) && isGiven(in_variables, in_szOption2))
        throw std::logic_error(std::string("Conflicting options '") + in_szOption1 + "' and '" +
                               in_szOption2 + "'.");
}

} // namespace Velmora
