// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/OS.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "velmora/system/StringVector.h"
#include "velmora/system/test/SyscallFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

using namespace Velmora;
using namespace Velmora::Test;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace
{

constexpr const char* s_szLogger = "keswardin.infra.os";
constexpr const char* s_szNoNamespace = "this process may not have a network of its own";

using Address = std::array<unsigned char, 6>;
constexpr Address s_address{0x02, 0x0A, 0x00, 0xFF, 0xB7, 0x09};
constexpr const char* s_szAddress = "02-0A-00-FF-B7-09";

LogLine debug(const std::string& in_strText) { return debugLine(s_szLogger, in_strText); }
LogLine warn(const std::string& in_strText) { return warnLine(s_szLogger, in_strText); }

LogLine found(const std::string& in_strName, const std::string& in_strAddress = s_szAddress)
{
    return debug("Found network adapter " + in_strName + " with MAC address: " + in_strAddress);
}

LogLine numberFound(std::size_t in_uiCount)
{
    return debug("Found " + std::to_string(in_uiCount) + " adapters, checking MAC addresses");
}

/// The network of the calling thread: adds and changes adapters.
class Network
{
  public:
    Network() : m_iSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Network()
    {
        close(m_iSocket);
        for (const int iAdapter : m_adapters)
            close(iAdapter);
    }
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// Adds an adapter with a hardware address. Returns false if that is not possible.
    bool addAdapter(const char* in_szName, const Address& in_address = s_address)
    {
        const int iAdapter = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
        if (iAdapter == -1)
            return false;
        m_adapters.push_back(iAdapter);
        ifreq request = requestFor(in_szName);
        request.ifr_flags = IFF_TAP | IFF_NO_PI;
        if (ioctl(iAdapter, TUNSETIFF, &request) == -1)
            return false;
        request = requestFor(in_szName);
        request.ifr_hwaddr.sa_family = ARPHRD_ETHER;
        std::memcpy(request.ifr_hwaddr.sa_data, in_address.data(), in_address.size());
        return ioctl(m_iSocket, SIOCSIFHWADDR, &request) == 0;
    }

    /// Assigns an IPv4 address to an adapter or an alias of it, so that the kernel lists it.
    bool setAddress(const std::string& in_strName)
    {
        ifreq request = requestFor(in_strName.c_str());
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(0x0A000001U + m_uiNumAddresses++);
        std::memcpy(&request.ifr_addr, &address, sizeof address);
        return ioctl(m_iSocket, SIOCSIFADDR, &request) == 0;
    }

    bool setUp(const char* in_szName)
    {
        ifreq request = requestFor(in_szName);
        request.ifr_flags = IFF_UP;
        return ioctl(m_iSocket, SIOCSIFFLAGS, &request) == 0;
    }

  private:
    static ifreq requestFor(const char* in_szName)
    {
        ifreq request{};
        std::strncpy(request.ifr_name, in_szName, IFNAMSIZ - 1);
        return request;
    }

    int m_iSocket;
    std::vector<int> m_adapters;
    unsigned int m_uiNumAddresses = 0;
};

/// The result of a query for the addresses, and the lines that it logged.
struct Outcome
{
    bool bResult = false;
    StringVector addresses{"what was there"};
    std::vector<LogLine> lines{};
};

Outcome look(LogLevel in_rootLevel = DEBUG_LOG_LEVEL)
{
    Outcome outcome;
    const CapturedLog log(in_rootLevel);
    outcome.bResult = OS::GetNetworkAdaptersPhysicalAddresses(outcome.addresses);
    outcome.lines = log.lines();
    return outcome;
}

/// Runs a function on a thread with a network namespace of its own. It has a loopback adapter
/// without an address. Returns false if there can be no such namespace.
bool doInNetwork(const std::function<void(Network&)>& in_work)
{
    bool bHasNetwork = false;
    std::thread(
        [&]
        {
            bHasNetwork = unshare(CLONE_NEWNET) == 0;
            if (!bHasNetwork)
                return;
            Network network;
            in_work(network);
        })
        .join();
    return bHasNetwork;
}

/// As `doInNetwork`, with an adapter "t0". Also returns false if the adapter cannot be created.
bool doInNetworkWithAdapter(const std::function<void(Network&)>& in_work)
{
    bool bHasAdapter = false;
    return doInNetwork(
               [&](Network& in_network)
               {
                   bHasAdapter = in_network.addAdapter("t0");
                   if (bHasAdapter)
                       in_work(in_network);
               }) &&
           bHasAdapter;
}

void addAliases(Network& in_network, int in_iCount)
{
    for (int i = 1; i <= in_iCount; ++i)
        EXPECT_TRUE(in_network.setAddress("t0:" + std::to_string(i)));
}

/// Lets a system call fail during the query for the address of "t0". Returns false if that is not
/// possible.
bool lookWhileCallFails(const FailingCall& in_call, Outcome& out_outcome)
{
    bool bFiltered = false;
    return doInNetworkWithAdapter(
               [&](Network& in_network)
               {
                   EXPECT_TRUE(in_network.setAddress("t0"));
                   bFiltered = makeCallsFail({in_call});
                   if (bFiltered)
                       out_outcome = look();
               }) &&
           bFiltered;
}

} // namespace

