// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/RemoteSyslogAppender.h"

#include "tests/support/CapturedAssertions.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/Locales.h"
#include "tests/support/NumberedText.h"
#include "tests/support/Threads.h"
#include "tests/support/UdpServer.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/SyslogHosts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/configurator.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/layout.h>
#include <log4cplus/spi/loggingevent.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <iomanip>
#include <locale>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using log4cplus::helpers::Properties;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* s_szTypeName = "velmora::RemoteSyslogAppender";

/// Returns a configuration of log4cplus in which the logger "keswardin.test" logs to appenders with
/// the given names and properties.
Properties configurationOf(const std::vector<std::pair<std::string, Properties>>& in_appenders)
{
    Properties result;
    std::string strLogger = "TRACE";
    for (const auto& [strName, properties] : in_appenders)
    {
        strLogger += ", " + strName;
        const std::string strAppender = "log4cplus.appender." + strName;
        result.setProperty(strAppender, s_szTypeName);
        for (const std::string& strProperty : properties.propertyNames())
            result.setProperty(strAppender + "." + strProperty,
                               properties.getProperty(strProperty));
    }
    result.setProperty("log4cplus.logger.keswardin.test", strLogger);
    return result;
}

/// The texts that reached log4cplus's default error handler, which each appender has at first.
std::vector<std::string> g_errors;

/// The answers of `gethostbyname_r`. While there is no object, the real function answers.
struct NameService
{
    std::vector<std::string> addresses;
    /// The bytes that an answer needs. With less memory, the function returns ERANGE.
    std::size_t uiMemoryNeeded = 0;
    int iAddressType = AF_INET;
    std::vector<std::string> asked;
    /// Called before each answer.
    std::function<void()> wait = [] {};
};
std::optional<NameService> g_nameService;

/// The destination of a datagram. While `g_destinations` has a list, datagrams are noted there and
/// are not sent.
struct Destination
{
    std::string strAddress;
    int iPort;
    bool operator==(const Destination&) const = default;
};
std::optional<std::vector<Destination>> g_destinations;

/// Makes `socket` fail as it does in a process without a free descriptor.
bool g_bNoSockets = false;

std::ostream& operator<<(std::ostream& out_stream, const Destination& in_destination)
{
    return out_stream << in_destination.strAddress << ':' << in_destination.iPort;
}

log4cplus::spi::InternalLoggingEvent eventOf(int in_level, const std::string& in_strText)
{
    return {"keswardin.test", in_level, in_strText, nullptr, -1};
}

Properties propertiesFor(const std::string& in_strPort)
{
    Properties properties;
    properties.setProperty("Hostname", "127.0.0.1");
    properties.setProperty("Port", in_strPort);
    properties.setProperty("layout", "log4cplus::PatternLayout");
    properties.setProperty("layout.ConversionPattern", "%m");
    return properties;
}

Properties with(Properties in_properties, const std::string& in_strName,
                const std::string& in_strValue)
{
    in_properties.setProperty(in_strName, in_strValue);
    return in_properties;
}

Properties without(Properties in_properties, const std::string& in_strName)
{
    in_properties.removeProperty(in_strName);
    return in_properties;
}

/// Provides a server, and properties for appenders that send it the text of each line alone.
class RemoteSyslog : public testing::Test
{
  protected:
    RemoteSyslog() { g_errors.clear(); }
    ~RemoteSyslog() override
    {
        g_nameService.reset();
        g_destinations.reset();
        g_bNoSockets = false;
    }

    [[nodiscard]] Properties properties() const
    {
        return propertiesFor(std::to_string(m_server.port()));
    }

    /// Sends one line with a facility, and returns all of its datagrams. The line "end", from
    /// another appender, follows the last one.
    std::vector<std::string> datagramsOf(const std::string& in_strFacility, int in_level,
                                         const std::string& in_strText)
    {
        RemoteSyslogAppender appender(with(properties(), "Facility", in_strFacility));
        appender.doAppend(eventOf(in_level, in_strText));
        RemoteSyslogAppender(properties()).doAppend(eventOf(INFO_LOG_LEVEL, "end"));
        EXPECT_THAT(g_errors, IsEmpty());
        return m_server.receiveUntil("<13>end");
    }

    std::string datagramOf(const std::string& in_strFacility, int in_level,
                           const std::string& in_strText)
    {
        const std::vector<std::string> datagrams =
            datagramsOf(in_strFacility, in_level, in_strText);
        EXPECT_THAT(datagrams, SizeIs(1));
        return datagrams.empty() ? "" : datagrams[0];
    }

    UdpServer m_server;
};

/// The same with threads on all processors: the server has pinned this thread, and a new thread
/// inherits that.
class RemoteSyslogOnThreads : public RemoteSyslog
{
  protected:
    RemoteSyslogOnThreads()
    {
        cpu_set_t processors;
        std::memset(&processors, 0xFF, sizeof processors);
        EXPECT_EQ(sched_setaffinity(0, sizeof processors, &processors), 0);
    }
};

/// Makes an appender and returns the errors that it reports.
std::vector<std::string> errorsOf(const Properties& in_properties)
{
    g_errors.clear();
    const RemoteSyslogAppender appender(in_properties);
    return g_errors;
}

/// A layout that is a function.
class FunctionLayout : public log4cplus::Layout
{
  public:
    using Function = std::function<void(std::ostream&, const std::string&)>;

