// SPDX-License-Identifier: BSD-2-Clause

#include "RequestCheck.h"

#include "IgnoringCase.h"
#include "SipMethods.h"
#include "SocketAddress.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <sofia-sip/nta_tag.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

#include <string_view>

namespace GatewayExample
{

namespace
{

/// Returns whether a request is served outside of a call.
bool isServed(sip_method_t in_method)
{
    return in_method == sip_method_invite || in_method == sip_method_options;
}

bool isSupportedScheme(const url_t& in_url)
{
    return in_url.url_type == url_sip || in_url.url_type == url_sips || in_url.url_type == url_tel;
}

/// Returns the items of a header, separated by commas.
std::string textOf(const msg_list_t* in_pList)
{
    std::string strItems;
    if (in_pList == nullptr || in_pList->k_items == nullptr)
        return strItems;
    for (const msg_param_t* pItem = in_pList->k_items; *pItem != nullptr; ++pItem)
        strItems += (strItems.empty() ? "" : ", ") + std::string(*pItem);
    return strItems;
}

bool isSessionDescription(const char* in_szType)
{
    return in_szType != nullptr && equalsIgnoringCase(in_szType, s_szAcceptedType);
}

/// Returns whether the body is plain or has no encoding header.
bool isPlain(const sip_content_encoding_t* in_pEncoding)
{
    const std::string strEncodings = textOf(in_pEncoding);
    return strEncodings.empty() || equalsIgnoringCase(strEncodings, "identity");
}

/// Returns whether the sender of an INVITE accepts a session description. It does if it lists no
/// types (RFC 3261, 20.1).
bool acceptsSessionDescription(const sip_accept_t* in_pAccept)
{
    if (in_pAccept == nullptr)
        return true;
    for (const sip_accept_t* pType = in_pAccept; pType != nullptr; pType = pType->ac_next)
        if (pType->ac_type != nullptr &&
            (isSessionDescription(pType->ac_type) || equalsIgnoringCase(pType->ac_type, "*/*") ||
             equalsIgnoringCase(pType->ac_type, "application/*")))
            return true;
    return false;
}

/// Returns whether the last parameter of a URI begins with "lr" and continues. The SIP stack reads
/// beyond the end of such parameters.
bool isMisreadByStack(const url_t& in_url)
{
    const std::string_view params = in_url.url_params != nullptr ? in_url.url_params : "";
    const std::string_view last = params.substr(params.rfind(';') + 1);
    return last.size() > 2 && equalsIgnoringCase(last.substr(0, 2), "lr") && last[2] != '=';
}

bool hasMisreadRoute(const sip_record_route_t* in_pRoutes)
{
    for (const sip_record_route_t* pRoute = in_pRoutes; pRoute != nullptr; pRoute = pRoute->r_next)
        if (isMisreadByStack(*pRoute->r_url))
            return true;
    return false;
}

/// Returns whether an answer can be sent where the topmost Via asks for it: by UDP, and to an
/// address. The stack looks up no name.
bool isAnswerable(const sip_via_t& in_via)
{
    if (in_via.v_protocol == nullptr || !equalsIgnoringCase(in_via.v_protocol, "SIP/2.0/UDP"))
        return false;
    if (in_via.v_maddr == nullptr)
        return true;
    std::string strHost = in_via.v_maddr;
    boost::algorithm::trim_if(strHost, boost::algorithm::is_any_of("[]"));
    return SocketAddress::parse(strHost, 0).has_value();
}

} // namespace

RequestCheck::RequestCheck(const sip_t& in_sip)
{
    const auto object =
        [this](int in_iStatus, const char* in_szPhrase, const std::string& in_strHeader = {})
    {
        m_iStatus = in_iStatus;
        m_szPhrase = in_szPhrase;
        m_strHeader = in_strHeader;
    };
    const sip_request_t& request = *in_sip.sip_request;
    if (in_sip.sip_to->a_tag != nullptr)
        return;
    if (request.rq_method == sip_method_unknown)
        object(SIP_501_NOT_IMPLEMENTED, std::string("Allow: ") + s_szAllowedMethods);
    if (!isServed(request.rq_method))
        return;
    const bool bHasBody = in_sip.sip_payload != nullptr && in_sip.sip_payload->pl_len != 0;
    if (!isAnswerable(*in_sip.sip_via) || hasMisreadRoute(in_sip.sip_record_route))
        object(SIP_400_BAD_REQUEST);
    else if (!isSupportedScheme(*request.rq_url))
        object(SIP_416_UNSUPPORTED_URI);
    else if (const std::string strRequired = textOf(in_sip.sip_require); !strRequired.empty())
        object(SIP_420_BAD_EXTENSION, "Unsupported: " + strRequired);
    else if (bHasBody && in_sip.sip_content_type != nullptr &&
             !isSessionDescription(in_sip.sip_content_type->c_type))
        object(SIP_415_UNSUPPORTED_MEDIA, std::string("Accept: ") + s_szAcceptedType);
    else if (bHasBody && !isPlain(in_sip.sip_content_encoding))
        object(SIP_415_UNSUPPORTED_MEDIA, "Accept-Encoding: identity");
    else if (request.rq_method == sip_method_invite &&
             !acceptsSessionDescription(in_sip.sip_accept))
        object(SIP_406_NOT_ACCEPTABLE);
}

int RequestCheck::refuse(nta_incoming_t* in_pRequest, const std::string& in_strServer) const
{
    if (m_iStatus != 0)
        nta_incoming_treply(in_pRequest, m_iStatus, m_szPhrase,
                            TAG_IF(!m_strHeader.empty(), SIPTAG_HEADER_STR(m_strHeader.c_str())),
                            SIPTAG_SERVER_STR(in_strServer.c_str()), TAG_END());
    return m_iStatus;
}

} // namespace GatewayExample
