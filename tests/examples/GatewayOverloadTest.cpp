// SPDX-License-Identifier: BSD-2-Clause

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"
#include "velmora/alarm/ProfileTimer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class GatewayOverload : public GatewayProcess
{
  protected:
    /// Limits the gateway to one concurrent call. The calls are counted every 10 ms, so that tests
    /// are fast.
    void takeOneCallAtOnce() const
    {
        configure("gateway.calls.monitor.monitoringPeriodInMs = 10");
        configure("gateway.calls.monitor.averageWindowSize = 1");
        configure("gateway.calls.monitor.setAlarmThreshold = 1.0");
        configure("gateway.calls.monitor.resetAlarmThreshold = 0.5");
    }

    /// Monitors the processors and logs each observation.
    void watchProcessors() const
    {
        configure("keswardin.system.cpu.monitor.monitoringPeriodInMs = 500");
        configure("keswardin.system.cpu.monitor.averageWindowSize = 3");
        configure("keswardin.system.cpu.monitor.setAlarmThreshold = 95.0");
        configure("keswardin.system.cpu.monitor.resetAlarmThreshold = 90.0");
        logObservations();
    }

    void logObservations() const
    {
        replaceInFile(etc("logging.cfg"), "log4cplus.logger.keswardin.gateway = INFO",
                      "log4cplus.logger.keswardin.gateway.LoadMonitor = DEBUG\n"
                      "log4cplus.logger.keswardin.gateway = INFO");
    }

    /// Starts twice as many busy processes as there are processors, after the window has filled
    /// with earlier observations.
    void loadProcessorsUntilOverload()
    {
        constexpr std::ptrdiff_t iWindow = 3;
        EXPECT_TRUE(waitUntil(
            [this]
            {
                const std::vector<std::string> lines = linesOfLog();
                return std::count_if(lines.begin(), lines.end(),
                                     [](const std::string& in_strLine) {
                                         return in_strLine.find("cpu in use : ") !=
                                                std::string::npos;
                                     }) >= iWindow;
            }));
        BackgroundProcess stress({VELMORA_STRESS_NG, "--cpu",
                                  std::to_string(2 * sysconf(_SC_NPROCESSORS_ONLN)), "--timeout",
                                  "100"},
                                 home().file("stress"));
        waitForLine("Alarm [system.overload.cpu] : ALARM_ON");
        stress.signal(SIGTERM);
        stress.waitForEnd();
    }
};

/// Measures the load of the processors for a second and returns it in percent.
double useOfProcessors()
{
    ProfileTimer timer;
    double dIdle = 0;
    EXPECT_TRUE(timer.getSystemIdleTime(dIdle));
    sleep(1);
    EXPECT_TRUE(timer.getSystemIdleTime(dIdle));
    return 100 - dIdle;
}

} // namespace

TEST_F(GatewayOverload, RefusesNewCallsWhileThereAreTooManyAndSaysWhenToComeAgain)
{
    takeOneCallAtOnce();
    configure("gateway.calls.retryAfterSec = 7");
    start();
    SipCaller first(address());
    first.invite("nobody");
    first.expectAnswer("180 Ringing");
    waitForLine("Alarm [system.overload.calls] : ALARM_ON");
    SipCaller second(address());
    second.setCallId("second@caller");
    second.invite("nobody");
    EXPECT_THAT(second.expectAnswer("503 Service Unavailable"), HasSubstr("\nRetry-After: 7\r\n"));

    // The existing call continues.
    first.send("CANCEL", "nobody");
    first.expectAnswer("487 Request Terminated");
    waitForLine("Alarm [system.overload.calls] : ALARM_OFF");
    SipCaller third(address());
    third.setCallId("third@caller");
    third.invite("nobody");
    third.expectAnswer("180 Ringing");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(),
                Contains(HasSubstr("stopped : calls = 2, at once at most = 1, refused = 1")));
    EXPECT_THAT(callFiles(), SizeIs(2));
}

