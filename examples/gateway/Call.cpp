// SPDX-License-Identifier: BSD-2-Clause

#include "Call.h"

#include "BadSessionDescription.h"
#include "CallParameters.h"
#include "SipMethods.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/sip_status.h>

#include <utility>

using namespace Velmora;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace GatewayExample
{

namespace
{

constexpr std::string_view s_strBusy = "busy";
constexpr std::string_view s_strNobody = "nobody";

std::string userOf(const url_t& in_url)
{
    return in_url.url_user != nullptr ? in_url.url_user : "";
}

std::string textOf(const url_t& in_url)
{
    return userOf(in_url) + '@' + (in_url.url_host != nullptr ? in_url.url_host : "");
}

} // namespace

Call::Call(CallContext& in_context, PendingInvite& inout_invite, std::function<void()> in_onEnd)
    : ObjectWithLogger(std::string("keswardin.gateway.Call")), m_context(in_context),
      m_onEnd(std::move(in_onEnd)), m_strFailureText("call " + inout_invite.callId() + " fails"),
      m_leg(in_context.pAgent, inout_invite, in_context.settings.strUserAgentName,
            [this](Leg::Event in_event) { handle(in_event); }),
      m_media(in_context, inout_invite.callId()), m_answerTimer(in_context.loop),
      m_timeout(in_context.loop), m_started(inout_invite.arrived())
{
    getLogger().callStart(inout_invite.callId().c_str());
    const sip_t& sip = inout_invite.message();
    VELMORA_LOG_INFO("call from " << textOf(*sip.sip_from->a_url) << " to "
                                  << textOf(*sip.sip_request->rq_url)
                                  << (isToBeRecorded() ? ", to be recorded" : ""));
}

Call::~Call()
{
    if (m_state != State::ENDED)
        withoutThrowing(&getLogger(), m_strFailureText.c_str(),
                        [this] { VELMORA_LOG_WARN(s_szCutOff); });
}

/// Runs a step of the call. If it throws, ends this call and no other.
template <class Step>
void Call::attempt(Step in_step)
{
    if (withoutThrowing(&getLogger(), m_strFailureText.c_str(), in_step) ||
        withoutThrowing(&getLogger(), m_strFailureText.c_str(), [this] { giveUp(); }))
        return;
    // The call could not be ended in the regular way either, so it is only removed.
    finish({});
}

void Call::giveUp()
{
    constexpr const char* szReason = "the call has failed";
    if (m_state == State::DISCONNECTING)
        finish(szReason);
    else
        endAs(Refusal::FAILURE, SIP_500_INTERNAL_SERVER_ERROR, szReason);
}

void Call::start(const sip_t& in_sip)
{
    attempt([&] { ring(in_sip); });
}

void Call::cancel()
{
    attempt([this] { m_leg.cancel(); });
}

void Call::ring(const sip_t& in_sip)
{
    const std::string strCalled = userOf(*in_sip.sip_request->rq_url);
    if (strCalled == s_strBusy)
        return refuse(Refusal::BUSY, SIP_486_BUSY_HERE, "the called party is busy");
    try
    {
        m_strDescription = m_media.open(payloadOf(in_sip), m_leg.source());
    }
    catch (const BadSessionDescription& error)
    {
        return refuse(Refusal::NOT_ACCEPTABLE, SIP_488_NOT_ACCEPTABLE, error.what());
    }
    catch (const std::runtime_error& error)
    {
        VELMORA_LOG_ERROR(error.what());
        return refuse(Refusal::NO_RTP_PORT, SIP_503_SERVICE_UNAVAILABLE, error.what());
    }
    m_leg.ring();
    if (strCalled != s_strNobody)
        m_answerTimer.start(m_context.answerAfter, [this] { attempt([this] { answer(); }); });
    m_timeout.start(CallParameters::duration(m_context.parameters, CallParameters::s_szRingTimeout),
                    [this]
                    {
                        attempt(
                            [this] {
                                refuse(Refusal::NO_ANSWER, SIP_480_TEMPORARILY_UNAVAILABLE,
                                       "nobody has answered");
                            });
                    });
}

bool Call::isToBeRecorded() const
{
    bool bRecorded = false;
    return m_context.parameters.getBoolParameter(CallParameters::s_szRecording, bRecorded) &&
           bRecorded;
}

void Call::answer()
{
    m_timeout.cancel();
    VELMORA_LOG_INFO("answered after "
                     << duration_cast<milliseconds>(steady_clock::now() - m_started).count()
                     << " ms");
    m_state = State::ANSWERED;
    ++m_context.statistics.uiAnswered;
    m_media.answer();
    m_leg.answer(m_strDescription);
}

void Call::connected()
{
    // If this side decided to hang up before the ACK, it does so now.
    if (!m_strReason.empty())
        return disconnect("");
    m_state = State::CONNECTED;
    try
    {
        m_media.takeAnswer(m_leg.ackDescription());
    }
    catch (const BadSessionDescription& error)
    {
        return disconnect(error.what());
    }
    m_media.expectPackets([this] { end("no RTP has come"); });
}

void Call::end(const char* in_szReason)
{
    attempt([&] { endAs(Refusal::STOPPING, SIP_503_SERVICE_UNAVAILABLE, in_szReason); });
}

/// Ends the call in any state. The status is for a call that is still ringing.
void Call::endAs(Refusal in_refusal, int in_iStatus, const char* in_szPhrase,
                 const char* in_szReason)
{
    switch (m_state)
    {
    case State::RINGING:
        return refuse(in_refusal, in_iStatus, in_szPhrase, in_szReason);
    case State::ANSWERED:
        if (!m_leg.isAnswered())
            return refuse(in_refusal, in_iStatus, in_szPhrase, in_szReason);
        if (!m_leg.isAckAwaited())
            return disconnect(in_szReason);
        m_strReason = in_szReason;
        return;
    case State::CONNECTED:
        return disconnect(in_szReason);
    case State::DISCONNECTING:
    case State::ENDED:
        return;
    }
}

void Call::refuse(Refusal in_refusal, int in_iStatus, const char* in_szPhrase,
                  const std::string& in_strReason)
{
    m_context.statistics.countRefusal(in_refusal);
    m_leg.refuse(in_iStatus, in_szPhrase);
    finish(in_strReason);
}

void Call::disconnect(const char* in_szReason)
{
    if (m_strReason.empty())
        m_strReason = in_szReason;
    m_state = State::DISCONNECTING;
    m_timeout.start(
        CallParameters::duration(m_context.parameters, CallParameters::s_szDisconnectingTimeout),
        [this] { attempt([this] { finish(m_strReason + ", and the BYE has no answer"); }); });
    m_leg.hangUp();
}

void Call::finish(const std::string& in_strReason)
{
    if (std::exchange(m_state, State::ENDED) == State::ENDED)
        return;
    m_answerTimer.cancel();
    m_timeout.cancel();
    withoutThrowing(&getLogger(), m_strFailureText.c_str(),
                    [&]
                    {
                        VELMORA_LOG_INFO(
                            "over after "
                            << duration_cast<milliseconds>(steady_clock::now() - m_started).count()
                            << " ms : " << in_strReason);
                    });
    m_onEnd();
}

void Call::handle(Leg::Event in_event)
{
    attempt([this, in_event] { applyEvent(in_event); });
}

void Call::applyEvent(Leg::Event in_event)
{
    switch (in_event)
    {
    case Leg::Event::ACKNOWLEDGED:
        if (m_state == State::ANSWERED)
            connected();
        return;
    case Leg::Event::NOT_ACKNOWLEDGED:
        if (m_state == State::ANSWERED)
            disconnect("the answer was not acknowledged");
        return;
    case Leg::Event::CANCELLED:
        return finish("the caller has given up");
    case Leg::Event::HUNG_UP:
        return finish("the caller has hung up");
    case Leg::Event::DISCONNECTED:
        return finish(m_strReason);
    case Leg::Event::FAILED:
        return giveUp();
    }
}

} // namespace GatewayExample
