// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;
using Lines = std::vector<std::string>;

constexpr std::string_view s_strCallId = " call-id=";
constexpr std::size_t s_uiCalls = 300;

/// Returns the lines of each call in the main log, without the call's id.
std::map<std::string, Lines> linesOfCalls(const Lines& in_log)
{
    std::map<std::string, Lines> calls;
    for (const std::string& strLine : in_log)
    {
        const std::size_t uiAt = strLine.find(s_strCallId);
        if (uiAt == std::string::npos)
            continue;
        const std::size_t uiEnd = strLine.find(' ', uiAt + 1);
        const std::string strId =
            strLine.substr(uiAt + s_strCallId.size(), uiEnd - uiAt - s_strCallId.size());
        calls[strId].push_back(strLine.substr(0, uiAt) + strLine.substr(uiEnd));
    }
    return calls;
}

class GatewayCalls : public GatewayProcess
{
  protected:
    /// Returns the command line of the load client, with more options.
    [[nodiscard]] std::string client(const std::string& in_strMore) const
    {
        return "cd '" + home().path().string() + "' && " VELMORA_SIPP " " + address() +
               ":5060 -i " + address() + " -nostdin -timeout 100 -max_retrans 15 -trace_err " +
               in_strMore;
    }

    /// Makes 200 calls that are answered and 100 that the caller cancels, 50 a second. One packet
    /// in ten is lost, in both directions for the answered calls. A BYE that is lost repeatedly
    /// takes longer than the usual time without RTP after which a call is cleared, so that time is
    /// raised.
    HelperResult callThreeHundredTimes()
    {
        configure("keswardin.media.rxStartTimeoutMs = 600000");
        start();
        const std::string strAnswered = client("-sn uac -m 200 -r 34 -d 500 -lost 10 -p 5062");
        const std::string strGivenUp =
            client("-sf " VELMORA_SOURCE_DIRECTORY "/tests/examples/scenarios/gives-up.xml "
                   "-s nobody -m 100 -r 17 -p 5064 -mp 7000");
        return runHelper("/bin/sh",
                         {"-c", "(" + strAnswered + ") & first=$!; (" + strGivenUp +
                                    ") & second=$!; wait $first && wait $second"},
                         {{"TERM", "dumb"}}, std::chrono::seconds(110));
    }

    void expectFilesAsInLog(std::size_t in_uiFiles) const
    {
        const auto calls = linesOfCalls(linesOfLog());
        const auto files = callFiles();
        EXPECT_EQ(s_uiCalls, calls.size());
        EXPECT_EQ(in_uiFiles, files.size());
        for (const auto& [strName, lines] : files)
            expectFileAsInLog(strName, lines, calls);
    }

    static void expectFileAsInLog(const std::string& in_strName, const Lines& in_lines,
                                  const std::map<std::string, Lines>& in_calls)
    {
        SCOPED_TRACE(in_strName);
        ASSERT_THAT(in_lines, SizeIs(testing::Gt(2)));
        EXPECT_THAT(in_lines.front(), HasSubstr(" - Call start : "));
        EXPECT_THAT(in_lines.back(), HasSubstr(" - Call end : "));
        EXPECT_THAT(in_strName, EndsWith(".log"));
        const auto call = in_calls.find(in_strName.substr(0, in_strName.size() - 4));
        ASSERT_NE(in_calls.end(), call);
        EXPECT_EQ(call->second, Lines(in_lines.begin() + 1, in_lines.end() - 1));
    }

    /// Returns the lines of the only call's file, without dates.
    [[nodiscard]] Lines onlyCallFile() const
    {
        const auto files = callFiles();
        EXPECT_THAT(files, SizeIs(1));
        Lines lines = files.empty() ? Lines() : files.begin()->second;
        std::transform(lines.begin(), lines.end(), lines.begin(), withoutDate);
        return lines;
    }

    void expectOver(const std::string& in_strReason) const
    {
        EXPECT_THAT(onlyCallFile(),
                    Contains(MatchesRegex("INFO keswardin.gateway.Call - over after [0-9]+ ms : " +
                                          in_strReason)));
    }

