// SPDX-License-Identifier: BSD-2-Clause

#include "UserAgent.h"

#include "NameLookup.h"
#include "NewInvite.h"
#include "RequestCheck.h"
#include "SipDatagrams.h"
#include "SipMethods.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/msg.h>
#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>
#include <sofia-sip/tport_tag.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <random>
#include <stdexcept>
#include <utility>

using namespace Velmora;

namespace GatewayExample
{

namespace
{

/// Within 200 ms an INVITE must have an answer (RFC 3261, 17.2.1).
constexpr std::chrono::milliseconds s_untilTrying{100};

unsigned int milliseconds(std::chrono::milliseconds in_time)
{
    return static_cast<unsigned int>(in_time.count());
}

std::size_t hashOf(std::string_view in_strText)
{
    return std::hash<std::string_view>()(in_strText);
}

std::string hex(std::size_t in_uiNumber)
{
    std::array<char, 2 * sizeof(in_uiNumber)> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), in_uiNumber, 16);
    return {text.data(), end.ptr};
}

/// Returns a text that nobody can guess, so that tags differ from those of other gateways.
std::string makeTagBegin()
{
    std::random_device random;
    return "refused-" + hex(std::size_t{random()} << 32 | random()) + '-';
}

} // namespace

UserAgent::UserAgent(EventLoop& in_loop, const Settings& in_settings,
                     const TSHandle<ROConfiguration>& in_hConfig, const LoadMonitor& in_callMonitor,
                     std::chrono::milliseconds in_answerAfter)
    : ObjectWithLogger(std::string("keswardin.gateway.UserAgent")), m_loop(in_loop),
      m_settings(in_settings), m_callMonitor(in_callMonitor), m_admission(in_settings.admission),
      m_loopLoad(in_loop, in_settings.loopLoad, &SipDatagrams::queuedBytes),
      m_filesAlarm(in_loop, "files"), m_strTagBegin(makeTagBegin()), m_tryingTimer(in_loop)
{
    m_callParameters.setConfiguration(in_hConfig);
    for (const SipAddress& address : m_settings.sipAddresses)
        listen(address.url());
    nta_agent_set_params(m_pAgent.get(), NTATAG_UA(1),
                         NTATAG_SIP_T1(milliseconds(m_settings.timerT1)),
                         NTATAG_SIP_T2(milliseconds(m_settings.timerT2)),
                         NTATAG_SIP_T1X64(milliseconds(m_settings.transactionLifetime)),
                         // Keeps the lengths of headers.
                         NTATAG_SIPFLAGS(MSG_DO_EXTRACT_COPY),
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
    m_threads.emplace(m_loop, m_settings.uiFileThreads);
    SipDatagrams::setFilter([this](std::string_view in_strDatagram, const SocketAddress& in_source)
                            { return refuseWithoutStack(in_strDatagram, in_source); });
}

UserAgent::~UserAgent() { SipDatagrams::setFilter({}); }

void UserAgent::listen(const std::string& in_strURL)
{
    const auto* const pURL = reinterpret_cast<const url_string_t*>(in_strURL.c_str());
    bool bDone = false;
    const NameLookup lookup;
    m_stackLog.forget();
    const unsigned int uiBuffer = 1024 * m_settings.uiReceiveBufferKB;
    // The stack would serve STUN, and print a line for each packet that only looks like it.
    if (m_pAgent == nullptr)
    {
        m_pAgent.reset(nta_agent_create(m_loop.root(), pURL, nullptr, nullptr,
                                        TPTAG_UDP_RMEM(uiBuffer), TPTAG_STUN_SERVER(0), TAG_END()));
        bDone = m_pAgent != nullptr;
    }
    else
        bDone = nta_agent_add_tport(m_pAgent.get(), pURL, TPTAG_UDP_RMEM(uiBuffer),
                                    TPTAG_STUN_SERVER(0), TAG_END()) == 0;
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
                    [this] { VELMORA_LOG_INFO("ending calls : " << concurrentCalls()); });
    // `end` removes a call from the list if it is over at once, so the iterator advances before.
    for (auto it = m_calls.begin(); it != m_calls.end();)
        (*it++)->end(in_szReason);
}

