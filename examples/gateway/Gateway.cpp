// SPDX-License-Identifier: BSD-2-Clause

#include "Gateway.h"

#include "BadSetting.h"
#include "CallParameters.h"
#include "CheckCommand.h"
#include "InformationOptions.h"
#include "OwnParameters.h"
#include "ProcessorUse.h"
#include "ReadWatch.h"
#include "SettingRules.h"
#include "SipDatagrams.h"
#include "StatusCommand.h"

#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/system/URL.h"

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Velmora;
namespace po = boost::program_options;

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway")

namespace GatewayExample
{

namespace
{

constexpr const char* s_szAnswerAfter = "answer-after-ms";
constexpr unsigned int s_uiDefaultAnswerAfterMs = 200;

/// From this signal on, calls have no time to end.
constexpr int s_iImpatientSignals = 3;

/// Logs each rule that the configuration breaks, and counts them. Returns whether the gateway can
/// work with it.
bool keepsRules(const ROConfiguration& in_config, std::size_t& out_uiBroken)
{
    bool bCanWork = true;
    const std::vector<BrokenRule> allBroken = SettingRules::check(in_config);
    out_uiBroken = allBroken.size();
    for (const BrokenRule& broken : allBroken)
    {
        if (broken.bFatal)
            VELMORA_FILE_LOG_ERROR(broken.setting.what());
        else
            VELMORA_FILE_LOG_WARN(broken.setting.what());
        bCanWork = bCanWork && !broken.bFatal;
    }
    return bCanWork;
}

void reopenLogFiles()
{
    // The library logs each file that cannot be opened, with the reason.
    if (Logger::reopenFiles())
        VELMORA_FILE_LOG_INFO("log files are open again : " << sigdescr_np(SIGHUP));
}

} // namespace

Gateway::Gateway(const OperatorSignals& in_signals, StartWatch& inout_startWatch)
    : ProductApplicationImpl("Gateway"), m_signals(in_signals), m_startWatch(inout_startWatch)
{
    OwnParameters::registerAll();
    setDottedRevision(GATEWAY_VERSION);
    // clang-format off
    getAllowedOptions().add_options()
        ("check", po::bool_switch(), "checks the configuration and does not start")
        ("status", po::bool_switch(), "asks the running gateway for its status")
        ("status-socket", po::value<std::string>(), "where the running gateway listens for that")
        ("json", po::bool_switch(), "writes the answer to check, status or get-param-info as JSON")
        (s_szAnswerAfter, po::value<unsigned int>()->default_value(s_uiDefaultAnswerAfterMs),
         "how long a called party lets it ring");
    // clang-format on
}

bool Gateway::doCommand(const po::variables_map& in_variables, int& out_iExitCode)
{
    const bool bCheck = in_variables["check"].as<bool>();
    const bool bStatus = in_variables["status"].as<bool>();
    const bool bInformation = InformationOptions::isAsked(in_variables);
    optionDependency(in_variables, "status-socket", "status");
    if (bCheck)
        optionDependency(in_variables, "check", "global-config");
    if (in_variables["json"].as<bool>() && !bCheck && !bStatus &&
        in_variables.count("get-param-info") == 0)
        throw po::error("option '--json' needs '--check', '--status' or '--get-param-info'");
    if (!bCheck && !bStatus && !bInformation)
        return false;
    // The files of the configuration are found as in a start.
    if ((bCheck || bStatus) && !processCmdlineVarsMap(in_variables))
        out_iExitCode = 1;
    else if (bCheck)
        out_iExitCode = CheckCommand::run(in_variables, std::cout) ? 0 : 1;
    else if (bStatus)
        StatusCommand::run(in_variables, std::cout);
    else
        InformationOptions::answer(in_variables, getAllowedOptions(), getProductName(), std::cout);
    return true;
}

std::optional<int> Gateway::answer(int in_argc, char** in_argv)
{
    int iExitCode = 0;
    try
    {
        if (!doCommand(InformationOptions::parse(getAllowedOptions(), in_argc, in_argv), iExitCode))
            return std::nullopt;
    }
    // Of Boost.Program_options, and of `optionDependency`.
    catch (const std::logic_error& error)
    {
        std::cerr << "gateway: " << Velmora::URL::withoutSecrets(error.what())
                  << "\ngateway: see gateway --help\n";
        return 2;
    }
    catch (const std::runtime_error& error)
    {
        std::cerr << "gateway: " << error.what() << '\n';
        return 1;
    }
    errno = 0;
    if (std::cout.flush())
        return iExitCode;
    std::cerr << "gateway: standard output cannot be written: " << std::strerror(errno) << '\n';
    return 1;
}

bool Gateway::configure(const ROConfiguration& in_config)
{
    if (!ProductApplicationImpl::configure(in_config))
        return false;
    m_alarms.leaveService();
    if (!keepsRules(in_config, m_uiBrokenRules))
        return false;
    try
    {
        m_settings.emplace(in_config);
        m_processorMonitor.emplace(m_loop, "cpu", "keswardin.system.cpu.monitor", in_config);
        m_callMonitor.emplace(m_loop, "calls", OwnParameters::s_szCallMonitor, in_config);
        return true;
    }
    catch (const BadSetting& error)
    {
        VELMORA_FILE_LOG_ERROR(error.what());
        return false;
    }
}

void Gateway::run()
{
    GlobalConfig::getInstance()->writeProtect();
    GlobalConfig::getInstance()->declareRunTime();
    try
    {
        serve();
    }
    catch (...)
    {
        m_bFailed = true;
        logCaughtException(liveFileScopeLogger(), "the gateway ends");
        m_phase = m_phase == StatusReport::Phase::STARTING ? StatusReport::Phase::NOT_STARTED
                                                           : StatusReport::Phase::STOPPED;
        m_alarms.leaveService();
        writeMetrics();
    }
}

void Gateway::reportFailedStart()
{
    m_phase = StatusReport::Phase::NOT_STARTED;
    m_alarms.leaveService();
    writeMetrics();
}

void Gateway::writeMetrics() const
{
    std::string strFile;
    if (!getConfig()->getStringParameter(OwnParameters::s_szMetricsFile, strFile) ||
        strFile.empty())
        return;
    const std::string strFailure = ReplacedFile::replaceNow(strFile, report().toPrometheus());
    if (!strFailure.empty())
        VELMORA_FILE_LOG_ERROR("metrics are out of date : " << strFailure);
}

void Gateway::serve()
{
    UserAgent userAgent(
        m_loop, *m_settings, getConfig(), *m_callMonitor,
        std::chrono::milliseconds(getVariablesMap()[s_szAnswerAfter].as<unsigned int>()));
    std::optional<Supervision> supervision;
    const ReadWatch watch(m_loop, m_signals.descriptor(),
                          [this, &userAgent, &supervision]
                          { handleSignal(userAgent, *supervision); });
    ProcessorUse processorUse;
    m_processorMonitor->start([&processorUse] { return processorUse.sinceLastCall(); });
    m_callMonitor->start([&userAgent] { return static_cast<double>(userAgent.concurrentCalls()); });
    m_startWatch.end();
    m_phase = StatusReport::Phase::RUNNING;
    m_alarms.enterService();
    supervision.emplace(m_loop, *m_settings, m_alarms,
                        [this, &userAgent] { return report(userAgent); });
    for (const SipAddress& address : m_settings->sipAddresses)
        VELMORA_FILE_LOG_INFO("running at " << address.url());
    while (!isDone(userAgent))
    {
        m_loop.step();
        userAgent.removeEndedCalls();
        if (m_signals.isLeft())
            handleSignal(userAgent, *supervision);
    }
    m_processorMonitor->stop();
    m_callMonitor->stop();
    userAgent.cutOffCalls();
    m_phase = StatusReport::Phase::STOPPED;
    const CallStatistics& statistics = userAgent.statistics();
    VELMORA_FILE_LOG_INFO("stopped : calls = "
                          << statistics.uiTaken << ", at once at most = " << statistics.uiMostAtOnce
                          << ", refused = " << statistics.refusalsForLoad()
                          << ", repeated requests = " << userAgent.repeatedRequests());
}

bool Gateway::isDone(const UserAgent& in_userAgent) const
{
    return m_shutdown.hasBegun() && (!in_userAgent.hasCalls() || m_shutdown.isOverdue());
}

void Gateway::handleSignal(UserAgent& inout_userAgent, Supervision& inout_supervision)
{
    const int iSignal = m_signals.read();
    // Saved before other calls change it.
    const int iError = errno;
    if (iSignal == SIGUSR1)
        toggleRecording();
    else if (iSignal == SIGHUP)
        reopenLogFiles();
    else
        stop(inout_userAgent, inout_supervision, iSignal, iError);
}

void Gateway::stop(UserAgent& inout_userAgent, Supervision& inout_supervision, int in_iSignal,
                   int in_iError)
{
    ++m_iStopSignals;
    // The second signal does not extend the time limit.
    if (m_shutdown.hasBegun())
    {
        if (m_iStopSignals == s_iImpatientSignals)
            m_shutdown.hurry();
        return;
    }
    m_shutdown.begin(getExitTimeout(), getKillTimeout());
    m_phase = StatusReport::Phase::STOPPING;
    // The calls end even if the reports fail.
    withoutThrowing(liveFileScopeLogger(), "a line is lost",
                    [in_iSignal, in_iError]
                    {
                        if (in_iSignal == 0)
                            VELMORA_FILE_LOG_ERROR(
                                "stopping : signals cannot be read: " << std::strerror(in_iError));
                        else
                            VELMORA_FILE_LOG_INFO("stopping : " << sigdescr_np(in_iSignal));
                    });
    withoutThrowing(liveFileScopeLogger(), "the end is not reported",
                    [this, &inout_supervision]
                    {
                        m_alarms.leaveService();
                        inout_supervision.stopping();
                    });
    inout_userAgent.endCalls("the gateway stops");
}

StatusReport Gateway::report() const
{
    StatusReport report;
    report.phase = m_phase;
    report.startTime = m_startTime;
    report.uptime = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - m_start);
    report.uiLogLines = Logger::getLineCount();
    report.uiLogLinesLost = Logger::getLossCount();
    report.uiCallFilesFailed = Logger::getFailedCallFileCount();
    report.configuration = GlobalConfig::getInstance()->getLoadSummary();
    report.uiBrokenRules = m_uiBrokenRules;
    report.alarms = m_alarms.journal().content();
    return report;
}

StatusReport Gateway::report(const UserAgent& in_userAgent) const
{
    StatusReport report = this->report();
    report.calls = in_userAgent.statistics();
    report.uiCallsNow = in_userAgent.concurrentCalls();
    report.uiRtpPortsUsed = in_userAgent.rtpPorts().countUsed();
    report.uiSipNotSent = SipDatagrams::countFailures();
    report.uiRtpPorts = m_settings->rtpPorts.pairs();
    return report;
}

void Gateway::toggleRecording() const
{
    bool bRecording = false;
    GlobalConfig::getInstance()->getBoolParameter(CallParameters::s_szRecording, bRecording);
    // The library logs that the configuration is write-protected, and sets parameters that may
    // change at run time nevertheless.
    if (RWGlobalConfig::getInstance()->setBoolParameter(CallParameters::s_szRecording, !bRecording))
        VELMORA_FILE_LOG_INFO("recording of calls is " << (bRecording ? "off" : "on"));
}

} // namespace GatewayExample
