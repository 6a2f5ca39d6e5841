// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "SocketAddress.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace GatewayExample
{

/// An INVITE for a new call, read from a datagram only as far as is needed to refuse it without the
/// SIP stack, whose transaction would cost ten times as much (RFC 3261, 8.2.7, has the rules for
/// such a stateless answer). The text must outlive this object.
class NewInvite
{
  public:
    /// Returns nothing if the datagram is anything else, or is written in a way that only the stack
    /// reads, such as with folded lines.
    [[nodiscard]] static std::optional<NewInvite> read(std::string_view in_strDatagram);

    [[nodiscard]] std::string_view callId() const { return m_strCallId; }

    /// Returns the answer "503 Service Unavailable".
    [[nodiscard]] std::string refusal(const SocketAddress& in_source, std::string_view in_strTag,
                                      std::string_view in_strServer,
                                      std::chrono::seconds in_retryAfter) const;

    /// Returns where the answer goes (RFC 3261, 18.2.2, and RFC 3581).
    [[nodiscard]] SocketAddress destination(const SocketAddress& in_source) const;

    /// Returns a number for the transaction, the same each time that the INVITE is repeated.
    [[nodiscard]] std::size_t transaction() const;

  private:
    NewInvite() = default;

    bool readHeader(std::string_view in_strName, std::string_view in_strValue,
                    std::string_view in_strLine);
    bool readVia(std::string_view in_strValue);

    /// The lines of the headers Via, in order.
    std::vector<std::string_view> m_vias;
    std::string_view m_strFrom;
    std::string_view m_strTo;
    std::string_view m_strCallId;
    std::string_view m_strCSeq;
    // Of the first Via.
    std::string_view m_strHost;
    std::uint16_t m_uiPort = 0;
    /// The end of the name of the parameter "rport"; null if there is none.
    const char* m_pRportEnd = nullptr;
};

/// Returns whether a datagram is an ACK whose To has a tag that begins so.
[[nodiscard]] bool isAckWithTag(std::string_view in_strDatagram, std::string_view in_strTagBegin);

} // namespace GatewayExample