void UserAgent::removeEndedCalls()
{
    std::list<CallEnding> endings;
    for (const std::unique_ptr<Call>& pCall : m_endedCalls)
        // Otherwise the file is closed with the call.
        withoutThrowing(&getLogger(), "no thread closes the file of a call",
                        [&]
                        {
                            if (haveCallsFiles())
                                endings.emplace_back(pCall->getLogger());
                        });
    m_endedCalls.clear();
    while (!endings.empty())
    {
        const auto it = endings.begin();
        m_endings.splice(m_endings.end(), endings, it);
        it->onDone([this, it] { m_endings.erase(it); });
        m_threads->add(*it, hashOf(it->logger().getCallId()));
    }
}

void UserAgent::cutOffCalls()
{
    if (!m_pending.empty())
        withoutThrowing(&getLogger(), "a line is lost",
                        [this]
                        {
                            VELMORA_LOG_WARN(m_pending.size()
                                             << " calls wait for their files : the gateway ends "
                                                "when these are open");
                        });
    m_threads.reset();
    for (const std::unique_ptr<PendingInvite>& pInvite : m_pending)
        pInvite->cutOff();
    m_pending.clear();
    m_endings.clear();
    m_calls.clear();
    m_endedCalls.clear();
}

bool UserAgent::haveCallsFiles()
{
    return m_callLogger.getChainedAppender(m_strFileAppender).get() != nullptr;
}

int UserAgent::handleRequest(nta_incoming_t* in_pRequest, const sip_t& in_sip)
{
    const sip_method_t method = in_sip.sip_request->rq_method;
    VELMORA_LOG_DEBUG(in_sip.sip_request->rq_method_name << " received");
    if (method != sip_method_ack && m_settings.uiLongestHeader != 0 &&
        longestKeptHeader(in_sip) > m_settings.uiLongestHeader)
    {
        if (method == sip_method_invite)
            countRefusal(Refusal::TOO_LONG, in_sip.sip_call_id->i_id);
        return replyTooLong(in_pRequest, m_settings.strUserAgentName);
    }
    if (const int iRefused = RequestCheck(in_sip).refuse(in_pRequest, m_settings.strUserAgentName))
        return iRefused;
    // A request with our tag belongs to a dialog. Requests of existing dialogs go to their `Leg`,
    // so this dialog does not exist. A CANCEL of a pending INVITE goes there, too. The stack sends
    // no answer to an ACK, but keeps it until it has one.
    if (in_sip.sip_to->a_tag != nullptr || method == sip_method_cancel || method == sip_method_ack)
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
    const bool bAdmitted = std::exchange(m_bAdmitted, false);
    const std::optional<Refusal> refusal =
        bAdmitted ? std::nullopt : refusalOf(sourceOf(in_pRequest));
    if (!refusal)
        return handleInvite(in_pRequest, in_sip);
    countRefusal(*refusal, in_sip.sip_call_id->i_id);
    return replyOverloaded(in_pRequest, m_settings.strUserAgentName, m_settings.retryAfter);
}

std::optional<Refusal> UserAgent::refusalOf(const SocketAddress& in_source)
{
    if (m_callMonitor.isOverloaded())
        return Refusal::OVERLOAD;
    const auto now = std::chrono::steady_clock::now();
    if (m_loopLoad.isBehind(now))
        return Refusal::BEHIND;
    if (areFilesBehind(now))
    {
        m_filesAlarm.refuse(now);
        return Refusal::FILES_BEHIND;
    }
    return m_admission.refuses(in_source, concurrentCalls(), now);
}

void UserAgent::countRefusal(Refusal in_refusal, std::string_view in_strCallId)
{
    m_pContext->statistics.countRefusal(in_refusal);
    // Logged at DEBUG, which is normally off: there may be many of them.
    VELMORA_LOG_DEBUG("refused for " << s_refusalNames[static_cast<std::size_t>(in_refusal)]
                                     << " : call " << in_strCallId
                                     << ", calls at once = " << concurrentCalls());
}