    /// Runs a query of lnav on a file, with the log format of the example.
    [[nodiscard]] std::string lnav(const std::string& in_strQuery,
                                   const std::string& in_strFile) const
    {
        return lnav({"-n", "-c", ";" + in_strQuery, "-c", ":write-csv-to -", in_strFile});
    }

    [[nodiscard]] std::string lnav(Lines in_arguments) const
    {
        in_arguments.insert(in_arguments.begin(), {"-I", VELMORA_SOURCE_DIRECTORY "/tools/lnav"});
        const HelperResult result = runHelper(VELMORA_LNAV, in_arguments,
                                              {{"HOME", home().path().string()}, {"TERM", "dumb"}});
        EXPECT_EQ(0, result.iExitCode);
        return result.strErrors + result.strOutput;
    }

    /// Makes a call, up to the ACK of its answer.
    void connect(SipCaller& inout_caller)
    {
        inout_caller.invite("service");
        inout_caller.expectAnswer("200 OK");
        inout_caller.send("ACK", "service");
        waitForLine("ACK received");
    }
};

} // namespace

TEST_F(GatewayCalls, ACallIsAnsweredAndItsFileHasItsLines)
{
    start();
    const HelperResult result = runHelper("/bin/sh", {"-c", client("-sn uac -m 1 -d 100")});
    EXPECT_EQ(0, result.iExitCode) << result.strOutput << result.strErrors;
    EXPECT_EQ(0, stop());
    const std::string strStart = "INFO keswardin.gateway";
    EXPECT_THAT(
        onlyCallFile(),
        ElementsAre(
            StartsWith("INFO keswardin.infra.CallLogger.Appender - Call start : "),
            strStart + ".Leg - leg=1 INVITE received : CSeq = 1",
            strStart + ".Call - call from sipp@" + address() + " to service@" + address(),
            strStart + ".Media - leg=1 RTP opened at " + address() +
                ":20000 : encodings = PCMU, remote = " + address() + ":6000",
            strStart + ".Leg - leg=1 180 Ringing sent",
            MatchesRegex(strStart + ".Call - answered after [0-9]+ ms"),
            strStart + ".Leg - leg=1 200 OK sent", strStart + ".Leg - leg=1 ACK received",
            strStart + ".Leg - leg=1 BYE received : CSeq = 2",
            MatchesRegex(strStart + ".Call - over after [0-9]+ ms : the caller has hung up"),
            strStart + ".Media - leg=1 RTP closed : packets = 0, bytes = 0, dropped = 0",
            StartsWith("INFO keswardin.infra.CallLogger.Appender - Call end : ")));
}

TEST_F(GatewayCalls, OfThreeHundredWithLossAndCancelsNoneIsLostAndEachHasItsLinesInItsFile)
{
    const HelperResult result = callThreeHundredTimes();
    EXPECT_EQ(0, result.iExitCode) << result.strOutput << result.strErrors;
    EXPECT_EQ(0, stop());
    EXPECT_EQ("", output());
    expectFilesAsInLog(s_uiCalls);
    EXPECT_THAT(linesOfLog(), Contains(EndsWith("CANCEL received")).Times(100));
    EXPECT_THAT(linesOfLog(), Contains(EndsWith("200 OK sent")).Times(200));
    EXPECT_THAT(log(),
                Contains(MatchesRegex("INFO keswardin.gateway - stopped : calls = 300, at "
                                      "once at most = [0-9]+, refused = 0, repeated requests = "
                                      "[1-9][0-9]*")));
}

TEST_F(GatewayCalls, WithOneCallOutOfThreeLoggedExactlyAThirdHasAFile)
{
    configure("keswardin.infra.CallLogger.log1CallOutOf = 3");
    const HelperResult result = callThreeHundredTimes();
    EXPECT_EQ(0, result.iExitCode) << result.strOutput << result.strErrors;
    EXPECT_EQ(0, stop());
    expectFilesAsInLog(s_uiCalls / 3);
}

TEST_F(GatewayCalls, ACallThatIsGivenUpEndsWithoutAnAnswer)
{
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    caller.send("CANCEL", "nobody");
    caller.expectAnswer("200 OK");
    caller.expectAnswer("487 Request Terminated");
    EXPECT_EQ(0, stop());
    expectOver("the caller has given up");
}

