// SPDX-License-Identifier: BSD-2-Clause

#include "PendingInvite.h"

#include "Call.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

#include <utility>

using namespace Velmora;

namespace GatewayExample
{

PendingInvite::PendingInvite(nta_incoming_t* in_pInvite, const sip_t& in_sip, Time in_arrived,
                             std::function<void()> in_onOpened)
    : Work(Haste::AT_ONCE), m_pInvite(in_pInvite), m_pMessage(nta_incoming_getrequest(in_pInvite)),
      m_strCallId(in_sip.sip_call_id->i_id), m_uiCSeq(in_sip.sip_cseq->cs_seq),
      m_arrived(in_arrived), m_onOpened(std::move(in_onOpened))
{
    nta_incoming_bind(m_pInvite.get(),
                      StackCallback<&PendingInvite::handleAckOrCancel>::ackOrCancel,
                      StackContext(this));
}

void PendingInvite::run() noexcept
{
    try
    {
        open();
    }
    catch (...)
    {
        m_failure = std::current_exception();
    }
}

void PendingInvite::open()
{
    m_logger.emplace(Leg::s_szLogger);
    m_logger->addLoggingId("leg=1");
    m_logger->callStart(m_strCallId.c_str());
    VELMORA_LOG(*m_logger, INFO_LOG_LEVEL, "INVITE received : CSeq = " << m_uiCSeq);
}

void PendingInvite::done()
{
    // The action may destroy this object.
    const auto action = std::exchange(m_onOpened, nullptr);
    action();
}

void PendingInvite::proceed(const std::string& in_strServer)
{
    if (nta_incoming_status(m_pInvite.get()) < 100)
        nta_incoming_treply(m_pInvite.get(), SIP_100_TRYING,
                            SIPTAG_SERVER_STR(in_strServer.c_str()), TAG_END());
}

void PendingInvite::handleAckOrCancel(const sip_t* in_pSip)
{
    // The stack answers the CANCEL, and the INVITE with 487.
    if (in_pSip != nullptr && in_pSip->sip_request->rq_method == sip_method_cancel)
        m_bCancelled = true;
}

void PendingInvite::cutOff() const
{
    if (m_logger)
        withoutThrowing(&*m_logger, ("call " + m_strCallId + " fails").c_str(),
                        [this] { VELMORA_LOG(*m_logger, WARN_LOG_LEVEL, s_szCutOff); });
}

const CallLogger& PendingInvite::logger() const
{
    if (m_failure)
        std::rethrow_exception(m_failure);
    return *m_logger;
}

const sip_t& PendingInvite::message() const { return *sip_object(m_pMessage.get()); }

StackPointer<nta_incoming_t> PendingInvite::take() { return std::move(m_pInvite); }

} // namespace GatewayExample