bool UserAgent::refuseWithoutStack(std::string_view in_strDatagram, const SocketAddress& in_source)
{
    m_bAdmitted = false;
    if (isAckWithTag(in_strDatagram, m_strTagBegin))
        return true;
    const std::optional<NewInvite> invite =
        m_bEnding ? std::nullopt : NewInvite::read(in_strDatagram);
    // A repeated INVITE of a call belongs to its transaction.
    if (!invite || m_callIds.contains(hashOf(invite->callId())))
        return false;
    const std::size_t uiTransaction = invite->transaction();
    const auto now = std::chrono::steady_clock::now();
    // The same answer again, though calls may be taken now.
    if (!m_refused.contains(uiTransaction, now))
    {
        const std::optional<Refusal> refusal = refusalOf(in_source);
        m_bAdmitted = !refusal;
        if (!refusal)
            return false;
        countRefusal(*refusal, invite->callId());
        withoutThrowing(&getLogger(), "a refusal is not remembered",
                        [&] { m_refused.add(uiTransaction, now); });
    }
    SipDatagrams::reply(invite->refusal(in_source, m_strTagBegin + hex(uiTransaction),
                                        m_settings.strUserAgentName, m_settings.retryAfter),
                        invite->destination(in_source));
    return true;
}

int UserAgent::handleInvite(nta_incoming_t* in_pInvite, const sip_t& in_sip)
{
    // A call with the same Call-ID may have ended just now. It leaves its file before this one
    // enters it.
    removeEndedCalls();
    auto it = m_pending.end();
    bool bFiles = false;
    std::size_t uiKey = 0;
    try
    {
        it = m_pending.emplace(it);
        *it = std::make_unique<PendingInvite>(in_pInvite, in_sip, std::chrono::steady_clock::now(),
                                              [this, it] { beginCall(it); });
        bFiles = haveCallsFiles();
        if (bFiles)
            startTryingTimer();
        uiKey = hashOf((*it)->callId());
        m_callIds.insert(uiKey);
    }
    catch (...)
    {
        if (it != m_pending.end())
            m_pending.erase(it);
        refuseFailed(in_sip.sip_call_id->i_id);
        return 500;
    }
    if (bFiles)
    {
        m_threads->add(**it, uiKey);
        return 0;
    }
    (*it)->run();
    beginCall(it);
    return 0;
}

void UserAgent::refuseFailed(const std::string& in_strCallId)
{
    m_pContext->statistics.countRefusal(Refusal::FAILURE);
    logCaughtExceptionAbout(&getLogger(), "no call", in_strCallId.c_str());
}

/// Begins the call of an INVITE whose file is open, if there is to be one.
void UserAgent::beginCall(PendingInvites::iterator in_pending)
{
    // Refuses the INVITE if there is no call.
    const std::unique_ptr<PendingInvite> pInvite = std::move(*in_pending);
    m_pending.erase(in_pending);
    auto it = m_calls.end();
    const std::size_t uiKey = hashOf(pInvite->callId());
    try
    {
        m_callParameters.flush();
        it = m_calls.emplace(it);
        *it = std::make_unique<Call>(*m_pContext, *pInvite,
                                     [this, it, uiKey]
                                     {
                                         m_callIds.erase(m_callIds.find(uiKey));
                                         m_endedCalls.splice(m_endedCalls.end(), m_calls, it);
                                     });
    }
    catch (...)
    {
        if (it != m_calls.end())
            m_calls.erase(it);
        m_callIds.erase(m_callIds.find(uiKey));
        refuseFailed(pInvite->callId());
        return;
    }
    ++m_pContext->statistics.uiTaken;
    m_pContext->statistics.uiMostAtOnce =
        std::max(m_pContext->statistics.uiMostAtOnce, concurrentCalls());
    Call& call = **it;
    if (pInvite->isCancelled())
        call.cancel();
    else if (m_bEnding)
        call.end("the gateway stops");
    else
        call.start(pInvite->message());
}

bool UserAgent::areFilesBehind(std::chrono::steady_clock::time_point in_now) const
{
    return m_settings.fileLate.count() > 0 && !m_pending.empty() &&
           in_now - m_pending.front()->arrived() > m_settings.fileLate;
}

void UserAgent::startTryingTimer()
{
    if (m_bTryingTimer)
        return;
    m_tryingTimer.start(s_untilTrying, [this] { proceedPending(); });
    m_bTryingTimer = true;
}

void UserAgent::proceedPending()
{
    m_bTryingTimer = false;
    for (const std::unique_ptr<PendingInvite>& pInvite : m_pending)
        pInvite->proceed(m_settings.strUserAgentName);
    if (!m_pending.empty())
        startTryingTimer();
}

} // namespace GatewayExample