TEST_F(GatewayOverload, AnswersWhatIsNoNewCall)
{
    takeOneCallAtOnce();
    start();
    SipCaller first(address());
    first.invite("nobody");
    first.expectAnswer("180 Ringing");
    waitForLine("Alarm [system.overload.calls] : ALARM_ON");
    SipCaller second(address());
    second.setCallId("second@caller");
    second.send("OPTIONS", "nobody");
    second.expectAnswer("200 OK");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayOverload, TurnsTheOverloadOfTheSystemOn)
{
    takeOneCallAtOnce();
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    waitForLine("Alarm [system.overload] : ALARM_ON");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("WARN admin.alarm - Alarm [system.overload.calls] : ALARM_ON"));
    EXPECT_THAT(log(), Contains("ERROR admin.alarm - Alarm [system.overload] : ALARM_ON"));
}

TEST_F(GatewayOverload, OfTheProcessorsIsReportedAndRefusesNothing)
{
    configure("keswardin.system.cpu.monitor.monitoringPeriodInMs = 10");
    configure("keswardin.system.cpu.monitor.setAlarmThreshold = 0.0");
    configure("keswardin.system.cpu.monitor.resetAlarmThreshold = -1.0");
    start();
    waitForLine("Alarm [system.overload.cpu] : ALARM_ON");
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayOverload, IsNotWatchedForWithoutAPeriod)
{
    takeOneCallAtOnce();
    configure("gateway.calls.monitor.monitoringPeriodInMs = 0");
    logObservations();
    start();
    for (const char* const szCall : {"first@caller", "second@caller"})
    {
        SipCaller caller(address());
        caller.setCallId(szCall);
        caller.invite("nobody");
        caller.expectAnswer("180 Ringing");
    }
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Not(Contains(HasSubstr("LoadMonitor"))));
}

TEST_F(GatewayOverload, AtTheLimitOfCallsTheNextOneIsRefused)
{
    configure("gateway.calls.most = 1");
    configure("gateway.calls.retryAfterSec = 7");
    start();
    SipCaller first(address());
    first.invite("nobody");
    first.expectAnswer("180 Ringing");
    SipCaller second(address());
    second.setCallId("second@caller");
    second.invite("nobody");
    const std::string strRefusal = second.expectAnswer("503 Service Unavailable");
    EXPECT_THAT(strRefusal, HasSubstr("\nRetry-After: 7\r\n"));
    EXPECT_THAT(strRefusal, HasSubstr(";tag=refused-"));
    // The transaction is answered in the same way again, and its ACK is taken.
    second.repeat();
    EXPECT_EQ(strRefusal, second.expectAnswer("503 Service Unavailable"));
    first.send("CANCEL", "nobody");
    first.expectAnswer("487 Request Terminated");
    // Also when a call would be taken.
    second.repeat();
    EXPECT_EQ(strRefusal, second.expectAnswer("503 Service Unavailable"));
    second.send("ACK", "nobody");
    SipCaller third(address());
    third.setCallId("third@caller");
    third.invite("nobody");
    third.expectAnswer("180 Ringing");
    EXPECT_THAT(run(sources({"--status"})).strOutput, HasSubstr("refused       : calls-limit 1\n"));
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("WARN keswardin.gateway.Admission - calls are refused : the limit "
                                "gateway.calls.most = 1 is reached. Refused until now : 1"));
    EXPECT_THAT(log(),
                Contains(HasSubstr("stopped : calls = 2, at once at most = 1, refused = 1")));
    EXPECT_THAT(callFiles(), SizeIs(2));
}

