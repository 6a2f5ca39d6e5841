// SPDX-License-Identifier: BSD-2-Clause

#include "Leg.h"

#include "SipDatagrams.h"
#include "SipMethods.h"

#include "velmora/logging/LogMacros.h"

#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

#include <cstring>
#include <stdexcept>
#include <utility>

using namespace Velmora;

namespace GatewayExample
{

Leg::Leg(nta_agent_t* in_pAgent, PendingInvite& inout_invite, const std::string& in_strServer,
         std::function<void(Event)> in_onEvent)
    : ObjectWithLogger(std::string(s_szLogger)), m_pAgent(in_pAgent), m_strServer(in_strServer),
      m_strFailureText("call " + inout_invite.callId() + " fails"), m_onEvent(std::move(in_onEvent))
{
    getLogger() = inout_invite.logger();
    const sip_t& sip = inout_invite.message();
    m_pDialog.reset(nta_leg_tcreate(in_pAgent, StackCallback<&Leg::handleRequest>::request,
                                    StackContext(this),
                                    // The local end of the dialog is the To of the INVITE.
                                    SIPTAG_CALL_ID(sip.sip_call_id), SIPTAG_FROM(sip.sip_to),
                                    SIPTAG_TO(sip.sip_from), TAG_END()));
    if (m_pDialog == nullptr)
        throw std::runtime_error("the SIP stack cannot create the dialog");
    m_pInvite = inout_invite.take();
    // Without a tag, `nta_leg_tag` would give the dialog another one than the answers have.
    const char* const szTag = nta_incoming_tag(m_pInvite.get(), nullptr);
    if (szTag == nullptr || nta_leg_tag(m_pDialog.get(), szTag) == nullptr ||
        nta_leg_server_route(m_pDialog.get(), sip.sip_record_route, sip.sip_contact) < 0)
        throw std::runtime_error("the SIP stack cannot create the dialog");
    nta_incoming_bind(m_pInvite.get(), StackCallback<&Leg::handleAckOrCancel>::ackOrCancel,
                      StackContext(this));
    if (nta_incoming_status(m_pInvite.get()) == 100)
        VELMORA_LOG_INFO("100 Trying sent");
}

void Leg::ring() { reply(SIP_180_RINGING); }

void Leg::cancel()
{
    VELMORA_LOG_INFO("CANCEL received");
    // The stack has answered the CANCEL, and the INVITE as well if that was pending.
    if (!isAnswered())
        reply(SIP_487_REQUEST_CANCELLED);
    m_onEvent(Event::CANCELLED);
}

void Leg::answer(const std::string& in_strDescription) { reply(SIP_200_OK, in_strDescription); }

void Leg::refuse(int in_iStatus, const char* in_szPhrase) { reply(in_iStatus, in_szPhrase); }

void Leg::reply(int in_iStatus, const char* in_szPhrase, const std::string& in_strDescription)
{
    const bool bDescription = !in_strDescription.empty();
    const int iError = SipDatagrams::errorOf(
        [&]
        {
            nta_incoming_treply(
                m_pInvite.get(), in_iStatus, in_szPhrase,
                SIPTAG_CONTACT(nta_agent_contact(m_pAgent)), SIPTAG_SERVER_STR(m_strServer.c_str()),
                SIPTAG_ALLOW_STR(s_szAllowedMethods),
                TAG_IF(bDescription, SIPTAG_CONTENT_TYPE_STR("application/sdp")),
                TAG_IF(bDescription, SIPTAG_PAYLOAD_STR(in_strDescription.c_str())), TAG_END());
        });
    // The stack returns success if it has no memory, but keeps the former status.
    if (nta_incoming_status(m_pInvite.get()) < in_iStatus)
        throw std::runtime_error("an answer cannot be sent");
    logSent(std::to_string(in_iStatus) + ' ' + in_szPhrase, iError);
}

void Leg::logSent(const std::string& in_strWhat, int in_iError)
{
    if (in_iError == 0)
        VELMORA_LOG_INFO(in_strWhat << " sent");
    else
        VELMORA_LOG_WARN(in_strWhat << " is not sent : " << std::strerror(in_iError)
                                    << "; it is repeated as if the network had lost it");
}

void Leg::hangUp()
{
    const int iError = SipDatagrams::errorOf(
        [this]
        {
            m_pBye.reset(nta_outgoing_tcreate(
                m_pDialog.get(), StackCallback<&Leg::handleAnswerToBye>::answer, StackContext(this),
                nullptr, SIP_METHOD_BYE, nullptr, SIPTAG_USER_AGENT_STR(m_strServer.c_str()),
                TAG_END()));
        });
    if (m_pBye != nullptr)
        return logSent("BYE", iError);
    VELMORA_LOG_WARN("no BYE can be sent to the contact of the caller");
    m_onEvent(Event::DISCONNECTED);
}

int Leg::handleRequest(nta_incoming_t* in_pRequest, const sip_t& in_sip)
{
    VELMORA_LOG_INFO(in_sip.sip_request->rq_method_name << " received : CSeq = "
                                                        << in_sip.sip_cseq->cs_seq);
    switch (in_sip.sip_request->rq_method)
    {
    case sip_method_bye:
        // A caller may hang up before the answer (RFC 3261, 15.1.2).
        if (nta_incoming_status(m_pInvite.get()) < 200)
            reply(SIP_487_REQUEST_CANCELLED);
        m_onEvent(Event::HUNG_UP);
        return 200;
    case sip_method_options:
        return replyToOptions(in_pRequest, m_strServer);
    case sip_method_invite:
        // A re-INVITE: changes of the session are not supported.
        return 488;
    case sip_method_ack:
    case sip_method_cancel:
        // Those of the INVITE go to `handleAckOrCancel`, so this one matches none. The stack sends
        // no answer to an ACK, but keeps it until it has one.
        return 481;
    default:
        return replyNotAllowed(in_pRequest, m_strServer);
    }
}

void Leg::handleAckOrCancel(const sip_t* in_pSip)
{
    // Known also if the line below throws.
    m_bAckHandled = true;
    const int iStatus = nta_incoming_status(m_pInvite.get());
    if (in_pSip == nullptr)
    {
        VELMORA_LOG_WARN("no ACK of " << iStatus << " has come");
        m_onEvent(Event::NOT_ACKNOWLEDGED);
    }
    else if (in_pSip->sip_request->rq_method == sip_method_cancel)
        // The stack does not report a CANCEL that arrives after the final answer.
        cancel();
    else
    {
        VELMORA_LOG_INFO("ACK received");
        m_strAckDescription = payloadOf(*in_pSip);
        m_onEvent(Event::ACKNOWLEDGED);
    }
}

void Leg::handleAnswerToBye(const sip_t* in_pSip)
{
    // The stack generates a 408 if the BYE times out.
    const int iStatus = in_pSip != nullptr ? in_pSip->sip_status->st_status : 408;
    if (iStatus < 200)
        return;
    VELMORA_LOG_INFO(iStatus << " received for BYE");
    m_onEvent(Event::DISCONNECTED);
}

} // namespace GatewayExample
