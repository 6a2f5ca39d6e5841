// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"
#include "tests/support/NumberedText.h"
#include "tests/support/UdpServer.h"
#include "tests/syslog/RsyslogServer.h"
#include "velmora/logging/LogMacros.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/configurator.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/hierarchy.h>

#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;

constexpr LogLevel s_levels[] = {FATAL_LOG_LEVEL, ERROR_LOG_LEVEL, WARN_LOG_LEVEL,
                                 INFO_LOG_LEVEL,  DEBUG_LOG_LEVEL, TRACE_LOG_LEVEL};

/// The facility local0 (16 times 8), and for each level the facility and severity that the server
/// reports and the header that it receives.
constexpr const char* s_szFacility = "128";
constexpr std::pair<const char*, const char*> s_received[] = {
    {"local0.crit ", "<130>"},   {"local0.err ", "<131>"},  {"local0.warning ", "<132>"},
    {"local0.notice ", "<133>"}, {"local0.info ", "<134>"}, {"local0.debug ", "<135>"}};

/// Makes the logger "keswardin.test" log to the server and to no other appender.
void logTo(const std::string& in_strAddress, int in_iPort)
{
    log4cplus::helpers::Properties configuration;
    configuration.setProperty("log4cplus.rootLogger", "FATAL");
    configuration.setProperty("log4cplus.logger.keswardin.test", "TRACE, SYSLOG");
    const std::string strAppender = "log4cplus.appender.SYSLOG";
    configuration.setProperty(strAppender, "velmora::RemoteSyslogAppender");
    configuration.setProperty(strAppender + ".Hostname", in_strAddress);
    configuration.setProperty(strAppender + ".Port", std::to_string(in_iPort));
    configuration.setProperty(strAppender + ".Facility", s_szFacility);
    configuration.setProperty(strAppender + ".layout", "log4cplus::PatternLayout");
    configuration.setProperty(strAppender + ".layout.ConversionPattern", "%m");
    log4cplus::Logger::getDefaultHierarchy().resetConfiguration();
    log4cplus::PropertyConfigurator(configuration).configure();
}

void log(LogLevel in_level, const std::string& in_strText)
{
    VELMORA_LOG(Logger("keswardin.test"), in_level, in_strText);
}

/// Returns the lines that `syslog-logs` writes on the console.
std::vector<std::string> linesOfEachLevel()
{
    std::vector<std::string> result;
    for (const std::string strLevel : {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "TRACE"})
    {
        result.push_back(strLevel + " - short");
        result.push_back(strLevel + " - " + std::string(5000, 'x'));
    }
    return result;
}

/// Runs `syslog-logs`, expects that it logs all its lines and ends, and returns what it wrote on
/// standard error.
std::string errorsOfLogging(const std::string& in_strHost, const std::string& in_strPort)
{
    // Look-ups that reach a name server must fail quickly.
    const HelperResult result = runHelper(VELMORA_HELPER_SYSLOG_LOGS, {in_strHost, in_strPort},
                                          {{"RES_OPTIONS", "timeout:1 attempts:1"}});
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(linesOfEachLevel(), linesOf(result.strOutput));
    return result.strErrors;
}

} // namespace

TEST(RemoteSyslog, ARealServerGetsShortLinesOfEachLevel)
{
    RsyslogServer server;
    server.start();
    logTo(server.address(), server.port());
    const std::string strText = numberedText(100);

    for (const LogLevel level : s_levels)
        log(level, strText);
    log(INFO_LOG_LEVEL, "end");

    std::vector<std::string> expected;
    for (const auto& [szNames, szHeader] : s_received)
        expected.push_back(std::string(szNames) + szHeader + strText);
    expected.push_back("local0.notice <133>end");
    EXPECT_EQ(server.linesUntil("<133>end"), expected);
}

TEST(RemoteSyslog, ARealServerGetsLinesOf5000BytesInPieces)
{
    RsyslogServer server;
    server.start();
    logTo(server.address(), server.port());
    const std::string strText = numberedText(5000);

    for (const LogLevel level : s_levels)
        log(level, strText);
    log(INFO_LOG_LEVEL, "end");

    // A datagram has at most 900 bytes: the header of 5 and 895 of the text.
    std::vector<std::string> expected;
    for (const auto& [szNames, szHeader] : s_received)
    {
        for (std::size_t uiPiece = 0; uiPiece < 5; ++uiPiece)
            expected.push_back(std::string(szNames) + szHeader +
                               strText.substr(895 * uiPiece, 895));
        // A line in several datagrams loses as many bytes at its end as the header has. In their
        // place are the bytes of the previous datagram at the same position.
        expected.push_back(std::string(szNames) + szHeader + strText.substr(895 * 5, 520) +
                           strText.substr(895 * 4 + 520, 5));
    }
    expected.push_back("local0.notice <133>end");
    EXPECT_EQ(server.linesUntil("<133>end"), expected);
}

TEST(RemoteSyslog, AServerThatStopsAndComesBackGetsWhatIsLoggedThen)
{
    RsyslogServer server;
    server.start();
    logTo(server.address(), server.port());
    log(ERROR_LOG_LEVEL, "before");
    EXPECT_THAT(server.linesUntil("before"), ElementsAre("local0.err <131>before"));

    server.stop();
    for (int iLine = 0; iLine < 1000; ++iLine)
        log(ERROR_LOG_LEVEL, "nobody hears");
    server.start();
    log(ERROR_LOG_LEVEL, "after");

    EXPECT_THAT(server.linesUntil("after"),
                ElementsAre("local0.err <131>before", "local0.err <131>after"));
}

TEST(RemoteSyslog, AServerThatReadsNothingHoldsNobodyUp)
{
    // The receive buffer of the socket is full after a few hundred datagrams.
    UdpServer server;
    logTo("127.0.0.1", server.port());
    const std::string strText = numberedText(100'000);

    for (int iLine = 0; iLine < 100; ++iLine)
        log(INFO_LOG_LEVEL, strText);

    EXPECT_EQ(server.receive(), "<133>" + strText.substr(0, 895));
}

TEST(RemoteSyslog, APortThatNobodyListensOnHoldsNobodyUp)
{
    // The temporary server closes its port at once, so no socket listens on it.
    const int iPort = UdpServer().port();

    EXPECT_EQ("", errorsOfLogging("127.0.0.1", std::to_string(iPort)));
}

TEST(RemoteSyslog, AHostThatDoesNotResolveHoldsNobodyUpAndIsReportedOnce)
{
    for (const std::string strHost : {"no-such-host.invalid", "no such host", "256.1.1.1"})
        EXPECT_THAT(
            linesOf(errorsOfLogging(strHost, "514")),
            ElementsAre("log4cplus:ERROR gethostbyname failed",
                        testing::StartsWith("log4cplus:ERROR cannot look up " + strHost + ": ")));
}

TEST(RemoteSyslog, AnAddressThatMayNotBeSentToHoldsNobodyUp)
{
    EXPECT_EQ("", errorsOfLogging("255.255.255.255", "514"));
}

TEST(RemoteSyslog, InvalidPropertiesHoldNobodyUpAndAreReported)
{
    EXPECT_EQ("log4cplus:ERROR Invalid SyslogHostname\n", errorsOfLogging("", "514"));
    EXPECT_EQ("log4cplus:ERROR Invalid Port\n", errorsOfLogging("127.0.0.1", "514.0"));
}

} // namespace Velmora::Test
