// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "PendingInvite.h"
#include "SipMethods.h"
#include "StackCallback.h"
#include "StackPointer.h"

#include "velmora/logging/CallLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <sofia-sip/nta.h>

#include <functional>
#include <string>

namespace GatewayExample
{

/// The SIP side of one incoming call: its dialog and its INVITE. The SIP stack handles
/// retransmissions in both directions.
class Leg : public Velmora::ObjectWithLogger<Velmora::CallLogger>
{
  public:
    enum class Event
    {
        ACKNOWLEDGED,     ///< The ACK of the answer has arrived.
        NOT_ACKNOWLEDGED, ///< No ACK arrived while the answer was retransmitted.
        CANCELLED,        ///< The caller has cancelled; the INVITE has been answered with 487.
        HUNG_UP,          ///< The caller has hung up.
        DISCONNECTED,     ///< The BYE has been answered, or has timed out.
        FAILED,           ///< A message could not be handled, for lack of memory for example.
    };

    static constexpr const char* s_szLogger = "keswardin.gateway.Leg";

    /// Takes over an INVITE, and its logger. `in_onEvent` must not throw.
    ///
    /// Failure: throws `std::runtime_error` if the dialog cannot be created from the INVITE, and
    /// what kept the INVITE from entering the call.
    Leg(nta_agent_t* in_pAgent, PendingInvite& inout_invite, const std::string& in_strServer,
        std::function<void(Event)> in_onEvent);
    Leg(const Leg&) = delete;
    Leg& operator=(const Leg&) = delete;

    /// Returns where the INVITE came from.
    [[nodiscard]] SocketAddress source() const { return sourceOf(m_pInvite.get()); }
    /// Returns the session description of the ACK; empty if it had none, or has not arrived.
    [[nodiscard]] const std::string& ackDescription() const { return m_strAckDescription; }

    /// Sends 180.
    void ring();
    /// Ends the leg after a CANCEL. `CANCELLED` follows.
    void cancel();
    /// Sends 200, with the session description of this end.
    void answer(const std::string& in_strDescription);
    /// Sends a final answer of 300 or above, which ends the leg.
    void refuse(int in_iStatus, const char* in_szPhrase);
    /// Returns whether the ACK of an answer, or the end of the time for it, is still to come. A BYE
    /// of this side has to wait for that (RFC 3261, 15).
    [[nodiscard]] bool isAckAwaited() const { return isAnswered() && !m_bAckHandled; }
    /// Returns whether the stack has taken a final answer.
    [[nodiscard]] bool isAnswered() const { return nta_incoming_status(m_pInvite.get()) >= 200; }
    /// Sends BYE. `DISCONNECTED` follows.
    void hangUp();

  private:
    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] FailureLine failureLine() const
    {
        return {&getLogger(), m_strFailureText.c_str()};
    }
    /// Ends this call, and no other.
    void callbackFailed() { m_onEvent(Event::FAILED); }

    int handleRequest(nta_incoming_t* in_pRequest, const sip_t& in_sip);
    void handleAckOrCancel(const sip_t* in_pSip);
    void handleAnswerToBye(const sip_t* in_pSip);
    void reply(int in_iStatus, const char* in_szPhrase, const std::string& in_strDescription = {});
    void logSent(const std::string& in_strWhat, int in_iError);

    nta_agent_t* m_pAgent;
    StackPointer<nta_leg_t> m_pDialog;
    StackPointer<nta_incoming_t> m_pInvite;
    StackPointer<nta_outgoing_t> m_pBye;
    bool m_bAckHandled = false;
    std::string m_strAckDescription;
    std::string m_strServer;
    /// The text that is logged after a failure; see `Call`.
    std::string m_strFailureText;
    std::function<void(Event)> m_onEvent;
};

} // namespace GatewayExample
