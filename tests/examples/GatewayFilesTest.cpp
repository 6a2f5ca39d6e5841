// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"
#include "tests/support/Lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

const std::string s_strGateway = "INFO keswardin.gateway";

/// A gateway on a disk on which the file of a call opens when the test lets it: a pipe is in its
/// place, which opens when its other end does.
class GatewayFiles : public GatewayProcess
{
  protected:
    GatewayFiles()
    {
        replaceInFile(etc("logging.cfg"), "CALL_LOG_APPENDER.KeepEarlier = true",
                      "CALL_LOG_APPENDER.KeepEarlier = false");
        std::filesystem::create_directory(home().path() / "calls");
    }

    /// Keeps the file of a call from opening.
    void hold(const std::string& in_strCallId = "a-call@caller")
    {
        EXPECT_EQ(0, mkfifo(fileOf(in_strCallId).c_str(), 0600));
    }

    /// Lets the file open, and receives its lines until it is closed.
    void release(const std::string& in_strCallId = "a-call@caller")
    {
        m_lines = std::async(std::launch::async,
                             [strFile = fileOf(in_strCallId)]
                             {
                                 std::ostringstream text;
                                 text << std::ifstream(strFile).rdbuf();
                                 std::vector<std::string> lines = linesOf(text.str());
                                 std::ranges::transform(lines, lines.begin(), withoutDate);
                                 return lines;
                             });
    }

    [[nodiscard]] std::vector<std::string> lines() { return m_lines.get(); }

    /// Makes a call whose file does not open.
    void callWithoutFile(SipCaller& inout_caller, const std::string& in_strUser = "busy") const
    {
        inout_caller.invite(in_strUser);
        inout_caller.expectAnswer("100 Trying");
    }

    /// Returns the threads that have logged lines with this text.
    [[nodiscard]] std::set<std::string> threadsOf(const std::string& in_strText) const
    {
        std::set<std::string> threads;
        for (const std::string& strLine : linesOfLog())
            if (strLine.find(in_strText) != std::string::npos)
                threads.insert(
                    strLine.substr(strLine.find('['), strLine.find(']') - strLine.find('[')));
        return threads;
    }

  private:
    [[nodiscard]] std::string fileOf(const std::string& in_strCallId) const
    {
        return home().file("calls/" + in_strCallId + ".log");
    }

    std::future<std::vector<std::string>> m_lines;
};

const auto s_start = StartsWith("INFO keswardin.infra.CallLogger.Appender - Call start : ");
const auto s_end = StartsWith("INFO keswardin.infra.CallLogger.Appender - Call end : ");

} // namespace

TEST_F(GatewayFiles, ThatOpenLateDelayTheirCallsOnly)
{
    hold();
    start();
    SipCaller late(address());
    callWithoutFile(late);
    late.repeat();
    SipCaller other(address());
    other.setCallId("other@caller");
    other.invite("busy");
    other.expectAnswer("486 Busy Here");
    other.send("ACK", "busy");
    EXPECT_THAT(run(sources({"--status"})).strOutput,
                HasSubstr("calls         : 1 now, 2 at once at most, 1 taken"));
    release();
    late.expectAnswer("486 Busy Here");
    late.send("ACK", "busy");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(
        lines(),
        ElementsAre(
            s_start, s_strGateway + ".Leg - leg=1 INVITE received : CSeq = 1",
            s_strGateway + ".Leg - leg=1 100 Trying sent",
            s_strGateway + ".Call - call from caller@" + address() + " to busy@" + address(),
            s_strGateway + ".Leg - leg=1 486 Busy Here sent",
            MatchesRegex(s_strGateway + ".Call - over after [0-9]+ ms : the called party is busy"),
            s_end));
}

TEST_F(GatewayFiles, ACallThatIsGivenUpBeforeItsFileIsOpenEndsAtOnceAndHasItsLines)
{
    hold();
    start();
    SipCaller caller(address());
    callWithoutFile(caller, "service");
    caller.send("CANCEL", "service");
    caller.expectAnswer("200 OK");
    caller.expectAnswer("487 Request Terminated");
    caller.send("ACK", "service");
    release();
    EXPECT_EQ(0, stop());
    EXPECT_EQ(0, caller.countAnswers("180 Ringing"));
    EXPECT_THAT(
        lines(),
        ElementsAre(s_start, s_strGateway + ".Leg - leg=1 INVITE received : CSeq = 1",
                    s_strGateway + ".Call - call from caller@" + address() + " to service@" +
                        address(),
                    s_strGateway + ".Leg - leg=1 CANCEL received",
                    MatchesRegex(s_strGateway + ".Call - over after [0-9]+ ms : the caller has "
                                                "given up"),
                    s_end));
}

TEST_F(GatewayFiles, ACallWhoseFileOpensWhileTheGatewayStopsIsRefused)
{
    hold();
    start();
    SipCaller caller(address());
    callWithoutFile(caller, "service");
    signal(SIGTERM);
    waitForLine("ending calls : 1");
    release();
    caller.expectAnswer("503 Service Unavailable");
    EXPECT_EQ(0, waitForEnd());
    EXPECT_THAT(lines(), Contains(MatchesRegex(
                             s_strGateway + ".Call - over after [0-9]+ ms : the gateway stops")));
}

