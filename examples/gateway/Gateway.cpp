#include "Gateway.h"

#include "velmora/config/RWGlobalConfig.h"

#include <cstring>

using namespace Velmora;

namespace
{

constexpr const char* s_szAddress = "keswardin.sip.userAgent.IPAddress";
constexpr const char* s_szRecording = "keswardin.gw.recordCalls.enabled";

} // namespace

OperatorSignals::OperatorSignals()
{
    sigemptyset(&m_signals);
    for (const int iSignal : {SIGTERM, SIGINT, SIGUSR1})
        sigaddset(&m_signals, iSignal);
    pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
}

int OperatorSignals::wait() const
{
    int iSignal = 0;
    sigwait(&m_signals, &iSignal);
    return iSignal;
}

Gateway::Gateway() : ApplicationImpl(Logger("keswardin.gateway"), "gateway") {}

bool Gateway::configure(const ROConfiguration& in_config)
{
    if (!ApplicationImpl::configure(in_config))
        return false;
    if (!in_config.getStringParameter(s_szAddress, m_strAddress))
    {
        VELMORA_LOG_ERROR("no address for SIP : " << s_szAddress << " is not set");
        return false;
    }
    return true;
}

void Gateway::run()
{
    bool bHandled = false;
    processHelpParamInfoOptions(bHandled);
    if (bHandled)
        return;
    GlobalConfig::getInstance()->writeProtect();
    GlobalConfig::getInstance()->declareRunTime();
    VELMORA_LOG_INFO("running at " << m_strAddress);
    int iSignal = m_signals.wait();
    for (; iSignal == SIGUSR1; iSignal = m_signals.wait())
        toggleRecording();
    stop(iSignal);
}

void Gateway::toggleRecording() const
{
    bool bRecording = false;
    GlobalConfig::getInstance()->getBoolParameter(s_szRecording, bRecording);
    // The library tells that the configuration is protected, and sets what may change at run time.
    if (RWGlobalConfig::getInstance()->setBoolParameter(s_szRecording, !bRecording))
        VELMORA_LOG_INFO("recording of calls is " << (bRecording ? "off" : "on"));
}

void Gateway::stop(int in_iSignal) const
{
    VELMORA_LOG_INFO("stopping : " << sigdescr_np(in_iSignal));
    VELMORA_LOG_INFO("stopped");
}