    explicit FunctionLayout(Function in_function) : m_function(std::move(in_function)) {}

    void formatAndAppend(log4cplus::tostream& out_stream,
                         const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        m_function(out_stream, in_event.getMessage());
    }

  private:
    Function m_function;
};

/// Returns the destinations of a line's datagrams. Nothing is sent.
std::vector<Destination> destinationsOf(const Properties& in_properties)
{
    RemoteSyslogAppender appender(in_properties);
    g_destinations.emplace();
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    return *std::exchange(g_destinations, std::nullopt);
}

std::vector<int> openDescriptors()
{
    std::vector<int> result;
    for (int iDescriptor = 0; iDescriptor < 1024; ++iDescriptor)
        if (fcntl(iDescriptor, F_GETFD) != -1)
            result.push_back(iDescriptor);
    return result;
}

} // namespace

// The properties

TEST_F(RemoteSyslog, OpensWithHostAndPort) { EXPECT_THAT(errorsOf(properties()), IsEmpty()); }

TEST_F(RemoteSyslog, AnAbsentOrEmptyHostIsReported)
{
    EXPECT_THAT(errorsOf(without(properties(), "Hostname")), ElementsAre("Invalid SyslogHostname"));
    EXPECT_THAT(errorsOf(with(properties(), "Hostname", "")),
                ElementsAre("Invalid SyslogHostname"));
}

TEST_F(RemoteSyslog, APortThatIsNoIntegerAbove0IsReported)
{
    for (const char* const szPort : {"0", "-1", "514.0", "abc", "true", "5 14", "0x0", "4294967295",
                                     "4294967296", "99999999999", "1e3"})
        EXPECT_THAT(errorsOf(propertiesFor(szPort)), ElementsAre("Invalid Port")) << szPort;
}

TEST_F(RemoteSyslog, AFacilityThatIsNoIntegerAbove0IsReported)
{
    for (const char* const szFacility : {"0", "-8", "8.0", "user", "false", "8 16", "00"})
        EXPECT_THAT(errorsOf(with(properties(), "Facility", szFacility)),
                    ElementsAre("Invalid Facility"))
            << szFacility;
}

TEST_F(RemoteSyslog, OnlyTheFirstInvalidPropertyIsReported)
{
    const Properties invalid = with(with(properties(), "Port", "none"), "Facility", "none");

    EXPECT_THAT(errorsOf(invalid), ElementsAre("Invalid Port"));
    EXPECT_THAT(errorsOf(with(invalid, "Hostname", "")), ElementsAre("Invalid SyslogHostname"));
}

TEST_F(RemoteSyslog, AnAbsentOrEmptyPortIs514)
{
    const Destination expected{"127.0.0.1", 514};
    EXPECT_THAT(destinationsOf(without(properties(), "Port")), ElementsAre(expected));
    EXPECT_THAT(destinationsOf(propertiesFor("")), ElementsAre(expected));
}

TEST_F(RemoteSyslog, APortIsReadAsAParameterValueIs)
{
    for (const auto& [szPort, iPort] : {std::pair{"1", 1},
                                        {"65535", 65535},
                                        {"+514", 514},
                                        {"0x202", 514},
                                        {"01002", 514},
                                        {" 514\t", 514}})
        EXPECT_THAT(destinationsOf(propertiesFor(szPort)),
                    ElementsAre(Destination{"127.0.0.1", iPort}))
            << szPort;
}

TEST_F(RemoteSyslog, ALargerPortThanThereAreKeepsItsLow16Bits)
{
    EXPECT_THAT(destinationsOf(propertiesFor("66050")), ElementsAre(Destination{"127.0.0.1", 514}));
}

