#pragma once

#include "Descriptor.h"
#include "EventLoop.h"
#include "LoadMonitor.h"
#include "UserAgent.h"

#include "velmora/application/ProductApplicationImpl.h"

#include <csignal>
#include <optional>

namespace GatewayExample
{

/// The signals that an operator sends to a program. The constructor blocks them, so they stay
/// pending until `read` reads them, on any thread. Threads that are started later inherit the
/// block.
class OperatorSignals
{
  public:
    OperatorSignals();

    /// The descriptor, which is readable while a signal is pending.
    [[nodiscard]] int descriptor() const { return m_descriptor.number(); }

    /// Takes the pending signal: SIGTERM, SIGINT or SIGUSR1. Returns 0, with `errno` set, if it
    /// cannot be read.
    [[nodiscard]] int read() const;

  private:
    Descriptor m_descriptor;
};

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
    void handleSignal(UserAgent& inout_userAgent);
    void toggleRecording() const;
    [[nodiscard]] bool isDone(const UserAgent& in_userAgent) const;

    OperatorSignals m_signals;
    EventLoop m_loop;
    std::optional<Settings> m_settings;
    std::optional<LoadMonitor> m_processorMonitor;
    std::optional<LoadMonitor> m_callMonitor;
    /// Set once the gateway is stopping: the time at which the remaining calls are cut off.
    std::optional<std::chrono::steady_clock::time_point> m_deadline;
    /// The command line only requested information about the program.
    bool m_bOnlyInformation = false;
    bool m_bFailed = false;
};

} // namespace GatewayExample