TEST(OSNetworkAdapters, AreThoseOfTheMachine)
{
    const Outcome outcome = look();
    EXPECT_TRUE(outcome.bResult);
    EXPECT_THAT(outcome.addresses, Not(Contains("what was there")));
    EXPECT_THAT(outcome.addresses,
                testing::Each(testing::MatchesRegex("[0-9A-F][0-9A-F](-[0-9A-F][0-9A-F]){5}")));
    for (std::size_t i = 0; i < outcome.addresses.size(); ++i)
        EXPECT_THAT(
            outcome.lines,
            Contains(testing::Field(&LogLine::strText, testing::EndsWith(" with MAC address: " +
                                                                         outcome.addresses[i]))));
}

TEST(OSNetworkAdapters, AreNoneInAnEmptyNetwork)
{
    if (!doInNetwork(
            [](Network&)
            {
                const Outcome outcome = look();
                EXPECT_TRUE(outcome.bResult);
                EXPECT_THAT(outcome.addresses, IsEmpty());
                EXPECT_THAT(outcome.lines, ElementsAre(numberFound(0)));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, LeaveOutTheLoopback)
{
    if (!doInNetwork(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("lo"));
                const Outcome outcome = look();
                EXPECT_TRUE(outcome.bResult);
                EXPECT_THAT(outcome.addresses, IsEmpty());
                EXPECT_THAT(outcome.lines,
                            ElementsAre(numberFound(1), debug("Skipping loopback adapter lo")));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, HaveAddressesInUpperCaseHexadecimal)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("t0"));
                const Outcome outcome = look();
                EXPECT_TRUE(outcome.bResult);
                EXPECT_THAT(outcome.addresses, ElementsAre(s_szAddress));
                EXPECT_THAT(outcome.lines, ElementsAre(numberFound(1), found("t0")));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, AreTakenInTheKernelsOrder)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                const Address other{0x02, 0x00, 0x00, 0x00, 0x00, 0x01};
                EXPECT_TRUE(in_network.addAdapter("a1", other));
                EXPECT_TRUE(in_network.setAddress("a1"));
                EXPECT_TRUE(in_network.setAddress("lo"));
                EXPECT_TRUE(in_network.setAddress("t0"));
                const Outcome outcome = look();
                EXPECT_THAT(outcome.addresses, ElementsAre(s_szAddress, "02-00-00-00-00-01"));
                EXPECT_THAT(outcome.lines,
                            ElementsAre(numberFound(3), debug("Skipping loopback adapter lo"),
                                        found("t0"), found("a1", "02-00-00-00-00-01")));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, AreTakenWhetherTheyAreUpOrDown)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("t0"));
                EXPECT_TRUE(in_network.setUp("t0"));
                EXPECT_TRUE(in_network.addAdapter("t1"));
                EXPECT_TRUE(in_network.setAddress("t1"));
                EXPECT_THAT(look().lines, ElementsAre(numberFound(2), found("t0"), found("t1")));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, WithoutAnAddressAreNotListed)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setUp("t0"));
                EXPECT_THAT(look().lines, ElementsAre(numberFound(0)));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, CountAnAliasByItself)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("t0"));
                addAliases(in_network, 1);
                const Outcome outcome = look();
                EXPECT_THAT(outcome.addresses, ElementsAre(s_szAddress, s_szAddress));
                EXPECT_THAT(outcome.lines, ElementsAre(numberFound(2), found("t0"), found("t0:1")));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, BeyondTwentyAreLeftOutWithAWarning)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("t0"));
                addAliases(in_network, 24);
                const Outcome outcome = look();
                EXPECT_TRUE(outcome.bResult);
                EXPECT_THAT(outcome.addresses, SizeIs(20));
                std::vector<LogLine> expected{
                    warn("Probably not all network devices will be tested for MAC address"),
                    numberFound(20), found("t0")};
                for (int i = 1; i < 20; ++i)
                    expected.push_back(found("t0:" + std::to_string(i)));
                EXPECT_THAT(outcome.lines, ElementsAreArray(expected));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, OfWhichThereAreTwentyWarnToo)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("t0"));
                addAliases(in_network, 19);
                EXPECT_THAT(
                    look(WARN_LOG_LEVEL).lines,
                    ElementsAre(
                        warn("Probably not all network devices will be tested for MAC address")));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, OfWhichThereAreNineteenDoNotWarn)
{
    if (!doInNetworkWithAdapter(
            [](Network& in_network)
            {
                EXPECT_TRUE(in_network.setAddress("t0"));
                addAliases(in_network, 18);
                const Outcome outcome = look(WARN_LOG_LEVEL);
                EXPECT_THAT(outcome.lines, IsEmpty());
                EXPECT_THAT(outcome.addresses, SizeIs(19));
            }))
        GTEST_SKIP() << s_szNoNamespace;
}

