// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/Configuration.h"

#include <gtest/gtest.h>

#include <string>

namespace Velmora::Test
{

/// Sets the parameters that the parts of the gateway read. SIP and RTP are received at one address,
/// RTP at port 20000 only. No time ends during a test, and the load is not monitored.
inline void setGatewayParameters(Configuration& out_config, const std::string& in_strAddress)
{
    const auto set = [&out_config](const char* in_szName, const std::string& in_strValue)
    { EXPECT_TRUE(out_config.setStringParameter(in_szName, in_strValue.c_str())); };
    set("keswardin.sip.userAgent.IPAddress", "udp:" + in_strAddress + ":5060");
    set("keswardin.sip.userAgentName", "gateway");
    set("keswardin.media.rtp.IPAddress", in_strAddress);
    set("keswardin.media.rtp.udpPortRange", "20000-20001");
    set("keswardin.rtp.encodingList", "PCMU");
    for (const char* const szName :
         {"keswardin.sip.TimerT1", "keswardin.sip.TimerT2", "keswardin.sip.lifetimeTimer",
          "keswardin.gw.ringTimeoutMs", "keswardin.sip.state.Disconnecting.timeoutMs",
          "keswardin.media.rxStartTimeoutMs", "gateway.calls.retryAfterSec",
          "gateway.metrics.periodSec"})
        EXPECT_TRUE(out_config.setIntParameter(szName, 60000));
    EXPECT_TRUE(out_config.setIntParameter("gateway.calls.fileThreads", 4));
    for (const char* const szName : {"gateway.calls.most", "gateway.calls.newFromOneSourcePerSec",
                                     "gateway.memory.limitMB", "gateway.sip.longestHeader"})
        EXPECT_TRUE(out_config.setIntParameter(szName, 0));
    EXPECT_TRUE(out_config.setIntParameter("gateway.calls.monitor.monitoringPeriodInMs", 0));
    EXPECT_TRUE(out_config.setIntParameter("gateway.calls.monitor.averageWindowSize", 1));
    EXPECT_TRUE(out_config.setFloatParameter("gateway.calls.monitor.setAlarmThreshold", 2));
    EXPECT_TRUE(out_config.setFloatParameter("gateway.calls.monitor.resetAlarmThreshold", 1));
}

} // namespace Velmora::Test
