// SPDX-License-Identifier: BSD-2-Clause

#include "UserAgent.h"

#include "SipMethods.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

#include <algorithm>
#include <stdexcept>

using namespace Velmora;

namespace GatewayExample
{

namespace
{

unsigned int milliseconds(std::chrono::milliseconds in_time)
{
    return static_cast<unsigned int>(in_time.count());
}

} // namespace

UserAgent::UserAgent(EventLoop& in_loop, const Settings& in_settings,
                     const TSHandle<ROConfiguration>& in_hConfig, const LoadMonitor& in_callMonitor,
                     std::chrono::milliseconds in_answerAfter)
    : ObjectWithLogger(std::string("keswardin.gateway.UserAgent")), m_loop(in_loop),
      m_settings(in_settings), m_callMonitor(in_callMonitor)
{
    m_callParameters.setConfiguration(in_hConfig);
    for (const SipAddress& address : m_settings.sipAddresses)
        listen(address.url());
    nta_agent_set_params(m_pAgent.get(), NTATAG_UA(1),
                         NTATAG_SIP_T1(milliseconds(m_settings.timerT1)),
                         NTATAG_SIP_T2(milliseconds(m_settings.timerT2)),
                         NTATAG_SIP_T1X64(milliseconds(m_settings.transactionLifetime)),
                         // Refuses the second copy of an INVITE that arrives on two paths (RFC
                         // 3261, 8.2.2.2).
                         NTATAG_MERGE_482(1), TAG_END());
    m_pOutOfDialog.reset(nta_leg_tcreate(m_pAgent.get(),
                                         StackCallback<&UserAgent::handleRequest>::request,
                                         StackContext(this), NTATAG_NO_DIALOG(1), TAG_END()));
    if (m_pOutOfDialog == nullptr)
        throw std::runtime_error("SIP requests cannot be received : " + m_stackLog.lastLine());
    m_pContext = std::make_unique<CallContext>(CallContext{m_loop, m_settings, m_callParameters,
                                                           m_pAgent.get(), in_answerAfter,
                                                           RtpPorts(m_settings.rtpPorts)});
}

void UserAgent::listen(const std::string& in_strURL)
{
    const auto* const pURL = reinterpret_cast<const url_string_t*>(in_strURL.c_str());
    bool bDone = false;
    m_stackLog.forget();
    if (m_pAgent == nullptr)
    {
        m_pAgent.reset(nta_agent_create(m_loop.root(), pURL, nullptr, nullptr, TAG_END()));
        bDone = m_pAgent != nullptr;
    }
    else
        bDone = nta_agent_add_tport(m_pAgent.get(), pURL, TAG_END()) == 0;
    if (!bDone)
        throw std::runtime_error("SIP cannot be received at " + in_strURL + " : " +
                                 m_stackLog.lastLine());
}

std::uint64_t UserAgent::repeatedRequests() const
{
    usize_t uiRepeated = 0;
    nta_agent_get_stats(m_pAgent.get(), NTATAG_S_RECV_RETRY_REF(uiRepeated), TAG_END());
    return uiRepeated;
}

void UserAgent::endCalls(const char* in_szReason)
{
    m_bEnding = true;
    withoutThrowing(&getLogger(), "a line is lost",
                    [this] { VELMORA_LOG_INFO("ending calls : " << m_calls.size()); });
    // `end` removes a call from the list if it is over at once, so the iterator advances before.
    for (auto it = m_calls.begin(); it != m_calls.end();)
        (*it++)->end(in_szReason);
}

void UserAgent::removeEndedCalls() { m_endedCalls.clear(); }

void UserAgent::cutOffCalls()
{
    m_calls.clear();
    m_endedCalls.clear();
}

int UserAgent::handleRequest(nta_incoming_t* in_pRequest, const sip_t& in_sip)
{
    const sip_method_t method = in_sip.sip_request->rq_method;
    VELMORA_LOG_DEBUG(in_sip.sip_request->rq_method_name << " received");
    if (method == sip_method_ack)
        return 0;
    // A request with our tag belongs to a dialog. Requests of existing dialogs go to their `Leg`,
    // so this dialog does not exist. A CANCEL of a pending INVITE goes there, too.
    if (in_sip.sip_to->a_tag != nullptr || method == sip_method_cancel)
        return 481;
    if (method == sip_method_options)
        return replyToOptions(in_pRequest, m_settings.strUserAgentName);
    if (method != sip_method_invite)
        return replyNotAllowed(in_pRequest, m_settings.strUserAgentName);
    if (m_bEnding)
    {
        m_pContext->statistics.countRefusal(Refusal::STOPPING);
        return 503;
    }
    return m_callMonitor.isOverloaded() ? refuseForOverload(in_pRequest, in_sip)
                                        : handleInvite(in_pRequest, in_sip);
}

int UserAgent::refuseForOverload(nta_incoming_t* in_pInvite, const sip_t& in_sip)
{
    m_pContext->statistics.countRefusal(Refusal::OVERLOAD);
    // Logged at DEBUG, which is normally off: there may be many of them when the gateway is
    // overloaded.
    VELMORA_LOG_DEBUG("refused for overload : call " << in_sip.sip_call_id->i_id
                                                     << ", calls at once = " << concurrentCalls());
    return replyOverloaded(in_pInvite, m_settings.strUserAgentName, m_settings.retryAfter);
}

int UserAgent::handleInvite(nta_incoming_t* in_pInvite, const sip_t& in_sip)
{
    auto it = m_calls.end();
    try
    {
        m_callParameters.flush();
        it = m_calls.emplace(it);
        *it = std::make_unique<Call>(*m_pContext, in_pInvite, &in_sip,
                                     [this, it]
                                     { m_endedCalls.splice(m_endedCalls.end(), m_calls, it); });
    }
    catch (...)
    {
        if (it != m_calls.end())
            m_calls.erase(it);
        m_pContext->statistics.countRefusal(Refusal::FAILURE);
        logCaughtException(&getLogger(),
                           (std::string("no call ") + in_sip.sip_call_id->i_id).c_str());
        return 500;
    }
    ++m_pContext->statistics.uiTaken;
    m_pContext->statistics.uiMostAtOnce =
        std::max(m_pContext->statistics.uiMostAtOnce, m_calls.size());
    (*it)->start(&in_sip);
    return 0;
}

} // namespace GatewayExample
