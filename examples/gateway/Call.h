#pragma once

#include "EventLoop.h"
#include "Leg.h"
#include "Media.h"
#include "Settings.h"

#include "velmora/logging/CallLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <chrono>
#include <functional>
#include <string>

/// What the calls of a gateway share.
struct CallSurroundings
{
    const EventLoop& loop;
    const Settings& settings;
    /// Has the `CallParameters`.
    const Velmora::ROConfiguration& parameters;
    nta_agent_t* pAgent;
    /// How long a called party that answers lets it ring.
    std::chrono::milliseconds answerAfter;
    RtpPorts rtpPorts;
};

/// A call that has come in, from its INVITE to its end. The called party is told by the user part
/// of the request's address: "busy" is busy, "nobody" lets it ring for ever, all others answer.
///
/// Failure: once it is made, nothing of it throws. What fails in the call, for want of memory say,
/// is logged and ends it: 500 while it rings, a BYE once it is answered.
class Call : public Velmora::ObjectWithLogger<Velmora::CallLogger>
{
  public:
    /// `in_onOver` is told of the end, whoever brought it about; the call is destroyed later, when
    /// none of its own functions runs.
    Call(CallSurroundings& in_surroundings, nta_incoming_t* in_pInvite, const sip_t* in_pSip,
         std::function<void()> in_onOver);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    /// Lets it ring, or refuses it.
    void start(const sip_t* in_pSip);

    /// Ends the call from this side: refuses it where it rings, hangs up where it is answered.
    void end(const char* in_szReason);

  private:
    enum class State
    {
        RINGING,
        ANSWERED,
        CONNECTED,
        DISCONNECTING,
        OVER,
    };

    template <class Step>
    void attempt(Step in_step);
    void giveUp();

    void ring(const sip_t& in_sip);
    [[nodiscard]] bool isToBeRecorded() const;
    void answer();
    void connected();
    void endAs(int in_iStatus, const char* in_szPhrase, const char* in_szReason);
    void refuse(int in_iStatus, const char* in_szPhrase, const std::string& in_strReason);
    void disconnect(const char* in_szReason);
    void over(const std::string& in_strReason);
    void handle(Leg::Event in_event);
    void follow(Leg::Event in_event);

    CallSurroundings& m_surroundings;
    std::function<void()> m_onOver;
    /// What is logged where something fails, when there may be no memory for a text.
    std::string m_strFails;
    Leg m_leg;
    Media m_media;
    Timer m_answerTimer;
    Timer m_timeout;
    State m_state = State::RINGING;
    std::string m_strDescription;
    /// Why this side hangs up.
    std::string m_strReason;
    std::chrono::steady_clock::time_point m_started = std::chrono::steady_clock::now();
};
