// SPDX-License-Identifier: BSD-2-Clause

#include "StatusReport.h"

#include "velmora/logging/EscapedText.h"

#include <log4cplus/loglevel.h>
#include <nlohmann/json.hpp>

#include <array>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string_view>

using Json = nlohmann::ordered_json;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::system_clock;
using Velmora::AlarmJournal;
using Velmora::LoadSummary;

namespace GatewayExample
{

namespace
{

constexpr std::array<const char*, 5> s_phaseNames{"starting", "running", "stopping", "stopped",
                                                  "not started"};

const char* nameOf(StatusReport::Phase in_phase)
{
    return s_phaseNames[static_cast<std::size_t>(in_phase)];
}

const char* nameOf(AlarmJournal::State in_state)
{
    switch (in_state)
    {
    case AlarmJournal::State::off:
        return "off";
    case AlarmJournal::State::on:
        return "on";
    case AlarmJournal::State::outOfService:
        return "out-of-service";
    case AlarmJournal::State::removed:
        break;
    }
    return "removed";
}

std::string severityText(Velmora::Alarm::Severity in_severity)
{
    const std::string strName = log4cplus::getLogLevelManager().toString(in_severity);
    return strName != "UNKNOWN" ? strName : std::to_string(in_severity);
}

bool isOn(const AlarmJournal::Entry& in_alarm)
{
    return in_alarm.state == AlarmJournal::State::on ||
           in_alarm.state == AlarmJournal::State::outOfService;
}

/// Returns a time in RFC 3339, in UTC, to the second.
std::string textOf(system_clock::time_point in_time)
{
    const std::time_t time = system_clock::to_time_t(in_time);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%SZ");
    return std::move(text).str();
}

double secondsOf(system_clock::time_point in_time)
{
    return std::chrono::duration<double>(in_time.time_since_epoch()).count();
}

Json jsonOf(const AlarmJournal::Entry& in_alarm, const std::string& in_strAction)
{
    return {{"id", in_alarm.strId},
            {"severity", severityText(in_alarm.severity)},
            {"state", nameOf(in_alarm.state)},
            {"since", textOf(in_alarm.since)},
            {"seconds", duration_cast<std::chrono::seconds>(in_alarm.duration).count()},
            {"times-on", in_alarm.ulTimesOn},
            {"shelved", in_alarm.shelving != AlarmJournal::Shelving::no},
            {"text", in_alarm.strText},
            {"action", in_strAction}};
}

std::string actionOf(const AlarmJournal::Content& in_content, const std::string& in_strId)
{
    for (const AlarmJournal::Description& description : in_content.inventory)
        if (description.strId == in_strId)
            return description.strAction;
    return {};
}

Json jsonOf(const LoadSummary& in_summary, std::size_t in_uiBrokenRules)
{
    const std::size_t uiProblems = in_summary.m_uiUnknownNames + in_summary.m_uiWrongTypes +
                                   in_summary.m_uiRedefinitions + in_summary.m_uiOutOfBounds +
                                   in_uiBrokenRules;
    return {{"verdict", uiProblems == 0 ? "ok" : "see the warnings of the start"},
            {"parameters", in_summary.m_uiParameters},
            {"unknown-names", in_summary.m_uiUnknownNames},
            {"wrong-types", in_summary.m_uiWrongTypes},
            {"redefinitions", in_summary.m_uiRedefinitions},
            {"out-of-bounds", in_summary.m_uiOutOfBounds},
            {"broken-rules", in_uiBrokenRules}};
}

/// Writes the text format of Prometheus.
class Metrics
{
  public:
    /// Begins a metric. Its samples follow.
    void begin(const char* in_szName, const char* in_szType, const char* in_szHelp)
    {
        m_strName = std::string("gateway_") + in_szName;
        m_text << "# HELP " << m_strName << ' ' << in_szHelp << "\n# TYPE " << m_strName << ' '
               << in_szType << '\n';
    }

    template <class Number>
    void sample(Number in_value)
    {
        m_text << m_strName << ' ' << in_value << '\n';
    }

    template <class Number>
    void sample(const char* in_szLabel, const std::string& in_strLabelValue, Number in_value)
    {
        m_text << m_strName << '{' << in_szLabel << "=\"" << escaped(in_strLabelValue) << "\"} "
               << in_value << '\n';
    }

    template <class Number>
    void only(const char* in_szName, const char* in_szType, const char* in_szHelp, Number in_value)
    {
        begin(in_szName, in_szType, in_szHelp);
        sample(in_value);
    }

    [[nodiscard]] std::string text() && { return std::move(m_text).str(); }

    Metrics() { m_text << std::setprecision(15); }

  private:
    static std::string escaped(const std::string& in_strText)
    {
        std::string strEscaped;
        for (const char c : in_strText)
            if (c == '\n')
                strEscaped += "\\n";
            else if (c == '"' || c == '\\')
                (strEscaped += '\\') += c;
            else
                strEscaped += c;
        return strEscaped;
    }

