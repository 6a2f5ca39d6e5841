// SPDX-License-Identifier: BSD-2-Clause

#include "Gateway.h"

#include "BadSetting.h"
#include "CallParameters.h"
#include "OwnParameters.h"
#include "ProcessorUse.h"
#include "ReadWatch.h"

#include "velmora/application/BuildInfo.h"
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
#include <exception>
#include <iostream>

using namespace Velmora;
namespace po = boost::program_options;

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway")

namespace GatewayExample
{

namespace
{

constexpr const char* s_szAnswerAfter = "answer-after-ms";
constexpr unsigned int s_uiDefaultAnswerAfterMs = 200;

} // namespace

Gateway::Gateway() : ProductApplicationImpl("Gateway")
{
    OwnParameters::registerAll();
    setDottedRevision(GATEWAY_VERSION);
    getAllowedOptions().add_options()(
        s_szAnswerAfter, po::value<unsigned int>()->default_value(s_uiDefaultAnswerAfterMs),
        "how long a called party lets it ring");
}

bool Gateway::processCmdlineVarsMap(const po::variables_map& in_variables)
{
    if (!ProductApplicationImpl::processCmdlineVarsMap(in_variables))
        return false;
    const bool bProductName = in_variables["product-name"].as<bool>();
    const bool bVersion = in_variables["version"].as<bool>();
    const bool bBuildInfo = in_variables["build-info"].as<bool>();
    m_bOnlyInformation = bProductName || bVersion || bBuildInfo;
    if (bProductName)
        std::cout << "Product name : " << getProductName() << '\n';
    if (bVersion)
        std::cout << "Product version : " << GATEWAY_VERSION << '\n';
    if (bBuildInfo)
        BuildInfo::getInstance()->write(std::cout << "Build Info :\n") << '\n';
    m_bFailed = !std::cout.flush();
    return true;
}

bool Gateway::configure(const ROConfiguration& in_config)
{
    if (m_bOnlyInformation)
        return true;
    if (!ProductApplicationImpl::configure(in_config))
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
    if (m_bOnlyInformation)
        return;
    bool bHandled = false;
    // Answers --help and --get-param-info, which need the loaded configuration.
    processHelpParamInfoOptions(bHandled);
    if (bHandled)
        return;
    GlobalConfig::getInstance()->writeProtect();
    GlobalConfig::getInstance()->declareRunTime();
    try
    {
        serve();
    }
    catch (const std::exception& error)
    {
        m_bFailed = true;
        VELMORA_FILE_LOG_ERROR(error.what());
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
        return toggleRecording();
    // A second signal does not extend the time limit.
    if (m_shutdown.hasBegun())
        return;
    m_shutdown.begin(getExitTimeout(), getKillTimeout());
    // The calls end even if the line cannot be logged.
    withoutThrowing(liveFileScopeLogger(), "a line is lost",
                    [iSignal, iError]
                    {
                        if (iSignal == 0)
                            VELMORA_FILE_LOG_ERROR(
                                "stopping : signals cannot be read: " << std::strerror(iError));
                        else
                            VELMORA_FILE_LOG_INFO("stopping : " << sigdescr_np(iSignal));
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