TEST_F(GatewayOverload, RefusesWhatOnlyTheStackReadsWithTheSameAnswer)
{
    configure("gateway.calls.most = 1");
    start();
    SipCaller first(address());
    first.invite("nobody");
    first.expectAnswer("180 Ringing");
    SipCaller second(address());
    second.setCallId("second@caller");
    second.transmit("INVITE sip:nobody@" + address() + " SIP/2.0\r\nVia: SIP/2.0/UDP " +
                    second.own() +
                    ";branch=z9hG4bKfolded\r\nFrom: <sip:a@b>\r\n ;tag=1\r\nTo: <sip:nobody@b>\r\n"
                    "Call-ID: second@caller\r\nCSeq: 1 INVITE\r\nContact: <sip:a@" +
                    second.own() + ">\r\nMax-Forwards: 70\r\nContent-Length: 0\r\n\r\n");
    const std::string strRefusal = second.expectAnswer("503 Service Unavailable");
    EXPECT_THAT(strRefusal, HasSubstr("\nRetry-After: 5\r\n"));
    EXPECT_THAT(strRefusal, Not(HasSubstr(";tag=refused-")));
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayOverload, ARepeatedInviteOfACallIsNotRefused)
{
    configure("gateway.calls.most = 1");
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    caller.expectAnswer("180 Ringing");
    caller.repeat();
    caller.expectAnswer("180 Ringing");
    EXPECT_EQ(0, caller.countAnswers("503 Service Unavailable"));
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayOverload, ASourceThatMakesTooManyCallsIsRefusedAndOthersAreNot)
{
    configure("gateway.calls.newFromOneSourcePerSec = 1");
    start();
    SipCaller first(address());
    first.invite("busy");
    first.expectAnswer("486 Busy Here");
    SipCaller second(address());
    second.setCallId("second@caller");
    second.invite("busy");
    second.expectAnswer("503 Service Unavailable");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("WARN keswardin.gateway.Admission - calls from " + address() +
                                " are refused : the limit gateway.calls.newFromOneSourcePerSec = 1 "
                                "is reached. Refused until now : 1"));
}

TEST_F(GatewayOverload, TooMuchMemoryRefusesNewCalls)
{
    configure("gateway.memory.limitMB = 1");
    start();
    SipCaller caller(address());
    caller.invite("busy");
    caller.expectAnswer("503 Service Unavailable");
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayOverload, ARequestWithATooLongHeaderIsRefusedWith513)
{
    configure("gateway.sip.longestHeader = 200");
    start();
    const std::string strLong(200, 'x');
    const std::string strVia = "Via: SIP/2.0/UDP host;branch=z9hG4bK";
    int iCall = 0;
    for (const auto& [strName, strValue] : std::vector<std::pair<std::string, std::string>>{
             {"Subject", strLong},
             {"Via", "SIP/2.0/UDP host;branch=z9hG4bK" + strLong},
             {"Record-Route", "<sip:" + strLong + ";lr>"}})
    {
        SipCaller caller(address());
        caller.setCallId("call-" + std::to_string(++iCall));
        caller.addHeader(strName + ": " + strValue);
        caller.invite("busy");
        caller.expectAnswer(strName == "Subject" ? "486 Busy Here" : "513 Message Too Large");
    }
    SipCaller longId(address());
    longId.setCallId(strLong);
    longId.invite("busy");
    longId.expectAnswer("513 Message Too Large");
    SipCaller longUser(address());
    longUser.setCallId("long-user");
    longUser.send("OPTIONS", strLong);
    longUser.expectAnswer("513 Message Too Large");
    EXPECT_THAT(run(sources({"--status"})).strOutput,
                HasSubstr("refused       : header-too-long 3, busy 1\n"));
    EXPECT_EQ(0, stop());
}

TEST_F(GatewayOverload, OfTheLoopRefusesNewCallsUntilItHasCaughtUp)
{
    configure("gateway.overload.queueKB = 40");
    start();
    SipCaller standing(address());
    standing.invite("nobody");
    standing.expectAnswer("180 Ringing");
    signal(SIGSTOP);
    std::vector<std::unique_ptr<SipCaller>> callers;
    for (int i = 0; i < 40; ++i)
    {
        callers.push_back(std::make_unique<SipCaller>(address()));
        callers.back()->setCallId("burst-" + std::to_string(i));
        callers.back()->invite("busy");
    }
    signal(SIGCONT);
    int iRefused = 0;
    int iServed = 0;
    for (const auto& pCaller : callers)
        ++(pCaller->expectFinalAnswer() == 503 ? iRefused : iServed);
    EXPECT_LT(0, iRefused);
    EXPECT_LT(0, iServed) << "it takes calls again when few wait";
    waitForLine("Alarm [system.overload.loop] : ALARM_ON");
    EXPECT_THAT(run(sources({"--status"})).strOutput,
                HasSubstr("refused       : loop-behind " + std::to_string(iRefused) + ", busy " +
                          std::to_string(iServed)));

    // The standing call is not harmed.
    standing.send("CANCEL", "nobody");
    standing.expectAnswer("487 Request Terminated");
    waitForLine("Alarm [system.overload.loop] : ALARM_OFF");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("WARN admin.alarm - Alarm [system.overload.loop] : ALARM_ON"));
}

