// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "EventLoop.h"
#include "LoadMonitor.h"
#include "OperatorSignals.h"
#include "Settings.h"
#include "Shutdown.h"
#include "UserAgent.h"

#include "velmora/application/ProductApplicationImpl.h"

#include <optional>

namespace GatewayExample
{

/// A gateway of the family: it answers calls over SIP, and callers hear themselves. It starts from
/// the configuration files in etc/, and handles these signals:
///
/// - SIGTERM or SIGINT: ends its calls and then itself, within `keswardin.exitTimeoutSec`. Calls
///   that are left then are cut off. Further signals change nothing. If the gateway hangs, SIGALRM
///   ends it after `keswardin.killTimeoutSec`;
/// - SIGUSR1: switches the recording of calls on or off.
///
/// It monitors the load of the processors, for the operator's information, and the number of calls.
/// While there are too many calls, new ones are refused.
///
/// `--product-name`, `--version` and `--build-info` print to standard output, need no
/// configuration, and the gateway does nothing else.
class Gateway : public Velmora::ProductApplicationImpl
{
  public:
    Gateway();

    /// Failure: logs an error and returns if SIP cannot be received. `hasFailed` is true then, and
    /// also if standard output cannot be written.
    void run() override;

    [[nodiscard]] bool hasFailed() const { return m_bFailed; }

  protected:
    [[nodiscard]] bool
    processCmdlineVarsMap(const boost::program_options::variables_map& in_variables) override;

    /// Failure: also false if a setting is missing or invalid.
    [[nodiscard]] bool configure(const Velmora::ROConfiguration& in_config) override;

  private:
    void serve();
    [[nodiscard]] bool isDone(const UserAgent& in_userAgent) const;
    void handleSignal(UserAgent& inout_userAgent);
    void toggleRecording() const;

    /// Constructed first, so that no thread is started before the signals are blocked.
    OperatorSignals m_signals;
    EventLoop m_loop;
    // Set by `configure`.
    std::optional<Settings> m_settings;
    std::optional<LoadMonitor> m_processorMonitor;
    std::optional<LoadMonitor> m_callMonitor;
    Shutdown m_shutdown;
    /// The command line only requested information about the program.
    bool m_bOnlyInformation = false;
    bool m_bFailed = false;
};

} // namespace GatewayExample
