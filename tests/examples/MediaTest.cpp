// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/Media.h"

#include "examples/gateway/Descriptor.h"

#include "tests/examples/GatewayParameters.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/UdpServer.h"
#include "velmora/config/TrieConfiguration.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using GatewayExample::CallContext;
using GatewayExample::Descriptor;
using GatewayExample::EventLoop;
using GatewayExample::Media;
using GatewayExample::RtpPorts;
using GatewayExample::Settings;
using GatewayExample::SocketAddress;
using testing::ElementsAre;

constexpr const char* s_szLogger = "keswardin.gateway.Media";
constexpr std::uint16_t s_uiPort = 20000;

class GatewayMedia : public testing::Test
{
  protected:
    GatewayMedia() { setGatewayParameters(m_config, m_strAddress); }

    /// Opens the caller's socket, connected to the call's.
    [[nodiscard]] int openCaller() const
    {
        const int iCaller = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const auto own = SocketAddress::parse(m_strAddress, 0).value();
        EXPECT_EQ(0, bind(iCaller, own.data(), own.size()));
        const auto address = SocketAddress::parse(m_strAddress, s_uiPort).value();
        EXPECT_EQ(0, connect(iCaller, address.data(), address.size()));
        return iCaller;
    }

    /// Sends an RTP packet without the system calls that the tests make fail.
    static void sendPacket(const Descriptor& in_caller, std::uint8_t in_uiNumber)
    {
        const std::array<unsigned char, 12> packet{0x80, 0, 0, in_uiNumber};
        EXPECT_EQ(12, write(in_caller.number(), packet.data(), packet.size()));
    }

    /// Lets the media of a call receive packets of one source.
    void takePackets(const std::vector<std::uint8_t>& in_numbers)
    {
        EventLoop loop;
        const Settings settings(m_config);
        CallContext context{loop, settings, m_config, nullptr, {}, RtpPorts(settings.rtpPorts)};
        Media media(context, "call");
        EXPECT_NE("", media.open("", SocketAddress::parse(m_strAddress, 5060).value()));
        media.answer();
        const Descriptor caller(openCaller());
        for (const std::uint8_t uiNumber : in_numbers)
        {
            sendPacket(caller, uiNumber);
            loop.step();
        }
        m_uiDropped = context.statistics.uiRtpDropped;
    }

    void takeTwoPackets() { takePackets({1, 2}); }

    const std::string m_strAddress = addressOfThisProcess();
    const CapturedLog m_log{WARN_LOG_LEVEL};
    TrieConfiguration m_config;
    std::uint64_t m_uiDropped = 0;
};

} // namespace

TEST_F(GatewayMedia, PacketsThatCannotBeReceivedAreWarnedOfOnceACall)
{
    if (!doWhileCallsFail({{SYS_recvfrom, ENOMEM}}, [this] { takeTwoPackets(); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_THAT(m_log.lines(),
                ElementsAre(warnLine(s_szLogger, "leg=1 call-id=call RTP cannot be received: "
                                                 "Cannot allocate memory; packets are lost")));
}

TEST_F(GatewayMedia, PacketsThatCannotBeSentBackAreWarnedOfOnceACall)
{
    if (!doWhileCallsFail({{SYS_sendto, EPERM}}, [this] { takeTwoPackets(); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_THAT(m_log.lines(),
                ElementsAre(warnLine(s_szLogger, "leg=1 call-id=call RTP cannot be sent: "
                                                 "Operation not permitted; packets are lost")));
}

TEST_F(GatewayMedia, AnInterruptionIsNoLoss)
{
    if (!doWhileCallsFail({{SYS_recvfrom, EINTR}}, [this] { takeTwoPackets(); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_THAT(m_log.lines(), ElementsAre());
}

TEST_F(GatewayMedia, PacketsThatGoInACircleAreDroppedInTheEndAndWarnedOfOnce)
{
    takePackets(std::vector<std::uint8_t>(GatewayExample::RtpLoopGuard::s_uiRepeats + 3, 1));
    EXPECT_EQ(2U, m_uiDropped);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(testing::Field(
                    &LogLine::strText,
                    testing::MatchesRegex("leg=1 call-id=call RTP from [0-9.:]+ is dropped : the "
                                          "same packets are repeated too often ; expected from "
                                          "[0-9.:]+"))));
}

} // namespace Velmora::Test
