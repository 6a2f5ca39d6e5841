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

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

namespace Velmora::Test
{

namespace
{

using GatewayExample::Descriptor;
using GatewayExample::EventLoop;
using GatewayExample::Media;
using GatewayExample::RtpPorts;
using GatewayExample::Settings;
using testing::ElementsAre;

constexpr const char* s_szLogger = "keswardin.gateway.Media";
constexpr std::uint16_t s_uiPort = 20000;

class GatewayMedia : public testing::Test
{
  protected:
    GatewayMedia() { setGatewayParameters(m_config, m_strAddress); }

    /// Sends an RTP packet without the system calls that the tests make fail.
    void sendPacket()
    {
        const Descriptor caller(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(s_uiPort);
        ASSERT_EQ(1, inet_aton(m_strAddress.c_str(), &address.sin_addr));
        ASSERT_EQ(0,
                  connect(caller.number(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
        const std::array<unsigned char, 12> packet{0x80};
        EXPECT_EQ(12, write(caller.number(), packet.data(), packet.size()));
    }

    /// Lets the media of a call receive two packets, while a system call fails.
    void takeTwoPackets()
    {
        EventLoop loop;
        const Settings settings(m_config);
        RtpPorts ports(settings.rtpPorts);
        Media media(loop, settings, m_config, "call");
        EXPECT_NE("", media.open("", ports));
        for (int iPacket = 0; iPacket < 2; ++iPacket)
        {
            sendPacket();
            loop.step();
        }
    }

    const std::string m_strAddress = addressOfThisProcess();
    const CapturedLog m_log{WARN_LOG_LEVEL};
    TrieConfiguration m_config;
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

} // namespace Velmora::Test
