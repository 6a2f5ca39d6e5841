#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/// A session description that cannot be read or is not acceptable; its text says why.
class BadSessionDescription : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// An RTP encoding with the payload type that stands for it in one session.
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

/// The session that both ends have come to: one stream of audio (RFC 3264, RFC 4566).
struct Session
{
    /// The encodings that both ends have, in the order of this end's list.
    std::vector<RtpEncoding> encodings;
    std::string strRemoteAddress;
    std::uint16_t uiRemotePort = 0;
    /// The lines of the offer, which an answer repeats one by one.
    std::vector<MediaLine> lines;
};

// An offer comes from the network: what cannot be read is refused, and nothing in it takes more
// than a time that grows with its length.

/// The session that an offer and this end's list of encodings come to.
///
/// Failure: throws `BadSessionDescription` when the offer cannot be read, has no audio over RTP, or
/// no encoding of the list but telephone events.
[[nodiscard]] Session agree(const std::string& in_strOffer,
                            const std::vector<std::string>& in_encodings);

/// The session that this end offers to a caller that offers nothing itself: the encodings of the
/// list that have a payload type of their own (RFC 3551), and telephone events.
[[nodiscard]] Session offered(const std::vector<std::string>& in_encodings);

/// The description of this end of the session.
[[nodiscard]] std::string describe(const Session& in_session, const std::string& in_strAddress,
                                   std::uint16_t in_uiPort);

/// The names of encodings, with commas between them.
[[nodiscard]] std::string namesOf(const std::vector<RtpEncoding>& in_encodings);
