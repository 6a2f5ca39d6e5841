// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "CallStatistics.h"
#include "EventLoop.h"
#include "RtpPorts.h"
#include "Settings.h"

#include "velmora/config/Configuration.h"

#include <sofia-sip/nta.h>

#include <chrono>

namespace GatewayExample
{

/// The objects and settings that all calls of a gateway share.
struct CallContext
{
    const EventLoop& loop;
    const Settings& settings;
    /// Contains the `CallParameters`.
    const Velmora::ROConfiguration& parameters;
    nta_agent_t* pAgent;
    /// How long a call rings before its called party answers.
    std::chrono::milliseconds answerAfter;
    RtpPorts rtpPorts;
    CallStatistics statistics{};
};

} // namespace GatewayExample
