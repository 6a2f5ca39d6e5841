// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "Admission.h"
#include "Call.h"
#include "CallEnding.h"
#include "EventLoop.h"
#include "LoadAlarm.h"
#include "LoadMonitor.h"
#include "LoopLoad.h"
#include "PendingInvite.h"
#include "RefusedTransactions.h"
#include "Settings.h"
#include "SipStackLog.h"
#include "StackCallback.h"
#include "StackPointer.h"
#include "Timer.h"
#include "WorkerThreads.h"

#include "velmora/config/ConfigCache.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <sofia-sip/nta.h>

#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace GatewayExample
{

/// The SIP user agent: receives SIP over UDP, creates a call for each INVITE and answers OPTIONS.
///
/// While calls are refused for load, it answers their INVITEs before the SIP stack gets them. That
/// costs a tenth of a transaction of the stack, so there is time left for the calls that it has.
class UserAgent : public Velmora::ObjectWithLogger<Velmora::CachedLLLogger>
{
  public:
    /// Starts to receive at all addresses of the settings. New calls are refused while the monitor
    /// reports overload. The loop, the settings and the monitor must outlive this object.
    ///
    /// Failure: throws `std::runtime_error` with the address that cannot be used, and the reason.
    UserAgent(EventLoop& in_loop, const Settings& in_settings,
              const Velmora::TSHandle<Velmora::ROConfiguration>& in_hConfig,
              const LoadMonitor& in_callMonitor, std::chrono::milliseconds in_answerAfter);
    ~UserAgent();
    UserAgent(const UserAgent&) = delete;
    UserAgent& operator=(const UserAgent&) = delete;

    /// Accepts no new calls from now on, and ends the existing ones.
    void endCalls(const char* in_szReason);

    /// Destroys the calls that are over. Must not be called by an event of a call.
    void removeEndedCalls();

    /// Destroys all calls, active ones included. Must not be called from within the loop.
    void cutOffCalls();

    [[nodiscard]] bool hasCalls() const { return concurrentCalls() != 0; }

    [[nodiscard]] const CallStatistics& statistics() const { return m_pContext->statistics; }

    [[nodiscard]] const RtpPorts& rtpPorts() const { return m_pContext->rtpPorts; }

    /// The number of concurrent calls, with those whose files are not open yet.
    [[nodiscard]] std::size_t concurrentCalls() const { return m_calls.size() + m_pending.size(); }

    /// The number of requests that were received again because their sender had no answer.
    [[nodiscard]] std::uint64_t repeatedRequests() const;

  private:
    using Calls = std::list<std::unique_ptr<Call>>;
    using PendingInvites = std::list<std::unique_ptr<PendingInvite>>;

    template <auto Handle>
    friend class StackCallback;

    [[nodiscard]] FailureLine failureLine() const { return {&getLogger(), "a request is refused"}; }
    int handleRequest(nta_incoming_t* in_pRequest, const sip_t& in_sip);
    bool refuseWithoutStack(std::string_view in_strDatagram, const SocketAddress& in_source);
    [[nodiscard]] std::optional<Refusal> refusalOf(const SocketAddress& in_source);
    void countRefusal(Refusal in_refusal, std::string_view in_strCallId);
    int handleInvite(nta_incoming_t* in_pInvite, const sip_t& in_sip);
    void beginCall(PendingInvites::iterator in_pending);
    void refuseFailed(const std::string& in_strCallId);
    [[nodiscard]] bool haveCallsFiles();
    [[nodiscard]] bool areFilesBehind(std::chrono::steady_clock::time_point in_now) const;
    void startTryingTimer();
    void proceedPending();
    void listen(const std::string& in_strURL);

    SipStackLog m_stackLog;
    EventLoop& m_loop;
    const Settings& m_settings;
    const LoadMonitor& m_callMonitor;
    Admission m_admission;
    LoopLoad m_loopLoad;
    LoadAlarm m_filesAlarm;
    /// Finds out whether calls have files.
    Velmora::Logger m_callLogger{Leg::s_szLogger};
    const std::string m_strFileAppender = Velmora::s_szCallLogAppender;
    /// How the tag of an answer without the stack begins.
    const std::string m_strTagBegin;
    RefusedTransactions m_refused;
    /// Whether the datagram that the stack has got was an INVITE that is to be taken.
    bool m_bAdmitted = false;
    /// Caches the parameters that calls read. The cache is emptied when a call begins, so that each
    /// call sees the changes made before it.
    Velmora::ConfigCache m_callParameters;
    /// The members below use those above them, also in their destructors.
    StackPointer<nta_agent_t> m_pAgent;
    StackPointer<nta_leg_t> m_pOutOfDialog;
    std::unique_ptr<CallContext> m_pContext;
    Calls m_calls;
    Calls m_endedCalls;
    /// In the order of their arrival.
    PendingInvites m_pending;
    std::list<CallEnding> m_endings;
    /// The hashes of the Call-IDs of calls.
    std::unordered_multiset<std::size_t> m_callIds;
    Timer m_tryingTimer;
    bool m_bTryingTimer = false;
    bool m_bEnding = false;
    /// Uses the pending INVITEs and the endings.
    std::optional<WorkerThreads> m_threads;
};

} // namespace GatewayExample