TEST_F(RemoteSyslog, AnAbsentOrEmptyFacilityIsTheUserFacility)
{
    EXPECT_EQ(datagramOf("", ERROR_LOG_LEVEL, "text"), "<11>text");
    RemoteSyslogAppender(properties()).doAppend(eventOf(ERROR_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<11>text");
}

TEST_F(RemoteSyslog, ReadsWhatEachAppenderReads)
{
    RemoteSyslogAppender appender(with(properties(), "Threshold", "WARN"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "below"));
    appender.doAppend(eventOf(WARN_LOG_LEVEL, "not below"));
    EXPECT_EQ(m_server.receive(), "<12>not below");
}

// Opening

TEST_F(RemoteSyslog, ANameThatIsNotFoundIsReportedTwice)
{
    g_nameService.emplace();

    testing::internal::CaptureStderr();
    EXPECT_THAT(errorsOf(with(properties(), "Hostname", "nobody")),
                ElementsAre("gethostbyname failed", "failed to open RemoteSyslogAppender"));
    EXPECT_EQ("log4cplus:ERROR cannot look up nobody: Unknown host\n",
              testing::internal::GetCapturedStderr());
    EXPECT_THAT(g_nameService->asked, ElementsAre("nobody"));
}

TEST_F(RemoteSyslog, ANameThatTheRealServiceRefusesIsReportedTwice)
{
    // Longer than a host name can be, so the resolver asks no name server.
    EXPECT_THAT(errorsOf(with(properties(), "Hostname", std::string(2000, 'x'))),
                ElementsAre("gethostbyname failed", "failed to open RemoteSyslogAppender"));
}

TEST_F(RemoteSyslog, AnAddressOfAnotherFamilyIsNoAddress)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.1"};
    g_nameService->iAddressType = AF_INET6;

    testing::internal::CaptureStderr();
    EXPECT_THAT(errorsOf(with(properties(), "Hostname", "host6")),
                ElementsAre("gethostbyname failed", "failed to open RemoteSyslogAppender"));
    EXPECT_EQ("log4cplus:ERROR cannot look up host6: No address associated with name\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(RemoteSyslog, ASocketThatCannotBeMadeIsReportedTwice)
{
    g_bNoSockets = true;

    testing::internal::CaptureStderr();
    EXPECT_THAT(errorsOf(properties()),
                ElementsAre("socket() failed", "failed to open RemoteSyslogAppender"));
    EXPECT_EQ("log4cplus:ERROR cannot open a socket for 127.0.0.1: Too many open files\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(RemoteSyslog, TheFirstAddressOfTheNameIsTaken)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.7", "127.0.0.8"};

    EXPECT_THAT(destinationsOf(with(propertiesFor("1514"), "Hostname", "logs")),
                ElementsAre(Destination{"127.0.0.7", 1514}));
}

TEST_F(RemoteSyslog, ANameWithALargerAnswerThanUsualIsFound)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.7"};
    g_nameService->uiMemoryNeeded = 10'000;

    EXPECT_THAT(destinationsOf(with(propertiesFor("1514"), "Hostname", "logs")),
                ElementsAre(Destination{"127.0.0.7", 1514}));
}

TEST_F(RemoteSyslog, TheNameIsLookedUpOnce)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.1"};
    RemoteSyslogAppender appender(with(properties(), "Hostname", "logs"));

    g_nameService->addresses = {"127.0.0.2"};
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "first"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "second"));

    EXPECT_THAT(m_server.receive(2), ElementsAre("<13>first", "<13>second"));
    EXPECT_THAT(g_nameService->asked, ElementsAre("logs"));
}

TEST_F(RemoteSyslog, ARealNameIsLookedUp)
{
    RemoteSyslogAppender appender(with(properties(), "Hostname", "localhost"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<13>text");
}

TEST_F(RemoteSyslog, OneThatFailedToOpenDropsItsLines)
{
    const std::vector<int> before = openDescriptors();
    g_nameService.emplace();
    for (const Properties& failing :
         {with(properties(), "Hostname", ""), propertiesFor("none"),
          with(properties(), "Facility", "none"), with(properties(), "Hostname", "nobody")})
    {
        RemoteSyslogAppender appender(failing);
        EXPECT_FALSE(appender.isClosed());
        appender.doAppend(eventOf(INFO_LOG_LEVEL, "dropped"));
        EXPECT_EQ(openDescriptors(), before);
    }
    g_nameService.reset();
    g_errors.clear();
    EXPECT_THAT(datagramsOf("8", INFO_LOG_LEVEL, "sent"), ElementsAre("<13>sent"));
}

TEST_F(RemoteSyslog, OneThatFailedToOpenMayBeOpenedLater)
{
    g_nameService.emplace();
    RemoteSyslogAppender appender(with(properties(), "Hostname", "logs"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "dropped"));
    EXPECT_FALSE(appender.open());
    g_nameService->addresses = {"127.0.0.1"};

    EXPECT_TRUE(appender.open());

    appender.doAppend(eventOf(INFO_LOG_LEVEL, "sent"));
    EXPECT_EQ(m_server.receive(), "<13>sent");
}

TEST_F(RemoteSyslog, OpeningAgainTakesNoFurtherDescriptor)
{
    RemoteSyslogAppender appender(properties());
    const std::vector<int> before = openDescriptors();

    EXPECT_TRUE(appender.open());

    EXPECT_EQ(openDescriptors(), before);
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<13>text");
}

TEST_F(RemoteSyslog, ANameThatIsNoLongerFoundLeavesOneThatIsOpenAsItIs)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.1"};
    RemoteSyslogAppender appender(with(properties(), "Hostname", "logs"));
    g_nameService->addresses.clear();

    EXPECT_FALSE(appender.open());

    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<13>text");
}

TEST_F(RemoteSyslog, LinesDoNotWaitForANameServiceThatIsSilent)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.1"};
    RemoteSyslogAppender appender(with(properties(), "Hostname", "logs"));
    std::promise<void> asked;
    std::promise<void> answer;
    g_nameService->wait = [&asked, &answer]
    {
        asked.set_value();
        answer.get_future().wait();
    };
    std::thread thread([&appender] { EXPECT_TRUE(appender.open()); });
    asked.get_future().wait();

    appender.doAppend(eventOf(INFO_LOG_LEVEL, "during the look-up"));
    EXPECT_EQ(m_server.receive(), "<13>during the look-up");

    answer.set_value();
    thread.join();
}

// Closing