TEST_F(GatewayCalls, SeeAChangeOfTheConfigurationFromTheNextOneOn)
{
    const auto call = [this](const char* in_szId)
    {
        SipCaller caller(address());
        caller.setCallId(in_szId);
        caller.invite("nobody");
        caller.expectAnswer("180 Ringing");
        caller.send("CANCEL", "nobody");
        caller.expectAnswer("487 Request Terminated");
    };
    start();
    call("first@caller");
    signal(SIGUSR1);
    waitForLine("recording of calls is on");
    call("second@caller");
    signal(SIGUSR1);
    waitForLine("recording of calls is off");
    call("third@caller");
    EXPECT_EQ(0, stop());
    std::vector<std::string> recorded;
    for (const auto& [strName, lines] : callFiles())
        for (const std::string& strLine : lines)
            if (strLine.ends_with(", to be recorded"))
                recorded.push_back(strName);
    EXPECT_THAT(recorded, ElementsAre("second@caller.log"));
}

TEST_F(GatewayCalls, AFurtherSigtermGivesNoMoreTime)
{
    start();
    SipCaller caller(address());
    connect(caller);
    signal(SIGTERM);
    const std::string strBye = caller.expectRequest("BYE");
    signal(SIGTERM);
    signal(SIGUSR1);
    waitForLine("recording of calls is on");
    caller.accept(strBye);
    EXPECT_EQ(0, waitForEnd());
    EXPECT_THAT(log(), Contains("INFO keswardin.gateway - stopping : Terminated").Times(1));
}

TEST_F(GatewayCalls, ACallerMayHangUpWhileItRings)
{
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    caller.send("BYE", "nobody");
    caller.expectAnswer("487 Request Terminated");
    EXPECT_EQ(0, stop());
    expectOver("the caller has hung up");
}

TEST_F(GatewayCalls, AnInviteThatComesAgainIsTheSameCallAndGetsTheSameAnswer)
{
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    caller.repeat();
    caller.expectAnswer("180 Ringing");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains(HasSubstr("INVITE received")).Times(1));
    EXPECT_THAT(log(), Contains(EndsWith(
                           "calls = 1, at once at most = 1, refused = 0, repeated requests = 1")));
}

TEST_F(GatewayCalls, AnAnswerIsRepeatedUntilItsAckAndWithoutOneTheCallIsEnded)
{
    configure("keswardin.sip.TimerT1 = 50");
    configure("keswardin.sip.TimerT2 = 50");
    configure("keswardin.sip.lifetimeTimer = 3000");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    const std::string strBye = caller.expectRequest("BYE");
    // About 60 are expected. With a T2 of 4 s there would be 6, with a lifetime of 32 s about 640.
    EXPECT_THAT(caller.leftOut(), AllOf(testing::Gt(12), testing::Lt(200)));
    caller.accept(strBye);
    waitForLine("over after");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(onlyCallFile(),
                AllOf(Contains("WARN keswardin.gateway.Leg - leg=1 no ACK of 200 has come"),
                      Contains("INFO keswardin.gateway.Leg - leg=1 BYE sent"),
                      Contains("INFO keswardin.gateway.Leg - leg=1 200 received for BYE")));
    expectOver("the answer was not acknowledged");
}

TEST_F(GatewayCalls, AnAnswerIsRepeatedAtTheConfiguredInterval)
{
    configure("keswardin.sip.TimerT1 = 60000");
    configure("keswardin.sip.TimerT2 = 60000");
    configure("keswardin.sip.lifetimeTimer = 60000");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, caller.countAnswers("200 OK"));
    caller.send("ACK", "service");
    waitForLine("ACK received");
}

TEST_F(GatewayCalls, ABusyPartyIsReported)
{
    start();
    SipCaller caller(address());
    caller.invite("busy");
    caller.expectAnswer("486 Busy Here");
    EXPECT_EQ(0, stop());
    expectOver("the called party is busy");
}

TEST_F(GatewayCalls, WhenNobodyAnswersTheCallIsGivenUpAfterTheRingTimeOut)
{
    configure("keswardin.gw.ringTimeoutMs = 100");
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    caller.expectAnswer("480 Temporarily Unavailable");
    EXPECT_EQ(0, stop());
    expectOver("nobody has answered");
}

