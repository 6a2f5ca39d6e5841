#pragma once

#include "EventLoop.h"
#include "LoadMonitor.h"
#include "UserAgent.h"

#include "velmora/application/ProductApplicationImpl.h"

#include <csignal>
#include <optional>

/// The signals that an operator sends to a program. They wait to be taken, on whatever thread, from
/// the construction on; threads that are started later leave them alone too.
class OperatorSignals
{
  public:
    OperatorSignals();
    ~OperatorSignals();
    OperatorSignals(const OperatorSignals&) = delete;
    OperatorSignals& operator=(const OperatorSignals&) = delete;

    /// Can be read when one waits.
    [[nodiscard]] int descriptor() const { return m_iDescriptor; }

    /// The one that waits: SIGTERM, SIGINT or SIGUSR1. 0 when it cannot be read, as `errno` says.
    [[nodiscard]] int take() const;

  private:
    int m_iDescriptor;
};

/// A gateway of the family: it answers calls over SIP, and callers hear themselves. It starts from
/// the configuration files in etc/, and runs until it is told to stop:
///
/// - SIGTERM or SIGINT: ends its calls and then itself, within `keswardin.exitTimeoutSec`; calls
///   that are left then are cut off. Another one changes nothing. A gateway that hangs then ends by
///   SIGALRM after `keswardin.killTimeoutSec`;
/// - SIGUSR1: switches the recording of calls on or off.
///
/// It watches how busy the processors are, which is for the operator to know, and how many calls
/// there are: while there are too many, new ones are refused.
///
/// `--product-name`, `--version` and `--build-info` are answered on standard output, without a
/// configuration, and the gateway does nothing else.
class Gateway : public Velmora::ProductApplicationImpl
{
  public:
    Gateway();

    /// Failure: when SIP cannot be received, logs an error and returns at once, and so it does when
    /// standard output takes no answer; `hasFailed`.
    void run() override;

    [[nodiscard]] bool hasFailed() const { return m_bFailed; }

  protected:
    [[nodiscard]] bool
    processCmdlineVarsMap(const boost::program_options::variables_map& in_variables) override;

    /// Failure: also when a setting is missing or makes no sense.
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
    /// Set when the gateway is to stop.
    std::optional<std::chrono::steady_clock::time_point> m_deadline;
    /// The command line only asked what the gateway is.
    bool m_bAnswered = false;
    bool m_bFailed = false;
};