TEST_F(GatewayOverload, ParametersAreListedWithAllOthers)
{
    const HelperResult result = run({"--get-param-info", "^gateway\\."});
    EXPECT_EQ(0, result.iExitCode);
    for (const char* const szName :
         {"gateway.calls.monitor.monitoringPeriodInMs", "gateway.calls.monitor.setAlarmThreshold",
          "gateway.calls.monitor.resetAlarmThreshold", "gateway.calls.monitor.averageWindowSize",
          "gateway.calls.retryAfterSec", "gateway.calls.most",
          "gateway.calls.newFromOneSourcePerSec", "gateway.memory.limitMB",
          "gateway.sip.longestHeader", "gateway.overload.queueKB", "gateway.overload.timerLateMs",
          "gateway.overload.fileLateMs", "gateway.calls.fileThreads",
          "gateway.sip.receiveBufferKB"})
        EXPECT_THAT(result.strOutput, HasSubstr("name=" + std::string(szName) + " type="));
}

TEST_F(GatewayOverload, AMisspeltParameterIsSuggested)
{
    configure("gateway.call.retryAfterSec = 7");
    start();
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("WARN keswardin.infra.GlobalConfig - Unknown parameter : "
                                "gateway.call.retryAfterSec. Closest known parameter : "
                                "gateway.calls.retryAfterSec"));
}

TEST_F(GatewayOverload, ThresholdsThatAreNotInOrderKeepItFromStarting)
{
    configure("gateway.calls.monitor.resetAlarmThreshold = 5000.0");
    const HelperResult result = run(sources());
    EXPECT_EQ(1, result.iExitCode);
    EXPECT_THAT(log(), Contains("ERROR keswardin.gateway - "
                                "gateway.calls.monitor.resetAlarmThreshold = \"5000\" : it must be "
                                "below gateway.calls.monitor.setAlarmThreshold, which is 4500"));
}

TEST_F(GatewayOverload, OfRealProcessorsIsSeenWithinThreePeriods)
{
    watchProcessors();
    start();
    loadProcessorsUntilOverload();
    EXPECT_EQ(0, stop());

    // The observations since the load reached 95 %.
    const std::vector<std::string> lines = log();
    const auto on =
        std::find_if(lines.begin(), lines.end(),
                     [](const std::string& in_strLine)
                     { return in_strLine.ends_with("[system.overload.cpu] : ALARM_ON"); });
    std::vector<double> uses;
    for (auto line = lines.begin(); line != on; ++line)
        if (const std::size_t uiAt = line->find("cpu in use : "); uiAt != std::string::npos)
            uses.push_back(
                std::stod(line->substr(uiAt + std::string_view("cpu in use : ").size())));
    const auto first =
        std::find_if(uses.rbegin(), uses.rend(), [](double in_dUse) { return in_dUse < 95; });
    EXPECT_THAT((std::vector<double>(first.base(), uses.end())),
                SizeIs(testing::AllOf(testing::Ge(1u), testing::Le(3u))));
}

TEST_F(GatewayOverload, OfRealProcessorsGoes)
{
    watchProcessors();
    if (useOfProcessors() > 50)
        GTEST_SKIP() << "the processors are busy with something else, and stay so";
    start();
    loadProcessorsUntilOverload();
    waitForLine("Alarm [system.overload.cpu] : ALARM_OFF");
    EXPECT_EQ(0, stop());
}

} // namespace Velmora::Test