TEST_F(GatewayCalls, ACallThatIsAnsweredIsNotGivenUpAfterTheRingTimeOut)
{
    configure("keswardin.gw.ringTimeoutMs = 200");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    EXPECT_EQ(0, caller.countAnswers("480 Temporarily Unavailable"));
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    expectOver("the caller has hung up");
}

TEST_F(GatewayCalls, ACancelBehindTheAnswerChangesNothing)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    caller.send("CANCEL", "service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service");
    waitForLine("ACK received");
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    expectOver("the caller has hung up");
}

TEST_F(GatewayCalls, ASessionWithoutACommonEncodingIsRefused)
{
    start();
    SipCaller caller(address());
    caller.invite("service", "18 G729/8000");
    caller.expectAnswer("488 Not Acceptable Here");
    EXPECT_EQ(0, stop());
    expectOver("no encoding of keswardin.rtp.encodingList is offered");
}

TEST_F(GatewayCalls, ACallWithoutAnOfferGetsOneInItsAnswer)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.send("INVITE", "service");
    EXPECT_THAT(caller.expectAnswer("200 OK"),
                AllOf(HasSubstr("\r\nm=audio 20000 RTP/AVP 0 8 101\r\n"),
                      HasSubstr("\r\na=rtpmap:0 PCMU/8000\r\n"),
                      HasSubstr("\r\na=fmtp:101 0-15\r\n")));
    caller.send("ACK", "service");
    waitForLine("ACK received");
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(onlyCallFile(), Contains("WARN keswardin.gateway.Media - leg=1 the ACK has no "
                                         "answer to the offer : RTP is expected from within 2 s "
                                         "of the answer from " +
                                         address()));
}

TEST_F(GatewayCalls, WhenNoRtpPortIsLeftACallIsRefusedAndOthersGoOn)
{
    configure("keswardin.media.rtp.udpPortRange = 20000-20001");
    start();
    SipCaller first(address());
    connect(first);
    SipCaller second(address());
    second.setCallId("another@caller");
    second.invite("service");
    second.expectAnswer("503 Service Unavailable");
    first.send("BYE", "service");
    first.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("ERROR keswardin.gateway.Call - call-id=another@caller no RTP at " +
                                address() + " : no port of the range is free"));
}

TEST_F(GatewayCalls, OptionsReturnsTheCapabilitiesOfTheGateway)
{
    start();
    SipCaller caller(address());
    caller.send("OPTIONS", "service");
    EXPECT_THAT(caller.expectAnswer("200 OK"),
                AllOf(HasSubstr("\r\nAllow: INVITE, ACK, BYE, CANCEL, OPTIONS\r\n"),
                      HasSubstr("\r\nAccept: application/sdp\r\n"),
                      HasSubstr("\r\nServer: gateway\r\n")));
    EXPECT_EQ(0, stop());
    EXPECT_THAT(callFiles(), IsEmpty());
}

TEST_F(GatewayCalls, OptionsWithinACallIsAnsweredToo)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    caller.send("OPTIONS", "service");
    EXPECT_THAT(caller.expectAnswer("200 OK"), HasSubstr("\r\nAllow: INVITE, ACK,"));
    EXPECT_EQ(0, (signal(SIGTERM), caller.accept(caller.expectRequest("BYE")), waitForEnd()));
}

TEST_F(GatewayCalls, WhatTheGatewayDoesNotUnderstandIsRefused)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.send("MESSAGE", "service");
    EXPECT_THAT(caller.expectAnswer("405 Method Not Allowed"),
                HasSubstr("\r\nAllow: INVITE, ACK, BYE, CANCEL, OPTIONS\r\n"));
    SipCaller other(address());
    other.send("CANCEL", "service");
    other.expectAnswer("481 Call/Transaction Does Not Exist");
    connect(caller);
    caller.send("INFO", "service");
    caller.expectAnswer("405 Method Not Allowed");
    caller.invite("service");
    caller.expectAnswer("488 Not Acceptable Here");
    caller.send("ACK", "service");
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    waitForLine("over after");
    caller.send("BYE", "service");
    caller.expectAnswer("481 Call/Transaction Does Not Exist");
    EXPECT_EQ(0, stop());
    expectOver("the caller has hung up");
}

