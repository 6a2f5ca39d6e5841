// SPDX-License-Identifier: BSD-2-Clause

#include "Supervision.h"

#include "ServiceManager.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/Logger.h"
#include "velmora/logging/WithoutThrowing.h"

#include <algorithm>
#include <stdexcept>

using namespace Velmora;
using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.Supervision")

namespace GatewayExample
{

namespace
{

constexpr milliseconds s_interval = 1s;
constexpr steady_clock::duration s_addressInterval = 5s;
/// The alarm goes off when nothing has failed for this time, and a line has been written.
constexpr steady_clock::duration s_diskIsWell = 10s;

/// Returns how often the loop must say that it runs.
milliseconds interval()
{
    // Half of the time that systemd waits, as its documentation advises.
    const auto watchdog =
        std::chrono::duration_cast<milliseconds>(ServiceManager::watchdogTime()) / 2;
    return watchdog > 0ms ? std::min(s_interval, watchdog) : s_interval;
}

std::vector<IPAddress> addressesOf(const Settings& in_settings)
{
    std::vector<IPAddress> addresses;
    for (const SipAddress& sipAddress : in_settings.sipAddresses)
        if (sipAddress.address)
            addresses.push_back(*sipAddress.address);
    if (const std::optional<IPAddress> address = IPAddress::parse(in_settings.strRtpAddress))
        addresses.push_back(*address);
    return addresses;
}

std::string summaryOf(const StatusReport& in_report)
{
    return std::to_string(in_report.uiCallsNow) + " calls, " +
           std::to_string(in_report.calls.uiMostAtOnce) + " at once at most, " +
           std::to_string(in_report.calls.uiAnswered) + " answered";
}

} // namespace

Supervision::Supervision(const EventLoop& in_loop, const Settings& in_settings,
                         GatewayAlarms& inout_alarms, Report in_report)
    : m_loop(in_loop), m_settings(in_settings), m_alarms(inout_alarms),
      m_report(std::move(in_report)), m_interval(interval()), m_addresses(addressesOf(in_settings)),
      m_timer(in_loop)
{
    if (!m_settings.strMetricsFile.empty())
        m_metrics.emplace(m_settings.strMetricsFile);
    openSocket();
    ServiceManager::ready();
    tick();
}

Supervision::~Supervision()
{
    withoutThrowing(liveFileScopeLogger(), "the last metrics are lost", [this] { writeMetrics(); });
}

void Supervision::openSocket()
{
    if (m_settings.strStatusSocket.empty())
        return;
    try
    {
        m_socket.emplace(m_loop, m_settings.strStatusSocket,
                         [this] { return m_report().toJson(); });
    }
    catch (const std::runtime_error& error)
    {
        VELMORA_FILE_LOG_WARN(error.what() << " ; the gateway runs without it");
    }
}

void Supervision::stopping()
{
    ServiceManager::stopping();
    writeMetrics();
}

void Supervision::tick()
{
    // Before what may throw, so that the next one comes whatever happens.
    m_timer.start(m_interval, [this] { tick(); });
    const steady_clock::time_point now = steady_clock::now();
    ServiceManager::alive();
    m_alarms.journal().poll();
    checkDisk(now);
    if (now >= m_nextCheck)
    {
        m_nextCheck = now + s_addressInterval;
        checkAddresses();
        ServiceManager::status(summaryOf(m_report()));
    }
    if (now >= m_nextMetrics)
    {
        m_nextMetrics = now + m_settings.metricsPeriod;
        writeMetrics();
    }
}

void Supervision::writeMetrics()
{
    if (m_metrics)
        m_metrics->replace(m_report().toPrometheus());
}

void Supervision::checkDisk(steady_clock::time_point in_now)
{
    const std::string strFailure = m_metrics ? m_metrics->failure() : std::string();
    if (strFailure != m_strLastFailure)
    {
        m_strLastFailure = strFailure;
        if (!strFailure.empty())
            VELMORA_FILE_LOG_ERROR("metrics are out of date : " << strFailure);
    }
    const std::uint64_t uiFailures = Logger::getLossCount() + Logger::getFailedCallFileCount();
    const std::uint64_t uiLines = Logger::getLineCount();
    if (uiFailures != m_uiFailures || !strFailure.empty())
    {
        m_uiFailures = uiFailures;
        m_uiLinesAtFailure = uiLines;
        m_lastFailure = in_now;
        setDisk(true);
    }
    else if (m_bDiskFails && in_now - m_lastFailure >= s_diskIsWell)
    {
        if (uiLines == m_uiLinesAtFailure)
            // Written or lost, which the next look finds out.
            VELMORA_FILE_LOG_WARN("the log is tried again, since lines were lost");
        else
            setDisk(false);
    }
}

void Supervision::setDisk(bool in_bFails)
{
    m_bDiskFails = in_bFails;
    m_alarms.setDisk(in_bFails);
}

void Supervision::checkAddresses()
{
    m_alarms.setAddress(!std::ranges::all_of(m_addresses, &IPAddress::isUsableHere));
}

} // namespace GatewayExample
