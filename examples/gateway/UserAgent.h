#pragma once

#include "Call.h"
#include "EventLoop.h"
#include "LoadMonitor.h"
#include "Settings.h"

#include "velmora/config/ConfigCache.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <sofia-sip/nta.h>

#include <chrono>
#include <cstdint>
#include <list>
#include <memory>

/// The SIP user agent: it receives SIP over UDP, makes a call of each INVITE and answers OPTIONS.
class UserAgent : public Velmora::ObjectWithLogger<Velmora::CachedLLLogger>
{
  public:
    /// Receives at all addresses of the settings, which outlive it as the loop does and the
    /// monitor, which says when new calls are refused.
    ///
    /// Failure: throws `std::runtime_error` that says which address cannot be received at, and why.
    UserAgent(EventLoop& in_loop, const Settings& in_settings,
              const Velmora::TSHandle<Velmora::ROConfiguration>& in_hConfig,
              const LoadMonitor& in_callMonitor, std::chrono::milliseconds in_answerAfter);
    ~UserAgent();
    UserAgent(const UserAgent&) = delete;
    UserAgent& operator=(const UserAgent&) = delete;

    /// Takes no new call from now on and ends those that there are.
    void endCalls(const char* in_szReason);

    /// Destroys the calls that are over. Not to be called from within the loop.
    void removeEndedCalls();

    /// Destroys all calls, those too that go on. Not to be called from within the loop.
    void cutOffCalls();

    [[nodiscard]] bool hasCalls() const { return !m_calls.empty(); }

    /// How many calls there have been.
    [[nodiscard]] std::uint64_t callCount() const { return m_uiCalls; }

    /// How many calls there are.
    [[nodiscard]] std::size_t callsAtOnce() const { return m_calls.size(); }

    /// How many calls have been refused for overload.
    [[nodiscard]] std::uint64_t refusedCalls() const { return m_uiRefusedCalls; }

    /// How many requests have come again, as their sender had no answer.
    [[nodiscard]] std::uint64_t repeatedRequests() const;

  private:
    using Calls = std::list<std::unique_ptr<Call>>;

    static int requestReceived(nta_leg_magic_t* in_pUserAgent, nta_leg_t*,
                               nta_incoming_t* in_pRequest, const sip_t* in_pSip);
    int handleRequest(nta_incoming_t* in_pRequest, const sip_t* in_pSip);
    int refuseForOverload(nta_incoming_t* in_pInvite, const sip_t* in_pSip);
    int handleInvite(nta_incoming_t* in_pInvite, const sip_t* in_pSip);
    void listen(const std::string& in_strURL);

    EventLoop& m_loop;
    const Settings& m_settings;
    const LoadMonitor& m_callMonitor;
    /// What calls read of the configuration. Forgets it all when a call begins, so that a change is
    /// seen from then on.
    Velmora::ConfigCache m_callParameters;
    nta_agent_t* m_pAgent = nullptr;
    nta_leg_t* m_pOutOfDialog = nullptr;
    std::unique_ptr<CallSurroundings> m_pSurroundings;
    Calls m_calls;
    Calls m_endedCalls;
    bool m_bEnding = false;
    std::uint64_t m_uiCalls = 0;
    std::uint64_t m_uiRefusedCalls = 0;
};