TEST_F(GatewayCalls, WhatIsNoSipChangesNothing)
{
    start();
    SipCaller caller(address());
    caller.setCallId("\x01");
    caller.send("no sip at all\r\n", "\xff\xfe");
    SipCaller other(address());
    other.send("OPTIONS", "service");
    other.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayCalls, CallersHearThemselves)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    SipCaller rtp(address(), 20000, SipCaller::s_uiRtpPort);
    const std::string strPacket =
        std::string("\x80\x00\x00\x01\x00\x00\x00\xa0\x00\x00\x00\x07", 12) +
        std::string(160, '\xff');
    rtp.transmit("no RTP");
    rtp.transmit("this is no RTP packet either");
    rtp.transmit(strPacket);
    EXPECT_EQ(strPacket, rtp.receive());
    rtp.repeat();
    EXPECT_EQ(strPacket, rtp.receive());
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(onlyCallFile(),
                AllOf(Contains(MatchesRegex("INFO keswardin.gateway.Media - leg=1 first RTP packet "
                                            "from [0-9.:]+ after [0-9]+ ms")),
                      Contains("INFO keswardin.gateway.Media - leg=1 RTP closed : packets = 2, "
                               "bytes = 344, dropped = 2")));
}

TEST_F(GatewayCalls, RtpOfAStrangerIsCountedAndDropped)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    SipCaller stranger(address(), 20000);
    SipCaller rtp(address(), 20000, SipCaller::s_uiRtpPort);
    const std::string strPacket = '\x80' + std::string(171, '\xff');
    stranger.transmit("no RTP");
    stranger.transmit(strPacket);
    rtp.transmit(strPacket);
    EXPECT_EQ(strPacket, rtp.receive());
    EXPECT_EQ(0, stranger.countAnswers(""));
    EXPECT_THAT(run(sources({"--status"})).strOutput,
                HasSubstr("RTP ports     : 1 of 5000 in use, 2 packets of others dropped\n"));
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(
        onlyCallFile(),
        AllOf(Contains(MatchesRegex("WARN keswardin.gateway.Media - leg=1 RTP from [0-9.:]+ "
                                    "is dropped : it comes from a stranger ; expected from "
                                    "[0-9.]+:6000")),
              Contains("INFO keswardin.gateway.Media - leg=1 RTP closed : packets = 1, "
                       "bytes = 172, dropped = 2")));
}

TEST_F(GatewayCalls, ACallerBehindANatHearsItself)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.send("INVITE", "service", SipCaller::describe("192.168.1.2"));
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service");
    SipCaller rtp(address(), 20000);
    const std::string strPacket = '\x80' + std::string(171, '\xff');
    rtp.transmit(strPacket);
    EXPECT_EQ(strPacket, rtp.receive());
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayCalls, TheAnswerOfAnAckSaysWhereRtpComesFrom)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.send("INVITE", "service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service", SipCaller::describe(address()));
    waitForLine("RTP agreed");
    SipCaller stranger(address(), 20000);
    const std::string strPacket = '\x80' + std::string(171, '\xff');
    stranger.transmit(strPacket);
    SipCaller rtp(address(), 20000, SipCaller::s_uiRtpPort);
    rtp.transmit(strPacket);
    EXPECT_EQ(strPacket, rtp.receive());
    EXPECT_EQ(0, stranger.countAnswers(""));
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(onlyCallFile(), Contains("INFO keswardin.gateway.Media - leg=1 RTP agreed : "
                                         "encodings = PCMU, remote = " +
                                         address() + ":6000"));
}

TEST_F(GatewayCalls, AnAckWithAnAnswerThatCannotBeAcceptedEndsTheCall)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.send("INVITE", "service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service", SipCaller::describe(address(), "18 G729/8000"));
    caller.accept(caller.expectRequest("BYE"));
    waitForLine("over after");
    EXPECT_EQ(0, stop());
    expectOver("no encoding of keswardin.rtp.encodingList is offered");
}

TEST_F(GatewayCalls, ACallWithoutRtpIsClearedAfterItsTimeOut)
{
    configure("keswardin.media.rxStartTimeoutMs = 100");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    caller.accept(caller.expectRequest("BYE"));
    waitForLine("over after");
    EXPECT_EQ(0, stop());
    expectOver("no RTP has come");
}