TEST_F(RemoteSyslog, ClosingGivesTheDescriptorBack)
{
    const std::vector<int> before = openDescriptors();
    RemoteSyslogAppender appender(properties());
    ASSERT_EQ(openDescriptors().size(), before.size() + 1);

    appender.close();

    EXPECT_TRUE(appender.isClosed());
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RemoteSyslog, ClosingTwiceClosesNobodyElsesDescriptor)
{
    RemoteSyslogAppender appender(properties());
    appender.close();
    const UdpServer takesItsDescriptor;
    const std::vector<int> before = openDescriptors();

    appender.close();

    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RemoteSyslog, DestructionGivesTheDescriptorBack)
{
    const std::vector<int> before = openDescriptors();
    std::optional<RemoteSyslogAppender> appender(std::in_place, properties());
    ASSERT_EQ(openDescriptors().size(), before.size() + 1);

    appender.reset();

    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RemoteSyslog, AClosedOneSendsNothingUntilItIsOpenedAgain)
{
    RemoteSyslogAppender appender(properties());
    appender.close();
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "dropped"));

    EXPECT_TRUE(appender.open());

    EXPECT_FALSE(appender.isClosed());
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "sent"));
    EXPECT_EQ(m_server.receive(), "<13>sent");
}

TEST_F(RemoteSyslog, CommandsDoNotGetTheSocket)
{
    const std::vector<int> before = openDescriptors();
    const RemoteSyslogAppender appender(properties());
    std::vector<int> after = openDescriptors();
    std::erase_if(after, [&before](int in_iDescriptor)
                  { return std::count(before.begin(), before.end(), in_iDescriptor) != 0; });
    ASSERT_THAT(after, SizeIs(1));
    EXPECT_EQ(fcntl(after[0], F_GETFD), FD_CLOEXEC);
}

// The message

TEST_F(RemoteSyslog, EachLevelHasItsSeverity)
{
    EXPECT_EQ(datagramOf("8", FATAL_LOG_LEVEL, "text"), "<10>text");
    EXPECT_EQ(datagramOf("8", ERROR_LOG_LEVEL, "text"), "<11>text");
    EXPECT_EQ(datagramOf("8", WARN_LOG_LEVEL, "text"), "<12>text");
    EXPECT_EQ(datagramOf("8", INFO_LOG_LEVEL, "text"), "<13>text");
    EXPECT_EQ(datagramOf("8", DEBUG_LOG_LEVEL, "text"), "<14>text");
    EXPECT_EQ(datagramOf("8", TRACE_LOG_LEVEL, "text"), "<15>text");
}

TEST_F(RemoteSyslog, TheFacilityIsAddedAsItIsGiven)
{
    EXPECT_EQ(datagramOf("128", WARN_LOG_LEVEL, "text"), "<132>text");
    EXPECT_EQ(datagramOf("1", FATAL_LOG_LEVEL, "text"), "<3>text");
    EXPECT_EQ(datagramOf("5", DEBUG_LOG_LEVEL, "text"), "<11>text");
}

TEST_F(RemoteSyslog, APriorityBeyondTheIntegersIsWrittenAsTheirNegativeEnd)
{
    EXPECT_EQ(datagramOf("2147483640", TRACE_LOG_LEVEL, "text"), "<2147483647>text");
    // The sum of 2147483647 and the severity 7 wraps.
    EXPECT_EQ(datagramOf("2147483647", TRACE_LOG_LEVEL, "text"), "<-2147483642>text");
}

