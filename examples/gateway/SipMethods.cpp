// SPDX-License-Identifier: BSD-2-Clause

#include "SipMethods.h"

#include "StackPointer.h"

#include <sofia-sip/msg_addr.h>
#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

#include <algorithm>

namespace GatewayExample
{

int replyToOptions(nta_incoming_t* in_pRequest, const std::string& in_strServer)
{
    nta_incoming_treply(in_pRequest, SIP_200_OK, SIPTAG_ALLOW_STR(s_szAllowedMethods),
                        SIPTAG_ACCEPT_STR(s_szAcceptedType),
                        SIPTAG_SERVER_STR(in_strServer.c_str()), TAG_END());
    return 200;
}

int replyOverloaded(nta_incoming_t* in_pRequest, const std::string& in_strServer,
                    std::chrono::seconds in_retryAfter)
{
    nta_incoming_treply(in_pRequest, SIP_503_SERVICE_UNAVAILABLE,
                        SIPTAG_RETRY_AFTER_STR(std::to_string(in_retryAfter.count()).c_str()),
                        SIPTAG_SERVER_STR(in_strServer.c_str()), TAG_END());
    return 503;
}

int replyNotAllowed(nta_incoming_t* in_pRequest, const std::string& in_strServer)
{
    nta_incoming_treply(in_pRequest, SIP_405_METHOD_NOT_ALLOWED,
                        SIPTAG_ALLOW_STR(s_szAllowedMethods),
                        SIPTAG_SERVER_STR(in_strServer.c_str()), TAG_END());
    return 405;
}

int replyTooLong(nta_incoming_t* in_pRequest, const std::string& in_strServer)
{
    nta_incoming_treply(in_pRequest, SIP_513_MESSAGE_TOO_LARGE,
                        SIPTAG_SERVER_STR(in_strServer.c_str()), TAG_END());
    return 513;
}

std::size_t longestKeptHeader(const sip_t& in_sip)
{
    // The first of several headers in one line has the length of the line.
    std::size_t uiLongest =
        std::max({in_sip.sip_request->rq_common->h_len, in_sip.sip_from->a_common->h_len,
                  in_sip.sip_to->a_common->h_len, in_sip.sip_call_id->i_common->h_len,
                  in_sip.sip_cseq->cs_common->h_len});
    for (const sip_via_t* pVia = in_sip.sip_via; pVia != nullptr; pVia = pVia->v_next)
        uiLongest = std::max<std::size_t>(uiLongest, pVia->v_common->h_len);
    for (const sip_contact_t* pContact = in_sip.sip_contact; pContact != nullptr;
         pContact = pContact->m_next)
        uiLongest = std::max<std::size_t>(uiLongest, pContact->m_common->h_len);
    for (const sip_record_route_t* pRoute = in_sip.sip_record_route; pRoute != nullptr;
         pRoute = pRoute->r_next)
        uiLongest = std::max<std::size_t>(uiLongest, pRoute->r_common->h_len);
    return uiLongest;
}

SocketAddress sourceOf(nta_incoming_t* in_pRequest)
{
    const StackPointer<msg_t> pMessage(nta_incoming_getrequest(in_pRequest));
    su_sockaddr_t source{};
    socklen_t uiSize = sizeof(source);
    if (pMessage == nullptr || msg_get_address(pMessage.get(), &source, &uiSize) < 0)
        return {};
    return {&source.su_sa, uiSize};
}

std::string payloadOf(const sip_t& in_sip)
{
    const sip_payload_t* const pPayload = in_sip.sip_payload;
    return pPayload != nullptr ? std::string(pPayload->pl_data, pPayload->pl_len) : std::string();
}

} // namespace GatewayExample