TEST_F(GatewayCalls, ACallWithRtpGoesOn)
{
    configure("keswardin.media.rxStartTimeoutMs = 1500");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    SipCaller rtp(address(), 20000, SipCaller::s_uiRtpPort);
    rtp.transmit('\x80' + std::string(171, '\xff'));
    rtp.receive();
    EXPECT_EQ(0, caller.countRequests("BYE", std::chrono::seconds(2)));
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    expectOver("the caller has hung up");
}

TEST_F(GatewayCalls, SigtermEndsCallsAndEachFileHasItsEnd)
{
    start({"--answer-after-ms", "1"});
    SipCaller connected(address());
    connect(connected);
    SipCaller ringing(address());
    ringing.setCallId("ringing@caller");
    ringing.invite("nobody");
    ringing.expectAnswer("180 Ringing");
    signal(SIGTERM);
    ringing.expectAnswer("503 Service Unavailable");
    const std::string strBye = connected.expectRequest("BYE");
    SipCaller late(address());
    late.setCallId("late@caller");
    late.invite("service");
    late.expectAnswer("503 Service Unavailable");
    connected.accept(strBye);
    EXPECT_EQ(0, waitForEnd());
    const auto files = callFiles();
    EXPECT_THAT(files, SizeIs(2));
    for (const auto& [strName, lines] : files)
        EXPECT_THAT(lines, AllOf(Contains(HasSubstr("the gateway stops")),
                                 Contains(HasSubstr("Call end : ")).Times(1)))
            << strName;
}

TEST_F(GatewayCalls, SigtermWaitsForTheAckOfAnAnswerBeforeItHangsUp)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    signal(SIGTERM);
    waitForLine("ending calls : 1");
    EXPECT_EQ(0, caller.countRequests("BYE"));
    caller.send("ACK", "service");
    caller.accept(caller.expectRequest("BYE"));
    EXPECT_EQ(0, waitForEnd());
    expectOver("the gateway stops");
}

TEST_F(GatewayCalls, ACallThatDoesNotEndInTimeIsCutOffAndItsFileHasItsEnd)
{
    configure("keswardin.exitTimeoutSec = 1");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    EXPECT_EQ(0, stop());
    const Lines lines = onlyCallFile();
    ASSERT_THAT(lines, SizeIs(testing::Gt(2)));
    EXPECT_THAT(lines, Contains("WARN keswardin.gateway.Call - cut off : the gateway ends"));
    EXPECT_THAT(log().back(), StartsWith("INFO keswardin.gateway - stopped : calls = 1,"));
    EXPECT_THAT(lines.back(), StartsWith("INFO keswardin.infra.CallLogger.Appender - Call end : "));
}

TEST_F(GatewayCalls, AByeWithoutAnAnswerEndsAfterTheDisconnectingTimeOut)
{
    configure("keswardin.sip.state.Disconnecting.timeoutMs = 100");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    EXPECT_EQ(0, stop());
    expectOver("the gateway stops, and the BYE has no answer");
}

TEST_F(GatewayCalls, ACallIdThatIsNoFileNameStaysWithinTheDirectoryAndAsItIsInTheLog)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.setCallId("../../etc/passwd");
    connect(caller);
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    expectOver("the caller has hung up");
    EXPECT_THAT(log(), Contains("INFO keswardin.gateway.Leg - leg=1 call-id=../../etc/passwd ACK "
                                "received"));
}

TEST_F(GatewayCalls, ACallerCannotAddALineToTheLog)
{
    start();
    SipCaller caller(address());
    // A header that is folded: its second line is part of its value.
    caller.setCallId("a-call\r\n 2026-11-23 03:00:00.000 INFO  [1] keswardin.gateway - forged");
    caller.invite("service");
    waitForLine("INVITE received");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains(HasSubstr("call-id=a-call\\r\\n 2026-11-23 03:00:00.000 INFO")));
    const Lines lines = linesOfLog();
    EXPECT_THAT(lines, testing::Each(MatchesRegex("20[0-9-]+ [0-9:.]+ [A-Z]+ +\\[[0-9]+\\] .*")));
    EXPECT_THAT(lines, testing::Not(Contains(StartsWith(" "))));
}

