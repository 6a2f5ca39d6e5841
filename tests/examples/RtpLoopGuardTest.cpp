// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/RtpLoopGuard.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <initializer_list>

namespace Velmora::Test
{

namespace
{

using GatewayExample::RtpLoopGuard;
using Packet = std::array<std::byte, 12>;

constexpr unsigned int s_uiRepeats = RtpLoopGuard::s_uiRepeats;

Packet packet(unsigned int in_uiNumber, unsigned int in_uiSource = 7)
{
    Packet made{std::byte{0x80}};
    made[2] = static_cast<std::byte>(in_uiNumber >> 8);
    made[3] = static_cast<std::byte>(in_uiNumber);
    made[11] = static_cast<std::byte>(in_uiSource);
    return made;
}

/// Uses up what a call has.
void repeat(RtpLoopGuard& inout_guard, const Packet& in_packet)
{
    for (unsigned int ui = 0; ui < s_uiRepeats; ++ui)
        ASSERT_TRUE(inout_guard.lets(in_packet)) << ui;
    ASSERT_FALSE(inout_guard.lets(in_packet));
}

/// Returns how many packets are answered when packets go in a circle through two guards.
int rounds(std::initializer_list<Packet> in_packets)
{
    std::array<RtpLoopGuard, 2> guards;
    std::array<std::deque<Packet>, 2> ways{std::deque<Packet>(in_packets), {}};
    int iAnswered = 0;
    while (!ways[0].empty() || !ways[1].empty())
        for (std::size_t i = 0; i < 2; ++i)
            for (std::size_t uiLeft = ways[i].size(); uiLeft > 0; --uiLeft)
            {
                if (guards[i].lets(ways[i].front()))
                {
                    ways[1 - i].push_back(ways[i].front());
                    if (++iAnswered > 100000)
                        return iAnswered;
                }
                ways[i].pop_front();
            }
    return iAnswered;
}

} // namespace

TEST(RtpLoopGuard, LetsAStreamPass)
{
    RtpLoopGuard guard;
    for (unsigned int ui = 65000; ui < 65000 + 100000; ++ui)
        ASSERT_TRUE(guard.lets(packet(ui % 65536))) << ui;
}

TEST(RtpLoopGuard, LetsPacketsChangePlacesAndBeLost)
{
    RtpLoopGuard guard;
    EXPECT_TRUE(guard.lets(packet(100)));
    repeat(guard, packet(100));
    for (const unsigned int uiNumber :
         {104U, 102U, 101U, 103U, 90U, 70U, 120U, 2000U, 4999U, 4990U})
        EXPECT_TRUE(guard.lets(packet(uiNumber))) << uiNumber;
}

TEST(RtpLoopGuard, LetsTheSamePacketPassALimitedNumberOfTimes)
{
    RtpLoopGuard guard;
    EXPECT_TRUE(guard.lets(packet(1)));
    repeat(guard, packet(1));
    EXPECT_TRUE(guard.lets(packet(2)));
    EXPECT_FALSE(guard.lets(packet(1)));
    EXPECT_FALSE(guard.lets(packet(2)));
}

TEST(RtpLoopGuard, LetsANewSourcePassFromItsSecondPacketOn)
{
    RtpLoopGuard guard;
    EXPECT_TRUE(guard.lets(packet(1)));
    repeat(guard, packet(1));
    EXPECT_FALSE(guard.lets(packet(500, 8)));
    EXPECT_TRUE(guard.lets(packet(501, 8)));
    EXPECT_TRUE(guard.lets(packet(502, 8)));
}

TEST(RtpLoopGuard, LetsASourceStartAgain)
{
    RtpLoopGuard guard;
    EXPECT_TRUE(guard.lets(packet(10000)));
    repeat(guard, packet(10000));
    EXPECT_FALSE(guard.lets(packet(20)));
    EXPECT_TRUE(guard.lets(packet(21)));
    EXPECT_TRUE(guard.lets(packet(22)));
}

TEST(RtpLoopGuard, EndsEachCircle)
{
    EXPECT_GE(int{2 * s_uiRepeats + 2}, rounds({packet(1)}));
    EXPECT_GE(1000, rounds({packet(1), packet(1)}));
    EXPECT_GE(1000, rounds({packet(1), packet(1, 8)}));
    EXPECT_GE(1000, rounds({packet(1), packet(2), packet(1, 8), packet(2, 8)}));
    EXPECT_GE(1000, rounds({packet(1), packet(5000), packet(5001), packet(20000), packet(20001)}));
    EXPECT_GE(5000, rounds({packet(1), packet(2), packet(3), packet(4), packet(1, 8), packet(2, 8),
                            packet(3, 8), packet(4, 8)}));
}

} // namespace Velmora::Test