TEST(OSNetworkAdapters, WhoseFlagsCannotBeReadAreSkipped)
{
    Outcome outcome;
    if (!lookWhileCallFails({SYS_ioctl, EIO, 1, 0, SIOCGIFFLAGS}, outcome))
        GTEST_SKIP() << s_szNoNamespace << ", or " << s_szNoFilter;
    EXPECT_TRUE(outcome.bResult);
    EXPECT_THAT(outcome.addresses, IsEmpty());
    EXPECT_THAT(outcome.lines,
                ElementsAre(numberFound(1), warn("Could not get flags of network adapter t0"),
                            warn("cannot read the flags of t0: Input/output error")));
}

TEST(OSNetworkAdapters, WhoseHardwareAddressCannotBeReadAreSkipped)
{
    Outcome outcome;
    if (!lookWhileCallFails({SYS_ioctl, EIO, 1, 0, SIOCGIFHWADDR}, outcome))
        GTEST_SKIP() << s_szNoNamespace << ", or " << s_szNoFilter;
    EXPECT_TRUE(outcome.bResult);
    EXPECT_THAT(outcome.addresses, IsEmpty());
    EXPECT_THAT(outcome.lines,
                ElementsAre(numberFound(1),
                            debug("Could not get MAC address of network adapter t0"),
                            debug("cannot read the MAC address of t0: Input/output error")));
}

TEST(OSNetworkAdapters, ThatCannotBeListedFailAnAssertion)
{
    const CapturedLog log;
    StringVector addresses("what was there");
    if (!doWhileCallsFail({{SYS_ioctl, EIO, 1, 0, SIOCGIFCONF}}, [&addresses]
                          { EXPECT_FALSE(OS::GetNetworkAdaptersPhysicalAddresses(addresses)); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_THAT(addresses, IsEmpty());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("iorc != -1", "OS", s_szLogger)));
    ASSERT_THAT(log.lines(), SizeIs(2));
    EXPECT_EQ(errorLine(s_szLogger, "cannot list the network adapters: Input/output error"),
              log.lines().front());
}

TEST(OSNetworkAdapters, FailAnAssertionWithoutASocket)
{
    const CapturedLog log;
    StringVector addresses("what was there");
    if (!doWhileCallsFail({{SYS_socket, EMFILE}}, [&addresses]
                          { EXPECT_FALSE(OS::GetNetworkAdaptersPhysicalAddresses(addresses)); }))
        GTEST_SKIP() << s_szNoFilter;
    EXPECT_THAT(addresses, IsEmpty());
    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("sock != -1", "OS", s_szLogger)));
    ASSERT_THAT(log.lines(), SizeIs(2));
    EXPECT_EQ(errorLine(s_szLogger, "cannot open a socket: Too many open files"),
              log.lines().front());
}

TEST(OSNetworkAdapters, LeaveNoSocketBehind)
{
    const int iFree = dup(0);
    close(iFree);
    StringVector addresses;
    OS::GetNetworkAdaptersPhysicalAddresses(addresses);
    doWhileCallsFail({{SYS_ioctl, EIO, 1, 0, SIOCGIFCONF}},
                     [&addresses] { OS::GetNetworkAdaptersPhysicalAddresses(addresses); });
    EXPECT_EQ(iFree, dup(0));
    close(iFree);
}

TEST(OSNetworkAdapters, TraceTheirScope)
{
    const CapturedLog log(TRACE_LOG_LEVEL);
    StringVector addresses;
    EXPECT_TRUE(OS::GetNetworkAdaptersPhysicalAddresses(addresses));
    ASSERT_LE(2U, log.linesOf(s_szLogger).size());
    EXPECT_EQ(traceLine(s_szLogger, "entering OS::GetNetworkAdaptersPhysicalAddresses"),
              log.linesOf(s_szLogger).front());
    EXPECT_EQ(traceLine(s_szLogger, "exiting OS::GetNetworkAdaptersPhysicalAddresses"),
              log.linesOf(s_szLogger).back());
}
