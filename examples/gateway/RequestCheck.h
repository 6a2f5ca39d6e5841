// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sofia-sip/nta.h>

#include <string>

namespace GatewayExample
{

/// Decides whether a request outside of a call can be served, whatever it is about: where its
/// answer goes, its method, the scheme of its URI, the extensions it requires, and the types of its
/// body and of the answer's (RFC 3261, 8.2). The SIP stack has checked its syntax.
///
/// Of a method that the stack knows and the gateway does not serve, and of a request of an unknown
/// dialog, nothing is checked, because the answer does not depend on it.
class RequestCheck
{
  public:
    explicit RequestCheck(const sip_t& in_sip);

    /// The status with which the request must be refused, or 0.
    [[nodiscard]] int status() const { return m_iStatus; }

    /// A header of the refusal, which names what is not supported or what is, such as
    /// "Accept: application/sdp". Empty if the status needs none.
    [[nodiscard]] const std::string& header() const { return m_strHeader; }

    /// Refuses the request if it must be. Returns the status.
    int refuse(nta_incoming_t* in_pRequest, const std::string& in_strServer) const;

  private:
    int m_iStatus = 0;
    const char* m_szPhrase = nullptr;
    std::string m_strHeader;
};

} // namespace GatewayExample