TEST_F(RemoteSyslog, TheTextIsWhatTheLayoutGives)
{
    RemoteSyslogAppender appender(with(properties(), "layout.ConversionPattern", "%p %c: %m%n"));
    appender.doAppend(eventOf(WARN_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<12>WARN keswardin.test: text\n");
}

TEST_F(RemoteSyslog, WithoutALayoutTheTextIsThatOfTheSimpleLayout)
{
    RemoteSyslogAppender appender(
        without(without(properties(), "layout"), "layout.ConversionPattern"));
    appender.doAppend(eventOf(WARN_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<12>WARN - text\n");
}

TEST_F(RemoteSyslog, BytesOfAllKindsGoOutAsTheyAre)
{
    std::string strText;
    for (int iByte = 0; iByte < 256; ++iByte)
        strText.push_back(static_cast<char>(iByte));
    EXPECT_EQ(datagramOf("8", INFO_LOG_LEVEL, strText), "<13>" + strText);
}

TEST_F(RemoteSyslog, AnEmptyTextIsNotSent)
{
    EXPECT_THAT(datagramsOf("8", INFO_LOG_LEVEL, ""), IsEmpty());
}

TEST_F(RemoteSyslog, ATextOfOneByteIsSent)
{
    EXPECT_EQ(datagramOf("8", INFO_LOG_LEVEL, "x"), "<13>x");
}

TEST_F(RemoteSyslog, LinesGoOutInOrder)
{
    RemoteSyslogAppender appender(properties());
    std::vector<std::string> expected;
    for (int iLine = 0; iLine < 50; ++iLine)
    {
        appender.doAppend(eventOf(INFO_LOG_LEVEL, "line " + std::to_string(iLine)));
        expected.push_back("<13>line " + std::to_string(iLine));
    }
    EXPECT_EQ(m_server.receive(50), expected);
}

TEST_F(RemoteSyslog, AFailureToSendIsIgnored)
{
    // The system refuses broadcasts from a socket without SO_BROADCAST.
    RemoteSyslogAppender appender(with(properties(), "Hostname", "255.255.255.255"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, numberedText(5000)));
    EXPECT_THAT(g_errors, IsEmpty());
}

TEST_F(RemoteSyslog, ALayoutMayLogToTheSameAppender)
{
    RemoteSyslogAppender appender(properties());
    bool bLogged = false;
    appender.setLayout(std::make_unique<FunctionLayout>(
        [&appender, &bLogged](std::ostream& out_stream, const std::string& in_strText)
        {
            out_stream << "before, ";
            if (!std::exchange(bLogged, true))
                appender.doAppend(eventOf(ERROR_LOG_LEVEL, "inner"));
            out_stream << in_strText;
        }));

    appender.doAppend(eventOf(INFO_LOG_LEVEL, "outer"));
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "next"));

    EXPECT_THAT(m_server.receive(3),
                ElementsAre("<11>before, inner", "<13>before, outer", "<13>before, next"));
}

TEST_F(RemoteSyslog, WhatALayoutDoesToTheStreamIsForItsLineOnly)
{
    RemoteSyslogAppender appender(properties());
    appender.setLayout(std::make_unique<FunctionLayout>(
        [](std::ostream& out_stream, const std::string& in_strText)
        {
            out_stream << in_strText << 255 << ' ' << 1.5 << '.' << std::setw(3) << 7;
            out_stream << std::hex << std::setprecision(1) << std::setfill('x') << std::setw(9);
            out_stream.setstate(std::ios_base::failbit);
        }));

    for (int iLine = 0; iLine < 2; ++iLine)
    {
        appender.doAppend(eventOf(INFO_LOG_LEVEL, "line "));
        EXPECT_EQ(m_server.receive(), "<13>line 255 1.5.  7");
    }
}

TEST_F(RemoteSyslog, TheLocaleAndTheExceptionsOfALayoutAreForItsLineOnly)
{
    const GlobalLocale locale;
    RemoteSyslogAppender appender(properties());
    appender.setLayout(std::make_unique<FunctionLayout>(
        [](std::ostream& out_stream, const std::string& in_strText)
        {
            out_stream << in_strText << 5060 << ' ' << (out_stream.exceptions() != 0);
            out_stream.imbue(groupingLocale());
            out_stream.exceptions(std::ios_base::failbit);
        }));

    for (int iLine = 0; iLine < 2; ++iLine)
    {
        appender.doAppend(eventOf(INFO_LOG_LEVEL, "line "));
        EXPECT_EQ(m_server.receive(), "<13>line 5060 0");
    }
}

TEST_F(RemoteSyslog, ALayoutThatThrowsDoesNotSpoilTheLinesThatFollow)
{
    RemoteSyslogAppender appender(properties());
    appender.setLayout(std::make_unique<FunctionLayout>(
        [](std::ostream& out_stream, const std::string& in_strText)
        {
            out_stream << in_strText;
            if (in_strText == "throws")
                throw std::runtime_error("layout");
        }));

    EXPECT_THROW(appender.doAppend(eventOf(INFO_LOG_LEVEL, "throws")), std::runtime_error);
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));

    EXPECT_EQ(m_server.receive(), "<13>text");
}

TEST_F(RemoteSyslog, ALaterLineAllocatesNothing)
{
    RemoteSyslogAppender appender(properties());
    const log4cplus::spi::InternalLoggingEvent event = eventOf(INFO_LOG_LEVEL, numberedText(800));

    EXPECT_EQ(allocationsOfLaterCalls([&] { appender.doAppend(event); }), 0);
}

TEST_F(RemoteSyslog, ALineAfterALayoutThatThrewAllocatesNothing)
{
    RemoteSyslogAppender appender(properties());
    bool bThrows = true;
    appender.setLayout(std::make_unique<FunctionLayout>(
        [&bThrows](std::ostream& out_stream, const std::string& in_strText)
        {
            out_stream << in_strText;
            if (std::exchange(bThrows, false))
                throw std::runtime_error("layout");
        }));
    const log4cplus::spi::InternalLoggingEvent event = eventOf(INFO_LOG_LEVEL, numberedText(800));
    EXPECT_THROW(appender.doAppend(event), std::runtime_error);

    EXPECT_EQ(allocationsOfLaterCalls([&] { appender.doAppend(event); }), 0);
}

