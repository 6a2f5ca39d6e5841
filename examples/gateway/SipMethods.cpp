// SPDX-License-Identifier: BSD-2-Clause

#include "SipMethods.h"

#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

namespace GatewayExample
{

int replyToOptions(nta_incoming_t* in_pRequest, const std::string& in_strServer)
{
    nta_incoming_treply(in_pRequest, SIP_200_OK, SIPTAG_ALLOW_STR(s_szAllowedMethods),
                        SIPTAG_ACCEPT_STR("application/sdp"),
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

std::string payloadOf(const sip_t& in_sip)
{
    const sip_payload_t* const pPayload = in_sip.sip_payload;
    return pPayload != nullptr ? std::string(pPayload->pl_data, pPayload->pl_len) : std::string();
}

} // namespace GatewayExample
