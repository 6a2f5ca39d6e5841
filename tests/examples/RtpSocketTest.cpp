// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/RtpSocket.h"

#include "tests/support/DescriptorLimit.h"
#include "tests/support/UdpServer.h"

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

namespace Velmora::Test
{

namespace
{

using GatewayExample::RtpPorts;
using GatewayExample::RtpSocket;

/// Returns the exception of a socket that cannot be opened; null if it can.
std::exception_ptr tryToOpen(const std::string& in_strAddress, RtpPorts& inout_ports)
{
    try
    {
        const RtpSocket socket(in_strAddress, inout_ports);
        return nullptr;
    }
    catch (...)
    {
        return std::current_exception();
    }
}

std::string textOf(const std::exception_ptr& in_pError)
{
    try
    {
        if (in_pError)
            std::rethrow_exception(in_pError);
        return "";
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
}

std::string errorOf(const std::string& in_strAddress, RtpPorts& inout_ports)
{
    return textOf(tryToOpen(in_strAddress, inout_ports));
}

/// Returns the number of descriptors of this process.
std::ptrdiff_t countDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

} // namespace

TEST(RtpSocket, HasAPortUntilItGoes)
{
    RtpPorts ports({20000, 20003});
    const std::string strAddress = addressOfThisProcess();
    std::optional<RtpSocket> first(std::in_place, strAddress, ports);
    const RtpSocket second(strAddress, ports);
    EXPECT_EQ(20000, first->port());
    EXPECT_EQ(20002, second.port());
    EXPECT_EQ("no RTP at " + strAddress + " : no port of the range is free",
              errorOf(strAddress, ports));
    first.reset();
    EXPECT_EQ("", errorOf(strAddress, ports));
    EXPECT_EQ(1U, ports.countFree());
}

TEST(RtpSocket, LeavesOutAPortThatAnotherProgramHas)
{
    const std::string strAddress = addressOfThisProcess();
    RtpPorts others({20000, 20001});
    std::optional<RtpSocket> other(std::in_place, strAddress, others);
    RtpPorts ports({20000, 20003});
    EXPECT_EQ(20002, RtpSocket(strAddress, ports).port());
    EXPECT_EQ(2U, ports.countFree());
    other.reset();
    EXPECT_EQ(20000, RtpSocket(strAddress, ports).port());
}

TEST(RtpSocket, AnAddressOfAnotherMachineIsReportedAndCostsNoPort)
{
    RtpPorts ports({20000, 20001});
    EXPECT_EQ("no RTP at 192.0.2.1 : Cannot assign requested address", errorOf("192.0.2.1", ports));
    EXPECT_EQ("no RTP at no address : not an IP address", errorOf("no address", ports));
    EXPECT_EQ(1U, ports.countFree());
}

TEST(RtpSocket, ALackOfDescriptorsIsReportedAndCostsNoPort)
{
    RtpPorts ports({20000, 20001});
    const std::string strAddress = addressOfThisProcess();
    std::exception_ptr pError;
    {
        const DescriptorLimit limit = DescriptorLimit::noneLeft();
        // The exception is examined later, because a sanitizer needs descriptors to do that.
        pError = tryToOpen(strAddress, ports);
    }
    EXPECT_EQ("no RTP at " + strAddress + " : Too many open files", textOf(pError));
    EXPECT_EQ("", errorOf(strAddress, ports));
}

TEST(RtpSocket, HasADescriptorUntilItGoes)
{
    RtpPorts ports({20000, 20001});
    const std::ptrdiff_t iBefore = countDescriptors();
    {
        const RtpSocket socket(addressOfThisProcess(), ports);
        EXPECT_EQ(iBefore + 1, countDescriptors());
    }
    EXPECT_EQ(iBefore, countDescriptors());
}

TEST(RtpSocket, OneThatCannotBeOpenedKeepsNoDescriptor)
{
    const std::string strAddress = addressOfThisProcess();
    RtpPorts ports({20000, 20001});
    const RtpSocket socket(strAddress, ports);
    RtpPorts others({20000, 20001});
    const std::ptrdiff_t iBefore = countDescriptors();
    EXPECT_NE("", errorOf(strAddress, ports)) << "no port is free";
    EXPECT_NE("", errorOf(strAddress, others)) << "another socket has the port";
    EXPECT_NE("", errorOf("192.0.2.1", others)) << "the address is one of another machine";
    EXPECT_NE("", errorOf("no address", others)) << "the text is no address";
    EXPECT_EQ(iBefore, countDescriptors());
}

} // namespace Velmora::Test
