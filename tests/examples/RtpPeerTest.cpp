// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/RtpPeer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

#include <netinet/in.h>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::RtpPeer;
using GatewayExample::SocketAddress;

SocketAddress at(const std::string& in_strHost, std::uint16_t in_uiPort)
{
    return SocketAddress::parse(in_strHost, in_uiPort).value();
}

const RtpPeer::Time s_now = std::chrono::steady_clock::now();
const SocketAddress s_signalling = at("10.0.0.1", 5060);
const SocketAddress s_described = at("10.0.0.1", 6000);
const SocketAddress s_private = at("192.168.1.2", 6000);

} // namespace

TEST(RtpPeer, IsTheDescribedAddressAndPort)
{
    RtpPeer peer(s_described, s_signalling);
    peer.answer(s_now);
    EXPECT_FALSE(peer.isSource(at("10.0.0.1", 6002), s_now)) << "another port";
    EXPECT_FALSE(peer.isSource(at("10.0.0.2", 6000), s_now)) << "another address";
    EXPECT_FALSE(peer.isSource(s_signalling, s_now)) << "where SIP comes from";
    EXPECT_TRUE(peer.isSource(s_described, s_now));
    EXPECT_TRUE(peer.isSource(s_described, s_now + 1h));
    EXPECT_EQ("10.0.0.1:6000", peer.expected());
}

TEST(RtpPeer, MayBeThereBeforeTheAnswer)
{
    RtpPeer peer(s_described, s_signalling);
    EXPECT_TRUE(peer.isSource(s_described, s_now));
}

TEST(RtpPeer, BehindANatIsLearnedFromItsFirstPacket)
{
    RtpPeer peer(s_private, s_signalling);
    peer.answer(s_now);
    EXPECT_EQ("192.168.1.2:6000, or within 2 s of the answer from 10.0.0.1", peer.expected());
    EXPECT_FALSE(peer.isSource(at("10.0.0.2", 6000), s_now)) << "a stranger";
    EXPECT_TRUE(peer.isSource(at("10.0.0.1", 31000), s_now + 2s));
    EXPECT_EQ("10.0.0.1:31000", peer.expected());
    EXPECT_FALSE(peer.isSource(at("10.0.0.1", 31001), s_now + 2s)) << "only the first counts";
    EXPECT_FALSE(peer.isSource(s_private, s_now + 2s)) << "only the first counts";
    EXPECT_TRUE(peer.isSource(at("10.0.0.1", 31000), s_now + 1h));
}

TEST(RtpPeer, IsNotLearnedBeforeTheAnswer)
{
    RtpPeer peer(s_private, s_signalling);
    EXPECT_FALSE(peer.isSource(at("10.0.0.1", 31000), s_now));
    peer.answer(s_now);
    EXPECT_TRUE(peer.isSource(at("10.0.0.1", 31001), s_now));
}

TEST(RtpPeer, IsNotLearnedLaterThanTwoSecondsAfterTheAnswer)
{
    RtpPeer peer(s_private, s_signalling);
    peer.answer(s_now);
    EXPECT_FALSE(peer.isSource(at("10.0.0.1", 31000), s_now + 2s + 1ns));
    EXPECT_TRUE(peer.isSource(s_private, s_now + 1h)) << "what it has described stays good";
}

TEST(RtpPeer, ThatDescribesNoIpAddressIsLearned)
{
    RtpPeer peer(std::nullopt, s_signalling);
    peer.answer(s_now);
    EXPECT_EQ("within 2 s of the answer from 10.0.0.1", peer.expected());
    EXPECT_TRUE(peer.isSource(at("10.0.0.1", 31000), s_now));
}

TEST(RtpPeer, ThatDescribesItsAddressLaterIsNotLearnedAnyMore)
{
    RtpPeer peer(std::nullopt, s_signalling);
    peer.answer(s_now);
    peer.describe(s_described);
    EXPECT_FALSE(peer.isSource(at("10.0.0.1", 31000), s_now));
    EXPECT_TRUE(peer.isSource(s_described, s_now));
}

TEST(SocketAddress, OfIPv4IsTheSameInTheFormOfIPv6)
{
    const SocketAddress v4 = at("10.0.0.1", 6000);
    const SocketAddress mapped = at("::ffff:10.0.0.1", 6000);
    EXPECT_EQ(v4, mapped);
    EXPECT_EQ(sizeof(sockaddr_in6), mapped.size());
    EXPECT_EQ("10.0.0.1:6000", mapped.text());
    EXPECT_FALSE(v4 == at("::ffff:10.0.0.1", 6001));
}

TEST(SocketAddress, OfIPv6HasBrackets)
{
    EXPECT_EQ("[2001:db8::1]:6000", at("2001:db8::1", 6000).text());
    EXPECT_EQ("[2001:db8::1]", at("2001:db8::1", 6000).hostText());
    EXPECT_FALSE(at("2001:db8::1", 6000) == at("2001:db8::2", 6000));
}

TEST(SocketAddress, IsNotReadFromAName)
{
    for (const char* const szText : {"localhost", "", "10.0.0", "10.0.0.256", "[::1]"})
        EXPECT_FALSE(SocketAddress::parse(szText, 1)) << szText;
}

TEST(SocketAddress, ThatIsNoneIsUnequalToAll)
{
    const SocketAddress none;
    EXPECT_FALSE(none == SocketAddress());
    EXPECT_FALSE(none == at("0.0.0.0", 0));
    EXPECT_EQ("no address", none.hostText());
}

} // namespace Velmora::Test