TEST_F(RemoteSyslog, AShortLineAfterAHugeOneIsWhole)
{
    RemoteSyslogAppender appender(with(properties(), "Hostname", "255.255.255.255"));
    g_destinations.emplace();
    appender.doAppend(eventOf(INFO_LOG_LEVEL, numberedText(100'000)));
    // 896 bytes of text in each datagram.
    EXPECT_THAT(*g_destinations, SizeIs(112));
    g_destinations->clear();
    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    EXPECT_THAT(*g_destinations, SizeIs(1));
}

TEST_F(RemoteSyslog, NumbersAreWrittenAsTheyAreWhateverTheLocaleOfTheProgram)
{
    class GroupsOfThree : public std::numpunct<char>
    {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupsOfThree));
    RemoteSyslogAppender appender(properties());
    appender.setLayout(
        std::make_unique<FunctionLayout>([](std::ostream& out_stream, const std::string& in_strText)
                                         { out_stream << in_strText << 1234567; }));

    appender.doAppend(eventOf(INFO_LOG_LEVEL, "text "));

    std::locale::global(before);
    EXPECT_EQ("<13>text 1234567", m_server.receive());
}

// Long texts. With facility 1, a FATAL line has the header "<3>", and the 900 bytes of a datagram
// hold 897 bytes of text.

TEST_F(RemoteSyslog, AMessageOf900BytesIsOneDatagram)
{
    const std::string strText = numberedText(897);
    EXPECT_THAT(datagramsOf("1", FATAL_LOG_LEVEL, strText), ElementsAre("<3>" + strText));
}

TEST_F(RemoteSyslog, AShorterRestThanTheHeaderIsSentWhole)
{
    for (const std::size_t uiLength : {898u, 899u})
    {
        const std::string strText = numberedText(uiLength);
        EXPECT_THAT(datagramsOf("1", FATAL_LOG_LEVEL, strText),
                    ElementsAre("<3>" + strText.substr(0, 897), "<3>" + strText.substr(897)))
            << uiLength;
    }
}

TEST_F(RemoteSyslog, ARestAsLongAsTheHeaderIsWhatStoodInItsPlace)
{
    const std::string strText = numberedText(900);
    EXPECT_THAT(datagramsOf("1", FATAL_LOG_LEVEL, strText),
                ElementsAre("<3>" + strText.substr(0, 897), "<3>" + strText.substr(0, 3)));
}

TEST_F(RemoteSyslog, ALongerRestLosesAsManyBytesAtItsEndAsTheHeaderHas)
{
    const std::string strText = numberedText(1000);
    EXPECT_THAT(datagramsOf("1", FATAL_LOG_LEVEL, strText),
                ElementsAre("<3>" + strText.substr(0, 897),
                            "<3>" + strText.substr(897, 100) + strText.substr(100, 3)));
}

TEST_F(RemoteSyslog, AShorterRestThanTheHeaderIsSentWholeInTheThirdDatagramToo)
{
    // The message has 1799 bytes with its header. After the first datagram 899 are left, which make
    // 902 with a header. After the second one 2 are left.
    const std::string strText = numberedText(1796);
    EXPECT_THAT(datagramsOf("1", FATAL_LOG_LEVEL, strText),
                ElementsAre("<3>" + strText.substr(0, 897),
                            "<3>" + strText.substr(897, 896) + strText.substr(896, 1),
                            "<3>" + strText.substr(897, 2)));
}

TEST_F(RemoteSyslog, ATextOf5000BytesLosesItsLastBytesOnly)
{
    const std::string strText = numberedText(5000);

    const std::vector<std::string> datagrams = datagramsOf("128", WARN_LOG_LEVEL, strText);

    ASSERT_THAT(datagrams, SizeIs(6));
    EXPECT_THAT(datagrams, Each(StartsWith("<132>")));
    std::string strJoined;
    for (const std::string& datagram : datagrams)
    {
        EXPECT_EQ(datagram.size(), &datagram == &datagrams.back() ? 530u : 900u);
        strJoined += datagram.substr(5);
    }
    const std::string strStale = datagrams[4].substr(525, 5);
    EXPECT_EQ(strJoined, strText.substr(0, 4995) + strStale);
}

TEST_F(RemoteSyslog, AnyLengthGoesOutWithTheLongestHeader)
{
    const std::string strHeader = "<-2147483642>";
    for (std::size_t uiLength = 880; uiLength < 920; ++uiLength)
    {
        const std::string strText = numberedText(uiLength);
        const std::vector<std::string> datagrams =
            datagramsOf("2147483647", TRACE_LOG_LEVEL, strText);
        EXPECT_EQ(datagrams.at(0), strHeader + strText.substr(0, 887));
        if (uiLength <= 887)
            EXPECT_THAT(datagrams, SizeIs(1)) << uiLength;
        else if (uiLength < 887 + strHeader.size())
            EXPECT_EQ(datagrams.at(1), strHeader + strText.substr(887)) << uiLength;
        else
            EXPECT_EQ(datagrams.at(1).size(), strHeader.size() + uiLength - 887) << uiLength;
    }
}

// A line whose level has no severity

TEST_F(RemoteSyslog, ALevelWithoutASeverityFailsAnAssertionAndGoesOutWithSeverity0)
{
    const CapturedLog log;

    EXPECT_EQ(datagramOf("8", 35000, "text"), "<8>text");

    EXPECT_THAT(failedAssertions(log),
                ElementsAre(failedAssertion("Fallible object used in invalid state", "Fallible",
                                            "keswardin.infra.Fallible")));
}

TEST_F(RemoteSyslog, TheAssertionMayComeToTheSameAppender)
{
    const CapturedLog log;
    log4cplus::Logger::getRoot().addAppender(
        log4cplus::SharedAppenderPtr(new RemoteSyslogAppender(properties())));

    Logger("keswardin.test").forcedLog(35000, "text", nullptr, -1);

    EXPECT_THAT(m_server.receive(2),
                ElementsAre(StartsWith("<11>Assertion failed (Fallible object used in invalid "
                                       "state) file=velmora/application/Fallible.h line="),
                            "<8>text"));
}

// The factory

TEST_F(RemoteSyslog, TheFactoryIsKnownOnceTheLibraryIsLoaded)
{
    const auto* const pFactory = log4cplus::spi::getAppenderFactoryRegistry().get(s_szTypeName);

    ASSERT_NE(pFactory, nullptr);
    EXPECT_NE(dynamic_cast<const RemoteSyslogAppender::Factory*>(pFactory), nullptr);
    EXPECT_EQ(pFactory->getTypeName(), s_szTypeName);
}

TEST_F(RemoteSyslog, TheFirstFactoryStays)
{
    const auto* const pFactory = log4cplus::spi::getAppenderFactoryRegistry().get(s_szTypeName);

    RemoteSyslogAppender::registerFactory();

    EXPECT_EQ(log4cplus::spi::getAppenderFactoryRegistry().get(s_szTypeName), pFactory);
    EXPECT_EQ(pFactory->getTypeName(), s_szTypeName);
}

TEST_F(RemoteSyslog, TheFactoryHandsOverAnAppender)
{
    const std::vector<int> before = openDescriptors();
    log4cplus::SharedAppenderPtr pAppender =
        RemoteSyslogAppender::Factory().createObject(properties());

    ASSERT_NE(dynamic_cast<RemoteSyslogAppender*>(pAppender.get()), nullptr);
    pAppender->doAppend(eventOf(INFO_LOG_LEVEL, "text"));
    EXPECT_EQ(m_server.receive(), "<13>text");
    pAppender = nullptr;
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RemoteSyslog, AConfigurationOfLog4cplusNamesIt)
{
    const CapturedLog log;
    log4cplus::PropertyConfigurator(configurationOf({{"SYSLOG", properties()}})).configure();

    VELMORA_LOG(Logger("keswardin.test.Trunk"), WARN_LOG_LEVEL, "trunk " << 7);

    EXPECT_EQ(m_server.receive(), "<12>trunk 7");
}

TEST_F(RemoteSyslog, ReconfiguringClosesIt)
{
    const std::vector<int> before = openDescriptors();
    const CapturedLog log;
    const log4cplus::SharedAppenderPtr pAppender(new RemoteSyslogAppender(properties()));
    log4cplus::Logger::getRoot().addAppender(pAppender);

    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();

    EXPECT_TRUE(pAppender->isClosed());
    EXPECT_EQ(openDescriptors(), before);
}

// Hosts that are looked up ahead

TEST_F(RemoteSyslog, HostsOfAConfigurationAreNotLookedUpAgain)
{
    const CapturedLog log;
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.1"};
    log4cplus::PropertyConfigurator configurator(
        configurationOf({{"A", with(properties(), "Hostname", "logs")},
                         {"B", with(properties(), "Hostname", "logs")},
                         {"C", with(properties(), "Hostname", "")},
                         {"D", without(properties(), "Hostname")}}));
    const SyslogHosts hosts(configurator.getProperties());
    g_nameService->addresses.clear();

    configurator.configure();

    EXPECT_THAT(g_nameService->asked, ElementsAre("logs"));
    EXPECT_THAT(g_errors, ElementsAre("Invalid SyslogHostname", "Invalid SyslogHostname"));
    VELMORA_LOG(Logger("keswardin.test"), INFO_LOG_LEVEL, "text");
    EXPECT_THAT(m_server.receive(2), ElementsAre("<13>text", "<13>text"));
}

TEST_F(RemoteSyslog, AHostThatWasNotFoundIsNotLookedUpAgainEither)
{
    g_nameService.emplace();
    Properties appender = with(properties(), "Hostname", "nobody");
    const SyslogHosts hosts(
        log4cplus::PropertyConfigurator(configurationOf({{"A", appender}})).getProperties());

    EXPECT_THAT(errorsOf(appender),
                ElementsAre("gethostbyname failed", "failed to open RemoteSyslogAppender"));
    EXPECT_THAT(g_nameService->asked, ElementsAre("nobody"));
}

TEST_F(RemoteSyslog, OtherHostsAreLookedUpAsEver)
{
    g_nameService.emplace();
    Properties configuration;
    configuration.setProperty("appender.A", "log4cplus::SysLogAppender");
    configuration.setProperty("appender.A.Hostname", "of another appender");
    const SyslogHosts hosts(configuration);
    EXPECT_THAT(g_nameService->asked, IsEmpty());

    EXPECT_FALSE(SyslogHosts::addressOf("other"));

    EXPECT_THAT(g_nameService->asked, ElementsAre("other"));
}

TEST_F(RemoteSyslog, WhatWasLookedUpAheadIsForgottenAtTheEnd)
{
    g_nameService.emplace();
    g_nameService->addresses = {"127.0.0.1"};
    Properties configuration;
    configuration.setProperty("appender.A", s_szTypeName);
    configuration.setProperty("appender.A.Hostname", "logs");
    {
        const SyslogHosts hosts(configuration);
        {
            const SyslogHosts newer{Properties()};
            EXPECT_TRUE(SyslogHosts::addressOf("logs"));
        }
        EXPECT_TRUE(SyslogHosts::addressOf("logs"));
        EXPECT_THAT(g_nameService->asked, SizeIs(1));
    }
    EXPECT_TRUE(SyslogHosts::addressOf("logs"));
    EXPECT_THAT(g_nameService->asked, SizeIs(2));
}

TEST_F(RemoteSyslog, WhatWasLookedUpAheadIsForItsThreadOnly)
{
    g_nameService.emplace();
    Properties configuration;
    configuration.setProperty("appender.A", s_szTypeName);
    configuration.setProperty("appender.A.Hostname", "logs");
    const SyslogHosts hosts(configuration);

    std::thread([] { EXPECT_FALSE(SyslogHosts::addressOf("logs")); }).join();

    EXPECT_THAT(g_nameService->asked, SizeIs(2));
}

// Threads

TEST_F(RemoteSyslogOnThreads, ThreadsLogWhileItIsOpenedRepeatedly)
{
    RemoteSyslogAppender appender(properties());
    const std::string strText(60, 'x');
    std::atomic<int> iLogging = 4;
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < 4; ++iThread)
        threads.emplace_back(
            [&appender, &strText, &iLogging]
            {
                for (int iLine = 0; iLine < 25; ++iLine)
                    appender.doAppend(eventOf(INFO_LOG_LEVEL, strText));
                --iLogging;
            });
    do
        EXPECT_TRUE(appender.open());
    while (iLogging != 0);
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_THAT(m_server.receive(100), Each("<13>" + strText));
}

TEST_F(RemoteSyslogOnThreads, AThreadLogsWhileItIsClosed)
{
    RemoteSyslogAppender appender(properties());
    std::atomic<bool> bStop = false;
    std::thread thread(
        [&appender, &bStop]
        {
            while (!bStop)
                appender.doAppend(eventOf(INFO_LOG_LEVEL, "text"));
        });
    const std::string strFirst = m_server.receive();

    appender.close();
    bStop = true;
    thread.join();

    EXPECT_EQ(strFirst, "<13>text");
    EXPECT_TRUE(appender.isClosed());
}

TEST_F(RemoteSyslogOnThreads, ThreadsMakeAppendersConcurrently)
{
    onThreads(4,
              [properties = with(properties(), "Hostname", "localhost")]
              {
                  for (int iTime = 0; iTime < 10; ++iTime)
                      RemoteSyslogAppender(properties).doAppend(eventOf(INFO_LOG_LEVEL, "text"));
              });

    EXPECT_THAT(m_server.receive(40), Each("<13>text"));
}

} // namespace Velmora::Test

