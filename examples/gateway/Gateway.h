// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "GatewayAlarms.h"
#include "LoadMonitor.h"
#include "OperatorSignals.h"
#include "Settings.h"
#include "Shutdown.h"
#include "StartWatch.h"
#include "StatusReport.h"
#include "Supervision.h"
#include "UserAgent.h"

#include "velmora/application/ProductApplicationImpl.h"

#include <chrono>
#include <cstddef>
#include <optional>

namespace GatewayExample
{

/// A gateway of the family: it answers calls over SIP, and callers hear themselves. It starts from
/// the configuration files in etc/, and handles these signals:
///
/// - SIGTERM or SIGINT: ends its calls and then itself, within `keswardin.exitTimeoutSec`. Calls
///   that are left then are cut off. A second signal changes nothing; the third cuts off all calls
///   at once. If the gateway hangs, SIGALRM ends it after `keswardin.killTimeoutSec`;
/// - SIGHUP: opens the log files again, after a program that rotates logs has renamed them;
/// - SIGUSR1: switches the recording of calls on or off.
///
/// It monitors the load of the processors, for the operator's information, and the number of calls.
/// While there are too many calls, new ones are refused.
class Gateway : public Velmora::ProductApplicationImpl
{
  public:
    /// The signals and the watch must outlive the gateway, which ends the watch when it has
    /// started.
    Gateway(const OperatorSignals& in_signals, StartWatch& inout_startWatch);

    /// Checks the command line and does what it asks for without a start: `CheckCommand`,
    /// `StatusCommand`, `InformationOptions`. Returns the exit code of the program, or nothing if
    /// the gateway is to be started. The exit code is 2 if the command line is wrong. Standard
    /// error has the reason then.
    [[nodiscard]] std::optional<int> answer(int in_argc, char** in_argv);

    /// Failure: logs an error and returns if SIP cannot be received, or if the event loop ends with
    /// an exception. `hasFailed` is true then.
    void run() override;

    [[nodiscard]] bool hasFailed() const { return m_bFailed; }

    /// Writes the file of metrics after a start that has failed, if the configuration names one: it
    /// has the alarm of the configuration then.
    void reportFailedStart();

  protected:
    /// Failure: also false if a setting is missing or invalid.
    [[nodiscard]] bool configure(const Velmora::ROConfiguration& in_config) override;

  private:
    [[nodiscard]] bool doCommand(const boost::program_options::variables_map& in_variables,
                                 int& out_iExitCode);
    void serve();
    void writeMetrics() const;
    /// Reports the gateway without calls.
    [[nodiscard]] StatusReport report() const;
    [[nodiscard]] StatusReport report(const UserAgent& in_userAgent) const;
    [[nodiscard]] bool isDone(const UserAgent& in_userAgent) const;
    void handleSignal(UserAgent& inout_userAgent, Supervision& inout_supervision);
    void stop(UserAgent& inout_userAgent, Supervision& inout_supervision, int in_iSignal,
              int in_iError);
    void toggleRecording() const;

    const OperatorSignals& m_signals;
    StartWatch& m_startWatch;
    const std::chrono::system_clock::time_point m_startTime = std::chrono::system_clock::now();
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    EventLoop m_loop;
    GatewayAlarms m_alarms;
    StatusReport::Phase m_phase = StatusReport::Phase::STARTING;

    // Set by `configure`.
    std::size_t m_uiBrokenRules = 0;
    std::optional<Settings> m_settings;
    std::optional<LoadMonitor> m_processorMonitor;
    std::optional<LoadMonitor> m_callMonitor;
    Shutdown m_shutdown;
    int m_iStopSignals = 0;
    bool m_bFailed = false;
};

} // namespace GatewayExample
