// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/Sanitizers.h"

#include "tests/examples/GatewayProcess.h"
#include "tests/examples/SipCaller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include <sys/stat.h>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

/// A gateway that gets signals.
class GatewaySignals : public GatewayProcess
{
  protected:
    void switchRecordingOnAndOff()
    {
        signal(SIGUSR1);
        waitForLine("recording of calls is on");
        signal(SIGUSR1);
        waitForLine("recording of calls is off");
    }
};

} // namespace

TEST_F(GatewayProcess, StopsAtSigintToo)
{
    start();
    signal(SIGINT);
    EXPECT_EQ(0, waitForEnd());
    EXPECT_THAT(log(), Contains("INFO keswardin.gateway - stopping : Interrupt"));
}

TEST_F(GatewaySignals, SwitchRecordingOnAndOffAtRunTimeOfItsProtectedConfiguration)
{
    start();
    switchRecordingOnAndOff();
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains("ERROR keswardin.infra.GlobalConfig - failed to set a Global "
                                "Configuration parameter because it is write protected : "
                                "keswardin.gw.recordCalls.enabled")
                           .Times(2));
}

TEST_F(GatewaySignals, AreHandledThoughTheirPipeTakesNone)
{
    setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_FAILS_DATAGRAMS);
    setEnvironment("FAILS_WRITES", "1");
    start();
    switchRecordingOnAndOff();
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), testing::Contains("INFO keswardin.gateway - stopping : Terminated"));
}

TEST_F(GatewayProcess, EndsAtSigtermWhileItsStartWaits)
{
    if (VELMORA_THREAD_SANITIZER)
        GTEST_SKIP() << "ThreadSanitizer delays a signal until the system call that waits ends";
    // Nobody writes to it, so the start waits for its first line.
    const std::string strPipe = home().file("etc/pipe.cfg");
    ASSERT_EQ(0, mkfifo(strPipe.c_str(), 0600));
    for (const int iSignal : {SIGTERM, SIGINT})
    {
        begin(sources({"--global-config", strPipe}));
        std::this_thread::sleep_for(200ms);
        signal(iSignal);
        EXPECT_EQ(0, waitForEnd());
    }
    EXPECT_EQ("WARN - stopping : the gateway is stopped before it has started\n"
              "WARN - stopping : the gateway is stopped before it has started\n",
              output());
}

TEST_F(GatewayProcess, StopsInOrderWhateverThreadTheSystemDeliversTheSignalTo)
{
    setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_STARTS_THREADS);
    start();
    EXPECT_EQ(0, stop());
    EXPECT_THAT(log(), Contains(HasSubstr("stopped : calls = 0")));
}

TEST_F(GatewayProcess, TheThirdSigtermCutsCallsOffAtOnce)
{
    configure("keswardin.exitTimeoutSec = 60");
    start({"--answer-after-ms", "1"});
    SipCaller caller(address());
    caller.invite("service");
    caller.expectAnswer("200 OK");
    caller.send("ACK", "service");
    signal(SIGTERM);
    // Not answered, so the call does not end.
    caller.expectRequest("BYE");
    signal(SIGTERM);
    // Repeated, so the gateway still waits.
    caller.expectRequest("BYE");
    signal(SIGTERM);
    EXPECT_EQ(0, waitForEnd());
    EXPECT_THAT(log(), Contains(HasSubstr("cut off : the gateway ends")));
}

TEST_F(GatewayProcess, OpensItsLogAgainAtSighup)
{
    start();
    std::filesystem::rename(home().file("logs/gateway.log"), home().file("logs/gateway.log.1"));
    signal(SIGHUP);
    waitForLine("log files are open again : Hangup");
    EXPECT_EQ(0, stop());
    EXPECT_THAT(home().read("logs/gateway.log.1"), HasSubstr("running at"));
    EXPECT_THAT(log(), ElementsAre("INFO keswardin.gateway - log files are open again : Hangup",
                                   "INFO keswardin.gateway - stopping : Terminated",
                                   "INFO admin.alarm - Alarm [system.out-of-service] : ALARM_ON",
                                   "INFO keswardin.gateway.UserAgent - ending calls : 0",
                                   HasSubstr("stopped : calls = 0")));
}

TEST_F(GatewayProcess, AnExceptionOfTheEventLoopEndsItWithItsReasonInTheLog)
{
    setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_THROWS_IN_LOOP);
    start();
    SipCaller caller(address());
    caller.invite("nobody");
    EXPECT_EQ(1, waitForEnd());
    EXPECT_EQ("", output());
    EXPECT_THAT(log(), Contains(HasSubstr("cut off : the gateway ends")));
    EXPECT_THAT(log(), Contains("ERROR keswardin.gateway - the gateway ends : no more events"));
}

TEST_F(GatewayProcess, WhatIsNoExceptionOfTheStandardLibraryEndsItInTheSameWay)
{
    setEnvironment("LD_PRELOAD", VELMORA_HELPER_EXAMPLES_THROWS_IN_LOOP);
    setEnvironment("VELMORA_THROWS", "int");
    start();
    EXPECT_EQ(1, waitForEnd());
    EXPECT_EQ("", output());
    EXPECT_THAT(log(),
                Contains(testing::StartsWith("ERROR keswardin.gateway - the gateway ends : ")));
}

/// A gateway whose clock of the day is set while it runs. Its monotonic clock is that of the
/// system.
class GatewayWithSetClock : public GatewayProcess
{
  protected:
    GatewayWithSetClock()
    {
        setClock("+0");
        setEnvironment("LD_PRELOAD", VELMORA_LIBFAKETIME);
        setEnvironment("FAKETIME_TIMESTAMP_FILE", home().file("clock"));
        setEnvironment("FAKETIME_NO_CACHE", "1");
        setEnvironment("FAKETIME_DONT_FAKE_MONOTONIC", "1");
    }

    void setClock(const std::string& in_strOffset) const
    {
        std::ofstream(home().file("clock.new")) << in_strOffset << '\n';
        std::filesystem::rename(home().file("clock.new"), home().file("clock"));
    }
};

TEST_F(GatewayWithSetClock, NoCallEndsOrHangsWhenTheClockOfTheDayIsSet)
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizers and libfaketime replace the same functions";
#endif
    start();
    SipCaller ringing(address());
    ringing.setCallId("ringing");
    ringing.invite("nobody");
    ringing.expectAnswer("180 Ringing");
    for (const char* const szOffset : {"+1h", "-1h"})
    {
        setClock(szOffset);
        SipCaller caller(address());
        caller.setCallId(std::string("call") + szOffset);
        caller.invite("service");
        // After the time of a called party, 200 ms, as if nothing had happened.
        caller.expectAnswer("200 OK");
        caller.send("ACK", "service");
        caller.send("BYE", "service");
        caller.expectAnswer("200 OK");
        EXPECT_EQ(0, ringing.countAnswers("480 Temporarily Unavailable"));
    }
    ringing.send("CANCEL", "nobody");
    ringing.expectAnswer("487 Request Terminated");
    EXPECT_EQ(0, stop());
    // The clock was set indeed.
    std::set<std::string> hours;
    for (const std::string& strLine : linesOfLog())
        hours.insert(strLine.substr(0, std::string_view("2026-11-21 08").size()));
    EXPECT_THAT(hours, SizeIs(testing::Ge(3)));
}

} // namespace Velmora::Test
