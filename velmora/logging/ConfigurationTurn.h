#pragma once

#include <chrono>

namespace Velmora
{

/// The turn to change the configuration of logging: one thread of the process has it at a time. It
/// is no mutex, as it is held while appenders are made, which are foreign code and may take long;
/// a thread that waits for it gives up after a while.
///
/// Thread-safety: may be used on any thread.
class ConfigurationTurn
{
  public:
    explicit ConfigurationTurn(std::chrono::steady_clock::time_point in_end);
    ~ConfigurationTurn();
    ConfigurationTurn(const ConfigurationTurn&) = delete;
    ConfigurationTurn& operator=(const ConfigurationTurn&) = delete;

    /// Whether this object has the turn; otherwise another thread has had it until the end of the
    /// time.
    explicit operator bool() const { return m_bTaken; }

    /// Whether the calling thread has it.
    [[nodiscard]] static bool isTaken();

    /// In the child of a fork: threads that it does not have lose the turn, and the mutex of
    /// `Logger::sGetConfigMutex`.
    static void startAnewInChild();

  private:
    bool m_bTaken = false;
};

} // namespace Velmora