// These replace functions of log4cplus and of the C library, for the library under test too: the
// dynamic linker searches the program first.

namespace log4cplus
{

void OnlyOnceErrorHandler::error(const tstring& in_strText)
{
    Velmora::Test::g_errors.push_back(in_strText);
}

} // namespace log4cplus

extern "C" [[gnu::visibility("default")]] int socket(int in_iDomain, int in_iType,
                                                     int in_iProtocol) noexcept
{
    if (!Velmora::Test::g_bNoSockets)
        return static_cast<int>(syscall(SYS_socket, in_iDomain, in_iType, in_iProtocol));
    errno = EMFILE;
    return -1;
}

extern "C" [[gnu::visibility("default")]] ssize_t sendto(int in_iSocket, const void* in_pMessage,
                                                         size_t in_uiLength, int in_iFlags,
                                                         const sockaddr* in_pAddress,
                                                         socklen_t in_uiAddress)
{
    using namespace Velmora::Test;
    if (!g_destinations)
        return syscall(SYS_sendto, in_iSocket, in_pMessage, in_uiLength, in_iFlags, in_pAddress,
                       in_uiAddress);
    sockaddr_in address{};
    EXPECT_EQ(in_uiAddress, sizeof address);
    std::memcpy(&address, in_pAddress, sizeof address);
    EXPECT_EQ(address.sin_family, AF_INET);
    g_destinations->push_back({inet_ntoa(address.sin_addr), ntohs(address.sin_port)});
    return static_cast<ssize_t>(in_uiLength);
}