TEST_F(GatewayCalls, UnderLoadEachLineOfAnyLogIsAnObjectOfJson)
{
    // The layouts of the main log and of the files of calls.
    for (int i = 0; i != 2; ++i)
        replaceInFile(etc("logging.cfg"), "velmora::PatternLayout", "velmora::JsonLayout");
    replaceInFile(etc("logging.cfg"), "rootLogger = INFO", "rootLogger = DEBUG");
    replaceInFile(etc("logging.cfg"), "keswardin.gateway = INFO", "keswardin.gateway = DEBUG");
    start();
    // Texts from outside that are no UTF-8, control a terminal or end a string of JSON.
    SipCaller caller(address());
    int iCall = 0;
    for (const char* const szText : {"\xff\xfe\x80", "\x1b[2J", "\"},{\"level\":\"FATAL", "\\",
                                     "\xe2\x80\xae\xe2\x80\xa8", "a\r\n b"})
    {
        caller.setCallId(std::to_string(++iCall) + szText);
        caller.invite("service");
        caller.send("no sip at all\r\n", szText);
    }
    const HelperResult result =
        runHelper("/bin/sh", {"-c", client("-sn uac -m 100 -r 50 -d 200 -p 5062")});
    EXPECT_EQ(0, result.iExitCode) << result.strOutput << result.strErrors;
    EXPECT_EQ(0, stop());
    EXPECT_EQ("", output());

    const std::string strFiles =
        "'" + home().path().string() + "'/logs/* '" + home().path().string() + "'/calls/*";
    const HelperResult byJq =
        runHelper("/bin/sh",
                  {"-c", "cat " + strFiles + " | " VELMORA_JQ " -c 'select(.level and .message)'"});
    EXPECT_EQ(0, byJq.iExitCode) << byJq.strErrors;
    const HelperResult byPython = runHelper(
        "/bin/sh",
        {"-c", "cat " + strFiles +
                   " | /usr/bin/python3 -c '\n"
                   "import json, sys\n"
                   "for line in sys.stdin.buffer:\n"
                   "    print(json.loads(line.decode(\"utf-8\", \"strict\"))[\"level\"])'"});
    EXPECT_EQ(0, byPython.iExitCode) << byPython.strErrors;
    EXPECT_THAT(callFiles(), SizeIs(testing::Ge(100)));
    std::size_t uiLines = linesOfLog().size();
    for (const auto& [strName, lines] : callFiles())
        uiLines += lines.size();
    EXPECT_GT(uiLines, 1000);
    EXPECT_THAT(linesOf(byJq.strOutput), SizeIs(uiLines));
    EXPECT_THAT(linesOf(byPython.strOutput), SizeIs(uiLines));
    EXPECT_THAT(linesOf(byPython.strOutput), testing::Not(Contains("FATAL")));
}

TEST_F(GatewayCalls, LnavFindsNothingWrongWithTheFormatOfTheLog) { EXPECT_EQ("", lnav({"-C"})); }

TEST_F(GatewayCalls, LnavReadsEachLineOfTheLogAndOfAFileOfACall)
{
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    connect(caller);
    caller.send("BYE", "service");
    caller.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
    EXPECT_EQ("lines,calls,leg,received\n" + std::to_string(linesOfLog().size()) +
                  ",a-call@caller,1,INVITE received : CSeq = 1\n",
              lnav("SELECT count(*) AS lines, max(call_id) AS calls, max(leg) AS leg, "
                   "min(CASE WHEN log_body LIKE 'INVITE%' THEN log_body END) AS received "
                   "FROM keswardin_log",
                   home().file("logs/gateway.log")));
    EXPECT_EQ("lines,info\n12,12\n",
              lnav("SELECT count(*) AS lines, sum(log_level = 'info') AS info FROM keswardin_log",
                   home().file("calls/a-call@caller.log")));
}

TEST_F(GatewayCalls, TwoAddressesAreServed)
{
    const std::string strRange = ":5060, udp:" + address() + ":5070";
    replaceInFile(etc("gateway.cfg"), ":5060", strRange);
    start();
    waitForLine("running at sip:" + address() + ":5070;transport=udp");
    SipCaller caller(address());
    caller.send("OPTIONS", "service");
    caller.expectAnswer("200 OK");
    SipCaller other(address(), 5070);
    other.setCallId("other@caller");
    other.send("OPTIONS", "service");
    other.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
}

} // namespace Velmora::Test
