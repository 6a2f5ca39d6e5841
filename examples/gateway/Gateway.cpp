// SPDX-License-Identifier: BSD-2-Clause

#include "Gateway.h"

#include "BadSetting.h"
#include "CallParameters.h"
#include "InformationOptions.h"
#include "OwnParameters.h"
#include "ProcessorUse.h"
#include "ReadWatch.h"
#include "SettingRules.h"

#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <stdexcept>

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

/// Logs each rule that the configuration breaks. Returns whether the gateway can work with it.
bool keepsRules(const ROConfiguration& in_config)
{
    bool bCanWork = true;
    for (const BrokenRule& broken : SettingRules::check(in_config))
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
        ("json", po::bool_switch(), "writes the answer to get-param-info as JSON")
        (s_szAnswerAfter, po::value<unsigned int>()->default_value(s_uiDefaultAnswerAfterMs),
         "how long a called party lets it ring");
    // clang-format on
}

std::optional<int> Gateway::answer(int in_argc, char** in_argv) const
{
    try
    {
        const po::variables_map variables =
            InformationOptions::parse(getAllowedOptions(), in_argc, in_argv);
        if (variables["json"].as<bool>())
            optionDependency(variables, "json", "get-param-info");
        if (!InformationOptions::isAsked(variables))
            return std::nullopt;
        InformationOptions::answer(variables, getAllowedOptions(), getProductName(), std::cout);
    }
    // Of Boost.Program_options, and of `optionDependency`.
    catch (const std::logic_error& error)
    {
        std::cerr << "gateway: " << error.what() << "\ngateway: see gateway --help\n";
        return 2;
    }
    errno = 0;
    if (std::cout.flush())
        return 0;
    std::cerr << "gateway: standard output cannot be written: " << std::strerror(errno) << '\n';
    return 1;
}

bool Gateway::configure(const ROConfiguration& in_config)
{
    if (!ProductApplicationImpl::configure(in_config))
        return false;
    if (!keepsRules(in_config))
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
    }
}

void Gateway::serve()
{
    UserAgent userAgent(
        m_loop, *m_settings, getConfig(), *m_callMonitor,
        std::chrono::milliseconds(getVariablesMap()[s_szAnswerAfter].as<unsigned int>()));
    const ReadWatch watch(m_loop, m_signals.descriptor(),
                          [this, &userAgent] { handleSignal(userAgent); });
    ProcessorUse processorUse;
    m_processorMonitor->start([&processorUse] { return processorUse.sinceLastCall(); });
    m_callMonitor->start([&userAgent] { return static_cast<double>(userAgent.concurrentCalls()); });
    m_startWatch.end();
    for (const std::string& strURL : m_settings->sipURLs)
        VELMORA_FILE_LOG_INFO("running at " << strURL);
    while (!isDone(userAgent))
    {
        m_loop.step();
        userAgent.removeEndedCalls();
    }
    m_processorMonitor->stop();
    m_callMonitor->stop();
    userAgent.cutOffCalls();
    VELMORA_FILE_LOG_INFO("stopped : calls = " << userAgent.callCount() << ", at once at most = "
                                               << CallDataRegistry::getInstance()->getMaxNumCall()
                                               << ", refused = " << userAgent.refusedCalls()
                                               << ", repeated requests = "
                                               << userAgent.repeatedRequests());
}

bool Gateway::isDone(const UserAgent& in_userAgent) const
{
    return m_shutdown.hasBegun() && (!in_userAgent.hasCalls() || m_shutdown.isOverdue());
}

void Gateway::handleSignal(UserAgent& inout_userAgent)
{
    const int iSignal = m_signals.read();
    // Saved before other calls change it.
    const int iError = errno;
    if (iSignal == SIGUSR1)
        toggleRecording();
    else if (iSignal == SIGHUP)
        reopenLogFiles();
    else
        stop(inout_userAgent, iSignal, iError);
}

void Gateway::stop(UserAgent& inout_userAgent, int in_iSignal, int in_iError)
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
    // The calls end even if the line cannot be logged.
    withoutThrowing(liveFileScopeLogger(), "a line is lost",
                    [in_iSignal, in_iError]
                    {
                        if (in_iSignal == 0)
                            VELMORA_FILE_LOG_ERROR(
                                "stopping : signals cannot be read: " << std::strerror(in_iError));
                        else
                            VELMORA_FILE_LOG_INFO("stopping : " << sigdescr_np(in_iSignal));
                    });
    inout_userAgent.endCalls("the gateway stops");
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
