#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace GatewayExample
{

/// Reports a session description that cannot be read or is not acceptable; `what` has the reason.
class BadSessionDescription : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// An RTP encoding and its payload type in one session.
struct RtpEncoding
{
    unsigned int uiPayloadType;
    std::string strName;
    unsigned long uiRate;
};

/// One "m=" line of a session description.
struct MediaLine
{
    std::string strType;
    std::string strTransport;
    std::string strFormats;
    bool bAccepted = false;
};

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

// An offer comes from the network. A malformed offer is refused, and the time to read one is linear
// in its length.

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

/// Returns the names of encodings, separated by commas.
[[nodiscard]] std::string namesOf(const std::vector<RtpEncoding>& in_encodings);

} // namespace GatewayExample
