// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "CallContext.h"
#include "Leg.h"
#include "Media.h"
#include "Timer.h"

#include "velmora/logging/CallLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <chrono>
#include <functional>
#include <string>

namespace GatewayExample
{

/// The text that is logged when the gateway ends before a call.
inline constexpr const char* s_szCutOff = "cut off : the gateway ends";

/// An incoming call, from its INVITE to its end. The user part of the request's address selects
/// what the called party does: "busy" is busy, "nobody" rings until the time limit, all others
/// answer.
///
/// Failure: only the constructor throws. A failure in the call, such as a lack of memory, is logged
/// and ends the call, with 500 while it rings and with a BYE once it is answered.
class Call : public Velmora::ObjectWithLogger<Velmora::CallLogger>
{
  public:
    /// Calls `in_onEnd` once when the call ends, on either side's initiative. The caller destroys
    /// the call later, when none of its functions is running.
    Call(CallContext& in_context, PendingInvite& inout_invite, std::function<void()> in_onEnd);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    /// Lets the call ring, or refuses it.
    void start(const sip_t& in_sip);

    /// Ends the call instead, as the caller has given up.
    void cancel();

    /// Ends the call from this side, as the gateway stops: refuses a ringing call, hangs up an
    /// answered one.
    void end(const char* in_szReason);

  private:
    enum class State
    {
        RINGING,
        ANSWERED,
        CONNECTED,
        DISCONNECTING,
        ENDED,
    };

    template <class Step>
    void attempt(Step in_step);
    void giveUp();

    void ring(const sip_t& in_sip);
    [[nodiscard]] bool isToBeRecorded() const;
    void answer();
    void connected();
    void endAs(Refusal in_refusal, int in_iStatus, const char* in_szPhrase,
               const char* in_szReason);
    void refuse(Refusal in_refusal, int in_iStatus, const char* in_szPhrase,
                const std::string& in_strReason);
    void disconnect(const char* in_szReason);
    void finish(const std::string& in_strReason);
    void handle(Leg::Event in_event);
    void applyEvent(Leg::Event in_event);

    CallContext& m_context;
    std::function<void()> m_onEnd;
    /// The text that is logged after a failure. It is built in advance, because there may be no
    /// memory for it then.
    std::string m_strFailureText;
    Leg m_leg;
    Media m_media;
    Timer m_answerTimer;
    Timer m_timeout;
    State m_state = State::RINGING;
    std::string m_strDescription;
    /// Why this side hangs up. Empty until it decides to.
    std::string m_strReason;
    /// When the INVITE arrived.
    std::chrono::steady_clock::time_point m_started;
};

} // namespace GatewayExample
