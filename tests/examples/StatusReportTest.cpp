// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/StatusReport.h"

#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>

namespace Velmora::Test
{

namespace
{

using namespace std::chrono_literals;
using GatewayExample::Refusal;
using GatewayExample::StatusReport;
using GatewayExample::statusText;
using Json = nlohmann::json;
using std::chrono::system_clock;
using testing::HasSubstr;

/// A gateway in the middle of its work, with an alarm whose text is hostile.
StatusReport busyGateway()
{
    StatusReport report;
    report.phase = StatusReport::Phase::RUNNING;
    report.startTime = system_clock::time_point(1790000000s);
    report.uptime = 90061s;
    report.calls.uiTaken = 12;
    report.calls.uiAnswered = 7;
    report.calls.uiMostAtOnce = 5;
    report.calls.countRefusal(Refusal::BUSY);
    report.calls.countRefusal(Refusal::OVERLOAD);
    report.calls.countRefusal(Refusal::OVERLOAD);
    report.uiCallsNow = 3;
    report.uiRtpPortsUsed = 3;
    report.calls.uiRtpDropped = 4;
    report.uiSipNotSent = 6;
    report.uiRtpPorts = 5000;
    report.uiLogLines = 100;
    report.uiLogLinesLost = 1;
    report.configuration.m_uiParameters = 183;
    report.configuration.m_uiUnknownNames = 1;
    report.uiBrokenRules = 2;
    report.alarms.alarms = {{.strId = "trunk \"17\"\n\\\x1b[2J\xff",
                             .severity = Alarm::WARN_SEVERITY,
                             .strText = "no carrier\nERROR forged\x1b[2J",
                             .state = AlarmJournal::State::on,
                             .since = system_clock::time_point(1790000042s),
                             .duration = 19s,
                             .ulTimesOn = 2,
                             .ulChanges = 3,
                             .shelving = AlarmJournal::Shelving::flapping},
                            {.strId = "system.overload",
                             .severity = static_cast<Alarm::Severity>(12345),
                             .strText = "",
                             .state = AlarmJournal::State::off,
                             .since = system_clock::time_point(1790000000s),
                             .duration = 0s,
                             .ulTimesOn = 0,
                             .ulChanges = 0,
                             .shelving = AlarmJournal::Shelving::no}};
    report.alarms.inventory = {{.strId = report.alarms.alarms[0].strId,
                                .severity = Alarm::WARN_SEVERITY,
                                .strCause = "a trunk has no carrier",
                                .strAction = "check the cable",
                                .bDescribed = true}};
    return report;
}

} // namespace

TEST(StatusReport, IsAnObjectOfJson)
{
    const Json json = Json::parse(busyGateway().toJson());
    EXPECT_EQ("running", json["phase"]);
    EXPECT_EQ(GATEWAY_VERSION, json["version"]);
    EXPECT_EQ("2026-09-21T14:13:20Z", json["started"]);
    EXPECT_EQ(90061, json["uptime-seconds"]);
    EXPECT_EQ(Json::parse(R"({"now": 3, "peak": 5, "taken": 12, "answered": 7,
                              "refused": {"overload": 2, "loop-behind": 0, "files-behind": 0,
                                          "calls-limit": 0, "source-limit": 0, "memory-limit": 0,
                                          "header-too-long": 0,
                                          "stopping": 0, "busy": 1, "no-answer": 0,
                                          "not-acceptable": 0, "no-rtp-port": 0, "failure": 0}})"),
              json["calls"]);
    EXPECT_EQ(Json::parse(R"({"used": 3, "all": 5000})"), json["rtp-ports"]);
    EXPECT_EQ(4, json["rtp-packets-dropped"]);
    EXPECT_EQ(6, json["sip-not-sent"]);
    EXPECT_EQ(Json::parse(R"({"lines": 100, "lines-lost": 1, "call-files-failed": 0})"),
              json["log"]);
    EXPECT_EQ("see the warnings of the start", json["configuration"]["verdict"]);
    EXPECT_EQ(2, json["configuration"]["broken-rules"]);
    ASSERT_EQ(2, json["alarms"].size());
    EXPECT_EQ("trunk \"17\"\n\\\x1b[2J\xef\xbf\xbd", json["alarms"][0]["id"]);
    EXPECT_EQ("WARN", json["alarms"][0]["severity"]);
    EXPECT_EQ("on", json["alarms"][0]["state"]);
    EXPECT_EQ("2026-09-21T14:14:02Z", json["alarms"][0]["since"]);
    EXPECT_EQ(19, json["alarms"][0]["seconds"]);
    EXPECT_EQ(2, json["alarms"][0]["times-on"]);
    EXPECT_EQ(true, json["alarms"][0]["shelved"]);
    EXPECT_EQ("check the cable", json["alarms"][0]["action"]);
    EXPECT_EQ("12345", json["alarms"][1]["severity"]);
}