    std::ostringstream m_text;
    std::string m_strName;
};

void writeCalls(const StatusReport& in_report, Metrics& inout_metrics)
{
    inout_metrics.only("calls", "gauge", "Calls at once.", in_report.uiCallsNow);
    inout_metrics.only("calls_peak", "gauge",
                       "The largest number of calls at once since the start.",
                       in_report.calls.uiMostAtOnce);
    inout_metrics.only("calls_total", "counter", "Calls that were not refused at once.",
                       in_report.calls.uiTaken);
    inout_metrics.only("calls_answered_total", "counter", "Calls that were answered.",
                       in_report.calls.uiAnswered);
    inout_metrics.begin("calls_refused_total", "counter", "Calls that were refused.");
    for (std::size_t i = 0; i < s_refusalNames.size(); ++i)
        inout_metrics.sample("cause", s_refusalNames[i], in_report.calls.refused[i]);
    inout_metrics.only("rtp_ports", "gauge", "Pairs of RTP ports in use.",
                       in_report.uiRtpPortsUsed);
    inout_metrics.only("rtp_ports_limit", "gauge", "Pairs of RTP ports.", in_report.uiRtpPorts);
    inout_metrics.only("rtp_packets_dropped_total", "counter",
                       "Packets of RTP that were not the caller's, or were repeated too often.",
                       in_report.calls.uiRtpDropped);
}

void writeAlarms(const StatusReport& in_report, Metrics& inout_metrics)
{
    const std::vector<AlarmJournal::Entry>& alarms = in_report.alarms.alarms;
    inout_metrics.begin("alarm", "gauge", "Whether an alarm is on.");
    for (const AlarmJournal::Entry& alarm : alarms)
        inout_metrics.sample("id", alarm.strId, isOn(alarm) ? 1 : 0);
    inout_metrics.begin("alarm_since_seconds", "gauge",
                        "When an alarm got its state, in seconds since 1970.");
    for (const AlarmJournal::Entry& alarm : alarms)
        inout_metrics.sample("id", alarm.strId, secondsOf(alarm.since));
    inout_metrics.begin("alarm_times_on_total", "counter", "How many times an alarm has gone on.");
    for (const AlarmJournal::Entry& alarm : alarms)
        inout_metrics.sample("id", alarm.strId, alarm.ulTimesOn);
}

void writeConfiguration(const StatusReport& in_report, Metrics& inout_metrics)
{
    const LoadSummary& summary = in_report.configuration;
    inout_metrics.only("configuration_parameters", "gauge", "Parameters with a value.",
                       summary.m_uiParameters);
    inout_metrics.begin("configuration_problems", "gauge",
                        "What the start has warned of in the configuration.");
    inout_metrics.sample("kind", "unknown-name", summary.m_uiUnknownNames);
    inout_metrics.sample("kind", "wrong-type", summary.m_uiWrongTypes);
    inout_metrics.sample("kind", "redefinition", summary.m_uiRedefinitions);
    inout_metrics.sample("kind", "out-of-bounds", summary.m_uiOutOfBounds);
    inout_metrics.sample("kind", "broken-rule", in_report.uiBrokenRules);
}

/// Returns a duration such as "3 d 04:05:06".
std::string durationText(std::int64_t in_iSeconds)
{
    std::ostringstream text;
    if (in_iSeconds >= 86400)
        text << in_iSeconds / 86400 << " d ";
    text << std::setfill('0') << std::setw(2) << in_iSeconds / 3600 % 24 << ':' << std::setw(2)
         << in_iSeconds / 60 % 60 << ':' << std::setw(2) << in_iSeconds % 60;
    return std::move(text).str();
}

/// Writes the members of an object that are not 0, as "name 1, other name 2".
void writeCounts(const Json& in_object, std::ostream& out_stream)
{
    const char* szSeparator = "";
    for (const auto& [strName, value] : in_object.items())
        if (value.is_number() && value.get<std::uint64_t>() != 0)
        {
            out_stream << szSeparator << strName << ' ' << value;
            szSeparator = ", ";
        }
    if (*szSeparator == '\0')
        out_stream << "none";
}

/// Returns a text of the JSON without bytes that a terminal would obey.
std::string shown(const Json& in_text)
{
    std::string strShown;
    Velmora::EscapedText::append(strShown, in_text.get_ref<const std::string&>());
    return strShown;
}

void writeAlarmLines(const Json& in_alarms, std::ostream& out_stream)
{
    bool bAny = false;
    for (const Json& alarm : in_alarms)
    {
        if (alarm.at("state") == "off" || alarm.at("state") == "removed")
            continue;
        bAny = true;
        out_stream << "\n  " << shown(alarm.at("severity")) << ' ' << shown(alarm.at("id"))
                   << " since " << shown(alarm.at("since")) << " ("
                   << durationText(alarm.at("seconds")) << ')'
                   << (alarm.at("shelved").get<bool>() ? ", shelved" : "") << " : "
                   << shown(alarm.at("text"));
        if (!alarm.at("action").get_ref<const std::string&>().empty())
            out_stream << "\n    what to do : " << shown(alarm.at("action"));
    }
    out_stream << (bAny ? "\n" : "none is on\n");
}

} // namespace

std::string StatusReport::toJson() const
{
    Json refusals = Json::object();
    for (std::size_t i = 0; i < s_refusalNames.size(); ++i)
        refusals[s_refusalNames[i]] = calls.refused[i];
    Json alarmList = Json::array();
    for (const AlarmJournal::Entry& alarm : alarms.alarms)
        alarmList.push_back(jsonOf(alarm, actionOf(alarms, alarm.strId)));
    const Json report{{"version", GATEWAY_VERSION},
                      {"phase", nameOf(phase)},
                      {"started", textOf(startTime)},
                      {"uptime-seconds", duration_cast<std::chrono::seconds>(uptime).count()},
                      {"calls",
                       {{"now", uiCallsNow},
                        {"peak", calls.uiMostAtOnce},
                        {"taken", calls.uiTaken},
                        {"answered", calls.uiAnswered},
                        {"refused", refusals}}},
                      {"rtp-ports", {{"used", uiRtpPortsUsed}, {"all", uiRtpPorts}}},
                      {"rtp-packets-dropped", calls.uiRtpDropped},
                      {"sip-not-sent", uiSipNotSent},
                      {"log",
                       {{"lines", uiLogLines},
                        {"lines-lost", uiLogLinesLost},
                        {"call-files-failed", uiCallFilesFailed}}},
                      {"configuration", jsonOf(configuration, uiBrokenRules)},
                      {"alarms", alarmList}};
    // An id of an alarm may have any bytes.
    return report.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string StatusReport::toPrometheus() const
{
    Metrics metrics;
    const bool bServes = phase == Phase::RUNNING;
    metrics.only("up", "gauge", "Whether the gateway takes calls.", bServes ? 1 : 0);
    metrics.begin("build_info", "gauge", "The version of the gateway.");
    metrics.sample("version", GATEWAY_VERSION, 1);
    metrics.only("start_time_seconds", "gauge", "When it was started, in seconds since 1970.",
                 secondsOf(startTime));
    metrics.only("uptime_seconds", "gauge", "The time since then, by the monotonic clock.",
                 std::chrono::duration<double>(uptime).count());
    writeCalls(*this, metrics);
    metrics.only("log_lines_total", "counter", "Lines that were written to files.", uiLogLines);
    metrics.only("log_lines_lost_total", "counter", "Lines that could not be written.",
                 uiLogLinesLost);
    metrics.only("call_files_failed_total", "counter",
                 "Files of calls that have no or not all lines.", uiCallFilesFailed);
    metrics.only("sip_not_sent_total", "counter", "Datagrams of SIP that could not be sent.",
                 uiSipNotSent);
    writeConfiguration(*this, metrics);
    writeAlarms(*this, metrics);
    return std::move(metrics).text();
}

std::string statusText(const std::string& in_strJson)
try
{
    const Json report = Json::parse(in_strJson);
    const Json& calls = report.at("calls");
    const Json& log = report.at("log");
    std::ostringstream text;
    text << "gateway " << shown(report.at("version")) << " : " << shown(report.at("phase"))
         << ", started " << shown(report.at("started")) << ", up "
         << durationText(report.at("uptime-seconds")) << "\ncalls         : " << calls.at("now")
         << " now, " << calls.at("peak") << " at once at most, " << calls.at("taken") << " taken, "
         << calls.at("answered") << " answered\nrefused       : ";
    writeCounts(calls.at("refused"), text);
    text << "\nRTP ports     : " << report.at("rtp-ports").at("used") << " of "
         << report.at("rtp-ports").at("all") << " in use, " << report.at("rtp-packets-dropped")
         << " packets of others dropped\nSIP           : " << report.at("sip-not-sent")
         << " datagrams could not be sent\nlog           : " << log.at("lines")
         << " lines written, " << log.at("lines-lost") << " lost, " << log.at("call-files-failed")
         << " files of calls incomplete\nconfiguration : "
         << shown(report.at("configuration").at("verdict")) << " : ";
    writeCounts(report.at("configuration"), text);
    text << "\nalarms        : ";
    writeAlarmLines(report.at("alarms"), text);
    return std::move(text).str();
}
catch (const nlohmann::json::exception& error)
{
    throw std::runtime_error(std::string("the status cannot be read: ") + error.what());
}

} // namespace GatewayExample
