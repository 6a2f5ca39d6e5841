// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "GatewayAlarms.h"
#include "ReplacedFile.h"
#include "Settings.h"
#include "StatusReport.h"
#include "StatusSocket.h"
#include "Timer.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace GatewayExample
{

/// Reports a running gateway to operators and to programs that watch it: at the status socket, in
/// the file of metrics, to systemd, and by alarms of what it finds out itself. What cannot be
/// reported is logged; the calls go on.
class Supervision
{
  public:
    using Report = std::function<StatusReport()>;

    /// Begins, while the gateway runs. The references must outlive this object.
    ///
    /// Failure: throws `std::runtime_error` if there is no timer.
    Supervision(const EventLoop& in_loop, const Settings& in_settings, GatewayAlarms& inout_alarms,
                Report in_report);
    /// Writes the metrics for the last time.
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;

    /// Reports at once that the gateway stops.
    void stopping();

  private:
    void openSocket();
    void tick();
    void writeMetrics();
    void checkDisk(std::chrono::steady_clock::time_point in_now);
    void setDisk(bool in_bFails);
    void checkAddresses();

    const EventLoop& m_loop;
    const Settings& m_settings;
    GatewayAlarms& m_alarms;
    Report m_report;
    std::chrono::milliseconds m_interval;
    std::optional<ReplacedFile> m_metrics;
    std::optional<StatusSocket> m_socket;
    std::vector<IPAddress> m_addresses;
    std::string m_strLastFailure;
    bool m_bDiskFails = false;
    std::uint64_t m_uiFailures = 0;
    /// The lines that were written when a failure was last found.
    std::uint64_t m_uiLinesAtFailure = 0;
    std::chrono::steady_clock::time_point m_lastFailure{};
    std::chrono::steady_clock::time_point m_nextMetrics{};
    std::chrono::steady_clock::time_point m_nextCheck{};
    Timer m_timer;
};

} // namespace GatewayExample