extern "C" [[gnu::visibility("default")]] int gethostbyname_r(const char* in_szName,
                                                              hostent* out_pHost, char* out_pMemory,
                                                              size_t in_uiMemory,
                                                              hostent** out_ppHost, int* out_pError)
{
    using namespace Velmora::Test;
    if (!g_nameService)
    {
        static const auto s_pReal =
            reinterpret_cast<decltype(&gethostbyname_r)>(dlsym(RTLD_NEXT, "gethostbyname_r"));
        return s_pReal(in_szName, out_pHost, out_pMemory, in_uiMemory, out_ppHost, out_pError);
    }
    *out_ppHost = nullptr;
    if (in_uiMemory < g_nameService->uiMemoryNeeded)
        return ERANGE;
    g_nameService->asked.emplace_back(in_szName);
    g_nameService->wait();
    *out_pError = HOST_NOT_FOUND;
    if (g_nameService->addresses.empty())
        return 0;

    // The caller's memory holds the list of pointers to the addresses and then the addresses.
    auto* const ppAddresses = reinterpret_cast<char**>(out_pMemory);
    const std::size_t uiCount = g_nameService->addresses.size();
    auto* const pAddresses = reinterpret_cast<in_addr*>(ppAddresses + uiCount + 1);
    for (std::size_t uiIndex = 0; uiIndex < uiCount; ++uiIndex)
    {
        inet_aton(g_nameService->addresses[uiIndex].c_str(), pAddresses + uiIndex);
        ppAddresses[uiIndex] = reinterpret_cast<char*>(pAddresses + uiIndex);
    }
    ppAddresses[uiCount] = nullptr;
    out_pHost->h_addrtype = g_nameService->iAddressType;
    out_pHost->h_length = sizeof(in_addr);
    out_pHost->h_addr_list = ppAddresses;
    *out_ppHost = out_pHost;
    return 0;
}