TEST(StatusReport, IsLinesForPeopleWhateverAnAlarmWrites)
{
    EXPECT_EQ(
        "gateway " GATEWAY_VERSION " : running, started 2026-09-21T14:13:20Z, up 1 d 01:01:01\n"
        "calls         : 3 now, 5 at once at most, 12 taken, 7 answered\n"
        "refused       : overload 2, busy 1\n"
        "RTP ports     : 3 of 5000 in use, 4 packets of others dropped\n"
        "SIP           : 6 datagrams could not be sent\n"
        "log           : 100 lines written, 1 lost, 0 files of calls incomplete\n"
        "configuration : see the warnings of the start : parameters 183, unknown-names 1, "
        "broken-rules 2\n"
        "alarms        : \n"
        "  WARN trunk \"17\"\\n\\\\\\x1b[2J\xef\xbf\xbd since 2026-09-21T14:14:02Z (00:00:19), "
        "shelved : no carrier\\nERROR forged\\x1b[2J\n"
        "    what to do : check the cable\n",
        statusText(busyGateway().toJson()));
}

TEST(StatusReport, SaysThatNothingIsWrong)
{
    StatusReport report;
    report.phase = StatusReport::Phase::RUNNING;
    const std::string strText = statusText(report.toJson());
    EXPECT_THAT(strText, HasSubstr("refused       : none\n"));
    EXPECT_THAT(strText, HasSubstr("configuration : ok : none\n"));
    EXPECT_THAT(strText, HasSubstr("alarms        : none is on\n"));
}

TEST(StatusReport, NamesEachPhase)
{
    StatusReport report;
    std::string strPhases;
    for (const StatusReport::Phase phase :
         {StatusReport::Phase::STARTING, StatusReport::Phase::RUNNING,
          StatusReport::Phase::STOPPING, StatusReport::Phase::STOPPED,
          StatusReport::Phase::NOT_STARTED})
    {
        report.phase = phase;
        strPhases += Json::parse(report.toJson())["phase"].get<std::string>() + ';';
        const bool bUp = report.toPrometheus().find("\ngateway_up 1\n") != std::string::npos;
        EXPECT_EQ(phase == StatusReport::Phase::RUNNING, bUp);
    }
    EXPECT_EQ("starting;running;stopping;stopped;not started;", strPhases);
}

TEST(StatusReport, IsReadByTheClientOfPrometheus)
{
    const TemporaryDirectory directory;
    std::ofstream(directory.file("gateway.prom")) << busyGateway().toPrometheus();
    std::ofstream(directory.file("read.py")) << R"(
import sys
from prometheus_client.parser import text_fd_to_metric_families
with open(sys.argv[1], encoding="utf-8", errors="surrogateescape") as file:
    for family in text_fd_to_metric_families(file):
        assert family.documentation and family.type in ("gauge", "counter"), family
        for sample in family.samples:
            assert (family.type == "counter") == sample.name.endswith("_total"), sample
            print(sample.name, sorted(sample.labels.items()), sample.value)
)";
    const HelperResult result =
        runHelper("/usr/bin/python3", {directory.file("read.py"), directory.file("gateway.prom")},
                  {{"PYTHONIOENCODING", "utf-8:surrogateescape"}});
    EXPECT_EQ(0, result.iExitCode) << result.strErrors;
    for (const char* const szLine :
         {"gateway_up [] 1.0\n",
          "gateway_build_info [('version', '" GATEWAY_VERSION "')] 1.0\n",
          "gateway_start_time_seconds [] 1790000000.0\n",
          "gateway_uptime_seconds [] 90061.0\n",
          "gateway_calls [] 3.0\n",
          "gateway_calls_peak [] 5.0\n",
          "gateway_calls_total [] 12.0\n",
          "gateway_calls_answered_total [] 7.0\n",
          "gateway_calls_refused_total [('cause', 'overload')] 2.0\n",
          "gateway_calls_refused_total [('cause', 'busy')] 1.0\n",
          "gateway_calls_refused_total [('cause', 'failure')] 0.0\n",
          "gateway_rtp_ports [] 3.0\n",
          "gateway_rtp_ports_limit [] 5000.0\n",
          "gateway_rtp_packets_dropped_total [] 4.0\n",
          "gateway_sip_not_sent_total [] 6.0\n",
          "gateway_log_lines_total [] 100.0\n",
          "gateway_log_lines_lost_total [] 1.0\n",
          "gateway_call_files_failed_total [] 0.0\n",
          "gateway_configuration_parameters [] 183.0\n",
          "gateway_configuration_problems [('kind', 'unknown-name')] 1.0\n",
          "gateway_configuration_problems [('kind', 'broken-rule')] 2.0\n",
          "gateway_alarm [('id', 'trunk \"17\"\\n\\\\\\x1b[2J\\udcff')] 1.0\n",
          "gateway_alarm [('id', 'system.overload')] 0.0\n",
          "gateway_alarm_since_seconds [('id', 'system.overload')] 1790000000.0\n",
          "gateway_alarm_times_on_total [('id', 'system.overload')] 0.0\n"})
        EXPECT_THAT(result.strOutput, HasSubstr(szLine));
}

TEST(StatusReport, AnythingElseIsNotShownAsOne)
{
    for (const char* const szText : {"", "{}", "<html>", "{\"calls\": 1}"})
        EXPECT_THROW(static_cast<void>(statusText(szText)), std::runtime_error) << szText;
}

} // namespace Velmora::Test