TEST_F(GatewayFiles, ACallWhoseFileDoesNotOpenInTimeIsCutOffAndItsFileHasItsEnd)
{
    configure("keswardin.exitTimeoutSec = 1");
    hold();
    start();
    SipCaller caller(address());
    callWithoutFile(caller, "service");
    signal(SIGTERM);
    waitForLine("1 calls wait for their files");
    release();
    EXPECT_EQ(0, waitForEnd());
    EXPECT_THAT(log(), Contains("WARN keswardin.gateway.UserAgent - 1 calls wait for their files : "
                                "the gateway ends when these are open"));
    EXPECT_THAT(lines(),
                ElementsAre(s_start, s_strGateway + ".Leg - leg=1 INVITE received : CSeq = 1",
                            "WARN keswardin.gateway.Leg - leg=1 cut off : the gateway ends",
                            s_end));
}

TEST_F(GatewayFiles, ThatOpenTooLateRefuseNewCalls)
{
    configure("gateway.overload.fileLateMs = 50");
    hold();
    start();
    SipCaller late(address());
    callWithoutFile(late);
    SipCaller other(address());
    other.setCallId("other@caller");
    other.invite("busy");
    EXPECT_THAT(other.expectAnswer("503 Service Unavailable"), HasSubstr("\nRetry-After: 5\r\n"));
    waitForLine("Alarm [system.overload.files] : ALARM_ON");
    EXPECT_THAT(run(sources({"--status"})).strOutput,
                HasSubstr("refused       : files-behind 1\n"));
    release();
    late.expectAnswer("486 Busy Here");
    SipCaller third(address());
    third.setCallId("third@caller");
    third.invite("busy");
    third.expectAnswer("486 Busy Here");
    waitForLine("Alarm [system.overload.files] : ALARM_OFF");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayFiles, WithoutALimitNoTimeIsTooLate)
{
    hold();
    start();
    SipCaller late(address());
    callWithoutFile(late);
    EXPECT_EQ(0, late.countAnswers("486 Busy Here"));
    SipCaller other(address());
    other.setCallId("other@caller");
    other.invite("busy");
    other.expectAnswer("486 Busy Here");
    release();
    late.expectAnswer("486 Busy Here");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayFiles, ThatAreOpenLetTheirCallsBeginThoughNoThreadCanWakeTheLoop)
{
    setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_FAILS_DATAGRAMS);
    setEnvironment("FAILS_WRITES", "8");
    start();
    SipCaller caller(address());
    caller.invite("busy");
    caller.expectAnswer("486 Busy Here");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayFiles, CallsThatWaitForThemAreCounted)
{
    configure("gateway.calls.most = 1");
    hold();
    start();
    SipCaller late(address());
    callWithoutFile(late);
    SipCaller other(address());
    other.setCallId("other@caller");
    other.invite("busy");
    other.expectAnswer("503 Service Unavailable");
    release();
    late.expectAnswer("486 Busy Here");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains(HasSubstr("the limit gateway.calls.most = 1 is reached")));
}

TEST_F(GatewayFiles, WithoutThemNoThreadIsNeeded)
{
    replaceInFile(etc("logging.cfg"), "INFO, CALL_LOG_APPENDER", "INFO");
    start();
    SipCaller caller(address());
    caller.invite("busy");
    caller.expectAnswer("486 Busy Here");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(callFiles(), SizeIs(0));
    // All lines of the call are of one thread.
    EXPECT_THAT(threadsOf("call-id=a-call@caller"), SizeIs(1));
    EXPECT_EQ(threadsOf("stopped : calls"), threadsOf("call-id=a-call@caller"));
}

TEST_F(GatewayFiles, ACallThatComesTogetherWithTheEndOfOneWithItsIdHasOneOfItsOwn)
{
    replaceInFile(etc("logging.cfg"), "CALL_LOG_APPENDER.KeepEarlier = false",
                  "CALL_LOG_APPENDER.KeepEarlier = true");
    // What has come at both is handled in one step of the loop.
    replaceInFile(etc("gateway.cfg"), ":5060", ":5060, udp:" + address() + ":5062");
    start({"--answer-after-ms", "0"});
    SipCaller first(address());
    first.invite("service");
    first.expectAnswer("200 OK");
    first.send("ACK", "service");
    waitForLine("ACK received");
    SipCaller second(address(), 5062);
    second.setTag("second");
    signal(SIGSTOP);
    first.send("BYE", "service");
    second.invite("busy");
    signal(SIGCONT);
    second.expectAnswer("486 Busy Here");
    second.send("ACK", "busy");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(callFiles(), SizeIs(2));
}

TEST_F(GatewayFiles, OfACallIdThatComesAgainAtOnceAreAsManyAsCalls)
{
    replaceInFile(etc("logging.cfg"), "CALL_LOG_APPENDER.KeepEarlier = false",
                  "CALL_LOG_APPENDER.KeepEarlier = true");
    start({"--answer-after-ms", "0"});
    constexpr std::size_t uiCalls = 50;
    // One call after the other, as fast as they end.
    const HelperResult result = runHelper(
        "/bin/sh",
        {"-c", "TERM=dumb exec " VELMORA_SIPP " " + address() + ":5060 -i " + address() +
                   " -sn uac -cid_str a-call@caller -l 1 -r 1000 -d 0 -deadcall_wait 0 -timeout 60 "
                   "-timeout_error -nostdin -m " +
                   std::to_string(uiCalls)});
    EXPECT_EQ(0, result.iExitCode) << result.strOutput << result.strErrors;
    EXPECT_EQ(0, stop());
    EXPECT_THAT(callFiles(), SizeIs(uiCalls));
    for (const auto& [strName, lines] : callFiles())
        EXPECT_THAT(lines, AllOf(Contains(HasSubstr("INVITE received : ")).Times(1),
                                 Contains(HasSubstr("RTP closed : ")).Times(1),
                                 Contains(HasSubstr("Call end : ")).Times(1)))
            << strName;
}

} // namespace Velmora::Test
