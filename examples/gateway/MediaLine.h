// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>

namespace GatewayExample
{

/// One "m=" line of a session description.
struct MediaLine
{
    std::string strType;
    std::string strTransport;
    std::string strFormats;
    bool bAccepted = false;
};

} // namespace GatewayExample
