// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "BadSessionDescription.h"
#include "MediaLine.h"
#include "RtpEncoding.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace GatewayExample
{

/// One stream that a caller offers: a media line and the lines below it.
struct OfferedMedia
{
    MediaLine line;
    unsigned int uiPort = 0;
    /// Empty if the offer has none.
    std::string strAddress;
    /// In the order of the caller.
    std::vector<unsigned int> payloadTypes;
    /// The encodings of the payload types that have an "a=rtpmap".
    std::map<unsigned int, RtpEncoding> rtpMaps;
    /// The "a=rtpmap" attributes that cannot be read, by their payload types. They matter only if
    /// no other payload type can be used.
    std::map<unsigned int, std::string> badRtpMaps;
};

/// Reads an offer line by line, by the grammar of RFC 4566: a value may hold all bytes except NUL,
/// CR and LF, but only printable ones in the lines that are used. A line may end without CR, and
/// blank lines may follow the last one, as some telephones send them.
///
/// The offer comes from the network: a malformed one is refused, and the time to read it is linear
/// in its length.
///
/// Failure: throws `BadSessionDescription` with the line that cannot be read.
[[nodiscard]] std::vector<OfferedMedia> readOffer(const std::string& in_strOffer);

/// Returns the error for a line that cannot be read, without its control bytes, because it goes to
/// the log.
[[nodiscard]] BadSessionDescription unreadable(std::string_view in_strLine);

} // namespace GatewayExample
