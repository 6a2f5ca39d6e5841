#pragma once

#include "velmora/application/ApplicationImpl.h"

#include <csignal>
#include <string>

/// The signals that an operator sends to a program. They wait to be taken, on whatever thread, from
/// the construction on; threads that are started later leave them alone too.
class OperatorSignals
{
  public:
    OperatorSignals();

    /// The next one: SIGTERM, SIGINT or SIGUSR1.
    [[nodiscard]] int wait() const;

  private:
    sigset_t m_signals{};
};

/// A gateway of the family. It starts from the configuration files in etc/, and runs until it is
/// told to stop:
///
/// - SIGTERM or SIGINT: ends, within the time of `keswardin.exitTimeoutSec`;
/// - SIGUSR1: switches the recording of calls on or off.
class Gateway : public Velmora::ApplicationImpl
{
  public:
    Gateway();

    void run() override;

  protected:
    /// Failure: also when no address for SIP is configured.
    [[nodiscard]] bool configure(const Velmora::ROConfiguration& in_config) override;

  private:
    void toggleRecording() const;
    void stop(int in_iSignal) const;

    OperatorSignals m_signals;
    std::string m_strAddress;
};
