// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "MediaLine.h"
#include "RtpEncoding.h"

#include <map>
#include <string>
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
};

/// Reads an offer. It comes from the network: a malformed one is refused, and the time to read it
/// is linear in its length.
///
/// Failure: throws `BadSessionDescription` with the line that cannot be read.
[[nodiscard]] std::vector<OfferedMedia> readOffer(const std::string& in_strOffer);

} // namespace GatewayExample
