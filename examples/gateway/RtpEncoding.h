// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>

namespace GatewayExample
{

/// An RTP encoding and its payload type in one session.
struct RtpEncoding
{
    unsigned int uiPayloadType;
    std::string strName;
    unsigned long uiRate;
};

} // namespace GatewayExample
