// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "MediaLine.h"
#include "RtpEncoding.h"

#include <cstdint>
#include <string>
#include <vector>

namespace GatewayExample
{

/// The negotiated session: one stream of audio (RFC 3264, RFC 4566).
struct Session
{
    /// The encodings that both ends support, in the order of this end's list.
    std::vector<RtpEncoding> encodings;
    std::string strRemoteAddress;
    std::uint16_t uiRemotePort = 0;
    /// The media lines of the offer. An answer repeats them, one by one.
    std::vector<MediaLine> lines;
};

/// Negotiates a session from an offer and this end's list of encodings.
///
/// Failure: throws `BadSessionDescription` if the offer cannot be read, has no audio over RTP, or
/// has no encoding of the list except telephone events.
[[nodiscard]] Session negotiate(const std::string& in_strOffer,
                                const std::vector<std::string>& in_encodings);

/// Returns the session that this end offers to a caller without an offer: the encodings of the list
/// that have a static payload type (RFC 3551), and telephone events.
[[nodiscard]] Session makeOffer(const std::vector<std::string>& in_encodings);

/// Returns the session description of this end.
[[nodiscard]] std::string describe(const Session& in_session, const std::string& in_strAddress,
                                   std::uint16_t in_uiPort);

/// Returns whether an encoding can be offered, which needs a payload type.
[[nodiscard]] bool isKnownEncoding(const std::string& in_strName);

/// Returns the names of all such encodings, separated by commas.
[[nodiscard]] std::string knownEncodings();

/// Returns the names of encodings, separated by commas.
[[nodiscard]] std::string namesOf(const std::vector<RtpEncoding>& in_encodings);

} // namespace GatewayExample
