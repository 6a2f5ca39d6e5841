// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/RtpPorts.h"

#include <gtest/gtest.h>

namespace Velmora::Test
{

using GatewayExample::RtpPorts;

TEST(RtpPorts, AreTheEvenOnesThatHaveTheNextOneInTheRangeToo)
{
    RtpPorts ports({20001, 20006});
    ASSERT_EQ(2U, ports.countFree());
    EXPECT_EQ(20002, ports.acquire());
    EXPECT_EQ(20004, ports.acquire());
    EXPECT_EQ(0U, ports.countFree());
    EXPECT_EQ(0U, RtpPorts({20001, 20002}).countFree());
    EXPECT_EQ(1U, RtpPorts({65534, 65535}).countFree());
}

TEST(RtpPorts, TheOneThatHasRestedLongestComesFirst)
{
    RtpPorts ports({20000, 20005});
    ports.release(ports.acquire());
    EXPECT_EQ(20002, ports.acquire());
    EXPECT_EQ(20004, ports.acquire());
    EXPECT_EQ(20000, ports.acquire());
}

} // namespace Velmora::Test
